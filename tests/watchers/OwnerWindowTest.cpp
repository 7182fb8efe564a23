// The owner window that every watcher test relies on: what it records, in which order, and
// what its waits promise.
#include "support/OwnerWindow.h"

#include <gtest/gtest.h>

#include <atomic>
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
    std::atomic<DWORD> handlerThread{0};
    OwnerWindow owner([&](const OwnerWindow::Message&) { handlerThread = GetCurrentThreadId(); });
    EXPECT_FALSE(owner.Next(0).has_value());
    const UINT registered = RegisterWindowMessageA(weft::test::UniqueName("owner-window").c_str());
    std::thread([&] {
        SendNotifyMessageA(owner.Handle(), WM_USER - 2, 0, 0);  // system range: not recorded
        SendNotifyMessageA(owner.Handle(), WM_NULL, 1, 0);
        SendNotifyMessageA(owner.Handle(), WM_USER, 2, 0);
        SendNotifyMessageA(owner.Handle(), registered, 3, 42);
    }).join();
    const UINT expected[] = {WM_NULL, WM_USER, registered};
    double lastAt = 0;
    for (WPARAM i = 0; i < 3; ++i)
    {
        auto m = owner.Next();
        ASSERT_TRUE(m.has_value()) << "message " << i;
        EXPECT_EQ(m->msg, expected[i]);
        EXPECT_EQ(m->wParam, i + 1);
        EXPECT_GE(m->atMs, lastAt);
        lastAt = m->atMs;
    }
    EXPECT_EQ(owner.Messages().back().lParam, 42);
    EXPECT_FALSE(owner.Next(50).has_value());
    EXPECT_EQ(owner.Count(), 3u);
    EXPECT_EQ(handlerThread.load(), owner.ThreadId());
    EXPECT_NE(owner.ThreadId(), GetCurrentThreadId());
}
