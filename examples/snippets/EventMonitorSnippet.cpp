// Event monitor: a burst of signals of the application's own event becomes one message, sent
// 100 ms after the last signal.
#include "SnippetWindow.h"

#include "weftcore.h"

#include <cstdio>

int main()
{
    const UINT SignalMsg = WM_APP + 2;
    SnippetWindow window([&](UINT msg, WPARAM, LPARAM) {
        if (msg == SignalMsg)
            std::printf("the event was signalled\n");
        return msg == SignalMsg;
    });

    MTEvent event(false, false);  // must stay open until the monitor has stopped
    EventMonitorThread monitor(event.GetHandle(), SignalMsg, window.Handle(), 100, 0, 0);
    for (int i = 0; i < 5; ++i)
        event.Set();  // five signals, one message
    const bool done = window.Pump(5000);
    monitor.Stop(10000);
    return done ? 0 : 1;
}
