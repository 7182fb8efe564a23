#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

#include <tuple>
#include <utility>

using weft::test::Exists;
using weft::test::TempDir;
using weft::test::Texts;
using weft::test::WriteBytes;

namespace
{
// weftbase.dll's import slot of a kernel32 function, or null.
ULONGLONG* ImportSlot(const char* function)
{
    auto* base = reinterpret_cast<BYTE*>(GetModuleHandleA("weftbase.dll"));
    const auto* nt = reinterpret_cast<IMAGE_NT_HEADERS*>(base + reinterpret_cast<IMAGE_DOS_HEADER*>(base)->e_lfanew);
    const auto target = reinterpret_cast<ULONGLONG>(GetProcAddress(GetModuleHandleA("kernel32.dll"), function));
    const DWORD imports = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (auto* d = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + imports); d->Name; ++d)
        for (auto* t = reinterpret_cast<IMAGE_THUNK_DATA*>(base + d->FirstThunk); t->u1.Function; ++t)
            if (t->u1.Function == target)
                return &t->u1.Function;
    return nullptr;
}

// Stores the value in the slot and gives what it held.
ULONGLONG Swap(ULONGLONG* slot, ULONGLONG value)
{
    DWORD old = 0;
    VirtualProtect(slot, sizeof value, PAGE_READWRITE, &old);
    std::swap(*slot, value);
    VirtualProtect(slot, sizeof value, old, &old);
    return value;
}

// The library's DeleteFileA during the retry case: the holder lets the file go as soon as the
// first attempt has failed.
HANDLE g_hHolder = nullptr;
int g_nAttempts = 0;
BOOL WINAPI DeleteFailingOnce(const char* path)
{
    ++g_nAttempts;
    const BOOL deleted = DeleteFileA(path);
    if (!deleted && g_hHolder)
    {
        const DWORD code = GetLastError();
        CloseHandle(std::exchange(g_hHolder, nullptr));
        SetLastError(code);
    }
    return deleted;
}
}  // namespace

TEST(FileUtilsTest, DeleteTellsWhyItCannotForcesOnlyWhenAskedAndRetriesAHeldFile)
{
    TempDir dir("fu");
    const std::string file = dir / "a.txt";
    ASSERT_TRUE(WriteBytes(file, "x"));
    CString error("stale");
    EXPECT_TRUE(FileUtils::DeleteFileA(file.c_str(), error, false, false));
    EXPECT_TRUE(error.IsEmpty());
    EXPECT_FALSE(FileUtils::DoesFileExist(file.c_str()));
    EXPECT_TRUE(FileUtils::DoesFileExist(dir.Path().c_str()));
    EXPECT_FALSE(FileUtils::DeleteFileA(file.c_str(), error, false, false));
    EXPECT_EQ(SystemUtils::GetLastError(0), error);  // the text of the failure the call left

    // Read-only: refused unless forced.
    ASSERT_TRUE(WriteBytes(file, "x"));
    ASSERT_TRUE(SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_FALSE(FileUtils::DeleteFileA(file.c_str(), error, false, false));
    EXPECT_TRUE(FileUtils::DeleteFileA(file.c_str(), error, true, false)) << error.GetString();
    EXPECT_FALSE(Exists(file));

    // A forced delete that fails puts the attributes back; with retry, the file goes once let go.
    ASSERT_TRUE(WriteBytes(file, "x"));
    g_hHolder = CreateFileA(file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                            nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, g_hHolder);
    const DWORD kept = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN;
    ASSERT_TRUE(SetFileAttributesA(file.c_str(), kept));
    EXPECT_FALSE(FileUtils::DeleteFileA(file.c_str(), error, true, false));
    EXPECT_EQ(kept, GetFileAttributesA(file.c_str()) & kept);
    ULONGLONG* slot = ImportSlot("DeleteFileA");
    ASSERT_NE(nullptr, slot);
    const ULONGLONG original = Swap(slot, reinterpret_cast<ULONGLONG>(&DeleteFailingOnce));
    EXPECT_TRUE(FileUtils::DeleteFileA(file.c_str(), error, true, true)) << error.GetString();
    Swap(slot, original);
    EXPECT_EQ(2, g_nAttempts);
    EXPECT_FALSE(Exists(file));
}

TEST(FileUtilsTest, ExtensionAndNameComeFromTheLastComponent)
{
    // Path, extension, name, name without the extension.
    const char* cases[][4] = {
        {"C:\\a\\b.tar.GZ", "GZ", "b.tar.GZ", "b.tar"}, {"C:\\a.d\\b", "", "b", "b"}, {"b.", "", "b.", "b"},
        {".profile", "profile", ".profile", ""}, {"C:\\a\\", "", "", ""}, {"C:x.exe", "exe", "x.exe", "x"},
        {"a/b/c.cpp", "cpp", "c.cpp", "c"}, {"", "", "", ""},
    };
    for (const auto& c : cases)
    {
        EXPECT_EQ(CString(c[1]), FileUtils::GetFileExt(c[0])) << c[0];
        EXPECT_EQ(CString(c[2]), FileUtils::ParseFileNameFromPath(c[0], true)) << c[0];
        EXPECT_EQ(CString(c[3]), FileUtils::ParseFileNameFromPath(c[0], false)) << c[0];
    }
    EXPECT_EQ(CString(), FileUtils::GetFileExt(nullptr));
}

TEST(FileUtilsTest, WildcardsAndPatternListsFollowTheDocumentedTable)
{
    const std::tuple<const char*, const char*, bool, bool> wildcards[] = {
        {"abc", "ABC", false, false}, {"abc", "ABC", true, true}, {"", "*", false, true}, {"ac", "a?c", false, false},
        {"abxbc", "a*bc", false, true}, {"abcd", "a*c", false, false}, {"x\\y/z", "x/y\\z", false, true},
        {"aaaaaaaaaaaaaaaaaaaaaaaaaaaaab", "*a*a*a*a*a*a*a*a*c", false, false}, {"\xe9t\xe9", "\xc9T?", true, true},
    };
    for (const auto& [text, pattern, ignoreCase, match] : wildcards)
        EXPECT_EQ(match, FileUtils::MatchWildcard(text, pattern, ignoreCase)) << text << " ~ " << pattern;
    struct Case
    {
        const char* path;
        bool isFile;
        TextArray include;
        TextArray exclude;
        bool match;
    } cases[] = {
        // An empty include list includes everything; exclusions still apply.
        {"C:\\src\\obj\\", false, Texts({}), Texts({}), true},
        {"C:\\src\\a.cpp", true, Texts({}), Texts({"*.cpp"}), false},
        // Patterns match the last component; lists inside one entry, blanks ignored, several entries.
        {"C:\\src.cpp\\a.txt", true, Texts({"*.cpp"}), Texts({}), false},
        {"C:\\src\\a.h", true, Texts({"*.cpp ; *.h"}), Texts({}), true},
        {"C:\\src\\a.h", true, Texts({"*.cpp", "*.h"}), Texts({}), true},
        {"C:\\src\\a_test.cpp", true, Texts({"*.cpp"}), Texts({"*_test.*;*.bak"}), false},
        {"C:\\src\\a.cpp", true, Texts({";;"}), Texts({}), true},
        // Directory patterns end in a separator and apply to directories only.
        {"C:\\src\\obj", false, Texts({"obj/"}), Texts({}), true},
        {"C:\\src\\obj", true, Texts({"obj\\"}), Texts({}), false},
        {"C:\\src\\obj\\", false, Texts({"*"}), Texts({}), false},
        {"C:\\src\\obj\\", false, Texts({}), Texts({"o?j\\"}), false},
        // A pattern with a separator inside matches the whole path.
        {"C:\\src\\obj\\x.o", true, Texts({"*\\obj\\*"}), Texts({}), true},
        {"C:\\src\\lib\\x.o", true, Texts({"*\\obj\\*"}), Texts({}), false},
        {"c:/SRC/a.h", true, Texts({"C:\\src\\*.h"}), Texts({}), true},
        // "*.*" is every name, with a dot or without; nothing matches an empty path.
        {"C:\\src\\Makefile", true, Texts({"*.*"}), Texts({}), true},
        {"C:\\src\\Makefile", true, Texts({"*."}), Texts({}), false},
        {nullptr, false, Texts({}), Texts({}), false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.match, FileUtils::MatchFileSpec(c.path, c.isFile, c.include, c.exclude, true))
            << (c.path ? c.path : "(null)") << (c.isFile ? " file" : " dir") << " include "
            << c.include.GetCopyAt(0).GetString() << " exclude " << c.exclude.GetCopyAt(0).GetString();
}

TEST(FileUtilsTest, InfoAndPathsUpToTheLimitWorkAndLongerOnesAreRefused)
{
    TempDir dir("fu");
    // Nest folders until a file name fills the path to exactly 259 characters.
    std::string folder = dir.Path();
    while (folder.size() + 60 < static_cast<size_t>(DirUtils::MaxDirPathLength))
        ASSERT_TRUE(CreateDirectoryA((folder += std::string(50, 'd') + "\\").c_str(), nullptr)) << folder;
    const std::string longest = folder + std::string(FileUtils::MaxPathLength - folder.size(), 'f');
    ASSERT_TRUE(WriteBytes(longest, "at the limit"));
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
    EXPECT_FALSE(FileUtils::DeleteFileA(tooLong.c_str(), error, true, true));
    EXPECT_EQ(SystemUtils::GetLastError(ERROR_FILENAME_EXCED_RANGE), error);
    EXPECT_FALSE(DirUtils::IsDir(tooLong.c_str(), true));
    EXPECT_FALSE(FileUtils::CreateZipFile(tooLong.c_str(), TextArray(), ""));
    // Far beyond any limit: refused, not overrun.
    const std::string huge(100000, 'x');
    EXPECT_FALSE(FileUtils::DoesFileExist(huge.c_str()));
    EXPECT_TRUE(FileUtils::MatchFileSpec(huge.c_str(), true, Texts({"x*"}), TextArray(), true));
    EXPECT_TRUE(FileUtils::DeleteFileA(longest.c_str(), error, false, false)) << error.GetString();
}
