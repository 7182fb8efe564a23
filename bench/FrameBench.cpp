// Wrapper overhead of the kernel-object classes against the raw Win32 calls, in one run.
#include "support/BenchSupport.h"
#include "weftcore.h"

#include <cstdio>
#include <thread>
#include <vector>

using weft::bench::Compare;
using weft::bench::NowSeconds;
using weft::bench::Report;

namespace
{
constexpr double Goal = 1.05;

// Event ping-pong between two threads: n round trips.
double RawPingPong(int n)
{
    HANDLE ping = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    HANDLE pong = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    std::thread echo([&] {
        for (int i = 0; i < n; ++i)
        {
            WaitForSingleObject(ping, INFINITE);
            SetEvent(pong);
        }
    });
    const double start = NowSeconds();
    for (int i = 0; i < n; ++i)
    {
        SetEvent(ping);
        WaitForSingleObject(pong, INFINITE);
    }
    const double elapsed = NowSeconds() - start;
    echo.join();
    CloseHandle(ping);
    CloseHandle(pong);
    return elapsed;
}

double WrappedPingPong(int n)
{
    MTEvent ping, pong;
    std::thread echo([&] {
        for (int i = 0; i < n; ++i)
        {
            ping.Wait(INFINITE);
            pong.Set();
        }
    });
    const double start = NowSeconds();
    for (int i = 0; i < n; ++i)
    {
        ping.Set();
        pong.Wait(INFINITE);
    }
    const double elapsed = NowSeconds() - start;
    echo.join();
    return elapsed;
}

// A wait over 64 handles whose last one is signalled: the full scan of the array.
struct SixtyFour
{
    std::vector<HANDLE> handles;
    MTWaitableCollection waits;
    SixtyFour()
    {
        for (int i = 0; i < 64; ++i)
        {
            handles.push_back(CreateEventA(nullptr, TRUE, i == 63, nullptr));
            waits.AddObject(handles.back());
        }
    }
    ~SixtyFour()
    {
        for (HANDLE h : handles)
            CloseHandle(h);
    }
};

double RawWait64(SixtyFour& s, int n)
{
    const double start = NowSeconds();
    for (int i = 0; i < n; ++i)
        if (WaitForMultipleObjects(64, s.handles.data(), FALSE, 0) != 63)
            std::abort();
    return NowSeconds() - start;
}

double WrappedWait64(SixtyFour& s, int n)
{
    const double start = NowSeconds();
    for (int i = 0; i < n; ++i)
        if (s.waits.Wait(false, 0) != 63)
            std::abort();
    return NowSeconds() - start;
}

// An uncontended take and release of a mutex.
double RawMutex(int n)
{
    HANDLE m = CreateMutexA(nullptr, FALSE, nullptr);
    const double start = NowSeconds();
    for (int i = 0; i < n; ++i)
    {
        WaitForSingleObject(m, INFINITE);
        ReleaseMutex(m);
    }
    const double elapsed = NowSeconds() - start;
    CloseHandle(m);
    return elapsed;
}

double WrappedMutex(int n)
{
    MTMutex m;
    const double start = NowSeconds();
    for (int i = 0; i < n; ++i)
    {
        m.Wait(INFINITE);
        m.Release();
    }
    return NowSeconds() - start;
}
}  // namespace

int main()
{
    std::printf("Wrapper overhead against raw Win32 (times: median of rounds; ratio: median of per-round library / raw)\n");
    Report("MTEvent Set/Wait ping-pong, 2 threads", Compare(RawPingPong, WrappedPingPong, 200, 101), Goal);
    SixtyFour s;
    Report("MTWaitableCollection::Wait over 64 handles",
           Compare([&](int n) { return RawWait64(s, n); }, [&](int n) { return WrappedWait64(s, n); }, 300, 101),
           Goal);
    Report("MTMutex Wait/Release, uncontended", Compare(RawMutex, WrappedMutex, 300, 101), Goal);
    return 0;
}
