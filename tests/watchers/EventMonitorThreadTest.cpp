#include "weftcore.h"

#include "support/OwnerWindow.h"
#include "support/ThreadProbe.h"

#include <gtest/gtest.h>

#include <iterator>
#include <list>
#include <memory>
#include <thread>
#include <vector>

using weft::test::MustHappenMs;
using weft::test::MustNotHappenMs;
using weft::test::NotBefore;
using weft::test::OwnerWindow;
using weft::test::Scaled;
using weft::test::StopsByItself;

namespace
{
const UINT MonitorMsg = WM_APP + 23;
const unsigned __int64 MonitorWParam = 0xFEDCBA9876543210ull;
const __int64 MonitorLParam = -0x7654321ALL;
const unsigned long NoDelay = 0xFFFFFFFF;
const unsigned long LongDelay = 60000;  // never passes within a test

void ExpectMonitorMessage(const OwnerWindow::Message& m)
{
    EXPECT_EQ(m.msg, MonitorMsg);
    EXPECT_EQ(m.wParam, MonitorWParam);
    EXPECT_EQ(m.lParam, MonitorLParam);
}

// Signals a semaphore that the monitor watches and returns once the monitor's wait has taken
// a unit, so that the monitor has certainly seen a signal. Each retry is one more signal.
bool SignalUntilSeen(HANDLE semaphore)
{
    ReleaseSemaphore(semaphore, 1, nullptr);
    const double deadline = OwnerWindow::NowMs() + MustHappenMs();
    while (OwnerWindow::NowMs() < deadline)
    {
        if (WaitForSingleObject(semaphore, 0) == WAIT_TIMEOUT)
            return true;  // the count was 0: the monitor took the unit
        // We took it back ourselves: give it again and let the monitor run.
        ReleaseSemaphore(semaphore, 1, nullptr);
        SwitchToThread();
    }
    return false;
}
}  // namespace

class EventMonitorThreadTest : public ::testing::Test
{
protected:
    // Kernel handles closed at the end of the test, whatever its outcome.
    HANDLE Add(HANDLE h) { return handles.emplace_back(h, &CloseHandle).get(); }
    HANDLE Event(bool manualReset, bool set) { return Add(CreateEventA(nullptr, manualReset, set, nullptr)); }
    HANDLE Semaphore() { return Add(CreateSemaphoreA(nullptr, 0, 100, nullptr)); }
    // A monitor of the handle that notifies the owner with the test's message and parameters;
    // destroyed before the handles are closed.
    EventMonitorThread& Watch(HANDLE h, unsigned long delay, UINT msg = MonitorMsg)
    {
        return monitors.emplace_back(h, msg, owner.Handle(), delay, MonitorWParam, MonitorLParam);
    }

    OwnerWindow owner;
    std::vector<std::unique_ptr<void, BOOL(WINAPI*)(HANDLE)>> handles;
    std::list<EventMonitorThread> monitors;
};

// --- Signals and delays ---

TEST_F(EventMonitorThreadTest, EachSignalSendsOneMessageAfterTheDelaySetBeforeIt)
{
    // Without a delay the message goes at once; a delay of 0 sends at the next pass, after a
    // wait that times out at once. Each change is made while the monitor is idle: a message
    // proves that the pass which read the delay is over.
    HANDLE event = Event(false, true);  // signalled before the monitor starts: seen at its first wait
    EventMonitorThread& monitor = Watch(event, NoDelay);
    const unsigned long delays[] = {NoDelay, Scaled(200), 0, NoDelay};
    for (std::size_t i = 0; i < std::size(delays); ++i)
    {
        SCOPED_TRACE(::testing::Message() << "signal " << i << ", delay " << delays[i]);
        monitor.SetMsgDelay(delays[i]);
        EXPECT_EQ(monitor.GetMsgDelay(), delays[i]);
        const double signalled = i == 0 ? 0.0 : OwnerWindow::NowMs();
        if (i > 0)
            SetEvent(event);
        auto m = owner.Next();
        ASSERT_TRUE(m.has_value());
        ExpectMonitorMessage(*m);
        EXPECT_TRUE(NotBefore(m->atMs, signalled, delays[i] == NoDelay ? 0.0 : delays[i]));
        EXPECT_TRUE(owner.StaysAt(i + 1)) << "one signal gave more than one message";
    }
}

TEST_F(EventMonitorThreadTest, EachBurstWithDelaySendsOneMessageTimedFromItsLastSignal)
{
    HANDLE event = Event(false, false);
    const unsigned long delay = Scaled(250);
    const DWORD gap = Scaled(40);
    Watch(event, delay);
    // Two bursts, the second after the first one's message: the monitor goes back to idle and
    // settles afresh. Signals a gap apart for longer than the delay: were the delay counted from
    // the first signal, the message would come within the burst.
    for (std::size_t burst = 0; burst < 2; ++burst)
    {
        double lastSignal = 0;
        for (int i = 0; i < 10; ++i)
        {
            SetEvent(event);
            lastSignal = OwnerWindow::NowMs();
            ASSERT_TRUE(owner.StaysAt(burst, gap)) << "a message came within burst " << burst << ", after signal " << i;
        }
        auto m = owner.Next();
        ASSERT_TRUE(m.has_value());
        ExpectMonitorMessage(*m);
        EXPECT_TRUE(NotBefore(m->atMs, lastSignal, delay)) << "burst " << burst;
        EXPECT_TRUE(owner.StaysAt(burst + 1, MustNotHappenMs() + delay)) << "one burst gave more than one message";
    }
}

TEST_F(EventMonitorThreadTest, MsgDelayChangedWhileSettlingCountsFromTheNextSignal)
{
    // SetMsgDelay does not wake the thread: the settling wait keeps the length it began with,
    // and the next signal settles with the new delay. Two signals are seen before the change, so
    // the burst certainly began with the long delay; the third comes after it. (That the running
    // wait keeps its length is not tested: the moment the thread is back in its wait cannot be
    // seen from outside.)
    HANDLE semaphore = Semaphore();
    EventMonitorThread& monitor = Watch(semaphore, LongDelay);
    ASSERT_TRUE(SignalUntilSeen(semaphore));
    ASSERT_TRUE(SignalUntilSeen(semaphore));
    const unsigned long changed = Scaled(150);
    monitor.SetMsgDelay(changed);
    const double third = OwnerWindow::NowMs();
    ASSERT_TRUE(SignalUntilSeen(semaphore));
    auto m = owner.Next();
    ASSERT_TRUE(m.has_value()) << "the burst kept the delay it began with";
    ExpectMonitorMessage(*m);
    EXPECT_TRUE(NotBefore(m->atMs, third, changed));
    EXPECT_TRUE(owner.NothingWithin()) << "one burst gave more than one message";
}

TEST_F(EventMonitorThreadTest, ManualResetEventLeftSetWithoutDelaySendsOnEveryPassUntilReset)
{
    HANDLE event = Event(true, true);
    Watch(event, NoDelay);
    ASSERT_TRUE(owner.WaitForCount(50));
    ResetEvent(event);
    ASSERT_TRUE(owner.Flush());
    // One pass may have returned from its wait just before the reset.
    const std::size_t atReset = owner.Count();
    EXPECT_TRUE(owner.StaysAt(atReset + 1)) << "messages went on after the event was reset";
}

TEST_F(EventMonitorThreadTest, StopWhileAMessageIsOwedDropsIt)
{
    HANDLE semaphore = Semaphore();
    EventMonitorThread& monitor = Watch(semaphore, LongDelay);
    ASSERT_TRUE(SignalUntilSeen(semaphore));  // settling now, a message owed
    EXPECT_TRUE(StopsByItself(monitor));
    ASSERT_TRUE(owner.Flush());
    EXPECT_TRUE(owner.StaysAt(0)) << "the owed message was sent at the stop";
}

// --- Guard and failures ---

TEST_F(EventMonitorThreadTest, MessageZeroSendsNothingAndAStopWinsOverAHandleLeftSet)
{
    // The owner records message 0 (WM_NULL), so a send that slipped through the guard shows.
    // The event left set makes every wait return at once: only a stop event that goes first
    // ends the loop.
    HANDLE event = Event(true, true);
    EventMonitorThread& monitor = Watch(event, NoDelay, 0);
    EXPECT_TRUE(owner.StaysAt(0));
    EXPECT_TRUE(StopsByItself(monitor));
    ASSERT_TRUE(owner.Flush());
    EXPECT_EQ(owner.Count(), 0u);
}

TEST_F(EventMonitorThreadTest, InvalidHandleEndsTheThreadSilently)
{
    // All ones is no handle to the library, though a wait on it would wait for this process.
    weft::test::ThreadProbe probe;
    Watch(INVALID_HANDLE_VALUE, NoDelay);
    // The thread may be gone before the probe looks; if it is still listed, it must end.
    ASSERT_LE(probe.NewThreads().size(), 1u) << "cannot tell the monitor thread from other new threads";
    HANDLE thread = probe.OpenNewThread();
    if (thread != nullptr)
    {
        EXPECT_EQ(WaitForSingleObject(thread, MustHappenMs()), WAIT_OBJECT_0) << "the thread ran on without a Stop";
        CloseHandle(thread);
    }
    ASSERT_TRUE(owner.Flush());
    EXPECT_EQ(owner.Count(), 0u);
}

TEST_F(EventMonitorThreadTest, AbandonedMutexEndsTheThreadSilently)
{
    HANDLE mutex = Add(CreateMutexA(nullptr, FALSE, nullptr));
    HANDLE taken = Event(true, false);
    HANDLE monitorStarted = Event(true, false);
    // A thread takes the mutex and ends without releasing it once the monitor watches.
    std::thread holder([&] {
        WaitForSingleObject(mutex, INFINITE);
        SetEvent(taken);
        WaitForSingleObject(monitorStarted, MustHappenMs());
    });
    ASSERT_EQ(WaitForSingleObject(taken, MustHappenMs()), WAIT_OBJECT_0);
    weft::test::ThreadProbe probe;
    Watch(mutex, NoDelay);
    // The monitor cannot end before the mutex is abandoned, so it is there to be found.
    HANDLE thread = probe.OpenNewThread();
    SetEvent(monitorStarted);
    holder.join();
    ASSERT_NE(thread, nullptr) << "cannot tell the monitor thread from other new threads";
    // Only the monitor waits for the mutex: its wait takes it abandoned and the thread ends.
    EXPECT_EQ(WaitForSingleObject(thread, MustHappenMs()), WAIT_OBJECT_0) << "the thread ran on without a Stop";
    CloseHandle(thread);
    // It ended holding the mutex, which therefore comes to us abandoned once more.
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_ABANDONED_0);
    ReleaseMutex(mutex);
    ASSERT_TRUE(owner.Flush());
    EXPECT_EQ(owner.Count(), 0u) << "an abandoned handle was reported";
}
