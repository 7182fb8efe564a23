// Path texts, patterns, the deletion of files and trees, and what a failed zip archive leaves.
// The archives' names, form, methods and entry fields are checked by readers that run natively
// (check_zip_archives.py, on the archives of the child's "zip-samples").
#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

#include <tuple>
#include <utility>

using weft::test::Exists;
using weft::test::ReadBytes;
using weft::test::TempDir;
using weft::test::Texts;
using weft::test::WriteBytes;

namespace
{
// The library's DeleteFileA during the retry case: the holder lets the file go as soon as the
// first attempt has failed with a sharing violation.
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
    if (find != INVALID_HANDLE_VALUE)
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

// Safe mode takes what it can of a tree, deeper than 259 characters and with names outside the
// code page, and leaves a protected file and the folders that hold it, and names it.
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
    ASSERT_TRUE(weft::test::WriteWide(deep + L"f.txt", "") && weft::test::WriteWide(wide + L"\u540d", ""));
    unsigned long long files = 0, dirs = 0;
    const CString error = DirUtils::DeleteDirectory((dir / "tree").c_str(), DirUtils::DeleteSafe, 0, &files, &dirs);
    EXPECT_NE(-1, error.Find("kept.txt")) << error.GetString();
    EXPECT_EQ(5u, files);
    EXPECT_EQ(6u, dirs);
    EXPECT_TRUE(Exists(root + "x\\y\\kept.txt"));
    EXPECT_FALSE(Exists(root + "top.txt") || Exists(root + "long"));
}

// Roots, local or shared, are refused whatever their form. The stop event is set, so that a
// refusal that failed could not take anything.
TEST(DirUtilsTest, RootsAreRefused)
{
    MTEvent stop(true, true);
    for (const char* root : {"C:\\", "C:", "c:/", "\\", "\\\\srv\\share", "\\\\srv\\share\\", "\\\\?\\C:\\",
                             "C:\\windows\\system32\\..\\..\\"})
        EXPECT_EQ(CString(root) + ": " + SystemUtils::GetLastError(ERROR_ACCESS_DENIED),
                  DirUtils::DeleteDirectory(root, DirUtils::DeleteContentsOnly, stop.GetHandle(), nullptr, nullptr))
            << root;
}

// A forced delete clears read-only; when it fails it puts the attributes back; with retry, a
// file held by another handle goes once let go.
TEST(FileUtilsTest, DeleteTellsWhyItCannotForcesOnlyWhenAskedAndRetriesAHeldFile)
{
    TempDir dir("fu");
    const std::string file = dir / "a.txt";
    CString error;
    EXPECT_FALSE(FileUtils::DeleteFileA(file.c_str(), error, false, false));
    EXPECT_EQ(SystemUtils::GetLastError(ERROR_FILE_NOT_FOUND), error);
    const DWORD kept = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN;
    ASSERT_TRUE(WriteBytes(file, "x") && SetFileAttributesA(file.c_str(), kept));
    EXPECT_FALSE(FileUtils::DeleteFileA(file.c_str(), error, false, false));
    g_hHolder = CreateFileA(file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                            nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, g_hHolder);
    EXPECT_FALSE(FileUtils::DeleteFileA(file.c_str(), error, true, false));
    EXPECT_EQ(kept, GetFileAttributesA(file.c_str()) & kept);
    const ULONGLONG kernel = weft::test::KernelFunction("DeleteFileA"), hook = ULONGLONG(&DeleteFailingOnce);
    ASSERT_TRUE(weft::test::RepointImport("weftbase.dll", kernel, hook));
    EXPECT_TRUE(FileUtils::DeleteFileA(file.c_str(), error, true, true)) << error.GetString();
    weft::test::RepointImport("weftbase.dll", hook, kernel);
    EXPECT_EQ(2, g_nAttempts);
    EXPECT_FALSE(Exists(file));
}

// The extension is what follows the last dot of the last component, without the dot.
TEST(FileUtilsTest, ExtensionAndNameComeFromTheLastComponent)
{
    // Path, extension, name without the extension.
    const char* cases[][3] = {{"C:\\a\\b.tar.GZ", "GZ", "b.tar"}, {"C:\\a.d\\b", "", "b"}, {"b.", "", "b"},
                              {".profile", "profile", ""},         {"C:x.exe", "exe", "x"}};
    for (const auto& c : cases)
    {
        EXPECT_EQ(CString(c[1]), FileUtils::GetFileExt(c[0])) << c[0];
        EXPECT_EQ(CString(c[2]), FileUtils::ParseFileNameFromPath(c[0], false)) << c[0];
    }
}

// Wildcards fold case when asked (also beyond ASCII) and take '/' for '\'; a file pattern list
// includes, then excludes.
TEST(FileUtilsTest, WildcardsAndPatternListsFollowTheDocumentedTable)
{
    const std::tuple<const char*, const char*, bool, bool> wildcards[] = {
        {"abc", "ABC", false, false}, {"abc", "ABC", true, true},   {"ac", "a?c", false, false},
        {"abxbc", "a*bc", false, true}, {"x\\y/z", "x/y\\z", false, true}, {"\xe9t\xe9", "\xc9T?", true, true},
        {"aaaaaaaaaaaaaaaaaaaaaaaaaaaaab", "*a*a*a*a*a*a*a*a*c", false, false},
    };
    for (const auto& [text, pattern, ignoreCase, match] : wildcards)
        EXPECT_EQ(match, FileUtils::MatchWildcard(text, pattern, ignoreCase)) << text << " ~ " << pattern;
    const std::tuple<const char*, bool, TextArray, TextArray, bool> cases[] = {
        {"C:\\src\\a.cpp", true, Texts({}), Texts({"*.cpp"}), false},
        {"C:\\src.cpp\\a.txt", true, Texts({"*.cpp"}), Texts({}), false},
        {"C:\\src\\a.h", true, Texts({"*.cpp ; *.h"}), Texts({}), true},
        {"C:\\src\\a_test.cpp", true, Texts({"*.cpp"}), Texts({"*_test.*;*.bak"}), false},
        {"C:\\src\\obj", false, Texts({"obj/"}), Texts({}), true},
        {"C:\\src\\obj", true, Texts({"obj\\"}), Texts({}), false},
        {"c:/SRC/a.h", true, Texts({"C:\\src\\*.h"}), Texts({}), true},
    };
    for (const auto& [path, isFile, include, exclude, match] : cases)
        EXPECT_EQ(match, FileUtils::MatchFileSpec(path, isFile, include, exclude, true)) << path;
}

// An item that cannot be read is left out and the call says so; a call that writes no archive
// leaves the output as it was and no temporary file.
TEST(ZipArchiveTest, AnUnreadableItemIsLeftOutAndOnlyAWrittenArchiveReplacesTheOutput)
{
    TempDir dir("zip");
    ASSERT_TRUE(WriteBytes(dir / "good.txt", "good") && WriteBytes(dir / "locked.txt", "locked"));
    HANDLE lock = CreateFileA((dir / "locked.txt").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, lock);
    const std::string output = dir / "out.zip";
    const TextArray files = weft::test::Texts({dir / "missing.txt", dir / "locked.txt", dir / "good.txt"});
    for (bool list : {true, false})
    {
        ASSERT_TRUE(DeleteFileA(output.c_str()) || list);
        EXPECT_FALSE(list ? FileUtils::CreateZipFile(output.c_str(), files, "")
                          : DirUtils::CreateZipFile(output.c_str(), dir.Path().c_str(), ""));
        const std::string bytes = ReadBytes(output);
        EXPECT_TRUE(bytes.find("good.txt") != std::string::npos && bytes.find("locked.txt") == std::string::npos);
    }
    CloseHandle(lock);
    ASSERT_TRUE(WriteBytes(output, "precious"));
    EXPECT_FALSE(DirUtils::CreateZipFile(output.c_str(), (dir / "no such dir").c_str(), ""));
    EXPECT_EQ("precious", ReadBytes(output));
    EXPECT_EQ(3, FilesIn(dir.Path()));  // no temporary file stays
}

// The temporary file goes with its writer's process, however that ends.
TEST(ZipArchiveTest, AnArchiveCutShortByTheEndOfItsProcessLeavesNoTemporaryFile)
{
    TempDir dir("zip");
    const std::string out = dir / "out\\";
    ASSERT_TRUE(DirUtils::CreateDirectoryPath(out.c_str()) && DirUtils::CreateDirectoryPath((dir / "src").c_str()));
    ASSERT_TRUE(WriteBytes(dir / "src\\noise.bin", weft::test::NoiseBytes(16 << 20)));
    weft::test::ChildProcess child({"zip-dir", out + "cut.zip", dir / "src"});
    // The end comes once the archive has had its first write, long before its last.
    DWORD size = 0;
    ASSERT_TRUE(weft::test::WaitUntil([&] { return FilesIn(out, &size) == 1 && size > 0; },
                                      weft::test::MustHappenMs()));
    child.Kill();
    EXPECT_TRUE(weft::test::WaitUntil([&out] { return FilesIn(out) == 0; }, weft::test::MustHappenMs()));
}
