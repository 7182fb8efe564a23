#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

#include <thread>
#include <tuple>

using weft::test::Exists;
using weft::test::TempDir;
using weft::test::Texts;
using weft::test::WriteBytes;

TEST(FileUtilsTest, DeleteTellsWhyItCannotAndForcesOnlyWhenAsked)
{
    TempDir dir("fu");
    const std::string file = dir / "a.txt";
    ASSERT_TRUE(WriteBytes(file, "x"));
    EXPECT_TRUE(FileUtils::DoesFileExist(file.c_str()));
    EXPECT_TRUE(FileUtils::DoesFileExist(dir.Path().c_str()));
    EXPECT_FALSE(FileUtils::DoesFileExist(""));
    EXPECT_FALSE(FileUtils::DoesFileExist(nullptr));
    CString error("stale");
    EXPECT_TRUE(FileUtils::DeleteFileA(file.c_str(), error, false, false));
    EXPECT_TRUE(error.IsEmpty());
    EXPECT_FALSE(FileUtils::DoesFileExist(file.c_str()));
    EXPECT_FALSE(FileUtils::DeleteFileA(file.c_str(), error, false, false));
    EXPECT_EQ(SystemUtils::GetLastError(ERROR_FILE_NOT_FOUND), error);
    EXPECT_FALSE(FileUtils::DeleteFileA(nullptr, error, true, true));
    EXPECT_FALSE(error.IsEmpty());

    // Read-only: refused unless forced.
    ASSERT_TRUE(WriteBytes(file, "x"));
    ASSERT_TRUE(SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_FALSE(FileUtils::DeleteFileA(file.c_str(), error, false, false));
    EXPECT_EQ(SystemUtils::GetLastError(ERROR_ACCESS_DENIED), error);
    EXPECT_TRUE(FileUtils::DeleteFileA(file.c_str(), error, true, false)) << error.GetString();
    EXPECT_FALSE(Exists(file));

    // A forced delete that fails puts the attributes back.
    ASSERT_TRUE(WriteBytes(file, "x"));
    HANDLE holder = CreateFileA(file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, holder);
    const DWORD kept = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN;
    ASSERT_TRUE(SetFileAttributesA(file.c_str(), kept));
    EXPECT_FALSE(FileUtils::DeleteFileA(file.c_str(), error, true, false));
    EXPECT_EQ(SystemUtils::GetLastError(ERROR_SHARING_VIOLATION), error);
    EXPECT_EQ(kept, GetFileAttributesA(file.c_str()) & kept);
    CloseHandle(holder);
    SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST(FileUtilsTest, RetryOutlastsAShortHold)
{
    TempDir dir("fu");
    const std::string file = dir / "busy.txt";
    ASSERT_TRUE(WriteBytes(file, "x"));
    HANDLE holder = CreateFileA(file.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, holder);
    CString error;
    EXPECT_FALSE(FileUtils::DeleteFileA(file.c_str(), error, false, false));
    EXPECT_EQ(SystemUtils::GetLastError(ERROR_SHARING_VIOLATION), error);
    // The scenario is a file held for a moment: another thread lets it go a little after the
    // deletion has begun, well inside the second of retries.
    MTEvent started(true, false);
    std::thread release([&] {
        started.Wait(weft::test::MustHappenMs());
        Sleep(100);
        CloseHandle(holder);
    });
    started.Set();
    const bool deleted = FileUtils::DeleteFileA(file.c_str(), error, false, true);
    release.join();
    EXPECT_TRUE(deleted) << error.GetString();
    EXPECT_FALSE(Exists(file));
}

TEST(FileUtilsTest, ExtensionAndNameComeFromTheLastComponent)
{
    // Path, extension, name, name without the extension.
    const char* cases[][4] = {
        {"C:\\a\\b.txt", "txt", "b.txt", "b"}, {"C:\\a\\b.tar.GZ", "GZ", "b.tar.GZ", "b.tar"},
        {"C:\\a.d\\b", "", "b", "b"}, {"b.", "", "b.", "b"}, {".profile", "profile", ".profile", ""},
        {"C:\\a\\", "", "", ""}, {"C:x.exe", "exe", "x.exe", "x"}, {"a/b/c.cpp", "cpp", "c.cpp", "c"},
        {"\\\\srv\\share\\x.doc", "doc", "x.doc", "x"}, {"", "", "", ""},
    };
    for (const auto& c : cases)
    {
        EXPECT_EQ(CString(c[1]), FileUtils::GetFileExt(c[0])) << c[0];
        EXPECT_EQ(CString(c[2]), FileUtils::ParseFileNameFromPath(c[0], true)) << c[0];
        EXPECT_EQ(CString(c[3]), FileUtils::ParseFileNameFromPath(c[0], false)) << c[0];
    }
    EXPECT_EQ(CString(), FileUtils::GetFileExt(nullptr));
    EXPECT_EQ(CString("htm"), FileUtils::GetFileExt("http://h/x.htm"));
}

TEST(FileUtilsTest, WildcardsMatchRunsAndSingleCharacters)
{
    const std::tuple<const char*, const char*, bool, bool> cases[] = {
        {"abc", "abc", false, true}, {"abc", "ABC", false, false}, {"abc", "ABC", true, true},
        {"abc", "a*", false, true}, {"abc", "*c", false, true}, {"abc", "*", false, true}, {"", "*", false, true},
        {"", "?", false, false}, {"abc", "a?c", false, true}, {"ac", "a?c", false, false},
        {"abc", "a*b*c", false, true}, {"abxbc", "a*bc", false, true}, {"abcd", "a*c", false, false},
        {"a.b.c", "*.c", false, true}, {"x\\y/z", "x/y\\z", false, true},
        {"aaaaaaaaaaaaaaaaaaaaaaaaaaaaab", "*a*a*a*a*a*a*a*a*c", false, false},
    };
    for (const auto& [text, pattern, ignoreCase, match] : cases)
        EXPECT_EQ(match, FileUtils::MatchWildcard(text, pattern, ignoreCase)) << text << " ~ " << pattern;
}

TEST(FileUtilsTest, FilepatternsFollowTheDocumentedTable)
{
    struct Case
    {
        const char* path;
        bool isFile;
        TextArray include;
        TextArray exclude;
        bool ignoreCase;
        bool match;
    } cases[] = {
        // An empty include list includes everything; exclusions still apply.
        {"C:\\src\\a.cpp", true, Texts({}), Texts({}), true, true},
        {"C:\\src\\obj\\", false, Texts({}), Texts({}), true, true},
        {"C:\\src\\a.cpp", true, Texts({}), Texts({"*.cpp"}), true, false},
        // patterns match the last component.
        {"C:\\src\\a.cpp", true, Texts({"*.cpp"}), Texts({}), true, true},
        {"C:\\src\\a.cpp", true, Texts({"*.h"}), Texts({}), true, false},
        {"C:\\src\\A.CPP", true, Texts({"*.cpp"}), Texts({}), true, true},
        {"C:\\src\\A.CPP", true, Texts({"*.cpp"}), Texts({}), false, false},
        {"C:\\src.cpp\\a.txt", true, Texts({"*.cpp"}), Texts({}), true, false},
        // Lists inside one entry, blanks ignored, several entries.
        {"C:\\src\\a.h", true, Texts({"*.cpp ; *.h"}), Texts({}), true, true},
        {"C:\\src\\a.h", true, Texts({"*.cpp", "*.h"}), Texts({}), true, true},
        {"C:\\src\\a_test.cpp", true, Texts({"*.cpp"}), Texts({"*_test.*;*.bak"}), true, false},
        {"C:\\src\\a.cpp", true, Texts({";;"}), Texts({}), true, true},
        // Directory patterns end in a separator and apply to directories only.
        {"C:\\src\\obj\\", false, Texts({"obj\\"}), Texts({}), true, true},
        {"C:\\src\\obj", false, Texts({"obj/"}), Texts({}), true, true},
        {"C:\\src\\obj", true, Texts({"obj\\"}), Texts({}), true, false},
        {"C:\\src\\obj\\", false, Texts({"*"}), Texts({}), true, false},
        {"C:\\src\\obj\\", false, Texts({}), Texts({"o?j\\"}), true, false},
        {"C:\\src\\obj.cpp\\", false, Texts({"*.cpp"}), Texts({}), true, false},
        // A pattern with a separator inside matches the whole path.
        {"C:\\src\\obj\\x.o", true, Texts({"*\\obj\\*"}), Texts({}), true, true},
        {"C:\\src\\lib\\x.o", true, Texts({"*\\obj\\*"}), Texts({}), true, false},
        {"C:\\src\\deep\\obj\\", false, Texts({"C:\\src\\*\\"}), Texts({}), true, true},
        {"c:/SRC/a.h", true, Texts({"C:\\src\\*.h"}), Texts({}), true, true},
        // "*.*" is every name, with a dot or without.
        {"C:\\src\\Makefile", true, Texts({"*.*"}), Texts({}), true, true},
        {"C:\\src\\Makefile", true, Texts({"*."}), Texts({}), true, false},
        // Nothing matches an empty path.
        {"", true, Texts({}), Texts({}), true, false},
        {nullptr, false, Texts({}), Texts({}), true, false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.match, FileUtils::MatchFileSpec(c.path, c.isFile, c.include, c.exclude, c.ignoreCase))
            << (c.path ? c.path : "(null)") << (c.isFile ? " file" : " dir") << " include "
            << c.include.GetCopyAt(0).GetString() << " exclude " << c.exclude.GetCopyAt(0).GetString();
}

TEST(FileUtilsTest, InfoAndPathsUpToTheLimitWorkAndLongerOnesAreRefused)
{
    TempDir dir("fu");
    // Nest folders until a file name fills the path to exactly 259 characters.
    std::string folder = dir.Path();
    while (folder.size() + 60 < static_cast<size_t>(DirUtils::MaxDirPathLength))
    {
        folder += std::string(50, 'd') + "\\";
        ASSERT_TRUE(CreateDirectoryA(folder.c_str(), nullptr)) << folder;
    }
    const std::string longest = folder + std::string(FileUtils::MaxPathLength - folder.size(), 'f');
    ASSERT_EQ(259u, longest.size());
    ASSERT_TRUE(WriteBytes(longest, "at the limit"));
    EXPECT_TRUE(FileUtils::DoesFileExist(longest.c_str()));
    const SYSTEMTIME st = {2021, 7, 0, 14, 8, 9, 10, 500};
    FILETIME ft;
    SystemTimeToFileTime(&st, &ft);
    HANDLE h = CreateFileA(longest.c_str(), FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, h);
    ASSERT_TRUE(SetFileTime(h, nullptr, nullptr, &ft));
    CloseHandle(h);
    unsigned long long size = 0;
    DateTime modified;
    EXPECT_TRUE(FileUtils::GetFileInfoCore(longest.c_str(), size, modified));
    EXPECT_EQ(12u, size);
    EXPECT_EQ(CString("2021-07-14 08:09:10"), modified.Format());
    ASSERT_TRUE(FileUtils::GetFileInfoCore(dir.Path().c_str(), size, modified));
    EXPECT_EQ(0u, size);
    EXPECT_TRUE(modified.IsValid());
    size = 99;
    EXPECT_FALSE(FileUtils::GetFileInfoCore((dir / "missing").c_str(), size, modified));
    EXPECT_EQ(0u, size);
    EXPECT_FALSE(modified.IsValid());

    const std::string tooLong = longest + "g";
    CString error;
    EXPECT_FALSE(FileUtils::DoesFileExist(tooLong.c_str()));
    EXPECT_FALSE(FileUtils::GetFileInfoCore(tooLong.c_str(), size, modified));
    EXPECT_FALSE(FileUtils::DeleteFileA(tooLong.c_str(), error, true, true));
    EXPECT_EQ(SystemUtils::GetLastError(ERROR_FILENAME_EXCED_RANGE), error);
    EXPECT_FALSE(DirUtils::DoesDirExist(tooLong.c_str()));
    EXPECT_FALSE(DirUtils::IsDir(tooLong.c_str(), true));
    EXPECT_FALSE(DirUtils::DeleteDirectory(tooLong.c_str(), 0, nullptr, nullptr, nullptr).IsEmpty());
    EXPECT_FALSE(FileUtils::CreateZipFile(tooLong.c_str(), TextArray(), ""));
    EXPECT_FALSE(Exists(tooLong));

    // Far beyond any limit: refused, not overrun.
    const std::string huge(100000, 'x');
    EXPECT_FALSE(FileUtils::DoesFileExist(huge.c_str()));
    EXPECT_FALSE(DirUtils::IsDir(huge.c_str(), true));
    EXPECT_EQ(CString(), VolumeUtils::GetVolumeGUID(huge.c_str()));
    EXPECT_TRUE(FileUtils::MatchFileSpec(huge.c_str(), true, Texts({"x*"}), TextArray(), true));

    EXPECT_TRUE(FileUtils::DeleteFileA(longest.c_str(), error, false, false)) << error.GetString();
}
