// Framework synchronisation objects for builds without the application framework.
#pragma once

#include "afx.h"

// A kernel object that can be waited on; the destructor closes its handle.
class AFXLITE_API CSyncObject : public CObject
{
public:
    explicit CSyncObject(LPCSTR pstrName);
    virtual ~CSyncObject();

    operator HANDLE() const { return m_hObject; }
    virtual BOOL Lock(DWORD dwTimeout = INFINITE);
    virtual BOOL Unlock() = 0;
    virtual BOOL Unlock(LONG /*lCount*/, LPLONG /*lpPrevCount*/ = nullptr) { return TRUE; }

    HANDLE m_hObject = nullptr;
};

// An event. Creating one with the name of an existing event opens that event, and
// GetLastError directly after the constructor gives ERROR_ALREADY_EXISTS. Throws
// CResourceException* if no handle can be had.
class AFXLITE_API CEvent : public CSyncObject
{
public:
    CEvent(BOOL bInitiallyOwn = FALSE, BOOL bManualReset = FALSE, LPCSTR lpszName = nullptr,
           LPSECURITY_ATTRIBUTES lpsaAttribute = nullptr);

    BOOL SetEvent() { return ::SetEvent(m_hObject); }
    BOOL PulseEvent() { return ::PulseEvent(m_hObject); }
    BOOL ResetEvent() { return ::ResetEvent(m_hObject); }
    BOOL Unlock() override { return TRUE; }
    using CSyncObject::Unlock;
};

// A wait on several objects at once, the first of a group winning.
class AFXLITE_API CMultiLock
{
public:
    CMultiLock(CSyncObject* ppObjects[], DWORD dwCount, BOOL bInitialLock = FALSE);
    ~CMultiLock();
    CMultiLock(const CMultiLock&) = delete;
    CMultiLock& operator=(const CMultiLock&) = delete;

    // Gives what WaitForMultipleObjects (or MsgWaitForMultipleObjects, with a wake mask) gives:
    // WAIT_OBJECT_0 + the index of the object that was signalled, WAIT_TIMEOUT or WAIT_FAILED.
    DWORD Lock(DWORD dwTimeOut = INFINITE, BOOL bWaitForAll = TRUE, DWORD dwWakeMask = 0);
    BOOL Unlock();
    BOOL IsLocked(DWORD dwItem) const;

private:
    static constexpr DWORD FixedCount = 8;

    CSyncObject** m_ppObjectArray;
    HANDLE* m_pHandleArray;
    BOOL* m_bLockedArray;
    DWORD m_dwCount;
    HANDLE m_hPreallocated[FixedCount];
    BOOL m_bPreallocated[FixedCount];
};
