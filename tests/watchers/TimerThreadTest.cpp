#include "support/OwnerWindow.h"

using namespace weft::test;

class TimerThreadTest : public ::testing::Test
{
protected:
    static constexpr unsigned int LongPeriod = 60000;  // never ends within a test
    TimerThread& Start(unsigned int period, bool oneShot, unsigned __int64 wParam = WatchWParam)
    { return timers.emplace_back(WatchMsg, owner.Handle(), period, oneShot, wParam, WatchLParam); }
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
    EXPECT_TRUE(decaying.GetAsDecaying() && !plain.GetAsDecaying()) << "decay cleared or unasked";
    plain.Stop(MustHappenMs()), decaying.Stop(MustHappenMs());
    EXPECT_TRUE(owner.Flush() && owner.NothingWithin()) << "a message came after Stop had returned";
    std::size_t seen[2] = {};  // per timer; a period starts when the last one ends: the k-th comes k periods in
    for (const auto& m : owner.Messages())
        EXPECT_TRUE(NotBefore(m.atMs, startMs, double(period) * ++seen[m.wParam == 1])) << "timer " << m.wParam;
    EXPECT_LE(seen[0], seen[1] + 2) << "the decaying timer fell behind";
}

TEST_F(TimerThreadTest, TimerStoppedBeforeItsFirstTickSendsExactlyOneMessage)
{
    for (unsigned int i = 0; i < 20; ++i)
    {
        TimerThread timer(WatchMsg, owner.Handle(), LongPeriod, i % 2 == 0, WatchWParam + i, WatchLParam);
        EXPECT_EQ((timer.SetPriority(THREAD_PRIORITY_BELOW_NORMAL), timer.GetPriority()), THREAD_PRIORITY_BELOW_NORMAL);
        const auto m = (timer.Stop(MustHappenMs()), owner.Next());
        ASSERT_TRUE(m && m->msg == WatchMsg && m->wParam == WatchWParam + i && m->lParam == WatchLParam) << i;
    }
    EXPECT_TRUE(owner.Flush() && owner.Count() == 20) << "a stopped timer sent more than one message";
}

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

// A paused timer is silent till resumed.
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
    EXPECT_TRUE(StopEndsAHeldThread(probe, Start(LongPeriod, false)));
}
