// Timer thread: a message to the owner window every 100 ms, until the owner has had five.
#include "SnippetWindow.h"

#include "weftcore.h"

#include <cstdio>

int main()
{
    const UINT TickMsg = WM_APP + 1;
    int ticks = 0;
    SnippetWindow window([&](UINT msg, WPARAM wParam, LPARAM) {
        if (msg != TickMsg)
            return false;
        std::printf("tick %d (wParam %llu)\n", ++ticks, static_cast<unsigned long long>(wParam));
        return ticks == 5;
    });

    // Repeating (oneShot false), wParam 7 and lParam 0 come back with every message.
    TimerThread timer(TickMsg, window.Handle(), 100, false, 7, 0);
    const bool done = window.Pump(5000);
    timer.Stop(10000);  // give it time: a thread ended by a short Stop may hold a lock for good
    return done ? 0 : 1;
}
