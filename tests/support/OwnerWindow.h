// The owner window of the watcher tests: a real message-only window (HWND_MESSAGE), pumped on
// a thread of its own, that records every message a watcher sends it and lets a test wait for
// them with bounded time-outs.
//
//   weft::test::OwnerWindow owner;
//   TimerThread timer(WM_APP + 1, owner.Handle(), 50, false, 7, -7);
//   ASSERT_TRUE(owner.WaitForCount(3));                  // must happen, within MustHappenMs()
//   timer.Stop(weft::test::MustHappenMs());
//   EXPECT_TRUE(owner.NothingWithin());                   // must not happen, for MustNotHappenMs()
//   for (const auto& m : owner.Messages()) EXPECT_EQ(m.wParam, 7u);
//
// What is recorded: messages of number 0 (WM_NULL) and of WM_USER upwards, which covers the
// application's own numbers (WM_USER, WM_APP) and registered messages; the system's own
// traffic to the window (creation, destruction) is left out. Each record carries the arrival
// time on the clock of NowMs(), taken in the window procedure.
//
// The pump waits with MsgWaitForMultipleObjectsEx and drains with PeekMessage: a message
// sent by SendNotifyMessageA from another thread is dispatched inside PeekMessage and never
// returned by it, so the window procedure is the one place that sees it.
//
// All members may be called from any thread. The destructor destroys the window on its own
// thread and joins that thread; a watcher that still sends afterwards gets error 1400.
#pragma once

#include "support/TestSupport.h"

#include <condition_variable>
#include <cstddef>
#include <functional>
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
        double atMs;  // arrival, on the clock of NowMs()
    };
    // Runs on the window's thread for each recorded message, before waiters are woken: for
    // messages that hand over a record to be read and deleted by the window.
    using Handler = std::function<void(const Message&)>;

    explicit OwnerWindow(Handler handler = nullptr);
    ~OwnerWindow();
    OwnerWindow(const OwnerWindow&) = delete;
    OwnerWindow& operator=(const OwnerWindow&) = delete;

    // The window; null if it could not be created (then nothing ever arrives).
    HWND Handle() const { return m_hWnd; }
    // The id of the thread that owns the window and runs the window procedure.
    DWORD ThreadId() const { return m_threadId; }

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
    static LRESULT CALLBACK WindowProc(HWND wnd, UINT msg, WPARAM wParam, LPARAM lParam);
    void Pump();
    void Record(UINT msg, WPARAM wParam, LPARAM lParam);

    Handler m_handler;
    HANDLE m_evQuit = nullptr;
    HWND m_hWnd = nullptr;
    DWORD m_threadId = 0;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_arrived;
    bool m_bReady = false;  // the pump has created the window, or failed to
    std::vector<Message> m_messages;
    std::size_t m_nNext = 0;  // index of the message Next gives out next
    std::thread m_pump;
};
}  // namespace weft::test
