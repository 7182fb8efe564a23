#include "support/OwnerWindow.h"

using namespace weft::test;

struct DrivesProbe : DrivesChangeThread
{
    using DrivesChangeThread::DrivesChangeThread, DrivesChangeThread::DoWork;
    using DrivesChangeThread::m_drives;
};

// The first pass is silent; later ones tell added, removed, changed to a window, and keep the fresh table.
TEST(DrivesChangeThreadTest, EachPassTellsTheDifferencesInOrderAndKeepsTheFreshTable)
{
    DriveListTurn turn;
    OwnerWindow owner;
    DrivesProbe probe(owner.Handle(), 0, WatchLParam), quiet(nullptr, 1, WatchLParam);
    EXPECT_TRUE(StopsByItself(probe) && StopsByItself(quiet));
    ASSERT_FALSE(probe.m_drives.empty());
    const std::map<UINT, std::string> kinds{{DrivesChangeThread::MSG_DCT_DRIVEADDED, "added "},
                                            {DrivesChangeThread::MSG_DCT_DRIVEREMOVED, "removed "},
                                            {DrivesChangeThread::MSG_DCT_DRIVECHANGED, "changed "}};
    auto told = [&] {  // the messages not yet taken, as "added X", each with its lParam checked
        Lines out;
        for (owner.Flush(); const auto m = owner.Next(0);)
            out.push_back((kinds.contains(m->msg) ? kinds.at(m->msg) : "other ") + char(m->wParam) +
                          (m->lParam == WatchLParam ? "" : " and another lParam"));
        return out;
    };
    using Table = DrivesChangeThread::DriveTable;
    const Table baseline = probe.m_drives;
    const CString key = VolumeUtils::GetVolumeGUID("C:\\");
    ASSERT_TRUE(baseline.contains(key));
    const auto first = baseline.at(key);
    const std::string l(1, first.m_strDrive[0]);  // Q: below is no drive
    const auto drive = [](const auto& e) { return e.second.m_strDrive; };
    const auto last = std::ranges::max_element(baseline, std::less<CString>(), drive)->first;
    // A name changed in case only is a change; Wine's volumes have no names, and take none.
    const CString upper = CString(first.m_strName).MakeUpper(), lower = CString(first.m_strName).MakeLower();
    auto with = [&](auto change) { Table t = baseline; change(t); return t; };
    const std::pair<Table, Lines> rows[] = {
        {baseline, {}}, {Table(), {}},
        {with([](Table& t) { t.emplace("unknown", DrivesChangeThread::DriveRecord{"", "Q:\\"}); }), {"removed Q"}},
        {with([&](Table& t) { t[key].m_strName += "old"; }), {"changed " + l}},
        {with([&](Table& t) { t[key].m_strName = upper == first.m_strName ? lower : upper; }),
         upper == lower ? Lines() : Lines{"changed " + l}},
        {with([&](Table& t) { t.emplace("another", t[key]), t.erase(key); }), {"changed " + l}},
        {with([&](Table& t) { t.erase(key); }), {"added " + l}},
        {with([&](Table& t) { t.erase(last); }), {"added " + std::string(1, baseline.at(last).m_strDrive[0])}},
        {with([&](Table& t) { t[key].m_strDrive = "Q:\\"; }), {"added " + l, "removed Q", "changed Q"}},
    };
    for (auto* watcher : {&probe, &quiet})
        for (const auto& [before, expected] : rows)
        {
            watcher->m_drives = before, watcher->DoWork();
            EXPECT_EQ(watcher == &probe ? expected : Lines{}, told());
            const auto& kept = watcher->m_drives;
            EXPECT_TRUE(baseline.size() == kept.size() && first.m_strDrive == kept.at(key).m_strDrive);
        }
    // An alias of C: has its GUID text: C: keeps the record, the alias is told as added at every pass.
    char alias[3] = "Z:", device[MAX_PATH] = {};
    while (alias[0] > 'C' && (GetLogicalDrives() & (1u << (alias[0] - 'A'))))
        --alias[0];
    const bool defined = alias[0] > 'C' && QueryDosDeviceA("C:", device, MAX_PATH) &&
                         DefineDosDeviceA(DDD_RAW_TARGET_PATH, alias, device);
    const bool shared = defined && GetDriveTypeA((alias + std::string("\\")).c_str()) == GetDriveTypeA("C:\\") &&
                        VolumeUtils::GetVolumeGUID(alias) == key;  // a drive the system lists, of C:'s volume
    for (int pass = 0; shared && pass < 2; ++pass)
        EXPECT_EQ(Lines{"added " + std::string(1, alias[0])}, (probe.DoWork(), told())) << "pass " << pass;
    if (defined)
        DefineDosDeviceA(DDD_RAW_TARGET_PATH | DDD_REMOVE_DEFINITION | DDD_EXACT_MATCH_ON_REMOVE, alias, device);
    if (!shared)
        GTEST_SKIP() << "an alias of C:'s volume is not listed as a drive of that volume here (Wine)";
}
