// The monitor's hand-off between a producer and a consumer over a one-item slot, against the
// same protocol done with the kernel calls the monitor's design must make (a semaphore as the
// lock, an auto-reset event per condition, the lock handed over without release), and against
// CONDITION_VARIABLE with SRWLOCK. Then read-lock acquire and release under 1 and 4 threads,
// against the readers-writer lock's own kernel calls done inline (a mutex round trip per grant
// and per release, the semaphore on the first and last reader), SRWLOCK shared mode and
// std::shared_mutex.
#include "weftcore.h"

#include "support/BenchSupport.h"

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

// n read grants and releases on each of `threads` threads; seconds.
template <class Read>
double Reads(int n, int threads, Read read)
{
    const double start = NowSeconds();
    std::vector<std::thread> all;
    for (int t = 0; t < threads; ++t)
        all.emplace_back([&] {
            for (int i = 0; i < n; ++i)
                read();
        });
    for (auto& t : all)
        t.join();
    return NowSeconds() - start;
}
}  // namespace

int main()
{
    const auto viaKernel = Compare(KernelHandOff, MonitorHandOff, 2000, 15);
    Report("MTMonitor hand-off vs its kernel calls", viaKernel, 1.10, "its kernel calls");
    Report("MTMonitor hand-off vs CONDITION_VARIABLE", Compare(ConditionVariableHandOff, MonitorHandOff, 2000, 15), 0,
           "CONDITION_VARIABLE");

    for (int threads : {1, 4})
    {
        MultiReaderWriter lock;
        HANDLE guard = CreateMutexA(nullptr, FALSE, nullptr), write = CreateSemaphoreA(nullptr, 1, 1, nullptr);
        int readers = 0;
        auto kernel = [&](int n) {
            return Reads(n, threads, [&] {
                WaitForSingleObject(guard, INFINITE);
                if (++readers == 1)
                    WaitForSingleObject(write, INFINITE);
                ReleaseMutex(guard);
                WaitForSingleObject(guard, INFINITE);
                if (--readers == 0)
                    ReleaseSemaphore(write, 1, nullptr);
                ReleaseMutex(guard);
            });
        };
        auto library = [&](int n) { return Reads(n, threads, [&] { MultiReaderWriterAccess read(lock, true); }); };
        SRWLOCK srw = SRWLOCK_INIT;
        std::shared_mutex shared;
        auto srwReads = [&](int n) { return Reads(n, threads, [&] { AcquireSRWLockShared(&srw); ReleaseSRWLockShared(&srw); }); };
        auto stdReads = [&](int n) { return Reads(n, threads, [&] { std::shared_lock hold(shared); }); };
        const std::string name = "read lock, " + std::to_string(threads) + " thread" + (threads > 1 ? "s" : "");
        Report((name + " vs its kernel calls").c_str(), Compare(kernel, library, 2000, 11), 1.10, "its kernel calls");
        Report((name + " vs SRWLOCK shared").c_str(), Compare(srwReads, library, 2000, 11), 0, "SRWLOCK shared");
        Report((name + " vs std::shared_mutex").c_str(), Compare(stdReads, library, 2000, 11), 0, "std::shared_mutex");
        CloseHandle(guard), CloseHandle(write);
    }
    return 0;
}
