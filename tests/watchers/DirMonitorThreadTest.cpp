#include "weftcore.h"

#include "support/OwnerWindow.h"
#include "weftbase/WeftBaseTestFiles.h"

#include <atomic>
#include <functional>
#include <thread>

using namespace weft::test;

namespace
{
const UINT DirMsg = WM_APP + 31;
const __int64 DirLParam = -0x1234567LL;
const unsigned long NoDelay = 0xFFFFFFFF;

// Makes a new change until the monitor answers (its handles are armed some time after the
// constructor returns), each try waiting twice as long; true if it did.
bool Prime(OwnerWindow& owner, const std::function<void()>& change)
{
    for (DWORD wait = Scaled(50); wait < 2 * MustHappenMs(); wait *= 2)
        if (change(); owner.Next(wait))
            return true;
    return false;
}

// Shows the bits collected so far and counts the time-outs whose next wait has been worked out
// (the message goes before that).
struct DirProbe : DirMonitorThread
{
    DirProbe(const std::string& dir, unsigned long filter, HWND wnd, bool progressive)
        : DirMonitorThread(dir.c_str(), false, filter, DirMsg, wnd, NoDelay, DirLParam, progressive, HeldBack())
    {
        ReleaseThread();
    }
    ~DirProbe() override { StopThread(); }
    unsigned long DoTimeout() override { const unsigned long next = DirMonitorThread::DoTimeout(); return ++timeouts, next; }
    using DirMonitorThread::GetNotificationsReceived;
    std::atomic<int> timeouts{0};
};
}  // namespace

class DirMonitorThreadTest : public ::testing::Test
{
protected:
    void NewFile() { WriteBytes(dir / ("f" + std::to_string(k++)), "x"); }
    // A fresh monitor armed without a delay (true if an answered change proved it), then given the
    // delay d, with nothing left to read.
    bool Armed(unsigned long filter, unsigned long d, bool progressive)
    {
        monitor = std::make_unique<DirProbe>(dir.Path(), filter, owner.Handle(), progressive);
        const bool answered = Prime(owner, [this] { NewFile(); });
        monitor->SetMsgDelay(d);
        for (owner.Flush(); owner.Next(0);)
            ;
        return answered;
    }

    OwnerWindow owner;
    TempDir dir{"dirmon"};
    std::unique_ptr<DirProbe> monitor;  // ends before the folder goes
    int k = 0;
};

// Each filter bit is a handle of its own. A burst settles into one message d after its last
// change, with the OR of the bits and the constructor's lParam. A stop while settling sends nothing.
TEST_F(DirMonitorThreadTest, BurstGivesOneMessageADelayAfterItsLastChangeWithTheBitsOred)
{
    const unsigned long d = Scaled(150);
    ASSERT_TRUE(Armed(FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE, d, false)) << "no answer";
    double last = 0;
    for (int i = 1; i <= 5; ++i)  // the first makes the file (name), each one grows it (size)
        last = OwnerWindow::NowMs(), WriteBytes(dir / "burst", std::string(i, 'x'));
    const auto m = owner.Next();
    ASSERT_TRUE(m.has_value());
    EXPECT_EQ(FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE, m->wParam);
    EXPECT_EQ(DirLParam, m->lParam);
    EXPECT_TRUE(NotBefore(m->atMs, last, d));
    EXPECT_TRUE(owner.NothingWithin(3 * d)) << "a second message for one burst";
    const size_t sent = owner.Count();
    NewFile();
    ASSERT_TRUE(WaitUntil([&] { return monitor->GetNotificationsReceived() != 0; }, MustHappenMs()));
    monitor->Stop(MustHappenMs());
    ASSERT_TRUE(owner.Flush());
    EXPECT_EQ(sent, owner.Count()) << "a stop while settling sent the collected bits";
}

// After one change at 0 the progressive messages come at d, 2d, 3d, 5d, 8d. ResetProgDelay during
// the wait of 3d leaves it alone and makes the next wait d: 8d, 9d, 11d. A change while polling
// brings the wait back to d, and the time-out after it the multiplier back to 1.
TEST_F(DirMonitorThreadTest, ProgressiveDelayStretchesUntilAResetOrTheNextChange)
{
    const unsigned long d = Scaled(100);
    ASSERT_TRUE(Armed(FILE_NOTIFY_CHANGE_FILE_NAME, d, true)) << "no answer";
    const double start = OwnerWindow::NowMs();  // before the change: its notification comes during it
    NewFile();
    for (double previous = start; unsigned long step : {1, 2, 3, 5, 8, 9, 11})
    {
        if (step == 8)
        {
            ASSERT_TRUE(WaitUntil([&] { return monitor->timeouts == 4; }, MustHappenMs())) << "no wait of 3d";
            monitor->ResetProgDelay();
        }
        const auto m = owner.Next();
        ASSERT_TRUE(m.has_value());
        EXPECT_TRUE(NotBefore(m->atMs, start, step * d)) << "at " << step << "d";
        EXPECT_TRUE(step != 9 || m->atMs - previous < 2.5 * d) << "the wait after ResetProgDelay was not d";
        previous = m->atMs;
    }
    NewFile();  // during the wait of 3d: the multiplier is 4
    const auto settled = owner.Next(), polled = owner.Next();
    ASSERT_TRUE(settled.has_value() && polled.has_value());
    EXPECT_LT(polled->atMs - settled->atMs, 2.5 * d) << "the multiplier was not brought back to 1";
}

// A missing directory gives an inert object; a monitor that armed its handles closes them all.
TEST_F(DirMonitorThreadTest, BadArgumentsGiveAnInertObjectAndNoMonitorLeaks)
{
    EXPECT_TRUE(LeaksNoHandles([&] {
        DirMonitorThread missing((dir / "missing").c_str(), false, 0x1F, DirMsg, owner.Handle(), NoDelay, 0, true);
        EXPECT_TRUE(missing.GetDir().IsEmpty());
        DirMonitorThread noWindow(dir.Path().c_str(), false, 0x1F, DirMsg, nullptr, NoDelay, 0, false);
        NewFile();
        EXPECT_TRUE(owner.NothingWithin());  // meanwhile the thread arms its handles
    }));
}

// The file monitor tells its own file's changes, a growth with the date kept too, and never its
// neighbours'. Its thread starts in the base constructor and ends in the base destructor: told at
// any point of a monitor's life, a neighbour's change means that the base's BroadcastMsg ran.
TEST_F(DirMonitorThreadTest, FileMonitorTellsItsOwnFilesChangesAndNeverItsNeighbours)
{
    const std::string file = dir / "watched.log", next = dir / "next";
    std::atomic<bool> done{false};
    std::thread churn([&] {
        for (int n = 0; !done; ++n)
            WriteBytes(dir / ("n" + std::to_string(n % 3)), std::string(n % 7 + 1, 'x'));
    });
    for (int i = 0; i < 100; ++i)  // lifetimes spread over 0 to 20 ms
    {
        FileMonitorThread monitor(file.c_str(), DirMsg, owner.Handle(), i % 2 ? NoDelay : 0, 0, false);
        Sleep(i * 7 % 21);
    }
    done = true;
    churn.join();
    ASSERT_TRUE(owner.Flush());
    EXPECT_EQ(0u, owner.Count()) << "a neighbour's change was told";
    // The file comes whole, by a rename: a write after the creation could be told apart from it.
    auto replace = [&](size_t size, const FILETIME* written) {
        WriteBytes(next, std::string(size, 'x'));
        HANDLE h = CreateFileA(next.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        SetFileTime(h, nullptr, nullptr, written), CloseHandle(h);
        MoveFileExA(next.c_str(), file.c_str(), MOVEFILE_REPLACE_EXISTING);
    };
    FileMonitorThread monitor(file.c_str(), DirMsg, owner.Handle(), NoDelay, DirLParam, false);
    ASSERT_TRUE(Prime(owner, [&, n = 0]() mutable { replace(++n, nullptr); }));
    EXPECT_TRUE(owner.NothingWithin()) << "one change told twice";
    WIN32_FILE_ATTRIBUTE_DATA before = {};
    GetFileAttributesExA(file.c_str(), GetFileExInfoStandard, &before);
    replace(before.nFileSizeLow + 7, &before.ftLastWriteTime);  // only the size tells
    EXPECT_TRUE(owner.Next().has_value()) << "a file that grew with its date kept was not told";
}
