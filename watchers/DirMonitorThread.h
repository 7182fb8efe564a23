// A thread that watches a directory through the system's change notification handles and tells
// an owner window that something changed, and of which kind. The thread starts in the
// constructor; there is no separate start.
//
//   DirMonitorThread monitor("C:\\data", false, FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE,
//                            WM_APP + 3, hWnd, 200, 0, true);
//   // a burst of changes gives one WM_APP + 3, 200 ms after the last change, with the OR of
//   // their kinds as wParam; then, while all stays quiet, messages with wParam 0 at 400, 600,
//   // 1000, 1600 ms ... after the last change
//
// Filter bits, one notification handle each, opened in this order: 0x001 file name, 0x002
// directory name, 0x004 attributes, 0x008 size, 0x010 last write, 0x100 security. Other bits
// are not looked at. A drive root is always watched with its subtree.
//
// Message. SendNotifyMessageA(wnd, msg, wParam, lParam) if wnd is a window and msg is not 0;
// lParam is the constructor's.
//   - Delay 0xFFFFFFFF (none): one message per change, at once, with that change's bit.
//   - Any other delay d: each change restarts a wait of d; the message goes out d after the
//     last change of a burst, with the OR of the bits since the last message.
//   - With the progressive delay on, quiet time-outs go on sending wParam 0, at gaps of d, d,
//     2d, 3d, 4d, ... until the next change brings the wait back to d.
//
// Threads. Any thread may call the public members. The delays are single 32-bit values that
// the thread reads without a lock; their writes, and the thread's OR of a change's bit, are
// guarded by the mutex "wl_dmt_mutex", one for every monitor in every process, held for one
// field update at a time and never across a message or a wait.
//
// Stop(timeout) resumes a paused thread, asks it to end and waits up to timeout ms; a thread
// still running then is handed to TerminateThread. Bits collected during a settling wait are
// dropped, so a stop sends nothing more. The destructor stops the same way but waits without
// limit, then closes the notification handles.
//
// Deriving. The thread calls the virtual DoInit, DoTimeout and BroadcastMsg, so it must not
// run them on a half-built or half-destroyed object. A derived class builds its base through
// the protected constructor, which starts the thread held back, and calls ReleaseThread as
// the last step of its own constructor; its destructor calls StopThread first, so that the
// thread has ended before any of its fields go.
#pragma once

#include "frame/MTEvent.h"
#include "frame/MTMutex.h"
#include "frame/MTWorkerThread.h"

#include <afx.h>

#include <vector>

class WEFTCORE_API DirMonitorThread
{
public:
    // Rejects a directory that fails DirUtils::IsDir(dir, true) or DoesDirExist: the object
    // then has an empty GetDir, no mutex and no thread, and every operation is safe.
    DirMonitorThread(const CString& dir, bool subtree, unsigned long filter, unsigned int msg, HWND wnd,
                     unsigned long msgDelay, __int64 lParam, bool progressive);
    DirMonitorThread(const DirMonitorThread&) = delete;
    DirMonitorThread& operator=(const DirMonitorThread&) = delete;

protected:
    // Tells the thread to watch once the most derived constructor has ended.
    struct HeldBack
    {
    };
    // As the public constructor, but the thread waits, touching nothing of the object, until
    // ReleaseThread (or a stop).
    DirMonitorThread(const CString& dir, bool subtree, unsigned long filter, unsigned int msg, HWND wnd,
                     unsigned long msgDelay, __int64 lParam, bool progressive, HeldBack);

    // Opens one handle per filter bit, appends those that opened to the collection, and gives
    // the length of the first wait (no limit). 0 for a null collection.
    virtual unsigned long DoInit(MTWaitableCollection* collection);
    // After a quiet wait: the message, then the progressive bookkeeping; gives the next wait.
    virtual unsigned long DoTimeout();
    // The notification: an lParam of 0 becomes the constructor's, a wParam of 0 the bits
    // collected since the last message.
    virtual void BroadcastMsg(unsigned __int64 wParam, __int64 lParam);

public:
    // Stops the thread, waiting without limit, then closes the notification handles.
    virtual ~DirMonitorThread();

    CString GetDir() const;
    void SetPriority(int priority);
    // 0 without a thread.
    int GetPriority() const;
    virtual void Pause();
    bool IsPaused() const;
    virtual void Resume();
    // The bounded stop described above; a second call returns at once.
    virtual void Stop(unsigned long timeout);

    // Stores the delay under the mutex without waking the thread: a wait already running keeps
    // its length.
    void SetMsgDelay(unsigned long msgDelay);
    unsigned long GetMsgDelay() const;
    // Under the mutex: a progressive multiplier above 1 goes back to 1, with a trace line. Does
    // not wake the thread: the next wait after a change is d again.
    void ResetProgDelay();

protected:
    unsigned long GetNotificationsReceived() const;
    void ResetNotificationsReceived();
    // The last step of a derived constructor built with HeldBack.
    void ReleaseThread();
    // The first step of a derived destructor: stops the thread and waits, without limit, until
    // its function has returned.
    void StopThread();

private:
    static constexpr int HandleCount = 6;

    static unsigned int DirMonitorThreadFunc(void* param);
    unsigned long ProcessChange(int index);
    // The index-th open handle (from 1, in filter order), or null; and its filter bit, or 0.
    void* GetNotificationHandle(int index) const;
    unsigned long GetNotificationParam(int index) const;

    bool m_bSubtree;
    unsigned long m_nMsgDelay;
    unsigned long m_nProgDelay;
    unsigned long m_nFilter;
    unsigned long m_nNotificationsReceived;
    void* m_hChange[HandleCount];
    unsigned int m_nMsg;
    HWND m_hWnd;
    __int64 m_lParam;
    MTWorkerThread* m_pWorker;
    MTMutex* m_pMutex;
    CString m_strDir;
    std::vector<unsigned long> m_params;
    // Set once the object is whole; the thread waits for it before its first virtual call. If it
    // cannot be created, the thread is started by ReleaseThread instead.
    MTEvent m_evReady;
};
