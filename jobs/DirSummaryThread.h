// Statistics of a directory tree, gathered in the background: the number of files, the bytes
// they take, the dates of the newest and oldest file, and the size and free space of the drive,
// sizes and shares as display text. One message tells the owner window that a run is complete;
// the owner then reads the results.
//
//   DirSummaryThread summary("C:\\Projects", WM_APP + 5, hWnd, 0, 0);
//   summary.GatherInfo();
//   // on WM_APP + 5: summary.GetFileCount(), summary.GetDirUsesSpace() ("1.50 GB"), ...
//
// Runs. GatherInfo asks for a run over the present directory; SetDir names another one and asks
// for a run, and a run under way gives way to it (without a message). A request made during a
// run makes one more run after it. A run that is stopped or gives way sends nothing.
//
// Results. During a run the file count, the byte sum and the two dates are running values; the
// texts are filled at the end. Percentages have the decimals of the user's locale, cut rather
// than rounded for the tree's share ("33.33%" for 1 byte of 3).
//
// A directory that is not one at construction gives an inert object that never sends. The walk
// counts every file, hidden and system ones too, whatever its name (it lists by wide names, so a
// name the code page cannot hold is seen as it is), follows junctions like directories, and
// passes over directories it cannot read or whose path would pass MAX_PATH.
//
// Threads: the owner's threads call the members; all objects of all processes share one named
// mutex, which is held only for single field updates. Stop(timeout) and the destructor follow
// the other ready-made threads: a bounded stop that may terminate, and an unbounded one.
#pragma once

#include "frame/MTEvent.h"
#include "frame/MTMutex.h"
#include "frame/MTWorkerThread.h"
#include "weftbase/DateTime.h"

#include <afx.h>

#include <string>

class WEFTCORE_API DirSummaryThread
{
public:
    DirSummaryThread(const CString& dir, unsigned int msg, HWND wnd, unsigned __int64 wParam, __int64 lParam);
    DirSummaryThread(const DirSummaryThread&) = delete;
    DirSummaryThread& operator=(const DirSummaryThread&) = delete;
    ~DirSummaryThread();

    void SetPriority(int priority);
    // 0 without a thread.
    int GetPriority();
    // Names another directory and asks for a run. The present directory (in any case, with its
    // trailing backslash) does nothing. A directory that is not one cancels: the results are
    // reset, the running walk gives way, and nothing more happens.
    void SetDir(const CString& dir);
    // Asks for a run over the present directory.
    void GatherInfo();
    // The bounded stop; a second call returns at once. The thread never runs again.
    void Stop(unsigned long timeout);

    bool IsGatheringInfo() const;
    unsigned __int64 GetFileCount() const;
    unsigned __int64 GetDirUsesSpaceValue() const;
    CString GetDriveTotalSpace() const;
    CString GetDriveFreeSpace() const;
    CString GetDriveFreeSpacePercent() const;
    CString GetDirUsesSpace() const;
    CString GetDirUsesSpacePercent() const;
    // Unset if no file had a valid date.
    DateTime GetNewestFileDate() const;
    DateTime GetOldestFileDate() const;

protected:
    // Back to no results, and gathering. The caller holds the mutex.
    void ResetResults();
    // One wake of the thread: runs until no new request came during the run. False when stopped,
    // which ends the thread.
    bool DoWork();
    // One run; false means stopped.
    bool DoAnalysis();
    // The walk of one directory, path with its trailing backslash.
    void DoDirAnalysisImpl(const CString& path);

private:
    static unsigned int DirSummaryThreadFunc(void* self);
    // The walk by wide names, so that every entry is seen as it is named.
    void WalkDir(const std::wstring& path);
    // A stop or a new request: the walk leaves.
    bool MustLeave() const;
    // A checkpoint of a run: it goes on, or leaves for a stop or for a new request.
    enum class Step { Go, Stop, GiveWay };
    Step Checkpoint();
    CString PercentText(double value) const;
    // A copy of one of the texts, made under the mutex.
    CString Locked(const CString& text) const;

    bool m_bRestart = false;
    bool m_bGathering;
    unsigned int m_nFractionDigits;
    unsigned int m_nMsg;
    unsigned __int64 m_nFileCount;
    unsigned __int64 m_nDirBytes;
    HWND m_hWnd;
    unsigned __int64 m_wParam;
    __int64 m_lParam;
    // Each written whole by the walk, read whole by the accessors.
    alignas(8) DateTime m_newest;
    alignas(8) DateTime m_oldest;
    MTWorkerThread* m_pWorker;
    MTMutex* m_pMutex;
    MTEvent m_evWork;
    CString m_strDir;
    CString m_strDriveTotal;
    CString m_strDriveFree;
    CString m_strDriveFreePercent;
    CString m_strDirUses;
    CString m_strDirUsesPercent;
    // The directory of the run under way, copied under the mutex when it starts.
    CString m_strRunDir;
};
