// The "single" tool: starts the single-instance sample twice and shows what happens.
#include "TourSteps.h"

#include <windows.h>

#include <cstdio>
#include <string>

namespace
{
std::string SampleExe()
{
    char path[MAX_PATH + 1] = {};
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    std::string exe(path);
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

// Polls for what no event announces: another process's window state.
template <class Predicate>
bool WaitUntil(Predicate predicate, DWORD timeoutMs)
{
    for (const ULONGLONG end = GetTickCount64() + timeoutMs; !predicate();)
    {
        if (GetTickCount64() > end)
            return false;
        Sleep(10);
    }
    return true;
}

int Fail(const char* what, HANDLE first)
{
    std::printf("    %s\n", what);
    if (first)
    {
        TerminateProcess(first, 1);
        CloseHandle(first);
    }
    return 1;
}
}  // namespace

WEFT_TOUR_TOOL(SingleTool, "single", "(starts the single-instance sample twice)")
{
    (void)args;
    using weft::tour::Say;
    const std::string readyName = "weft-single-sample-ready-" + std::to_string(GetCurrentProcessId());
    HANDLE ready = CreateEventA(nullptr, TRUE, FALSE, readyName.c_str());
    Say("first start");
    std::fflush(stdout);
    HANDLE first = StartSample("--ready " + readyName);
    const bool up = first && WaitForSingleObject(ready, 20000) == WAIT_OBJECT_0;
    CloseHandle(ready);
    if (!up)
        return Fail("the first instance did not come up", first);
    HWND window = FindWindowA("WeftSingleSample", nullptr);
    Say("minimising the first instance's window");
    std::fflush(stdout);
    ShowWindow(window, SW_MINIMIZE);

    Say("second start");
    std::fflush(stdout);
    HANDLE second = StartSample("");
    DWORD code = 1;
    if (!second || WaitForSingleObject(second, 20000) != WAIT_OBJECT_0)
        return Fail("the second start did not end", first);
    GetExitCodeProcess(second, &code);
    CloseHandle(second);
    Say("the second start found the first, woke it and ended (exit code %lu)", code);
    if (!WaitUntil([&] { return !IsIconic(window); }, 20000))
        return Fail("the first instance's window stayed minimised", first);
    Say("the first instance's window is restored%s", GetForegroundWindow() == window ? " and in front" : "");

    Say("closing the first instance");
    std::fflush(stdout);
    PostMessageA(window, WM_CLOSE, 0, 0);
    if (WaitForSingleObject(first, 20000) != WAIT_OBJECT_0)
        return Fail("the first instance did not end", first);
    CloseHandle(first);
    Say("done");
    return 0;
}
