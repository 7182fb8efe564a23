#include "weftcore.h"

#include "support/OwnerWindow.h"
#include "weftbase/WeftBaseTestFiles.h"

#include <algorithm>
#include <mutex>
#include <set>

using namespace weft::test;
using Lines = std::vector<std::string>;

namespace
{
const UINT FsMsg = WM_APP + 61;
const unsigned short FsWParam = 0xF00D;
}  // namespace

// Records as "action path-below-the-folder"; "3 " names the folder itself: changes were dropped.
// Files named "~n" are markers: a marker's record shows that everything before it was read.
class FSMonitorThreadTest : public ::testing::Test
{
protected:
    // The folder named without its backslash, which the monitor adds.
    void Watch(bool subtree)
    {
        const std::string folder = dir.Path().substr(0, dir.Path().size() - 1);
        monitor = std::make_unique<FSMonitorThread>(folder.c_str(), FsMsg, owner.Handle(), subtree, FsWParam);
    }
    void Write(const std::string& name, const char* text = "x") { WriteBytes(dir / name, text); }
    // The records up to the first that reads last, markers and repeats of one modification left out.
    std::optional<Lines> Until(const std::string& last, DWORD ms = MustHappenMs())
    {
        for (size_t seen = taken; owner.WaitForCount(seen + 1, ms); ++seen)
        {
            std::lock_guard<std::mutex> hold(lock);
            Lines out;
            for (; got[seen] == last && taken <= seen; ++taken)
            {
                const bool repeat = !out.empty() && out.back() == got[taken] && got[taken][0] == '3';
                if (got[taken].find('~') == std::string::npos && !repeat)
                    out.push_back(got[taken]);
            }
            if (got[seen] == last)
                return out;
        }
        return std::nullopt;
    }
    // Writes file until last is told, each try waiting twice as long: the read is armed some time
    // after the constructor, and a change may be dropped. Gives the records before it.
    std::optional<Lines> Sync(const std::string& file = "", const std::string& last = "")
    {
        for (DWORD wait = Scaled(50); wait < 2 * MustHappenMs(); wait *= 2, ++k)
        {
            Write(file.empty() ? "~" + std::to_string(k) : file, std::to_string(k).c_str());
            if (auto records = Until(last.empty() ? "1 ~" + std::to_string(k) : last, wait))
                return records;
        }
        return std::nullopt;
    }

    TempDir dir{"fsmon"};
    std::mutex lock;
    Lines got;
    size_t taken = 0;
    int k = 0;
    OwnerWindow owner{[this](const OwnerWindow::Message& m) {
        auto* record = reinterpret_cast<FSChangeNotification*>(m.lParam);
        DateTime at;
        record->GetDatetime(at);
        EXPECT_TRUE(m.msg == FsMsg && m.wParam == FsWParam && at.IsValid());
        const std::string path = record->GetPath().GetString();
        std::lock_guard<std::mutex> hold(lock);
        const std::string below = path.starts_with(dir.Path()) ? path.substr(dir.Path().size()) : "elsewhere " + path;
        got.push_back(std::to_string(record->GetAction()) + " " + below);
        delete record;
    }};
    std::unique_ptr<FSMonitorThread> monitor;  // ends before the folder goes
};

// Directory names only with the subtree; paths below it relative, over-long ones whole.
TEST_F(FSMonitorThreadTest, EachChangeComesWithItsActionAndFullPath)
{
    const std::string a(200, 'a'), ab = a + "\\" + std::string(200, 'b');
    auto mkdir = [&](const std::string& name) {
        const std::string full = "\\\\?\\" + dir.Path() + name;  // beyond MAX_PATH
        CreateDirectoryW(std::wstring(full.begin(), full.end()).c_str(), nullptr);
    };
    const std::tuple<bool, std::function<void()>, Lines> rows[] = {
        {false, [&] { Write("a.txt"); }, {"1 a.txt", "3 a.txt"}},
        {false, [&] { Write("a.txt", "longer"); }, {"3 a.txt"}},
        {false, [&] { MoveFileA((dir / "a.txt").c_str(), (dir / "b.txt").c_str()); }, {"4 a.txt", "5 b.txt"}},
        {false, [&] { DeleteFileA((dir / "b.txt").c_str()); }, {"2 b.txt"}},
        {false, [&] { mkdir("d"); }, {}},
        {true, [&] { mkdir("s"), mkdir("s\\t"); }, {"1 s", "1 s\\t"}},
        {true, [&] { Write("s\\t\\u.txt"); }, {"1 s\\t\\u.txt", "3 s\\t\\u.txt"}},
        {true, [&] { mkdir(a); }, {"1 " + a}},  // one read holds 1,024 bytes: two such names could overflow it
        {true, [&] { mkdir(ab); }, {"1 " + ab}},
    };
    for (bool subtree = true; const auto& [tree, change, records] : rows)
    {
        if (tree != subtree)
        {
            Watch(subtree = tree);
            ASSERT_TRUE(Sync());
            EXPECT_EQ(dir.Path(), monitor->GetPath().GetString());
        }
        change();
        EXPECT_EQ(records, Sync().value_or(Lines{"no marker"}));
    }
}

// Only entries named as the file, case included, count; each record carries the path as passed.
TEST_F(FSMonitorThreadTest, ASingleFileIsToldByItsOwnPathAndNotItsNeighbours)
{
    const std::string file = dir / "Target.txt";
    monitor = std::make_unique<FSMonitorThread>(file.c_str(), FsMsg, owner.Handle(), FsWParam);
    EXPECT_EQ(file, monitor->GetPath().GetString());
    ASSERT_TRUE(Sync("Target.txt", "3 Target.txt") && DeleteFileA(file.c_str()) && Until("2 Target.txt"));
    Write("~0"), Write("target.txt"), DeleteFileA((dir / "target.txt").c_str());
    Write("Target.txt"), Write("Target.txt", "longer");
    MoveFileA(file.c_str(), (dir / "moved").c_str()), MoveFileA((dir / "moved").c_str(), file.c_str());
    DeleteFileA(file.c_str());
    const Lines told{"1 Target.txt", "3 Target.txt", "4 Target.txt", "5 Target.txt", "2 Target.txt"};
    EXPECT_EQ(told, Until("2 Target.txt"));
}

// More creations during a pause than a read holds: each file is named by a record, or an overflow
// record (the watched folder itself) came.
TEST_F(FSMonitorThreadTest, ABurstIsToldByRecordsAndOverflowsThatAccountForEveryFile)
{
    Watch(false);
    ASSERT_TRUE(Sync());
    const size_t count = 2000;
    monitor->Pause();  // the system collects the changes meanwhile, up to its limits
    for (size_t i = 0; i < count; ++i)
        CloseHandle(CreateFileA((dir / ("b" + std::to_string(i))).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0,
                                nullptr));
    monitor->Resume();
    ASSERT_TRUE(Sync());
    std::set<std::string> named;
    size_t overflows = std::count(got.begin(), got.end(), "3 "), added = 0;
    for (const std::string& record : got)
        if (record.starts_with("1 b"))
            ++added, named.insert(record);
    std::printf("%zu of %zu files named, %zu overflows\n", named.size(), count, overflows);
    EXPECT_TRUE(named.size() == count || overflows > 0);
    EXPECT_EQ(added, named.size()) << "a file was added twice";
}

// A stop cancels the pending read, also of a paused monitor, and ends the thread without a
// time-out.
TEST_F(FSMonitorThreadTest, StopEndsAPendingReadAtOnceEvenPaused)
{
    Watch(false);
    ASSERT_TRUE(Sync());
    // Once the marker's last records are in, the read waits on a quiet folder: only a cancel ends it.
    for (int i = 0; i < 5 && !owner.StaysAt(owner.Count(), Scaled(200)); ++i)
    {
    }
    EXPECT_TRUE(StopsByItself(*monitor));
    Watch(true);
    ASSERT_TRUE(Sync());
    monitor->Pause();
    Write("during-pause");
    EXPECT_TRUE(monitor->IsPaused() && StopsByItself(*monitor));
}

// Refusals keep the path as given, write their log line and leave an inert object; a null
// window, message 0, a drive root and a directory named as a file watch without a word.
TEST_F(FSMonitorThreadTest, BadArgumentsAreRefusedOrWatchSilentlyWithoutLeaks)
{
    TempDir logs("fslog");
    AppLogger log((logs / "log").c_str());
    AppLogger::m_pInstance = &log;
    const std::string missing = dir / "missing\\", tooLong = dir.Path() + std::string(300, 'a');
    const std::string dirShort = "{34F67251-9B1F-4110-AF4E-E1E9EEB02231}";
    const std::string noDir = "{D4E5489A-8B06-4535-8D48-8A72C172B127}";
    const std::string fileShort = "{15FAC0C8-60A5-4BA7-98CC-FD0405879D51}";
    const std::string noParent = "{87512771-E8B7-4CF6-8292-42E9654F14EA}";
    Write("plain");
    CreateDirectoryA((dir / "sub").c_str(), nullptr);
    const std::tuple<bool, std::string, std::string> refused[] = {
        {false, "C:", dirShort},      {false, "", dirShort},           {false, missing, noDir},
        {false, dir / "plain", noDir}, {false, tooLong, noDir},         {true, "C:", fileShort},
        {true, missing + "x", noParent}, {true, tooLong + "\\x", noParent}};
    std::string lines;
    // No window, message 0, a directory named as a file: threads that send nothing.
    auto silent = [&] {
        return std::make_tuple(std::make_unique<FSMonitorThread>(dir.Path().c_str(), FsMsg, nullptr, true, 1),
                               std::make_unique<FSMonitorThread>(dir.Path().c_str(), 0, owner.Handle(), true, 2),
                               std::make_unique<FSMonitorThread>((dir / "sub").c_str(), FsMsg, owner.Handle(), 3));
    };
    EXPECT_TRUE(LeaksNoHandles([&] {
        for (const auto& [single, path, line] : refused)
        {
            const HWND wnd = owner.Handle();
            auto inert = single ? std::make_unique<FSMonitorThread>(path.c_str(), FsMsg, wnd, FsWParam)
                                : std::make_unique<FSMonitorThread>(path.c_str(), FsMsg, wnd, true, FsWParam);
            inert->Pause();
            EXPECT_TRUE(path == inert->GetPath().GetString() && !inert->IsPaused() && !inert->GetPriority()) << path;
            inert->Stop(0);
            lines += line + "\r\n";
        }
        silent();
        FSMonitorThread root("C:\\", FsMsg, owner.Handle(), false, FsWParam);
    }));
    // Outside the count, as under Wine a thread that has sent messages keeps a handle for a while.
    const auto quiet = silent();
    Watch(false);
    ASSERT_TRUE(Sync());
    Write("plain", "changed");
    EXPECT_EQ(Lines{"3 plain"}, Sync());
    AppLogger::m_pInstance = nullptr;
    EXPECT_EQ(lines, ReadBytes(logs / "log"));
}
