// Framework threads and module state for builds without the application framework.
#pragma once

#include "afx.h"

typedef UINT(AFX_CDECL* AFX_THREADPROC)(LPVOID);

class CWnd;

// An object that can take commands; here only the step between CObject and the thread.
class AFXLITE_API CCmdTarget : public CObject
{
};

// A thread object. With m_bAutoDelete false the object, and its open m_hThread, outlive
// the thread, so that others can wait on the handle after the thread has ended.
class AFXLITE_API CWinThread : public CCmdTarget
{
public:
    CWinThread();
    CWinThread(AFX_THREADPROC pfnThreadProc, LPVOID pParam);
    virtual ~CWinThread();

    CWinThread(const CWinThread&) = delete;
    CWinThread& operator=(const CWinThread&) = delete;

    // Starts the thread; m_hThread and m_nThreadID are set when this returns non-zero.
    BOOL CreateThread(DWORD dwCreateFlags = 0, UINT nStackSize = 0, LPSECURITY_ATTRIBUTES lpSecurityAttrs = nullptr);

    DWORD SuspendThread();
    DWORD ResumeThread();
    int GetThreadPriority();
    BOOL SetThreadPriority(int nPriority);
    operator HANDLE() const { return m_hThread; }

    virtual BOOL InitInstance();
    virtual int Run();
    virtual int ExitInstance();
    // Deletes the object when m_bAutoDelete is set; called as the thread ends.
    virtual void Delete();

    HANDLE m_hThread = nullptr;
    DWORD m_nThreadID = 0;
    BOOL m_bAutoDelete = TRUE;
    CWnd* m_pMainWnd = nullptr;
    AFX_THREADPROC m_pfnThreadProc = nullptr;
    LPVOID m_pThreadParams = nullptr;

private:
    static unsigned __stdcall ThreadEntry(void* pThis);
};

AFXLITE_API CWinThread* AFXAPI AfxBeginThread(AFX_THREADPROC pfnThreadProc, LPVOID pParam,
                                              int nPriority = THREAD_PRIORITY_NORMAL, UINT nStackSize = 0,
                                              DWORD dwCreateFlags = 0, LPSECURITY_ATTRIBUTES lpSecurityAttrs = nullptr);
// The thread object of the calling thread, or null for a thread the framework did not start.
AFXLITE_API CWinThread* AFXAPI AfxGetThread();
AFXLITE_API void AFXAPI AfxEndThread(UINT nExitCode, BOOL bDelete = TRUE);

class CDynLinkLibrary;

// Process-wide framework state: one per process, held by the framework module.
struct AFXLITE_API AFX_MODULE_STATE
{
    CDynLinkLibrary* m_pFirstLibrary = nullptr;  // the chain of extension modules
    CRITICAL_SECTION m_lockLibraries;
};

AFXLITE_API AFX_MODULE_STATE* AFXAPI AfxGetModuleState();
