// The background jobs over files, each run on trees made in a private temporary folder.
#include "module/CodedTexts.h"
#include "support/OwnerWindow.h"
#include "weftbase/WeftBaseTestFiles.h"

#include <cmath>
#include <winioctl.h>

using namespace weft::test;

const UINT FindMsg = WM_APP + 61, SumMsg = WM_APP + 62, DelMsg = WM_APP + 63;

// Makes each path below root: a directory if it ends in '\', else a file holding its own name (named as given,
// an end blank too).
static void MakeTree(const std::string& root, std::initializer_list<std::string> paths)
{
    for (const std::string& p : paths)
    {
        DirUtils::CreateDirectoryPath(DirUtils::ParsePathFromFile((root + p).c_str()));
        if (p.back() != '\\')
            WriteBytes(L"\\\\?\\" + CodePageText::ToWide((root + p).c_str()), p);
    }
}

class FindFileThreadTest : public ::testing::Test
{
protected:
    // The next n result messages, counting up from 0, then the end message with n + 1, past the last
    // index. Gives the results' paths below the root as found (a directory before its contents), each
    // read as its message is taken; with read false none (a later run may have replaced them).
    Lines Results(FindFileThread& finder, size_t n, bool read = true)
    {
        Lines paths;
        for (size_t i = 0; i <= n; ++i)
        {
            const auto m = owner.Next();
            if (!m)
                return {"message " + std::to_string(i) + " missing"};
            EXPECT_EQ(i < n ? i : n + 1, m->wParam);
            if (i < n && read)
                paths.push_back(finder.GetFileAtIndex(m->wParam).Mid(static_cast<int>(root.size())).GetString());
        }
        for (size_t i = 0; i < paths.size(); ++i)
            for (size_t j = 0; j < i; ++j)
                EXPECT_FALSE(paths[j].starts_with(paths[i])) << paths[i] << " after " << paths[j];
        EXPECT_TRUE(!read || (finder.GetFileAtIndex(n).IsEmpty() && !finder.IsValidIndex(n)));
        return paths;
    }

    void Find(FindFileThread& finder, const std::string& at, bool recurse = true, bool stop = false)
    {
        finder.DoFind((root + at).c_str(), Texts({"*.txt; obj\\", "*\\k\\*.log"}), TextArray(),
                      Texts({root + "skip\\", root + "D\\"}), recurse, true, stop);
    }

    OwnerWindow owner;
    TempDir dir{"find"};
    const std::string root = dir.Path();
};

// Matches (case ignored, a pattern with a separator against the whole path, a name's end blank trimmed) but never
// the root, the skip list by full path with its case, the root's files alone without recursion, a directory's first
// match alone when stopping at it, else its subdirectories after it, the last listed first; indexes from 0 each time.
TEST_F(FindFileThreadTest, MatchesComeWithTheirIndexesThenTheEnd)
{
    MakeTree(root, {"a.txt", "d\\c.TXT", "d\\obj\\z.txt", "skip\\g.txt", "s\\m\\m.txt", "s\\m\\deep\\n.txt",
                    "s\\k\\k.txt", "k.log", "d\\k\\p.log", "d\\e.txt "});
    Lines deferred;  // s\m\m.txt and s\k\k.txt, the one of the subdirectory listed last first
    WIN32_FIND_DATAA e;
    HANDLE listing = FindFirstFileA((root + "s\\*").c_str(), &e);
    for (BOOL more = listing != INVALID_HANDLE_VALUE; more; more = FindNextFileA(listing, &e))
        if (e.cFileName[0] != '.')
            deferred.insert(deferred.begin(), "s\\" + std::string(e.cFileName) + "\\" + e.cFileName + ".txt");
    FindClose(listing);
    // below the root, recurse, stop at a match, the results (sorted unless stopping)
    const std::tuple<std::string, bool, bool, Lines> cases[] = {
        {"", true, false,
         {"a.txt", "d\\c.TXT", "d\\e.txt", "d\\k\\p.log", "d\\obj\\", "d\\obj\\z.txt", "s\\k\\k.txt",
          "s\\m\\deep\\n.txt", "s\\m\\m.txt"}},
        {"", false, true, {"a.txt"}},
        {"s", true, true, deferred},
        {"d\\obj", true, false, {"d\\obj\\z.txt"}},  // a root that would match
    };
    FindFileThread finder(FindMsg, owner.Handle(), -61, 0);
    for (const auto& [at, recurse, stop, expected] : cases)
    {
        Find(finder, at, recurse, stop);
        Lines found = Results(finder, expected.size());
        if (!stop)
            std::sort(found.begin(), found.end());
        EXPECT_EQ(expected, found) << at;
    }
}

// A name the code page cannot hold comes by its short name (where the volume has one; else the
// entry is logged): each result opens the file found, never one that a best-fit form names.
TEST_F(FindFileThreadTest, NamesOutsideTheCodePageComeInAFormThatOpensTheFileFound)
{
    MakeTree(root, {"escape.txt", "odd\\in\\"});  // escape.txt is what "odd\in\..\..\escape.txt" would name
    const std::wstring odd = CodePageText::ToWide(root.c_str()) + L"odd\\";
    CreateDirectoryW((odd + L"\xFF0E\xFF0E").c_str(), nullptr);
    for (const wchar_t* name : {L"a\xFF3C" L"b.txt", L"c\xFF0F" L"d.txt", L"g\x2215" L"h.txt",
                                L"in\\..\xFF3C..\xFF3C" L"escape.txt", L"\xFF0E\xFF0E\\x.txt"})
        WriteBytes(odd + name, "found");
    wchar_t shortPath[MAX_PATH] = {};
    const bool shortNames = GetShortPathNameW((odd + L"\xFF0E\xFF0E").c_str(), shortPath, MAX_PATH) &&
                            odd + L"\xFF0E\xFF0E" != shortPath;
    const LibraryLog log;
    FindFileThread finder(FindMsg, owner.Handle(), -61, 0);
    Find(finder, "odd");
    for (const std::string& found : Results(finder, shortNames ? 5 : 0))
        EXPECT_TRUE(ReadBytes(root + found) == "found" && found.find("..") == std::string::npos) << found;
    EXPECT_EQ(!shortNames, log.Text().starts_with("{17165AEB-488E-417D-95BD-8B37E8788F37}"));
}

// A new request makes a paced search give way at its next entry with its last message, then runs
// twice, as it came during a search. A stop ends a search with no last message.
TEST_F(FindFileThreadTest, ANewRequestReplacesTheRunningSearchAndAStopEndsItSilently)
{
    // Stopping at matches, a and b each yield c\x.txt after their 40 paced entries, in either order.
    for (int i = 0; i < 40; ++i)
        MakeTree(root, {"old\\a\\" + std::to_string(i) + ".log", "old\\b\\" + std::to_string(i) + ".log"});
    MakeTree(root, {"old\\a\\c\\x.txt", "old\\b\\c\\x.txt", "new\\1.txt"});
    FindFileThread finder(FindMsg, owner.Handle(), -61, 1);
    ASSERT_TRUE((Find(finder, "old", true, true), owner.Next().has_value()));
    Find(finder, "new");
    const auto end = owner.Next();
    EXPECT_TRUE(end && end->wParam == 2) << "the old search's last message, after its one match";
    EXPECT_TRUE(Results(finder, 1, false).empty());
    EXPECT_EQ(Lines({"new\\1.txt"}), Results(finder, 1));
    // A file, or a directory by its device path, names no root: a cancel, which empties the results.
    // A root gone by the time the search begins (the test holds the class's mutex till then) gives no message.
    const size_t before = owner.Count();
    for (const std::string& cancel : {root + "new\\1.txt", "\\\\.\\" + root + "new"})
    {
        ASSERT_TRUE((Find(finder, "old", true, true), owner.Next().has_value()));
        finder.DoFind(cancel.c_str(), TextArray(), TextArray(), TextArray(), true, true, false);
        EXPECT_TRUE(Results(finder, 0, false).empty()) << "the cancelled search's last message, with no result";
    }
    MTMutex lock(false, "wl_fft_mutex", nullptr);
    lock.Wait(MustHappenMs());
    MakeTree(root, {"gone\\"});
    Find(finder, "gone");
    RemoveDirectoryA((root + "gone").c_str());
    lock.Release();
    EXPECT_TRUE(owner.StaysAt(before + 4)) << "a message for the gone root";
    ASSERT_TRUE((Find(finder, "old", true, true), owner.Next().has_value()));
    finder.Stop(MustHappenMs());
    EXPECT_TRUE(owner.Flush() && owner.Count() == before + 5) << "a message after the cancels or the stop";
}

// The library's GetDiskFreeSpaceExA, between a summary's walk and its end: says the run is there, then waits.
static HANDLE g_hAt = CreateEventA(nullptr, TRUE, FALSE, nullptr), g_hGo = CreateEventA(nullptr, TRUE, FALSE, nullptr);
static BOOL WINAPI SpaceAfterTheGo(const char* root, ULARGE_INTEGER* free, ULARGE_INTEGER* total, ULARGE_INTEGER* all)
{
    SetEvent(g_hAt);
    WaitForSingleObject(g_hGo, MustHappenMs());
    return GetDiskFreeSpaceExA(root, free, total, all);
}

// The library's SetEvent, while a run is held: the stop's event, then the run's go.
static BOOL WINAPI SetThenGo(HANDLE event)
{
    return SetEvent(event) && SetEvent(g_hGo);
}

// Every file counts, hidden ones too, at every level, whatever its name, with its bytes, anew in each
// run; the present directory named again (in other case) starts nothing; the drive's share is cut.
// A directory named during a run makes it give way silently, then runs twice; a non-directory cancels (also
// during a run), keeping the byte sum; one gone by its run's start ends it silently; a file makes an inert object.
TEST(DirSummaryThreadTest, TotalsOfATreeInEachRunAndACancel)
{
    OwnerWindow owner;
    TempDir dir("summary");
    const std::string r = dir.Path();
    MakeTree(r, {"tree\\abc", "tree\\sub\\hello", "tree\\sub\\deep\\x", "tree\\sub\\deep\\hidden", "big\\"});
    const std::wstring dots = CodePageText::ToWide(r.c_str()) + L"tree\\\xFF0E\xFF0E";  // 1252 best fit gives ".."
    CreateDirectoryW(dots.c_str(), nullptr);
    WriteBytes(dots + L"\\a\xFF3C" L"b", "odd");
    SetFileAttributesA((r + "tree\\sub\\deep\\hidden").c_str(), FILE_ATTRIBUTE_HIDDEN);
    WrittenAt(r + "tree\\abc", {2001, 2, 0, 3, 4, 5, 6, 0});
    WrittenAt(r + "tree\\sub\\hello", {2101, 1, 0, 2, 3, 4, 5, 0});  // the newest, met before others on NTFS
    // big\b, past 4 GiB, is whole last decimals of the drive's share and three quarters of one: a cut drops them.
    ULARGE_INTEGER total = {};
    GetDiskFreeSpaceExA(r.c_str(), nullptr, &total, nullptr);
    const unsigned digits = LocaleUtils::GetNumberFractionalDigits();
    const double unit = total.QuadPart / 100.0 / std::pow(10.0, digits), shown = std::floor((4ull << 30) / unit) + 1;
    const LARGE_INTEGER size{.QuadPart = static_cast<LONGLONG>((shown + 0.75) * unit)};
    HANDLE file = CreateFileA((r + "big\\b").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
    DWORD none = 0;  // sparse where the file system allows: only its size counts
    DeviceIoControl(file, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &none, nullptr);
    EXPECT_TRUE(SetFilePointerEx(file, size, nullptr, FILE_BEGIN) && SetEndOfFile(file) && CloseHandle(file));
    for (size_t length : {258, 259})  // the plain path bounds the walk: a folder of 259 characters is left out
    {
        const std::string folder = r + "big\\" + std::string(length - r.size() - 5, 'n');
        const std::wstring d = L"\\\\?\\" + CodePageText::ToWide(folder.c_str());
        EXPECT_TRUE(CreateDirectoryW(d.c_str(), nullptr) && WriteBytes(d + L"\\f", ""));
    }
    DirSummaryThread dud((r + "tree\\abc").c_str(), SumMsg, owner.Handle(), 7, -7);
    EXPECT_TRUE((dud.GatherInfo(), !dud.GetFileCount() && !dud.GetDirUsesSpaceValue() && !dud.IsGatheringInfo()));
    DirSummaryThread summary((r + "tree").c_str(), SumMsg, owner.Handle(), 7, -7);
    for (int run = 0; run < 2; ++run)
    {
        summary.SetDir((r + "TREE\\").c_str());
        EXPECT_FALSE(owner.Next(MustNotHappenMs()).has_value()) << "a run before the first asked for";
        summary.GatherInfo();
        const auto m = owner.Next();
        ASSERT_TRUE(m && m->wParam == 7 && m->lParam == -7 && !summary.IsGatheringInfo());
        EXPECT_EQ(5u, summary.GetFileCount());
        EXPECT_EQ(CString("60 bytes"), summary.GetDirUsesSpace());  // each file holds its own path
        EXPECT_EQ(CString("2001-02-03 04:05:06 2101-01-02 03:04:05"),
                  summary.GetOldestFileDate().Format() + " " + summary.GetNewestFileDate().Format());
    }
    const auto nameDuringARun = [&](const std::string& to) {
        ResetEvent(g_hAt), ResetEvent(g_hGo);
        ASSERT_TRUE(StandIn("GetDiskFreeSpaceExA", &SpaceAfterTheGo) && (summary.GatherInfo(), true));
        EXPECT_TRUE(WaitForSingleObject(g_hAt, MustHappenMs()) == WAIT_OBJECT_0 && summary.IsGatheringInfo());
        summary.SetDir(to.c_str());
        SetEvent(g_hGo);
        StandIn("GetDiskFreeSpaceExA", &SpaceAfterTheGo, false);
    };
    nameDuringARun(r + "big");
    EXPECT_TRUE(owner.Next() && owner.Next() && owner.StaysAt(4)) << "not the new directory's two runs alone";
    EXPECT_EQ(2u, summary.GetFileCount()) << "big\\b and the file of the shorter long folder";
    EXPECT_EQ(NumberTextConv::DoubleToString(shown / std::pow(10.0, digits), digits, false, 0, "", false) + "%",
              summary.GetDirUsesSpacePercent());
    summary.SetDir(("\\\\.\\" + r + "tree").c_str());  // a directory, but not in a directory's form
    EXPECT_TRUE(summary.GetFileCount() == 0 && summary.GetDirUsesSpace().IsEmpty() && !summary.IsGatheringInfo());
    summary.GatherInfo();  // with no directory: no run
    EXPECT_FALSE(WaitUntil([&] { return summary.IsGatheringInfo(); }, MustNotHappenMs())) << "gathering nothing";
    EXPECT_EQ(static_cast<unsigned long long>(size.QuadPart), summary.GetDirUsesSpaceValue());
    summary.SetDir((r + "tree").c_str());
    ASSERT_TRUE(owner.Next().has_value());
    nameDuringARun(r + "tree\\abc");
    MTMutex lock(false, "wl_dst_mutex", nullptr);  // held: the directory is gone by its run's start
    lock.Wait(MustHappenMs());
    summary.SetDir((r + "big").c_str());
    MoveFileA((r + "big").c_str(), (r + "moved").c_str());
    lock.Release();
    EXPECT_TRUE(owner.StaysAt(5) && !summary.IsGatheringInfo()) << "a message after the cancel or the gone directory";
    summary.SetDir((r + "tree").c_str());
    EXPECT_TRUE(owner.Next() && owner.StaysAt(6)) << "no run after them";
    ResetEvent(g_hAt), ResetEvent(g_hGo);  // a stop during a run ends it by itself, silently
    ASSERT_TRUE(StandIn("GetDiskFreeSpaceExA", &SpaceAfterTheGo) && (summary.GatherInfo(), true));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(g_hAt, MustHappenMs()));
    ASSERT_TRUE(StandIn("SetEvent", &SetThenGo, true, "weftcore.dll"));
    EXPECT_TRUE(StopsByItself(summary));
    StandIn("SetEvent", &SetThenGo, false, "weftcore.dll"), StandIn("GetDiskFreeSpaceExA", &SpaceAfterTheGo, false);
    EXPECT_TRUE(owner.StaysAt(6) && summary.GetDirUsesSpace().IsEmpty() && !summary.IsGatheringInfo())
        << "a message or texts after the stop";
}

// Protected items stay unless optionA is set (for a file, on its second try); the end message has
// wParam 0. A stop ends the job between two items with no message: the next item stays.
TEST(FileDeleteThreadTest, EachItemGoesByItsKindAndAStopLeavesTheRest)
{
    OwnerWindow owner;
    TempDir dir("delete");
    for (bool optionA : {false, true})
    {
        const std::string r = dir.Path() + (optionA ? "a\\" : "b\\");
        MakeTree(r, {"locked", "tree\\a", "tree\\sub\\locked"});
        for (const char* locked : {"locked", "tree\\sub\\locked"})
            SetFileAttributesA((r + locked).c_str(), FILE_ATTRIBUTE_READONLY);
        FileDeleteThread job(Texts({r + "locked", r + "tree"}), DelMsg, owner.Handle(), -63, optionA, false);
        const auto m = owner.Next();
        ASSERT_TRUE(m && m->wParam == 0 && m->lParam == -63);
        for (const char* locked : {"locked", "tree\\sub\\locked"})
            EXPECT_EQ(!optionA, Exists(r + locked)) << locked;
    }
    const std::string r = dir.Path();
    for (int i = 0; i < 300; ++i)
        MakeTree(r, {"big\\" + std::to_string(i % 10) + "\\" + std::to_string(i)});
    MakeTree(r, {"next"});
    FileDeleteThread(Texts({r + "big", r + "next"}), DelMsg, owner.Handle(), 0, false, false).Stop(MustHappenMs());
    EXPECT_TRUE(Exists(r + "next"));
    EXPECT_TRUE(owner.StaysAt(2, Scaled(100))) << "an end message after the stop";
}

// A launch that cannot begin (the loader held, its thread waits at its start) ends after the first half second
// and the 3 s bound, with the time-out text and the file. Only a program gets the argument; another file runs in
// the argument's folder, or without one in its own (the child checks both); a failure gives the utility's text
// for a quiet launch; a blank file launches nothing and is logged. A later Stop leaves the error text alone.
TEST(ShellExecuteThreadTest, EachLaunchGivesTheShellsOutcomeWithTheRightArgumentAndFolder)
{
    const auto lock = reinterpret_cast<LONG(WINAPI*)(ULONG, ULONG*, ULONG_PTR*)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "LdrLockLoaderLock")));
    const auto unlock = reinterpret_cast<LONG(WINAPI*)(ULONG, ULONG_PTR)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "LdrUnlockLoaderLock")));
    ULONG_PTR cookie = 0;
    ASSERT_TRUE(lock && unlock && lock(0, nullptr, &cookie) == 0);
    const ULONGLONG start = GetTickCount64();
    ShellExecuteThread launch("C:\\held.exe", "");
    const ULONGLONG spent = GetTickCount64() - start;
    unlock(0, cookie);
    EXPECT_EQ(StringUtils::DecryptText(CodedTexts::ShellTimeoutLeadText) + "C:\\held.exe", launch.GetErrorMsg());
    EXPECT_TRUE(spent >= 3500u - 20 && spent < 3500u + Scaled(1000)) << spent;  // the tick is ~16 ms
    TempDir dir("shell");
    const std::string r = dir.Path(), child = ExeDir() + "weft_testchild.exe", name = UniqueName("shell");
    CreateDirectoryA((r + "other").c_str(), nullptr);
    CString failure;
    ExeUtils::ShellLaunchApp((r + "missing.exe").c_str(), r.c_str(), "", true, ExeUtils::Default, 1, failure, nullptr);
    // file, argument, the folder the child must run in ("-": no child), the error text
    const std::tuple<std::string, std::string, std::string, CString> cases[] = {
        {child, "set-event " + name, "", ""},
        {r + "b.bat", r + "other\\x.txt", r + "other", ""},
        {r + "c.bat", "", r.substr(0, r.size() - 1), ""},  // no backslash before the closing quote
        {r + "missing.exe", "", "-", failure},
        {" \t ", "", "-", StringUtils::DecryptText(CodedTexts::ShellEmptyFileText)},
    };
    const LibraryLog log;
    for (const auto& [file, argument, folder, error] : cases)
    {
        SCOPED_TRACE(file);
        MTEvent started(true, false, name.c_str());
        // An argument passed on to the batch document makes the child refuse its command line.
        if (file.ends_with(".bat"))
            WriteBytes(file, "@\"" + child + "\" set-event " + name + " \"" + folder + "\" %1\r\n");
        ShellExecuteThread launch(file.c_str(), argument.c_str());
        launch.Stop(0);
        EXPECT_EQ(error, launch.GetErrorMsg());
        // The child holds its mutex until it ends.
        EXPECT_TRUE(folder == "-" || (started.Wait(MustHappenMs()) == WAIT_OBJECT_0 &&
                                      MTMutex(false, (name + ".alive").c_str()).Wait(MustHappenMs()) != WAIT_TIMEOUT));
    }
    EXPECT_EQ(log.Text(), "{D200E479-40A6-4B65-831F-3FC1D68425C6}\r\n");
    // The batch interpreter may still hold its folder for a moment after the child has ended.
    EXPECT_TRUE(WaitUntil([&] { return DirUtils::DeleteDirectory(r.c_str(), 0, nullptr, nullptr, nullptr).IsEmpty(); },
                          MustHappenMs()));
}
