#include "watchers/FSMonitorThread.h"

#include "frame/ReadyThreadSupport.h"
#include "weftbase/AppLogger.h"
#include "weftbase/CodePageText.h"
#include "weftbase/DirUtils.h"
#include "weftbase/FileUtils.h"
#include "weftbase/SystemUtils.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <string>

namespace
{
const char* const LogDirTooShort = "{34F67251-9B1F-4110-AF4E-E1E9EEB02231}";
const char* const LogDirMissing = "{D4E5489A-8B06-4535-8D48-8A72C172B127}";
const char* const LogFileTooShort = "{15FAC0C8-60A5-4BA7-98CC-FD0405879D51}";
const char* const LogFileDirMissing = "{87512771-E8B7-4CF6-8292-42E9654F14EA}";
const char* const LogEventFailed = "{F56856F2-83B0-43BF-94D1-5893C200AE32}";
const char* const LogResetFailed = "{688F718F-19F6-40AF-B8F2-736B9E51A86E}";
// A changed entry the code page cannot name, whose path has no short form (it is gone): no record.
const char* const LogNameLeftOut = "{BAA649D5-3A65-4AC0-931C-DFF609ACBA49}";

constexpr unsigned long ChangeBufferSize = 0x400;
constexpr unsigned long FileFilter = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_ATTRIBUTES |
                                     FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE;
constexpr unsigned long TreeFilter = FileFilter | FILE_NOTIFY_CHANGE_DIR_NAME;
constexpr unsigned long EntryHeader = offsetof(FILE_NOTIFY_INFORMATION, FileName);
// How long a stop waits for the thread before it cancels again.
constexpr unsigned long CancelSlice = 10;

void Log(const char* line)
{
    if (AppLogger::m_pInstance != nullptr)
        AppLogger::m_pInstance->AddLine(line);
}

void LogWithError(const char* line)
{
    const CString error = SystemUtils::GetLastError(0);
    Log((CString(line) + error).GetString());
}

// The code-page form of an entry's name (below a subtree, a relative path) in a form that opens
// the entry: the name itself if the code page holds it exactly, else the short form of the path,
// of which only the name's own components are taken, so that the watched folder stays as the
// caller gave it. False if neither: an entry that is gone has no short form.
bool EntryName(const std::wstring& dir, const wchar_t* name, int length, CString& out)
{
    if (CodePageText::ToCodePage(name, length, out))
        return true;
    const std::wstring full = dir + std::wstring(name, static_cast<size_t>(length));
    if (full.size() >= MAX_PATH)
        return false;  // the plain form the call takes
    std::wstring shortPath(MAX_PATH, L'\0');
    DWORD n = ::GetShortPathNameW(full.c_str(), shortPath.data(), MAX_PATH);
    if (n >= MAX_PATH)  // a short name can be longer than the long one
    {
        shortPath.resize(n);
        n = ::GetShortPathNameW(full.c_str(), shortPath.data(), n);
    }
    if (n == 0 || n >= shortPath.size())
        return false;
    // The start of the name's components: just past the separator before the first of them.
    long long separators = std::count(name, name + length, L'\\');
    size_t at = n;
    for (; at > 0; --at)
        if (shortPath[at - 1] == L'\\' && separators-- == 0)
            break;
    return at > 0 && CodePageText::ToCodePage(shortPath.data() + at, static_cast<int>(n - at), out);
}
}  // namespace

FSMonitorThread::FSMonitorThread(const CString& path, unsigned int msg, HWND const wnd, bool subtree,
                                 unsigned short wParam)
    : m_bSingleFile(false), m_bSubtree(subtree), m_wParam(wParam), m_nMsg(msg), m_hWnd(wnd), m_pWorker(nullptr),
      m_strPath(path)
{
    if (m_strPath.GetLength() < 3)
    {
        Log(LogDirTooShort);
        return;
    }
    if (!DirUtils::DoesDirExist(m_strPath))
    {
        Log(LogDirMissing);
        return;
    }
    m_hDir = ::CreateFileA(m_strPath, FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                           nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    DirUtils::EnsureTrailingBackslash(m_strPath);
    ReadyThreadSupport::StartWorker(m_pWorker, FSMonitorThreadFunc, this);
}

FSMonitorThread::FSMonitorThread(const CString& path, unsigned int msg, HWND const wnd, unsigned short wParam)
    : m_bSingleFile(true), m_bSubtree(false), m_wParam(wParam), m_nMsg(msg), m_hWnd(wnd), m_pWorker(nullptr),
      m_strPath(path)
{
    if (m_strPath.GetLength() < 3)
    {
        Log(LogFileTooShort);
        return;
    }
    if (!DirUtils::DoesDirExist(DirUtils::ParseParentDir(path)))
    {
        Log(LogFileDirMissing);
        return;
    }
    m_hDir = ::CreateFileA(DirUtils::ParsePathFromFile(m_strPath), FILE_LIST_DIRECTORY,
                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                           FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    ReadyThreadSupport::StartWorker(m_pWorker, FSMonitorThreadFunc, this);
}

FSMonitorThread::~FSMonitorThread()
{
    if (m_pWorker != nullptr)
        EndThread(INFINITE);
    ReadyThreadSupport::DeleteWorker(m_pWorker);
    m_hWnd = nullptr;
}

CString FSMonitorThread::GetPath() const
{
    return m_strPath;
}

void FSMonitorThread::SetPriority(int priority)
{
    ReadyThreadSupport::SetPriority(m_pWorker, priority);
}

int FSMonitorThread::GetPriority() const
{
    return ReadyThreadSupport::GetPriority(m_pWorker);
}

void FSMonitorThread::Pause()
{
    ReadyThreadSupport::Pause(m_pWorker);
}

bool FSMonitorThread::IsPaused() const
{
    return ReadyThreadSupport::IsPaused(m_pWorker);
}

void FSMonitorThread::Resume()
{
    ReadyThreadSupport::Resume(m_pWorker);
}

void FSMonitorThread::Stop(unsigned long timeout)
{
    if (m_pWorker == nullptr)
        return;
    if (!EndThread(timeout))
        ::TerminateThread(m_pWorker->GetHandle(), 0);
}

void FSMonitorThread::CancelRead()
{
    if (m_hDir.IsValid())
        ::CancelIoEx(m_hDir, nullptr);
}

bool FSMonitorThread::EndThread(unsigned long timeout)
{
    // The stop is asked before the read is cancelled: a cancelled read that completes as success
    // with no bytes (as under Wine) is then never taken for dropped changes.
    m_pWorker->Stop();
    CancelRead();
    // A read issued between that cancel and the stop event would stay pending on a quiet
    // directory: each slice without an end cancels again. The thread tests for the stop after
    // each read it issues and before the next, so once the stop is set one more read at most
    // can begin, and the next cancel ends it.
    const ULONGLONG start = ::GetTickCount64();
    for (;;)
    {
        unsigned long slice = CancelSlice;
        if (timeout != INFINITE)
        {
            const ULONGLONG spent = ::GetTickCount64() - start;
            const unsigned long left = spent >= timeout ? 0 : static_cast<unsigned long>(timeout - spent);
            slice = left < slice ? left : slice;
        }
        // Only a time-out means a thread still running; a failed wait (no thread) is passed over.
        if (::WaitForSingleObject(m_pWorker->GetHandle(), slice) != WAIT_TIMEOUT)
            return true;
        if (timeout != INFINITE && ::GetTickCount64() - start >= timeout)
            return false;
        CancelRead();
    }
}

unsigned int FSMonitorThread::FSMonitorThreadFunc(void* self)
{
    FSMonitorThread* monitor = static_cast<FSMonitorThread*>(self);
    if (monitor == nullptr)
        return 0;
    ReadyThreadSupport::AwaitWorker(monitor->m_pWorker);
    monitor->DoWork();
    return 0;
}

bool FSMonitorThread::Read(void* buffer, bool subtree, unsigned long filter, OVERLAPPED& overlapped)
{
    return ::ReadDirectoryChangesW(m_hDir, buffer, ChangeBufferSize, subtree ? TRUE : FALSE, filter, nullptr,
                                   &overlapped, nullptr) != FALSE;
}

void FSMonitorThread::DoWork()
{
    OVERLAPPED overlapped{};
    overlapped.hEvent = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (overlapped.hEvent == nullptr)
    {
        LogWithError(LogEventFailed);
        return;
    }
    const unsigned long filter = m_bSubtree ? TreeFilter : FileFilter;
    alignas(DWORD) char changes[ChangeBufferSize];
    const CString wanted = m_bSingleFile ? FileUtils::ParseFileNameFromPath(m_strPath, true) : CString();
    const std::wstring dir =
        CodePageText::ToWide(m_bSingleFile ? DirUtils::ParsePathFromFile(m_strPath).GetString() : m_strPath.GetString());

    // Whether a read is out whose end the thread has not taken yet.
    bool pending = Read(changes, m_bSubtree, filter, overlapped);
    while (pending && !ReadyThreadSupport::StopRequested(m_pWorker))
    {
        DWORD bytes = 0;
        const BOOL done = ::GetOverlappedResult(m_hDir, &overlapped, &bytes, TRUE);
        const DWORD error = done ? ERROR_SUCCESS : ::GetLastError();
        pending = false;
        if (done && bytes > 0)
            Walk(changes, bytes, wanted, dir);
        else if ((done || error == ERROR_NOTIFY_ENUM_DIR) && !ReadyThreadSupport::StopRequested(m_pWorker))
        {
            // The system dropped changes it could not hold: the owner must look again.
            if (MayTell())
                Tell(FILE_ACTION_MODIFIED, m_strPath);
        }
        // A cancelled or failed read is passed over: the next read tells whether the handle lives.
        if (ReadyThreadSupport::StopRequested(m_pWorker))
            break;
        if (!::ResetEvent(overlapped.hEvent))
        {
            LogWithError(LogResetFailed);
            break;
        }
        if (ReadyThreadSupport::StopRequested(m_pWorker))
            break;
        pending = Read(changes, m_bSubtree, filter, overlapped);
    }
    // A read still out refers to the event and to the buffer on this stack: it is cancelled and
    // its end waited for before either goes.
    if (pending)
    {
        DWORD bytes = 0;
        ::CancelIoEx(m_hDir, &overlapped);
        ::GetOverlappedResult(m_hDir, &overlapped, &bytes, TRUE);
    }
    ::CloseHandle(overlapped.hEvent);
}

void FSMonitorThread::Walk(const char* changes, unsigned long bytes, const CString& wanted,
                           const std::wstring& dir) const
{
    if (bytes > ChangeBufferSize)
        bytes = ChangeBufferSize;
    // Every entry, its name included, must lie within the bytes delivered.
    for (unsigned long offset = 0; offset <= bytes && bytes - offset >= EntryHeader;)
    {
        const auto* entry = reinterpret_cast<const FILE_NOTIFY_INFORMATION*>(changes + offset);
        if (entry->FileNameLength > bytes - offset - EntryHeader)
            return;
        // Names are looked up only while someone is told.
        if (MayTell())
        {
            CString converted;
            if (!EntryName(dir, entry->FileName, static_cast<int>(entry->FileNameLength / 2), converted))
                Log(LogNameLeftOut);
            else if (!m_bSingleFile)
                Tell(entry->Action, m_strPath + converted);
            else if (wanted.Compare(converted) == 0)
                Tell(entry->Action, m_strPath);
        }
        if (entry->NextEntryOffset == 0)
            return;
        offset += entry->NextEntryOffset;
    }
}

bool FSMonitorThread::MayTell() const
{
    return ReadyThreadSupport::MayTell(m_hWnd, m_nMsg, true);
}

void FSMonitorThread::Tell(unsigned long action, const CString& path) const
{
    FSChangeNotification* record = new (std::nothrow) FSChangeNotification();
    if (record == nullptr)
        return;  // this change is skipped, the next one still goes
    record->SetAction(action);
    record->SetPath(path);
    // The window was tested for this change; a send that fails now reaches nobody.
    if (!ReadyThreadSupport::NotifyOwner(m_hWnd, m_nMsg, m_wParam, reinterpret_cast<LPARAM>(record), false))
        delete record;
}
