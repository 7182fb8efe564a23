// Launching files, programs and addresses through the shell.
#pragma once

#include "weftbase/WeftBaseApi.h"

#include <afx.h>

class WEFTBASE_API ExeUtils
{
public:
    // The shell verb of a launch.
    enum LaunchCommand : int
    {
        Default = 0,  // the file type's default action (usually open)
        Open = 1,
        Edit = 2,
        Explore = 3,
        Print = 4,
        RunAs = 5,    // open with elevation
    };

    // Launches file (a program, a document, a directory or an address) through the shell, in
    // directory dir (empty: the current directory) with params as its command line (empty: none).
    //   quiet   true: the shell shows no message box of its own on failure; the failure comes
    //           back only in error. false: the shell may tell the user itself.
    //   command the verb, see LaunchCommand; a value outside it counts as Default.
    //   show    the window state for the started program (SW_SHOWNORMAL is 1).
    //   error   emptied, then on failure the system's text of the failure.
    //   parent  owner window of any user interface of the shell, or null.
    // Returns once the shell has started the launch; it does not wait for the program. Call it on
    // a thread that has initialised COM (single-threaded apartment), as the shell needs.
    static bool ShellLaunchApp(const char* file, const char* dir, const char* params, bool quiet, int command,
                               int show, CString& error, HWND parent);
};
