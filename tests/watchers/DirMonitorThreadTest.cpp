#include "support/OwnerWindow.h"

#include <bit>

using namespace weft::test;

class DirMonitorThreadTest : public ::testing::Test
{
protected:
    static constexpr unsigned long NoDelay = 0xFFFFFFFF;
    struct DirProbe : DirMonitorThread  // shows the bits collected; counts the time-outs that set the next wait
    {
        DirProbe(const std::string& dir, unsigned long filter, HWND wnd, bool progressive)
            : DirMonitorThread(dir.c_str(), false, filter, WatchMsg, wnd, NoDelay, WatchLParam, progressive, HeldBack())
        { ReleaseThread(); }
        ~DirProbe() override { StopThread(); }
        unsigned long DoTimeout() override { const auto next = DirMonitorThread::DoTimeout(); return ++timeouts, next; }
        using DirMonitorThread::GetNotificationsReceived, DirMonitorThread::ResetNotificationsReceived;
        using DirMonitorThread::DoInit;
        std::atomic<int> timeouts{0};
    };
    void NewFile() { WriteBytes(dir / ("f" + std::to_string(k++)), "x"); }
    bool Told(const std::string& in)  // new files in the folder until a message comes, with one bit, at once
    {
        for (DWORD wait = Scaled(50); wait < 2 * MustHappenMs(); wait *= 2)
            if (WriteBytes(in + "f" + std::to_string(k++), "x"); const auto m = owner.Next(wait))
                return std::has_single_bit(m->wParam) && m->lParam == WatchLParam;
        return false;
    }
    bool Armed(unsigned long filter, unsigned long d, bool progressive, const std::string& in = "")  // then the delay d
    {
        Quiet();
        monitor = std::make_unique<DirProbe>(in.empty() ? dir.Path() : in, filter, owner.Handle(), progressive);
        EXPECT_TRUE(monitor->GetNotificationsReceived() == 0 && monitor->DoInit(nullptr) == 0) << "early bits";
        const bool answered = Told(dir.Path());
        Quiet(), monitor->ResetNotificationsReceived();  // none to clear without a delay
        return monitor->GetNotificationsReceived() == 0 && (monitor->SetMsgDelay(d), answered);
    }
    void Quiet() { for (int i = 0; i < 10 && owner.Next(Scaled(100));) ++i; }  // drains till none comes for a while

    OwnerWindow owner;
    TempDir dir{"dirmon"};
    std::unique_ptr<DirProbe> monitor;  // ends before the folder goes
    void TearDown() override { EXPECT_TRUE(!monitor || StopsByItself(*monitor)); }  // bounded, unlike the destructor
    int k = 0;
};

// A burst gives one message d after its last change, the bits ORed, the lParam kept; a stop while settling none.
TEST_F(DirMonitorThreadTest, BurstGivesOneMessageADelayAfterItsLastChangeWithTheBitsOred)
{
    const unsigned long d = Scaled(150);
    ASSERT_TRUE(Armed(FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE, d, false)) << "no answer";
    double last = 0;
    for (int i = 1; i <= 5; ++i)  // the first makes the file (name), each one grows it (size)
        last = OwnerWindow::NowMs(), WriteBytes(dir / "burst", std::string(i, 'x'));
    const auto m = owner.Next();
    ASSERT_TRUE(m && m->wParam == (FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE) && m->lParam == WatchLParam);
    EXPECT_TRUE(NotBefore(m->atMs, last, d) && m->atMs - last < 1.75 * d && !owner.Next(2 * d)) << m->atMs - last;
    const size_t sent = owner.Count();
    NewFile();
    ASSERT_TRUE(WaitUntil([&] { return monitor->GetNotificationsReceived() != 0; }, MustHappenMs()));
    monitor->Stop(MustHappenMs());
    EXPECT_TRUE(owner.Flush() && sent == owner.Count()) << "a stop while settling sent the collected bits";
}

// Progressive messages come at d, 2d, 3d, 5d; a change, or a reset in the wait with the multiplier 2, makes the next d.
TEST_F(DirMonitorThreadTest, ProgressiveDelayStretchesUntilAResetOrTheNextChange)
{
    const unsigned long d = Scaled(400);
    ASSERT_TRUE(Armed(FILE_NOTIFY_CHANGE_FILE_NAME, d, true)) << "no answer";
    double start = OwnerWindow::NowMs(), previous = start;  // before the change: its notification comes during it
    NewFile();
    for (unsigned long last = 0; unsigned long step : {1, 2, 1, 2, 3, 4, 6, 9})  // each within a step's fraction
    {
        ASSERT_TRUE(step != 3 || WaitUntil([&] { return monitor->timeouts == 4 && (monitor->ResetProgDelay(), true); },
                                           MustHappenMs())) << "no wait with the multiplier 2 to reset";
        if (step < last)  // during the wait of d that has the multiplier 2
            start = previous = OwnerWindow::NowMs(), NewFile(), last = 0;
        const auto m = owner.Next();
        ASSERT_TRUE(m && NotBefore(m->atMs, start, step * d) && m->atMs - previous < (step - last + 0.75) * d)
            << "at " << step << "d, " << (m ? m->atMs - previous : -1) << " ms after the last";
        previous = m->atMs, last = step;
    }
}

struct FileProbe : FileMonitorThread { using FileMonitorThread::FileMonitorThread, FileMonitorThread::BroadcastMsg; };

// Inert without a folder; file monitors ignore neighbours, leak no handle, tell a new size; a root has its subtree.
TEST_F(DirMonitorThreadTest, FileMonitorTellsOnlyItsOwnFilesChangesAndLeaksNoHandle)
{
    const std::string file = dir / "watched.log", sub = dir / "sub\\";
    EXPECT_TRUE(LeaksNoHandles([&] {
        FileMonitorThread inert((dir / "missing\\f").c_str(), WatchMsg, owner.Handle(), 0, 0, false);
        EXPECT_TRUE(inert.GetDir().IsEmpty() && inert.GetPriority() == 0 && !(inert.Pause(), inert.IsPaused()) &&
                    !inert.DoesFileExist() && inert.GetFile() == (dir / "missing\\f").c_str());
        std::atomic<bool> done{false};
        std::thread churn([&] {
            for (int n = 0; !done; ++n)
                WriteBytes(dir / ("n" + std::to_string(n % 3)), std::string(n % 7 + 1, 'x'));
        });
        for (int i = 0; i < 100; ++i)  // lifetimes spread over 0 to 20 ms
            FileMonitorThread(file.c_str(), WatchMsg, owner.Handle(), i % 2 ? NoDelay : 0, 0, false), Sleep(i * 7 % 21);
        done = true, churn.join();
    }));
    EXPECT_TRUE(owner.Flush() && owner.Count() == 0) << "a neighbour's change was told";
    WriteBytes(file, "x");
    FileProbe probe(file.c_str(), WatchMsg, owner.Handle(), NoDelay - 1, 0, false);  // its thread never sends
    WIN32_FILE_ATTRIBUTE_DATA before = {};
    EXPECT_TRUE(probe.DoesFileExist() && GetFileAttributesExA(file.c_str(), GetFileExInfoStandard, &before));
    WriteBytes(file, "grown");
    HANDLE h = CreateFileA(file.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    SetFileTime(h, nullptr, nullptr, &before.ftLastWriteTime), CloseHandle(h);
    probe.BroadcastMsg(1, 0), probe.BroadcastMsg(1, 0);  // the new size, then no change
    EXPECT_TRUE(owner.Flush() && owner.Count() == 1 && probe.DoesFileExist());
    CreateDirectoryA(sub.c_str(), nullptr);
    ASSERT_TRUE(Armed(FILE_NOTIFY_CHANGE_FILE_NAME, NoDelay, false) &&
                (WriteBytes(sub + "f", "x"), owner.NothingWithin()))
        << "a folder watched alone told a change below it";
    monitor->SetMsgDelay(3 * MustHappenMs()), NewFile();  // a change told at once clears the bits of a delay
    ASSERT_TRUE(WaitUntil([&] { return monitor->GetNotificationsReceived() != 0; }, MustHappenMs()));
    monitor->SetMsgDelay(NoDelay), NewFile();
    EXPECT_TRUE(WaitUntil([&] { return monitor->GetNotificationsReceived() == 0; }, MustHappenMs()));
    const size_t n = (owner.Flush(), owner.Count());
    EXPECT_TRUE((monitor->Stop(MustHappenMs()), owner.Flush()) && owner.Count() == n) << "the stop was told";
    HANDLE tree = FindFirstChangeNotificationA(dir.Path().c_str(), TRUE, FILE_NOTIFY_CHANGE_FILE_NAME);
    const bool below = (WriteBytes(sub + "g", "x"), WaitForSingleObject(tree, Scaled(1000)) == WAIT_OBJECT_0);
    if (FindCloseChangeNotification(tree); !below)
        GTEST_SKIP() << "the system tells no change below a folder watched with its subtree (Wine does not)";
    EXPECT_TRUE(Armed(FILE_NOTIFY_CHANGE_FILE_NAME, NoDelay, false, dir.Path().substr(0, 3))) << "a root watched alone";
}
