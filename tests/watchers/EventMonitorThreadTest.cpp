#include "weftcore.h"

#include "support/OwnerWindow.h"
#include "support/ThreadProbe.h"

#include <gtest/gtest.h>

#include <thread>

using weft::test::MustHappenMs;
using weft::test::MustNotHappenMs;
using weft::test::OwnerWindow;

namespace
{
const UINT MonitorMsg = WM_APP + 23;
const unsigned __int64 MonitorWParam = 0xFEDCBA9876543210ull;
const __int64 MonitorLParam = -0x7654321ALL;
const unsigned long NoDelay = 0xFFFFFFFF;
const unsigned long LongDelay = 60000;  // never passes within a test

::testing::AssertionResult NotBefore(double atMs, double fromMs, double ms)
{
    if (atMs - fromMs >= ms * 0.9)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "arrived " << atMs - fromMs << " ms after the reference, expected >= "
                                         << ms * 0.9;
}

void ExpectMonitorMessage(const OwnerWindow::Message& m)
{
    EXPECT_EQ(m.msg, MonitorMsg);
    EXPECT_EQ(m.wParam, MonitorWParam);
    EXPECT_EQ(m.lParam, MonitorLParam);
}

// A kernel handle closed at the end of the test, whatever its outcome.
struct Handle
{
    explicit Handle(HANDLE h) : h(h) {}
    ~Handle()
    {
        if (h != nullptr)
            CloseHandle(h);
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    HANDLE h;
};

// Signals a semaphore that the monitor watches and returns once the monitor's wait has taken
// a unit, so that the monitor has certainly seen a signal. Each retry is one more signal.
bool SignalUntilSeen(HANDLE semaphore)
{
    LONG previous = 0;
    ReleaseSemaphore(semaphore, 1, &previous);
    const double deadline = OwnerWindow::NowMs() + MustHappenMs();
    while (OwnerWindow::NowMs() < deadline)
    {
        if (WaitForSingleObject(semaphore, 0) == WAIT_TIMEOUT)
            return true;  // the count was 0: the monitor took the unit
        // We took it back ourselves: give it again and let the monitor run.
        ReleaseSemaphore(semaphore, 1, &previous);
        SwitchToThread();
    }
    return false;
}
}  // namespace

// --- Without a delay ---

TEST(EventMonitorThreadTest, WithoutDelayEachSignalSendsOneMessageAtOnce)
{
    OwnerWindow owner;
    Handle event(CreateEventA(nullptr, FALSE, FALSE, nullptr));
    EventMonitorThread monitor(event.h, MonitorMsg, owner.Handle(), NoDelay, MonitorWParam, MonitorLParam);
    for (int i = 0; i < 5; ++i)
    {
        const double signalled = OwnerWindow::NowMs();
        SetEvent(event.h);
        auto m = owner.Next();
        ASSERT_TRUE(m.has_value()) << "signal " << i;
        ExpectMonitorMessage(*m);
        EXPECT_GE(m->atMs, signalled);
    }
    EXPECT_TRUE(owner.NothingWithin());
    EXPECT_EQ(owner.Count(), 5u);
}

TEST(EventMonitorThreadTest, HandleSignalledBeforeTheFirstWaitIsSeenAtOnce)
{
    OwnerWindow owner;
    Handle event(CreateEventA(nullptr, FALSE, TRUE, nullptr));
    EventMonitorThread monitor(event.h, MonitorMsg, owner.Handle(), NoDelay, MonitorWParam, MonitorLParam);
    ASSERT_TRUE(owner.WaitForCount(1));
    EXPECT_TRUE(owner.StaysAt(1));
}

TEST(EventMonitorThreadTest, ManualResetEventLeftSetWithoutDelaySendsOnEveryPassUntilReset)
{
    OwnerWindow owner;
    Handle event(CreateEventA(nullptr, TRUE, TRUE, nullptr));
    EventMonitorThread monitor(event.h, MonitorMsg, owner.Handle(), NoDelay, MonitorWParam, MonitorLParam);
    ASSERT_TRUE(owner.WaitForCount(50));
    ResetEvent(event.h);
    ASSERT_TRUE(owner.Flush());
    // One pass may have returned from its wait just before the reset.
    const std::size_t atReset = owner.Count();
    EXPECT_TRUE(owner.StaysAt(atReset + 1)) << "messages went on after the event was reset";
    ExpectMonitorMessage(owner.Messages().back());
}

// --- With a delay ---

TEST(EventMonitorThreadTest, EachBurstWithDelaySendsOneMessageTimedFromItsLastSignal)
{
    OwnerWindow owner;
    Handle event(CreateEventA(nullptr, FALSE, FALSE, nullptr));
    const unsigned long delay = 250;
    EventMonitorThread monitor(event.h, MonitorMsg, owner.Handle(), delay, MonitorWParam, MonitorLParam);
    // Two bursts, the second after the first one's message: the monitor goes back to idle and
    // settles afresh. Signals 40 ms apart for longer than the delay: were the delay counted from
    // the first signal, the message would come within the burst.
    for (std::size_t burst = 0; burst < 2; ++burst)
    {
        double lastSignal = 0;
        for (int i = 0; i < 10; ++i)
        {
            SetEvent(event.h);
            lastSignal = OwnerWindow::NowMs();
            ASSERT_TRUE(owner.StaysAt(burst, 40)) << "a message came within burst " << burst << ", after signal " << i;
        }
        auto m = owner.Next();
        ASSERT_TRUE(m.has_value());
        ExpectMonitorMessage(*m);
        EXPECT_TRUE(NotBefore(m->atMs, lastSignal, delay)) << "burst " << burst;
        EXPECT_TRUE(owner.StaysAt(burst + 1, MustNotHappenMs() + delay)) << "one burst gave more than one message";
    }
}

TEST(EventMonitorThreadTest, ZeroDelaySendsAtTheNextPass)
{
    OwnerWindow owner;
    Handle event(CreateEventA(nullptr, FALSE, FALSE, nullptr));
    EventMonitorThread monitor(event.h, MonitorMsg, owner.Handle(), 0, MonitorWParam, MonitorLParam);
    SetEvent(event.h);
    ASSERT_TRUE(owner.WaitForCount(1));
    EXPECT_TRUE(owner.StaysAt(1));
    SetEvent(event.h);
    ASSERT_TRUE(owner.WaitForCount(2));
    EXPECT_TRUE(owner.StaysAt(2));
}

TEST(EventMonitorThreadTest, ManualResetEventLeftSetWithDelaySendsNothingUntilReset)
{
    OwnerWindow owner;
    Handle event(CreateEventA(nullptr, TRUE, TRUE, nullptr));
    const unsigned long delay = 100;
    EventMonitorThread monitor(event.h, MonitorMsg, owner.Handle(), delay, MonitorWParam, MonitorLParam);
    EXPECT_TRUE(owner.StaysAt(0, MustNotHappenMs() + delay)) << "the delay passed while the event stayed set";
    ResetEvent(event.h);
    const double reset = OwnerWindow::NowMs();
    auto m = owner.Next();
    ASSERT_TRUE(m.has_value());
    EXPECT_TRUE(NotBefore(m->atMs, reset, delay));
    EXPECT_TRUE(owner.StaysAt(1));
}

TEST(EventMonitorThreadTest, StopWhileAMessageIsOwedDropsIt)
{
    OwnerWindow owner;
    Handle semaphore(CreateSemaphoreA(nullptr, 0, 100, nullptr));
    EventMonitorThread monitor(semaphore.h, MonitorMsg, owner.Handle(), LongDelay, MonitorWParam, MonitorLParam);
    ASSERT_TRUE(SignalUntilSeen(semaphore.h));  // settling now, a message owed
    const double before = OwnerWindow::NowMs();
    monitor.Stop(MustHappenMs());
    EXPECT_LT(OwnerWindow::NowMs() - before, MustHappenMs() / 2.0) << "the thread did not end by itself";
    ASSERT_TRUE(owner.Flush());
    EXPECT_TRUE(owner.StaysAt(0)) << "the owed message was sent at the stop";
}

TEST(EventMonitorThreadTest, SetMsgDelayTakesEffectAtTheNextSignal)
{
    // Each change is made while the monitor is idle: a message proves that the pass which read
    // the delay is over. (A change during a settling wait is not tested: the moment the thread
    // is back in its wait after a signal cannot be seen from outside without a sleep.)
    OwnerWindow owner;
    Handle event(CreateEventA(nullptr, FALSE, FALSE, nullptr));
    EventMonitorThread monitor(event.h, MonitorMsg, owner.Handle(), NoDelay, MonitorWParam, MonitorLParam);
    SetEvent(event.h);
    ASSERT_TRUE(owner.Next().has_value());

    const unsigned long delay = 200;
    monitor.SetMsgDelay(delay);
    EXPECT_EQ(monitor.GetMsgDelay(), delay);
    SetEvent(event.h);
    const double signalled = OwnerWindow::NowMs();
    const auto settled = owner.Next();
    ASSERT_TRUE(settled.has_value());
    EXPECT_TRUE(NotBefore(settled->atMs, signalled, delay)) << "the new delay was not applied";

    monitor.SetMsgDelay(NoDelay);
    SetEvent(event.h);
    ASSERT_TRUE(owner.WaitForCount(3));
    EXPECT_TRUE(owner.StaysAt(3));
}

// --- Guards and failures ---

TEST(EventMonitorThreadTest, MessageZeroOrNullWindowSendsNothingAndTheThreadStillEnds)
{
    OwnerWindow owner;
    Handle event(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    EventMonitorThread noMessage(event.h, 0, owner.Handle(), NoDelay, MonitorWParam, MonitorLParam);
    EventMonitorThread noWindow(event.h, MonitorMsg, nullptr, NoDelay, MonitorWParam, MonitorLParam);
    SetEvent(event.h);  // left set: both loops pass over and over
    EXPECT_TRUE(owner.StaysAt(0));
    const double before = OwnerWindow::NowMs();
    noMessage.Stop(MustHappenMs());
    noWindow.Stop(MustHappenMs());
    EXPECT_LT(OwnerWindow::NowMs() - before, MustHappenMs() / 2.0) << "a thread did not end by itself";
    ASSERT_TRUE(owner.Flush());
    EXPECT_EQ(owner.Count(), 0u);
}

TEST(EventMonitorThreadTest, InvalidHandleEndsTheThreadSilently)
{
    OwnerWindow owner;
    for (HANDLE invalid : {static_cast<HANDLE>(nullptr), INVALID_HANDLE_VALUE})
    {
        weft::test::ThreadProbe probe;
        EventMonitorThread monitor(invalid, MonitorMsg, owner.Handle(), NoDelay, MonitorWParam, MonitorLParam);
        // The thread may be gone before the probe looks; if it is still listed, it must end.
        ASSERT_LE(probe.NewThreads().size(), 1u) << "cannot tell the monitor thread from other new threads";
        HANDLE thread = probe.OpenNewThread();
        if (thread != nullptr)
        {
            EXPECT_EQ(WaitForSingleObject(thread, MustHappenMs()), WAIT_OBJECT_0) << "the thread ran on without a Stop";
            CloseHandle(thread);
        }
    }
    ASSERT_TRUE(owner.Flush());
    EXPECT_EQ(owner.Count(), 0u);
}

TEST(EventMonitorThreadTest, AbandonedMutexEndsTheThreadSilently)
{
    OwnerWindow owner;
    Handle mutex(CreateMutexA(nullptr, FALSE, nullptr));
    Handle taken(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    Handle monitorStarted(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    // A thread takes the mutex and ends without releasing it once the monitor watches.
    std::thread holder([&] {
        WaitForSingleObject(mutex.h, INFINITE);
        SetEvent(taken.h);
        WaitForSingleObject(monitorStarted.h, MustHappenMs());
    });
    ASSERT_EQ(WaitForSingleObject(taken.h, MustHappenMs()), WAIT_OBJECT_0);
    weft::test::ThreadProbe probe;
    EventMonitorThread monitor(mutex.h, MonitorMsg, owner.Handle(), NoDelay, MonitorWParam, MonitorLParam);
    // The monitor cannot end before the mutex is abandoned, so it is there to be found.
    HANDLE thread = probe.OpenNewThread();
    SetEvent(monitorStarted.h);
    holder.join();
    ASSERT_NE(thread, nullptr) << "cannot tell the monitor thread from other new threads";
    // Only the monitor waits for the mutex: its wait takes it abandoned and the thread ends.
    EXPECT_EQ(WaitForSingleObject(thread, MustHappenMs()), WAIT_OBJECT_0) << "the thread ran on without a Stop";
    CloseHandle(thread);
    // It ended holding the mutex, which therefore comes to us abandoned once more.
    EXPECT_EQ(WaitForSingleObject(mutex.h, 0), WAIT_ABANDONED_0);
    ReleaseMutex(mutex.h);
    ASSERT_TRUE(owner.Flush());
    EXPECT_EQ(owner.Count(), 0u) << "an abandoned handle was reported";
}

// --- Pause, stop and the start race ---

TEST(EventMonitorThreadTest, PausedMonitorSendsNothingUntilResumed)
{
    OwnerWindow owner;
    Handle event(CreateEventA(nullptr, FALSE, FALSE, nullptr));
    EventMonitorThread monitor(event.h, MonitorMsg, owner.Handle(), NoDelay, MonitorWParam, MonitorLParam);
    monitor.Pause();
    EXPECT_TRUE(monitor.IsPaused());
    SetEvent(event.h);
    EXPECT_TRUE(owner.StaysAt(0)) << "a paused monitor sent";
    monitor.Resume();
    EXPECT_FALSE(monitor.IsPaused());
    ASSERT_TRUE(owner.WaitForCount(1));
    EXPECT_TRUE(owner.StaysAt(1));
}

TEST(EventMonitorThreadTest, StopEndsAPausedMonitorWithoutResume)
{
    OwnerWindow owner;
    Handle event(CreateEventA(nullptr, FALSE, FALSE, nullptr));
    EventMonitorThread monitor(event.h, MonitorMsg, owner.Handle(), NoDelay, MonitorWParam, MonitorLParam);
    monitor.Pause();
    const double before = OwnerWindow::NowMs();
    monitor.Stop(MustHappenMs());
    EXPECT_LT(OwnerWindow::NowMs() - before, MustHappenMs() / 2.0) << "Stop waited out its time-out";
    EXPECT_FALSE(monitor.IsPaused());
    monitor.Stop(0);  // a second stop comes straight back
    SetEvent(event.h);
    EXPECT_TRUE(owner.StaysAt(0)) << "a stopped monitor sent";
}

TEST(EventMonitorThreadTest, MonitorDestroyedRightAfterConstructionEndsAndSendsNothing)
{
    OwnerWindow owner;
    Handle event(CreateEventA(nullptr, TRUE, TRUE, nullptr));
    for (int i = 0; i < 25; ++i)
    {
        // A delay that never passes: the event left set keeps the thread settling.
        EventMonitorThread monitor(event.h, MonitorMsg, owner.Handle(), LongDelay, MonitorWParam, MonitorLParam);
    }
    ASSERT_TRUE(owner.Flush());
    EXPECT_EQ(owner.Count(), 0u);
}
