// The pause protocol of a worker that pauses itself.
#include "support/TestSupport.h"
#include "weftcore.h"

#include <gtest/gtest.h>

#include <atomic>

using weft::test::MustHappenMs;
using weft::test::MustNotHappenMs;
using weft::test::WaitUntil;

namespace
{
struct Body
{
    Body(bool watch, bool gateOpen) : gate(true, gateOpen), watchPause(watch) {}

    std::atomic<PausableWorkerThread*> worker{nullptr};
    MTEvent gate;                   // the thread waits here before its first wait
    MTEvent sawPause{true, false};  // the thread has seen the pause event
    MTEvent mayPause{true, true};   // the thread waits here between seeing the pause event and DoPause
    MTEvent resumed{true, false};   // the thread came back from DoPause
    MTEvent ping{false, false};
    MTEvent pong{false, false};
    std::atomic<unsigned long> firstWait{0xDEADu};
    std::atomic<unsigned long> afterPause{0xDEADu};
    std::atomic<unsigned long> lastWait{0xDEADu};
    const bool watchPause;

    PausableWorkerThread* Worker() { return weft::test::AwaitPointer(worker); }
};

// Waits on stop, pause (if watched) and ping; pauses itself where it holds nothing.
unsigned int Loop(void* param)
{
    Body* body = static_cast<Body*>(param);
    PausableWorkerThread* worker = body->Worker();
    MTWaitableCollection waits;
    worker->AddStopEvent(&waits);
    if (body->watchPause)
        worker->AddPauseEvent(&waits);
    waits.AddObject(body->ping);
    const long pingIndex = waits.GetCount() - 1;
    body->gate.Wait(INFINITE);
    bool first = true;
    for (;;)
    {
        const unsigned long result = waits.Wait(false, INFINITE);
        if (first)
            body->firstWait = result;
        first = false;
        body->lastWait = result;
        if (result == 0 || !MTKernel::DidWaitSucceed(result, waits.GetCount()))
            return 0;
        if (static_cast<long>(result) == pingIndex)
        {
            body->pong.Set();
            continue;
        }
        body->sawPause.Set();
        body->mayPause.Wait(INFINITE);
        worker->DoPause();
        body->afterPause = waits.Wait(false, 0);
        body->resumed.Set();
    }
}

// A body and its worker. Leaving the scope opens every gate, then stops and joins the thread,
// so a failed assertion reports instead of freeing what a live thread still uses.
struct Running
{
    Body body;
    PausableWorkerThread worker;

    explicit Running(bool watchPause = true, bool gateOpen = true) : body(watchPause, gateOpen), worker(Loop, &body)
    {
        body.worker = &worker;
    }
    ~Running()
    {
        body.gate.Set();
        body.mayPause.Set();
        weft::test::JoinWorker(worker);
    }
    bool Pongs(DWORD timeout) { return weft::test::PingPong(body.ping, body.pong, timeout); }
};
}  // namespace

TEST(PausableWorkerThreadTest, ThreadPausesItselfAndResumesWithThePauseCleared)
{
    Running run;
    ASSERT_TRUE(run.Pongs(MustHappenMs()));
    run.body.mayPause.Reset();
    run.worker.Pause();
    // Only the event changed: the thread has not paused yet.
    EXPECT_FALSE(run.worker.IsPaused());
    ASSERT_EQ(0u, run.body.sawPause.Wait(MustHappenMs()));
    EXPECT_FALSE(run.worker.IsPaused());
    run.body.mayPause.Set();
    ASSERT_TRUE(WaitUntil([&] { return run.worker.IsPaused(); }, MustHappenMs()));
    EXPECT_FALSE(run.Pongs(MustNotHappenMs())) << "a paused thread answered";
    run.worker.Resume();
    EXPECT_FALSE(run.worker.IsPaused());
    ASSERT_EQ(0u, run.body.resumed.Wait(MustHappenMs()));
    // Back from DoPause, the pause event is clear; the ping left pending is index 2.
    EXPECT_EQ(2u, run.body.afterPause.load());
    EXPECT_TRUE(run.Pongs(MustHappenMs()));
    run.worker.Stop();
    EXPECT_EQ(0u, run.worker.Wait(MustHappenMs()));
    EXPECT_EQ(0u, run.body.lastWait.load());
}

TEST(PausableWorkerThreadTest, ThreadThatDoesNotWatchThePauseEventNeverPauses)
{
    Running run(false);
    run.worker.Pause();
    EXPECT_FALSE(run.worker.IsPaused());
    EXPECT_TRUE(run.Pongs(MustHappenMs()));
}

TEST(PausableWorkerThreadTest, StopAfterPauseBeforeDoPauseWinsTheWait)
{
    Running run(true, false);
    run.worker.Pause();
    run.worker.Stop();
    EXPECT_TRUE(run.worker.IsStopped());
    run.body.gate.Set();
    ASSERT_EQ(0u, run.worker.Wait(MustHappenMs()));
    // Both events were set; the stop event has the lower index.
    EXPECT_EQ(0u, run.body.firstWait.load());
}

TEST(PausableWorkerThreadTest, ResumeBeforeDoPauseLeavesAPauseThatStopStillFrees)
{
    Running run;
    run.body.mayPause.Reset();
    run.worker.Pause();
    ASSERT_EQ(0u, run.body.sawPause.Wait(MustHappenMs()));
    // The thread saw the pause but has not paused: Resume finds nothing to resume.
    run.worker.Resume();
    EXPECT_FALSE(run.worker.IsPaused());
    run.body.mayPause.Set();
    ASSERT_TRUE(WaitUntil([&] { return run.worker.IsPaused(); }, MustHappenMs()));
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), run.body.resumed.Wait(MustNotHappenMs()));
    // Stop resumes the self-paused thread, which then sees the stop.
    run.worker.Stop();
    ASSERT_EQ(0u, run.worker.Wait(MustHappenMs()));
    // Back from DoPause the pause event is clear (index 1); the stop (index 0) may or may not be set yet.
    EXPECT_NE(1u, run.body.afterPause.load()) << "the pause event was still set";
    EXPECT_EQ(0u, run.body.lastWait.load());
}
