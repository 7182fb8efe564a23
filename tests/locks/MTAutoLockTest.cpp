#include "weftcore.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <optional>
#include <thread>

using weft::test::MustHappenMs;
using weft::test::MustNotHappenMs;

namespace
{
// Another thread that takes the lock of a kind (its Take and Give), reports that it has it, and
// gives it back. Its join is bounded: a thread still blocked behind a lock that a faulty scope
// never gave back is ended, and the test fails instead of hanging.
template <class Kind>
class Contender
{
public:
    explicit Contender(Kind& kind)
        : m_kind(kind), m_evGot(CreateEventA(nullptr, TRUE, FALSE, nullptr)),
          m_thread(CreateThread(nullptr, 0, &Contender::Run, this, 0, nullptr))
    {
    }
    ~Contender()
    {
        if (m_thread != nullptr && WaitForSingleObject(m_thread, MustHappenMs()) != WAIT_OBJECT_0)
        {
            ADD_FAILURE() << "the contending thread never got the lock";
            TerminateThread(m_thread, 1);
            WaitForSingleObject(m_thread, MustHappenMs());
        }
        CloseHandle(m_thread);
        CloseHandle(m_evGot);
    }
    Contender(const Contender&) = delete;
    Contender& operator=(const Contender&) = delete;

    bool GotWithin(DWORD ms) const { return WaitForSingleObject(m_evGot, ms) == WAIT_OBJECT_0; }

private:
    static DWORD WINAPI Run(void* param)
    {
        auto* self = static_cast<Contender*>(param);
        self->m_kind.Take();
        SetEvent(self->m_evGot);
        self->m_kind.Give();
        return 0;
    }

    Kind& m_kind;
    HANDLE m_evGot;
    HANDLE m_thread;
};

// The two kinds of lock a scope can hold, each with the way another thread takes and gives it.
struct SectionKind
{
    MTCritSec lock;
    MTAutoLock Hold() { return MTAutoLock(&lock); }
    void Take() { lock.Enter(); }
    void Give() { lock.Leave(); }
};

struct MutexKind
{
    MTMutex lock;
    MTAutoLock Hold() { return MTAutoLock(&lock); }
    void Take() { WaitForSingleObject(lock.GetHandle(), INFINITE); }
    void Give() { ReleaseMutex(lock.GetHandle()); }
};

template <class Kind>
class ScopedLockTest : public ::testing::Test
{
protected:
    Kind kind;
};
using Kinds = ::testing::Types<SectionKind, MutexKind>;
TYPED_TEST_SUITE(ScopedLockTest, Kinds);

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

TYPED_TEST(ScopedLockTest, HoldsForTheScopeAndNestsOnOneThread)
{
    std::optional<Contender<TypeParam>> other;  // outlives the scopes, so that it is joined after they end
    {
        MTAutoLock outer = this->kind.Hold();
        {
            MTAutoLock inner = this->kind.Hold();  // must not block
        }
        other.emplace(this->kind);
        EXPECT_FALSE(other->GotWithin(MustNotHappenMs())) << "the inner scope freed the outer one's hold";
    }
    EXPECT_TRUE(other->GotWithin(MustHappenMs())) << "the lock stayed held after both scopes";
}

TYPED_TEST(ScopedLockTest, NullPointerHoldsNothing)
{
    using Lock = decltype(this->kind.lock);
    MTAutoLock none(static_cast<Lock*>(nullptr));
    Contender<TypeParam> other(this->kind);
    EXPECT_TRUE(other.GotWithin(MustHappenMs())) << "a scope over no lock held the lock of its kind";
}

TEST(LockableTest, DerivedClassGuardsItselfWithLockAndUnlock)
{
    struct Guarded : Lockable
    {
        void Take() { Lock(); }
        void Give() { Unlock(); }
    } guarded;
    guarded.Lock();
    Contender<Guarded> other(guarded);
    EXPECT_FALSE(other.GotWithin(MustNotHappenMs()));
    guarded.Unlock();
    EXPECT_TRUE(other.GotWithin(MustHappenMs()));
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
    const unsigned long opened = missing.GetStatus();
    {
        MTAutoLock hold(&missing);  // the failed wait goes unnoticed
    }
    const DWORD released = GetLastError();
    ASSERT_NE(released, opened) << "the release's error cannot be told from the open's";
    EXPECT_EQ(missing.GetStatus(), released);
}
