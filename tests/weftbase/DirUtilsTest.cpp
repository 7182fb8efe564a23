#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

using weft::test::Exists;
using weft::test::TempDir;
using weft::test::WriteBytes;

TEST(DirUtilsTest, FormOnlyLooksAtTheTextAlone)
{
    const std::pair<const char*, bool> cases[] = {
        {"C:\\", true},          {"C:\\no\\such\\dir\\", true}, {"relative\\dir", true}, {"\\\\srv\\share\\", true},
        {"\\\\?\\C:\\x", true},  {"C:", true},                  {"d:/unix/style/", true}, {"", false},
        {"   ", false},          {nullptr, false},              {"C:\\a*b", false},      {"C:\\a?b", false},
        {"C:\\a|b", false},      {"C:\\a<b", false},            {"C:\\a>b", false},      {"C:\\a\"b", false},
        {"C:\\a:b", false},      {"1:\\x", false},              {"C:\\a\tb", false},
    };
    for (const auto& [path, form] : cases)
        EXPECT_EQ(form, DirUtils::IsDir(path, true)) << (path ? path : "(null)");
    EXPECT_TRUE(DirUtils::IsDir(std::string(248, 'a').c_str(), true));
    EXPECT_FALSE(DirUtils::IsDir(std::string(249, 'a').c_str(), true));
}

TEST(DirUtilsTest, TrailingBackslashParentAndFolderOfAPath)
{
    const char* trailing[][2] = {{"C:\\a", "C:\\a\\"},  {"C:\\a\\", "C:\\a\\"}, {"C:\\a\\\\\\", "C:\\a\\"},
                                 {"C:\\a/", "C:\\a\\"}, {"C:", "C:\\"},         {"", ""},
                                 {"\\", "\\"},          {"\\\\", "\\\\"}};
    for (const auto& c : trailing)
    {
        CString path(c[0]);
        DirUtils::EnsureTrailingBackslash(path);
        EXPECT_EQ(CString(c[1]), path) << c[0];
    }
    const char* parts[][3] = {
        {"C:\\a\\b.txt", "C:\\a\\", "C:\\a\\"}, {"C:\\a\\b\\", "C:\\a\\", "C:\\a\\b\\"}, {"C:\\b.txt", "C:\\", "C:\\"},
        {"C:\\", "", "C:\\"}, {"b.txt", "", ""}, {"C:b.txt", "C:", "C:"}, {"a/b/c", "a/b/", "a/b/"},
        {"\\\\srv\\share\\x.txt", "\\\\srv\\share\\", "\\\\srv\\share\\"}, {"", "", ""},
    };
    for (const auto& c : parts)
    {
        EXPECT_EQ(CString(c[1]), DirUtils::ParseParentDir(c[0])) << c[0];
        EXPECT_EQ(CString(c[2]), DirUtils::ParsePathFromFile(c[0])) << c[0];
    }
}

TEST(DirUtilsTest, CreateDirectoryPathMakesEveryLevelAndExistenceTellsFoldersFromFiles)
{
    TempDir dir("du");
    const std::string deep = dir / "a\\b\\c";
    EXPECT_TRUE(DirUtils::CreateDirectoryPath(deep.c_str()));
    EXPECT_TRUE(DirUtils::CreateDirectoryPath((deep + "\\").c_str()));
    for (const std::string& d : {deep, deep + "\\"})
    {
        EXPECT_TRUE(DirUtils::DoesDirExist(d.c_str())) << d;
        EXPECT_TRUE(DirUtils::IsDir(d.c_str(), false)) << d;
    }
    ASSERT_TRUE(WriteBytes(dir / "file", "x"));
    EXPECT_FALSE(DirUtils::DoesDirExist((dir / "file").c_str()));
    EXPECT_FALSE(DirUtils::IsDir((dir / "file").c_str(), false));
    EXPECT_FALSE(DirUtils::CreateDirectoryPath((dir / "file\\sub").c_str()));
    EXPECT_FALSE(DirUtils::CreateDirectoryPath("C:\\bad|name"));
    EXPECT_FALSE(DirUtils::DoesDirExist((dir / "none").c_str()));
    EXPECT_TRUE(DirUtils::DoesDirExist("C:\\"));
    EXPECT_FALSE(DirUtils::DoesDirExist(nullptr));
}

namespace
{
// A tree of 3 directories below root and 4 files, one of them read-only and hidden.
void MakeTree(const std::string& root)
{
    ASSERT_TRUE(DirUtils::CreateDirectoryPath((root + "x\\y\\").c_str()));
    ASSERT_TRUE(DirUtils::CreateDirectoryPath((root + "empty\\").c_str()));
    ASSERT_TRUE(WriteBytes(root + "top.txt", "1"));
    ASSERT_TRUE(WriteBytes(root + "x\\mid.txt", "2"));
    ASSERT_TRUE(WriteBytes(root + "x\\y\\leaf.txt", "3"));
    ASSERT_TRUE(WriteBytes(root + "x\\y\\locked.txt", "4"));
    ASSERT_TRUE(
        SetFileAttributesA((root + "x\\y\\locked.txt").c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
}
}  // namespace

TEST(DirUtilsTest, DeleteTakesTheTreeOrItsContentsAndSafeModeLeavesProtectedFiles)
{
    TempDir dir("du");
    const std::string root = dir / "tree\\";
    unsigned long long files = 0, dirs = 0;
    MakeTree(root);
    EXPECT_EQ(CString(), DirUtils::DeleteDirectory(root.c_str(), 0, nullptr, &files, &dirs));
    EXPECT_EQ(4u, files);
    EXPECT_EQ(4u, dirs);
    EXPECT_FALSE(Exists(root));

    MakeTree(root);
    EXPECT_EQ(CString(),
              DirUtils::DeleteDirectory(root.c_str(), DirUtils::DeleteContentsOnly, nullptr, nullptr, nullptr));
    EXPECT_TRUE(DirUtils::DoesDirExist(root.c_str()));
    EXPECT_FALSE(Exists(root + "x"));
    EXPECT_FALSE(Exists(root + "top.txt"));

    // Safe mode, with the folder named without its backslash: the protected file and the folders
    // that hold it stay.
    MakeTree(root);
    const CString error =
        DirUtils::DeleteDirectory((dir / "tree").c_str(), DirUtils::DeleteSafe, nullptr, &files, &dirs);
    EXPECT_NE(-1, error.Find("locked.txt")) << error.GetString();
    EXPECT_EQ(3u, files);
    EXPECT_EQ(1u, dirs);
    EXPECT_TRUE(Exists(root + "x\\y\\locked.txt"));
    EXPECT_FALSE(Exists(root + "x\\y\\leaf.txt"));
    EXPECT_FALSE(Exists(root + "empty"));
    EXPECT_FALSE(Exists(root + "top.txt"));
}

TEST(DirUtilsTest, ASignalledStopEventEndsTheDeletionAndSaysSo)
{
    TempDir dir("du");
    const std::string root = dir / "tree\\";
    MakeTree(root);
    MTEvent stop(true, true);
    unsigned long long files = 9;
    const CString error = DirUtils::DeleteDirectory(root.c_str(), 0, stop.GetHandle(), &files, nullptr);
    EXPECT_EQ(CString(root.c_str()) + ": " + SystemUtils::GetLastError(ERROR_OPERATION_ABORTED), error);
    EXPECT_EQ(0u, files);
    EXPECT_TRUE(Exists(root + "x\\y\\leaf.txt"));
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
    EXPECT_NE(-1, DirUtils::DeleteDirectory((dir / "f.txt").c_str(), 0, nullptr, nullptr, nullptr)
                      .Find(SystemUtils::GetLastError(ERROR_DIRECTORY)));
    EXPECT_TRUE(Exists(dir / "f.txt"));
    EXPECT_FALSE(DirUtils::DeleteDirectory((dir / "none").c_str(), 0, nullptr, nullptr, nullptr).IsEmpty());
    EXPECT_FALSE(DirUtils::DeleteDirectory("", 0, nullptr, nullptr, nullptr).IsEmpty());
    EXPECT_FALSE(DirUtils::DeleteDirectory(nullptr, 0, nullptr, nullptr, nullptr).IsEmpty());
}
