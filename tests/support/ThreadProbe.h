// Finds the thread that a watcher started, so that a test can see it end by itself, or hold it
// suspended the way a debugger would. Take the probe right before constructing the watcher.
#pragma once

#include "support/TestSupport.h"

#include <set>

namespace weft::test
{
class ThreadProbe
{
public:
    ThreadProbe() { m_before = NewThreads(); }  // m_before is empty here: all threads count

    // Threads of this process started since the probe was taken (all of them, while taking it).
    std::set<DWORD> NewThreads() const;
    // Opens the one thread of this process started since the probe was taken (with SYNCHRONIZE,
    // suspend/resume and query rights); null if there is not exactly one, so that a test fails
    // rather than act on the wrong thread. The caller closes the handle.
    HANDLE OpenNewThread() const;

private:
    std::set<DWORD> m_before;
};
}  // namespace weft::test
