// The owner window of the watcher tests: a MessageWindow that records every message a watcher
// sends it (number 0 and WM_USER upwards), with its arrival time, and lets a test wait for them
// with bounded time-outs. All members may be called from any thread.
#pragma once

#include "support/MessageWindow.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace weft::test
{
class OwnerWindow
{
public:
    struct Message
    {
        UINT msg;
        WPARAM wParam;
        LPARAM lParam;
        double atMs;  // arrival, on the clock of NowMs(), taken in the window procedure
    };
    // Runs on the window's thread for each recorded message, before waiters are woken: for
    // messages that hand over a record to be read and deleted by the window.
    using Handler = std::function<void(const Message&)>;

    explicit OwnerWindow(Handler handler = nullptr);

    // The window; null if it could not be created (then nothing ever arrives).
    HWND Handle() const { return m_window.Handle(); }

    // Milliseconds on a steady high-resolution clock shared by all instances.
    static double NowMs();

    // Messages recorded so far, in arrival order.
    std::size_t Count() const;
    std::vector<Message> Messages() const;

    // Waits until at least count messages have arrived in all. True if they did in time.
    bool WaitForCount(std::size_t count, DWORD timeoutMs = MustHappenMs()) const;
    // The next message that Next has not yet given out, waiting for it if need be; nothing if
    // none arrived in time. Independent of WaitForCount and Count.
    std::optional<Message> Next(DWORD timeoutMs = MustHappenMs());
    // True if the total stays at most count for the whole window.
    bool StaysAt(std::size_t count, DWORD windowMs = MustNotHappenMs()) const;
    // True if no message beyond those already recorded arrives within the window.
    bool NothingWithin(DWORD windowMs = MustNotHappenMs()) const;
    // Sends the window a message of its own (not recorded) and waits until the window procedure
    // has handled it. A thread handles the messages sent to it in the order they came, so once
    // this returns true every message queued before the call, by any thread, is recorded. Use it
    // after a watcher's Stop has returned to count exactly what the watcher sent.
    bool Flush(DWORD timeoutMs = MustHappenMs()) const;

private:
    void Record(UINT msg, WPARAM wParam, LPARAM lParam);
    template <class Predicate>
    bool WaitUntil(DWORD timeoutMs, Predicate predicate) const
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
::testing::AssertionResult NotBefore(double atMs, double fromMs, double ms);

// Stops a watcher (TimerThread, EventMonitorThread) with a time-out of MustHappenMs() and
// succeeds if Stop came back well within it: the thread ended by itself, was not terminated.
template <class Watcher>
::testing::AssertionResult StopsByItself(Watcher& watcher)
{
    const double before = OwnerWindow::NowMs();
    watcher.Stop(MustHappenMs());
    const double took = OwnerWindow::NowMs() - before;
    if (took < MustHappenMs() / 2.0)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "Stop took " << took << " ms: the thread did not end by itself";
}

// Runs work on a thread of its own while the watcher is paused. A pause suspends the watcher's thread
// wherever it is, perhaps inside the heap's lock, which work would then wait for: after MustHappenMs()
// the watcher is resumed all the same. False if work did not end within the pause.
template <class Watcher, class Work>
bool WhilePaused(Watcher& watcher, Work work)
{
    std::atomic<int> stage{0};  // 1: paused, 2: done
    std::thread worker([&] { WaitUntil([&] { return stage == 1; }, MustHappenMs()), work(), stage = 2; });
    watcher.Pause(), stage = 1;
    const bool inPause = WaitUntil([&] { return stage == 2; }, MustHappenMs());
    return watcher.Resume(), worker.join(), inPause;
}

// Records order by time and every field: at one time none is below or above another, and a copy is equal;
// one made later is not equal, and with every field greater it is above. fill(record, high) sets the fields.
template <class Record, class Fill>
::testing::AssertionResult OrderByTimeAndFields(Fill fill)
{
    Record low, high, later;
    fill(low, false), high = low, fill(high, true);
    if (low < high || high > low || !(Record(low) == low))
        return ::testing::AssertionFailure() << "records of one time ordered, or a copy unequal";
    if (!WaitUntil([&] { return later = Record(), fill(later, false), !(later == low); }, Scaled(3000)))
        return ::testing::AssertionFailure() << "records differing in time alone are equal";
    fill(later, true);
    return ::testing::AssertionResult(low < later && later > low) << "a later record with greater fields is not above";
}
}  // namespace weft::test
