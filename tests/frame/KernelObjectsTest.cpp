// Kernel objects: handles, wait results, events, semaphores, mutexes held by other processes, collections.
#include "support/TestSupport.h"
#include "weftcore.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace weft::test;

// Results decode within their count only; WaitForTwo puts its own object at index 0. A joiner of a named
// event is told it exists. A semaphore release past the maximum leaves the count alone.
TEST(MTKernelTest, HandlesWaitResultsEventsAndSemaphores)
{
    EXPECT_TRUE(!MTKernel::IsValidHandle(nullptr) && !MTKernel::IsValidHandle(INVALID_HANDLE_VALUE) &&
                MTKernel::IsValidHandle(reinterpret_cast<void*>(1)));
    // Result, count, succeeded, abandoned.
    const std::tuple<unsigned long, unsigned long, bool, bool> rows[] = {
        {0, 1, true, false},    {1, 1, false, false},  {63, 64, true, false},   {128, 1, false, true},
        {129, 1, false, false}, {191, 64, false, true}, {192, 64, false, false}, {WAIT_FAILED, 64, false, false},
        {WAIT_TIMEOUT, 64, false, false}};
    for (const auto& [result, count, succeeded, abandoned] : rows)
    {
        EXPECT_EQ(succeeded, MTKernel::DidWaitSucceed(result, count)) << result << "/" << count;
        EXPECT_EQ(abandoned, MTKernel::DidWaitAbandon(result, count)) << result << "/" << count;
    }
    MTEvent own(true, false), other(true, true);
    EXPECT_EQ(1u, own.WaitForTwo(other, false, 0));
    own.Set();
    EXPECT_EQ(0u, own.WaitForTwo(other, false, 0));

    MTEvent automatic;
    automatic.Set();
    EXPECT_TRUE(automatic.IsSet() && !automatic.IsSet()) << "a test of an automatic event takes it";

    const std::string name = UniqueName("event");
    MTEvent created(true, false, name.c_str());
    EXPECT_EQ(0u, created.GetStatus());
    MTEvent joined(false, false, name.c_str());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_ALREADY_EXISTS), joined.GetStatus());
    MTEvent opened(name.c_str(), false, EVENT_MODIFY_STATE | SYNCHRONIZE);
    EXPECT_EQ(0u, opened.GetStatus());

    EXPECT_NE(0u, MTSemaphore(2, 1).GetStatus()) << "a count above the maximum";
    MTSemaphore semaphore(1, 3);
    EXPECT_EQ(0u, semaphore.Wait(0));
    long previous = -1, unchanged = -1;
    semaphore.Release(3, &previous), semaphore.Release(1, &unchanged);
    EXPECT_TRUE(previous == 0 && unchanged == -1) << previous << ", past the maximum " << unchanged;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(0u, semaphore.Wait(0));
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), semaphore.Wait(0));
}

// A named mutex held by a child process that exits, or is killed, comes to us abandoned, at its own
// index in a collection; only the owner's release succeeds.
TEST(MTMutexTest, MutexOfAnExitedOrKilledProcessComesAbandonedAndOnlyTheOwnerReleases)
{
    for (const char* mode : {"exit", "hang"})
    {
        SCOPED_TRACE(mode);
        const std::string name = UniqueName("mutex-child"), readyName = UniqueName("mutex-ready");
        MTMutex mutex(false, name.c_str());
        MTEvent ready(true, false, readyName.c_str()), unset;
        ChildProcess child({"mutex-hold", name, readyName, mode});
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
        EXPECT_EQ(0u, (mutex.Release(), mutex.GetStatus()));
        EXPECT_EQ(static_cast<unsigned long>(ERROR_NOT_OWNER), (mutex.Release(), mutex.GetStatus()));
    }
}

// Insertion at the head moves every entry on; a collection added to a nearly full one appends what
// fits, added to itself its entries once. An empty one's wait fails without calling the platform.
TEST(MTWaitableCollectionTest, HoldsSixtyFourInOrderAndAnEmptyOneFailsAtOnce)
{
    // The result of a wait while only the given event is set.
    const auto IndexOf = [](const MTWaitableCollection& waits, MTEvent& event) {
        event.Set();
        const unsigned long result = waits.Wait(false, 0);
        event.Reset();  // if the wait did not take it
        return result;
    };
    std::vector<MTEvent> events(70);
    MTWaitableCollection big, ten;
    for (int i = 1; i < 60; ++i)
        ASSERT_TRUE(big.AddObject(events[i]));
    ASSERT_TRUE(big.InsertObjectAtHead(events[0]));
    for (int i = 60; i < 70; ++i)
        ten.AddObject(events[i]);
    EXPECT_FALSE(big.AddCollection(ten));
    ASSERT_EQ(64, big.GetCount());
    EXPECT_FALSE(big.AddObject(events[64]) || big.InsertObjectAtHead(events[64])) << "a 65th object";
    for (unsigned long i = 0; i < 64; ++i)
        EXPECT_EQ(i, IndexOf(big, events[i]));
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), IndexOf(big, events[64]));
    EXPECT_TRUE(ten.AddCollection(ten) && ten.GetCount() == 20);
    ten.Clear();
    SetLastError(12345);
    EXPECT_TRUE(ten.Wait(true, INFINITE) == WAIT_FAILED && GetLastError() == 12345) << "the system was called";
    EXPECT_TRUE(!ten.AddObject(static_cast<const MTWaitableObject*>(nullptr)) && ten.AddObject(&events[1]));
    EXPECT_EQ(0u, IndexOf(ten, events[1]));
}
