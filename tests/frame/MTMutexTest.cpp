// Mutexes: ownership of joiners, release by a non-owner, and abandonment by an ended thread,
// a process that exits and a process that is killed.
#include "support/TestSupport.h"
#include "weftcore.h"

#include <gtest/gtest.h>

#include <thread>

using weft::test::MustHappenMs;
using weft::test::UniqueName;

TEST(MTMutexTest, JoinerAskingForOwnershipDoesNotGetIt)
{
    const std::string name = UniqueName("mutex-join");
    MTMutex first(false, name.c_str());
    MTMutex second(true, name.c_str());
    EXPECT_EQ(0u, first.GetStatus());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_ALREADY_EXISTS), second.GetStatus());
    // Another thread can take it at once: the joiner owns nothing.
    unsigned long result = 0xDEAD;
    std::thread other([&] {
        result = first.Wait(0);
        first.Release();
    });
    other.join();
    EXPECT_EQ(0u, result);
    EXPECT_EQ(0u, first.GetStatus());
}

TEST(MTMutexTest, ReleaseByANonOwnerLeavesAStickyError)
{
    MTMutex mutex;
    mutex.Release();
    EXPECT_EQ(static_cast<unsigned long>(ERROR_NOT_OWNER), mutex.GetStatus());
    ASSERT_EQ(0u, mutex.Wait(0));
    mutex.Release();
    // A later success does not clear the status.
    EXPECT_EQ(static_cast<unsigned long>(ERROR_NOT_OWNER), mutex.GetStatus());
}

TEST(MTMutexTest, InitialOwnerHoldsItRecursively)
{
    MTMutex mutex(true);
    ASSERT_EQ(0u, mutex.Wait(0));  // recursion by the owner
    unsigned long fromOther = 0;
    std::thread([&] { fromOther = mutex.Wait(0); }).join();
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), fromOther);
    mutex.Release();
    mutex.Release();
    std::thread([&] {
        fromOther = mutex.Wait(0);
        mutex.Release();
    }).join();
    EXPECT_EQ(0u, fromOther);
    EXPECT_EQ(0u, mutex.GetStatus());
}

TEST(MTMutexTest, MutexOfAnEndedThreadIsHandedOverAbandoned)
{
    MTMutex mutex;
    std::thread([&] { ASSERT_EQ(0u, mutex.Wait(0)); }).join();
    EXPECT_EQ(static_cast<unsigned long>(WAIT_ABANDONED_0), mutex.Wait(MustHappenMs()));
    // The waiter owns it now: its release succeeds.
    mutex.Release();
    EXPECT_EQ(0u, mutex.GetStatus());
}

namespace
{
void ExpectAbandonedByChild(const char* mode)
{
    const std::string name = UniqueName("mutex-child");
    const std::string readyName = UniqueName("mutex-ready");
    MTMutex mutex(false, name.c_str());
    MTEvent ready(true, false, readyName.c_str());
    weft::test::ChildProcess child({"mutex-hold", name, readyName, mode});
    ASSERT_TRUE(child.Started());
    HANDLE waits[2] = {ready.GetHandle(), child.Handle()};
    ASSERT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(2, waits, FALSE, MustHappenMs())) << "child never took the mutex";
    if (std::string(mode) == "hang")
        child.Kill();
    else
        EXPECT_EQ(0, child.WaitExit(MustHappenMs()));
    EXPECT_EQ(static_cast<unsigned long>(WAIT_ABANDONED_0), mutex.Wait(MustHappenMs()));
    mutex.Release();
    EXPECT_EQ(0u, mutex.GetStatus());
}
}  // namespace

TEST(MTMutexTest, MutexOfAnExitedProcessIsHandedOverAbandoned)
{
    ExpectAbandonedByChild("exit");
}

TEST(MTMutexTest, MutexOfAKilledProcessIsHandedOverAbandoned)
{
    ExpectAbandonedByChild("hang");
}

TEST(MTMutexTest, AbandonedIndexInACollectionIsItsPosition)
{
    MTEvent a(true, false), b(true, false);
    MTMutex mutex;
    std::thread([&] { ASSERT_EQ(0u, mutex.Wait(0)); }).join();
    MTWaitableCollection waits;
    waits.AddObject(a);
    waits.AddObject(b);
    waits.AddObject(mutex);
    const unsigned long result = waits.Wait(false, MustHappenMs());
    EXPECT_TRUE(MTKernel::DidWaitAbandon(result, waits.GetCount()));
    EXPECT_EQ(2u, MTKernel::WaitAbandonedIndex(result));
    mutex.Release();
    EXPECT_EQ(0u, mutex.GetStatus());
}
