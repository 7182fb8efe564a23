// Worker threads: stop, pause and resume sequences, early return, failed starts, and handles.
#include "support/TestSupport.h"
#include "weftcore.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

using weft::test::MustHappenMs;
using weft::test::MustNotHappenMs;

namespace
{
// What a test's thread function shares with the test. The worker pointer is stored after the
// constructor returns, so the thread polls for it before touching the worker.
struct Body
{
    std::atomic<MTWorkerThread*> worker{nullptr};
    MTEvent started{true, false};
    MTEvent ping{false, false};
    MTEvent pong{false, false};
    MTEvent release{true, false};
    std::atomic<unsigned long> lastWait{0xDEADu};

    MTWorkerThread* Worker() { return weft::test::AwaitPointer(worker); }
};

// Answers each ping with a pong until stopped.
unsigned int PingLoop(void* param)
{
    Body* body = static_cast<Body*>(param);
    MTWaitableCollection waits;
    body->Worker()->AddStopEvent(&waits);
    waits.AddObject(body->ping);
    body->started.Set();
    for (;;)
    {
        const unsigned long result = waits.Wait(false, INFINITE);
        body->lastWait = result;
        if (result != 1)
            return 0;
        body->pong.Set();
    }
}

// Ignores the stop event; ends when released.
unsigned int WaitForRelease(void* param)
{
    Body* body = static_cast<Body*>(param);
    body->started.Set();
    body->release.Wait(INFINITE);
    return 0;
}

unsigned int ReturnAtOnce(void* param)
{
    static_cast<Body*>(param)->started.Set();
    return 7;
}

bool Pongs(Body& body, DWORD timeout)
{
    return weft::test::PingPong(body.ping, body.pong, timeout);
}

// A body and the worker that runs on it. Leaving the scope releases, stops and joins the thread
// first, so a failed assertion reports instead of freeing what a live thread still uses.
template <class Worker = MTWorkerThread>
struct Running
{
    Body body;
    Worker worker;

    explicit Running(unsigned int (*threadFunc)(void*), unsigned int flags = 0) : worker(threadFunc, &body, flags)
    {
        body.worker = &worker;
    }
    ~Running()
    {
        body.release.Set();
        weft::test::JoinWorker(worker);
    }
};

// A worker whose thread suspends itself, as a self-pausing worker does.
struct SelfSuspending : MTWorkerThread
{
    using MTWorkerThread::DoSuspend;
    using MTWorkerThread::MTWorkerThread;
};

// Each ping: suspend itself, then answer with a pong once resumed.
unsigned int SuspendOnPing(void* param)
{
    Body* body = static_cast<Body*>(param);
    auto* worker = static_cast<SelfSuspending*>(body->Worker());
    MTWaitableCollection waits;
    worker->AddStopEvent(&waits);
    waits.AddObject(body->ping);
    while (waits.Wait(false, INFINITE) == 1)
    {
        worker->DoSuspend();
        body->pong.Set();
    }
    return 0;
}
}  // namespace

TEST(MTWorkerThreadTest, StopIsSeenAtOnceEvenByAThreadThatIgnoresIt)
{
    Running<> run(WaitForRelease);
    auto& [body, worker] = run;
    ASSERT_EQ(0u, body.started.Wait(MustHappenMs()));
    EXPECT_FALSE(worker.IsStopped());
    worker.Stop();
    EXPECT_TRUE(worker.IsStopped());
    worker.Stop();
    EXPECT_TRUE(worker.IsStopped());
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), worker.Wait(0));
    body.release.Set();
    EXPECT_EQ(0u, worker.Wait(MustHappenMs()));
    EXPECT_TRUE(worker.IsStopped());
}

TEST(MTWorkerThreadTest, StopEndsALoopThatWaitsOnTheStopEvent)
{
    Running<> run(PingLoop);
    auto& [body, worker] = run;
    EXPECT_EQ(0u, worker.GetStatus());
    ASSERT_TRUE(Pongs(body, MustHappenMs()));
    worker.Stop();
    ASSERT_EQ(0u, worker.Wait(MustHappenMs()));
    EXPECT_EQ(0u, body.lastWait.load());
}

TEST(MTWorkerThreadTest, StopOfAPausedWorkerResumesItFirst)
{
    Running<> run(PingLoop);
    auto& [body, worker] = run;
    ASSERT_TRUE(Pongs(body, MustHappenMs()));
    worker.Pause();
    EXPECT_TRUE(worker.IsPaused());
    EXPECT_FALSE(Pongs(body, MustNotHappenMs())) << "a paused thread answered";
    worker.Stop();
    EXPECT_FALSE(worker.IsPaused());
    ASSERT_EQ(0u, worker.Wait(MustHappenMs()));
    // The ping left pending while paused has index 1; the stop event at index 0 won.
    EXPECT_EQ(0u, body.lastWait.load());
}

TEST(MTWorkerThreadTest, TwoPausesAndOneResumeLeaveItRunning)
{
    Running<> run(PingLoop);
    auto& [body, worker] = run;
    ASSERT_TRUE(Pongs(body, MustHappenMs()));
    worker.Pause();
    worker.Pause();
    EXPECT_TRUE(worker.IsPaused());
    worker.Resume();
    EXPECT_FALSE(worker.IsPaused());
    EXPECT_TRUE(Pongs(body, MustHappenMs())) << "the suspend count went above one";
    worker.Resume();  // without a pause: nothing
    EXPECT_TRUE(Pongs(body, MustHappenMs()));
    worker.Stop();
    EXPECT_EQ(0u, worker.Wait(MustHappenMs()));
}

TEST(MTWorkerThreadTest, ResumeDoesNotStartASuspendedStart)
{
    Running<> run(ReturnAtOnce, CREATE_SUSPENDED);
    auto& [body, worker] = run;
    ASSERT_TRUE(worker.IsValidHandle());
    EXPECT_FALSE(worker.IsPaused());
    worker.Resume();
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), body.started.Wait(MustNotHappenMs()));
    // Still suspended once: Resume made no ResumeThread call.
    EXPECT_EQ(1u, ResumeThread(worker.GetHandle()));
    EXPECT_EQ(0u, body.started.Wait(MustHappenMs()));
    EXPECT_EQ(0u, worker.Wait(MustHappenMs()));
}

TEST(MTWorkerThreadTest, ThreadThatReturnsBeforeThePointerIsStoredStaysWaitable)
{
    Body body;
    auto worker = std::make_unique<MTWorkerThread>(ReturnAtOnce, &body);
    ASSERT_EQ(0u, body.started.Wait(MustHappenMs()));
    ASSERT_EQ(0u, worker->Wait(MustHappenMs()));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(0u, worker->Wait(0));
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(worker->GetHandle(), &code));
    EXPECT_EQ(7u, code);
    // Ended threads keep their state: Pause marks it paused but suspends nothing live.
    worker->Stop();
    EXPECT_TRUE(worker->IsStopped());
}

TEST(MTWorkerThreadTest, PriorityReachesTheThread)
{
    Running<> run(PingLoop);
    auto& [body, worker] = run;
    worker.SetPriority(THREAD_PRIORITY_BELOW_NORMAL);
    EXPECT_EQ(THREAD_PRIORITY_BELOW_NORMAL, worker.GetPriority());
    EXPECT_EQ(THREAD_PRIORITY_BELOW_NORMAL, GetThreadPriority(worker.GetHandle()));
    worker.Stop();
    EXPECT_EQ(0u, worker.Wait(MustHappenMs()));
}

TEST(MTWorkerThreadTest, AddStopEventIgnoresNullAndFullCollections)
{
    Running<> run(ReturnAtOnce);
    auto& [body, worker] = run;
    worker.AddStopEvent(nullptr);
    MTWaitableCollection full;
    for (int i = 0; i < 64; ++i)
        full.AddObject(body.started);
    worker.AddStopEvent(&full);
    EXPECT_EQ(64, full.GetCount());
    MTWaitableCollection one;
    worker.AddStopEvent(&one);
    EXPECT_EQ(1, one.GetCount());
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), one.Wait(false, 0));
    worker.Stop();
    EXPECT_EQ(0u, one.Wait(false, 0));
    // Manual-reset: it stays set.
    EXPECT_EQ(0u, one.Wait(false, 0));
    EXPECT_EQ(0u, worker.Wait(MustHappenMs()));
}

namespace
{
// Security attributes whose descriptor has an unknown revision: the thread's creation fails.
struct BadSecurity
{
    unsigned char descriptor[64] = {9};
    SECURITY_ATTRIBUTES attributes = {sizeof(SECURITY_ATTRIBUTES), descriptor, FALSE};
};
}  // namespace

TEST(MTWorkerThreadTest, WorkerWhoseThreadNeverStartedIsInert)
{
    Body body;
    BadSecurity bad;
    MTWorkerThread worker(ReturnAtOnce, &body, 0, &bad.attributes, 0);
    ASSERT_FALSE(worker.IsValidHandle()) << "the thread started despite a bad security descriptor";
    EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_DATA), worker.GetStatus());
    EXPECT_EQ(nullptr, worker.GetHandle());
    EXPECT_EQ(WAIT_FAILED, worker.Wait(INFINITE));
    EXPECT_EQ(0, worker.GetPriority());
    worker.SetPriority(THREAD_PRIORITY_HIGHEST);
    worker.Pause();
    EXPECT_FALSE(worker.IsPaused());
    worker.Resume();
    EXPECT_FALSE(worker.IsStopped());
    worker.Stop();
    EXPECT_TRUE(worker.IsStopped());
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), body.started.Wait(0));
}

TEST(MTWorkerThreadTest, WorkersLeaveNoHandlesBehind)
{
    const DWORD before = weft::test::HandleCount();
    for (int i = 0; i < 20; ++i)
    {
        Running<> run(PingLoop);
        run.worker.Pause();
        run.worker.Stop();
        ASSERT_EQ(0u, run.worker.Wait(MustHappenMs()));
    }
    {
        Body body;
        BadSecurity bad;
        MTWorkerThread failed(ReturnAtOnce, &body, 0, &bad.attributes, 0);
    }
    EXPECT_EQ(before, weft::test::HandleCount());
}

// A self-suspending thread marks itself paused a moment before it is suspended. A Resume that
// lands in that moment must still free it: the owner resumes as soon as IsPaused turns true.
TEST(MTWorkerThreadTest, ResumeAsSoonAsASelfPauseShowsAlwaysFreesTheThread)
{
    Running<SelfSuspending> run(SuspendOnPing);
    for (int round = 0; round < 200; ++round)
    {
        run.body.pong.Reset();
        run.body.ping.Set();
        const ULONGLONG deadline = GetTickCount64() + MustHappenMs();
        while (!run.worker.IsPaused() && GetTickCount64() < deadline)
            ;
        run.worker.Resume();
        ASSERT_EQ(0u, run.body.pong.Wait(MustHappenMs())) << "round " << round << ": the thread stayed suspended";
    }
}
