// A thread that tells an owner window, by window message, that a period has passed. It
// repeats, or fires once. The thread starts in the constructor; there is no separate start.
//
//   TimerThread timer(WM_APP + 1, hWnd, 250, false, 7, 0);   // WM_APP + 1 every 250 ms
//   ...
//   timer.Stop(1000);                                          // or let the destructor stop it
//
// Message. SendNotifyMessageA(wnd, msg, wParam, lParam) with the constructor's values unchanged,
// which does not wait for the window procedure. A null window or a message number of 0 sends
// nothing, and the timer otherwise runs as usual; the window is not tested with IsWindow.
//   - Repeating: one message at the end of every period. If none has gone out when the thread
//     ends, one message goes out then, so a timer stopped before its first tick still sends
//     exactly one. After the first tick, a stop sends nothing more.
//   - One-shot: exactly one message, at the end of its period or at an earlier stop.
//
// Periods. Each period starts when the previous one ends, or when Reset or SetTimeout wakes
// the thread. A period of 0 makes a repeating timer send without pause; 0xFFFFFFFF never ends,
// but Reset and SetTimeout still wake the thread.
//
// Threads. Any thread may call the members. m_nTimeout and m_nDecayRate are single 32-bit
// values that the timer thread reads without a lock; window, message and parameters do not
// change while the thread lives.
//
// Stop(timeout) resumes a paused thread, asks it to end and waits up to timeout ms; a thread
// still running then is handed to TerminateThread, which ends it asynchronously (it sends
// nothing more). Afterwards the object stays usable for its accessors, and it cannot be
// started again. The destructor stops the same way but waits without limit, never terminating.
#pragma once

#include "frame/MTEvent.h"
#include "frame/MTWorkerThread.h"

class WEFTCORE_API TimerThread
{
public:
    // Stores the arguments, creates the reset event and starts the thread. If the thread
    // cannot be allocated, the object has no thread, sends nothing and every operation is safe.
    TimerThread(unsigned int msg, HWND wnd, unsigned int timeout, bool oneShot, unsigned __int64 wParam,
                __int64 lParam);
    TimerThread(const TimerThread&) = delete;
    TimerThread& operator=(const TimerThread&) = delete;
    // Stops the thread and waits until its function has returned; see above.
    virtual ~TimerThread();

    void SetPriority(int priority);
    // 0 without a thread.
    int GetPriority();
    // Suspends the thread wherever it stands: no message goes out while paused.
    virtual void Pause();
    bool IsPaused() const;
    virtual void Resume();
    // The bounded stop described above; a second call returns at once.
    virtual void Stop(unsigned long timeout);

    unsigned int GetTimeout() const;
    // A new period length: if it differs from the present one it is stored and the thread woken,
    // so that a period of the new length starts at once, with no message. The same value does
    // nothing at all.
    void SetTimeout(unsigned int timeout);
    // Drops the running period and starts a full new one, with no message. Several resets
    // before the thread wakes make one.
    void Reset();
    // Stores a decay rate of 1 (true) or 0 (false), which multiplies the period from the next
    // wake on; the library never raises it above 1, so the period stays as it was.
    void SetAsDecaying(bool decaying);
    bool GetAsDecaying() const;

protected:
    // Caps the decay rate at 1.
    void ResetDecayRate();

private:
    static unsigned int TimerThreadFunc(void* param);

    bool m_bOneShot;
    unsigned int m_nTimeout;
    unsigned int m_nDecayRate;
    unsigned int m_nMsg;
    HWND m_hWnd;
    unsigned __int64 m_wParam;
    __int64 m_lParam;
    MTWorkerThread* m_pWorker;
    MTEvent m_evReset;
};
