#include "weftbase/AppLogger.h"

AppLogger* AppLogger::m_pInstance = nullptr;

namespace
{
// A mutex that every process appending to the file shares, named after the file's full path
// without regard to case. The append-only handle alone does not keep the lines of two processes
// apart everywhere: under Wine, writes of two processes can land on the same end of the file.
HANDLE OpenWriteMutex(const CString& path)
{
    char full[4 * MAX_PATH] = {};
    const DWORD n = ::GetFullPathNameA(path, sizeof full, full, nullptr);
    const char* name = n > 0 && n < sizeof full ? full : path.GetString();
    unsigned long long hash = 14695981039346656037ull;  // FNV-1a
    for (const char* p = name; *p; ++p)
    {
        const char c = *p == '/' ? '\\' : (*p >= 'a' && *p <= 'z') ? static_cast<char>(*p - 'a' + 'A') : *p;
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ull;
    }
    CString mutexName;
    mutexName.Format("weft.AppLogger.%016llx", hash);
    return ::CreateMutexA(nullptr, FALSE, mutexName);
}
}  // namespace

AppLogger::AppLogger(const char* path, bool timeStamps)
    : m_hFile(INVALID_HANDLE_VALUE), m_hWriteMutex(nullptr), m_bTimeStamps(timeStamps), m_status(0),
      m_strPath(path)
{
    ::InitializeCriticalSection(&m_lock);
    if (m_strPath.IsEmpty())
    {
        m_status = ERROR_INVALID_PARAMETER;
        return;
    }
    const DWORD saved = ::GetLastError();
    // FILE_APPEND_DATA alone: every write goes to the end of the file, also when other
    // processes append to it at the same time.
    m_hFile = ::CreateFileA(m_strPath, FILE_APPEND_DATA | SYNCHRONIZE,
                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                            FILE_ATTRIBUTE_NORMAL, nullptr);
    if (m_hFile == INVALID_HANDLE_VALUE)
        m_status = ::GetLastError();
    else
        m_hWriteMutex = OpenWriteMutex(m_strPath);
    ::SetLastError(saved);
}

AppLogger::~AppLogger()
{
    if (m_hFile != INVALID_HANDLE_VALUE)
        ::CloseHandle(m_hFile);
    if (m_hWriteMutex)
        ::CloseHandle(m_hWriteMutex);
    ::DeleteCriticalSection(&m_lock);
}

bool AppLogger::AddLine(const char* text)
{
    if (m_hFile == INVALID_HANDLE_VALUE)
        return false;
    CString line;
    if (m_bTimeStamps)
    {
        SYSTEMTIME now;
        ::GetSystemTime(&now);
        line.Format("%04u-%02u-%02u %02u:%02u:%02u.%03u ", now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute,
                    now.wSecond, now.wMilliseconds);
    }
    line += text;
    line += "\r\n";
    const DWORD saved = ::GetLastError();
    DWORD written;  // WriteFile sets it to 0 before anything else
    ::EnterCriticalSection(&m_lock);
    // An abandoned mutex is owned all the same: the process that left it wrote whole lines.
    if (m_hWriteMutex)
        ::WaitForSingleObject(m_hWriteMutex, INFINITE);
    if (!::WriteFile(m_hFile, line.GetString(), static_cast<DWORD>(line.GetLength()), &written, nullptr))
        m_status = ::GetLastError();
    if (m_hWriteMutex)
        ::ReleaseMutex(m_hWriteMutex);
    ::LeaveCriticalSection(&m_lock);
    ::SetLastError(saved);
    return written == static_cast<DWORD>(line.GetLength());
}

bool AppLogger::IsOpen() const
{
    return m_hFile != INVALID_HANDLE_VALUE;
}

unsigned long AppLogger::GetStatus() const
{
    return m_status;
}

CString AppLogger::GetPath() const
{
    return m_strPath;
}
