// The owner window that every watcher test relies on: what it records, in which order, and
// what its waits promise.
#include "support/OwnerWindow.h"

#include <gtest/gtest.h>

#include <atomic>
#include <iterator>
#include <thread>

using weft::test::OwnerWindow;

TEST(OwnerWindowTest, RecordsNotificationsOfOtherThreadsInSendOrderAndFlushWaitsForAll)
{
    OwnerWindow owner;
    ASSERT_NE(owner.Handle(), nullptr);
    const int perSender = 1000;
    auto send = [&](WPARAM sender) {
        for (int i = 0; i < perSender; ++i)
            SendNotifyMessageA(owner.Handle(), WM_APP + 1, sender, static_cast<LPARAM>(i) - 100);
    };
    std::thread first(send, 1);
    std::thread second(send, 2);
    first.join();
    second.join();
    ASSERT_TRUE(owner.Flush());
    ASSERT_EQ(owner.Count(), 2u * perSender) << "Flush returned before everything sent was recorded";
    LPARAM expected[3] = {0, -100, -100};
    for (const auto& m : owner.Messages())
    {
        ASSERT_EQ(m.msg, static_cast<UINT>(WM_APP + 1));
        ASSERT_TRUE(m.wParam == 1 || m.wParam == 2);
        EXPECT_EQ(m.lParam, expected[m.wParam]++) << "out of order from sender " << m.wParam;
    }
}

TEST(OwnerWindowTest, RecordsMessageZeroAndTheUserRangeOnlyAndNextHandsOutEachOnce)
{
    // Were message 0 not recorded, the tests that a watcher sends nothing for it would pass
    // whatever the watcher did.
    std::atomic<DWORD> handlerThread{0};
    OwnerWindow owner([&](const OwnerWindow::Message&) { handlerThread = GetCurrentThreadId(); });
    EXPECT_FALSE(owner.Next(0).has_value());
    const UINT registered = RegisterWindowMessageA(weft::test::UniqueName("owner-window").c_str());
    const UINT sent[] = {WM_USER - 2 /* system range: not recorded */, WM_NULL, WM_USER, registered};
    std::thread([&] {
        for (WPARAM i = 0; i < std::size(sent); ++i)
            SendNotifyMessageA(owner.Handle(), sent[i], i, -static_cast<LPARAM>(i));
    }).join();
    double lastAt = 0;
    for (WPARAM i = 1; i < std::size(sent); ++i)
    {
        auto m = owner.Next();
        ASSERT_TRUE(m.has_value()) << "message " << i;
        EXPECT_EQ(m->msg, sent[i]);
        EXPECT_EQ(m->wParam, i);
        EXPECT_EQ(m->lParam, -static_cast<LPARAM>(i));
        EXPECT_GE(m->atMs, lastAt);
        lastAt = m->atMs;
    }
    EXPECT_FALSE(owner.Next(50).has_value());
    EXPECT_EQ(owner.Count(), 3u);
    // The handler ran on the window's thread before the waiter woke.
    EXPECT_EQ(handlerThread.load(), owner.ThreadId());
    EXPECT_NE(owner.ThreadId(), GetCurrentThreadId());
}
