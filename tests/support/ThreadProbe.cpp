#include "support/ThreadProbe.h"

#include <tlhelp32.h>

namespace weft::test
{
std::set<DWORD> ThreadProbe::NewThreads() const
{
    std::set<DWORD> added;
    HANDLE snap = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snap == INVALID_HANDLE_VALUE)
        return added;
    THREADENTRY32 te = {};
    te.dwSize = sizeof te;
    for (BOOL more = Thread32First(snap, &te); more; more = Thread32Next(snap, &te))
    {
        if (te.th32OwnerProcessID == GetCurrentProcessId() && m_before.count(te.th32ThreadID) == 0)
            added.insert(te.th32ThreadID);
    }
    CloseHandle(snap);
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
