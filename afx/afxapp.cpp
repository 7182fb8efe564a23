// CWinApp and the program's course through the framework.
#include "private/ThreadState.h"

#include <cstdlib>
#include <cstring>

IMPLEMENT_DYNAMIC(CWinApp, CWinThread)

BEGIN_MESSAGE_MAP(CWinApp, CWinThread)
END_MESSAGE_MAP()

CWinApp::CWinApp(LPCSTR lpszAppName)
{
    if (lpszAppName)
        m_pszAppName = ::_strdup(lpszAppName);
    // The application is the main thread's thread object.
    m_hThread = ::GetCurrentThread();
    m_nThreadID = ::GetCurrentThreadId();
    AfxGetModuleState()->m_pCurrentWinApp = this;
    AfxSetThread(this);
}

CWinApp::~CWinApp()
{
    AFX_MODULE_STATE* state = AfxGetModuleState();
    if (state->m_pCurrentWinApp == this)
    {
        state->m_pCurrentWinApp = nullptr;
        state->m_lpszCurrentAppName = nullptr;
    }
    if (AfxGetThread() == this)
        AfxSetThread(nullptr);
    std::free(const_cast<char*>(m_pszAppName));
    std::free(const_cast<char*>(m_pszExeName));
    // The pseudo handle of the current thread is not closed.
    m_hThread = nullptr;
}

BOOL CWinApp::InitApplication()
{
    return TRUE;
}

BOOL CWinApp::InitInstance()
{
    return TRUE;
}

int CWinApp::Run()
{
    return CWinThread::Run();
}

int CWinApp::ExitInstance()
{
    return CWinThread::ExitInstance();
}

CWinApp* AFXAPI AfxGetApp()
{
    return AfxGetModuleState()->m_pCurrentWinApp;
}

BOOL AFXAPI AfxWinInit(HINSTANCE hInstance, HINSTANCE /*hPrevInstance*/, LPSTR lpCmdLine, int nCmdShow)
{
    AFX_MODULE_STATE* state = AfxGetModuleState();
    state->m_hCurrentInstanceHandle = hInstance;
    state->m_hCurrentResourceHandle = hInstance;
    CWinApp* app = state->m_pCurrentWinApp;
    if (!app)
        return TRUE;
    app->m_hInstance = hInstance;
    app->m_lpCmdLine = lpCmdLine;
    app->m_nCmdShow = nCmdShow;
    if (!app->m_pszExeName)
    {
        char path[MAX_PATH + 1] = {};
        ::GetModuleFileNameA(hInstance, path, MAX_PATH);
        char* name = std::strrchr(path, '\\');
        name = name ? name + 1 : path;
        if (char* dot = std::strrchr(name, '.'))
            *dot = '\0';
        app->m_pszExeName = ::_strdup(name);
    }
    if (!app->m_pszAppName)
    {
        char title[256] = {};
        app->m_pszAppName =
            ::_strdup(::LoadStringA(hInstance, AFX_IDS_APP_TITLE, title, sizeof title) > 0 ? title : app->m_pszExeName);
    }
    state->m_lpszCurrentAppName = app->m_pszAppName;
    return TRUE;
}

int AFXAPI AfxWinMain(HINSTANCE hInstance, HINSTANCE hPrevInstance, LPSTR lpCmdLine, int nCmdShow)
{
    int code = -1;
    CWinThread* thread = AfxGetThread();
    CWinApp* app = AfxGetApp();
    if (!thread || !AfxWinInit(hInstance, hPrevInstance, lpCmdLine, nCmdShow))
        return code;
    if (app && !app->InitApplication())
        return code;
    if (!thread->InitInstance())
    {
        if (thread->m_pMainWnd)
            thread->m_pMainWnd->DestroyWindow();
        return thread->ExitInstance();
    }
    return thread->Run();
}
