// A worker that pauses itself at a point of its own choosing. Pause only sets the pause event;
// the thread function, which waits on it (AddPauseEvent after AddStopEvent), calls DoPause
// where it holds nothing and is suspended there until Resume or Stop.
#pragma once

#include "frame/MTWorkerThread.h"

class WEFTCORE_API PausableWorkerThread : public MTWorkerThread
{
public:
    // Starts the thread with no flags, default security and stack; then creates the pause event,
    // whose failure stays in that event's own status. The thread function must not touch the
    // worker before its owner has stored the pointer, as with every worker.
    PausableWorkerThread(unsigned int (*threadFunc)(void*), void* param);
    PausableWorkerThread(const PausableWorkerThread&) = delete;
    PausableWorkerThread& operator=(const PausableWorkerThread&) = delete;
    ~PausableWorkerThread() override;

    // Sets the pause event and nothing else: IsPaused stays false until the thread calls DoPause.
    void Pause() override;
    // Clears the pause event, then resumes the thread if it has paused itself.
    void Resume() override;

    void AddPauseEvent(MTWaitableCollection* collection) const;
    // Called by the thread itself: marks the worker paused and suspends the calling thread.
    void DoPause();

private:
    MTEvent m_evPause;
};
