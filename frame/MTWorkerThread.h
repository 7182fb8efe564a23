// A running thread with a stop event, pause and resume: the frame every watcher and job stands on.
//
// The owner's thread calls Stop, Pause, Resume and SetPriority; the worker thread calls
// IsStopped and AddStopEvent. The frame neither loops nor decides when the thread ends:
// a thread function puts the stop event first in its wait collection and returns when it
// is signalled. The worker is itself waitable: GetHandle() is the thread handle, signalled
// once the thread function has returned, and usable until the worker is destroyed.
//
// The thread may run before the constructor has returned. A thread function that needs the
// worker pointer must wait until its owner has stored it.
//
// Destruction neither stops nor waits: stop the thread and wait on GetHandle() first.
#pragma once

#include "frame/MTEvent.h"
#include "frame/MTWaitableCollection.h"

#include <atomic>

class CMTThread;

class WEFTCORE_API MTWorkerThread : public MTKernel
{
public:
    // Creates the stop event (manual-reset), then starts threadFunc(param). Status 8 if the thread
    // object cannot be allocated, 13 if the thread cannot be created; the worker then has no thread.
    MTWorkerThread(unsigned int (*threadFunc)(void*), void* param, unsigned int creationFlags = 0,
                   _SECURITY_ATTRIBUTES* attributes = nullptr, unsigned int stackSize = 0);
    // Member-wise: no second thread and no second event; only one copy may be destroyed.
    MTWorkerThread(const MTWorkerThread& other);
    MTWorkerThread& operator=(const MTWorkerThread& other);
    ~MTWorkerThread() override;

    // Suspends the thread wherever it stands; nothing if already paused or without a thread.
    virtual void Pause();
    // Resumes a paused thread; nothing otherwise, so the suspend count never passes one.
    // A thread that marked itself paused but has not yet suspended itself is waited for, so
    // that the suspension it is about to make is the one undone.
    virtual void Resume();
    // Resumes a paused thread, then sets the stop event. Does not wait; may be repeated.
    virtual void Stop();

    void SetPriority(int priority);
    // 0 without a thread.
    int GetPriority();
    bool IsPaused() const;
    // A stop was requested; says nothing about whether the thread has ended.
    bool IsStopped();
    // Whether Stop was called on this object, without a kernel call: for a worker thread that
    // tests for a stop at every item of a long walk. The stop event is shared with copies, this
    // flag is not, so it is for owners that never copy their worker.
    bool IsStopRequested() const;
    // Appends the stop event; nothing (and no report) for a null pointer or a full collection.
    void AddStopEvent(MTWaitableCollection* collection) const;

protected:
    // Suspends the calling thread as Pause does; for a thread that pauses itself.
    void DoSuspend();

    enum State : int
    {
        NotStarted = 0,
        Running = 1,
        Paused = 2,
    };

    // Atomic: a thread that pauses itself writes it, the owner reads and writes it.
    std::atomic<int> m_state;
    unsigned long m_threadId;
    CMTThread* m_pThread;
    MTEvent m_evStop;
    // True from a self-suspending thread's marking of the pause until it runs again.
    std::atomic<bool> m_bSelfSuspending{false};
    // Set by Stop before the stop event.
    std::atomic<bool> m_bStopRequested{false};
};
