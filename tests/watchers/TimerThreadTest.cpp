#include "weftcore.h"

#include "support/OwnerWindow.h"
#include "support/ThreadProbe.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <vector>

using weft::test::MustHappenMs;
using weft::test::MustNotHappenMs;
using weft::test::OwnerWindow;

namespace
{
const UINT TimerMsg = WM_APP + 17;
// Both halves of the 64-bit parameters are set, so that a truncation shows.
const unsigned __int64 TimerWParam = 0x8765432112345678ull;
const __int64 TimerLParam = -0x123456789ALL;
const unsigned int LongPeriod = 60000;  // never ends within a test

// A message arrived at or after `from` plus `ms`, with a tolerance for coarse timers.
::testing::AssertionResult NotBefore(double atMs, double fromMs, double ms)
{
    if (atMs - fromMs >= ms * 0.9)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "arrived " << atMs - fromMs << " ms after the reference, expected >= "
                                         << ms * 0.9;
}

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

}  // namespace

// --- Repeating timer ---

TEST(TimerThreadTest, RepeatingTimerSendsOneMessagePerPeriodWithItsParameters)
{
    OwnerWindow owner;
    ASSERT_NE(owner.Handle(), nullptr);
    const unsigned int period = 60;
    const double start = OwnerWindow::NowMs();
    TimerThread timer(TimerMsg, owner.Handle(), period, false, TimerWParam, TimerLParam);
    ASSERT_TRUE(owner.WaitForCount(4));
    timer.Stop(MustHappenMs());
    ASSERT_TRUE(owner.Flush());
    const auto messages = owner.Messages();
    EXPECT_TRUE(owner.NothingWithin()) << "a message came after Stop had returned";

    for (const auto& m : messages)
        ExpectTimerMessage(m);
    ExpectOnePerPeriod(messages, start, period);
}

TEST(TimerThreadTest, RepeatingTimerStoppedAfterATickSendsNothingMore)
{
    OwnerWindow owner;
    const unsigned int period = 200;
    const double start = OwnerWindow::NowMs();
    TimerThread timer(TimerMsg, owner.Handle(), period, false, TimerWParam, TimerLParam);
    auto tick = owner.Next();
    ASSERT_TRUE(tick.has_value());
    // Stopped at once, well within the second period: a message at the stop would come before
    // two periods have passed.
    timer.Stop(MustHappenMs());
    ASSERT_TRUE(owner.Flush());
    EXPECT_TRUE(owner.NothingWithin());
    ExpectOnePerPeriod(owner.Messages(), start, period);
}

TEST(TimerThreadTest, RepeatingTimerStoppedBeforeItsFirstTickSendsExactlyOneMessage)
{
    OwnerWindow owner;
    TimerThread timer(TimerMsg, owner.Handle(), LongPeriod, false, TimerWParam, TimerLParam);
    timer.Stop(MustHappenMs());
    ASSERT_TRUE(owner.WaitForCount(1));
    EXPECT_TRUE(owner.StaysAt(1));
    ExpectTimerMessage(owner.Messages().at(0));
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

TEST(TimerThreadTest, OneShotTimerSendsExactlyOneMessageAtItsTimeout)
{
    OwnerWindow owner;
    const unsigned int period = 50;
    const double start = OwnerWindow::NowMs();
    TimerThread timer(TimerMsg, owner.Handle(), period, true, TimerWParam, TimerLParam);
    auto m = owner.Next();
    ASSERT_TRUE(m.has_value());
    ExpectTimerMessage(*m);
    EXPECT_TRUE(NotBefore(m->atMs, start, period));
    EXPECT_TRUE(owner.StaysAt(1, MustNotHappenMs() + 4 * period));
    timer.Stop(MustHappenMs());
    ASSERT_TRUE(owner.Flush());
    EXPECT_EQ(owner.Count(), 1u);
}

TEST(TimerThreadTest, OneShotTimerStoppedEarlySendsItsMessageAtTheStop)
{
    OwnerWindow owner;
    TimerThread timer(TimerMsg, owner.Handle(), LongPeriod, true, TimerWParam, TimerLParam);
    timer.Stop(MustHappenMs());
    auto m = owner.Next();
    ASSERT_TRUE(m.has_value());
    ExpectTimerMessage(*m);
    EXPECT_TRUE(owner.StaysAt(1));
}

TEST(TimerThreadTest, ResetPushesAOneShotTimerBackByAFullPeriodEachTime)
{
    OwnerWindow owner;
    const unsigned int period = 300;
    TimerThread timer(TimerMsg, owner.Handle(), period, true, TimerWParam, TimerLParam);
    // Resets every 50 ms for well over a period: the message must not come meanwhile.
    double lastReset = OwnerWindow::NowMs();
    for (int i = 0; i < 10; ++i)
    {
        ASSERT_TRUE(owner.StaysAt(0, 50)) << "the one-shot fired although reset " << i << " times";
        timer.Reset();
        lastReset = OwnerWindow::NowMs();
    }
    auto m = owner.Next();
    ASSERT_TRUE(m.has_value());
    EXPECT_TRUE(NotBefore(m->atMs, lastReset, period));
    EXPECT_TRUE(owner.StaysAt(1));
}

// --- Period changes ---

TEST(TimerThreadTest, SetTimeoutWithThePresentValueLeavesThePeriodRunning)
{
    OwnerWindow owner;
    const unsigned int period = 100;
    TimerThread timer(TimerMsg, owner.Handle(), period, true, TimerWParam, TimerLParam);
    // Were each call to restart the period, the one-shot would never fire while they go on.
    const double deadline = OwnerWindow::NowMs() + MustHappenMs();
    while (owner.Count() == 0 && OwnerWindow::NowMs() < deadline)
    {
        timer.SetTimeout(period);
        owner.WaitForCount(1, 5);
    }
    EXPECT_EQ(owner.Count(), 1u) << "SetTimeout with the same value restarted the period";
    EXPECT_EQ(timer.GetTimeout(), period);
}

TEST(TimerThreadTest, SetTimeoutWakesAnEndlessTimerAndStartsTheNewPeriodAtOnce)
{
    OwnerWindow owner;
    const unsigned int period = 40;
    TimerThread timer(TimerMsg, owner.Handle(), 0xFFFFFFFF, false, TimerWParam, TimerLParam);
    EXPECT_TRUE(owner.StaysAt(0)) << "a period of 0xFFFFFFFF ended";
    timer.Reset();  // wakes the thread, which waits without limit again
    EXPECT_TRUE(owner.StaysAt(0)) << "Reset sent a message";

    const double changed = OwnerWindow::NowMs();
    timer.SetTimeout(period);
    EXPECT_EQ(timer.GetTimeout(), period);
    ASSERT_TRUE(owner.WaitForCount(3));
    timer.Stop(MustHappenMs());
    ExpectOnePerPeriod(owner.Messages(), changed, period);
}

TEST(TimerThreadTest, ZeroPeriodRepeatingTimerSendsWithoutPause)
{
    OwnerWindow owner;
    TimerThread timer(TimerMsg, owner.Handle(), 0, false, TimerWParam, TimerLParam);
    ASSERT_TRUE(owner.WaitForCount(200));
    timer.Stop(MustHappenMs());
    ASSERT_TRUE(owner.Flush());
    EXPECT_TRUE(owner.NothingWithin()) << "messages went on after Stop had returned";
    ExpectTimerMessage(owner.Messages().back());
}

TEST(TimerThreadTest, DecayingTimerKeepsItsPeriod)
{
    OwnerWindow owner;
    const unsigned int period = 40;
    const double start = OwnerWindow::NowMs();
    TimerThread timer(TimerMsg, owner.Handle(), period, false, TimerWParam, TimerLParam);
    EXPECT_FALSE(timer.GetAsDecaying());
    timer.SetAsDecaying(true);
    EXPECT_TRUE(timer.GetAsDecaying());
    EXPECT_EQ(timer.GetTimeout(), period);
    ASSERT_TRUE(owner.WaitForCount(4));
    timer.Stop(MustHappenMs());
    ExpectOnePerPeriod(owner.Messages(), start, period);
    timer.SetAsDecaying(false);
    EXPECT_FALSE(timer.GetAsDecaying());
}

// --- Guards ---

TEST(TimerThreadTest, MessageZeroSendsNothingAndTheTimerStillEnds)
{
    OwnerWindow owner;
    TimerThread repeating(0, owner.Handle(), 10, false, TimerWParam, TimerLParam);
    TimerThread oneShot(0, owner.Handle(), 10, true, TimerWParam, TimerLParam);
    EXPECT_TRUE(owner.StaysAt(0));
    const double before = OwnerWindow::NowMs();
    repeating.Stop(MustHappenMs());
    oneShot.Stop(MustHappenMs());
    EXPECT_LT(OwnerWindow::NowMs() - before, MustHappenMs() / 2.0) << "a thread did not end by itself";
    ASSERT_TRUE(owner.Flush());
    EXPECT_EQ(owner.Count(), 0u);
}

TEST(TimerThreadTest, NullWindowSendsNothingAndTheTimerStillEnds)
{
    TimerThread repeating(TimerMsg, nullptr, 10, false, TimerWParam, TimerLParam);
    TimerThread oneShot(TimerMsg, nullptr, 10, true, TimerWParam, TimerLParam);
    const double before = OwnerWindow::NowMs();
    repeating.Stop(MustHappenMs());
    oneShot.Stop(MustHappenMs());
    EXPECT_LT(OwnerWindow::NowMs() - before, MustHappenMs() / 2.0) << "a thread did not end by itself";
}

// --- Pause and stop ---

TEST(TimerThreadTest, PausedTimerSendsNothingUntilResumed)
{
    OwnerWindow owner;
    const unsigned int period = 30;
    TimerThread timer(TimerMsg, owner.Handle(), period, false, TimerWParam, TimerLParam);
    ASSERT_TRUE(owner.WaitForCount(1));
    timer.Pause();
    EXPECT_TRUE(timer.IsPaused());
    ASSERT_TRUE(owner.Flush());  // a tick sent just before the suspension
    const std::size_t atPause = owner.Count();
    EXPECT_TRUE(owner.StaysAt(atPause)) << "a paused timer ticked";
    timer.Resume();
    EXPECT_FALSE(timer.IsPaused());
    EXPECT_TRUE(owner.WaitForCount(atPause + 1)) << "the timer did not tick again after Resume";
}

TEST(TimerThreadTest, StopEndsAPausedTimerWithoutResume)
{
    // A one-shot timer tells its owner when it ends: the message shows that the thread ran to
    // its end rather than being terminated at the time-out.
    OwnerWindow owner;
    TimerThread timer(TimerMsg, owner.Handle(), LongPeriod, true, TimerWParam, TimerLParam);
    timer.Pause();
    EXPECT_TRUE(owner.StaysAt(0));
    const double before = OwnerWindow::NowMs();
    timer.Stop(MustHappenMs());
    EXPECT_LT(OwnerWindow::NowMs() - before, MustHappenMs() / 2.0) << "Stop waited out its time-out";
    EXPECT_FALSE(timer.IsPaused());
    ASSERT_TRUE(owner.WaitForCount(1));
    EXPECT_TRUE(owner.StaysAt(1));
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
    const double stopped = OwnerWindow::NowMs();
    EXPECT_TRUE(NotBefore(stopped, stopAt, timeout)) << "Stop did not wait for its time-out";
    EXPECT_EQ(WaitForSingleObject(thread, MustHappenMs()), WAIT_OBJECT_0) << "the thread was not ended";
    // A repeating timer that ends normally before its first tick sends one message; a
    // terminated one sends none.
    EXPECT_TRUE(owner.StaysAt(0)) << "the thread ran on to its end";

    const double again = OwnerWindow::NowMs();
    timer.Stop(MustHappenMs());
    EXPECT_LT(OwnerWindow::NowMs() - again, MustHappenMs() / 2.0) << "a second Stop waited";
    CloseHandle(thread);
}

TEST(TimerThreadTest, StoppedTimerKeepsItsAccessors)
{
    OwnerWindow owner;
    TimerThread timer(TimerMsg, owner.Handle(), LongPeriod, false, TimerWParam, TimerLParam);
    timer.SetPriority(THREAD_PRIORITY_BELOW_NORMAL);
    EXPECT_EQ(timer.GetPriority(), THREAD_PRIORITY_BELOW_NORMAL);
    timer.Stop(MustHappenMs());
    ASSERT_TRUE(owner.WaitForCount(1));
    timer.SetTimeout(25);
    EXPECT_EQ(timer.GetTimeout(), 25u);
    timer.Reset();
    timer.SetAsDecaying(true);
    EXPECT_TRUE(timer.GetAsDecaying());
    timer.Stop(0);
    EXPECT_TRUE(owner.StaysAt(1)) << "an ended timer sent again";
}
