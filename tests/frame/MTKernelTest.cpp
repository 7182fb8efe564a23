// Kernel objects: handle validity, wait-result decoding, the statuses of create, join and open,
// event and semaphore signals, and mutex ownership and abandonment, also by other processes.
#include "support/TestSupport.h"
#include "weftcore.h"

#include <gtest/gtest.h>

#include <thread>

using weft::test::MustHappenMs;
using weft::test::UniqueName;

// Null and all-ones are the invalid handles; results decode within their count only.
TEST(MTKernelTest, HandleValidityAndWaitResultsAtTheEdges)
{
    EXPECT_FALSE(MTKernel::IsValidHandle(nullptr));
    EXPECT_FALSE(MTKernel::IsValidHandle(INVALID_HANDLE_VALUE));
    EXPECT_TRUE(MTKernel::IsValidHandle(reinterpret_cast<void*>(1)));
    struct Row
    {
        unsigned long result, count;
        bool succeeded, abandoned;
    };
    const Row rows[] = {{0, 1, true, false},     {1, 1, false, false},    {63, 64, true, false},
                        {128, 1, false, true},   {129, 1, false, false},  {191, 64, false, true},
                        {192, 64, false, false}, {WAIT_TIMEOUT, 64, false, false}, {WAIT_FAILED, 64, false, false}};
    for (const Row& r : rows)
    {
        EXPECT_EQ(r.succeeded, MTKernel::DidWaitSucceed(r.result, r.count)) << r.result << "/" << r.count;
        EXPECT_EQ(r.abandoned, MTKernel::DidWaitAbandon(r.result, r.count)) << r.result << "/" << r.count;
    }
    EXPECT_EQ(2u, MTKernel::WaitAbandonedIndex(130));
}

// WaitForTwo puts its own object at index 0 and the other at 1.
TEST(MTKernelTest, WaitForTwoPutsItsOwnObjectFirst)
{
    MTEvent own(true, false), other(true, true);
    EXPECT_EQ(1u, own.WaitForTwo(other, false, 0));
    own.Set();
    EXPECT_EQ(0u, own.WaitForTwo(other, false, 0));
}

// Set signals until a wait consumes it (auto-reset) or Reset (manual). A joiner of a named event
// gets the existing object and state with ERROR_ALREADY_EXISTS; a later open's status is 0.
TEST(MTEventTest, SetStaysUntilConsumedAndNamedJoinersAndOpenersShareTheObject)
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
    EXPECT_TRUE(joined.IsSet());
    EXPECT_TRUE(joined.IsSet());
    MTEvent opened(name.c_str(), false, EVENT_MODIFY_STATE | SYNCHRONIZE);
    EXPECT_EQ(0u, opened.GetStatus());
    opened.Reset();
    EXPECT_FALSE(created.IsSet());
}

// A release past the maximum is refused and leaves the previous count alone; the count stays exact.
TEST(MTSemaphoreTest, ReleasePastTheMaximumChangesNothing)
{
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

// A mutex left held by an ended thread comes abandoned, at its own index in a collection; the
// new owner's release succeeds, and a release by a non-owner leaves ERROR_NOT_OWNER.
TEST(MTMutexTest, AbandonedMutexComesAtItsIndexAndOnlyTheOwnerReleases)
{
    MTEvent a(true, false), b(true, false);
    MTMutex mutex;
    std::thread([&] { ASSERT_EQ(0u, mutex.Wait(0)); }).join();
    MTWaitableCollection waits;
    waits.AddObject(a), waits.AddObject(b), waits.AddObject(mutex);
    const unsigned long result = waits.Wait(false, MustHappenMs());
    EXPECT_TRUE(MTKernel::DidWaitAbandon(result, waits.GetCount()));
    EXPECT_EQ(2u, MTKernel::WaitAbandonedIndex(result));
    mutex.Release();
    EXPECT_EQ(0u, mutex.GetStatus());
    mutex.Release();
    EXPECT_EQ(static_cast<unsigned long>(ERROR_NOT_OWNER), mutex.GetStatus());
}

// A named mutex held by a child process that exits, or is killed, comes to us abandoned. The
// child joins our named event (exit code 0 only if it saw ERROR_ALREADY_EXISTS) and sets it.
TEST(MTMutexTest, MutexOfAnExitedOrKilledProcessComesAbandoned)
{
    for (const char* mode : {"exit", "hang"})
    {
        SCOPED_TRACE(mode);
        const std::string name = UniqueName("mutex-child"), readyName = UniqueName("mutex-ready");
        MTMutex mutex(false, name.c_str());
        MTEvent ready(true, false, readyName.c_str());
        weft::test::ChildProcess child({"mutex-hold", name, readyName, mode});
        ASSERT_TRUE(child.Started());
        HANDLE waits[2] = {ready.GetHandle(), child.Handle()};
        ASSERT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(2, waits, FALSE, MustHappenMs())) << "the child took nothing";
        if (std::string(mode) == "hang")
            child.Kill();
        else
            EXPECT_EQ(0, child.WaitExit(MustHappenMs()));
        EXPECT_EQ(static_cast<unsigned long>(WAIT_ABANDONED_0), mutex.Wait(MustHappenMs()));
        mutex.Release();
        EXPECT_EQ(0u, mutex.GetStatus());
    }
}
