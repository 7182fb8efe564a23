// CWinThread and the thread entry of the framework.
#include "private/ThreadState.h"

#include <process.h>

const AFX_MSGMAP* PASCAL CCmdTarget::GetThisMessageMap()
{
    static const AFX_MSGMAP_ENTRY entries[] = {{0, 0, 0, 0, 0, nullptr}};
    static const AFX_MSGMAP messageMap = {nullptr, &entries[0]};
    return &messageMap;
}

const AFX_MSGMAP* CCmdTarget::GetMessageMap() const
{
    return GetThisMessageMap();
}

IMPLEMENT_DYNAMIC(CWinThread, CObject)

BEGIN_MESSAGE_MAP(CWinThread, CCmdTarget)
END_MESSAGE_MAP()

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
    AfxSetThread(self);
    UINT code;
    if (self->m_pfnThreadProc)
        code = self->m_pfnThreadProc(self->m_pThreadParams);
    else
        code = self->InitInstance() ? static_cast<UINT>(self->Run()) : static_cast<UINT>(self->ExitInstance());
    AfxSetThread(nullptr);
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
    while (::GetMessageA(&m_msgCur, nullptr, 0, 0) > 0)
    {
        if (PreTranslateMessage(&m_msgCur))
            continue;
        ::TranslateMessage(&m_msgCur);
        ::DispatchMessageA(&m_msgCur);
        if (!::PeekMessageA(&m_msgCur, nullptr, 0, 0, PM_NOREMOVE))
            OnIdle(0);
    }
    return ExitInstance();
}

BOOL CWinThread::PreTranslateMessage(MSG* /*pMsg*/)
{
    return FALSE;
}

BOOL CWinThread::OnIdle(LONG /*lCount*/)
{
    if (AFX_THREAD_STATE* state = AfxGetThreadState(false))
        state->FreeTemporaryMap();
    return FALSE;
}

int CWinThread::ExitInstance()
{
    return m_msgCur.message == WM_QUIT ? static_cast<int>(m_msgCur.wParam) : 0;
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

CWinThread* AFXAPI AfxBeginThread(CRuntimeClass* pThreadClass, int nPriority, UINT nStackSize, DWORD dwCreateFlags,
                                  LPSECURITY_ATTRIBUTES lpSecurityAttrs)
{
    CWinThread* thread = pThreadClass ? static_cast<CWinThread*>(pThreadClass->CreateObject()) : nullptr;
    if (!thread)
        AfxThrowMemoryException();
    if (!thread->CreateThread(dwCreateFlags | CREATE_SUSPENDED, nStackSize, lpSecurityAttrs))
    {
        thread->Delete();
        return nullptr;
    }
    thread->SetThreadPriority(nPriority);
    if (!(dwCreateFlags & CREATE_SUSPENDED))
        thread->ResumeThread();
    return thread;
}

void AFXAPI AfxEndThread(UINT nExitCode, BOOL bDelete)
{
    CWinThread* self = AfxGetThread();
    AfxSetThread(nullptr);
    if (self && bDelete)
        self->Delete();
    _endthreadex(nExitCode);
}
