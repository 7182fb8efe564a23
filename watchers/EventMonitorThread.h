// A thread that watches one waitable handle of the application's and tells an owner window
// when it is signalled. A message delay turns a burst of signals into one message. The
// thread starts in the constructor; there is no separate start.
//
//   EventMonitorThread monitor(hEvent, WM_APP + 2, hWnd, 100, 0, 0);
//   // a burst of SetEvent(hEvent) gives one WM_APP + 2, 100 ms after the last signal
//
// Message. SendNotifyMessageA(wnd, msg, wParam, lParam) with the constructor's values unchanged,
// which does not wait for the window procedure. A null window or a message number of 0 sends
// nothing, and the thread otherwise runs as usual; the window is not tested with IsWindow.
//   - Delay 0xFFFFFFFF (none): one message for every wake by the handle, at once.
//   - Any other delay: a signal opens a wait of that length and each further signal within it
//     starts the wait anew; the message goes out once the delay has passed without a signal,
//     so the delay counts from the last signal of a burst. A delay of 0 sends at the next pass
//     on which the handle is not signalled. A manual-reset event left set sends on every pass
//     without a delay, and never with one, until it is reset.
//
// The handle is not owned: it must stay open until Stop or the destructor has returned. An
// invalid or closed handle, or an abandoned mutex, ends the thread silently.
//
// Threads. Any thread may call the members; the message delay is a single 32-bit value that
// the monitor thread reads without a lock.
//
// Stop(timeout) resumes a paused thread, asks it to end and waits up to timeout ms; a thread
// still running then is handed to TerminateThread, which ends it asynchronously. A message
// still owed at the stop is dropped. Afterwards the object stays usable for its accessors, and
// it cannot be started again. The destructor stops the same way but waits without limit.
#pragma once

#include "frame/MTWorkerThread.h"

class WEFTCORE_API EventMonitorThread
{
public:
    // Stores the arguments and starts the thread. If the thread cannot be allocated, the object
    // has no thread, sends nothing and every operation is safe.
    EventMonitorThread(void* const event, unsigned int msg, HWND wnd, unsigned long msgDelay,
                       unsigned __int64 wParam, __int64 lParam);
    EventMonitorThread(const EventMonitorThread&) = delete;
    EventMonitorThread& operator=(const EventMonitorThread&) = delete;
    // Stops the thread and waits until its function has returned; forgets the handle.
    virtual ~EventMonitorThread();

    void SetPriority(int priority);
    // 0 without a thread.
    int GetPriority();
    // Suspends the thread wherever it stands: no message goes out while paused.
    virtual void Pause();
    bool IsPaused() const;
    virtual void Resume();
    // The bounded stop described above; a second call returns at once.
    virtual void Stop(unsigned long timeout);

    // Stores the delay without waking the thread: a wait already running keeps its length, and
    // the new delay counts from the next signal or time-out.
    void SetMsgDelay(unsigned long msgDelay);
    unsigned long GetMsgDelay() const;

private:
    static unsigned int EventMonitorThreadFunc(void* param);

    void* m_hEvent;
    unsigned long m_nMsgDelay;
    unsigned int m_nMsg;
    HWND m_hWnd;
    unsigned __int64 m_wParam;
    __int64 m_lParam;
    MTWorkerThread* m_pWorker;
};
