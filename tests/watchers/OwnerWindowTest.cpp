// The owner window that every watcher test relies on: what it records, in which order, and
// what its waits promise.
#include "support/OwnerWindow.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using weft::test::MustHappenMs;
using weft::test::OwnerWindow;

TEST(OwnerWindowTest, RecordsNotificationsOfOtherThreadsWithTheirParametersInSendOrder)
{
    OwnerWindow owner;
    ASSERT_NE(owner.Handle(), nullptr);
    const int perSender = 300;
    auto send = [&](WPARAM sender) {
        for (int i = 0; i < perSender; ++i)
            SendNotifyMessageA(owner.Handle(), WM_APP + 1, sender, static_cast<LPARAM>(i) - 100);
    };
    std::thread first(send, 1);
    std::thread second(send, 2);
    first.join();
    second.join();
    ASSERT_TRUE(owner.WaitForCount(2 * perSender));
    LPARAM expected[3] = {0, -100, -100};
    for (const auto& m : owner.Messages())
    {
        ASSERT_EQ(m.msg, static_cast<UINT>(WM_APP + 1));
        ASSERT_TRUE(m.wParam == 1 || m.wParam == 2);
        EXPECT_EQ(m.lParam, expected[m.wParam]++) << "out of order from sender " << m.wParam;
    }
    EXPECT_TRUE(owner.StaysAt(2 * perSender, 50));
}

TEST(OwnerWindowTest, FlushReturnsOnceEverythingSentBeforeItIsRecorded)
{
    OwnerWindow owner;
    const std::size_t sent = 2000;
    std::thread([&] {
        for (std::size_t i = 0; i < sent; ++i)
            SendNotifyMessageA(owner.Handle(), WM_APP + 2, i, 0);
    }).join();
    ASSERT_TRUE(owner.Flush());
    EXPECT_EQ(owner.Count(), sent);
}

TEST(OwnerWindowTest, RecordsMessageZeroAndTheUserRangeOnly)
{
    OwnerWindow owner;
    const UINT registered = RegisterWindowMessageA(weft::test::UniqueName("owner-window").c_str());
    std::thread([&] {
        SendNotifyMessageA(owner.Handle(), WM_USER - 2, 0, 0);  // system range: not recorded
        SendNotifyMessageA(owner.Handle(), WM_NULL, 1, 0);
        SendNotifyMessageA(owner.Handle(), WM_USER, 2, 0);
        SendNotifyMessageA(owner.Handle(), registered, 3, 0);
    }).join();
    ASSERT_TRUE(owner.Flush());
    const auto messages = owner.Messages();
    ASSERT_EQ(messages.size(), 3u);
    EXPECT_EQ(messages[0].msg, static_cast<UINT>(WM_NULL));
    EXPECT_EQ(messages[1].msg, static_cast<UINT>(WM_USER));
    EXPECT_EQ(messages[2].msg, registered);
}

TEST(OwnerWindowTest, HandlerRunsOnTheWindowThreadBeforeWaitersWake)
{
    std::atomic<DWORD> handlerThread{0};
    std::atomic<LPARAM> handled{0};
    OwnerWindow owner([&](const OwnerWindow::Message& m) {
        handlerThread = GetCurrentThreadId();
        handled = m.lParam;
    });
    std::thread([&] { SendNotifyMessageA(owner.Handle(), WM_APP + 3, 0, 42); }).join();
    ASSERT_TRUE(owner.WaitForCount(1));
    EXPECT_EQ(handled.load(), 42);
    EXPECT_EQ(handlerThread.load(), owner.ThreadId());
    EXPECT_NE(owner.ThreadId(), GetCurrentThreadId());
}

TEST(OwnerWindowTest, NextHandsOutEachMessageOnceAndGivesNothingWhenNoneComes)
{
    OwnerWindow owner;
    EXPECT_FALSE(owner.Next(0).has_value());
    std::thread([&] {
        SendNotifyMessageA(owner.Handle(), WM_APP + 4, 1, 0);
        SendNotifyMessageA(owner.Handle(), WM_APP + 4, 2, 0);
    }).join();
    auto a = owner.Next();
    auto b = owner.Next();
    ASSERT_TRUE(a.has_value() && b.has_value());
    EXPECT_EQ(a->wParam, 1u);
    EXPECT_EQ(b->wParam, 2u);
    EXPECT_LE(a->atMs, b->atMs);
    EXPECT_FALSE(owner.Next(50).has_value());
}
