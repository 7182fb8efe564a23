// Tour: the single-instance sample started twice: the second start finds the first, restores
// its minimised window and ends. Also the "single" tool.
#include "TourSteps.h"

#include <windows.h>

#include <cstdio>
#include <string>

namespace
{
std::string SampleExe()
{
    const std::string exe = weft::tour::ThisExe();
    return exe.substr(0, exe.find_last_of('\\') + 1) + "weft_single_sample.exe";
}

// Starts the sample with its output on ours; null if it could not start.
HANDLE StartSample(const std::string& args)
{
    const std::string exe = SampleExe();
    std::string cmd = "\"" + exe + "\" " + args;
    STARTUPINFOA si = {};
    si.cb = sizeof si;
    si.dwFlags = STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW;
    si.wShowWindow = SW_SHOWNORMAL;
    si.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    si.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    si.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION pi = {};
    if (!CreateProcessA(exe.c_str(), cmd.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &si, &pi))
        return nullptr;
    CloseHandle(pi.hThread);
    return pi.hProcess;
}

// Ends what is left of a failed run; false.
bool Fail(const char* what, HANDLE first, HANDLE second = nullptr)
{
    weft::tour::Say("%s", what);
    for (HANDLE process : {first, second})
        if (process)
        {
            TerminateProcess(process, 1);
            WaitForSingleObject(process, 5000);
            CloseHandle(process);
        }
    return false;
}

// The whole show; true if every stage came within its time.
bool RunSingle()
{
    using weft::tour::Say;
    const DWORD limit = 20000;
    // The first instance sets the event when its window is up, and again when it is restored.
    const std::string eventName = "weft-single-sample-" + std::to_string(GetCurrentProcessId());
    HANDLE event = CreateEventA(nullptr, TRUE, FALSE, eventName.c_str());
    struct Closer
    {
        HANDLE handle;
        ~Closer() { CloseHandle(handle); }
    } closeEvent{event};

    Say("first start");
    HANDLE first = StartSample("--ready " + eventName + " --since " + std::to_string(weft::tour::StartCount()));
    if (!first || WaitForSingleObject(event, limit) != WAIT_OBJECT_0)
        return Fail("the first instance did not come up", first);
    ResetEvent(event);
    HWND window = FindWindowA("WeftSingleSample", nullptr);
    Say("minimising the first instance's window");
    ShowWindow(window, SW_MINIMIZE);

    Say("second start");
    HANDLE second = StartSample("");
    if (!second || WaitForSingleObject(second, limit) != WAIT_OBJECT_0)
        return Fail("the second start did not end", first, second);
    DWORD code = 1;
    GetExitCodeProcess(second, &code);
    CloseHandle(second);
    Say("the second start ended (exit code %lu)", code);
    if (WaitForSingleObject(event, limit) != WAIT_OBJECT_0)
        return Fail("the first instance's window stayed minimised", first);
    Say("the first instance's window is restored%s", GetForegroundWindow() == window ? " and in front" : "");

    Say("closing the first instance");
    PostMessageA(window, WM_CLOSE, 0, 0);
    if (WaitForSingleObject(first, limit) != WAIT_OBJECT_0)
        return Fail("the first instance did not end", first);
    CloseHandle(first);
    Say("the first instance ended");
    return true;
}
}  // namespace

WEFT_TOUR_STEP(SingleTour, 60, "Single instance: a second start wakes the first and ends")
{
    RunSingle();
}

WEFT_TOUR_TOOL(SingleTool, "single", "", "starts the single-instance sample twice and prints what the first saw")
{
    if (!args.empty())
        return weft::tour::UsageError;
    return RunSingle() ? 0 : 1;
}
