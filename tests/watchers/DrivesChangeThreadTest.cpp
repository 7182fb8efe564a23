#include "weftcore.h"

#include "support/OwnerWindow.h"

#include <string>
#include <vector>

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

// The messages sent so far and not yet taken, as "added X", "removed X", "changed X", each with
// its lParam checked.
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

// The thread's first pass takes the drives present silently. Passes run by hand once the thread
// has ended, on tables changed from the last pass's: messages in the order added, removed,
// changed, and the fresh table kept; with no window none, but the table still follows the drives.
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
}
