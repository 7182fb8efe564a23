// Path texts, patterns, deleting files and trees, and what a failed zip archive leaves. The archives
// themselves are checked by native readers (check_zip_archives.py, on the child's "zip-samples").
#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

using namespace weft::test;

namespace
{
// The library's DeleteFileA in the retry case: the holder lets go once an attempt has failed.
HANDLE g_hHolder = nullptr;
int g_nAttempts = 0;
BOOL WINAPI DeleteFailingOnce(const char* path)
{
    ++g_nAttempts;
    const BOOL deleted = DeleteFileA(path);
    const DWORD code = GetLastError();
    if (!deleted && g_hHolder)
        CloseHandle(std::exchange(g_hHolder, nullptr));
    SetLastError(code);
    return deleted;
}

// The files in the folder, and the bytes of the last: left-over temporary files show up here.
int FilesIn(const std::string& dir, DWORD* lastSize = nullptr)
{
    WIN32_FIND_DATAA data;
    HANDLE find = FindFirstFileA((dir + "*.*").c_str(), &data);
    int n = 0;
    for (bool more = find != INVALID_HANDLE_VALUE; more; more = FindNextFileA(find, &data))
        if (!(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) && ++n && lastSize)
            *lastSize = data.nFileSizeLow | data.nFileSizeHigh;
    FindClose(find);
    return n;
}
}  // namespace

// A folder's form: no character a name cannot hold, and no more than 259 characters.
TEST(DirUtilsTest, FormsFollowTheTable)
{
    const std::pair<std::string, bool> forms[] = {
        {"C:\\", true},       {"\\\\srv\\share\\", true}, {"d:/unix/style/", true},        {"C:\\a*b", false},
        {"C:\\a|b", false}, {"C:\\a:b", false},         {std::string(259, 'a'), true}, {std::string(260, 'a'), false},
    };
    for (const auto& [path, form] : forms)
        EXPECT_EQ(form, DirUtils::IsDir(path.c_str(), true)) << path;
}

// Safe mode takes what it can (also past 259 characters and outside the code page) and names what it leaves.
TEST(DirUtilsTest, DeleteInSafeModeLeavesProtectedFiles)
{
    TempDir dir("du");
    const std::string root = dir / "tree\\";
    for (const char* folder : {"x\\y\\", "empty\\"})
        ASSERT_TRUE(DirUtils::CreateDirectoryPath((root + folder).c_str()));
    for (const char* file : {"top.txt", "x\\mid.txt", "x\\y\\leaf.txt", "x\\y\\kept.txt"})
        ASSERT_TRUE(WriteBytes(root + file, "x"));
    ASSERT_TRUE(SetFileAttributesA((root + "x\\y\\kept.txt").c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
    const std::wstring wide = L"\\\\?\\" + std::wstring(root.begin(), root.end());
    std::wstring deep = wide + L"long";
    for (int level = 0; level < 5; ++level, deep += L"\\" + std::wstring(60, L'd'))
        ASSERT_TRUE(CreateDirectoryW(deep.c_str(), nullptr));
    ASSERT_TRUE(WriteBytes(deep + L"f.txt", "") && WriteBytes(wide + L"\u540d", ""));
    unsigned long long files = 0, dirs = 0;
    const CString error = DirUtils::DeleteDirectory((dir / "tree").c_str(), DirUtils::DeleteSafe, 0, &files, &dirs);
    EXPECT_NE(-1, error.Find("kept.txt")) << error.GetString();
    EXPECT_EQ(std::make_pair(5ull, 6ull), std::make_pair(files, dirs));
    EXPECT_TRUE(Exists(root + "x\\y\\kept.txt") && !Exists(root + "top.txt") && !Exists(root + "long"));
}

// Roots, local or shared, are refused whatever their form (with the stop set, a failure takes nothing).
TEST(DirUtilsTest, RootsAreRefused)
{
    MTEvent stop(true, true);
    for (const char* root : {"C:\\", "C:", "c:/", "\\", "\\\\srv\\share", "\\\\srv\\share\\", "\\\\?\\C:\\",
                             "C:\\windows\\system32\\..\\..\\"})
        EXPECT_EQ(CString(root) + ": " + SystemUtils::GetLastError(ERROR_ACCESS_DENIED),
                  DirUtils::DeleteDirectory(root, DirUtils::DeleteContentsOnly, stop.GetHandle(), nullptr, nullptr))
            << root;
}

// A forced delete that fails puts the attributes back; with retry, a held file goes once let go.
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
    EXPECT_FALSE(FileUtils::DeleteFileA(file.c_str(), error, true, false));
    EXPECT_EQ(kept, GetFileAttributesA(file.c_str()) & kept);
    const ULONGLONG kernel = KernelFunction("DeleteFileA"), hook = ULONGLONG(&DeleteFailingOnce);
    ASSERT_TRUE(RepointImport(kernel, hook));
    EXPECT_TRUE(FileUtils::DeleteFileA(file.c_str(), error, true, true)) << error.GetString();
    RepointImport(hook, kernel);
    EXPECT_EQ(2, g_nAttempts);
    EXPECT_FALSE(Exists(file));
}

// The extension is what follows the last dot of the last component, without the dot.
TEST(FileUtilsTest, ExtensionComesFromTheLastComponent)
{
    const std::pair<const char*, const char*> cases[] = {
        {"C:\\a\\b.tar.GZ", "GZ"}, {"C:\\a.d\\b", ""}, {"b.", ""}, {".profile", "profile"}, {"C:x.exe", "exe"}};
    for (const auto& [path, ext] : cases)
        EXPECT_EQ(CString(ext), FileUtils::GetFileExt(path)) << path;
}

// Wildcards fold case when asked (also beyond ASCII) and take '/' for '\'; lists include, then exclude.
TEST(FileUtilsTest, WildcardsAndPatternListsFollowTheDocumentedTable)
{
    const std::tuple<const char*, const char*, bool, bool> wildcards[] = {
        {"abc", "ABC", false, false}, {"abc", "ABC", true, true},   {"ac", "a?c", false, false},
        {"abxbc", "a*bc", false, true}, {"x\\y/z", "x/y\\z", false, true}, {"\xe9t\xe9", "\xc9T?", true, true},
    };
    for (const auto& [text, pattern, ignoreCase, match] : wildcards)
        EXPECT_EQ(match, FileUtils::MatchWildcard(text, pattern, ignoreCase)) << text << " ~ " << pattern;
    const std::tuple<const char*, bool, TextArray, TextArray, bool> cases[] = {
        {"C:\\src\\a.cpp", true, Texts({}), Texts({"*.cpp"}), false},
        {"C:\\src.cpp\\a.txt", true, Texts({"*.cpp"}), Texts({}), false},
        {"C:\\src\\a.h", true, Texts({"*.cpp ; *.h"}), Texts({}), true},
        {"C:\\src\\a_test.cpp", true, Texts({"*.cpp"}), Texts({"*_test.*;*.bak"}), false},
        {"D:\\obj", false, Texts({"obj/"}), Texts({}), true}, {"D:\\obj", true, Texts({"obj\\"}), Texts({}), false},
        {"c:/SRC/a.h", true, Texts({"C:\\src\\*.h"}), Texts({}), true},
    };
    for (const auto& [path, isFile, include, exclude, match] : cases)
        EXPECT_EQ(match, FileUtils::MatchFileSpec(path, isFile, include, exclude, true)) << path;
}

// An unreadable item is left out: the archive of the rest replaces the output and the call answers
// false. A call that writes no archive leaves the output and no temporary.
TEST(ZipArchiveTest, AnArchiveWithoutItsUnreadableItemReplacesTheOutputAndAnswersFalse)
{
    TempDir dir("zip");
    ASSERT_TRUE(WriteBytes(dir / "good.txt", "good") && WriteBytes(dir / "locked.txt", "locked"));
    HANDLE lock = CreateFileA((dir / "locked.txt").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, lock);
    const std::string output = dir / "out.zip";
    const TextArray items = Texts({dir / "missing.txt", dir / "locked.txt", dir / "good.txt"});
    EXPECT_FALSE(FileUtils::CreateZipFile(output.c_str(), items, ""));
    const std::string bytes = ReadBytes(output);
    EXPECT_TRUE(bytes.find("good.txt") != std::string::npos && bytes.find("locked.txt") == std::string::npos);
    CloseHandle(lock);
    ASSERT_TRUE(WriteBytes(output, "precious"));
    EXPECT_FALSE(DirUtils::CreateZipFile(output.c_str(), (dir / "no such dir").c_str(), ""));
    EXPECT_EQ("precious", ReadBytes(output));
    EXPECT_EQ(3, FilesIn(dir.Path()));  // no temporary file stays
}

// The temporary goes with its writer's process; a ZipThread job stopped short keeps and posts nothing.
TEST(ZipArchiveTest, AnArchiveCutShortLeavesNoTemporaryFileAndAStoppedJobTellsNothing)
{
    TempDir dir("zip");
    const std::string out = dir / "out\\";
    ASSERT_TRUE(DirUtils::CreateDirectoryPath(out.c_str()) && DirUtils::CreateDirectoryPath((dir / "src").c_str()));
    ASSERT_TRUE(WriteBytes(dir / "src\\noise.bin", NoiseBytes(16 << 20)));
    ChildProcess child({"zip-dir", out + "cut.zip", dir / "src"});
    // The end comes once the archive has had its first write, long before its last.
    DWORD size = 0;
    ASSERT_TRUE(WaitUntil([&] { return FilesIn(out, &size) == 1 && size > 0; }, MustHappenMs()));
    child.Kill();
    EXPECT_EQ(0, ChildProcess({"zip-stopped", dir / "stopped.zip", dir / "src"}).WaitExit(MustHappenMs()));
    EXPECT_TRUE(WaitUntil([&] { return FilesIn(out) + FilesIn(dir.Path()) == 0; }, MustHappenMs()));
}
