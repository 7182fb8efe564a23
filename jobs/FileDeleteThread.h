// Deletes a list of files and directories in the background, once, starting at construction,
// and tells the owner window when the list has been worked through (wParam 0). Nothing tells
// what was or was not deleted.
//
//   FileDeleteThread deleter(Texts({"C:\\tmp\\a.txt", "C:\\tmp\\build\\"}), WM_APP + 8, hWnd, 0, true, true);
//
// Items, in list order: a missing path is passed over; a directory goes with its whole tree
// (DirUtils::DeleteDirectory: junctions inside are removed as links, never entered); a file is
// deleted, and if that fails, tried once more with FileUtils::DeleteFileA's force and retry
// options set to optionA and optionB. optionA false leaves read-only, hidden and system items
// of a directory tree in place; true deletes them too.
//
// Stop(timeout) ends the job between two items with no message; an item in progress is
// finished first unless the time-out runs out. The destructor waits without limit.
#pragma once

#include "frame/MTMutex.h"
#include "frame/MTWorkerThread.h"
#include "weftbase/TextArray.h"

class WEFTCORE_API FileDeleteThread
{
public:
    FileDeleteThread(const TextArray& items, unsigned int msg, HWND wnd, __int64 lParam, bool optionA, bool optionB);
    FileDeleteThread(const FileDeleteThread&) = delete;
    FileDeleteThread& operator=(const FileDeleteThread&) = delete;
    ~FileDeleteThread();

    void SetPriority(int priority);
    // 0 without a thread.
    int GetPriority();
    // The bounded stop; a second call returns at once.
    void Stop(unsigned long timeout);

protected:
    // The job.
    void DoWork();

private:
    static unsigned int FileDeleteThreadFunc(void* self);

    bool m_bOptionA;
    bool m_bOptionB;
    unsigned int m_nMsg;
    HWND m_hWnd;
    __int64 m_lParam;
    MTWorkerThread* m_pWorker;
    MTMutex* m_pMutex;
    TextArray m_items;
};
