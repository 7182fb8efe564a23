// What the single-instance test application posts to the --report window, and the test's orders to its main thread.
#pragma once

#include <windows.h>

namespace weft::test
{
enum SingleAppMessage : UINT
{
    ReportStarted = WM_APP + 1,     // wParam: the first instance's main thread, 0 for a later one; lParam: main window
    ReportCommand,                  // wParam, lParam: those of the WM_COMMAND that arrived
    ReportEnded,                    // wParam: threads of the first's InitInstance outliving its application object;
                                    // lParam: 1 if the instance's name (the application's) is still taken
    OrderMakeWindow = WM_APP + 50,  // makes the visible main window now, then reports started again
    OrderQuit,                      // ends the message loop; the exit code is FirstInstanceExit
};

constexpr long LaterInstanceExit = 0, FirstInstanceExit = 101;  // InitInstance gave 0; OrderQuit
}  // namespace weft::test
