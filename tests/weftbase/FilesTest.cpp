// Path texts, patterns, deletion, what a failed zip archive leaves (archives: check_zip_archives.py).
#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <malloc.h>

using namespace weft::test;

namespace
{
HANDLE g_hHolder = nullptr;
int g_nAttempts = 0;
double g_lastGapMs = 0;
// The library's DeleteFileA: the holder lets go before the 20th attempt; the time since the one before is kept.
BOOL WINAPI DeleteHeldTill20(const char* path)
{
    static double s_last = 0;
    using Ms = std::chrono::duration<double, std::milli>;
    const double now = Ms(std::chrono::steady_clock::now().time_since_epoch()).count();
    g_lastGapMs = now - std::exchange(s_last, now);
    if (++g_nAttempts == 20 && g_hHolder)
        CloseHandle(std::exchange(g_hHolder, nullptr));
    return DeleteFileA(path);
}

// The library's GetFileInformationByHandle: a folder named "turned" reads as a junction on its
// handle, as one replaced by a junction after its parent's listing would.
BOOL WINAPI InfoOfTurnedJunction(HANDLE file, BY_HANDLE_FILE_INFORMATION* info)
{
    wchar_t name[MAX_PATH + 1] = {};
    const BOOL ok = GetFileInformationByHandle(file, info);
    if (GetFinalPathNameByHandleW(file, name, MAX_PATH, 0) && std::wstring(name).ends_with(L"\\turned"))
        info->dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
    return ok;
}

}  // namespace

// Each part of a path by its form: a share has no parent; a drive-relative name keeps its drive; a
// folder path has no name; the extension follows the last dot. Folder forms stop at 259 characters.
TEST(DirUtilsTest, PathPartsFollowTheirForms)
{
    // path: ParseParentDir, ParsePathFromFile, ParseFileNameFromPath with and without the extension,
    // GetFileExt, EnsureTrailingBackslash
    const std::array<const char*, 7> cases[] = {
        {"\\\\srv\\share\\dir", "\\\\srv\\share\\", "\\\\srv\\share\\", "dir", "dir", "", "\\\\srv\\share\\dir\\"},
        {"\\\\srv\\share", "", "\\\\srv\\", "share", "share", "", "\\\\srv\\share\\"},
        {"C:\\a\\b\\//", "C:\\a\\", "C:\\a\\b\\//", "", "", "", "C:\\a\\b\\"},
        {"C:x.tar.GZ", "C:", "C:", "x.tar.GZ", "x.tar", "GZ", "C:x.tar.GZ\\"},
        {"C:\\a.d\\b", "C:\\a.d\\", "C:\\a.d\\", "b", "b", "", "C:\\a.d\\b\\"},
        {"C:\\", "", "C:\\", "", "", "", "C:\\"}, {"\\", "", "\\", "", "", "", "\\"},
        {"\\.a", "\\", "\\", ".a", "", "a", "\\.a\\"}, {"a\\b", "a\\", "a\\", "b", "b", "", "a\\b\\"},
        {"\\\\srv", "", "\\\\", "srv", "srv", "", "\\\\srv\\"}, {"", "", "", "", "", "", ""}};
    for (const auto& c : cases)
    {
        const std::array<CString, 6> got = {DirUtils::ParseParentDir(c[0]), DirUtils::ParsePathFromFile(c[0]),
                                            FileUtils::ParseFileNameFromPath(c[0], true),
                                            FileUtils::ParseFileNameFromPath(c[0], false), FileUtils::GetFileExt(c[0]),
                                            [&] { CString s(c[0]); DirUtils::EnsureTrailingBackslash(s); return s; }()};
        for (size_t i = 0; i < got.size(); ++i)
            EXPECT_EQ(CString(c[i + 1]), got[i]) << c[0] << " part " << i;
    }
    EXPECT_TRUE(DirUtils::IsDir(std::string(259, 'a').c_str(), true) && !DirUtils::IsDir("C:\\a|b", true) &&
                !DirUtils::IsDir(" ", true) && !DirUtils::IsDir("C:\\a:b", true));
    EXPECT_FALSE(DirUtils::IsDir(std::string(260, 'a').c_str(), true) || DirUtils::CreateDirectoryPath("C:\\a|b"));
}

// Roots, local or shared, are refused whatever their form; with the stop set, a deletion takes nothing; the
// contents alone leave the folder. A folder exists but is no file, of size 0; a file's time is its last write's.
// Safe mode takes what it can (also past 259 characters and outside the code page) and names what it leaves. A
// folder whose handle says junction (one replaced after its parent's listing) goes as a link, never entered.
TEST(DirUtilsTest, DeleteTakesWhatItMayButNoRootAndNothingBehindAJunction)
{
    MTEvent stop(true, true);
    const CString denied = SystemUtils::GetLastError(ERROR_ACCESS_DENIED);  // one full stop, no line break
    EXPECT_TRUE(denied.GetLength() > 1 && denied.Right(1) == "." && denied.FindOneOf("\r\n") < 0) << denied.GetString();
    const CString missing = SystemUtils::GetLastError(ERROR_FILE_NOT_FOUND);  // and code 0: the last error's
    EXPECT_EQ(missing, (SetLastError(ERROR_FILE_NOT_FOUND), SystemUtils::GetLastError(0)));
    for (const char* root : {"C:\\", "C:", "c:/", "\\", "\\\\srv\\share", "\\\\srv\\share\\", "\\\\?\\C:\\",
                             "C:\\windows\\system32\\..\\..\\", "\\\\?\\UNC\\srv\\share", "\\\\?\\UNC\\srv\\share\\",
                             "\\\\.\\UNC\\srv\\share\\", "\\\\.\\C:\\", "\\\\?\\GLOBALROOT\\Device\\HarddiskVolume1\\",
                             "\\\\?\\Volume{00000000-0000-0000-0000-000000000043}",  // C: under Wine
                             "\\\\?\\Volume{00000000-0000-0000-0000-000000000043}\\"})
        EXPECT_EQ(CString(root) + ": " + denied,
                  DirUtils::DeleteDirectory(root, DirUtils::DeleteContentsOnly, stop.GetHandle(), nullptr, nullptr))
            << root;
    TempDir dir("du");
    unsigned long long files = 9, dirs = 0;
    ASSERT_TRUE(WriteBytes(dir / "kept.txt", ""));
    EXPECT_EQ(CString(dir.Path().c_str()) + ": " + SystemUtils::GetLastError(ERROR_OPERATION_ABORTED),
              DirUtils::DeleteDirectory(dir.Path().c_str(), 0, stop.GetHandle(), &files, nullptr));
    EXPECT_TRUE(files == 0 && Exists(dir / "kept.txt"));
    EXPECT_TRUE(DirUtils::DeleteDirectory(dir.Path().c_str(), DirUtils::DeleteContentsOnly, nullptr, &files, nullptr)
                    .IsEmpty() &&
                files == 1 && !Exists(dir / "kept.txt") && DirUtils::DoesDirExist(dir.Path().c_str()));
    const std::string root = dir / "tree\\";
    for (const char* folder : {"x\\y\\.", "empty\\", "x\\"})  // the last one there already
        ASSERT_TRUE(DirUtils::CreateDirectoryPath((root + folder).c_str()));
    for (const char* file : {"top.txt", "x\\mid.txt", "x\\y\\leaf.txt", "x\\y\\kept.txt"})
        ASSERT_TRUE(WriteBytes(root + file, "x"));
    ASSERT_TRUE(WrittenAt(root + "top.txt", {2001, 2, 0, 3, 4, 5, 6, 0}));
    EXPECT_FALSE(DirUtils::CreateDirectoryPath((root + "top.txt\\a").c_str()));
    const std::tuple<std::string, bool, bool, unsigned long long> cases[] = {
        {root + "top.txt", true, false, 1}, {root, true, true, 0}, {root + "none", false, false, 0},
        {"", false, false, 0}};
    for (const auto& [path, exists, isDir, size] : cases)
    {
        unsigned long long got = 9;
        DateTime when(1, 1);
        const bool info = FileUtils::GetFileInfoCore(path.c_str(), got, when);
        EXPECT_EQ(std::make_tuple(exists, isDir, isDir, exists, size, exists),
                  std::make_tuple(FileUtils::DoesFileExist(path.c_str()), DirUtils::DoesDirExist(path.c_str()),
                                  DirUtils::IsDir(path.c_str(), false), info, got, when.IsValid()))
            << path;
        EXPECT_TRUE(size == 0 || when.Format() == "2001-02-03 04:05:06") << path;
    }
    ASSERT_TRUE(SetFileAttributesA((root + "x\\y\\kept.txt").c_str(), FILE_ATTRIBUTE_HIDDEN));
    const std::wstring wide = L"\\\\?\\" + std::wstring(root.begin(), root.end());
    std::wstring deep = wide + L"long";
    for (int level = 0; level < 5; ++level, deep += L"\\" + std::wstring(60, L'd'))
        ASSERT_TRUE(CreateDirectoryW(deep.c_str(), nullptr));
    ASSERT_TRUE(WriteBytes(deep + L"f.txt", "") && WriteBytes(wide + L"\u540d", ""));
    const CString error = DirUtils::DeleteDirectory((dir / "tree").c_str(), DirUtils::DeleteSafe, 0, &files, &dirs);
    EXPECT_TRUE(error.Find("x\\y\\kept.txt") >= 0 && files == 5 && dirs == 6) << error.GetString() << files << dirs;
    EXPECT_TRUE(Exists(root + "x\\y\\kept.txt") && !Exists(root + "top.txt") && !Exists(root + "long"));
    const std::string tree = dir / "j\\";
    ASSERT_TRUE(DirUtils::CreateDirectoryPath((tree + "turned").c_str()) && WriteBytes(tree + "turned\\kept.txt", ""));
    ASSERT_TRUE(StandIn("GetFileInformationByHandle", &InfoOfTurnedJunction));
    const CString turned = DirUtils::DeleteDirectory(tree.c_str(), 0, nullptr, nullptr, nullptr);
    StandIn("GetFileInformationByHandle", &InfoOfTurnedJunction, false);
    EXPECT_EQ(CString((tree + "turned: ").c_str()) + SystemUtils::GetLastError(ERROR_DIR_NOT_EMPTY), turned);
    EXPECT_TRUE(Exists(tree + "turned\\kept.txt"));
    // A tree of 250 levels is packed and deleted with 64 KB of stack, which a walk of one call per level
    // overflows past 260 bytes a level (the recursive walks took 800); deeper ones cost Wine too much time.
    const std::string deepTree = dir / "deep";
    const std::wstring top = L"\\\\?\\" + std::wstring(deepTree.begin(), deepTree.end()) + L"\\d", spare = top + L"t";
    ASSERT_TRUE(CreateDirectoryA(deepTree.c_str(), nullptr) && CreateDirectoryW(top.c_str(), nullptr));
    std::string deepest = "d/";  // each level goes in at the top, so no call names a deep path
    for (; deepest.size() < 500; deepest += "d/")
        ASSERT_TRUE(CreateDirectoryW(spare.c_str(), nullptr) && MoveFileW(top.c_str(), (spare + L"\\d").c_str()) &&
                    MoveFileW(spare.c_str(), top.c_str()));
    const auto work = [](void* folder) -> DWORD {
        ULONG_PTR low = 0, high = 0;  // Wine gives a thread 1 MB or more: all but 64 KB is taken up first
        GetCurrentThreadStackLimits(&low, &high);
        const ULONG_PTR left = reinterpret_cast<ULONG_PTR>(&low) - low;
        static_cast<volatile char*>(_alloca(left > 65536 ? left - 65536 : 1))[0] = 0;
        const std::string tree = *static_cast<std::string*>(folder) + "deep";
        const bool zipped = DirUtils::CreateZipFile((tree + ".zip").c_str(), tree.c_str(), "");
        return zipped && DirUtils::DeleteDirectory(tree.c_str(), 0, nullptr, nullptr, nullptr).IsEmpty() ? 7 : 1;
    };
    std::string folder = dir.Path();
    HANDLE thread = CreateThread(nullptr, 65536, work, &folder, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    DWORD code = 0;
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, MustHappenMs() * 6));
    EXPECT_TRUE(GetExitCodeThread(thread, &code) && CloseHandle(thread) && code == 7) << std::hex << code;
    EXPECT_TRUE(ReadBytes(deepTree + ".zip").find(deepest) != std::string::npos && !Exists(deepTree));
}

// A failed forced delete puts the attributes back; retries wait out a holder, not a missing file; "" is refused.
TEST(FileUtilsTest, DeleteForcedKeepsTheAttributesOnFailureAndRetriesAHeldFile)
{
    TempDir dir("fu");
    const std::string file = dir / "a.txt";
    CString error;
    const DWORD kept = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN;
    ASSERT_TRUE(WriteBytes(file, "x") && SetFileAttributesA(file.c_str(), kept));
    g_hHolder = CreateFileA(file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                            nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, g_hHolder);
    ASSERT_TRUE(StandIn("DeleteFileA", &DeleteHeldTill20));
    EXPECT_FALSE(FileUtils::DeleteFileA(file.c_str(), error, true, false));
    EXPECT_TRUE(kept == (GetFileAttributesA(file.c_str()) & kept) && std::exchange(g_nAttempts, 0) == 1);
    EXPECT_TRUE(FileUtils::DeleteFileA(file.c_str(), error, true, true)) << error.GetString();
    EXPECT_TRUE(g_nAttempts == 20 && g_lastGapMs >= 40)
        << g_nAttempts << " attempts, the last " << g_lastGapMs << " ms after the one before";
    EXPECT_FALSE(FileUtils::DeleteFileA(file.c_str(), error, false, true) || g_nAttempts != 21);  // gone: one try
    StandIn("DeleteFileA", &DeleteHeldTill20, false);
    EXPECT_FALSE(Exists(file) || FileUtils::DeleteFileA("", error, false, false));
    EXPECT_EQ(SystemUtils::GetLastError(ERROR_INVALID_PARAMETER), error);
}

// Wildcards fold case when asked (also beyond ASCII) and take '/' for '\'; lists include, then exclude.
TEST(FileUtilsTest, WildcardsAndPatternListsFollowTheDocumentedTable)
{
    const std::tuple<const char*, const char*, bool, bool> wildcards[] = {
        {"abc", "ABC", false, false}, {"abc", "ABC", true, true},   {"ac", "a?c", false, false},
        {"abxbc", "a*bc", false, true}, {"x\\y/z", "x/y\\z", false, true}, {"\xe9t\xe9", "\xc9T?", true, true},
        {"\xe9t\xe9", "\xc9T?", false, false}, {"abc", "abc**", false, true}, {"ab", "a*b", false, true},
        {"a.h", "*c", false, false}, {"\xe9", "\xc9", true, true}, {"a\xe9", "A\xc9", true, true}};
    for (const auto& [text, pattern, ignoreCase, match] : wildcards)
        EXPECT_EQ(match, FileUtils::MatchWildcard(text, pattern, ignoreCase)) << text << " ~ " << pattern;
    EXPECT_FALSE(FileUtils::MatchWildcard(nullptr, "*", false) || FileUtils::MatchWildcard("", nullptr, false) ||
                 !FilePatternMatcher().Matches("a", true) || FilePatternMatcher().Matches("", true));
    const std::tuple<const char*, bool, TextArray, TextArray, bool> cases[] = {
        {"C:\\a.h", true, {}, Texts({"*.c"}), true}, {"C:\\src\\a.h", true, Texts({";*.c;*.h ; *.cpp"}), {}, true},
        {"C:\\src\\a.cpp", true, {}, Texts({"*.cpp"}), false}, {"C:\\x\\a.h", true, Texts({"*\\x\\*"}), {}, true},
        {"C:\\src.cpp\\a.txt", true, Texts({"*.cpp"}), {}, false}, {"D:\\o", false, Texts({"o/"}), {}, true},
        {"C:\\src\\a_test.cpp", true, Texts({"*.cpp"}), Texts({"*.bak", "*_test.*"}), false},
        {"D:\\obj", true, Texts({"obj\\"}), {}, false}, {"c:/SRC/a.h", true, Texts({"C:\\src\\*.h"}), {}, true},
        {"C:\\x\\y/a", true, Texts({"a"}), {}, true}, {"C:\\a", true, Texts({"*.*"}), {}, true},
        {"C:\\src\\", false, Texts({"src\\"}), {}, true},
        {"\\", false, Texts({"\\"}), {}, false}};  // a pattern of separators alone applies to nothing
    for (const auto& [path, isFile, include, exclude, match] : cases)
    {
        const CString full(path), dir = full.Left(full.ReverseFind('\\') + 1);  // as a walk gives it
        EXPECT_EQ(match, FileUtils::MatchFileSpec(path, isFile, include, exclude, true)) << path;
        EXPECT_EQ(match, FilePatternMatcher(include, exclude, true).Matches(dir, full.Mid(dir.GetLength()), isFile));
    }
}

// An unreadable item is left out: the archive of the rest replaces the output
// and the call answers false. A call that writes no archive leaves the output and no temporary. The
// temporary goes with its writer's process; a ZipThread job stopped short keeps and posts nothing.
TEST(ZipArchiveTest, AnUnreadableItemIsLeftOutAndAnArchiveCutShortLeavesNoTemporaryFile)
{
    TempDir dir("zip");
    ASSERT_TRUE(WriteBytes(dir / "good.txt", "good") && WriteBytes(dir / "locked.txt", "locked"));
    HANDLE lock = CreateFileA((dir / "locked.txt").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, lock);
    const std::string output = dir / "out.zip";
    const TextArray items = Texts({dir / "missing.txt", dir / "locked.txt", dir / "good.txt"});
    EXPECT_FALSE(DirUtils::CreateZipFile(output.c_str(), dir.Path().c_str(), ""));
    EXPECT_FALSE(FileUtils::CreateZipFile(output.c_str(), items, ""));
    const std::string bytes = ReadBytes(output);
    EXPECT_TRUE(bytes.find("good.txt") != std::string::npos && bytes.find("locked.txt") == std::string::npos);
    CloseHandle(lock);
    EXPECT_TRUE(WriteBytes(output, "precious") &&
                !DirUtils::CreateZipFile(output.c_str(), (dir / "no such dir").c_str(), "") &&
                ReadBytes(output) == "precious");
    const auto entries = [&dir] { return std::distance(std::filesystem::directory_iterator(dir.Path()), {}); };
    EXPECT_EQ(3, entries());  // no temporary file stays
    ASSERT_TRUE(CreateDirectoryA((dir / "src").c_str(), nullptr) &&
                WriteBytes(dir / "src\\noise.bin", NoiseBytes(4 << 20)));
    // The child ends itself once the archive has had its first write; its reads stall after that.
    EXPECT_EQ(0, ChildProcess({"zip-stopped", dir / "stopped.zip", dir / "src"}).WaitExit(MustHappenMs()));
    EXPECT_TRUE(WaitUntil([&] { return entries() == 4; }, MustHappenMs()));  // with src
    EXPECT_TRUE(DirUtils::CreateZipFile((dir / "src\\.\\self.zip").c_str(), (dir / "src").c_str(), ""));
}
