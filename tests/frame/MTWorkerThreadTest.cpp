// Worker threads: stop, pause and resume sequences, early return, failed starts, and the pause
// protocol of a worker that pauses itself.
#include "support/TestSupport.h"
#include "weftcore.h"

#include <gtest/gtest.h>

#include <atomic>

using weft::test::MustHappenMs;
using weft::test::MustNotHappenMs;

namespace
{
// Sets ping and waits for pong: true if the thread answered within the time-out.
bool PingPong(MTEvent& ping, MTEvent& pong, DWORD timeoutMs)
{
    pong.Reset(), ping.Set();
    return pong.Wait(timeoutMs) == WAIT_OBJECT_0;
}

// A worker whose thread suspends itself, as a self-pausing worker does.
struct SelfSuspending : MTWorkerThread
{
    using MTWorkerThread::DoSuspend;
    using MTWorkerThread::MTWorkerThread;
};

// What a test's thread function shares with the test. The worker pointer is stored after the
// constructor returns, so the thread polls for it before touching the worker.
struct Body
{
    std::atomic<MTWorkerThread*> worker{nullptr};
    MTEvent started{true, false};
    MTEvent ping{false, false}, pong{false, false};
    MTEvent sawPause{true, false};  // the thread has seen the pause event
    MTEvent mayPause{true, true};   // the thread waits here between seeing the pause event and DoPause
    MTEvent resumed{true, false};   // the thread came back from DoPause
    std::atomic<unsigned long> lastWait{0xDEADu}, afterPause{0xDEADu};
};

// Waits on the stop event, a pausable worker's pause event, and ping: answers each ping with a
// pong (a self-suspending worker suspends itself first), pauses itself on the pause event, and
// ends on anything else.
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

// A body and the worker that runs on it. Leaving the scope opens the pause gate, stops and joins
// the thread first, so a failed assertion reports instead of freeing what a live thread still uses;
// a thread that does not end in time is reported and terminated.
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

// The priority is the thread's. Pauses do not stack: two are undone by one resume, and the ping
// left pending while paused is answered then. Stop of a paused worker resumes it first: the loop
// sees the stop (index 0) ahead of a ping left pending (index 1), and the manual-reset stop event
// stays set after that wait.
TEST(MTWorkerThreadTest, PausesDoNotStackAndStopResumesAPausedWorkerFirst)
{
    Running<> run(Loop);
    auto& [body, worker] = run;
    worker.SetPriority(THREAD_PRIORITY_BELOW_NORMAL);
    EXPECT_EQ(THREAD_PRIORITY_BELOW_NORMAL, worker.GetPriority());
    ASSERT_TRUE(PingPong(body.ping, body.pong, MustHappenMs()));
    worker.Pause(), worker.Pause();
    EXPECT_TRUE(worker.IsPaused());
    EXPECT_FALSE(PingPong(body.ping, body.pong, MustNotHappenMs())) << "a paused thread answered";
    worker.Resume();
    EXPECT_FALSE(worker.IsPaused());
    ASSERT_EQ(0u, body.pong.Wait(MustHappenMs())) << "the suspend count went above one";
    worker.Pause(), body.ping.Set();
    worker.Stop();
    EXPECT_FALSE(worker.IsPaused());
    ASSERT_EQ(0u, worker.Wait(MustHappenMs()));
    EXPECT_EQ(0u, body.lastWait.load());
    EXPECT_TRUE(worker.IsStopped());
}

// Resume without a pause makes no ResumeThread call, not even for a thread started suspended. The
// worker, not the thread, owns the thread object: once the thread has returned its handle stays
// waitable and gives the exit code.
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
    EXPECT_TRUE(GetExitCodeThread(worker.GetHandle(), &code));
    EXPECT_EQ(7u, code);
}

// A thread that cannot be created (a descriptor of an unknown revision) leaves an inert worker
// with status 13 that never runs the function.
TEST(MTWorkerThreadTest, WorkerWhoseThreadNeverStartedIsInert)
{
    Body body;
    unsigned char descriptor[64] = {9};
    SECURITY_ATTRIBUTES bad = {sizeof(SECURITY_ATTRIBUTES), descriptor, FALSE};
    MTWorkerThread worker(ReturnAtOnce, &body, 0, &bad, 0);
    ASSERT_FALSE(worker.IsValidHandle()) << "the thread started despite a bad security descriptor";
    EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_DATA), worker.GetStatus());
    EXPECT_EQ(WAIT_FAILED, worker.Wait(INFINITE));
    worker.Pause(), worker.SetPriority(THREAD_PRIORITY_HIGHEST);
    EXPECT_FALSE(worker.IsPaused());
    EXPECT_EQ(0, worker.GetPriority());
    worker.Stop();
    EXPECT_TRUE(worker.IsStopped());
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), body.started.Wait(0));
}

// A self-suspending thread marks itself paused a moment before it is suspended. A Resume that
// lands in that moment must still free it: the owner resumes as soon as IsPaused turns true.
// The moment is short, so the race is run many times (a round takes about half a millisecond).
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

// Pause only sets the event: the worker is paused once its thread pauses itself, not before.
// Resume clears the event before it frees the thread, which then finds only the ping left
// pending while paused (index 2), and answers again.
TEST(PausableWorkerThreadTest, ThreadPausesItselfAndResumesWithThePauseCleared)
{
    Running<PausableWorkerThread> run(Loop);
    auto& [body, worker] = run;
    ASSERT_TRUE(PingPong(body.ping, body.pong, MustHappenMs()));
    body.mayPause.Reset();
    worker.Pause();
    ASSERT_EQ(0u, body.sawPause.Wait(MustHappenMs()));
    EXPECT_FALSE(worker.IsPaused());
    body.mayPause.Set();
    ASSERT_TRUE(weft::test::WaitUntil([&] { return worker.IsPaused(); }, MustHappenMs()));
    EXPECT_FALSE(PingPong(body.ping, body.pong, MustNotHappenMs())) << "a paused thread answered";
    worker.Resume();
    EXPECT_FALSE(worker.IsPaused());
    ASSERT_EQ(0u, body.resumed.Wait(MustHappenMs()));
    EXPECT_EQ(2u, body.afterPause.load());
    EXPECT_TRUE(PingPong(body.ping, body.pong, MustHappenMs()));
}
