// CSyncObject, CEvent and CMultiLock.
#include "afxmt.h"

CSyncObject::CSyncObject(LPCSTR /*pstrName*/)
{
}

CSyncObject::~CSyncObject()
{
    if (m_hObject)
        ::CloseHandle(m_hObject);
    m_hObject = nullptr;
}

BOOL CSyncObject::Lock(DWORD dwTimeout)
{
    return ::WaitForSingleObject(m_hObject, dwTimeout) == WAIT_OBJECT_0;
}

CEvent::CEvent(BOOL bInitiallyOwn, BOOL bManualReset, LPCSTR lpszName, LPSECURITY_ATTRIBUTES lpsaAttribute)
    : CSyncObject(lpszName)
{
    // Nothing may run between the creation and the caller's GetLastError.
    m_hObject = ::CreateEventA(lpsaAttribute, bManualReset, bInitiallyOwn, lpszName);
    if (!m_hObject)
        AfxThrowResourceException();
}

CMultiLock::CMultiLock(CSyncObject* ppObjects[], DWORD dwCount, BOOL bInitialLock)
    : m_ppObjectArray(ppObjects), m_dwCount(dwCount)
{
    if (dwCount <= FixedCount)
    {
        m_pHandleArray = m_hPreallocated;
        m_bLockedArray = m_bPreallocated;
    }
    else
    {
        m_pHandleArray = new HANDLE[dwCount];
        m_bLockedArray = new BOOL[dwCount];
    }
    for (DWORD i = 0; i < dwCount; ++i)
    {
        m_pHandleArray[i] = ppObjects[i] ? ppObjects[i]->m_hObject : nullptr;
        m_bLockedArray[i] = FALSE;
    }
    if (bInitialLock)
        Lock();
}

CMultiLock::~CMultiLock()
{
    Unlock();
    if (m_pHandleArray != m_hPreallocated)
    {
        delete[] m_pHandleArray;
        delete[] m_bLockedArray;
    }
}

DWORD CMultiLock::Lock(DWORD dwTimeOut, BOOL bWaitForAll, DWORD dwWakeMask)
{
    const DWORD result =
        dwWakeMask ? ::MsgWaitForMultipleObjects(m_dwCount, m_pHandleArray, bWaitForAll, dwTimeOut, dwWakeMask)
                   : ::WaitForMultipleObjects(m_dwCount, m_pHandleArray, bWaitForAll, dwTimeOut);
    if (result < WAIT_OBJECT_0 + m_dwCount)
    {
        if (bWaitForAll)
            for (DWORD i = 0; i < m_dwCount; ++i)
                m_bLockedArray[i] = TRUE;
        else
            m_bLockedArray[result - WAIT_OBJECT_0] = TRUE;
    }
    return result;
}

BOOL CMultiLock::Unlock()
{
    for (DWORD i = 0; i < m_dwCount; ++i)
        if (m_bLockedArray[i] && m_ppObjectArray[i])
            m_bLockedArray[i] = !m_ppObjectArray[i]->Unlock();
    return TRUE;
}

BOOL CMultiLock::IsLocked(DWORD dwItem) const
{
    return dwItem < m_dwCount && m_bLockedArray[dwItem];
}
