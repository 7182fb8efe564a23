// The event monitor's latency from SetEvent to the owner window's procedure, against a raw
// loop (WaitForMultipleObjects on a stop event and the watched event, then SendNotifyMessageA)
// in the same run. The latency is stamped in the window procedure; each signal waits for its
// message before the next, so every signal finds the watching thread idle in its wait.
//
// On a small shared machine the latency depends mostly on where the scheduler puts the threads,
// and one placement can hold for a whole run. So both sides send to one window, and every round
// starts a fresh watching thread (not timed), so that placements vary across rounds; a round is
// the median of its signals, and the comparison the median of the rounds.
#include "weftcore.h"

#include "support/BenchSupport.h"
#include "support/BenchWindow.h"

#include <cstdio>
#include <cstring>
#include <thread>

using weft::bench::BenchWindow;
using weft::bench::NowSeconds;

namespace
{
const UINT SignalMsg = WM_APP + 2;

// Seconds from SetEvent to the window procedure over n signals, as n times the median.
double Latencies(BenchWindow& window, HANDLE event, int n)
{
    return window.MedianLatency([&] { SetEvent(event); }, n);
}

double RawRound(BenchWindow& window, HANDLE event, int n)
{
    HANDLE stop = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    std::thread raw([&] {
        HANDLE handles[2] = {stop, event};
        while (WaitForMultipleObjects(2, handles, FALSE, INFINITE) == WAIT_OBJECT_0 + 1)
            SendNotifyMessageA(window.Handle(), SignalMsg, 0, 0);
    });
    const double seconds = Latencies(window, event, n);
    SetEvent(stop);
    raw.join();
    CloseHandle(stop);
    return seconds;
}

double MonitorRound(BenchWindow& window, HANDLE event, int n)
{
    EventMonitorThread monitor(event, SignalMsg, window.Handle(), 0xFFFFFFFF, 0, 0);
    return Latencies(window, event, n);
}
}  // namespace

int main(int argc, char** argv)
{
    // "same" compares the raw loop with itself: the spread of the method on this machine.
    const bool same = argc > 1 && std::strcmp(argv[1], "same") == 0;
    BenchWindow window;
    HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    if (window.Handle() == nullptr || event == nullptr)
    {
        std::printf("no window or event\n");
        return 1;
    }
    const auto c = weft::bench::Compare([&](int n) { return RawRound(window, event, n); },
                                        [&](int n) { return same ? RawRound(window, event, n)
                                                                 : MonitorRound(window, event, n); },
                                        50, 81);
    weft::bench::Report(same ? "raw loop against itself" : "EventMonitorThread SetEvent -> message", c, 1.10, "raw loop");
    CloseHandle(event);
    return 0;
}
