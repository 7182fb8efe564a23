#include "app/SingleAppMonitor.h"

#include "app/SingleInstanceApp.h"
#include "weftbase/DebugUtils.h"

#include <afxmt.h>

#include <atomic>

IMPLEMENT_DYNCREATE(CSingleAppMonitor, CWinThread)

BEGIN_MESSAGE_MAP(CSingleAppMonitor, CWinThread)
END_MESSAGE_MAP()

CSingleAppMonitor::~CSingleAppMonitor() = default;

BOOL CSingleAppMonitor::InitInstance()
{
    SingleInstanceApp& app = *static_cast<SingleInstanceApp*>(AfxGetModuleState()->m_pCurrentWinApp);
    CSyncObject* objects[] = {app.m_pShutdownEvent, app.m_pInstanceEvent};
    CMultiLock lock(objects, ARRAYSIZE(objects), FALSE);
    for (;;)
    {
        const DWORD signaled = lock.Lock(INFINITE, FALSE);
        DebugUtils::Trace(signaled, "dwSignaled");
        if (signaled == WAIT_OBJECT_0)
            break;
        if (signaled == WAIT_OBJECT_0 + 1)
            Activate(app);
    }
    DebugUtils::Trace("CSingleAppMonitor: m_pShutdownEvent signaled");
    return FALSE;
}

void CSingleAppMonitor::Activate(SingleInstanceApp& app)
{
    DebugUtils::Trace("CSingleAppMonitor: m_pInstanceEvent signaled");
    CWnd* mainWnd = app.m_pMainWnd;
    if (!mainWnd)
        return;
    CWnd wnd;
    if (!wnd.Attach(mainWnd->m_hWnd))
    {
        DebugUtils::Trace("ERROR: Unable to attach to the application's main window!");
        return;
    }
    DebugUtils::Trace("CSingleAppMonitor: Setting focus to existing window.");
    // A modal dialog, if one is open, is what the user must see.
    if (CWnd* target = CWnd::FromHandle(::GetLastActivePopup(wnd.m_hWnd)))
    {
        target->SetForegroundWindow();
        const unsigned int command = std::atomic_ref<unsigned int>(app.m_nSpecialCommandID).load();
        if (target->IsIconic())
            target->ShowWindow(SW_SHOWNORMAL);
        else if (command != 0 && !target->IsWindowVisible())
            ::PostMessageA(target->m_hWnd, WM_COMMAND, command, 0);
    }
    wnd.Detach();
    OnIdle(0);
}
