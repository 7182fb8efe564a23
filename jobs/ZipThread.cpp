#include "jobs/ZipThread.h"

#include "frame/ReadyThreadSupport.h"
#include "weftbase/DirUtils.h"
#include "weftbase/FileUtils.h"

// Registered by the module's static initialisers, before the module entry runs.
const unsigned int ZipThread::MSG_ZIPTHREAD_DONE = ::RegisterWindowMessageA("5F2D9B0E-3A42-46f4-9B58-DACF5E5CA5A0");

ZipThread::ZipThread()
    : m_bIsDir(false), m_bZipResult(false), m_hWnd(nullptr), m_pWorker(nullptr)
{
}

ZipThread::~ZipThread()
{
    ReadyThreadSupport::DestroyWorker(m_pWorker);
    m_hWnd = nullptr;
}

void ZipThread::Start(bool isDir, const CString& outputFile, const CString& dir, const CString& extra,
                      const TextArray& files, int wParam, HWND const& wnd, __int64 lParam)
{
    // The running job reads these fields: rewriting them under it would tear its texts.
    if (m_pWorker != nullptr)
        return;
    m_bIsDir = isDir;
    m_nWParam = wParam;
    m_lParam = lParam;
    m_hWnd = wnd;
    m_strDir = dir;
    m_strExtra = extra;
    m_strOutputFile = outputFile;
    m_files = files;
    ReadyThreadSupport::StartWorker(m_pWorker, ZipThreadFunc, this);
}

void ZipThread::Stop(unsigned long timeout)
{
    ReadyThreadSupport::StopWorker(m_pWorker, timeout);
}

CString ZipThread::GetDir() const
{
    return m_strDir;
}

bool ZipThread::GetIsDir() const
{
    return m_bIsDir;
}

CString ZipThread::GetOutputFile() const
{
    return m_strOutputFile;
}

bool ZipThread::GetZipResult() const
{
    return m_bZipResult;
}

unsigned int ZipThread::ZipThreadFunc(void* self)
{
    ZipThread* zip = static_cast<ZipThread*>(self);
    if (zip == nullptr)
        return 0;
    // Packing is background work: it gives way to the owner's threads.
    ReadyThreadSupport::AwaitWorker(zip->m_pWorker)->SetPriority(THREAD_PRIORITY_BELOW_NORMAL);
    zip->DoWork();
    return 0;
}

void ZipThread::DoWork()
{
    m_bZipResult = m_bIsDir ? DirUtils::CreateZipFile(m_strOutputFile, m_strDir, m_strExtra)
                            : FileUtils::CreateZipFile(m_strOutputFile, m_files, m_strDir);
    // Posted, not sent: the message reaches the queue after the result is stored, and in order
    // with the window's other posted messages.
    ReadyThreadSupport::PostToOwner(m_hWnd, MSG_ZIPTHREAD_DONE, static_cast<WPARAM>(static_cast<INT_PTR>(m_nWParam)),
                                    m_lParam, true);
}
