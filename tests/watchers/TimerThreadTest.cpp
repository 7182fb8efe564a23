#include "weftcore.h"

#include "support/OwnerWindow.h"
#include "support/ThreadProbe.h"

#include <vector>

using namespace weft::test;

namespace
{
const UINT TimerMsg = WM_APP + 17;
// Both halves of the 64-bit parameters are set, so that a truncation shows.
const unsigned __int64 TimerWParam = 0x8765432112345678ull;
const __int64 TimerLParam = -0x123456789ALL;
const unsigned int LongPeriod = 60000;  // never ends within a test

// A period starts only when the previous one has ended, so the k-th message (from 0) of a
// repeating timer is sent no earlier than k + 1 periods after the timer started, whatever the
// delivery jitter. A second message in a period, or one at a stop that follows a tick, falls short.
void ExpectOnePerPeriod(const std::vector<OwnerWindow::Message>& messages, double startMs, unsigned int period)
{
    for (std::size_t k = 0; k < messages.size(); ++k)
        EXPECT_TRUE(NotBefore(messages[k].atMs, startMs, static_cast<double>(period) * (k + 1))) << "message " << k;
}

// An owner window and a timer that notifies it, started at startMs.
struct Timer
{
    OwnerWindow owner;
    const double startMs = OwnerWindow::NowMs();
    TimerThread timer;
    Timer(unsigned int period, bool oneShot) : timer(TimerMsg, owner.Handle(), period, oneShot, TimerWParam, TimerLParam) {}
};
}  // namespace

// A plain and a decaying timer of one period, started together: each sends one message per
// period and none at or after the stop. Every wake caps the decaying one's rate at 1, so it
// keeps the plain one's pace and stays decaying.
TEST(TimerThreadTest, RepeatingTimerSendsOneMessagePerPeriodDecayingOrNot)
{
    const unsigned int period = Scaled(150);
    OwnerWindow owner;
    const double startMs = OwnerWindow::NowMs();
    TimerThread plain(TimerMsg, owner.Handle(), period, false, 0, TimerLParam);
    TimerThread decaying(TimerMsg, owner.Handle(), period, false, 1, TimerLParam);
    decaying.SetAsDecaying(true);
    ASSERT_TRUE(owner.WaitForCount(8));  // few ticks each, so that a message at the stop shows
    EXPECT_TRUE(decaying.GetAsDecaying()) << "a wake cleared the decay";
    plain.Stop(MustHappenMs());
    decaying.Stop(MustHappenMs());
    ASSERT_TRUE(owner.Flush());
    EXPECT_TRUE(owner.NothingWithin()) << "a message came after Stop had returned";
    std::vector<OwnerWindow::Message> of[2];
    for (const auto& m : owner.Messages())
        of[m.wParam == 1].push_back(m);
    for (const auto& messages : of)
        ExpectOnePerPeriod(messages, startMs, period);
    EXPECT_LE(of[0].size(), of[1].size() + 2) << "the decaying timer fell behind";
}

// Timers stopped at once, most before their thread has seen its worker: each, one-shot or
// repeating, ends and sends exactly one message, with its parameters, on its way out.
TEST(TimerThreadTest, TimerStoppedBeforeItsFirstTickSendsExactlyOneMessage)
{
    OwnerWindow owner;
    const unsigned int timers = 20;
    for (unsigned int i = 0; i < timers; ++i)
    {
        TimerThread timer(TimerMsg, owner.Handle(), LongPeriod, i % 2 == 0, TimerWParam + i, TimerLParam);
        timer.SetPriority(THREAD_PRIORITY_BELOW_NORMAL);
        EXPECT_EQ(timer.GetPriority(), THREAD_PRIORITY_BELOW_NORMAL);
        timer.Stop(MustHappenMs());
    }
    ASSERT_TRUE(owner.Flush());
    const auto messages = owner.Messages();
    ASSERT_EQ(messages.size(), timers);
    for (unsigned int i = 0; i < timers; ++i)
        EXPECT_TRUE(messages[i].msg == TimerMsg && messages[i].wParam == TimerWParam + i && messages[i].lParam == TimerLParam)
            << "message " << i;
}

// Reset often for well over a period, a one-shot sends nothing meanwhile; its one message comes
// a period after the last reset, and is not repeated.
TEST(TimerThreadTest, OneShotTimerSendsOneMessageAPeriodAfterItsLastReset)
{
    const unsigned int period = Scaled(300);
    Timer t(period, true);
    for (int i = 0; i < 10; ++i)
    {
        ASSERT_TRUE(t.owner.StaysAt(0, Scaled(50))) << "the one-shot fired although reset " << i << " times";
        t.timer.Reset();
    }
    const double reset = OwnerWindow::NowMs();
    auto m = t.owner.Next();
    ASSERT_TRUE(m.has_value());
    EXPECT_TRUE(NotBefore(m->atMs, reset, period));
    EXPECT_TRUE(t.owner.StaysAt(1, MustNotHappenMs() + period)) << "the one-shot repeated";
}

// Reset wakes an endless timer without a message, and it waits without limit again. A new period
// starts at once; setting the present one again, more often than it lasts, leaves it running.
TEST(TimerThreadTest, SetTimeoutStartsANewPeriodAtOnceButLeavesThePresentOneRunning)
{
    const unsigned int period = Scaled(40);
    Timer t(0xFFFFFFFF, false);
    EXPECT_TRUE(t.owner.StaysAt(0)) << "a period of 0xFFFFFFFF ended";
    t.timer.Reset();
    EXPECT_TRUE(t.owner.StaysAt(0)) << "Reset sent a message";
    const double changed = OwnerWindow::NowMs();
    while (t.owner.Count() < 3 && OwnerWindow::NowMs() < changed + MustHappenMs())
        t.timer.SetTimeout(period), t.owner.WaitForCount(t.owner.Count() + 1, Scaled(5));
    ASSERT_GE(t.owner.Count(), 3u) << "the new period did not start, or every call restarted it";
    t.timer.Stop(MustHappenMs());
    ExpectOnePerPeriod(t.owner.Messages(), changed, period);
}

// A paused timer sends nothing until resumed; Stop ends a paused thread by itself, not by its
// time-out.
TEST(TimerThreadTest, PausedTimerSendsNothingUntilResumedAndStopEndsIt)
{
    Timer t(Scaled(30), false);
    ASSERT_TRUE(t.owner.WaitForCount(1));
    t.timer.Pause();
    ASSERT_TRUE(t.owner.Flush());  // a tick sent just before the suspension
    const std::size_t atPause = t.owner.Count();
    EXPECT_TRUE(t.owner.StaysAt(atPause)) << "a paused timer ticked";
    t.timer.Resume();
    EXPECT_TRUE(t.owner.WaitForCount(atPause + 1)) << "the timer did not tick again after Resume";
    t.timer.Pause();
    EXPECT_TRUE(StopsByItself(t.timer)) << "Stop waited out its time-out on a paused timer";
}

// A thread held suspended by someone else (a debugger, a profiler) cannot see its stop event:
// Stop waits its time-out, then terminates the thread.
TEST(TimerThreadTest, StopWithAShortTimeoutTerminatesAThreadThatCannotRun)
{
    OwnerWindow owner;
    ThreadProbe probe;
    TimerThread timer(TimerMsg, owner.Handle(), LongPeriod, false, TimerWParam, TimerLParam);
    HANDLE thread = probe.OpenNewThread();
    ASSERT_NE(thread, nullptr) << "cannot tell the timer thread from other new threads";
    ASSERT_NE(SuspendThread(thread), static_cast<DWORD>(-1));
    const unsigned long timeout = Scaled(100);
    const double stopAt = OwnerWindow::NowMs();
    timer.Stop(timeout);
    EXPECT_TRUE(NotBefore(OwnerWindow::NowMs(), stopAt, timeout)) << "Stop did not wait for its time-out";
    if (WaitForSingleObject(thread, MustHappenMs()) != WAIT_OBJECT_0)
        ADD_FAILURE() << "the thread was not ended", ResumeThread(thread);  // for the destructor's stop
    CloseHandle(thread);
}
