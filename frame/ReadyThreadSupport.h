// What every ready-made thread of the library does the same way: starting its worker once, the
// start handshake, telling the owner window (sent or posted), the bounded stop, the unbounded
// stop apart from the delete, the destructor's stop, and the forwarders to the worker. Internal to the library and not exported; each class keeps its own
// public members and fields, and calls these from them.
//
//   TimerThread::TimerThread(...) : ...
//   {
//       ReadyThreadSupport::StartWorker(m_pWorker, TimerThreadFunc, this);
//   }
//   unsigned int TimerThread::TimerThreadFunc(void* param)
//   {
//       auto* self = static_cast<TimerThread*>(param);
//       if (self == nullptr)
//           return 0;
//       MTWorkerThread* worker = ReadyThreadSupport::AwaitWorker(self->m_pWorker);
//       ...
//   }
//   TimerThread::~TimerThread() { ReadyThreadSupport::DestroyWorker(m_pWorker); m_hWnd = nullptr; }
#pragma once

#include "frame/MTWorkerThread.h"

class ReadyThreadSupport
{
public:
    ReadyThreadSupport() = delete;

    // Owner's thread, in a constructor (or a Start): allocates the worker, which starts
    // threadFunc(self) at once with no flags, default security and stack, and publishes the
    // pointer in slot for AwaitWorker. If the allocation fails, slot stays null and no thread
    // runs. An object starts once: with a worker already in slot nothing happens. Returns the
    // new worker, or null.
    static MTWorkerThread* StartWorker(MTWorkerThread*& slot, unsigned int (*threadFunc)(void*), void* self);

    // Worker thread, first thing after checking its argument: the thread can run before the
    // constructor has stored the worker pointer, so it polls slot every 5 ms until it is set.
    // Returns the worker, never null.
    static MTWorkerThread* AwaitWorker(MTWorkerThread*& slot);

    // Worker thread: SendNotifyMessageA(wnd, msg, wParam, lParam) if wnd is not null, msg is not
    // 0 and, when requireWindow is true, IsWindow(wnd). The send does not wait for a window
    // procedure on another thread. Returns false if a guard held the message back or the send
    // failed (the window has gone): then nobody will see lParam, and what it points to is the
    // caller's to free.
    static bool NotifyOwner(HWND wnd, unsigned int msg, WPARAM wParam, LPARAM lParam, bool requireWindow);
    // Whether an owner would be told: a message, and a window (a live one if requireWindow).
    static bool MayTell(HWND wnd, unsigned int msg, bool requireWindow);

    // Worker thread: the same guards, then PostMessageA, for a message that must reach the
    // window's queue in order with its other posted messages. Returns as NotifyOwner does.
    static bool PostToOwner(HWND wnd, unsigned int msg, WPARAM wParam, LPARAM lParam, bool requireWindow);

    // Worker thread of a job that serves requests, after AwaitWorker: waits without limit on the
    // stop event (index 0, which wins) and work (index 1), and calls doWork(self) at each wake by
    // work. Returns at a stop, a failed or abandoned wait, or when doWork gives false.
    static void ServeRequests(MTWorkerThread* worker, void* work, bool (*doWork)(void*), void* self);

    // Worker thread, at every item of a long walk: no worker, or a stop was asked for. Reads a
    // flag of the worker, not its event, so that the test costs no kernel call.
    static bool StopRequested(const MTWorkerThread* worker);

    // Owner's thread, the bounded stop: nothing without a worker. Else the worker's Stop
    // (which resumes a paused thread, then sets the stop event), a wait of timeout ms on the
    // thread handle, and TerminateThread with exit code 0 if, and only if, that wait timed out.
    // Termination is asynchronous: the handle is signalled once the thread is really gone.
    // The worker is neither deleted nor forgotten, so a second Stop returns at once.
    // Returns true if the thread had to be terminated.
    static bool StopWorker(MTWorkerThread* worker, unsigned long timeout);

    // Owner's thread: the stop with an unbounded wait, so that it returns only once the thread
    // function has returned, and never terminates. For a class that must release its own
    // handles after the thread has gone but before the worker is deleted.
    static void StopAndWait(MTWorkerThread* worker);

    // Owner's thread: deletes the worker (whose thread must have ended) and nulls slot.
    static void DeleteWorker(MTWorkerThread*& slot);

    // Owner's thread, in a destructor: StopAndWait, then DeleteWorker. Nothing without a worker.
    static void DestroyWorker(MTWorkerThread*& slot);

    // Forwarders. Without a worker the setters do nothing, GetPriority gives 0 and IsPaused false.
    static void SetPriority(MTWorkerThread* worker, int priority);
    static int GetPriority(MTWorkerThread* worker);
    static void Pause(MTWorkerThread* worker);
    static void Resume(MTWorkerThread* worker);
    static bool IsPaused(const MTWorkerThread* worker);
};
