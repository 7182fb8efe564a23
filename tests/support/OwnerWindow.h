// What the watcher tests share. The owner window records every message a watcher sends it (number 0 and
// WM_USER upwards) with its arrival time, and waits for them with bounded time-outs. Any thread may call it.
#pragma once

#include "weftcore.h"

#include "support/MessageWindow.h"
#include "support/TestSupport.h"
#include "support/ThreadProbe.h"
#include "weftbase/WeftBaseTestFiles.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <list>
#include <map>
#include <mutex>
#include <optional>

namespace weft::test
{
// A watcher's message and parameters in the tests: both halves of the 64-bit ones set, so that a truncation shows.
constexpr UINT WatchMsg = WM_APP + 17;
constexpr unsigned __int64 WatchWParam = 0x8765432112345678ull;
constexpr __int64 WatchLParam = -0x123456789ALL;
using Lines = std::vector<std::string>;  // records told, as text

class OwnerWindow
{
public:
    struct Message
    {
        UINT msg;
        WPARAM wParam;
        LPARAM lParam;
        double atMs;       // arrival, on the clock of NowMs(), taken in the window procedure
        std::string text;  // what the handler made of it
    };
    // Runs on the window's thread for each message, before waiters wake: reads and deletes a record handed over.
    using Handler = std::function<void(Message&)>;

    explicit OwnerWindow(Handler handler = nullptr);

    HWND Handle() const { return m_window.Handle(); }  // null if the window could not be made
    static double NowMs()                              // a steady clock shared by all instances
    {
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
    }

    std::vector<Message> Messages() const;  // in arrival order
    std::size_t Count() const { return Messages().size(); }
    bool WaitForCount(std::size_t count, DWORD timeoutMs = MustHappenMs()) const
    {
        return WaitUntil(timeoutMs, [&] { return m_messages.size() >= count; });
    }
    // The next message that Next has not yet given out, waiting for it; independent of Count.
    std::optional<Message> Next(DWORD timeoutMs = MustHappenMs());
    bool StaysAt(std::size_t count, DWORD windowMs = MustNotHappenMs()) const
    {
        return !WaitUntil(windowMs, [&] { return m_messages.size() > count; });
    }
    bool NothingWithin(DWORD windowMs = MustNotHappenMs()) const { return StaysAt(Count(), windowMs); }
    // Waits till an unrecorded message is handled: all queued before it, by any thread, are then recorded.
    bool Flush(DWORD timeoutMs = MustHappenMs()) const
    {
        return Handle() && SendMessageTimeoutA(Handle(), WM_USER - 1, 0, 0, SMTO_NORMAL, timeoutMs, nullptr);
    }

private:
    void Record(UINT msg, WPARAM wParam, LPARAM lParam);
    template <class Predicate> bool WaitUntil(DWORD timeoutMs, Predicate predicate) const
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_arrived.wait_for(lock, std::chrono::milliseconds(timeoutMs), predicate);
    }

    Handler m_handler;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_arrived;
    std::vector<Message> m_messages;
    std::size_t m_nNext = 0;  // index of the message Next gives out next
    MessageWindow m_window;   // last: its thread has ended before the fields above go
};

// atMs is at least ms after fromMs, with a tenth off for coarse timers.
inline ::testing::AssertionResult NotBefore(double atMs, double fromMs, double ms)
{
    return ::testing::AssertionResult(atMs - fromMs >= ms * 0.9)
           << "came " << atMs - fromMs << " ms after the reference, expected >= " << ms * 0.9;
}

// Stops a watcher with a time-out of MustHappenMs(): succeeds if its thread ended by itself, well within it.
template <class Watcher>::testing::AssertionResult StopsByItself(Watcher& watcher)
{
    const double before = OwnerWindow::NowMs();
    watcher.Stop(MustHappenMs());
    const double took = OwnerWindow::NowMs() - before;
    return ::testing::AssertionResult(took < MustHappenMs() / 2.0)
           << "Stop took " << took << " ms: the thread did not end by itself";
}

// Runs work on a thread of its own while the watcher is paused. A pause may suspend the watcher inside the
// heap's lock: after MustHappenMs() it is resumed all the same. False if work did not end within the pause.
template <class Watcher, class Work> bool WhilePaused(Watcher& watcher, Work work)
{
    std::atomic<int> stage{0};  // 1: paused, 2: done
    std::thread worker([&] { WaitUntil([&] { return stage == 1; }, MustHappenMs()), work(), stage = 2; });
    watcher.Pause(), stage = 1;
    const bool inPause = WaitUntil([&] { return stage == 2; }, MustHappenMs());
    return watcher.Resume(), worker.join(), inPause;
}

// Stop on a watcher whose thread (the one new since the probe) is held suspended, as a debugger might: Stop waits
// out its time-out of 100 ms (scaled), then ends the thread.
template <class Watcher>::testing::AssertionResult StopEndsAHeldThread(const ThreadProbe& probe, Watcher& watcher)
{
    const HANDLE thread = probe.OpenNewThread();
    if (!thread || SuspendThread(thread) == DWORD(-1))
        return ::testing::AssertionFailure() << "cannot hold the watcher's thread as a debugger might";
    const double stopAt = OwnerWindow::NowMs();
    const bool waited = (watcher.Stop(Scaled(100)), NotBefore(OwnerWindow::NowMs(), stopAt, Scaled(100)));
    // A thread still held is let go for the destructor's stop; one that the stop ended has exit code 0.
    DWORD code = 1;
    const bool ended = WaitForSingleObject(thread, MustHappenMs()) == WAIT_OBJECT_0 || (ResumeThread(thread), false);
    return GetExitCodeThread(thread, &code), CloseHandle(thread),
           ::testing::AssertionResult(waited && ended && code == 0)
               << (waited ? "the thread was not ended with code 0" : "Stop did not wait for its time-out");
}

// Records order by time and every field: at one time none is below or above another, and a copy is equal;
// one made later is not equal, and it is above only with every field greater. fill(record, high) sets the fields.
template <class Record, class Fill>::testing::AssertionResult OrderByTimeAndFields(Fill fill)
{
    Record low, high, later;
    fill(low, false), high = low, fill(high, true);
    if (low < high || high > low || !(Record(low) == low))
        return ::testing::AssertionFailure() << "records of one time ordered, or a copy unequal";
    if (!WaitUntil([&] { return later = Record(), fill(later, false), !(later == low); }, Scaled(3000)))
        return ::testing::AssertionFailure() << "records differing in time alone are equal";
    const bool timeAlone = low < later || later > low;
    fill(later, true);
    return ::testing::AssertionResult(!timeAlone && low < later && later > low)
           << "a later record is above with equal fields, or not above with greater ones";
}
}  // namespace weft::test
