#include "locks/MTAutoLock.h"

MTAutoLock::MTAutoLock(MTMutex* mutex) : m_pMutex(mutex), m_pCritSec(nullptr)
{
    if (m_pMutex != nullptr)
        ::WaitForSingleObject(m_pMutex->GetHandle(), INFINITE);
}

MTAutoLock::MTAutoLock(MTCritSec* critSec) : m_pMutex(nullptr), m_pCritSec(critSec)
{
    if (m_pCritSec != nullptr)
        m_pCritSec->Enter();
}

MTAutoLock::~MTAutoLock()
{
    if (m_pMutex != nullptr)
    {
        m_pMutex->Release();  // a failure stays in the mutex's status
        m_pMutex = nullptr;
    }
    if (m_pCritSec != nullptr)
    {
        m_pCritSec->Leave();
        m_pCritSec = nullptr;
    }
}
