// Shared helpers of the test programs: time-outs, unique kernel-object names, handle counts,
// the child program, and the drive list's turns.
#pragma once

#include "support/Waits.h"

#include <windows.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace testing
{
class AssertionResult;
}

namespace weft::test
{
// A bounded wait for something that must happen. Scaled by WEFT_TIMEOUT_SCALE for slow machines.
DWORD MustHappenMs();
// How long to watch for something that must not happen.
DWORD MustNotHappenMs();
// A kernel-object name no other test or process uses: tag, process id and a counter.
std::string UniqueName(const char* tag);

// Handles open in this process.
DWORD HandleCount();
// Runs the cases twice and succeeds if the second run leaves the handle count as it found it.
// The first run is a warm-up: the system keeps some handles of its own from a first use (the
// directory of named objects, for one).
::testing::AssertionResult LeaksNoHandles(const std::function<void()>& cases);

// The drive list is one for the whole system: the tests that change or watch it take turns, also
// when they run in processes side by side.
struct DriveListTurn
{
    HANDLE mutex = CreateMutexA(nullptr, FALSE, "weft-tests-drive-list");
    DriveListTurn() { WaitForSingleObject(mutex, MustHappenMs() * 4); }
    ~DriveListTurn() { ReleaseMutex(mutex), CloseHandle(mutex); }
};

// The folder of the running program, with a trailing backslash.
std::string ExeDir();

// A child process running weft_testchild.exe with a command and its arguments.
// The destructor ends a child that is still running, so a failed test leaves none behind.
class ChildProcess
{
public:
    explicit ChildProcess(const std::vector<std::string>& args);
    // Another copy of the child program, started in the test programs' folder so that it finds
    // the libraries there.
    ChildProcess(const std::string& program, const std::vector<std::string>& args);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool Started() const { return m_process != nullptr; }
    HANDLE Handle() const { return m_process; }
    // Waits for the end; gives the exit code, or -1 if it did not end in time.
    long WaitExit(DWORD timeoutMs);
    void Kill();

private:
    HANDLE m_process = nullptr;
};

// Several child processes started one after another and waited for together.
class ChildGroup
{
public:
    ChildProcess& Start(const std::vector<std::string>& args);
    bool AllStarted() const;
    // Waits until every child has ended, within one time limit for all; false if one did not.
    bool WaitAll(DWORD timeoutMs);
    // Exit codes in the order of starting; -1 for a child still running.
    std::vector<long> ExitCodes();

private:
    std::vector<std::unique_ptr<ChildProcess>> m_children;
};
}  // namespace weft::test
