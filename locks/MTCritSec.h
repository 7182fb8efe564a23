// A critical section: the cheapest lock of the library, for the threads of one process.
// Recursive: the owning thread may enter again, and leaves as often as it entered.
//
//   MTCritSec lock;
//   MTAutoLock hold(&lock);   // entered here, left at the end of the scope
//
// Not copyable: a copy of a critical section's bytes is no lock.
#pragma once

#include "module/WeftCoreApi.h"

class WEFTCORE_API MTCritSec
{
public:
    // InitializeCriticalSection.
    MTCritSec();
    MTCritSec(const MTCritSec&) = delete;
    MTCritSec& operator=(const MTCritSec&) = delete;
    // DeleteCriticalSection; no thread may hold or wait for the lock by then.
    virtual ~MTCritSec();

    // Blocks without limit until the calling thread owns the section.
    void Enter();
    // Only the owning thread may leave.
    void Leave();

private:
    CRITICAL_SECTION m_section;
};
