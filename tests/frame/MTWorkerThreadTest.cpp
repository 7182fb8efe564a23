// Worker threads: stop, pause and resume sequences, early return, failed starts, self-pausing workers.
#include "support/TestSupport.h"
#include "weftcore.h"

#include <gtest/gtest.h>

#include <atomic>

using namespace weft::test;

namespace
{
// A worker whose thread suspends itself, as a self-pausing worker does.
struct SelfSuspending : MTWorkerThread
{
    using MTWorkerThread::DoSuspend, MTWorkerThread::MTWorkerThread;
};

// What a test's thread function shares with the test.
struct Body
{
    std::atomic<MTWorkerThread*> worker{nullptr};
    MTEvent started{true, false}, ping{false, false}, pong{false, false};
    MTEvent sawPause{true, false};  // the thread has seen the pause event
    MTEvent mayPause{true, true};   // the thread waits here between seeing the pause event and DoPause
    MTEvent resumed{true, false};   // the thread came back from DoPause
    std::atomic<unsigned long> lastWait{0xDEADu}, afterPause{0xDEADu};
    // Sets ping and waits for pong: true if the thread answered within the time-out.
    bool PingPong(DWORD timeoutMs) { return pong.Reset(), ping.Set(), pong.Wait(timeoutMs) == WAIT_OBJECT_0; }
};

// Waits on the stop event, a pausable worker's pause event, and ping: answers each ping with a pong
// (a self-suspending worker suspends itself first), pauses itself on the pause event, else ends.
unsigned int Loop(void* param)
{
    Body* body = static_cast<Body*>(param);
    MTWaitableCollection waits;
    while (body->worker.load() == nullptr)  // stored once the constructor has returned
        Sleep(1);
    body->worker.load()->AddStopEvent(&waits);
    auto* const pausable = dynamic_cast<PausableWorkerThread*>(body->worker.load());
    auto* const selfSuspending = dynamic_cast<SelfSuspending*>(body->worker.load());
    if (pausable != nullptr)
        pausable->AddPauseEvent(&waits);
    waits.AddObject(body->ping);
    for (;;)
    {
        const unsigned long result = waits.Wait(false, INFINITE);
        body->lastWait = result;
        if (result == 0 || !MTKernel::DidWaitSucceed(result, waits.GetCount()))
            return 0;
        if (static_cast<long>(result) == waits.GetCount() - 1)
        {
            if (selfSuspending != nullptr)
                selfSuspending->DoSuspend();
            body->pong.Set();
            continue;
        }
        body->sawPause.Set();
        body->mayPause.Wait(INFINITE);
        pausable->DoPause();
        body->afterPause = waits.Wait(false, 0);
        body->resumed.Set();
    }
}

unsigned int ReturnAtOnce(void* param)
{
    static_cast<Body*>(param)->started.Set();
    return 7;
}

// A body and the worker on it; leaving the scope stops and joins the thread (terminated if it hangs).
template <class Worker = MTWorkerThread>
struct Running
{
    Body body;
    Worker worker;

    template <class... Flags>
    explicit Running(unsigned int (*threadFunc)(void*), Flags... flags) : worker(threadFunc, &body, flags...)
    {
        body.worker = &worker;
    }
    ~Running()
    {
        body.mayPause.Set(), worker.Stop();
        if (!worker.IsValidHandle() || worker.Wait(MustHappenMs()) == WAIT_OBJECT_0)
            return;
        ADD_FAILURE() << "the worker's thread did not end in time and was terminated";
        TerminateThread(worker.GetHandle(), 1);
        worker.Wait(INFINITE);
    }
};
}  // namespace

// Pauses do not stack: one resume undoes two. Stop of a paused worker resumes it first: the loop sees the
// stop (index 0) ahead of a pending ping, and the manual-reset stop event stays set after that wait.
TEST(MTWorkerThreadTest, PausesDoNotStackAndStopResumesAPausedWorkerFirst)
{
    Running<> run(Loop);
    auto& [body, worker] = run;
    worker.SetPriority(THREAD_PRIORITY_BELOW_NORMAL);
    EXPECT_EQ(THREAD_PRIORITY_BELOW_NORMAL, worker.GetPriority());
    ASSERT_TRUE(body.PingPong(MustHappenMs()));
    worker.Pause(), worker.Pause();
    EXPECT_TRUE(worker.IsPaused());
    EXPECT_FALSE(body.PingPong(MustNotHappenMs())) << "a paused thread answered";
    worker.Resume();
    EXPECT_FALSE(worker.IsPaused());
    ASSERT_EQ(0u, body.pong.Wait(MustHappenMs())) << "the suspend count went above one";
    worker.Pause(), body.ping.Set();
    worker.Stop();
    EXPECT_FALSE(worker.IsPaused());
    ASSERT_EQ(0u, worker.Wait(MustHappenMs()));
    EXPECT_TRUE(body.lastWait == 0 && worker.IsStopped()) << "the loop saw " << body.lastWait;
}

// Resume without a pause makes no ResumeThread call; an ended thread stays waitable. A thread that cannot
// be created (a descriptor of an unknown revision) leaves an inert worker that never runs the function.
TEST(MTWorkerThreadTest, ResumeDoesNotStartASuspendedStartAndTheEndedThreadStaysWaitable)
{
    Running<> run(ReturnAtOnce, CREATE_SUSPENDED);
    auto& [body, worker] = run;
    worker.Resume();
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), body.started.Wait(MustNotHappenMs()));
    EXPECT_EQ(1u, ResumeThread(worker.GetHandle()));
    ASSERT_EQ(0u, worker.Wait(MustHappenMs()));
    EXPECT_EQ(0u, worker.Wait(0));
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(worker.GetHandle(), &code) && code == 7) << code;

    unsigned char descriptor[64] = {9};
    SECURITY_ATTRIBUTES bad = {sizeof(SECURITY_ATTRIBUTES), descriptor, FALSE};
    Running<> failed(ReturnAtOnce, 0u, &bad);
    ASSERT_FALSE(failed.worker.IsValidHandle()) << "the thread started despite a bad security descriptor";
    EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_DATA), failed.worker.GetStatus());
    EXPECT_EQ(WAIT_FAILED, failed.worker.Wait(INFINITE));
    failed.worker.Pause(), failed.worker.SetPriority(THREAD_PRIORITY_HIGHEST);
    EXPECT_TRUE(!failed.worker.IsPaused() && failed.worker.GetPriority() == 0) << "the inert worker acted";
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), failed.body.started.Wait(0));
}

// A self-suspending thread marks itself paused a moment before it is suspended; a Resume landing in
// that moment must still free it. The moment is short, so the race runs many times (0.5 ms a round).
TEST(MTWorkerThreadTest, ResumeAsSoonAsASelfPauseShowsAlwaysFreesTheThread)
{
    Running<SelfSuspending> run(Loop);
    for (int round = 0; round < 4000; ++round)
    {
        run.body.pong.Reset(), run.body.ping.Set();
        const ULONGLONG deadline = GetTickCount64() + MustHappenMs();
        while (!run.worker.IsPaused() && GetTickCount64() < deadline)
            ;
        run.worker.Resume();
        ASSERT_EQ(0u, run.body.pong.Wait(MustHappenMs())) << "round " << round << ": the thread stayed suspended";
    }
}

// Pause only sets the event: the worker is paused once its thread pauses itself. Resume clears the
// event before it frees the thread, which then finds only the ping left pending (index 2).
TEST(PausableWorkerThreadTest, ThreadPausesItselfAndResumesWithThePauseCleared)
{
    Running<PausableWorkerThread> run(Loop);
    auto& [body, worker] = run;
    ASSERT_TRUE(body.PingPong(MustHappenMs()));
    body.mayPause.Reset();
    worker.Pause();
    ASSERT_EQ(0u, body.sawPause.Wait(MustHappenMs()));
    MTWaitableCollection pause;
    EXPECT_EQ(0u, (worker.AddPauseEvent(&pause), pause.Wait(false, 0))) << "the thread's wait took the pause";
    EXPECT_FALSE(worker.IsPaused());
    body.mayPause.Set();
    ASSERT_TRUE(WaitUntil([&] { return worker.IsPaused(); }, MustHappenMs()));
    EXPECT_FALSE(body.PingPong(MustNotHappenMs())) << "a paused thread answered";
    worker.Resume();
    EXPECT_FALSE(worker.IsPaused());
    ASSERT_EQ(0u, body.resumed.Wait(MustHappenMs()));
    EXPECT_EQ(2u, body.afterPause.load());
    EXPECT_TRUE(body.PingPong(MustHappenMs()));
}
