#include "weftcore.h"

#include "support/OwnerWindow.h"
#include "support/ThreadProbe.h"

#include <list>
#include <memory>
#include <thread>
#include <vector>

using namespace weft::test;

namespace
{
const UINT MonitorMsg = WM_APP + 23;
const unsigned __int64 MonitorWParam = 0xFEDCBA9876543210ull;
const __int64 MonitorLParam = -0x7654321ALL;
const unsigned long NoDelay = 0xFFFFFFFF;
const unsigned long LongDelay = 60000;  // never passes within a test

// Signals a semaphore that the monitor watches and returns once the monitor's wait has taken
// a unit, so that the monitor has certainly seen a signal. Each retry is one more signal.
bool SignalUntilSeen(HANDLE semaphore)
{
    for (const double deadline = OwnerWindow::NowMs() + MustHappenMs(); OwnerWindow::NowMs() < deadline;)
    {
        ReleaseSemaphore(semaphore, 1, nullptr);
        SwitchToThread();
        if (WaitForSingleObject(semaphore, 0) == WAIT_TIMEOUT)
            return true;  // the count was 0: the monitor took the unit, not we
    }
    return false;
}
}  // namespace

class EventMonitorThreadTest : public ::testing::Test
{
protected:
    // Kernel handles closed at the end of the test, after the monitors have gone.
    HANDLE Add(HANDLE h) { return handles.emplace_back(h, &CloseHandle).get(); }
    HANDLE Semaphore(LONG count = 0) { return Add(CreateSemaphoreA(nullptr, count, 100, nullptr)); }
    EventMonitorThread& Watch(HANDLE h, unsigned long delay, UINT msg = MonitorMsg)
    {
        return monitors.emplace_back(h, msg, owner.Handle(), delay, MonitorWParam, MonitorLParam);
    }
    // The next message, with the test's parameters, no earlier than ms after fromMs.
    void ExpectNextMessage(double fromMs, double ms)
    {
        auto m = owner.Next();
        ASSERT_TRUE(m.has_value());
        EXPECT_TRUE(m->msg == MonitorMsg && m->wParam == MonitorWParam && m->lParam == MonitorLParam);
        EXPECT_TRUE(NotBefore(m->atMs, fromMs, ms));
    }

    OwnerWindow owner;
    std::vector<std::unique_ptr<void, BOOL(WINAPI*)(HANDLE)>> handles;
    std::list<EventMonitorThread> monitors;
};

// Without a delay a signal is told at once, also one made before the monitor started. With a
// delay, each burst of signals a gap apart for longer than the delay is told once, a delay after
// its last signal; each burst comes after the last one's message, when the monitor settles afresh.
// SetMsgDelay does not wake the thread: a change while settling counts from the next signal.
TEST_F(EventMonitorThreadTest, EachSignalOrBurstSendsOneMessageADelayAfterItsLastSignal)
{
    HANDLE semaphore = Semaphore(1);
    EventMonitorThread& monitor = Watch(semaphore, NoDelay);
    ASSERT_NO_FATAL_FAILURE(ExpectNextMessage(0, 0));
    const unsigned long delay = Scaled(250);
    monitor.SetMsgDelay(delay);
    for (std::size_t burst = 1; burst <= 2; ++burst)
    {
        double lastSignal = 0;
        for (int i = 0; i < 10; ++i)
        {
            lastSignal = OwnerWindow::NowMs();
            ReleaseSemaphore(semaphore, 1, nullptr);
            ASSERT_TRUE(owner.StaysAt(burst, Scaled(40))) << "a message came within burst " << burst << ", signal " << i;
        }
        ASSERT_NO_FATAL_FAILURE(ExpectNextMessage(lastSignal, delay));
        EXPECT_TRUE(owner.StaysAt(burst + 1, MustNotHappenMs() + delay)) << "one burst gave more than one message";
    }
    // Two signals seen before the change: the burst certainly began with the long delay.
    monitor.SetMsgDelay(LongDelay);
    ASSERT_TRUE(SignalUntilSeen(semaphore) && SignalUntilSeen(semaphore));
    monitor.SetMsgDelay(delay);
    const double third = OwnerWindow::NowMs();
    ASSERT_TRUE(SignalUntilSeen(semaphore));
    ASSERT_NO_FATAL_FAILURE(ExpectNextMessage(third, delay));
    EXPECT_TRUE(owner.NothingWithin()) << "one burst gave more than one message";
}

// The monitor only waits on the handle, so a manual-reset event left set is told on every pass.
// A stop ends the thread at once all the same, and drops a message owed. Message 0 is never sent
// (the owner records WM_NULL, so one that slipped through the guard shows).
TEST_F(EventMonitorThreadTest, StopEndsTheMonitorAtOnceEvenOnAnEventLeftSetAndDropsAnOwedMessage)
{
    HANDLE semaphore = Semaphore(), event = Add(CreateEventA(nullptr, TRUE, TRUE, nullptr));
    Watch(semaphore, LongDelay, MonitorMsg + 1);
    ASSERT_TRUE(SignalUntilSeen(semaphore));  // settling now, a message owed
    Watch(event, NoDelay);
    Watch(event, NoDelay, 0);
    ASSERT_TRUE(owner.WaitForCount(50)) << "the event left set was not told on every pass";
    for (auto& monitor : monitors)
        EXPECT_TRUE(StopsByItself(monitor));
    ASSERT_TRUE(owner.Flush());
    for (const auto& m : owner.Messages())
        ASSERT_EQ(m.msg, MonitorMsg) << "message 0 was sent, or the owed message at the stop";
}

// All ones is no handle to the library, though a wait on it would wait for this process; a mutex
// whose owner ended comes to the wait abandoned. Either ends the thread silently, without a Stop.
TEST_F(EventMonitorThreadTest, InvalidOrAbandonedHandleEndsTheThreadSilently)
{
    HANDLE mutex = Add(CreateMutexA(nullptr, FALSE, nullptr));
    std::thread([&] { WaitForSingleObject(mutex, INFINITE); }).join();
    for (HANDLE watched : {INVALID_HANDLE_VALUE, mutex})
    {
        ThreadProbe probe;
        Watch(watched, NoDelay);
        // The thread may be gone before the probe looks; if it is still listed, it must end.
        ASSERT_LE(probe.NewThreads().size(), 1u) << "cannot tell the monitor thread from other new threads";
        if (HANDLE thread = probe.OpenNewThread())
        {
            EXPECT_EQ(WaitForSingleObject(thread, MustHappenMs()), WAIT_OBJECT_0) << "the thread ran on";
            CloseHandle(thread);
        }
    }
    // The monitor ended holding the mutex, which therefore comes to us abandoned once more.
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_ABANDONED_0);
    ReleaseMutex(mutex);
    ASSERT_TRUE(owner.Flush());
    EXPECT_EQ(owner.Count(), 0u);
}
