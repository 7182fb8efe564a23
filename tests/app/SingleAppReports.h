// What the single-instance test application tells the test (posted to the window given with
// --report) and what the test tells it (thread messages to its main thread).
#pragma once

#include <windows.h>

namespace weft::test
{
enum SingleAppReport : UINT
{
    ReportStarted = WM_APP + 1,  // wParam: the first instance's main thread, 0 for a later one; lParam: its main window
    ReportCommand,               // wParam, lParam: those of the WM_COMMAND that arrived
    ReportRestored,              // lParam: the window that left the minimised state
};

enum SingleAppOrder : UINT
{
    OrderMakeWindow = WM_APP + 50,  // makes the visible main window now, then reports started again
    OrderQuit,                      // ends the message loop; the exit code is FirstInstanceExit
};

// Exit codes of the test application.
constexpr long LaterInstanceExit = 100;  // InitInstance gave 0
constexpr long FirstInstanceExit = 101;
}  // namespace weft::test
