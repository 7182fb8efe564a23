#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>

namespace weft::test
{
std::string UniqueName(const char* tag)
{
    static std::atomic<unsigned> counter{0};
    return "weft-test-" + std::string(tag) + "-" + std::to_string(GetCurrentProcessId()) + "-" +
           std::to_string(++counter);
}

namespace
{
DWORD HandleCount()
{
    DWORD count = 0;
    if (GetProcessHandleCount(GetCurrentProcess(), &count) && count != 0)
        return count;
    // Some systems answer 0 (Wine does), which no living process has: count this process's entries in
    // the system's handle list (class 16): a count, then 24-byte entries that start with the process id.
    using Query = LONG(WINAPI*)(ULONG, PVOID, ULONG, PULONG);
    const auto query =
        reinterpret_cast<Query>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "NtQuerySystemInformation"));
    std::vector<ULONG> list(1 << 18);
    for (ULONG got = 0; query(16, list.data(), static_cast<ULONG>(list.size() * 4), &got) == LONG(0xC0000004);)
        list.assign(list.size() * 2, 0);  // too small
    for (ULONG i = 0; i < list[0]; ++i)
        count += list[2 + i * 6] == GetCurrentProcessId();
    return count;
}

// A test still running after 100 s is named, and its process ended, ahead of CTest's limit of 120 s for each
// test. The timer's own thread, made at the test's start, does it: a hung test may hold the loader's lock.
class HangWatch : public ::testing::EmptyTestEventListener
{
    void OnTestStart(const testing::TestInfo& test) override
    {
        m_hung = std::string(test.test_suite_name()) + "." + test.name() + " hung\n";
        CreateTimerQueueTimer(&m_timer, nullptr, &Hung, this, 100000, 0, WT_EXECUTEINTIMERTHREAD);
    }
    void OnTestEnd(const testing::TestInfo&) override { DeleteTimerQueueTimer(nullptr, m_timer, INVALID_HANDLE_VALUE); }
    static void CALLBACK Hung(void* self, BOOLEAN)  // written straight out: a hung thread may hold the stream's lock
    {
        const std::string& text = static_cast<HangWatch*>(self)->m_hung;
        DWORD written = 0;
        WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), text.data(), DWORD(text.size()), &written, nullptr);
        TerminateProcess(GetCurrentProcess(), 1);
    }
    HANDLE m_timer = nullptr;
    std::string m_hung;
};
const bool g_watched = (::testing::UnitTest::GetInstance()->listeners().Append(new HangWatch), true);
}  // namespace

::testing::AssertionResult LeaksNoHandles(const std::function<void()>& cases)
{
    cases();
    const DWORD before = HandleCount();
    cases();
    const DWORD after = HandleCount();
    return after == before ? ::testing::AssertionSuccess()
                           : ::testing::AssertionFailure() << "handles before " << before << ", after " << after;
}

std::string ExeDir()
{
    char path[MAX_PATH + 1] = {};
    const std::string dir(path, GetModuleFileNameA(nullptr, path, MAX_PATH));
    return dir.substr(0, dir.find_last_of('\\') + 1);
}

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& args)
{
    const std::string exe = program.empty() ? ExeDir() + "weft_testchild.exe" : program;
    std::string cmd = "\"" + exe + "\"";
    for (const std::string& a : args)
        cmd += " \"" + a + "\"";
    STARTUPINFOA si = {};
    si.cb = sizeof si;
    PROCESS_INFORMATION pi = {};
    if (CreateProcessA(exe.c_str(), cmd.data(), nullptr, nullptr, FALSE, 0, nullptr,
                       program.empty() ? nullptr : ExeDir().c_str(), &si, &pi))
    {
        CloseHandle(pi.hThread);
        m_process = pi.hProcess;
    }
}

ChildProcess::~ChildProcess()
{
    Kill();  // fails harmlessly for a child that has ended
    if (m_process)
        CloseHandle(m_process);
}

long ChildProcess::WaitExit(DWORD timeoutMs)
{
    if (!m_process || WaitForSingleObject(m_process, timeoutMs) != WAIT_OBJECT_0)
        return -1;
    DWORD code = 0;
    GetExitCodeProcess(m_process, &code);
    return static_cast<long>(code);
}

void ChildProcess::Kill()
{
    if (m_process)
        TerminateProcess(m_process, 99), WaitForSingleObject(m_process, MustHappenMs());
}

bool ChildGroup::WaitAll(DWORD timeoutMs)
{
    std::vector<HANDLE> handles;
    for (const ChildProcess& child : *this)
        handles.push_back(child.Handle());
    return !empty() && std::count(handles.begin(), handles.end(), nullptr) == 0 &&
           WaitForMultipleObjects(static_cast<DWORD>(size()), handles.data(), TRUE, timeoutMs) == WAIT_OBJECT_0;
}

std::vector<long> ChildGroup::ExitCodes()
{
    std::vector<long> codes;
    for (ChildProcess& child : *this)
        codes.push_back(child.WaitExit(0));
    return codes;
}
}  // namespace weft::test
