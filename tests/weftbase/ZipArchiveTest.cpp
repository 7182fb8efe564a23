// Behaviour of the zip writers as seen from the caller. The archives' form, methods and entry
// fields are checked by readers that run natively (check_zip_archives.py); here a small reader of
// the central directory names what went in.
#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>

using weft::test::Exists;
using weft::test::ReadBytes;
using weft::test::TempDir;
using weft::test::Texts;
using weft::test::WriteBytes;

namespace
{
uint32_t Get(const std::string& b, size_t at, int n)
{
    uint32_t v = 0;
    for (int i = n - 1; i >= 0; --i)
        v = (v << 8) | static_cast<unsigned char>(b[at + i]);
    return v;
}

// The entry names of an archive below 4 GiB without a comment, sorted and each followed by "|";
// empty if it is no archive.
std::string Names(const std::string& path)
{
    std::set<std::string> names;
    const std::string b = ReadBytes(path);
    if (b.size() < 22 || Get(b, b.size() - 22, 4) != 0x06054b50)
        return std::string();
    const size_t count = Get(b, b.size() - 12, 2);
    size_t at = Get(b, b.size() - 6, 4);
    for (size_t i = 0; i < count && at + 46 <= b.size() && Get(b, at, 4) == 0x02014b50; ++i)
    {
        const size_t nameLength = Get(b, at + 28, 2);
        names.insert(b.substr(at + 46, nameLength));
        at += 46 + nameLength + Get(b, at + 30, 2) + Get(b, at + 32, 2);
    }
    std::string all;
    for (const std::string& name : names)
        all += name + "|";
    return all;
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

TEST(ZipArchiveTest, ADirectoryArchiveHoldsEveryFileAndFolderUnderASafeRootAndLeavesItselfOut)
{
    TempDir dir("zip");
    ASSERT_TRUE(DirUtils::CreateDirectoryPath((dir / "a\\b\\").c_str()));
    ASSERT_TRUE(DirUtils::CreateDirectoryPath((dir / "empty\\").c_str()));
    ASSERT_TRUE(WriteBytes(dir / "top.txt", std::string(5000, 'x')));
    ASSERT_TRUE(WriteBytes(dir / "a\\b\\leaf.txt", ""));
    const std::string output = dir / "self.zip";
    EXPECT_TRUE(DirUtils::CreateZipFile(output.c_str(), dir.Path().c_str(), ""));
    EXPECT_EQ("a/|a/b/|a/b/leaf.txt|empty/|top.txt|", Names(output));
    EXPECT_EQ(2, FilesIn(dir.Path()));  // top.txt and the archive: no temporary file stays

    // Packing again with the archive now in the tree gives the same entries.
    EXPECT_TRUE(DirUtils::CreateZipFile(output.c_str(), dir.Path().c_str(), "root"));
    EXPECT_EQ("root/|root/a/|root/a/b/|root/a/b/leaf.txt|root/empty/|root/top.txt|", Names(output));

    // No entry name points outside the folder it is unpacked into.
    EXPECT_TRUE(DirUtils::CreateZipFile(output.c_str(), (dir / "a").c_str(), "..\\C:\\.\\up//"));
    EXPECT_EQ("up/|up/b/|up/b/leaf.txt|", Names(output));
    EXPECT_TRUE(DirUtils::CreateZipFile(output.c_str(), (dir / "a").c_str(), "/"));
    EXPECT_EQ("b/|b/leaf.txt|", Names(output));
}

TEST(ZipArchiveTest, ListNamesAreRelativeToTheBaseFolderAndRepeatsAreNumbered)
{
    TempDir dir("zip");
    ASSERT_TRUE(DirUtils::CreateDirectoryPath((dir / "base\\sub\\").c_str()));
    ASSERT_TRUE(DirUtils::CreateDirectoryPath((dir / "elsewhere\\").c_str()));
    ASSERT_TRUE(WriteBytes(dir / "base\\sub\\x.txt", "1"));
    ASSERT_TRUE(WriteBytes(dir / "base\\x.txt", "2"));
    ASSERT_TRUE(WriteBytes(dir / "elsewhere\\x.txt", "3"));
    ASSERT_TRUE(WriteBytes(dir / "elsewhere\\X.TXT.bak", "4"));
    const TextArray files = Texts({dir / "base\\sub\\x.txt", dir / "base\\x.txt", dir / "elsewhere\\x.txt",
                                  dir / "elsewhere\\x.txt", dir / "elsewhere\\X.TXT.bak"});
    const std::string output = dir / "list.zip";
    EXPECT_TRUE(FileUtils::CreateZipFile(output.c_str(), files, (dir / "base").c_str()));
    EXPECT_EQ("X.TXT.bak|sub/x.txt|x (2).txt|x (3).txt|x.txt|", Names(output));
    EXPECT_TRUE(FileUtils::CreateZipFile(output.c_str(), files, ""));
    EXPECT_EQ("X.TXT.bak|x (2).txt|x (3).txt|x (4).txt|x.txt|", Names(output));
}

TEST(ZipArchiveTest, AnUnreadableItemIsLeftOutAndOnlyAWrittenArchiveReplacesTheOutput)
{
    TempDir dir("zip");
    ASSERT_TRUE(WriteBytes(dir / "good.txt", "good"));
    ASSERT_TRUE(WriteBytes(dir / "locked.txt", "locked"));
    HANDLE lock = CreateFileA((dir / "locked.txt").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, lock);
    const TextArray files = Texts({dir / "missing.txt", dir / "locked.txt", dir / "good.txt"});
    const std::string output = dir / "partial.zip";
    EXPECT_FALSE(FileUtils::CreateZipFile(output.c_str(), files, ""));
    EXPECT_EQ("good.txt|", Names(output));
    EXPECT_FALSE(DirUtils::CreateZipFile(output.c_str(), dir.Path().c_str(), ""));
    EXPECT_EQ("good.txt|", Names(output));
    CloseHandle(lock);
    ASSERT_TRUE(DeleteFileA((dir / "locked.txt").c_str()) && DeleteFileA(output.c_str()));
    ASSERT_TRUE(DirUtils::CreateDirectoryPath((dir / "empty\\").c_str()));
    // Nothing to pack gives a valid archive without entries, in place of a 0-byte file.
    const std::string none = dir / "none.zip";
    ASSERT_TRUE(WriteBytes(none, ""));
    EXPECT_TRUE(FileUtils::CreateZipFile(none.c_str(), TextArray(), ""));
    EXPECT_EQ(22u, ReadBytes(none).size());
    EXPECT_TRUE(DirUtils::CreateZipFile(none.c_str(), (dir / "empty").c_str(), ""));
    const std::string bytes = ReadBytes(none);
    ASSERT_EQ(22u, bytes.size());
    EXPECT_EQ(0x06054b50u, Get(bytes, 0, 4));

    const std::string keep = dir / "keep.zip";
    ASSERT_TRUE(WriteBytes(keep, "precious"));
    EXPECT_FALSE(DirUtils::CreateZipFile(keep.c_str(), (dir / "no such dir").c_str(), ""));
    EXPECT_FALSE(DirUtils::CreateZipFile(keep.c_str(), "", ""));
    EXPECT_EQ("precious", ReadBytes(keep));
    // The output names a folder: the archive cannot be moved there, and nothing is left over.
    ASSERT_TRUE(DirUtils::CreateDirectoryPath((dir / "folder.zip\\").c_str()));
    EXPECT_FALSE(FileUtils::CreateZipFile((dir / "folder.zip").c_str(), TextArray(), ""));
    EXPECT_FALSE(FileUtils::CreateZipFile((dir / "missing\\out.zip").c_str(), TextArray(), ""));
    EXPECT_FALSE(FileUtils::CreateZipFile("", TextArray(), ""));
    EXPECT_FALSE(FileUtils::CreateZipFile(nullptr, TextArray(), nullptr));
    EXPECT_EQ(3, FilesIn(dir.Path()));  // good.txt, none.zip, keep.zip: no temporary file stays
}

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
    EXPECT_FALSE(Exists(out + "cut.zip"));
}
