#include "support/OwnerWindow.h"

using namespace weft::test;

class EventMonitorThreadTest : public ::testing::Test
{
protected:
    static constexpr unsigned long NoDelay = 0xFFFFFFFF, LongDelay = 60000;  // the latter never passes in a test
    static bool SignalUntilSeen(HANDLE s)  // until the monitor's wait took a unit: we find the count 0
    {
        const auto ours = [&] { return ReleaseSemaphore(s, 1, nullptr), SwitchToThread(), WaitForSingleObject(s, 0); };
        return WaitUntil([&] { return ours() == WAIT_TIMEOUT; }, MustHappenMs());
    }
    HANDLE Add(HANDLE h) { return handles.emplace_back(h, &CloseHandle).get(); }  // closed after the monitors
    EventMonitorThread& Watch(HANDLE h, unsigned long delay, UINT msg = WatchMsg)
    { return monitors.emplace_back(h, msg, owner.Handle(), delay, WatchWParam, WatchLParam); }
    bool NextMessage(double fromMs, double ms)  // with the test's parameters, ms after fromMs or later
    {
        const auto m = owner.Next();
        return m && m->msg == WatchMsg && m->wParam == WatchWParam && m->lParam == WatchLParam &&
               NotBefore(m->atMs, fromMs, ms);
    }

    OwnerWindow owner;
    std::vector<std::unique_ptr<void, BOOL(WINAPI*)(HANDLE)>> handles;
    std::list<EventMonitorThread> monitors;
    void TearDown() override { std::ranges::for_each(monitors, [](auto& m) { EXPECT_TRUE(StopsByItself(m)); }); }
};

// A signal is told at once, or each burst once a delay after its last signal; SetMsgDelay waits for a signal.
TEST_F(EventMonitorThreadTest, EachSignalOrBurstSendsOneMessageADelayAfterItsLastSignal)
{
    HANDLE semaphore = Add(CreateSemaphoreA(nullptr, 1, 100, nullptr));  // signalled before the monitor starts
    EventMonitorThread& monitor = Watch(semaphore, NoDelay);
    ASSERT_TRUE(NextMessage(0, 0));
    const unsigned long delay = Scaled(250);
    monitor.SetMsgDelay(delay);
    for (std::size_t burst = 1; burst <= 2; ++burst)  // each settles afresh after the last one's message
    {
        double lastSignal = 0;
        for (int i = 0; i < 10; ++i)
            ASSERT_TRUE((lastSignal = OwnerWindow::NowMs(), ReleaseSemaphore(semaphore, 1, nullptr),
                         owner.StaysAt(burst, Scaled(40))))
                << "a message came within burst " << burst << ", signal " << i;
        ASSERT_TRUE(NextMessage(lastSignal, delay));
        EXPECT_TRUE(owner.StaysAt(burst + 1, MustNotHappenMs() + delay)) << "one burst gave more than one message";
    }
    monitor.SetMsgDelay(LongDelay);
    ASSERT_TRUE(SignalUntilSeen(semaphore) && SignalUntilSeen(semaphore));  // the burst began with the long delay
    monitor.SetMsgDelay(delay);
    const double third = OwnerWindow::NowMs();
    ASSERT_TRUE(SignalUntilSeen(semaphore) && NextMessage(third, delay));
    EXPECT_TRUE(owner.NothingWithin()) << "one burst gave more than one message";
}

// All ones or an abandoned mutex end the thread silently; a set event is told each pass; a stop drops an owed one.
TEST_F(EventMonitorThreadTest, StopEndsTheMonitorAtOnceAsABadHandleDoesAndDropsAnOwedMessage)
{
    HANDLE mutex = Add(CreateMutexA(nullptr, FALSE, nullptr));
    std::thread([&] { WaitForSingleObject(mutex, INFINITE); }).join();
    for (HANDLE watched : {INVALID_HANDLE_VALUE, mutex})
    {
        ThreadProbe probe;
        Watch(watched, NoDelay);
        ASSERT_LE(probe.NewThreads().size(), 1u) << "cannot tell the monitor thread from other new threads";
        HANDLE thread = probe.OpenNewThread();  // none if already gone; if still listed, it must end
        EXPECT_TRUE(!thread || WaitForSingleObject(Add(thread), MustHappenMs()) == WAIT_OBJECT_0) << "it ran on";
    }
    EXPECT_TRUE(owner.Flush() && owner.Count() == 0) << "a message was sent";
    HANDLE semaphore = Add(CreateSemaphoreA(nullptr, 0, 100, nullptr));
    HANDLE event = Add(CreateEventA(nullptr, TRUE, TRUE, nullptr));
    Watch(semaphore, LongDelay, WatchMsg + 1);
    ASSERT_TRUE(SignalUntilSeen(semaphore));  // settling now, a message owed
    Watch(event, NoDelay);
    Watch(event, NoDelay, 0);  // the owner records WM_NULL
    ASSERT_TRUE(owner.WaitForCount(50)) << "the event left set was not told on every pass";
    std::ranges::for_each(monitors, [](auto& m) { EXPECT_TRUE(StopsByItself(m)); });
    for (const auto& m : (owner.Flush(), owner.Messages()))
        ASSERT_EQ(m.msg, WatchMsg) << "message 0 was sent, or the owed message at the stop";
}
