#include "weftcore.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <stdexcept>
#include <thread>

using weft::test::MustHappenMs;
using weft::test::MustNotHappenMs;

namespace
{
// Another thread that tries to take a lock and reports when it has it. It gives the lock back
// as soon as it has it. Its join is bounded: a thread still blocked behind a lock that a faulty
// scope never gave back is ended, and the test fails instead of hanging.
class Contender
{
public:
    template <class Take, class Give>
    Contender(Take take, Give give)
        : m_work([take, give, this] {
              take();
              SetEvent(m_evGot);
              give();
          }),
          m_evGot(CreateEventA(nullptr, TRUE, FALSE, nullptr)),
          m_thread(CreateThread(nullptr, 0, &Contender::Run, this, 0, nullptr))
    {
    }
    ~Contender()
    {
        if (m_thread != nullptr)
        {
            if (WaitForSingleObject(m_thread, MustHappenMs()) != WAIT_OBJECT_0)
            {
                ADD_FAILURE() << "the contending thread never got the lock";
                TerminateThread(m_thread, 1);
                WaitForSingleObject(m_thread, MustHappenMs());
            }
            CloseHandle(m_thread);
        }
        CloseHandle(m_evGot);
    }
    Contender(const Contender&) = delete;
    Contender& operator=(const Contender&) = delete;

    bool GotWithin(DWORD ms) const { return WaitForSingleObject(m_evGot, ms) == WAIT_OBJECT_0; }

private:
    static DWORD WINAPI Run(void* self)
    {
        static_cast<Contender*>(self)->m_work();
        return 0;
    }

    std::function<void()> m_work;
    HANDLE m_evGot;
    HANDLE m_thread;
};

// The result another thread gets from a zero wait on the mutex; it gives back what it took.
DWORD PollFromAnotherThread(MTMutex& mutex)
{
    DWORD result = WAIT_FAILED;
    std::thread([&] {
        result = WaitForSingleObject(mutex.GetHandle(), 0);
        if (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED_0)
            ReleaseMutex(mutex.GetHandle());
    }).join();
    return result;
}
}  // namespace

// --- Critical sections ---

TEST(MTCritSecTest, EnteredSectionKeepsOtherThreadsOutUntilLeft)
{
    MTCritSec section;
    section.Enter();
    Contender other([&] { section.Enter(); }, [&] { section.Leave(); });
    EXPECT_FALSE(other.GotWithin(MustNotHappenMs())) << "another thread entered a held section";
    section.Leave();
    EXPECT_TRUE(other.GotWithin(MustHappenMs()));
}

TEST(MTCritSecTest, OwnerEntersAgainAndMustLeaveAsOftenAsItEntered)
{
    MTCritSec section;
    section.Enter();
    section.Enter();  // must not block
    section.Leave();
    Contender other([&] { section.Enter(); }, [&] { section.Leave(); });
    EXPECT_FALSE(other.GotWithin(MustNotHappenMs())) << "one Leave freed a section entered twice";
    section.Leave();
    EXPECT_TRUE(other.GotWithin(MustHappenMs()));
}

TEST(LockableTest, DerivedClassGuardsItselfWithLockAndUnlock)
{
    struct Guarded : Lockable
    {
        int m_nValue = 0;
    } guarded;
    guarded.Lock();
    guarded.m_nValue = 1;
    Contender other([&] { guarded.Lock(); }, [&] { guarded.Unlock(); });
    EXPECT_FALSE(other.GotWithin(MustNotHappenMs()));
    guarded.Unlock();
    EXPECT_TRUE(other.GotWithin(MustHappenMs()));
}

// --- Scoped locks over a critical section ---

TEST(MTAutoLockTest, NullPointersHoldNothing)
{
    {
        MTAutoLock noMutex(static_cast<MTMutex*>(nullptr));
        MTAutoLock noSection(static_cast<MTCritSec*>(nullptr));
    }
    SUCCEED();  // neither a wait nor a release on a null object
}

TEST(MTAutoLockTest, ScopeEndedByAnExceptionLeavesTheSection)
{
    MTCritSec section;
    try
    {
        MTAutoLock hold(&section);
        throw std::runtime_error("leaving the scope");
    }
    catch (const std::runtime_error&)
    {
    }
    Contender other([&] { section.Enter(); }, [&] { section.Leave(); });
    EXPECT_TRUE(other.GotWithin(MustHappenMs())) << "the section stayed held after the exception";
}

TEST(MTAutoLockTest, NestedLocksOnOneThreadDoNotBlockAndFreeTheSectionAfterBoth)
{
    MTCritSec section;
    std::optional<Contender> other;  // outlives the scopes, so that it is joined after they end
    {
        MTAutoLock outer(&section);
        {
            MTAutoLock inner(&section);
        }
        other.emplace([&] { section.Enter(); }, [&] { section.Leave(); });
        EXPECT_FALSE(other->GotWithin(MustNotHappenMs())) << "the inner scope freed the outer one's hold";
    }
    EXPECT_TRUE(other->GotWithin(MustHappenMs())) << "the section stayed held after both scopes";
}

// --- Scoped locks over a mutex ---

TEST(MTAutoLockTest, HoldsTheMutexForTheScope)
{
    MTMutex mutex;
    {
        MTAutoLock hold(&mutex);
        EXPECT_EQ(PollFromAnotherThread(mutex), static_cast<DWORD>(WAIT_TIMEOUT));
    }
    EXPECT_EQ(PollFromAnotherThread(mutex), static_cast<DWORD>(WAIT_OBJECT_0));
    EXPECT_EQ(mutex.GetStatus(), 0u);
}

TEST(MTAutoLockTest, ScopeEndedByAnExceptionReleasesTheMutex)
{
    MTMutex mutex;
    try
    {
        MTAutoLock hold(&mutex);
        throw std::runtime_error("leaving the scope");
    }
    catch (const std::runtime_error&)
    {
    }
    EXPECT_EQ(PollFromAnotherThread(mutex), static_cast<DWORD>(WAIT_OBJECT_0));
}

TEST(MTAutoLockTest, NestedLocksOverOneMutexReleaseItAfterBoth)
{
    MTMutex mutex;
    {
        MTAutoLock outer(&mutex);
        {
            MTAutoLock inner(&mutex);
        }
        EXPECT_EQ(PollFromAnotherThread(mutex), static_cast<DWORD>(WAIT_TIMEOUT));
    }
    EXPECT_EQ(PollFromAnotherThread(mutex), static_cast<DWORD>(WAIT_OBJECT_0));
    EXPECT_EQ(mutex.GetStatus(), 0u);
}

TEST(MTAutoLockTest, MutexAbandonedByAnotherThreadIsTakenAndReleasedNormally)
{
    MTMutex mutex;
    std::thread([&] { WaitForSingleObject(mutex.GetHandle(), INFINITE); }).join();  // ends holding it
    {
        MTAutoLock hold(&mutex);
        EXPECT_EQ(PollFromAnotherThread(mutex), static_cast<DWORD>(WAIT_TIMEOUT)) << "the abandoned mutex was not taken";
    }
    // Released normally: the next taker gets it plain, not abandoned.
    EXPECT_EQ(PollFromAnotherThread(mutex), static_cast<DWORD>(WAIT_OBJECT_0));
    EXPECT_EQ(mutex.GetStatus(), 0u);
}

TEST(MTAutoLockTest, MutexWithoutAHandleLeavesTheReleaseErrorInItsStatus)
{
    MTMutex missing(weft::test::UniqueName("autolock-missing").c_str(), false, SYNCHRONIZE | MUTEX_MODIFY_STATE);
    ASSERT_FALSE(missing.IsValidHandle());
    ASSERT_EQ(missing.GetStatus(), static_cast<unsigned long>(ERROR_FILE_NOT_FOUND));
    {
        MTAutoLock hold(&missing);  // the failed wait goes unnoticed
    }
    EXPECT_EQ(missing.GetStatus(), static_cast<unsigned long>(ERROR_INVALID_HANDLE));
}
