// The timer's achieved period against the requested one, over 100 periods: the ratio of each
// interval between two messages at the owner window to the period asked for, as median and
// worst. A raw loop (a wait of one period on a stop event, then SendNotifyMessageA) runs in the
// same program as the yardstick of what the platform gives.
#include "weftcore.h"

#include "support/BenchSupport.h"
#include "support/BenchWindow.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

using weft::bench::BenchWindow;

namespace
{
const UINT TickMsg = WM_APP + 1;
const int Periods = 100;

struct PeriodRatios
{
    double median;
    double worst;  // the one furthest from 1, either way
    double mean;
};

// Ratios of the intervals between the first periods + 1 arrivals to the period.
PeriodRatios Measure(BenchWindow& window, unsigned int periodMs)
{
    std::vector<double> arrivals;
    for (int i = 0; i <= Periods; ++i)
    {
        const double at = window.TakeNext(periodMs * 20 + 5000);
        if (at < 0)
            break;
        arrivals.push_back(at);
    }
    std::vector<double> ratios;
    for (std::size_t i = 1; i < arrivals.size(); ++i)
        ratios.push_back((arrivals[i] - arrivals[i - 1]) * 1000.0 / periodMs);
    if (ratios.empty())
        return {0, 0, 0};
    double sum = 0, worst = 1;
    for (double r : ratios)
    {
        sum += r;
        if (std::abs(r - 1) > std::abs(worst - 1))
            worst = r;
    }
    std::sort(ratios.begin(), ratios.end());
    return {ratios[ratios.size() / 2], worst, sum / ratios.size()};
}

void Report(const char* name, unsigned int periodMs, const PeriodRatios& r)
{
    std::printf("%-34s period %3u ms  median %.3f  mean %.3f  worst %.3f  (ratio of achieved to requested)\n", name,
                periodMs, r.median, r.mean, r.worst);
    std::fflush(stdout);
}

PeriodRatios RawLoop(BenchWindow& window, unsigned int periodMs)
{
    HANDLE stop = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    std::thread loop([&] {
        while (WaitForSingleObject(stop, periodMs) == WAIT_TIMEOUT)
            SendNotifyMessageA(window.Handle(), TickMsg, 0, 0);
    });
    PeriodRatios r = Measure(window, periodMs);
    SetEvent(stop);
    loop.join();
    CloseHandle(stop);
    while (window.TakeNext(50) >= 0)  // the ticks sent after the measurement
    {
    }
    return r;
}

PeriodRatios Timer(BenchWindow& window, unsigned int periodMs)
{
    PeriodRatios r;
    {
        TimerThread timer(TickMsg, window.Handle(), periodMs, false, 0, 0);
        r = Measure(window, periodMs);
    }
    while (window.TakeNext(50) >= 0)
    {
    }
    return r;
}
}  // namespace

int main()
{
    BenchWindow window;
    if (window.Handle() == nullptr)
    {
        std::printf("no window\n");
        return 1;
    }
    for (unsigned int period : {10u, 20u, 50u})
    {
        const PeriodRatios raw = RawLoop(window, period), timer = Timer(window, period);
        Report("raw loop (wait, SendNotifyMessageA)", period, raw);
        Report("TimerThread", period, timer);
        // As figures: the achieved period in ms, against the raw loop's.
        const std::string name = "TimerThread " + std::to_string(period) + " ms period, ";
        weft::bench::Figure({.name = name + "median", .value = timer.median * period, .unit = "ms",
                             .ratio = raw.median > 0 ? timer.median / raw.median : weft::bench::NoRatio,
                             .against = "raw loop"});
        weft::bench::Figure({.name = name + "worst", .value = timer.worst * period, .unit = "ms",
                             .ratio = raw.worst > 0 ? timer.worst / raw.worst : weft::bench::NoRatio,
                             .against = "raw loop"});
    }
    return 0;
}
