#include "weftcore.h"

#include "support/OwnerWindow.h"
#include "weftbase/WeftBaseTestFiles.h"

using namespace weft::test;
using Lines = std::vector<std::string>;

namespace
{
const __int64 DriveLParam = -0x5A5A5A5ALL;

struct DrivesProbe : DrivesChangeThread
{
    using DrivesChangeThread::DrivesChangeThread;
    using DrivesChangeThread::DoWork;
    using DrivesChangeThread::m_drives;
    using DrivesChangeThread::m_nPeriod;
};

// A drive letter of the test's own, defined by the child program on a host folder whose volume
// label is given; removed, with its folders, at the end.
class HostDrive
{
public:
    HostDrive()
    {
        for (char c = 'Y'; c > 'K' && letter == 0; --c)
            letter = GetDriveTypeA((std::string(1, c) + ":\\").c_str()) == DRIVE_NO_ROOT_DIR ? c : 0;
        CreateDirectoryA(("Z:\\tmp\\" + folder).c_str(), nullptr);
    }
    ~HostDrive()
    {
        Define(nullptr);
        DirUtils::DeleteDirectory(("Z:\\tmp\\" + folder).c_str(), 0, nullptr, nullptr, nullptr);
    }
    // The letter on a new folder labelled label; null removes the letter.
    bool Define(const char* label)
    {
        const std::string sub = folder + "/" + std::to_string(++defined);
        if (label != nullptr)
            CreateDirectoryA(("Z:\\tmp\\" + sub).c_str(), nullptr), WriteBytes("Z:\\tmp\\" + sub + "\\.windows-label", label);
        ChildProcess child(label ? Lines{"define-drive", std::string(1, letter), "/tmp/" + sub} : Lines{"define-drive", std::string(1, letter)});
        return child.WaitExit(MustHappenMs()) == 0;
    }
    char letter = 0;
    const std::string folder = UniqueName("drive");
    int defined = 0;
};

// Each message as "added X", "removed X", "changed X", its lParam checked.
Lines Told(OwnerWindow& owner)
{
    Lines told;
    owner.Flush();
    while (auto m = owner.Next(0))
    {
        const char* kind = m->msg == DrivesChangeThread::MSG_DCT_DRIVEADDED     ? "added "
                           : m->msg == DrivesChangeThread::MSG_DCT_DRIVEREMOVED ? "removed "
                           : m->msg == DrivesChangeThread::MSG_DCT_DRIVECHANGED ? "changed " : "other ";
        told.push_back(kind + std::string(1, static_cast<char>(m->wParam)));
        EXPECT_EQ(DriveLParam, m->lParam);
    }
    return told;
}
}  // namespace

// The drives present at the start are the baseline; a drive defined and removed by another
// process is told by the next pass each time.
TEST(DrivesChangeThreadTest, ADriveComingAndGoingIsToldAfterASilentStart)
{
    OwnerWindow owner;
    HostDrive drive;
    DrivesChangeThread watcher(owner.Handle(), Scaled(30), DriveLParam);
    EXPECT_TRUE(owner.NothingWithin()) << "the first passes told the drives present";
    if (!drive.Define("one"))
        GTEST_SKIP() << "this system's mount manager defines no drive on a host folder";
    const auto added = owner.Next();
    ASSERT_TRUE(drive.Define(nullptr) && added.has_value());
    const auto removed = owner.Next();
    ASSERT_TRUE(removed.has_value());
    EXPECT_TRUE(added->msg == DrivesChangeThread::MSG_DCT_DRIVEADDED && removed->msg == DrivesChangeThread::MSG_DCT_DRIVEREMOVED);
    EXPECT_TRUE(added->wParam == WPARAM(drive.letter) && removed->wParam == WPARAM(drive.letter));
    EXPECT_TRUE(added->lParam == DriveLParam && removed->lParam == DriveLParam);
    EXPECT_TRUE(owner.NothingWithin(Scaled(200)));
}

// Passes run by hand once the thread has ended, on tables changed from the last pass's: messages
// in the order added, removed, changed, and the fresh table kept; with no window, none at all.
TEST(DrivesChangeThreadTest, EachPassToldTheDifferencesInOrderAndKeepsTheFreshTable)
{
    OwnerWindow owner;
    DrivesProbe probe(owner.Handle(), 0, DriveLParam), quiet(nullptr, 1, DriveLParam);
    EXPECT_TRUE(probe.m_nPeriod == 15000 && quiet.m_nPeriod == 1);
    EXPECT_TRUE(StopsByItself(probe) && StopsByItself(quiet));
    ASSERT_FALSE(probe.m_drives.empty());
    const auto baseline = probe.m_drives;
    const auto [key, first] = *baseline.begin();
    const std::string l(1, first.m_strDrive[0]), q = "Q";  // Q: no drive under Wine
    using Table = DrivesChangeThread::DriveTable;
    auto with = [&](auto change) { Table t = baseline; change(t); return t; };
    const std::pair<Table, Lines> rows[] = {
        {baseline, {}},
        {Table(), {}},
        {with([](Table& t) { t.emplace("unknown", DrivesChangeThread::DriveRecord{"", "Q:\\"}); }), {"removed Q"}},
        {with([&](Table& t) { t[key].m_strName += "old"; }), {"changed " + l}},
        {with([&](Table& t) { t.emplace("another", t[key]); t.erase(key); }), {"changed " + l}},
        {with([&](Table& t) { t.erase(key); }), {"added " + l}},
        {with([&](Table& t) { t[key].m_strDrive = "Q:\\"; }), {"added " + l, "removed Q", "changed Q"}},
    };
    for (auto* watcher : {&probe, &quiet})
        for (const auto& [before, told] : rows)
        {
            watcher->m_drives = before;
            watcher->DoWork();
            EXPECT_EQ(watcher == &probe ? told : Lines{}, Told(owner));
            EXPECT_EQ(baseline.size(), watcher->m_drives.size());
            EXPECT_EQ(first.m_strDrive, watcher->m_drives[key].m_strDrive);
        }
    HostDrive drive;
    if (!drive.Define("one"))
        GTEST_SKIP() << "this system's mount manager defines no drive on a host folder";
    const size_t before = quiet.m_drives.size();
    quiet.DoWork();
    EXPECT_EQ(before + 1, quiet.m_drives.size()) << "a drive came without a window";
    ASSERT_TRUE(drive.Define("two"));
    probe.m_drives = quiet.m_drives;
    probe.DoWork();
    EXPECT_EQ(Lines{"changed " + std::string(1, drive.letter)}, Told(owner)) << "the volume name changed";
}
