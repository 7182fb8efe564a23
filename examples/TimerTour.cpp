// Tour: a timer thread ticking to a window, a one-shot timer pushed back by Reset, and an
// event monitor turning a burst of signals into one message.
#include "TourSteps.h"
#include "TourWindow.h"

#include "weftcore.h"

namespace
{
const UINT TickMsg = WM_APP + 30;
const UINT SignalMsg = WM_APP + 31;

// Prints each timer or monitor message, numbered within its step.
weft::tour::TourWindow::Handler Printer()
{
    return [n = 0](unsigned long long, UINT msg, WPARAM wParam, LPARAM lParam) mutable {
        weft::tour::Say("%s: message %d (wParam %llu, lParam %lld)", msg == TickMsg ? "timer" : "event monitor", ++n,
                        static_cast<unsigned long long>(wParam), static_cast<long long>(lParam));
    };
}
}  // namespace

WEFT_TOUR_STEP(RepeatingTimerTour, 30, "Timer thread: a repeating timer ticks to its window, then stops")
{
    using weft::tour::Say;
    weft::tour::TourWindow window(Printer());
    TimerThread timer(TickMsg, window.Handle(), 100, false, 30, -1);
    Say("timer of 100 ms started; waiting for five ticks");
    window.PumpUntil(5, 5000);
    timer.Stop(1000);
    const int atStop = window.Count();
    window.PumpFor(300);
    Say("stopped after %d ticks; %d more in the 300 ms after the stop", atStop, window.Count() - atStop);
}

WEFT_TOUR_STEP(OneShotTimerTour, 31, "Timer thread: a one-shot timer, pushed back by Reset")
{
    using weft::tour::Say;
    weft::tour::TourWindow window(Printer());
    TimerThread timer(TickMsg, window.Handle(), 200, true, 31, 0);
    Say("one-shot of 200 ms started");
    for (int i = 0; i < 2; ++i)
    {
        window.PumpFor(100);
        timer.Reset();
        Say("Reset after 100 ms: a full 200 ms starts again");
    }
    window.PumpUntil(1, 2000);
    window.PumpFor(300);
    Say("the one-shot sent %d message(s), 200 ms after the last Reset", window.Count());
}

WEFT_TOUR_STEP(EventMonitorTour, 32, "Event monitor: a burst of signals becomes one message")
{
    using weft::tour::Say;
    weft::tour::TourWindow window(Printer());
    MTEvent event(false, false);
    EventMonitorThread monitor(event.GetHandle(), SignalMsg, window.Handle(), 150, 32, 0);
    Say("message delay 150 ms; ten signals 20 ms apart");
    for (int i = 1; i <= 10; ++i)
    {
        event.Set();
        if (i == 10)
            Say("tenth signal set");
        window.PumpFor(20);
    }
    window.PumpUntil(1, 2000);
    window.PumpFor(300);
    Say("%d message(s) for ten signals, 150 ms after the last one", window.Count());
    monitor.Stop(1000);
}
