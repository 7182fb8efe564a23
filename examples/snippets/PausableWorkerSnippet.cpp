// Pausable worker: the thread pauses itself where it holds nothing. Pause only sets the pause
// event; the thread sees it in its wait and calls DoPause, which suspends it until Resume.
#include "weftcore.h"

#include <cstdio>

namespace
{
struct Job
{
    PausableWorkerThread* volatile worker = nullptr;
    volatile long passes = 0;
};

unsigned int JobThread(void* param)
{
    Job* job = static_cast<Job*>(param);
    while (job->worker == nullptr)
        Sleep(5);
    MTWaitableCollection waits;
    job->worker->AddStopEvent(&waits);   // index 0: a stop wins
    job->worker->AddPauseEvent(&waits);  // index 1
    for (;;)
    {
        switch (waits.Wait(false, 10))
        {
        case WAIT_TIMEOUT:
            InterlockedIncrement(&job->passes);  // a pass of work
            break;
        case WAIT_OBJECT_0 + 1:
            job->worker->DoPause();              // back here after Resume (or Stop)
            break;
        default:
            return 0;                            // the stop, or a failed wait
        }
    }
}
}  // namespace

int main()
{
    Job job;
    PausableWorkerThread worker(JobThread, &job);
    job.worker = &worker;

    Sleep(50);
    worker.Pause();
    while (!worker.IsPaused())  // true once the thread has called DoPause
        Sleep(1);
    std::printf("paused itself after %ld passes\n", job.passes);
    worker.Resume();

    worker.Stop();  // resumes a paused thread first
    const bool ended = worker.Wait(5000) == WAIT_OBJECT_0;
    std::printf("stopped: %s\n", ended ? "ended" : "still running");
    return ended ? 0 : 1;
}
