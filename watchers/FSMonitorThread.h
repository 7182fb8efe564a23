// A thread that watches one directory (with or without the tree below it), or one file in its
// directory, and sends the owner window one FSChangeNotification per change that the system
// reports, with the kind of change and the full path. Nothing is delayed or merged.
//
//   FSMonitorThread monitor("C:\\data", WM_APP + 9, hWnd, true, 0);   // the tree below C:\data
//   FSMonitorThread single("C:\\data\\app.ini", WM_APP + 9, hWnd, 0);  // that one file
//   // WM_APP + 9 arrives with wParam 0 and lParam a FSChangeNotification* to delete
//
// Paths. A directory record's path is GetPath() (the directory with its backslash) followed by
// the name the system gave, which below a subtree is the relative path. A single-file record's
// path is GetPath(), the file's path as the caller passed it; only entries whose name equals the
// file's name, case included, count. A rename gives two records: the old path (action 4), then
// the new one (action 5). Directory names are watched only with the subtree.
//
// Names outside the code page. A name is converted exactly (never a best-fit or '?' form). One
// the code page cannot hold is given by its short form: GetPath() followed by the short names
// of the name's components, which open the same entry (and in single-file mode that form is
// compared with the file's name). An entry with neither form, as one already removed or renamed
// away, gives no record; AppLogger::m_pInstance, if set, gets a line for it.
//
// Dropped changes. When the system had more changes than one read holds, it drops them and
// reports none of their names. The monitor then sends one record with FILE_ACTION_MODIFIED and
// GetPath() itself as the path: the directory (or the file) changed in ways no longer listed,
// and the owner should look again. In directory mode no other record has that path.
//
// Message. SendNotifyMessageA(wnd, msg, wParam, record) for each change, if wnd is a window
// (tested per change) and msg is not 0; otherwise the change is read and lost, and the thread
// goes on. The record belongs to the handler from the send on; a record whose send fails (the
// window has just gone) is deleted here.
//
// Refusals: a path under 3 characters ("C:"), a directory that does not exist (a file given as
// a directory is one), or for a single file a parent directory that does not exist. The object
// then has no thread and every operation is safe; AppLogger::m_pInstance, if set, gets a line.
//
// Threads. The owner's thread calls the members; GetPath is safe at all times. Stop(timeout)
// asks the thread to end (which resumes a paused thread), then cancels the pending read, and
// waits up to timeout ms, cancelling again every 10 ms, so that a read issued just before the
// thread saw the stop never holds it on a quiet directory; a thread still running after the
// time-out is handed to TerminateThread. The thread, as it ends, cancels a read it still has out
// and waits for that read's end before it closes the read's event and leaves its stack, where
// the read's buffer lies. The destructor stops the same way but waits without limit, then
// closes the directory handle.
#pragma once

#include "frame/MTWorkerThread.h"
#include "watchers/FSChangeNotification.h"
#include "weftbase/SmartHANDLE.h"

#include <afx.h>

#include <string>

class WEFTCORE_API FSMonitorThread
{
public:
    // Watches the directory path, and with subtree the tree below it.
    FSMonitorThread(const CString& path, unsigned int msg, HWND const wnd, bool subtree, unsigned short wParam);
    // Watches one file, which need not exist yet, through its directory.
    FSMonitorThread(const CString& path, unsigned int msg, HWND const wnd, unsigned short wParam);
    FSMonitorThread(const FSMonitorThread&) = delete;
    FSMonitorThread& operator=(const FSMonitorThread&) = delete;
    // Stops the thread, waiting without limit, then closes the directory handle.
    ~FSMonitorThread();

    // A directory with its trailing backslash; a file as passed.
    CString GetPath() const;

    void SetPriority(int priority);
    // 0 without a thread.
    int GetPriority() const;
    // The system goes on collecting changes for the handle during a pause, up to its limits.
    void Pause();
    bool IsPaused() const;
    void Resume();
    // The bounded stop described above; a second call returns at once.
    void Stop(unsigned long timeout);

protected:
    void DoWork();

private:
    static unsigned int FSMonitorThreadFunc(void* self);
    // Reads one buffer of changes; false if the read could not be issued.
    bool Read(void* buffer, bool subtree, unsigned long filter, OVERLAPPED& overlapped);
    // Sends one record per counting entry of the bytes delivered; dir is the watched directory.
    void Walk(const char* changes, unsigned long bytes, const CString& wanted, const std::wstring& dir) const;
    bool MayTell() const;
    // Makes and sends one record; frees it if the send fails.
    void Tell(unsigned long action, const CString& path) const;
    void CancelRead();
    // Cancels, asks the thread to end, and waits up to timeout ms (0xFFFFFFFF: no limit) for it,
    // cancelling again at each slice. True if the thread ended within the time.
    bool EndThread(unsigned long timeout);

    bool m_bSingleFile;
    bool m_bSubtree;  // false for a single file
    unsigned short m_wParam;
    unsigned int m_nMsg;
    HWND m_hWnd;
    MTWorkerThread* m_pWorker;
    SmartHANDLE m_hDir;
    CString m_strPath;
};
