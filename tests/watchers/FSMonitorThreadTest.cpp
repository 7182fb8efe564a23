#include "support/OwnerWindow.h"

using namespace weft::test;

// Records read "action path-below-the-folder" ("3 ": changes dropped); a marker "~n" told shows all before read.
class FSMonitorThreadTest : public ::testing::Test
{
protected:
    bool Watch(bool tree)  // a monitor of the folder, its read armed (some time after the constructor)
    {
        if (monitor)
            monitor->Stop(MustHappenMs());  // bounded, unlike the destructor's
        monitor = std::make_unique<FSMonitorThread>(folder.c_str(), WatchMsg, owner.Handle(), tree, 1);
        return Sync().has_value();
    }
    void Write(const std::string& name, const char* text = "x") { WriteBytes(dir / name, text); }
    std::optional<Lines> Until(const std::string& last, DWORD ms = MustHappenMs())  // markers, repeated 3s left out
    {
        Lines out;
        for (size_t i = taken; owner.WaitForCount(i + 1, ms); ++i)
        {
            const std::string got = owner.Messages()[i].text;
            if (got.find(" ~") == std::string::npos && (out.empty() || out.back() != got || got[0] != '3'))
                out.push_back(got);
            if (got == last)
                return taken = i + 1, out;
        }
        return std::nullopt;
    }
    std::optional<Lines> Sync(const std::string& file = "", const std::string& last = "")  // writes till last told
    {
        // Each marker is new: a late record of an earlier one (from a monitor just replaced) proves nothing.
        for (DWORD wait = Scaled(50); ++k, wait < 2 * MustHappenMs(); wait *= 2)
            if (Write(file.empty() ? "~" + std::to_string(k) : file, std::to_string(k).c_str());
                auto records = Until(last.empty() ? "1 ~" + std::to_string(k) : last, wait))
                return records;
        return std::nullopt;
    }

    TempDir dir{"fsmon"};
    const std::string folder = dir.Path().substr(0, dir.Path().size() - 1);  // the monitor adds the backslash
    size_t taken = 0;
    int k = 0;
    OwnerWindow owner{[this](OwnerWindow::Message& m) {
        const std::unique_ptr<FSChangeNotification> record(reinterpret_cast<FSChangeNotification*>(m.lParam));
        const std::string path(record->GetPath().GetString(), record->GetPath().GetLength());
        m.text = std::to_string(record->GetAction()) +
                 (path.starts_with(dir.Path()) ? " " + path.substr(dir.Path().size()) : " elsewhere " + path);
    }};
    std::unique_ptr<FSMonitorThread> monitor;  // ends before the folder goes
    void TearDown() override { EXPECT_TRUE(!monitor || StopsByItself(*monitor)); }  // bounded, unlike the destructor
};

// Each entry comes with its action and full path, long names whole, below only with the subtree; odd names short.
TEST_F(FSMonitorThreadTest, EachChangeComesWithItsActionAndFullPathUntilTheStop)
{
    // 200 characters, 250 bytes in UTF-8 (a Linux name holds 255): e acute, e grave.
    const std::string a = std::string(150, 'a') + std::string(50, '\xE9');
    const std::string ab = a + "\\" + std::string(150, 'b') + std::string(50, '\xE8');
    auto mkdir = [&](const std::string& name) {  // beyond MAX_PATH
        CreateDirectoryW((L"\\\\?\\" + CodePageText::ToWide((dir.Path() + name).c_str())).c_str(), nullptr); };
    const std::tuple<bool, std::function<void()>, Lines> rows[] = {
        {false, [&] { Write("a"); }, {"1 a", "3 a"}},
        {false, [&] { MoveFileA((dir / "a").c_str(), (dir / "b.txt").c_str()); }, {"4 a", "5 b.txt"}},
        {false, [&] { mkdir("d"); }, {}},
        {true, [&] { mkdir("s"), mkdir("s\\t"); }, {"1 s", "1 s\\t"}},
        {true, [&] { mkdir(a); }, {"1 " + a}},  // one read holds 1,024 bytes: two such names could overflow it
        {true, [&] { mkdir(ab); }, {"1 " + ab}},
    };
    for (bool subtree = true; const auto& [tree, change, records] : rows)
    {
        ASSERT_TRUE(tree == subtree || Watch(subtree = tree));
        change();
        EXPECT_EQ(records, Sync().value_or(Lines{"no marker"}));
    }
    const LibraryLog log;
    FSMonitorThread("C:\\", WatchMsg, nullptr, false, 1), FSMonitorThread("C:a", WatchMsg, nullptr, 1);  // long enough
    const std::string missing = dir / "missing\\";  // refusals: too short, no folder, as a folder and as a file
    const HWND w = owner.Handle();
    FSMonitorThread("C:", WatchMsg, w, true, 1), FSMonitorThread(missing.c_str(), WatchMsg, w, true, 1);
    FSMonitorThread("C:", WatchMsg, w, 1), FSMonitorThread((missing + "f").c_str(), WatchMsg, w, 1);
    const std::wstring odd = CodePageText::ToWide(dir.Path().c_str()) + L"s\\a\xFF3C" L"b.txt";
    wchar_t shortPath[MAX_PATH] = {};
    WriteBytes(odd, "x"), GetShortPathNameW(odd.c_str(), shortPath, MAX_PATH);
    const std::wstring full = shortPath, shortName = full.substr(full.rfind(L'\\') + 1);
    const std::string named = "s\\" + std::string(shortName.begin(), shortName.end());
    // A volume without 8.3 names gives the long name back: then no record, and the line below.
    const Lines created = odd != shortPath ? Lines({"1 " + named, "3 " + named}) : Lines();
    EXPECT_EQ(created, Sync().value_or(Lines{"no marker"}));
    EXPECT_EQ(Lines{}, (DeleteFileW(odd.c_str()), Sync().value_or(Lines{"no marker"})));
    EXPECT_TRUE(log.Text().starts_with(
        "{34F67251-9B1F-4110-AF4E-E1E9EEB02231}\r\n{D4E5489A-8B06-4535-8D48-8A72C172B127}\r\n"
        "{15FAC0C8-60A5-4BA7-98CC-FD0405879D51}\r\n{87512771-E8B7-4CF6-8292-42E9654F14EA}\r\n"
        "{BAA649D5-3A65-4AC0-931C-DFF609ACBA49}"));
    for (int i = 0; i < 5 && !owner.StaysAt(owner.Count(), Scaled(200));)
        ++i;  // the marker's last records in, the read waits on a quiet folder: only a cancel ends it
    EXPECT_TRUE(StopsByItself(*monitor));
    const size_t told = (owner.Flush(), owner.Count());
    Write("late");
    EXPECT_TRUE(owner.StaysAt(told)) << "a change was told after the stop";
}

// A single file's monitor takes only entries named as the file, case included, and tells the path as passed; more
// creations in a pause than a read holds are named or overflow; no window leaks nothing; records order by time.
TEST_F(FSMonitorThreadTest, ABurstOrASingleFileIsToldByItsRecordsAndBadArgumentsLeakNothing)
{
    EXPECT_TRUE(LeaksNoHandles([&] { FSMonitorThread silent(dir.Path().c_str(), WatchMsg, nullptr, true, 1); }));
    const auto fill = [](FSChangeNotification& r, bool up) { r.SetAction(up ? 2 : 1), r.SetPath(up ? "b" : "a"); };
    EXPECT_TRUE(FSChangeNotification().GetAction() == 0 && OrderByTimeAndFields<FSChangeNotification>(fill));
    const std::string file = dir / "Target.txt";
    monitor = std::make_unique<FSMonitorThread>(file.c_str(), WatchMsg, owner.Handle(), 1);
    ASSERT_TRUE(Sync("Target.txt", "3 Target.txt") && DeleteFileA(file.c_str()) && Until("2 Target.txt"));
    Write("~0"), Write("target.txt"), DeleteFileA((dir / "target.txt").c_str()), Write("Target.txt");
    MoveFileA(file.c_str(), (dir / "moved").c_str()), MoveFileA((dir / "moved").c_str(), file.c_str());
    DeleteFileA(file.c_str());
    const Lines order{"1 Target.txt", "3 Target.txt", "4 Target.txt", "5 Target.txt", "2 Target.txt"};
    EXPECT_EQ(order, Until("2 Target.txt"));
    ASSERT_TRUE(Watch(false));
    owner.StaysAt(owner.Count(), Scaled(200));  // the marker's last records in: the thread rests in its read
    WhilePaused(*monitor, [&] {  // the system collects the changes meanwhile, up to its limits
        for (int i = 0; i < 300; ++i)
            WriteBytes(dir / ("b" + std::to_string(i)), "");
    });
    ASSERT_TRUE(Sync());
    const auto all = owner.Messages();
    const auto named = std::ranges::count_if(all, [](const auto& m) { return m.text.starts_with("1 b"); });
    const auto overflows = std::ranges::count(all, std::string("3 "), &OwnerWindow::Message::text);
    EXPECT_TRUE(named == 300 || overflows > 0) << named << " named, no overflow";
    ThreadProbe probe;
    monitor = std::make_unique<FSMonitorThread>(folder.c_str(), WatchMsg, nullptr, false, 1);
    EXPECT_TRUE(StopEndsAHeldThread(probe, *monitor));
}
