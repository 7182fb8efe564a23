// A thread that watches one registry key, and on request the whole tree below it, and sends
// the owner window one RegChangeNotification per difference: a key added or removed, a value
// added, removed or changed. The registry only says that something changed, so the thread keeps
// a text picture of the tree (RegKeySnapshot), takes a new one at each signal and compares.
//
//   RegMonitorThread monitor(HKEY_CURRENT_USER, "Software\\MyApp", true, WM_APP + 7, hWnd, 0);
//   // WM_APP + 7 arrives with wParam 0 and lParam a RegChangeNotification* to delete
//
// The thread starts in the constructor and takes its first picture as the baseline, then arms
// the registry's notice. At each signal, if the window exists and the message is not 0, it
// takes a new picture, compares, and arms again; otherwise it only arms again, so that the
// differences are told once there is someone to tell. Changes before the thread wakes (or
// during a pause) make one comparison, and a net change of nothing sends nothing. A value is
// compared by its text (RegistryUtils), so a new type with the same text sends nothing.
//
// Names are those of RegistryUtils, in the code page without best fit: a key whose name the code
// page cannot hold is not in the picture, nor anything below it; a value whose name it cannot
// hold is there with the default character ('?') for each lacking one and the empty text (two
// such values compare equal), or not at all where that name would name another value. A picture
// that left something out writes one line to the application's AppLogger.
//
// Records, in this order per comparison: each added key with its values, the removed keys
// (without their values), then the values of the keys in both pictures, added and changed in
// the new picture's order, removed last. Key paths are below the root, compared exactly
// (case counts). Ownership of a record passes with the send; a record whose send fails is
// deleted here, since nobody else can.
//
// Refusals (no thread; GetErrorMsg tells, and the application's AppLogger gets the line):
//   a null root or empty key, a key below HKEY_LOCAL_MACHINE that does not begin with the
//   expected prefix, a key that cannot be opened. Later failures (the event, the arming) end
//   the thread the same way; the owner window is never told of a failure.
//
// Threads: the owner's thread calls the members; GetErrorMsg may be called at any time and
// gives the empty text until a failure is complete. Stop(timeout) and the destructor follow the
// other ready-made threads: a bounded stop that may terminate, and an unbounded one.
#pragma once

#include "frame/MTWorkerThread.h"
#include "watchers/RegChangeNotification.h"

#include <afx.h>

#include <atomic>
#include <map>
#include <utility>
#include <vector>

// Key path below the root -> the key's values, as (name, text) in the registry's order.
using RegKeySnapshot = std::map<CString, std::vector<std::pair<CString, CString>>, std::less<CString>>;

class WEFTCORE_API RegMonitorThread
{
public:
    RegMonitorThread(HKEY const root, const CString& key, bool subtree, unsigned int msg, HWND const wnd,
                     unsigned short wParam);
    RegMonitorThread(const RegMonitorThread&) = delete;
    RegMonitorThread& operator=(const RegMonitorThread&) = delete;
    // Stops the thread, waiting without limit, then closes the key and the event.
    ~RegMonitorThread();

    // The root in root, and the key path, as passed to the constructor.
    CString GetKey(HKEY& root) const;
    // The last failure in words, or the empty text.
    CString GetErrorMsg() const;

    void SetPriority(int priority);
    // 0 without a thread.
    int GetPriority() const;
    // A change during a pause waits in the event and is compared after Resume.
    void Pause();
    bool IsPaused() const;
    void Resume();
    // The bounded stop; a second call returns at once.
    void Stop(unsigned long timeout);

protected:
    void DoWork();
    // Replaces the map's content by the present state of the tree: the watched key first, whether
    // or not it can be read, then (with the subtree) every key below it.
    void GetKeySnapshot(RegKeySnapshot& snapshot) const;
    // Sends one record per difference between the two pictures, in the order given above.
    void DoComparisons(const RegKeySnapshot& before, const RegKeySnapshot& after) const;

private:
    static unsigned int RegMonitorThreadFunc(void* self);
    // Makes, fills and sends one record; frees it if the send fails.
    void SendChange(RegChange action, const CString& key, const CString* name, const CString* value) const;
    // Worker thread, on its way out: the error text, then the log line.
    void Fail(unsigned long code, const char* logLine);
    void Refuse(const CString& text, const char* logLine);

    bool m_bSubtree;
    unsigned short m_wParam;
    void* m_evChange;
    HKEY m_hRoot;
    HKEY m_hKey;
    unsigned int m_nMsg;
    HWND m_hWnd;
    MTWorkerThread* m_pWorker;
    CString m_strKey;
    CString m_strErrorMsg;
    // Set once m_strErrorMsg is written for good: until then GetErrorMsg does not read it.
    std::atomic<bool> m_bErrorSet;
};
