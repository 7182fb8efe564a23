#include "watchers/FileMonitorThread.h"

#include "weftbase/DirUtils.h"
#include "weftbase/FileUtils.h"

#include <atomic>

namespace
{
// Every change of the file's own name, size or time; not security.
constexpr unsigned long FileFilter = 0x1F;
}  // namespace

FileMonitorThread::FileMonitorThread(const CString& file, unsigned int msg, HWND wnd, unsigned long msgDelay,
                                     __int64 lParam, bool subtree)
    : DirMonitorThread(DirUtils::ParsePathFromFile(file), subtree, FileFilter, msg, wnd, msgDelay, lParam, false,
                       HeldBack()),
      m_strFile(file)
{
    FileUtils::GetFileInfoCore(m_strFile, m_nFileSize, m_fileDate);
    ReleaseThread();
}

FileMonitorThread::~FileMonitorThread()
{
    StopThread();
}

CString FileMonitorThread::GetFile() const
{
    return m_strFile;
}

bool FileMonitorThread::DoesFileExist() const
{
    return std::atomic_ref<unsigned __int64>(const_cast<unsigned __int64&>(m_nFileSize)).load(std::memory_order_relaxed) >
           0;
}

bool FileMonitorThread::DidFileChange()
{
    unsigned long long size = 0;
    DateTime date;
    FileUtils::GetFileInfoCore(m_strFile, size, date);
    if (size == m_nFileSize && date.m_nDay == m_fileDate.m_nDay && date.m_nSecond == m_fileDate.m_nSecond)
        return false;
    std::atomic_ref<unsigned __int64>(m_nFileSize).store(size, std::memory_order_relaxed);
    m_fileDate = date;
    return true;
}

void FileMonitorThread::BroadcastMsg(unsigned __int64 wParam, __int64 lParam)
{
    // First, so that size and date stay current even when the guards hold the message back.
    if (DidFileChange())
        DirMonitorThread::BroadcastMsg(wParam, lParam);
}
