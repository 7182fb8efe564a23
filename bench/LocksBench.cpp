// The monitor's hand-off between a producer and a consumer over a one-item slot, against the
// same protocol done with the kernel calls the monitor's design must make (a semaphore as the
// lock, an auto-reset event per condition, the lock handed over without release), and against
// CONDITION_VARIABLE with SRWLOCK. Then the locks with nobody waiting: Enter/Leave against SRWLOCK
// exclusive, and read and write access against SRWLOCK and std::shared_mutex; and read access
// under 1 and 4 threads against the readers-writer design's kernel calls done inline (a mutex
// round trip per grant and per release, the semaphore on the first and last reader).
#include "weftcore.h"

#include "support/BenchSupport.h"

#include <mutex>
#include <shared_mutex>
#include <thread>
#include <vector>

using weft::bench::Compare;
using weft::bench::NowSeconds;
using weft::bench::Report;

namespace
{
struct SlotCondition : MTCondition
{
    SlotCondition(const bool& full, bool want) : m_full(full), m_want(want) {}
    bool IsSatisfied() override { return m_full == m_want; }
    const bool& m_full;
    bool m_want;
};

// n items through the slot, producer on another thread; seconds.
template <class Put, class Take>
double HandOff(int n, Put put, Take take)
{
    const double start = NowSeconds();
    std::thread producer([&] {
        for (int i = 0; i < n; ++i)
            put();
    });
    for (int i = 0; i < n; ++i)
        take();
    producer.join();
    return NowSeconds() - start;
}

double MonitorHandOff(int n)
{
    MTMonitor monitor;
    bool full = false;
    SlotCondition empty(full, false), filled(full, true);
    auto step = [&](SlotCondition& wait, bool now) {
        monitor.Enter();
        monitor.WaitForCondition(&wait);
        full = now;
        monitor.Leave();
    };
    return HandOff(n, [&] { step(empty, true); }, [&] { step(filled, false); });
}

// The monitor's protocol by hand: test, else give the lock away (to the other side if its
// condition holds) and wait for the event that hands it back.
double KernelHandOff(int n)
{
    HANDLE lock = CreateSemaphoreA(nullptr, 1, 1, nullptr);
    HANDLE ready[2] = {CreateEventA(nullptr, FALSE, FALSE, nullptr), CreateEventA(nullptr, FALSE, FALSE, nullptr)};
    bool full = false, waiting[2] = {false, false};
    auto leave = [&] {
        for (int side = 0; side < 2; ++side)
            if (waiting[side] && full == (side == 1))
            {
                waiting[side] = false;
                SetEvent(ready[side]);
                return;
            }
        ReleaseSemaphore(lock, 1, nullptr);
    };
    auto step = [&](int side) {
        WaitForSingleObject(lock, INFINITE);
        if (full != (side == 1))
        {
            waiting[side] = true;
            leave();
            WaitForSingleObject(ready[side], INFINITE);
        }
        full = side == 0;
        leave();
    };
    const double seconds = HandOff(n, [&] { step(0); }, [&] { step(1); });
    CloseHandle(lock), CloseHandle(ready[0]), CloseHandle(ready[1]);
    return seconds;
}

double ConditionVariableHandOff(int n)
{
    SRWLOCK lock = SRWLOCK_INIT;
    CONDITION_VARIABLE changed = CONDITION_VARIABLE_INIT;
    bool full = false;
    auto step = [&](bool want, bool now) {
        AcquireSRWLockExclusive(&lock);
        while (full != want)
            SleepConditionVariableSRW(&changed, &lock, INFINITE, 0);
        full = now;
        ReleaseSRWLockExclusive(&lock);
        WakeAllConditionVariable(&changed);
    };
    return HandOff(n, [&] { step(false, true); }, [&] { step(true, false); });
}

// n grants and releases on each of `threads` threads (on this one for a single thread, so that
// no thread start is timed); seconds.
template <class Access>
double Accesses(int n, int threads, Access access)
{
    const double start = NowSeconds();
    if (threads == 1)
    {
        for (int i = 0; i < n; ++i)
            access();
        return NowSeconds() - start;
    }
    std::vector<std::thread> all;
    for (int t = 0; t < threads; ++t)
        all.emplace_back([&] {
            for (int i = 0; i < n; ++i)
                access();
        });
    for (auto& t : all)
        t.join();
    return NowSeconds() - start;
}

// One operation of each side, timed n at a time on `threads` threads.
template <class Raw, class Library>
weft::bench::Comparison CompareAccess(Raw raw, Library library, int threads, int ops)
{
    return Compare([&](int n) { return Accesses(n, threads, raw); }, [&](int n) { return Accesses(n, threads, library); },
                   ops, 11);
}
}  // namespace

int main()
{
    const auto viaKernel = Compare(KernelHandOff, MonitorHandOff, 2000, 15);
    Report("MTMonitor hand-off vs its kernel calls", viaKernel, 1.05, "its kernel calls");
    Report("MTMonitor hand-off vs CONDITION_VARIABLE", Compare(ConditionVariableHandOff, MonitorHandOff, 2000, 15), 0,
           "CONDITION_VARIABLE");

    // Nobody waits: the user-mode paths against the platform's and the standard library's locks.
    constexpr int Quick = 200000;
    SRWLOCK srw = SRWLOCK_INIT;
    std::shared_mutex shared;
    MTMonitor monitor;
    MultiReaderWriter rw;
    auto enter = [&] { monitor.Enter(), monitor.Leave(); };
    auto srwExclusive = [&] { AcquireSRWLockExclusive(&srw), ReleaseSRWLockExclusive(&srw); };
    auto srwShared = [&] { AcquireSRWLockShared(&srw), ReleaseSRWLockShared(&srw); };
    auto read = [&] { MultiReaderWriterAccess hold(rw, true); };
    auto write = [&] { MultiReaderWriterAccess hold(rw, false); };
    Report("Enter/Leave, nobody waits, vs SRWLOCK exclusive", CompareAccess(srwExclusive, enter, 1, Quick), 3,
           "SRWLOCK exclusive");
    Report("write lock, nobody waits, vs SRWLOCK exclusive", CompareAccess(srwExclusive, write, 1, Quick), 3,
           "SRWLOCK exclusive");
    Report("write lock, nobody waits, vs std::shared_mutex",
           CompareAccess([&] { std::unique_lock hold(shared); }, write, 1, Quick), 3, "std::shared_mutex");
    for (int threads : {1, 4})
    {
        HANDLE guard = CreateMutexA(nullptr, FALSE, nullptr), writeLock = CreateSemaphoreA(nullptr, 1, 1, nullptr);
        int readers = 0;
        auto kernel = [&] {
            WaitForSingleObject(guard, INFINITE);
            if (++readers == 1)
                WaitForSingleObject(writeLock, INFINITE);
            ReleaseMutex(guard);
            WaitForSingleObject(guard, INFINITE);
            if (--readers == 0)
                ReleaseSemaphore(writeLock, 1, nullptr);
            ReleaseMutex(guard);
        };
        const bool alone = threads == 1;
        const std::string name = "read lock, " + std::to_string(threads) + (alone ? " thread" : " threads");
        Report((name + " vs its kernel calls").c_str(), CompareAccess(kernel, read, threads, 2000), 1.10,
               "its kernel calls");
        Report((name + " vs SRWLOCK shared").c_str(), CompareAccess(srwShared, read, threads, Quick), alone ? 3 : 0,
               "SRWLOCK shared");
        Report((name + " vs std::shared_mutex").c_str(),
               CompareAccess([&] { std::shared_lock hold(shared); }, read, threads, Quick), alone ? 3 : 0,
               "std::shared_mutex");
        CloseHandle(guard), CloseHandle(writeLock);
    }
    return 0;
}
