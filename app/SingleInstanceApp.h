// SingleInstanceApp: a base for application objects that keeps the application to one running
// instance. A later start finds the first through a named event, wakes it and ends; the first
// brings its main window to the front.
//
//   class MyApp : public SingleInstanceApp
//   {
//       BOOL InitInstance() override
//       {
//           if (!SingleInstanceApp::InitInstance())
//               return FALSE;  // another instance runs and has been woken
//           ... create the main window, set m_pMainWnd ...
//           return TRUE;
//       }
//   };
//
// The event is named after the application name, or, with usePathName, after the program's
// full path (so that copies in other folders run side by side). Nothing passes between the
// instances but the wake: a second start's command line does not reach the first.
#pragma once

#include "module/WeftCoreApi.h"

#include <afxmt.h>
#include <afxwin.h>

class CSingleAppMonitor;

class WEFTCORE_API SingleInstanceApp : public CWinApp
{
public:
    explicit SingleInstanceApp(bool usePathName = false);
    // Ends the monitor thread, then frees both events.
    ~SingleInstanceApp() override;

    SingleInstanceApp(const SingleInstanceApp&) = delete;
    SingleInstanceApp& operator=(const SingleInstanceApp&) = delete;

    // Non-zero for the first instance, which goes on; 0 if another instance runs (it has been
    // woken) or the instance event cannot be had: this one has to end.
    BOOL InitInstance() override;

protected:
    // A hidden main window (or its last active popup) that is not minimised gets
    // WM_COMMAND with this id at the next wake; 0 sends nothing. May be set at any time.
    void SetSpecialCommandID(unsigned int id);

    DECLARE_MESSAGE_MAP()

private:
    friend class CSingleAppMonitor;

    // The program's full path, cut to MAX_PATH - 1 characters, with ':', blanks and
    // backslashes made '_' and the program extension removed. Case is kept.
    CString GetUniqueAppPathName();

    bool m_bUsePathName;
    unsigned int m_nSpecialCommandID;
    CEvent* m_pInstanceEvent;
    CEvent* m_pShutdownEvent;
    CWinThread* m_pMonitorThread;
};
