#include "weftcore.h"

#include "support/OwnerWindow.h"
#include "support/ThreadProbe.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

using weft::test::MustHappenMs;
using weft::test::MustNotHappenMs;
using weft::test::NotBefore;
using weft::test::OwnerWindow;
using weft::test::StopsByItself;

namespace
{
const UINT TimerMsg = WM_APP + 17;
// Both halves of the 64-bit parameters are set, so that a truncation shows.
const unsigned __int64 TimerWParam = 0x8765432112345678ull;
const __int64 TimerLParam = -0x123456789ALL;
const unsigned int LongPeriod = 60000;  // never ends within a test

// A period starts only when the previous one has ended, so the k-th message (from 0) of a
// repeating timer is sent no earlier than k + 1 periods after the timer started. Arrival can
// only be later than the send, so the bound holds whatever the delivery jitter. A second message
// in a period, or a last one at a stop that follows a tick, falls short of it.
void ExpectOnePerPeriod(const std::vector<OwnerWindow::Message>& messages, double startMs, unsigned int period)
{
    for (std::size_t k = 0; k < messages.size(); ++k)
        EXPECT_TRUE(NotBefore(messages[k].atMs, startMs, static_cast<double>(period) * (k + 1))) << "message " << k;
}

void ExpectTimerMessage(const OwnerWindow::Message& m)
{
    EXPECT_EQ(m.msg, TimerMsg);
    EXPECT_EQ(m.wParam, TimerWParam);
    EXPECT_EQ(m.lParam, TimerLParam);
}

// An owner window and a timer that notifies it, started at startMs.
struct Timer
{
    OwnerWindow owner;
    const double startMs = OwnerWindow::NowMs();
    TimerThread timer;
    Timer(unsigned int period, bool oneShot)
        : timer(TimerMsg, owner.Handle(), period, oneShot, TimerWParam, TimerLParam)
    {
    }
};
}  // namespace

// --- Repeating timer, and a stop before the first tick ---

TEST(TimerThreadTest, RepeatingTimerSendsOneMessagePerPeriodWithItsParametersAndNoneAfterTheStop)
{
    // Decaying, the rate stays 1: the period is the same. A period of 0 sends without pause.
    // Stopped right after a tick, well within the next period: a message at the stop would
    // come too early for ExpectOnePerPeriod.
    const struct
    {
        unsigned int period;
        bool decaying;
        std::size_t ticks;
    } cases[] = {{150, false, 3}, {150, true, 3}, {0, false, 200}};
    for (const auto& c : cases)
    {
        SCOPED_TRACE(::testing::Message() << "period " << c.period << (c.decaying ? ", decaying" : ""));
        Timer t(c.period, false);
        ASSERT_NE(t.owner.Handle(), nullptr);
        t.timer.SetAsDecaying(c.decaying);
        ASSERT_TRUE(t.owner.WaitForCount(c.ticks));
        t.timer.Stop(MustHappenMs());
        ASSERT_TRUE(t.owner.Flush());
        const auto messages = t.owner.Messages();
        EXPECT_TRUE(t.owner.NothingWithin()) << "a message came after Stop had returned";
        for (const auto& m : messages)
            ExpectTimerMessage(m);
        ExpectOnePerPeriod(messages, t.startMs, c.period);
    }
}

TEST(TimerThreadTest, TimerStoppedBeforeItsFirstTickSendsExactlyOneMessageAndThenNothing)
{
    for (bool oneShot : {false, true})
    {
        SCOPED_TRACE(oneShot ? "one-shot" : "repeating");
        Timer t(LongPeriod, oneShot);
        t.timer.SetPriority(THREAD_PRIORITY_BELOW_NORMAL);
        EXPECT_EQ(t.timer.GetPriority(), THREAD_PRIORITY_BELOW_NORMAL);
        t.timer.Stop(MustHappenMs());
        auto m = t.owner.Next();
        ASSERT_TRUE(m.has_value());
        ExpectTimerMessage(*m);
        // An ended timer takes every call without sending again.
        t.timer.SetTimeout(25);
        EXPECT_EQ(t.timer.GetTimeout(), 25u);
        t.timer.Reset();
        t.timer.SetAsDecaying(true);
        t.timer.Stop(0);
        EXPECT_TRUE(t.owner.StaysAt(1));
    }
}

TEST(TimerThreadTest, TimerDestroyedRightAfterConstructionSendsItsOneMessage)
{
    // The thread may not yet have seen its worker when the destructor stops it: each timer
    // must still end, and send exactly its stop message.
    OwnerWindow owner;
    const int timers = 25;
    for (int i = 0; i < timers; ++i)
    {
        TimerThread timer(TimerMsg, owner.Handle(), LongPeriod, i % 2 == 0, static_cast<unsigned __int64>(i), 0);
    }
    ASSERT_TRUE(owner.WaitForCount(timers));
    EXPECT_TRUE(owner.StaysAt(timers));
    std::set<WPARAM> seen;
    for (const auto& m : owner.Messages())
        seen.insert(m.wParam);
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(timers)) << "a timer sent twice and another not at all";
}

// --- One-shot timer ---

TEST(TimerThreadTest, OneShotTimerSendsOneMessageAPeriodAfterItsStartOrItsLastReset)
{
    // Reset every 50 ms for well over a period: the message must not come meanwhile.
    const unsigned int period = 300;
    for (int resets : {0, 10})
    {
        SCOPED_TRACE(::testing::Message() << resets << " resets");
        Timer t(period, true);
        double from = t.startMs;
        for (int i = 0; i < resets; ++i)
        {
            ASSERT_TRUE(t.owner.StaysAt(0, 50)) << "the one-shot fired although reset " << i << " times";
            t.timer.Reset();
            from = OwnerWindow::NowMs();
        }
        auto m = t.owner.Next();
        ASSERT_TRUE(m.has_value());
        ExpectTimerMessage(*m);
        EXPECT_TRUE(NotBefore(m->atMs, from, period));
        EXPECT_TRUE(t.owner.StaysAt(1, MustNotHappenMs() + period));
        t.timer.Stop(MustHappenMs());
        ASSERT_TRUE(t.owner.Flush());
        EXPECT_EQ(t.owner.Count(), 1u);
    }
}

// --- Period changes ---

TEST(TimerThreadTest, SetTimeoutWithThePresentValueLeavesThePeriodRunning)
{
    const unsigned int period = 100;
    Timer t(period, true);
    // Were each call to restart the period, the one-shot would never fire while they go on.
    const double deadline = OwnerWindow::NowMs() + MustHappenMs();
    while (t.owner.Count() == 0 && OwnerWindow::NowMs() < deadline)
    {
        t.timer.SetTimeout(period);
        t.owner.WaitForCount(1, 5);
    }
    EXPECT_EQ(t.owner.Count(), 1u) << "SetTimeout with the same value restarted the period";
}

TEST(TimerThreadTest, SetTimeoutWakesAnEndlessTimerAndStartsTheNewPeriodAtOnce)
{
    const unsigned int period = 40;
    Timer t(0xFFFFFFFF, false);
    EXPECT_TRUE(t.owner.StaysAt(0)) << "a period of 0xFFFFFFFF ended";
    t.timer.Reset();  // wakes the thread, which waits without limit again
    EXPECT_TRUE(t.owner.StaysAt(0)) << "Reset sent a message";

    const double changed = OwnerWindow::NowMs();
    t.timer.SetTimeout(period);
    ASSERT_TRUE(t.owner.WaitForCount(3));
    t.timer.Stop(MustHappenMs());
    ExpectOnePerPeriod(t.owner.Messages(), changed, period);
}

// --- Guards ---

TEST(TimerThreadTest, MessageZeroOrNullWindowSendsNothingAndTheTimerStillEnds)
{
    OwnerWindow owner;
    for (bool oneShot : {false, true})
    {
        SCOPED_TRACE(oneShot ? "one-shot" : "repeating");
        TimerThread noMessage(0, owner.Handle(), 10, oneShot, TimerWParam, TimerLParam);
        TimerThread noWindow(TimerMsg, nullptr, 10, oneShot, TimerWParam, TimerLParam);
        EXPECT_TRUE(owner.StaysAt(0));
        EXPECT_TRUE(StopsByItself(noMessage));
        EXPECT_TRUE(StopsByItself(noWindow));
    }
    ASSERT_TRUE(owner.Flush());
    EXPECT_EQ(owner.Count(), 0u);
}

// --- Pause and stop ---

TEST(TimerThreadTest, PausedTimerSendsNothingUntilResumedAndStopEndsItWithoutResume)
{
    Timer t(30, false);
    ASSERT_TRUE(t.owner.WaitForCount(1));
    t.timer.Pause();
    EXPECT_TRUE(t.timer.IsPaused());
    ASSERT_TRUE(t.owner.Flush());  // a tick sent just before the suspension
    const std::size_t atPause = t.owner.Count();
    EXPECT_TRUE(t.owner.StaysAt(atPause)) << "a paused timer ticked";
    t.timer.Resume();
    EXPECT_FALSE(t.timer.IsPaused());
    EXPECT_TRUE(t.owner.WaitForCount(atPause + 1)) << "the timer did not tick again after Resume";

    // Terminated only once the time-out has passed: a quick return shows the thread ended.
    t.timer.Pause();
    EXPECT_TRUE(StopsByItself(t.timer)) << "Stop waited out its time-out on a paused timer";
    EXPECT_FALSE(t.timer.IsPaused());
}

TEST(TimerThreadTest, StopWithAShortTimeoutTerminatesAThreadThatCannotRun)
{
    // A thread held suspended by someone else (a debugger, a sampling profiler, another
    // component) cannot see its stop event: Stop resumes only what its own Pause suspended.
    // Such a thread must be ended by TerminateThread once the time-out has passed.
    OwnerWindow owner;
    weft::test::ThreadProbe probe;
    TimerThread timer(TimerMsg, owner.Handle(), LongPeriod, false, TimerWParam, TimerLParam);
    HANDLE thread = probe.OpenNewThread();
    ASSERT_NE(thread, nullptr) << "cannot tell the timer thread from other new threads";
    ASSERT_NE(SuspendThread(thread), static_cast<DWORD>(-1));

    const unsigned long timeout = 100;
    const double stopAt = OwnerWindow::NowMs();
    timer.Stop(timeout);
    EXPECT_TRUE(NotBefore(OwnerWindow::NowMs(), stopAt, timeout)) << "Stop did not wait for its time-out";
    EXPECT_EQ(WaitForSingleObject(thread, MustHappenMs()), WAIT_OBJECT_0) << "the thread was not ended";
    // A repeating timer that ends normally before its first tick sends one message; a
    // terminated one sends none.
    EXPECT_TRUE(owner.StaysAt(0)) << "the thread ran on to its end";
    EXPECT_TRUE(StopsByItself(timer)) << "a second Stop waited";
    CloseHandle(thread);
}
