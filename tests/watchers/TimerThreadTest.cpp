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
using weft::test::Scaled;
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
    // A period of 0 sends without pause. Stopped right after a tick, well within the next
    // period: a message at the stop would come too early for ExpectOnePerPeriod.
    const struct
    {
        unsigned int period;
        std::size_t ticks;
    } cases[] = {{Scaled(150), 3}, {0, 200}};
    for (const auto& c : cases)
    {
        SCOPED_TRACE(::testing::Message() << "period " << c.period);
        Timer t(c.period, false);
        ASSERT_NE(t.owner.Handle(), nullptr);
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

TEST(TimerThreadTest, DecayingTimerKeepsThePaceOfAPlainOne)
{
    // A decaying timer waits its period times its rate, and every wake caps the rate at 1: its
    // schedule is that of a plain timer of the same period, each message no earlier than a
    // period after the one before. Started together, the two stay within a tick of each other.
    const unsigned int period = Scaled(100);
    OwnerWindow owner;
    const double startMs = OwnerWindow::NowMs();
    TimerThread plain(TimerMsg, owner.Handle(), period, false, 0, TimerLParam);
    TimerThread decaying(TimerMsg, owner.Handle(), period, false, 1, TimerLParam);
    decaying.SetAsDecaying(true);
    ASSERT_TRUE(owner.WaitForCount(16));
    EXPECT_TRUE(decaying.GetAsDecaying()) << "a wake cleared the decay";
    EXPECT_EQ(decaying.GetTimeout(), period);
    plain.Stop(MustHappenMs());
    decaying.Stop(MustHappenMs());
    ASSERT_TRUE(owner.Flush());
    std::vector<OwnerWindow::Message> of[2];
    for (const auto& m : owner.Messages())
        of[m.wParam == 1].push_back(m);
    for (const auto& messages : of)
        ExpectOnePerPeriod(messages, startMs, period);
    EXPECT_LE(of[0].size(), of[1].size() + 2) << "the decaying timer fell behind";
    decaying.SetAsDecaying(false);
    EXPECT_FALSE(decaying.GetAsDecaying());
}

TEST(TimerThreadTest, TimerStoppedBeforeItsFirstTickSendsExactlyOneMessage)
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

// --- One-shot timer and period changes ---

TEST(TimerThreadTest, OneShotTimerSendsOneMessageAPeriodAfterItsStartOrItsLastReset)
{
    // Reset often for well over a period: the message must not come meanwhile.
    const unsigned int period = Scaled(300);
    for (int resets : {0, 10})
    {
        SCOPED_TRACE(::testing::Message() << resets << " resets");
        Timer t(period, true);
        double from = t.startMs;
        for (int i = 0; i < resets; ++i)
        {
            ASSERT_TRUE(t.owner.StaysAt(0, Scaled(50))) << "the one-shot fired although reset " << i << " times";
            t.timer.Reset();
            from = OwnerWindow::NowMs();
        }
        auto m = t.owner.Next();
        ASSERT_TRUE(m.has_value());
        ExpectTimerMessage(*m);
        EXPECT_TRUE(NotBefore(m->atMs, from, period));
        EXPECT_TRUE(t.owner.StaysAt(1, MustNotHappenMs() + period)) << "the one-shot repeated";
    }
}

TEST(TimerThreadTest, SetTimeoutWithThePresentValueLeavesThePeriodRunning)
{
    const unsigned int period = Scaled(100);
    Timer t(period, true);
    // Were each call to restart the period, the one-shot would never fire while they go on.
    const double deadline = OwnerWindow::NowMs() + MustHappenMs();
    while (t.owner.Count() == 0 && OwnerWindow::NowMs() < deadline)
    {
        t.timer.SetTimeout(period);
        t.owner.WaitForCount(1, Scaled(5));
    }
    EXPECT_EQ(t.owner.Count(), 1u) << "SetTimeout with the same value restarted the period";
}

TEST(TimerThreadTest, SetTimeoutWakesAnEndlessTimerAndStartsTheNewPeriodAtOnce)
{
    const unsigned int period = Scaled(40);
    Timer t(0xFFFFFFFF, false);
    EXPECT_TRUE(t.owner.StaysAt(0)) << "a period of 0xFFFFFFFF ended";
    t.timer.Reset();  // wakes the thread, which waits without limit again
    EXPECT_TRUE(t.owner.StaysAt(0)) << "Reset sent a message";

    const double changed = OwnerWindow::NowMs();
    t.timer.SetTimeout(period);
    EXPECT_EQ(t.timer.GetTimeout(), period);
    ASSERT_TRUE(t.owner.WaitForCount(3));
    t.timer.Stop(MustHappenMs());
    ExpectOnePerPeriod(t.owner.Messages(), changed, period);
}

// --- Guard, pause and stop ---

TEST(TimerThreadTest, MessageZeroSendsNothingAndTheTimerStillEnds)
{
    // The owner records message 0 (WM_NULL), so a send that slipped through the guard shows.
    OwnerWindow owner;
    TimerThread timer(0, owner.Handle(), Scaled(10), false, TimerWParam, TimerLParam);
    EXPECT_TRUE(owner.StaysAt(0));
    EXPECT_TRUE(StopsByItself(timer));
    ASSERT_TRUE(owner.Flush());
    EXPECT_EQ(owner.Count(), 0u);
}

TEST(TimerThreadTest, PausedTimerSendsNothingUntilResumedAndStopEndsItWithoutResume)
{
    Timer t(Scaled(30), false);
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

    const unsigned long timeout = Scaled(100);
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
