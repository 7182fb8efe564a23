// A file search over a directory tree in the background. Each match is appended to a result list
// and told to the owner window by its index; a last message ends the search.
//
//   FindFileThread finder(WM_APP + 6, hWnd, 0, 0);
//   finder.DoFind("C:\\src", Texts({"*.cpp;*.h"}), Texts({"*_old.*"}), Texts({"C:\\src\\build\\"}),
//                 true, true, false);
//   // WM_APP + 6 with wParam i: finder.IsValidIndex(i) -> finder.GetFileAtIndex(i) is a match;
//   // otherwise the search has ended, wParam being the count plus 1 (low 16 bits).
//
// Matching. FileUtils::MatchFileSpec(path, isFile, specsA, specsB, matchOption) judges every
// file and (with recursion) every directory below the root; directories stand in the results
// with their trailing backslash. The root itself is never a result. skipDirs holds full
// directory paths with their trailing backslash, neither entered nor tested. stopDirAtMatch
// (with recursion only): a directory yields at most its first matching file and then none of
// its subdirectories; without a match its subdirectories are searched after its entries, the
// last met first. Otherwise results come depth first in the file system's order.
//
// Names. The walk lists wide names; a result's path is made of its components' names in the
// code page, each converted exactly (never a best-fit or '?' form). A name the code page cannot
// hold is replaced by its short name, which opens the same entry; an entry without either is
// left out, a directory with all below it, and AppLogger::m_pInstance (if set) gets a line. Paths
// stay within MAX_PATH, as with the narrow calls.
//
// Requests. A new DoFind replaces the request: a running search gives way at its next entry,
// ends with its last message, and the results are emptied for the new one. A request made
// during a search makes that search run once more after it. A DoFind with a path that is not a
// directory cancels. entriesPerPause N above 0 sleeps 25 ms after every N entries.
//
// Messages. Each match is told by its own message, in the order found. A walk holds matches back
// for a moment (up to 64, or 10 ms, or its next pause) and tells them under one hold of the
// mutex; a new request that comes meanwhile drops them, as if it had come before they were found.
//
// Threads: the owner's threads call the members; all objects of all processes share one named
// mutex, held for single updates and for runs of messages, never across a directory read.
#pragma once

#include "frame/MTEvent.h"
#include "frame/MTMutex.h"
#include "frame/MTWorkerThread.h"
#include "weftbase/FilePatternMatcher.h"
#include "weftbase/TextArray.h"

#include <afx.h>

#include <string>
#include <vector>

class WEFTCORE_API FindFileThread
{
public:
    FindFileThread(unsigned int msg, HWND wnd, __int64 lParam, int entriesPerPause);
    FindFileThread(const FindFileThread&) = delete;
    FindFileThread& operator=(const FindFileThread&) = delete;
    ~FindFileThread();

    void SetPriority(int priority);
    // 0 without a thread.
    int GetPriority();
    void DoFind(const CString& dir, const TextArray& specsA, const TextArray& specsB, const TextArray& skipDirs,
                bool recurse, bool matchOption, bool stopDirAtMatch);
    // The bounded stop; a second call returns at once. The thread never runs again; the results
    // stay readable.
    void Stop(unsigned long timeout);

    bool IsValidIndex(unsigned __int64 index) const;
    // The empty text out of range.
    CString GetFileAtIndex(unsigned __int64 index) const;

protected:
    // One wake of the thread: searches until no new request came during the search. False when
    // stopped, which ends the thread.
    bool DoWork();
    // One search with its last message; false means stopped.
    bool ThreadDoSearch();
    // The scan of one directory, path with its trailing backslash.
    void ThreadDoSearchImpl(const CString& path);

private:
    static unsigned int FindFileThreadFunc(void* self);
    // The scan by wide names; path is the same directory in the form the results take.
    void SearchDir(const CString& path, const std::wstring& widePath);
    // Holds a match back to be told with the next ones.
    void Report(const CString& path);
    // Tells the matches held back once enough have gathered or the first has waited long enough.
    void TellWhenDue();
    void TellHeld();
    // Under the mutex: appends each match held back and tells its index, unless a new request
    // has come; then they are dropped.
    void TellHeldLocked();
    // The scan's view of the restart flag: a new request replaces the search under way.
    bool NewRequestCame() const;
    bool MustLeave() const;

    // Written by DoFind, under the mutex, before any run reads them.
    bool m_bRecurse = false;
    bool m_bStopDirAtMatch = false;
    bool m_bMatchOption = false;
    bool m_bRestart = false;
    int m_nEntriesSincePause;
    int m_nEntriesPerPause;
    unsigned int m_nMsg;
    HWND m_hWnd;
    __int64 m_lParam;
    MTWorkerThread* m_pWorker;
    MTMutex* m_pMutex;
    MTEvent m_evWork;
    CString m_strDir;
    TextArray m_specsA;
    TextArray m_specsB;
    TextArray m_results;
    TextArray m_skipDirs;

    // The request of the search under way, copied under the mutex when it starts.
    struct Request
    {
        CString dir;
        FilePatternMatcher matcher;
        TextArray skipDirs;
        bool recurse = true, stopDirAtMatch = false;
        bool plainRoot = true;  // dir starts with no blank, so no trim takes anything off its front
    };
    Request m_run;
    // Matches found and not yet told, in their order, and when the first was found.
    std::vector<CString> m_held;
    ULONGLONG m_nFirstHeldAt = 0;
};
