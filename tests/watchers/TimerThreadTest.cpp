#include "weftcore.h"

#include "support/OwnerWindow.h"
#include "support/ThreadProbe.h"

#include <list>

using namespace weft::test;

// Timers of one owner window; both halves of the 64-bit parameters are set, so that a truncation shows.
class TimerThreadTest : public ::testing::Test
{
protected:
    static constexpr UINT TimerMsg = WM_APP + 17;
    static constexpr unsigned __int64 TimerWParam = 0x8765432112345678ull;
    static constexpr __int64 TimerLParam = -0x123456789ALL;
    static constexpr unsigned int LongPeriod = 60000;  // never ends within a test
    TimerThread& Start(unsigned int period, bool oneShot, unsigned __int64 wParam = TimerWParam)
    {
        return timers.emplace_back(TimerMsg, owner.Handle(), period, oneShot, wParam, TimerLParam);
    }
    OwnerWindow owner;
    const double startMs = OwnerWindow::NowMs();
    std::list<TimerThread> timers;
    void TearDown() override { std::ranges::for_each(timers, [](auto& t) { EXPECT_TRUE(StopsByItself(t)); }); }
};

// A plain and a decaying timer send one message per period each, none after the stop; a wake keeps the decay.
TEST_F(TimerThreadTest, RepeatingTimerSendsOneMessagePerPeriodDecayingOrNot)
{
    const unsigned int period = Scaled(150);
    TimerThread &plain = Start(period, false, 0), &decaying = Start(period, false, 1);
    decaying.SetAsDecaying(true);
    ASSERT_TRUE(owner.WaitForCount(8));  // few ticks each, so that a message at the stop shows
    EXPECT_TRUE(decaying.GetAsDecaying()) << "a wake cleared the decay";
    plain.Stop(MustHappenMs()), decaying.Stop(MustHappenMs());
    EXPECT_TRUE(owner.Flush() && owner.NothingWithin()) << "a message came after Stop had returned";
    std::vector<OwnerWindow::Message> of[2];
    for (const auto& m : owner.Messages())
        of[m.wParam == 1].push_back(m);
    for (const auto& messages : of)  // a period starts when the last one ends: message k comes k + 1 periods in
        for (std::size_t k = 0; k < messages.size(); ++k)
            EXPECT_TRUE(NotBefore(messages[k].atMs, startMs, double(period) * (k + 1))) << "message " << k;
    EXPECT_LE(of[0].size(), of[1].size() + 2) << "the decaying timer fell behind";
}

// Timers stopped at once, one-shot or repeating, each send exactly one message, with its parameters.
TEST_F(TimerThreadTest, TimerStoppedBeforeItsFirstTickSendsExactlyOneMessage)
{
    for (unsigned int i = 0; i < 20; ++i)
    {
        TimerThread timer(TimerMsg, owner.Handle(), LongPeriod, i % 2 == 0, TimerWParam + i, TimerLParam);
        EXPECT_EQ((timer.SetPriority(THREAD_PRIORITY_BELOW_NORMAL), timer.GetPriority()), THREAD_PRIORITY_BELOW_NORMAL);
        timer.Stop(MustHappenMs());
    }
    const auto messages = (owner.Flush(), owner.Messages());
    ASSERT_EQ(messages.size(), 20u);
    for (unsigned int i = 0; i < 20; ++i)
        EXPECT_TRUE(messages[i].msg == TimerMsg && messages[i].wParam == TimerWParam + i &&
                    messages[i].lParam == TimerLParam) << "message " << i;
}

// A one-shot reset often sends nothing; its one message comes a period after the last reset, once.
TEST_F(TimerThreadTest, OneShotTimerSendsOneMessageAPeriodAfterItsLastReset)
{
    const unsigned int period = Scaled(300);
    TimerThread& timer = Start(period, true);
    for (int i = 0; i < 10; ++i, timer.Reset())
        ASSERT_TRUE(owner.StaysAt(0, Scaled(50))) << "the one-shot fired although reset " << i << " times";
    const double reset = OwnerWindow::NowMs();
    const auto m = owner.Next();
    EXPECT_TRUE(m && NotBefore(m->atMs, reset, period)) << "no message a period after the last reset";
    EXPECT_TRUE(owner.StaysAt(1, MustNotHappenMs() + period)) << "the one-shot repeated";
}

// Reset wakes an endless timer silently; a new period starts at once, the present one set again runs on.
TEST_F(TimerThreadTest, SetTimeoutStartsANewPeriodAtOnceButLeavesThePresentOneRunning)
{
    const unsigned int period = Scaled(40);
    TimerThread& timer = Start(0xFFFFFFFF, false);
    EXPECT_TRUE((timer.Reset(), owner.StaysAt(0))) << "Reset sent a message, or a period of 0xFFFFFFFF ended";
    const double changed = OwnerWindow::NowMs();
    while (owner.Count() < 3 && OwnerWindow::NowMs() < changed + MustHappenMs())
        timer.SetTimeout(period), owner.WaitForCount(owner.Count() + 1, Scaled(5));
    EXPECT_GE(owner.Count(), 3u) << "the new period did not start, or every call restarted it";
}

// Stop ends a paused timer (silent till resumed) by itself, and terminates a suspended one after its time-out.
TEST_F(TimerThreadTest, StopEndsAPausedTimerByItselfAndTerminatesOneThatCannotRun)
{
    TimerThread& timer = Start(Scaled(30), false);
    ASSERT_TRUE(owner.WaitForCount(1));
    timer.Pause();
    const std::size_t atPause = (owner.Flush(), owner.Count());  // a tick sent just before the suspension
    EXPECT_TRUE(owner.StaysAt(atPause)) << "a paused timer ticked";
    EXPECT_TRUE((timer.Resume(), owner.WaitForCount(atPause + 1))) << "the timer did not tick again after Resume";
    timer.Pause();
    EXPECT_TRUE(StopsByItself(timer)) << "Stop waited out its time-out on a paused timer";
    ThreadProbe probe;
    TimerThread& held = Start(LongPeriod, false);
    HANDLE thread = probe.OpenNewThread();
    ASSERT_TRUE(thread && SuspendThread(thread) != DWORD(-1)) << "cannot hold the timer thread as a debugger might";
    const double stopAt = OwnerWindow::NowMs();
    held.Stop(Scaled(100));
    EXPECT_TRUE(NotBefore(OwnerWindow::NowMs(), stopAt, Scaled(100))) << "Stop did not wait for its time-out";
    if (WaitForSingleObject(thread, MustHappenMs()) != WAIT_OBJECT_0)
        ADD_FAILURE() << "the thread was not ended", ResumeThread(thread);  // for the destructor's stop
    CloseHandle(thread);
}
