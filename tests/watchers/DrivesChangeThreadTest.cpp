#include "weftcore.h"

#include "support/OwnerWindow.h"
#include "weftbase/WeftBaseTestFiles.h"

#include <algorithm>

using namespace weft::test;
using Lines = std::vector<std::string>;

namespace
{
const __int64 DriveLParam = -0x5A5A5A5ALL;

struct DrivesProbe : DrivesChangeThread
{
    using DrivesChangeThread::DrivesChangeThread, DrivesChangeThread::DoWork;
    using DrivesChangeThread::m_drives, DrivesChangeThread::m_nPeriod;
};

// A free drive letter, defined by the child program on new host folders with a volume label each.
struct HostDrive
{
    char letter = 'Y';
    const std::string folder = "Z:\\tmp\\" + UniqueName("drive");
    int n = 0;
    HostDrive()
    {
        while (letter > 'K' && GetDriveTypeA((letter + std::string(":\\")).c_str()) != DRIVE_NO_ROOT_DIR)
            --letter;
        CreateDirectoryA(folder.c_str(), nullptr);
    }
    ~HostDrive() { Define(nullptr), DirUtils::DeleteDirectory(folder.c_str(), 0, nullptr, nullptr, nullptr); }
    // Null removes the letter.
    bool Define(const char* label)
    {
        std::string sub = folder + "\\" + std::to_string(++n);
        Lines args{"define-drive", std::string(1, letter)};
        if (label && CreateDirectoryA(sub.c_str(), nullptr) && WriteBytes(sub + "\\.windows-label", label))
            std::replace(sub.begin(), sub.end(), '\\', '/'), args.push_back(sub.substr(2));
        return ChildProcess(args).WaitExit(MustHappenMs()) == 0;
    }
};

// The messages so far as "added X", "removed X", "changed X", each with its lParam checked.
Lines Told(OwnerWindow& owner)
{
    Lines told;
    owner.Flush();
    while (const auto m = owner.Next(0))
    {
        const char* kind = m->msg == DrivesChangeThread::MSG_DCT_DRIVEADDED     ? "added "
                           : m->msg == DrivesChangeThread::MSG_DCT_DRIVEREMOVED ? "removed "
                           : m->msg == DrivesChangeThread::MSG_DCT_DRIVECHANGED ? "changed "
                                                                                : "other ";
        told.push_back(kind + std::string(1, char(m->wParam)) + (m->lParam == DriveLParam ? "" : " and another lParam"));
    }
    return told;
}
}  // namespace

// The drives present at the start are the baseline; a drive that another process defines and
// removes is told by the next pass each time. Its volume name may settle a pass after it came,
// which is told as a change.
TEST(DrivesChangeThreadTest, ADriveComingAndGoingIsToldAfterASilentStart)
{
    DriveListTurn turn;
    OwnerWindow owner;
    HostDrive drive;
    DrivesChangeThread watcher(owner.Handle(), Scaled(30), DriveLParam);
    EXPECT_TRUE(owner.NothingWithin()) << "the first passes told the drives present";
    if (!drive.Define("one"))
        GTEST_SKIP() << "this system's mount manager defines no drive on a host folder";
    const std::string l(1, drive.letter);
    ASSERT_TRUE(owner.WaitForCount(1) && drive.Define(nullptr));
    Lines told;
    while (told.size() < 8 && (told.empty() || told.back() != "removed " + l) && owner.WaitForCount(told.size() + 1))
        for (auto& line : Told(owner))
            told.push_back(line);
    EXPECT_TRUE(owner.NothingWithin(Scaled(200)));
    for (auto& line : Told(owner))
        told.push_back(line);
    ASSERT_GE(told.size(), 2u);
    EXPECT_EQ("added " + l, told.front());
    EXPECT_EQ("removed " + l, told.back());
    EXPECT_TRUE(std::all_of(told.begin() + 1, told.end() - 1, [&](auto& s) { return s == "changed " + l; }))
        << ::testing::PrintToString(told);
}

// Passes run by hand once the thread has ended, on tables changed from the last pass's: messages
// in the order added, removed, changed, and the fresh table kept; with no window none, but the
// table still follows the drives.
TEST(DrivesChangeThreadTest, EachPassTellsTheDifferencesInOrderAndKeepsTheFreshTable)
{
    DriveListTurn turn;
    OwnerWindow owner;
    DrivesProbe probe(owner.Handle(), 0, DriveLParam), quiet(nullptr, 1, DriveLParam);
    EXPECT_TRUE(probe.m_nPeriod == 15000 && quiet.m_nPeriod == 1 && StopsByItself(probe) && StopsByItself(quiet));
    ASSERT_FALSE(probe.m_drives.empty());
    using Table = DrivesChangeThread::DriveTable;
    const Table baseline = probe.m_drives;
    const auto [key, first] = *baseline.begin();
    const std::string l(1, first.m_strDrive[0]);  // Q: below is no drive
    auto with = [&](auto change) { Table t = baseline; change(t); return t; };
    const std::pair<Table, Lines> rows[] = {
        {baseline, {}}, {Table(), {}},
        {with([](Table& t) { t.emplace("unknown", DrivesChangeThread::DriveRecord{"", "Q:\\"}); }), {"removed Q"}},
        {with([&](Table& t) { t[key].m_strName += "old"; }), {"changed " + l}},
        {with([&](Table& t) { t.emplace("another", t[key]), t.erase(key); }), {"changed " + l}},
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
    quiet.DoWork();
    EXPECT_EQ(baseline.size() + 1, quiet.m_drives.size()) << "a drive came without a window";
    probe.m_drives = quiet.m_drives;
    ASSERT_TRUE(drive.Define("two"));
    probe.DoWork();
    EXPECT_EQ(Lines{"changed " + std::string(1, drive.letter)}, Told(owner)) << "the volume name changed";
}
