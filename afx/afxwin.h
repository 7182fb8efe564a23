// Framework threads, windows, the application object and module state, for builds without the
// application framework.
#pragma once

#include "afx.h"

typedef UINT(AFX_CDECL* AFX_THREADPROC)(LPVOID);

class CCmdTarget;
class CWnd;
class CWinApp;

// Message maps: a class's table of handlers, chained to its base's. Here the tables are kept
// for classes that declare them; the stand-in dispatches no message through them.
typedef void (CCmdTarget::*AFX_PMSG)();

struct AFX_MSGMAP_ENTRY
{
    UINT nMessage;
    UINT nCode;
    UINT nID;
    UINT nLastID;
    UINT_PTR nSig;
    AFX_PMSG pfn;
};

struct AFX_MSGMAP
{
    const AFX_MSGMAP*(PASCAL* pfnGetBaseMap)();
    const AFX_MSGMAP_ENTRY* lpEntries;
};

#define DECLARE_MESSAGE_MAP()                                \
protected:                                                   \
    static const AFX_MSGMAP* PASCAL GetThisMessageMap();     \
    virtual const AFX_MSGMAP* GetMessageMap() const;

#define BEGIN_MESSAGE_MAP(theClass, baseClass)                                        \
    const AFX_MSGMAP* theClass::GetMessageMap() const { return GetThisMessageMap(); } \
    const AFX_MSGMAP* PASCAL theClass::GetThisMessageMap()                            \
    {                                                                                 \
        typedef baseClass TheBaseClass;                                               \
        static const AFX_MSGMAP_ENTRY _messageEntries[] = {

#define END_MESSAGE_MAP()                                                      \
    {0, 0, 0, 0, 0, nullptr}};                                                 \
        static const AFX_MSGMAP messageMap = {&TheBaseClass::GetThisMessageMap, \
                                              &_messageEntries[0]};            \
        return &messageMap;                                                    \
    }

// An object that can take commands: the root of the classes with message maps.
class AFXLITE_API CCmdTarget : public CObject
{
public:
    static const AFX_MSGMAP* PASCAL GetThisMessageMap();
    virtual const AFX_MSGMAP* GetMessageMap() const;
};

// A thread object. With m_bAutoDelete false the object, and its open m_hThread, outlive
// the thread, so that others can wait on the handle after the thread has ended.
class AFXLITE_API CWinThread : public CCmdTarget
{
    DECLARE_DYNAMIC(CWinThread)

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
    // The message loop; ends with ExitInstance when WM_QUIT arrives.
    virtual int Run();
    // Sees each message before it is dispatched, thread messages included; TRUE keeps it from
    // dispatch.
    virtual BOOL PreTranslateMessage(MSG* pMsg);
    // Idle work of the calling thread: frees the temporary window objects that FromHandle made.
    // Gives TRUE if more idle work is wanted.
    virtual BOOL OnIdle(LONG lCount);
    // Gives the wParam of the WM_QUIT that ended the loop.
    virtual int ExitInstance();
    // Deletes the object when m_bAutoDelete is set; called as the thread ends.
    virtual void Delete();

    HANDLE m_hThread = nullptr;
    DWORD m_nThreadID = 0;
    BOOL m_bAutoDelete = TRUE;
    CWnd* m_pMainWnd = nullptr;
    AFX_THREADPROC m_pfnThreadProc = nullptr;
    LPVOID m_pThreadParams = nullptr;
    MSG m_msgCur = {};

    DECLARE_MESSAGE_MAP()

private:
    static unsigned __stdcall ThreadEntry(void* pThis);
};

AFXLITE_API CWinThread* AFXAPI AfxBeginThread(AFX_THREADPROC pfnThreadProc, LPVOID pParam,
                                              int nPriority = THREAD_PRIORITY_NORMAL, UINT nStackSize = 0,
                                              DWORD dwCreateFlags = 0, LPSECURITY_ATTRIBUTES lpSecurityAttrs = nullptr);
// Makes the object through its run-time class and runs its InitInstance on a new thread (then
// Run if that gives TRUE, else ExitInstance). Throws CMemoryException* if the object cannot be
// made; gives null if the thread cannot be started.
AFXLITE_API CWinThread* AFXAPI AfxBeginThread(CRuntimeClass* pThreadClass, int nPriority = THREAD_PRIORITY_NORMAL,
                                              UINT nStackSize = 0, DWORD dwCreateFlags = 0,
                                              LPSECURITY_ATTRIBUTES lpSecurityAttrs = nullptr);
// The thread object of the calling thread, or null for a thread the framework did not start.
AFXLITE_API CWinThread* AFXAPI AfxGetThread();
AFXLITE_API void AFXAPI AfxEndThread(UINT nExitCode, BOOL bDelete = TRUE);

// A window object over a window handle. Each thread keeps its own map from handles to objects:
// Attach enters a permanent one, FromHandle makes a temporary one that OnIdle frees.
class AFXLITE_API CWnd : public CCmdTarget
{
public:
    CWnd() = default;
    // Destroys a window that is still attached.
    virtual ~CWnd();

    // FALSE for a null handle.
    BOOL Attach(HWND hWndNew);
    HWND Detach();
    // The calling thread's object for the handle, made temporary if there is none; null for null.
    static CWnd* PASCAL FromHandle(HWND hWnd);
    static CWnd* PASCAL FromHandlePermanent(HWND hWnd);

    HWND GetSafeHwnd() const { return m_hWnd; }
    operator HWND() const { return m_hWnd; }

    BOOL ShowWindow(int nCmdShow) { return ::ShowWindow(m_hWnd, nCmdShow); }
    BOOL SetForegroundWindow() { return ::SetForegroundWindow(m_hWnd); }
    BOOL IsIconic() const { return ::IsIconic(m_hWnd); }
    BOOL IsWindowVisible() const { return ::IsWindowVisible(m_hWnd); }
    CWnd* GetLastActivePopup() const { return FromHandle(::GetLastActivePopup(m_hWnd)); }
    BOOL PostMessage(UINT message, WPARAM wParam = 0, LPARAM lParam = 0)
    {
        return ::PostMessageA(m_hWnd, message, wParam, lParam);
    }
    virtual BOOL DestroyWindow();

    HWND m_hWnd = nullptr;

    DECLARE_MESSAGE_MAP()
};

// The application object: the process's main thread, its instance handle and its name.
class AFXLITE_API CWinApp : public CWinThread
{
    DECLARE_DYNAMIC(CWinApp)

public:
    // Becomes the application of the process. A null name is filled in by AfxWinInit: the
    // string resource AFX_IDS_APP_TITLE, else the program's file name without its extension.
    explicit CWinApp(LPCSTR lpszAppName = nullptr);
    virtual ~CWinApp();

    virtual BOOL InitApplication();
    virtual BOOL InitInstance();
    virtual int Run();
    virtual int ExitInstance();

    HINSTANCE m_hInstance = nullptr;
    LPSTR m_lpCmdLine = nullptr;
    int m_nCmdShow = SW_SHOWNORMAL;
    // Allocated with malloc; freed by the destructor.
    LPCSTR m_pszAppName = nullptr;
    LPCSTR m_pszExeName = nullptr;

    DECLARE_MESSAGE_MAP()
};

#define AFX_IDS_APP_TITLE 0xE000

AFXLITE_API CWinApp* AFXAPI AfxGetApp();
// Stores the instance handle, command line and show state, and fills in the names.
AFXLITE_API BOOL AFXAPI AfxWinInit(HINSTANCE hInstance, HINSTANCE hPrevInstance, LPSTR lpCmdLine, int nCmdShow);
// The program's course: AfxWinInit, InitApplication, InitInstance, then Run, or ExitInstance
// if InitInstance gave FALSE. Gives the process's exit code.
AFXLITE_API int AFXAPI AfxWinMain(HINSTANCE hInstance, HINSTANCE hPrevInstance, LPSTR lpCmdLine, int nCmdShow);

class CDynLinkLibrary;

// Process-wide framework state: one per process, held by the framework module.
struct AFXLITE_API AFX_MODULE_STATE
{
    CWinApp* m_pCurrentWinApp = nullptr;
    HINSTANCE m_hCurrentInstanceHandle = nullptr;
    HINSTANCE m_hCurrentResourceHandle = nullptr;
    LPCSTR m_lpszCurrentAppName = nullptr;
    CDynLinkLibrary* m_pFirstLibrary = nullptr;  // the chain of extension modules
    CRITICAL_SECTION m_lockLibraries;
};

AFXLITE_API AFX_MODULE_STATE* AFXAPI AfxGetModuleState();
