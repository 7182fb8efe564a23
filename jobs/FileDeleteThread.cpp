#include "jobs/FileDeleteThread.h"

#include "frame/ReadyThreadSupport.h"
#include "weftbase/DirUtils.h"
#include "weftbase/FileUtils.h"

FileDeleteThread::FileDeleteThread(const TextArray& items, unsigned int msg, HWND wnd, __int64 lParam, bool optionA,
                                   bool optionB)
    : m_bOptionA(optionA), m_bOptionB(optionB), m_nMsg(msg), m_hWnd(wnd), m_lParam(lParam), m_pWorker(nullptr),
      m_pMutex(nullptr), m_items(items)
{
    // Held by no operation here; it marks, to every process, that deleters exist.
    m_pMutex = new MTMutex(false, "wl_fdt_mutex", nullptr);
    ReadyThreadSupport::StartWorker(m_pWorker, FileDeleteThreadFunc, this);
}

FileDeleteThread::~FileDeleteThread()
{
    ReadyThreadSupport::DestroyWorker(m_pWorker);
    delete m_pMutex;
    m_pMutex = nullptr;
    m_hWnd = nullptr;
}

void FileDeleteThread::SetPriority(int priority)
{
    ReadyThreadSupport::SetPriority(m_pWorker, priority);
}

int FileDeleteThread::GetPriority()
{
    return ReadyThreadSupport::GetPriority(m_pWorker);
}

void FileDeleteThread::Stop(unsigned long timeout)
{
    ReadyThreadSupport::StopWorker(m_pWorker, timeout);
}

unsigned int FileDeleteThread::FileDeleteThreadFunc(void* self)
{
    FileDeleteThread* deleter = static_cast<FileDeleteThread*>(self);
    if (deleter == nullptr)
        return 0;
    ReadyThreadSupport::AwaitWorker(deleter->m_pWorker);
    deleter->DoWork();
    return 0;
}

void FileDeleteThread::DoWork()
{
    CString error;
    for (unsigned long long i = 0; i < m_items.GetCount(); ++i)
    {
        if (m_pWorker == nullptr || m_pWorker->IsStopped())
            return;
        const CString item = m_items.GetCopyAt(i);
        if (!FileUtils::DoesFileExist(item))
            continue;
        if (DirUtils::IsDir(item, false))
            DirUtils::DeleteDirectory(item, m_bOptionA ? 0UL : 1UL, nullptr, nullptr, nullptr);
        else if (!FileUtils::DeleteFileA(item, error, false, false))
            FileUtils::DeleteFileA(item, error, m_bOptionA, m_bOptionB);
    }
    ReadyThreadSupport::NotifyOwner(m_hWnd, m_nMsg, 0, m_lParam, true);
}
