#include "app/SingleInstanceApp.h"

#include "app/SingleAppMonitor.h"
#include "module/CodedTexts.h"
#include "weftbase/StringUtils.h"

#include <atomic>

BEGIN_MESSAGE_MAP(SingleInstanceApp, CWinApp)
END_MESSAGE_MAP()

SingleInstanceApp::SingleInstanceApp(bool usePathName)
    : CWinApp(nullptr), m_bUsePathName(usePathName), m_nSpecialCommandID(0), m_pInstanceEvent(nullptr),
      m_pShutdownEvent(nullptr), m_pMonitorThread(nullptr)
{
}

SingleInstanceApp::~SingleInstanceApp()
{
    bool threadEnded = true;
    if (m_pShutdownEvent)
    {
        // The thread object deletes itself as the thread ends, closing m_hThread; so the handle
        // is copied while the thread still waits, and the wait uses the copy.
        HANDLE thread = nullptr;
        if (m_pMonitorThread && m_pMonitorThread->m_hThread &&
            !::DuplicateHandle(::GetCurrentProcess(), m_pMonitorThread->m_hThread, ::GetCurrentProcess(), &thread,
                               SYNCHRONIZE, FALSE, 0))
            threadEnded = false;
        m_pShutdownEvent->SetEvent();
        if (thread)
        {
            ::WaitForSingleObject(thread, INFINITE);
            ::CloseHandle(thread);
        }
        // A thread that cannot be waited for may still read both pointers and wait on the events:
        // they are left to it, pointers and all.
        if (!threadEnded)
            return;
        delete m_pShutdownEvent;
        m_pShutdownEvent = nullptr;
    }
    if (m_pInstanceEvent)
    {
        delete m_pInstanceEvent;
        m_pInstanceEvent = nullptr;
    }
    m_pMonitorThread = nullptr;
}

BOOL SingleInstanceApp::InitInstance()
{
    DWORD opened;  // set once the event is made; read only then
    try
    {
        const CString name =
            m_bUsePathName ? GetUniqueAppPathName() : CString(AfxGetModuleState()->m_lpszCurrentAppName);
        m_pInstanceEvent = new CEvent(FALSE, FALSE, name, nullptr);
        opened = ::GetLastError();
    }
    catch (CResourceException* e)
    {
        e->Delete();
        m_pInstanceEvent = nullptr;
        return FALSE;
    }
    if (opened == ERROR_ALREADY_EXISTS)
    {
        m_pInstanceEvent->SetEvent();
        return FALSE;
    }
    try
    {
        m_pShutdownEvent = new CEvent(FALSE, FALSE, nullptr, nullptr);
    }
    catch (CResourceException* e)
    {
        e->Delete();
        m_pShutdownEvent = nullptr;
        return FALSE;
    }
    try
    {
        m_pMonitorThread = AfxBeginThread(RUNTIME_CLASS(CSingleAppMonitor));
    }
    catch (CMemoryException* e)
    {
        e->Delete();
        m_pMonitorThread = nullptr;
    }
    return TRUE;
}

void SingleInstanceApp::SetSpecialCommandID(unsigned int id)
{
    std::atomic_ref<unsigned int>(m_nSpecialCommandID).store(id);
}

CString SingleInstanceApp::GetUniqueAppPathName()
{
    // One character beyond the size passed, so that a cut path is always terminated.
    char buffer[MAX_PATH + 1] = {};
    ::GetModuleFileNameA(m_hInstance, buffer, MAX_PATH);
    CString name(buffer);
    name.Replace(":", "_");
    name.Replace(" ", "_");
    name.Replace("\\", "_");
    name.Replace(StringUtils::DecryptText(CodedTexts::SingleInstanceStripText), "");
    return name;
}
