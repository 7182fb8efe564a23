#include "weftcore.h"

#include "support/OwnerWindow.h"
#include "weftbase/WeftBaseTestFiles.h"

#include <thread>

using namespace weft::test;

class DirMonitorThreadTest : public ::testing::Test
{
protected:
    static constexpr UINT DirMsg = WM_APP + 31;
    static constexpr __int64 DirLParam = -0x1234567LL;
    static constexpr unsigned long NoDelay = 0xFFFFFFFF;
    struct DirProbe : DirMonitorThread  // shows the bits collected; counts the time-outs that set the next wait
    {
        DirProbe(const std::string& dir, unsigned long filter, HWND wnd, bool progressive)
            : DirMonitorThread(dir.c_str(), false, filter, DirMsg, wnd, NoDelay, DirLParam, progressive, HeldBack())
        {
            ReleaseThread();
        }
        ~DirProbe() override { StopThread(); }
        unsigned long DoTimeout() override { const auto next = DirMonitorThread::DoTimeout(); return ++timeouts, next; }
        using DirMonitorThread::GetNotificationsReceived;
        std::atomic<int> timeouts{0};
    };
    struct FileProbe : FileMonitorThread { using FileMonitorThread::FileMonitorThread, FileMonitorThread::BroadcastMsg; };
    void NewFile() { WriteBytes(dir / ("f" + std::to_string(k++)), "x"); }
    bool Armed(unsigned long filter, unsigned long d, bool progressive)  // a change answered, then the delay d
    {
        monitor = std::make_unique<DirProbe>(dir.Path(), filter, owner.Handle(), progressive);
        bool answered = false;
        for (DWORD wait = Scaled(50); !answered && wait < 2 * MustHappenMs(); wait *= 2)
            NewFile(), answered = owner.Next(wait).has_value();
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

// A burst gives one message d after its last change, the bits ORed, the lParam kept; a stop while settling none.
TEST_F(DirMonitorThreadTest, BurstGivesOneMessageADelayAfterItsLastChangeWithTheBitsOred)
{
    const unsigned long d = Scaled(150);
    ASSERT_TRUE(Armed(FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE, d, false)) << "no answer";
    double last = 0;
    for (int i = 1; i <= 5; ++i)  // the first makes the file (name), each one grows it (size)
        last = OwnerWindow::NowMs(), WriteBytes(dir / "burst", std::string(i, 'x'));
    const auto m = owner.Next();
    ASSERT_TRUE(m.has_value());
    EXPECT_TRUE(m->wParam == (FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE) && m->lParam == DirLParam) << m->wParam << ", " << m->lParam;
    EXPECT_TRUE(NotBefore(m->atMs, last, d));
    const size_t sent = owner.Count();
    NewFile();
    ASSERT_TRUE(WaitUntil([&] { return monitor->GetNotificationsReceived() != 0; }, MustHappenMs()));
    monitor->Stop(MustHappenMs());
    EXPECT_TRUE(owner.Flush() && sent == owner.Count()) << "a stop while settling sent the collected bits";
}

// Progressive messages come at d, 2d, 3d, 5d, 8d; a reset in the wait of 3d makes the next d; so does a change.
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

// No monitor of a missing folder; file monitors ignore neighbours, leak no handle, tell their file's new size.
TEST_F(DirMonitorThreadTest, FileMonitorTellsOnlyItsOwnFilesChangesAndLeaksNoHandle)
{
    const std::string file = dir / "watched.log";
    EXPECT_TRUE(LeaksNoHandles([&] {
        EXPECT_TRUE(FileMonitorThread((dir / "missing\\f").c_str(), DirMsg, owner.Handle(), 0, 0, false).GetDir().IsEmpty());
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
    }));
    EXPECT_TRUE(owner.Flush() && owner.Count() == 0) << "a neighbour's change was told";
    WriteBytes(file, "x");
    FileProbe probe(file.c_str(), DirMsg, owner.Handle(), NoDelay - 1, 0, false);  // its thread never sends
    WIN32_FILE_ATTRIBUTE_DATA before = {};
    GetFileAttributesExA(file.c_str(), GetFileExInfoStandard, &before);
    WriteBytes(file, "grown");
    HANDLE h = CreateFileA(file.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    SetFileTime(h, nullptr, nullptr, &before.ftLastWriteTime), CloseHandle(h);
    probe.BroadcastMsg(1, 0), probe.BroadcastMsg(1, 0);  // the new size, then no change
    EXPECT_TRUE(owner.Flush() && owner.Count() == 1);
}
