#include "support/TestSupport.h"

#include "weftcore.h"

#include <gtest/gtest.h>
#include <psapi.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <vector>

namespace weft::test
{
DWORD MustHappenMs()
{
    return Scaled(10000);
}

DWORD MustNotHappenMs()
{
    return Scaled(300);
}

std::string UniqueName(const char* tag)
{
    static std::atomic<unsigned> counter{0};
    char buf[160];
    std::snprintf(buf, sizeof buf, "weft-test-%s-%lu-%u", tag, GetCurrentProcessId(), ++counter);
    return buf;
}

DWORD HandleCount()
{
    DWORD count = 0;
    if (GetProcessHandleCount(GetCurrentProcess(), &count) && count != 0)
        return count;
    // Some systems answer 0 (Wine does), which no living process has: count this process's
    // entries in the system's handle list instead.
    struct Entry
    {
        ULONG pid;
        UCHAR type, flags;
        USHORT handle;
        PVOID object;
        ACCESS_MASK access;
    };
    using Query = LONG(WINAPI*)(ULONG, PVOID, ULONG, PULONG);
    const auto query = reinterpret_cast<Query>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "NtQuerySystemInformation"));
    const ULONG SystemHandleInformation = 16;
    std::vector<char> buffer(1 << 20);
    ULONG got = 0;
    LONG status;
    while ((status = query(SystemHandleInformation, buffer.data(), static_cast<ULONG>(buffer.size()), &got)) ==
           static_cast<LONG>(0xC0000004))  // the buffer is too small
        buffer.resize(buffer.size() * 2);
    if (status != 0)
        return 0;
    const ULONG entries = *reinterpret_cast<const ULONG*>(buffer.data());
    const Entry* entry = reinterpret_cast<const Entry*>(buffer.data() + sizeof(void*));
    for (ULONG i = 0; i < entries; ++i)
        count += entry[i].pid == GetCurrentProcessId();
    return count;
}

::testing::AssertionResult LeaksNoHandles(const std::function<void()>& cases)
{
    cases();
    const DWORD before = HandleCount();
    cases();
    const DWORD after = HandleCount();
    if (after == before)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "handles before " << before << ", after " << after;
}

std::string ExeDir()
{
    char path[MAX_PATH + 1] = {};
    DWORD n = GetModuleFileNameA(nullptr, path, MAX_PATH);
    std::string dir(path, n);
    return dir.substr(0, dir.find_last_of('\\') + 1);
}

ChildProcess::ChildProcess(const std::vector<std::string>& args) : ChildProcess(std::string(), args)
{
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
    if (m_process)
    {
        if (WaitForSingleObject(m_process, 0) != WAIT_OBJECT_0)
            Kill();
        CloseHandle(m_process);
    }
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
    {
        TerminateProcess(m_process, 99);
        WaitForSingleObject(m_process, MustHappenMs());
    }
}

ChildProcess& ChildGroup::Start(const std::vector<std::string>& args)
{
    m_children.push_back(std::make_unique<ChildProcess>(args));
    return *m_children.back();
}

bool ChildGroup::AllStarted() const
{
    return std::all_of(m_children.begin(), m_children.end(), [](const auto& child) { return child->Started(); });
}

bool ChildGroup::WaitAll(DWORD timeoutMs)
{
    std::vector<HANDLE> handles;
    for (const auto& child : m_children)
        handles.push_back(child->Handle());
    return AllStarted() && !handles.empty() &&
           WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), TRUE, timeoutMs) == WAIT_OBJECT_0;
}

std::vector<long> ChildGroup::ExitCodes()
{
    std::vector<long> codes;
    for (const auto& child : m_children)
        codes.push_back(child->WaitExit(0));
    return codes;
}
}  // namespace weft::test
