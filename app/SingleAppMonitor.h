// The first instance's thread that waits for later starts and activates the main window.
// Internal to the library; it reads what it needs from the application object.
#pragma once

#include <afxwin.h>

class SingleInstanceApp;

class CSingleAppMonitor : public CWinThread
{
    DECLARE_DYNCREATE(CSingleAppMonitor)

public:
    ~CSingleAppMonitor() override;

    // The whole life of the thread: waits for the shutdown event (index 0, which wins a tie) or
    // the instance event, activating at each wake. Gives FALSE, so that no message loop runs.
    BOOL InitInstance() override;

protected:
    DECLARE_MESSAGE_MAP()

private:
    void Activate(SingleInstanceApp& app);
};
