// The application's log: lines appended to a file that the application names.
//
//   AppLogger log("C:\\ProgramData\\MyApp\\app.log");
//   AppLogger::m_pInstance = &log;      // the libraries log from here on
//   ...
//   AppLogger::m_pInstance = nullptr;   // before log is destroyed
//
// The libraries write only through m_pInstance, and write nothing while it is null. Each
// AddLine appends one line: the text and CR LF, optionally behind a UTC time stamp, in one
// write, so lines from several threads or processes sharing the file never interleave.
// The file is opened once, shared for reading, writing and deletion, and created if missing.
// AddLine may be called from any thread. A logger whose file cannot be opened is inert:
// GetStatus gives the system error, and AddLine gives false.
#pragma once

#include "weftbase/WeftBaseApi.h"

#include <afx.h>

class WEFTBASE_API AppLogger
{
public:
    // timeStamps true puts "YYYY-MM-DD hh:mm:ss.mmm " (UTC) in front of every line.
    explicit AppLogger(const char* path, bool timeStamps = false);
    ~AppLogger();
    AppLogger(const AppLogger&) = delete;
    AppLogger& operator=(const AppLogger&) = delete;

    // Appends one line; false if the logger is inert or the write failed.
    bool AddLine(const char* text);

    bool IsOpen() const;
    // 0, or the system error of the open or of the last failed write.
    unsigned long GetStatus() const;
    CString GetPath() const;

    // The application's logger, or null: the libraries log nothing while it is null.
    // Set and cleared by the application; it owns the object.
    static AppLogger* m_pInstance;

private:
    CRITICAL_SECTION m_lock;
    HANDLE m_hFile;
    HANDLE m_hWriteMutex;  // shared by every process that appends to the file
    bool m_bTimeStamps;
    unsigned long m_status;
    CString m_strPath;
};
