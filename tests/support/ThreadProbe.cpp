#include "support/ThreadProbe.h"

#include <tlhelp32.h>

namespace weft::test
{
ThreadProbe::ThreadProbe() : m_before(ThreadsOfThisProcess())
{
}

std::set<DWORD> ThreadProbe::ThreadsOfThisProcess()
{
    std::set<DWORD> ids;
    HANDLE snap = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snap == INVALID_HANDLE_VALUE)
        return ids;
    THREADENTRY32 te = {};
    te.dwSize = sizeof te;
    for (BOOL more = Thread32First(snap, &te); more; more = Thread32Next(snap, &te))
    {
        if (te.th32OwnerProcessID == GetCurrentProcessId())
            ids.insert(te.th32ThreadID);
    }
    CloseHandle(snap);
    return ids;
}

std::set<DWORD> ThreadProbe::NewThreads() const
{
    std::set<DWORD> added;
    for (DWORD id : ThreadsOfThisProcess())
    {
        if (m_before.count(id) == 0)
            added.insert(id);
    }
    return added;
}

HANDLE ThreadProbe::OpenNewThread() const
{
    const std::set<DWORD> added = NewThreads();
    if (added.size() != 1)
        return nullptr;
    return OpenThread(SYNCHRONIZE | THREAD_SUSPEND_RESUME | THREAD_QUERY_INFORMATION, FALSE, *added.begin());
}
}  // namespace weft::test
