// Kernel objects: handle validity, wait-result decoding, the statuses of create, join and open,
// event and semaphore signals, and mutex ownership and abandonment by other processes; and their
// collections: the 64-entry limit, appending what fits, insertion at the head, the empty wait.
#include "support/TestSupport.h"
#include "weftcore.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

using weft::test::MustHappenMs;
using weft::test::UniqueName;

// Null and all-ones are the invalid handles; results decode within their count only; WaitForTwo
// puts its own object at index 0 and the other at 1.
TEST(MTKernelTest, HandleValidityWaitResultsAtTheEdgesAndWaitForTwo)
{
    EXPECT_FALSE(MTKernel::IsValidHandle(nullptr));
    EXPECT_FALSE(MTKernel::IsValidHandle(INVALID_HANDLE_VALUE));
    EXPECT_TRUE(MTKernel::IsValidHandle(reinterpret_cast<void*>(1)));
    // Result, count, succeeded, abandoned.
    const std::tuple<unsigned long, unsigned long, bool, bool> rows[] = {{0, 1, true, false},     {1, 1, false, false},    {63, 64, true, false},
                        {128, 1, false, true},   {129, 1, false, false},  {191, 64, false, true},
                        {192, 64, false, false}, {WAIT_TIMEOUT, 64, false, false}, {WAIT_FAILED, 64, false, false}};
    for (const auto& [result, count, succeeded, abandoned] : rows)
    {
        EXPECT_EQ(succeeded, MTKernel::DidWaitSucceed(result, count)) << result << "/" << count;
        EXPECT_EQ(abandoned, MTKernel::DidWaitAbandon(result, count)) << result << "/" << count;
    }
    EXPECT_EQ(2u, MTKernel::WaitAbandonedIndex(130));
    MTEvent own(true, false), other(true, true);
    EXPECT_EQ(1u, own.WaitForTwo(other, false, 0));
    own.Set();
    EXPECT_EQ(0u, own.WaitForTwo(other, false, 0));
}

// Set signals until a wait consumes it (auto-reset) or Reset (manual). A joiner of a named event
// gets the existing object and state with ERROR_ALREADY_EXISTS; a later open's status is 0. A
// semaphore release past the maximum is refused and leaves the previous count alone.
TEST(MTEventTest, SetStaysUntilConsumedNamedJoinersShareTheObjectAndSemaphoresKeepTheirCount)
{
    MTEvent automatic;
    automatic.Set();
    EXPECT_TRUE(automatic.IsSet());
    EXPECT_FALSE(automatic.IsSet());

    const std::string name = UniqueName("event");
    MTEvent created(true, false, name.c_str());
    EXPECT_EQ(0u, created.GetStatus());
    created.Set();
    MTEvent joined(false, false, name.c_str());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_ALREADY_EXISTS), joined.GetStatus());
    EXPECT_TRUE(joined.IsSet() && joined.IsSet()) << "the creator's manual-reset object";
    MTEvent opened(name.c_str(), false, EVENT_MODIFY_STATE | SYNCHRONIZE);
    EXPECT_EQ(0u, opened.GetStatus());
    opened.Reset();
    EXPECT_FALSE(created.IsSet());

    MTSemaphore semaphore(1, 3);
    EXPECT_EQ(0u, semaphore.Wait(0));
    long previous = -1;
    semaphore.Release(3, &previous);
    EXPECT_EQ(0, previous);
    previous = -1;
    semaphore.Release(1, &previous);
    EXPECT_EQ(-1, previous);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(0u, semaphore.Wait(0));
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), semaphore.Wait(0));
}

// A named mutex held by a child process that exits, or is killed, comes to us abandoned, at its
// own index in a collection; the new owner's release succeeds, and a second release leaves
// ERROR_NOT_OWNER. The child joins our named event (exit code 0 only if it saw
// ERROR_ALREADY_EXISTS) and sets it.
TEST(MTMutexTest, MutexOfAnExitedOrKilledProcessComesAbandonedAndOnlyTheOwnerReleases)
{
    for (const char* mode : {"exit", "hang"})
    {
        SCOPED_TRACE(mode);
        const std::string name = UniqueName("mutex-child"), readyName = UniqueName("mutex-ready");
        MTMutex mutex(false, name.c_str());
        MTEvent ready(true, false, readyName.c_str()), unset;
        weft::test::ChildProcess child({"mutex-hold", name, readyName, mode});
        ASSERT_TRUE(child.Started());
        HANDLE waits[2] = {ready.GetHandle(), child.Handle()};
        ASSERT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(2, waits, FALSE, MustHappenMs())) << "the child took nothing";
        if (std::string(mode) == "hang")
            child.Kill();
        else
            EXPECT_EQ(0, child.WaitExit(MustHappenMs()));
        ready.Reset();
        MTWaitableCollection collection;
        collection.AddObject(ready), collection.AddObject(unset), collection.AddObject(mutex);
        const unsigned long result = collection.Wait(false, MustHappenMs());
        EXPECT_TRUE(MTKernel::DidWaitAbandon(result, collection.GetCount())) << result;
        EXPECT_EQ(2u, MTKernel::WaitAbandonedIndex(result));
        mutex.Release();
        EXPECT_EQ(0u, mutex.GetStatus());
        mutex.Release();
        EXPECT_EQ(static_cast<unsigned long>(ERROR_NOT_OWNER), mutex.GetStatus());
    }
}

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

// Up to 64 entries, each reachable by a wait; adding or inserting refuses the 65th, and insertion
// at the head moves every entry one place on. A collection added to a nearly full one appends in
// order what fits; added to itself, its entries once. An empty collection's wait fails at once
// without calling the platform (the last error stays); entries added after Clear start at index 0.
TEST(MTWaitableCollectionTest, HoldsSixtyFourInOrderAndAnEmptyOneFailsAtOnce)
{
    std::vector<MTEvent> events(70);
    MTWaitableCollection big, ten;
    for (int i = 1; i < 60; ++i)
        ASSERT_TRUE(big.AddObject(events[i]));
    ASSERT_TRUE(big.InsertObjectAtHead(events[0]));
    for (int i = 60; i < 70; ++i)
        ten.AddObject(events[i]);
    EXPECT_FALSE(big.AddCollection(ten));
    ASSERT_EQ(64, big.GetCount());
    EXPECT_FALSE(big.AddObject(events[64]));
    EXPECT_FALSE(big.InsertObjectAtHead(events[64]));
    EXPECT_EQ(64, big.GetCount());
    for (unsigned long i = 0; i < 64; ++i)
        EXPECT_EQ(i, IndexOf(big, events[i]));
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), IndexOf(big, events[64]));
    EXPECT_TRUE(ten.AddCollection(ten));
    EXPECT_EQ(20, ten.GetCount());
    ten.Clear();
    SetLastError(12345);
    EXPECT_EQ(WAIT_FAILED, ten.Wait(false, INFINITE));
    EXPECT_EQ(WAIT_FAILED, ten.Wait(true, 0));
    EXPECT_EQ(12345u, GetLastError());
    ten.AddObject(events[1]);
    EXPECT_EQ(0u, IndexOf(ten, events[1]));
}
