// What the single-instance test application tells the test (posted to the window given with
// --report) and what the test tells it (thread messages to its main thread).
#pragma once

#include <windows.h>

namespace weft::test
{
enum SingleAppReport : UINT
{
    ReportInit = WM_APP + 1,  // wParam: what SingleInstanceApp::InitInstance gave
    ReportReady,              // wParam: the main thread's id; lParam: the main window or 0
    ReportActivated,          // lParam: the window of the application that became active
    ReportCommand,            // wParam, lParam: those of the WM_COMMAND that arrived
    ReportRestored,           // lParam: the window that left the minimised state
};

enum SingleAppOrder : UINT
{
    OrderMakeWindow = WM_APP + 50,  // makes the visible main window now, then reports ready
    OrderQuit,                      // ends the message loop; the exit code is FirstInstanceExit
};

// Exit codes of the test application.
constexpr long LaterInstanceExit = 100;  // InitInstance gave 0
constexpr long FirstInstanceExit = 101;
}  // namespace weft::test
