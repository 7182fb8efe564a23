// Tour: a worker thread started, paused, resumed and stopped.
#include "TourSteps.h"

#include "weftcore.h"

namespace
{
struct Ticker
{
    MTWorkerThread* worker = nullptr;
    MTEvent stored{true, false};  // set by the owner once worker is stored
    MTEvent tick{false, false};   // set by the worker on every pass
    volatile long passes = 0;
};

unsigned int TickerFunc(void* param)
{
    Ticker* self = static_cast<Ticker*>(param);
    if (self->stored.Wait(5000) != WAIT_OBJECT_0)  // the owner stores the pointer after the constructor returns
        return 1;
    MTWaitableCollection waits;
    self->worker->AddStopEvent(&waits);
    // Index 0 is the stop event; a time-out is a pass of work.
    while (waits.Wait(false, 20) == WAIT_TIMEOUT)
    {
        InterlockedIncrement(&self->passes);
        self->tick.Set();
    }
    return 0;
}
}  // namespace

WEFT_TOUR_STEP(WorkerTour, 10, "Worker thread: start, pause, resume, stop")
{
    using weft::tour::Say;
    Ticker ticker;
    MTWorkerThread worker(TickerFunc, &ticker);
    ticker.worker = &worker;
    ticker.stored.Set();
    Say("started: status %lu, handle valid %s", worker.GetStatus(), worker.IsValidHandle() ? "yes" : "no");

    for (int i = 0; i < 3; ++i)
        ticker.tick.Wait(2000);
    Say("running: %ld passes so far", ticker.passes);

    worker.Pause();
    long atPause = ticker.passes;
    Say("paused: IsPaused %s; thread wait gives %lu (258 = still running)", worker.IsPaused() ? "true" : "false",
        worker.Wait(100));
    Say("while paused: %ld passes more", ticker.passes - atPause);

    worker.Resume();
    ticker.tick.Reset();
    Say("resumed: next pass %s", ticker.tick.Wait(2000) == WAIT_OBJECT_0 ? "came" : "did not come");

    worker.Pause();
    worker.Stop();
    Say("stopped while paused: IsStopped %s, IsPaused %s", worker.IsStopped() ? "true" : "false",
        worker.IsPaused() ? "true" : "false");
    Say("thread ended: wait gives %lu (0 = ended), after %ld passes", worker.Wait(5000), ticker.passes);
}
