// Shared helpers of the test programs: time-outs, unique names, handle counts, child processes, turns.
#pragma once

#include "support/Waits.h"

#include <windows.h>

#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace testing
{
class AssertionResult;
}

namespace weft::test
{
// A bounded wait for something that must happen, and how long to watch for something that must not.
inline DWORD MustHappenMs() { return Scaled(10000); }
inline DWORD MustNotHappenMs() { return Scaled(300); }
// A kernel-object name no other test or process uses: tag, process id and a counter.
std::string UniqueName(const char* tag);

// Runs the cases twice and succeeds if the second run leaves the handle count as it found it. The first
// run is a warm-up: the system keeps some handles of its own from a first use (named objects' directory).
::testing::AssertionResult LeaksNoHandles(const std::function<void()>& cases);

// The drive list is one for the whole system: tests that change or watch it take turns, across processes.
struct DriveListTurn
{
    HANDLE mutex = CreateMutexA(nullptr, FALSE, "weft-tests-drive-list");
    DriveListTurn() { WaitForSingleObject(mutex, MustHappenMs() * 4); }
    ~DriveListTurn() { ReleaseMutex(mutex), CloseHandle(mutex); }
};

// Puts the stand-in in the place of the system function (of kernel32 unless named) in the module's
// imports, or the function back (on false), to stand in for a system function a library calls.
template <class Function>
bool StandIn(const char* function, Function* standIn, bool on = true, const char* module = "weftbase.dll",
             const char* system = "kernel32.dll")
{
    const auto original = reinterpret_cast<ULONGLONG>(GetProcAddress(GetModuleHandleA(system), function));
    const auto stand = reinterpret_cast<ULONGLONG>(standIn);
    const ULONGLONG from = on ? original : stand, to = on ? stand : original;
    auto* base = reinterpret_cast<BYTE*>(GetModuleHandleA(module));
    const auto* nt = reinterpret_cast<IMAGE_NT_HEADERS*>(base + reinterpret_cast<IMAGE_DOS_HEADER*>(base)->e_lfanew);
    const DWORD imports = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    DWORD old = 0;
    for (auto* d = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + imports); d->Name; ++d)
        for (auto* t = reinterpret_cast<IMAGE_THUNK_DATA*>(base + d->FirstThunk); t->u1.Function; ++t)
            if (t->u1.Function == from && VirtualProtect(t, sizeof to, PAGE_READWRITE, &old))
                return (t->u1.Function = to, VirtualProtect(t, sizeof to, old, &old));
    return false;
}

std::string ExeDir();  // The folder of the running program, with a trailing backslash.

// A child running weft_testchild.exe with a command and its arguments; ended at destruction if still running.
class ChildProcess
{
public:
    explicit ChildProcess(const std::vector<std::string>& args) : ChildProcess(std::string(), args) {}
    // Another program, started in the test programs' folder so that it finds the libraries there.
    ChildProcess(const std::string& program, const std::vector<std::string>& args);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    HANDLE Handle() const { return m_process; }
    long WaitExit(DWORD timeoutMs);  // Waits for the end; gives the exit code, or -1 if it did not end in time.
    void Kill();

private:
    HANDLE m_process = nullptr;
};

// Several child processes started one after another and waited for together.
struct ChildGroup : std::deque<ChildProcess>
{
    ChildProcess& Start(const std::vector<std::string>& args) { return emplace_back(args); }
    // Waits until every child has ended, within one time limit for all; false if one did not start or end.
    bool WaitAll(DWORD timeoutMs);
    std::vector<long> ExitCodes();  // Exit codes in the order of starting; -1 for a child still running.
};
}  // namespace weft::test
