#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

using weft::test::Exists;
using weft::test::TempDir;
using weft::test::WriteBytes;

TEST(DirUtilsTest, FormsTrailingBackslashesParentsAndFoldersOfPathsFollowTheTable)
{
    const std::pair<std::string, bool> forms[] = {
        {"C:\\", true},         {"\\\\srv\\share\\", true}, {"\\\\?\\C:\\x", true}, {"d:/unix/style/", true},
        {"   ", false},         {"C:\\a*b", false},         {"C:\\a?b", false},     {"C:\\a|b", false},
        {"C:\\a<b", false},     {"C:\\a\"b", false},        {"C:\\a:b", false},     {"1:\\x", false},
        {"C:\\a\tb", false},    {std::string(259, 'a'), true}, {std::string(260, 'a'), false},
    };
    for (const auto& [path, form] : forms)
        EXPECT_EQ(form, DirUtils::IsDir(path.c_str(), true)) << path;
    EXPECT_FALSE(DirUtils::IsDir(nullptr, true));
    const char* trailing[][2] = {{"C:\\a", "C:\\a\\"}, {"C:\\a\\\\\\", "C:\\a\\"}, {"C:\\a/", "C:\\a\\"},
                                 {"", ""},             {"\\\\", "\\\\"}};
    for (const auto& c : trailing)
    {
        CString path(c[0]);
        DirUtils::EnsureTrailingBackslash(path);
        EXPECT_EQ(CString(c[1]), path) << c[0];
    }
    const char* parts[][3] = {
        {"C:\\a\\b.txt", "C:\\a\\", "C:\\a\\"}, {"C:\\a\\b\\", "C:\\a\\", "C:\\a\\b\\"}, {"C:\\", "", "C:\\"},
        {"b.txt", "", ""}, {"C:b.txt", "C:", "C:"}, {"\\\\srv\\share\\x.txt", "\\\\srv\\share\\", "\\\\srv\\share\\"},
    };
    for (const auto& c : parts)
    {
        EXPECT_EQ(CString(c[1]), DirUtils::ParseParentDir(c[0])) << c[0];
        EXPECT_EQ(CString(c[2]), DirUtils::ParsePathFromFile(c[0])) << c[0];
    }
}

namespace
{
// A tree of 4 directories below root and 4 files, one of them read-only and hidden; with a folder
// and a file whose paths pass 259 characters, and a file named outside the code page, both made
// with the wide calls: 9 directories and 6 files in all.
void MakeTree(const std::string& root)
{
    for (const char* folder : {"x\\y\\", "empty\\"})
        ASSERT_TRUE(DirUtils::CreateDirectoryPath((root + folder).c_str()));
    for (const char* file : {"top.txt", "x\\mid.txt", "x\\y\\leaf.txt", "x\\y\\locked.txt"})
        ASSERT_TRUE(WriteBytes(root + file, "x"));
    ASSERT_TRUE(
        SetFileAttributesA((root + "x\\y\\locked.txt").c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
    const std::wstring wide = L"\\\\?\\" + std::wstring(root.begin(), root.end());
    std::wstring deep = wide + L"long";
    for (int level = 0; level < 5; ++level, deep += L"\\" + std::wstring(60, L'd'))
        ASSERT_TRUE(CreateDirectoryW(deep.c_str(), nullptr));
    for (const std::wstring& file : {deep + L"f.txt", wide + L"\u540d"})
    {
        HANDLE h = CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
        ASSERT_NE(INVALID_HANDLE_VALUE, h);
        CloseHandle(h);
    }
}
}  // namespace

TEST(DirUtilsTest, DeleteTakesTheTreeOrItsContentsSafeModeLeavesProtectedFilesAndAStopEndsIt)
{
    TempDir dir("du");
    const std::string root = dir / "tree\\";
    unsigned long long files = 0, dirs = 0;
    MakeTree(root);
    EXPECT_EQ(CString(), DirUtils::DeleteDirectory(root.c_str(), 0, nullptr, &files, &dirs));
    EXPECT_EQ(6u, files);
    EXPECT_EQ(9u, dirs);
    EXPECT_FALSE(Exists(root));

    MakeTree(root);
    EXPECT_EQ(CString(),
              DirUtils::DeleteDirectory(root.c_str(), DirUtils::DeleteContentsOnly, nullptr, nullptr, nullptr));
    EXPECT_TRUE(DirUtils::DoesDirExist(root.c_str()));
    EXPECT_FALSE(Exists(root + "x"));
    EXPECT_FALSE(Exists(root + "long"));

    // Safe mode, with the folder named without its backslash: the protected file and the folders
    // that hold it stay.
    MakeTree(root);
    const CString error =
        DirUtils::DeleteDirectory((dir / "tree").c_str(), DirUtils::DeleteSafe, nullptr, &files, &dirs);
    EXPECT_NE(-1, error.Find("locked.txt")) << error.GetString();
    EXPECT_EQ(5u, files);
    EXPECT_EQ(6u, dirs);
    EXPECT_TRUE(Exists(root + "x\\y\\locked.txt"));
    EXPECT_FALSE(Exists(root + "x\\y\\leaf.txt"));
    EXPECT_FALSE(Exists(root + "top.txt"));

    // A signalled stop event: nothing goes, and the text says why.
    MTEvent stop(true, true);
    EXPECT_EQ(CString(root.c_str()) + ": " + SystemUtils::GetLastError(ERROR_OPERATION_ABORTED),
              DirUtils::DeleteDirectory(root.c_str(), 0, stop.GetHandle(), &files, nullptr));
    EXPECT_EQ(0u, files);
    EXPECT_TRUE(Exists(root + "x\\y\\locked.txt"));
}

TEST(DirUtilsTest, RootsFilesAndMissingPathsAreRefused)
{
    TempDir dir("du");
    ASSERT_TRUE(WriteBytes(dir / "f.txt", "x"));
    for (const char* root : {"C:\\", "C:", "c:/", "\\", "\\\\srv\\share", "\\\\srv\\share\\", "\\\\?\\C:\\"})
        EXPECT_EQ(CString(root) + ": " + SystemUtils::GetLastError(ERROR_ACCESS_DENIED),
                  DirUtils::DeleteDirectory(root, DirUtils::DeleteContentsOnly, nullptr, nullptr, nullptr))
            << root;
    // Forms that reach a root only once resolved. The stop event is set as well, so that even a
    // refusal that failed could not take anything.
    MTEvent stop(true, true);
    for (const char* root : {"C:\\windows\\..", "C:\\windows\\system32\\..\\..\\"})
        EXPECT_EQ(CString(root) + ": " + SystemUtils::GetLastError(ERROR_ACCESS_DENIED),
                  DirUtils::DeleteDirectory(root, DirUtils::DeleteContentsOnly | DirUtils::DeleteSafe, stop.GetHandle(),
                                            nullptr, nullptr))
            << root;
    EXPECT_TRUE(Exists("C:\\windows"));
    EXPECT_EQ((dir / "f.txt").c_str() + CString(": ") + SystemUtils::GetLastError(ERROR_DIRECTORY),
              DirUtils::DeleteDirectory((dir / "f.txt").c_str(), 0, nullptr, nullptr, nullptr));
    EXPECT_TRUE(Exists(dir / "f.txt"));
    EXPECT_FALSE(DirUtils::IsDir((dir / "f.txt").c_str(), false));
    EXPECT_TRUE(DirUtils::IsDir(dir.Path().c_str(), false));
    EXPECT_FALSE(DirUtils::CreateDirectoryPath((dir / "f.txt\\sub").c_str()));
    EXPECT_FALSE(DirUtils::DeleteDirectory((dir / "none").c_str(), 0, nullptr, nullptr, nullptr).IsEmpty());
    EXPECT_FALSE(DirUtils::DeleteDirectory(nullptr, 0, nullptr, nullptr, nullptr).IsEmpty());
}
