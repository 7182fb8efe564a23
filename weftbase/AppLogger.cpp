#include "weftbase/AppLogger.h"

AppLogger* AppLogger::m_pInstance = nullptr;

AppLogger::AppLogger(const char* path, bool timeStamps)
    : m_hFile(INVALID_HANDLE_VALUE), m_bTimeStamps(timeStamps), m_status(0), m_strPath(path)
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
    ::SetLastError(saved);
}

AppLogger::~AppLogger()
{
    if (m_hFile != INVALID_HANDLE_VALUE)
        ::CloseHandle(m_hFile);
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
    DWORD written = 0;
    ::EnterCriticalSection(&m_lock);
    const BOOL ok = ::WriteFile(m_hFile, line.GetString(), static_cast<DWORD>(line.GetLength()), &written, nullptr);
    if (!ok)
        m_status = ::GetLastError();
    ::LeaveCriticalSection(&m_lock);
    ::SetLastError(saved);
    return ok && written == static_cast<DWORD>(line.GetLength());
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
