// CWinThread and the thread entry of the framework.
#include "afxwin.h"

#include <process.h>

namespace
{
// The thread object of each framework thread; one slot for the process.
DWORD g_tlsThread = TlsAlloc();
}  // namespace

CWinThread::CWinThread() = default;

CWinThread::CWinThread(AFX_THREADPROC pfnThreadProc, LPVOID pParam)
    : m_pfnThreadProc(pfnThreadProc), m_pThreadParams(pParam)
{
}

CWinThread::~CWinThread()
{
    if (m_hThread)
        CloseHandle(m_hThread);
    m_hThread = nullptr;
}

BOOL CWinThread::CreateThread(DWORD dwCreateFlags, UINT nStackSize, LPSECURITY_ATTRIBUTES lpSecurityAttrs)
{
    // Started suspended so that m_hThread and m_nThreadID are stored before the thread can
    // run to its end and, with m_bAutoDelete, delete this object.
    unsigned id = 0;
    uintptr_t h = _beginthreadex(lpSecurityAttrs, nStackSize, &CWinThread::ThreadEntry, this,
                                 dwCreateFlags | CREATE_SUSPENDED, &id);
    if (h == 0)
        return FALSE;
    m_hThread = reinterpret_cast<HANDLE>(h);
    m_nThreadID = id;
    if (!(dwCreateFlags & CREATE_SUSPENDED))
        ::ResumeThread(m_hThread);
    return TRUE;
}

unsigned __stdcall CWinThread::ThreadEntry(void* pThis)
{
    CWinThread* self = static_cast<CWinThread*>(pThis);
    TlsSetValue(g_tlsThread, self);
    UINT code;
    if (self->m_pfnThreadProc)
        code = self->m_pfnThreadProc(self->m_pThreadParams);
    else
        code = self->InitInstance() ? static_cast<UINT>(self->Run()) : static_cast<UINT>(self->ExitInstance());
    TlsSetValue(g_tlsThread, nullptr);
    self->Delete();
    return code;
}

DWORD CWinThread::SuspendThread()
{
    return ::SuspendThread(m_hThread);
}

DWORD CWinThread::ResumeThread()
{
    return ::ResumeThread(m_hThread);
}

int CWinThread::GetThreadPriority()
{
    return ::GetThreadPriority(m_hThread);
}

BOOL CWinThread::SetThreadPriority(int nPriority)
{
    return ::SetThreadPriority(m_hThread, nPriority);
}

BOOL CWinThread::InitInstance()
{
    return FALSE;
}

int CWinThread::Run()
{
    MSG msg;
    while (::GetMessageA(&msg, nullptr, 0, 0) > 0)
    {
        ::TranslateMessage(&msg);
        ::DispatchMessageA(&msg);
    }
    return ExitInstance();
}

int CWinThread::ExitInstance()
{
    return 0;
}

void CWinThread::Delete()
{
    if (m_bAutoDelete)
        delete this;
}

CWinThread* AFXAPI AfxBeginThread(AFX_THREADPROC pfnThreadProc, LPVOID pParam, int nPriority, UINT nStackSize,
                                  DWORD dwCreateFlags, LPSECURITY_ATTRIBUTES lpSecurityAttrs)
{
    CWinThread* thread = new CWinThread(pfnThreadProc, pParam);
    if (!thread->CreateThread(dwCreateFlags | CREATE_SUSPENDED, nStackSize, lpSecurityAttrs))
    {
        delete thread;
        return nullptr;
    }
    thread->SetThreadPriority(nPriority);
    if (!(dwCreateFlags & CREATE_SUSPENDED))
        thread->ResumeThread();
    return thread;
}

CWinThread* AFXAPI AfxGetThread()
{
    return static_cast<CWinThread*>(TlsGetValue(g_tlsThread));
}

void AFXAPI AfxEndThread(UINT nExitCode, BOOL bDelete)
{
    CWinThread* self = AfxGetThread();
    TlsSetValue(g_tlsThread, nullptr);
    if (self && bDelete)
        self->Delete();
    _endthreadex(nExitCode);
}
