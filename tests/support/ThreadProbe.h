// Finds the thread that a watcher started, so that a test can see it end by itself, or hold it
// suspended the way a debugger would. Take the probe right before constructing the watcher.
#pragma once

#include <windows.h>

#include <tlhelp32.h>

#include <set>

namespace weft::test
{
class ThreadProbe
{
public:
    ThreadProbe() { m_before = NewThreads(); }  // m_before is empty here: all threads count

    // Threads of this process started since the probe was taken (all of them, while taking it).
    std::set<DWORD> NewThreads() const
    {
        std::set<DWORD> added;
        const HANDLE snap = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
        THREADENTRY32 te = {};
        te.dwSize = sizeof te;
        for (BOOL more = snap != INVALID_HANDLE_VALUE && Thread32First(snap, &te); more; more = Thread32Next(snap, &te))
        {
            if (te.th32OwnerProcessID == GetCurrentProcessId() && m_before.count(te.th32ThreadID) == 0)
                added.insert(te.th32ThreadID);
        }
        if (snap != INVALID_HANDLE_VALUE)
            CloseHandle(snap);
        return added;
    }
    // Opens the one thread started since the probe was taken (to wait, suspend, resume and query); null
    // if there is not exactly one, so that a test fails rather than act on the wrong thread.
    HANDLE OpenNewThread() const
    {
        const std::set<DWORD> added = NewThreads();
        return added.size() != 1 ? nullptr
                                 : OpenThread(SYNCHRONIZE | THREAD_SUSPEND_RESUME | THREAD_QUERY_INFORMATION, FALSE,
                                              *added.begin());
    }

private:
    std::set<DWORD> m_before;
};
}  // namespace weft::test
