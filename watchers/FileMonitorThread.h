// A thread that watches one file and tells an owner window when the file's size or date has
// changed. The system notifies changes of directories, so this is a directory monitor on the
// file's folder that compares the file's size and date whenever a message would go out: a
// neighbour's change, or one of attributes or security alone, sends nothing.
//
//   FileMonitorThread monitor("C:\\data\\app.log", WM_APP + 4, hWnd, 0xFFFFFFFF, 0, false);
//   // one WM_APP + 4 per write that changes the size or the date, at once
//
// The filter is file name, directory name, attributes, size and last write; the progressive
// delay is off. With a message delay the comparison is made once, when the delay has run out,
// so a file changed and put back within it sends nothing; wParam is then the OR of the kinds of
// every change in the folder, neighbours' included. A missing file has size 0: its creation and
// its deletion each count as a change. The size and date at construction are the baseline.
//
// Threads: as for the directory monitor. The remembered size and date are written by the
// constructor and the monitor thread; DoesFileExist shows the state at the last comparison.
#pragma once

#include "watchers/DirMonitorThread.h"
#include "weftbase/DateTime.h"

class WEFTCORE_API FileMonitorThread : public DirMonitorThread
{
public:
    FileMonitorThread(const CString& file, unsigned int msg, HWND wnd, unsigned long msgDelay, __int64 lParam,
                      bool subtree);
    FileMonitorThread(const FileMonitorThread&) = delete;
    FileMonitorThread& operator=(const FileMonitorThread&) = delete;

protected:
    // Sends only if the file's size or date changed since the last comparison.
    void BroadcastMsg(unsigned __int64 wParam, __int64 lParam) override;

public:
    // Ends the thread before this object's fields go.
    ~FileMonitorThread() override;

    CString GetFile() const;
    // The size at the last comparison is above 0.
    bool DoesFileExist() const;

private:
    bool DidFileChange();

    unsigned __int64 m_nFileSize;
    DateTime m_fileDate;
    CString m_strFile;
};
