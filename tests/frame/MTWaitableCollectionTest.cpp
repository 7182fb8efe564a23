// Collections: the 64-handle limit, insertion at the head, partial appends, and wait priority.
#include "support/TestSupport.h"
#include "weftcore.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace
{
// Manual-reset events, not set, to fill collections with.
std::vector<std::unique_ptr<MTEvent>> MakeEvents(int n)
{
    std::vector<std::unique_ptr<MTEvent>> events;
    for (int i = 0; i < n; ++i)
        events.push_back(std::make_unique<MTEvent>(true, false));
    return events;
}
}  // namespace

TEST(MTWaitableCollectionTest, HoldsSixtyFourAndRefusesTheNext)
{
    auto events = MakeEvents(65);
    MTWaitableCollection waits;
    for (int i = 0; i < 64; ++i)
        ASSERT_TRUE(waits.AddObject(*events[i]));
    EXPECT_EQ(64, waits.GetCount());
    EXPECT_FALSE(waits.AddObject(*events[64]));
    EXPECT_FALSE(waits.AddObject(events[64].get()));
    EXPECT_FALSE(waits.AddObject(events[64]->GetHandle()));
    EXPECT_FALSE(waits.InsertObjectAtHead(*events[64]));
    EXPECT_EQ(64, waits.GetCount());

    // The last of 64 is reachable by the wait; the refused one is not in it.
    events[64]->Set();
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), waits.Wait(false, 0));
    events[63]->Set();
    EXPECT_EQ(63u, waits.Wait(false, 0));
}

TEST(MTWaitableCollectionTest, InsertAtHeadShiftsEveryEntry)
{
    auto events = MakeEvents(4);
    MTWaitableCollection waits;
    waits.AddObject(*events[0]);
    waits.AddObject(*events[1]);
    waits.AddObject(*events[2]);
    ASSERT_TRUE(waits.InsertObjectAtHead(*events[3]));
    ASSERT_EQ(4, waits.GetCount());
    // Each event answers at its new index.
    const int expectedIndex[4] = {1, 2, 3, 0};
    for (int i = 0; i < 4; ++i)
    {
        events[i]->Set();
        EXPECT_EQ(static_cast<unsigned long>(expectedIndex[i]), waits.Wait(false, 0)) << "event " << i;
        events[i]->Reset();
    }
}

TEST(MTWaitableCollectionTest, AddCollectionAppendsWhatFitsWithoutRollBack)
{
    auto events = MakeEvents(70);
    MTWaitableCollection big, ten, empty;
    for (int i = 0; i < 60; ++i)
        big.AddObject(*events[i]);
    for (int i = 60; i < 70; ++i)
        ten.AddObject(*events[i]);
    EXPECT_FALSE(big.AddCollection(ten));
    EXPECT_EQ(64, big.GetCount());
    // The first four of the ten were appended, in order; the fifth was not.
    events[63]->Set();
    EXPECT_EQ(63u, big.Wait(false, 0));
    events[63]->Reset();
    events[64]->Set();
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), big.Wait(false, 0));

    EXPECT_TRUE(big.AddCollection(empty));
    EXPECT_EQ(64, big.GetCount());
    EXPECT_TRUE(empty.AddCollection(ten));
    EXPECT_EQ(10, empty.GetCount());
    // Added to itself, a collection appends its original entries once.
    EXPECT_TRUE(empty.AddCollection(empty));
    EXPECT_EQ(20, empty.GetCount());
}

TEST(MTWaitableCollectionTest, NullsAreRefusedByPointerButStoredByHandle)
{
    MTWaitableCollection waits;
    EXPECT_FALSE(waits.AddObject(static_cast<const MTWaitableObject*>(nullptr)));
    EXPECT_EQ(0, waits.GetCount());
    EXPECT_TRUE(waits.AddObject(static_cast<void*>(nullptr)));
    EXPECT_EQ(1, waits.GetCount());
    // A bad handle makes the wait fail, at once.
    EXPECT_EQ(WAIT_FAILED, waits.Wait(false, INFINITE));

    // An object whose create failed is stored too, and fails the wait in the same way.
    MTSemaphore failed(5, 1);
    MTWaitableCollection withFailed;
    EXPECT_TRUE(withFailed.AddObject(&failed));
    EXPECT_EQ(WAIT_FAILED, withFailed.Wait(false, 0));
}

TEST(MTWaitableCollectionTest, LowestSignalledIndexWins)
{
    auto events = MakeEvents(5);
    MTWaitableCollection waits;
    for (auto& e : events)
        waits.AddObject(*e);
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), waits.Wait(false, 0));
    events[4]->Set();
    events[2]->Set();
    EXPECT_EQ(2u, waits.Wait(false, 0));
    events[0]->Set();
    EXPECT_EQ(0u, waits.Wait(false, 0));
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), waits.Wait(true, 0));
    for (auto& e : events)
        e->Set();
    EXPECT_TRUE(MTKernel::DidWaitSucceed(waits.Wait(true, 0), waits.GetCount()));
}

TEST(MTWaitableCollectionTest, EmptyWaitFailsAtOnceAndClearStartsAgainAtIndexZero)
{
    auto events = MakeEvents(2);
    MTWaitableCollection waits;
    SetLastError(12345);
    EXPECT_EQ(WAIT_FAILED, waits.Wait(false, INFINITE));
    EXPECT_EQ(WAIT_FAILED, waits.Wait(true, 0));
    EXPECT_EQ(12345u, GetLastError());
    waits.AddObject(*events[0]);
    waits.Clear();
    EXPECT_EQ(0, waits.GetCount());
    EXPECT_EQ(WAIT_FAILED, waits.Wait(false, 0));
    waits.AddObject(*events[1]);
    events[1]->Set();
    EXPECT_EQ(0u, waits.Wait(false, 0));
}
