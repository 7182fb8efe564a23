// Collections: the 64-entry limit, appending what fits, insertion at the head, the empty wait.
#include "weftcore.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{
// The result of a wait on the collection while only the given event is set.
unsigned long IndexOf(const MTWaitableCollection& waits, MTEvent& event)
{
    event.Set();
    const unsigned long result = waits.Wait(false, 0);
    event.Reset();  // if the wait did not take it
    return result;
}
}  // namespace

// Up to 64 entries, each reachable by a wait; adding or inserting refuses the 65th. A collection
// added to a nearly full one appends in order what fits; added to itself, its entries once.
TEST(MTWaitableCollectionTest, HoldsSixtyFourAndAppendsWhatFits)
{
    std::vector<MTEvent> events(70);
    MTWaitableCollection big, ten;
    for (int i = 0; i < 60; ++i)
        ASSERT_TRUE(big.AddObject(events[i]));
    for (int i = 60; i < 70; ++i)
        ten.AddObject(events[i]);
    EXPECT_FALSE(big.AddCollection(ten));
    ASSERT_EQ(64, big.GetCount());
    EXPECT_FALSE(big.AddObject(events[64]));
    EXPECT_FALSE(big.InsertObjectAtHead(events[64]));
    EXPECT_EQ(64, big.GetCount());
    EXPECT_EQ(63u, IndexOf(big, events[63]));
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), IndexOf(big, events[64]));
    EXPECT_TRUE(ten.AddCollection(ten));
    EXPECT_EQ(20, ten.GetCount());
}

// Insertion at the head moves every entry one place on.
TEST(MTWaitableCollectionTest, InsertAtHeadShiftsEveryEntry)
{
    std::vector<MTEvent> events(4);
    MTWaitableCollection waits;
    for (int i = 0; i < 3; ++i)
        waits.AddObject(events[i]);
    ASSERT_TRUE(waits.InsertObjectAtHead(events[3]));
    const unsigned long expected[4] = {1, 2, 3, 0};
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(expected[i], IndexOf(waits, events[i])) << "event " << i;
}

// An empty collection's wait fails at once without calling the platform (the last error stays),
// also after Clear; entries added after Clear start again at index 0.
TEST(MTWaitableCollectionTest, EmptyWaitFailsAtOnceAndClearStartsAgainAtIndexZero)
{
    std::vector<MTEvent> events(2);
    MTWaitableCollection waits;
    waits.AddObject(events[0]);
    waits.Clear();
    SetLastError(12345);
    EXPECT_EQ(WAIT_FAILED, waits.Wait(false, INFINITE));
    EXPECT_EQ(WAIT_FAILED, waits.Wait(true, 0));
    EXPECT_EQ(12345u, GetLastError());
    waits.AddObject(events[1]);
    EXPECT_EQ(0u, IndexOf(waits, events[1]));
}
