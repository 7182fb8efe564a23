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
    std::atomic<PausableWorkerThread*> worker{nullptr};
    MTEvent gate{true, true};       // the thread waits here before its first wait
    MTEvent sawPause{true, false};  // the thread has seen the pause event
    MTEvent mayPause{true, true};   // the thread waits here between seeing the pause event and DoPause
    MTEvent resumed{true, false};   // the thread came back from DoPause
    MTEvent ping{false, false};
    MTEvent pong{false, false};
    std::atomic<unsigned long> firstWait{0xDEADu};
    std::atomic<unsigned long> afterPause{0xDEADu};
    std::atomic<unsigned long> lastWait{0xDEADu};
    bool watchPause = true;

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

bool Pongs(Body& body, DWORD timeout)
{
    return weft::test::PingPong(body.ping, body.pong, timeout);
}
}  // namespace

TEST(PausableWorkerThreadTest, ThreadPausesItselfAndResumesWithThePauseCleared)
{
    Body body;
    PausableWorkerThread worker(Loop, &body);
    body.worker = &worker;
    ASSERT_TRUE(Pongs(body, MustHappenMs()));
    body.mayPause.Reset();
    worker.Pause();
    // Only the event changed: the thread has not paused yet.
    EXPECT_FALSE(worker.IsPaused());
    ASSERT_EQ(0u, body.sawPause.Wait(MustHappenMs()));
    EXPECT_FALSE(worker.IsPaused());
    body.mayPause.Set();
    ASSERT_TRUE(WaitUntil([&] { return worker.IsPaused(); }, MustHappenMs()));
    EXPECT_FALSE(Pongs(body, MustNotHappenMs())) << "a paused thread answered";
    worker.Resume();
    EXPECT_FALSE(worker.IsPaused());
    ASSERT_EQ(0u, body.resumed.Wait(MustHappenMs()));
    // Back from DoPause, the pause event is clear; the ping left pending is index 2.
    EXPECT_EQ(2u, body.afterPause.load());
    EXPECT_TRUE(Pongs(body, MustHappenMs()));
    worker.Stop();
    EXPECT_EQ(0u, worker.Wait(MustHappenMs()));
    EXPECT_EQ(0u, body.lastWait.load());
}

TEST(PausableWorkerThreadTest, ThreadThatDoesNotWatchThePauseEventNeverPauses)
{
    Body body;
    body.watchPause = false;
    PausableWorkerThread worker(Loop, &body);
    body.worker = &worker;
    worker.Pause();
    EXPECT_FALSE(worker.IsPaused());
    EXPECT_TRUE(Pongs(body, MustHappenMs()));
    worker.Stop();
    EXPECT_EQ(0u, worker.Wait(MustHappenMs()));
}

TEST(PausableWorkerThreadTest, StopAfterPauseBeforeDoPauseWinsTheWait)
{
    Body body;
    body.gate.Reset();
    PausableWorkerThread worker(Loop, &body);
    body.worker = &worker;
    worker.Pause();
    worker.Stop();
    EXPECT_TRUE(worker.IsStopped());
    body.gate.Set();
    ASSERT_EQ(0u, worker.Wait(MustHappenMs()));
    // Both events were set; the stop event has the lower index.
    EXPECT_EQ(0u, body.firstWait.load());
}

TEST(PausableWorkerThreadTest, ResumeBeforeDoPauseLeavesAPauseThatStopStillFrees)
{
    Body body;
    PausableWorkerThread worker(Loop, &body);
    body.worker = &worker;
    body.mayPause.Reset();
    worker.Pause();
    ASSERT_EQ(0u, body.sawPause.Wait(MustHappenMs()));
    // The thread saw the pause but has not paused: Resume finds nothing to resume.
    worker.Resume();
    EXPECT_FALSE(worker.IsPaused());
    body.mayPause.Set();
    ASSERT_TRUE(WaitUntil([&] { return worker.IsPaused(); }, MustHappenMs()));
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), body.resumed.Wait(MustNotHappenMs()));
    // Stop resumes the self-paused thread, which then sees the stop.
    worker.Stop();
    ASSERT_EQ(0u, worker.Wait(MustHappenMs()));
    // Back from DoPause the pause event is clear (index 1); the stop (index 0) may or may not be set yet.
    EXPECT_NE(1u, body.afterPause.load()) << "the pause event was still set";
    EXPECT_EQ(0u, body.lastWait.load());
}
