// Worker thread: a thread function that waits on its stop event, started, paused, resumed and
// stopped by its owner, who then waits for the thread to end.
#include "weftcore.h"

#include <cstdio>

namespace
{
struct Job
{
    MTWorkerThread* volatile worker = nullptr;  // stored by the owner after the constructor
    volatile long passes = 0;
};

unsigned int JobThread(void* param)
{
    Job* job = static_cast<Job*>(param);
    while (job->worker == nullptr)  // the thread may run before the constructor has returned
        Sleep(5);
    MTWaitableCollection waits;
    job->worker->AddStopEvent(&waits);  // index 0
    while (waits.Wait(false, 10) == WAIT_TIMEOUT)
        InterlockedIncrement(&job->passes);  // a pass of work every 10 ms until the stop
    return 0;
}
}  // namespace

int main()
{
    Job job;
    MTWorkerThread worker(JobThread, &job);
    job.worker = &worker;
    if (!worker.IsValidHandle())
        return 1;  // GetStatus() tells why

    Sleep(50);
    worker.Pause();   // suspended wherever it stands
    std::printf("paused after %ld passes\n", job.passes);
    worker.Resume();

    worker.Stop();    // sets the stop event; does not wait
    const unsigned long ended = worker.Wait(5000);  // the thread handle: signalled once it returned
    std::printf("stopped: %s after %ld passes\n", ended == WAIT_OBJECT_0 ? "ended" : "still running", job.passes);
    return ended == WAIT_OBJECT_0 ? 0 : 1;  // destroy the worker only once its thread has ended
}
