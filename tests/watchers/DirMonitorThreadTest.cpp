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

// A change of one kind, different each time it is made (n counts the calls).
using Change = std::function<void(const TempDir& dir, int n)>;

void NewFile(const TempDir& dir, int n)
{
    WriteBytes(dir / ("f" + std::to_string(n)), "x");
}

void Append(const std::string& path, int n)
{
    HANDLE file = CreateFileA(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr, OPEN_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(file, "0123456789", static_cast<DWORD>(n % 10 + 1), &written, nullptr);
    CloseHandle(file);
}

// Makes changes until the monitor answers, since its handles are armed some time after the
// constructor returns; gives the first message. Each try waits twice as long as the one before,
// so that a slow answer is seldom followed by a second change that would answer later.
std::optional<OwnerWindow::Message> Prime(OwnerWindow& owner, const TempDir& dir, const Change& change, int& n)
{
    for (DWORD wait = Scaled(50); wait < 2 * MustHappenMs(); wait *= 2)
    {
        change(dir, n++);
        if (auto m = owner.Next(wait))
            return m;
    }
    return std::nullopt;
}

// Shows the bits collected so far, which nothing else announces, and counts the time-outs
// whose next wait has been worked out (the message goes before that).
struct DirProbe : DirMonitorThread
{
    DirProbe(const CString& dir, bool subtree, unsigned long filter, unsigned int msg, HWND wnd, unsigned long delay,
             __int64 lParam, bool progressive)
        : DirMonitorThread(dir, subtree, filter, msg, wnd, delay, lParam, progressive, HeldBack())
    {
        ReleaseThread();
    }
    ~DirProbe() override { StopThread(); }
    unsigned long DoTimeout() override
    {
        const unsigned long next = DirMonitorThread::DoTimeout();
        ++timeouts;
        return next;
    }
    using DirMonitorThread::GetNotificationsReceived;
    std::atomic<int> timeouts{0};
};
}  // namespace

class DirMonitorThreadTest : public ::testing::Test
{
protected:
    void Watch(unsigned long filter, unsigned long delay, bool progressive = false)
    {
        monitor = std::make_unique<DirProbe>(dir.Path().c_str(), false, filter, DirMsg, owner.Handle(), delay,
                                             DirLParam, progressive);
    }
    void Drain()
    {
        owner.Flush();
        while (owner.Next(0))
            ;
    }
    // A monitor armed without a delay (a change proved it), then given the delay d.
    ::testing::AssertionResult Armed(unsigned long filter, unsigned long d, bool progressive)
    {
        Watch(filter, NoDelay, progressive);
        if (!Prime(owner, dir, NewFile, k))
            return ::testing::AssertionFailure() << "the monitor never answered a change";
        monitor->SetMsgDelay(d);
        Drain();
        return ::testing::AssertionSuccess();
    }

    OwnerWindow owner;
    TempDir dir{"dirmon"};
    std::unique_ptr<DirProbe> monitor;  // ends before the folder goes
    int k = 0;
};

// Each filter bit alone is its own handle, and its message carries that bit.
TEST_F(DirMonitorThreadTest, EachFilterBitAloneGivesItsBitWithTheConstructorsLParam)
{
    const std::string file = dir / "grows";
    const std::pair<unsigned long, Change> rows[] = {
        {FILE_NOTIFY_CHANGE_FILE_NAME, NewFile},
        {FILE_NOTIFY_CHANGE_DIR_NAME, [](const TempDir& d, int n) { CreateDirectoryA((d / std::to_string(n)).c_str(), nullptr); }},
        {FILE_NOTIFY_CHANGE_ATTRIBUTES, [&](const TempDir&, int n) { SetFileAttributesA(file.c_str(), n % 2 ? 1 : 0x80); }},
        {FILE_NOTIFY_CHANGE_SIZE, [&](const TempDir&, int n) { Append(file, n); }},
        {FILE_NOTIFY_CHANGE_LAST_WRITE, [&](const TempDir&, int n) {
             HANDLE h = CreateFileA(file.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
             const FILETIME t = {static_cast<DWORD>(n) * 10000000u, 30000000u};
             SetFileTime(h, nullptr, nullptr, &t);
             CloseHandle(h);
         }},
    };
    WriteBytes(file, "seed");
    for (const auto& [bit, change] : rows)
    {
        Watch(bit, NoDelay);
        const auto m = Prime(owner, dir, change, k);
        ASSERT_TRUE(m.has_value()) << "no message for bit " << bit;
        EXPECT_EQ(DirMsg, m->msg);
        EXPECT_EQ(bit, m->wParam);
        EXPECT_EQ(DirLParam, m->lParam);
        monitor.reset();
        Drain();
    }
    SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_NORMAL);
}

// With a delay, a burst settles into one message d after its last change, carrying the OR of
// the bits; without the progressive delay nothing follows. A stop while settling sends nothing.
TEST_F(DirMonitorThreadTest, BurstGivesOneMessageADelayAfterItsLastChangeWithTheBitsOred)
{
    const unsigned long d = Scaled(150);
    ASSERT_TRUE(Armed(FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE, d, false));
    const std::string file = dir / "burst";
    double last = 0;
    for (int i = 0; i < 5; ++i)
    {
        last = OwnerWindow::NowMs();
        Append(file, i);  // the first makes the file (name), each one grows it (size)
    }
    const auto m = owner.Next();
    ASSERT_TRUE(m.has_value());
    EXPECT_EQ(FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE, m->wParam);
    EXPECT_EQ(DirLParam, m->lParam);
    EXPECT_TRUE(NotBefore(m->atMs, last, d));
    EXPECT_TRUE(owner.NothingWithin(3 * d)) << "a second message for one burst";

    const size_t sent = owner.Count();
    NewFile(dir, k++);
    ASSERT_TRUE(weft::test::WaitUntil([&] { return monitor->GetNotificationsReceived() != 0; }, MustHappenMs()));
    monitor->Stop(MustHappenMs());
    ASSERT_TRUE(owner.Flush());
    EXPECT_EQ(sent, owner.Count()) << "a stop while settling sent the collected bits";
}

// After one change at 0 the progressive messages come at d, 2d, 3d, 5d, 8d; a change while
// polling brings the wait back to d, and the time-out after it the multiplier back to 1.
TEST_F(DirMonitorThreadTest, ProgressiveDelayStretchesUntilTheNextChange)
{
    const unsigned long d = Scaled(100);
    ASSERT_TRUE(Armed(FILE_NOTIFY_CHANGE_FILE_NAME, d, true));
    const double start = OwnerWindow::NowMs();  // before the change: its notification comes during it
    NewFile(dir, k++);
    const unsigned long at[] = {1, 2, 3, 5, 8};
    for (unsigned long step : at)
    {
        const auto m = owner.Next();
        ASSERT_TRUE(m.has_value());
        EXPECT_EQ(step == 1 ? FILE_NOTIFY_CHANGE_FILE_NAME : 0u, m->wParam) << "at " << step << "d";
        EXPECT_TRUE(NotBefore(m->atMs, start, step * d)) << "at " << step << "d";
    }
    const double change = OwnerWindow::NowMs();
    NewFile(dir, k++);
    const auto settled = owner.Next();
    const auto polled = owner.Next();
    ASSERT_TRUE(settled.has_value() && polled.has_value());
    EXPECT_EQ(FILE_NOTIFY_CHANGE_FILE_NAME, settled->wParam);
    EXPECT_TRUE(NotBefore(settled->atMs, change, d));
    EXPECT_EQ(0u, polled->wParam);
    EXPECT_LT(polled->atMs - settled->atMs, 3.0 * d) << "the multiplier was not brought back to 1";
}

// ResetProgDelay leaves the running wait alone and makes the next one d. Without a delay
// again, the thread waits without limit once the running wait has run out.
TEST_F(DirMonitorThreadTest, ResetProgDelayAndSetMsgDelayTakeEffectAtTheNextWait)
{
    const unsigned long d = Scaled(100);
    ASSERT_TRUE(Armed(FILE_NOTIFY_CHANGE_FILE_NAME, d, true));
    NewFile(dir, k++);
    ASSERT_TRUE(owner.Next() && owner.Next() && owner.Next() && owner.Next());  // d, 2d, 3d, 5d: multiplier 3
    ASSERT_TRUE(WaitUntil([&] { return monitor->timeouts == 4; }, MustHappenMs())) << "the wait of 3d never began";
    const double reset = OwnerWindow::NowMs();
    monitor->ResetProgDelay();
    const auto kept = owner.Next();   // the running wait of 3d ends at 8d
    const auto after = owner.Next();  // then d
    ASSERT_TRUE(kept.has_value() && after.has_value());
    EXPECT_TRUE(NotBefore(kept->atMs, reset, 2 * d)) << "ResetProgDelay cut the running wait short";
    EXPECT_LT(after->atMs - kept->atMs, 2.5 * d) << "the wait after ResetProgDelay was not d";
    monitor->SetMsgDelay(NoDelay);
    owner.Next(3 * d);  // the wait running when the delay went, unless it had not begun
    EXPECT_TRUE(owner.NothingWithin(4 * d)) << "without a delay the thread must wait without limit";
}

// A rejected directory gives an inert object; a filter with no known bit, a null window or
// message 0 give a thread that never sends. None of them leaks a handle.
TEST_F(DirMonitorThreadTest, BadArgumentsGiveAnInertObjectOrASilentThread)
{
    const std::string file = dir / "plain.txt", missing = dir / "missing", tooLong = dir.Path() + std::string(300, 'a');
    WriteBytes(file, "x");
    EXPECT_TRUE(LeaksNoHandles([&] {
        for (const std::string& path : {std::string(), std::string("Q:\\none\\"), file, missing, tooLong})
        {
            DirMonitorThread inert(path.c_str(), false, 0x1F, DirMsg, owner.Handle(), NoDelay, 0, true);
            EXPECT_TRUE(inert.GetDir().IsEmpty()) << path;
            EXPECT_FALSE(inert.IsPaused());
            inert.Pause();
            inert.SetMsgDelay(5);
            inert.ResetProgDelay();
            inert.Stop(0);
        }
        DirMonitorThread noBits(dir.Path().c_str(), false, 0x0E0, DirMsg, owner.Handle(), NoDelay, 0, false);
        DirMonitorThread noWindow(dir.Path().c_str(), false, 0x1F, DirMsg, nullptr, NoDelay, 0, false);
        DirMonitorThread noMessage(dir.Path().c_str(), false, 0x1F, 0, owner.Handle(), NoDelay, 0, false);
        for (int i = 0; i < 3; ++i)
            NewFile(dir, k++);
        EXPECT_TRUE(owner.NothingWithin());
    }));
}

// The file monitor tells its file's creation, growth and deletion, and not its neighbours'.
TEST(FileMonitorThreadTest, TellsItsFilesChangesAndNotItsNeighbours)
{
    OwnerWindow owner;
    TempDir dir("filemon");
    const std::string file = dir / "watched.log";
    FileMonitorThread monitor(file.c_str(), DirMsg, owner.Handle(), NoDelay, DirLParam, false);
    EXPECT_FALSE(monitor.DoesFileExist());
    EXPECT_STREQ(file.c_str(), monitor.GetFile());
    int k = 0;
    // The file comes whole, by a rename: a write after the creation could be told apart from it.
    TempDir staging("filestage");
    auto replace = [&](size_t size, const FILETIME* written) {
        WriteBytes(staging / "next", std::string(size, 'x'));
        HANDLE next = CreateFileA((staging / "next").c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        SetFileTime(next, nullptr, nullptr, written);
        CloseHandle(next);
        MoveFileExA((staging / "next").c_str(), file.c_str(), MOVEFILE_REPLACE_EXISTING);
    };
    const auto created = Prime(owner, dir, [&](const TempDir&, int n) { replace(n + 1, nullptr); }, k);
    ASSERT_TRUE(created.has_value());
    EXPECT_EQ(DirLParam, created->lParam);
    EXPECT_TRUE(monitor.DoesFileExist());
    for (int i = 0; i < 3; ++i)
        NewFile(dir, k++);
    EXPECT_TRUE(owner.NothingWithin()) << "a neighbour's change was told";
    // Grown with its date kept, so that only the size tells.
    WIN32_FILE_ATTRIBUTE_DATA before = {};
    GetFileAttributesExA(file.c_str(), GetFileExInfoStandard, &before);
    replace(before.nFileSizeLow + 7, &before.ftLastWriteTime);
    ASSERT_TRUE(owner.Next().has_value()) << "a file that grew was not told";
    EXPECT_TRUE(owner.NothingWithin()) << "one write gave more than one message";
    DeleteFileA(file.c_str());
    ASSERT_TRUE(owner.Next().has_value()) << "the deletion was not told";
    EXPECT_FALSE(monitor.DoesFileExist());
}

// The thread starts in the base constructor and ends in the base destructor. A neighbour's
// churn never changes the watched file, so any message at all means that the base's own
// BroadcastMsg ran, on an object that was not (or no longer) a whole file monitor.
TEST(FileMonitorThreadTest, ConstructionAndDestructionWhileNeighboursChangeSendNothing)
{
    OwnerWindow owner;
    TempDir dir("filerace");
    std::atomic<bool> done{false};
    std::thread churn([&] {
        for (int n = 0; !done; ++n)
            WriteBytes(dir / ("n" + std::to_string(n % 3)), std::string(n % 7 + 1, 'x'));
    });
    // Lifetimes spread over 0 to 20 ms, so that destruction meets the thread at every stage.
    for (int i = 0; i < 100; ++i)
    {
        FileMonitorThread monitor((dir / "quiet").c_str(), DirMsg, owner.Handle(), i % 2 ? NoDelay : 0, 0, false);
        Sleep(i * 7 % 21);
    }
    done = true;
    churn.join();
    ASSERT_TRUE(owner.Flush());
    EXPECT_EQ(0u, owner.Count());
}
