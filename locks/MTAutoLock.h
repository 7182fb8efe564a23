// Holds a mutex or a critical section for the length of a scope, and releases it in its
// destructor, also when the scope ends by an exception.
//
//   {
//       MTAutoLock hold(&s_mutex);   // waits without limit
//       ...                          // guarded fields
//   }                                // ReleaseMutex here
//
// A null pointer holds nothing: no wait, and no call at the end. Every result of the mutex
// wait counts as having the lock: a mutex abandoned by another thread is taken over and
// released as usual, and a mutex without a valid handle goes unnoticed until the release
// fails and leaves its code in the mutex's GetStatus(). Nothing is reported to the caller.
//
// Lives on the stack, and must be destroyed on the thread that made it, since both kinds of
// lock belong to a thread. Not copyable: two objects would release one lock.
#pragma once

#include "frame/MTMutex.h"
#include "locks/MTCritSec.h"

class WEFTCORE_API MTAutoLock
{
public:
    // WaitForSingleObject on the mutex's handle without a time limit.
    explicit MTAutoLock(MTMutex* mutex);
    // Enter on the critical section.
    explicit MTAutoLock(MTCritSec* critSec);
    MTAutoLock(const MTAutoLock&) = delete;
    MTAutoLock& operator=(const MTAutoLock&) = delete;
    // ReleaseMutex or Leave, whichever was taken.
    ~MTAutoLock();

private:
    MTMutex* m_pMutex;
    MTCritSec* m_pCritSec;
};
