// Behaviour of the zip writers as seen from the caller. The archives' form is checked by readers
// that run natively (check_zip_archives.py); here a small reader of the central directory names
// what went in.
#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>

using weft::test::Exists;
using weft::test::ReadBytes;
using weft::test::TempDir;
using weft::test::WriteBytes;

namespace
{
struct ZipEntry
{
    unsigned method = 0;
    uint64_t size = 0;
    uint64_t packed = 0;
    uint32_t attributes = 0;
};

uint32_t Get(const std::string& b, size_t at, int n)
{
    uint32_t v = 0;
    for (int i = n - 1; i >= 0; --i)
        v = (v << 8) | static_cast<unsigned char>(b[at + i]);
    return v;
}

// The entries of an archive below 4 GiB without a comment, by name; empty if it is no archive.
std::map<std::string, ZipEntry> ReadCentralDirectory(const std::string& path)
{
    std::map<std::string, ZipEntry> entries;
    const std::string b = ReadBytes(path);
    if (b.size() < 22 || Get(b, b.size() - 22, 4) != 0x06054b50)
        return entries;
    const size_t count = Get(b, b.size() - 12, 2);
    size_t at = Get(b, b.size() - 6, 4);
    for (size_t i = 0; i < count && at + 46 <= b.size() && Get(b, at, 4) == 0x02014b50; ++i)
    {
        ZipEntry e;
        e.method = Get(b, at + 10, 2);
        e.packed = Get(b, at + 20, 4);
        e.size = Get(b, at + 24, 4);
        e.attributes = Get(b, at + 38, 4);
        const size_t nameLength = Get(b, at + 28, 2);
        entries[b.substr(at + 46, nameLength)] = e;
        at += 46 + nameLength + Get(b, at + 30, 2) + Get(b, at + 32, 2);
    }
    return entries;
}

std::string Names(const std::map<std::string, ZipEntry>& entries)
{
    std::string all;
    for (const auto& [name, e] : entries)
        all += name + "|";
    return all;
}

// Files other than the given ones in the folder: left-over temporary files show up here.
int FilesIn(const std::string& dir)
{
    WIN32_FIND_DATAA data;
    HANDLE find = FindFirstFileA((dir + "*.*").c_str(), &data);
    int n = 0;
    if (find == INVALID_HANDLE_VALUE)
        return 0;
    do
        n += (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) ? 0 : 1;
    while (FindNextFileA(find, &data));
    FindClose(find);
    return n;
}
}  // namespace

TEST(ZipArchiveTest, ADirectoryArchiveHoldsEveryFileAndFolderAndLeavesItselfOut)
{
    TempDir dir("zip");
    ASSERT_TRUE(DirUtils::CreateDirectoryPath((dir / "a\\b\\").c_str()));
    ASSERT_TRUE(DirUtils::CreateDirectoryPath((dir / "empty\\").c_str()));
    ASSERT_TRUE(WriteBytes(dir / "top.txt", std::string(5000, 'x')));
    ASSERT_TRUE(WriteBytes(dir / "a\\b\\leaf.txt", ""));
    const std::string output = dir / "self.zip";
    EXPECT_TRUE(DirUtils::CreateZipFile(output.c_str(), dir.Path().c_str(), ""));
    const auto entries = ReadCentralDirectory(output);
    EXPECT_EQ("a/|a/b/|a/b/leaf.txt|empty/|top.txt|", Names(entries));
    EXPECT_EQ(8u, entries.at("top.txt").method);
    EXPECT_EQ(5000u, entries.at("top.txt").size);
    EXPECT_EQ(0u, entries.at("a/b/leaf.txt").method);
    EXPECT_EQ(0x10u, entries.at("empty/").attributes & 0x10);
    EXPECT_EQ(2, FilesIn(dir.Path()));  // top.txt and the archive: no temporary file stays

    // Packing again with the archive now in the tree gives the same entries.
    EXPECT_TRUE(DirUtils::CreateZipFile(output.c_str(), dir.Path().c_str(), "root"));
    EXPECT_EQ("root/|root/a/|root/a/b/|root/a/b/leaf.txt|root/empty/|root/top.txt|",
              Names(ReadCentralDirectory(output)));
}

TEST(ZipArchiveTest, DataThatDeflateCannotShrinkIsStored)
{
    TempDir dir("zip");
    std::string noise(3 << 20, '\0');  // past one read chunk, so the large-file path runs too
    unsigned x = 12345;
    for (char& c : noise)
        c = static_cast<char>((x = x * 1103515245 + 12345) >> 23);
    ASSERT_TRUE(WriteBytes(dir / "noise.bin", noise));
    ASSERT_TRUE(WriteBytes(dir / "small.bin", noise.substr(0, 1000)));
    ASSERT_TRUE(WriteBytes(dir / "zeros.bin", std::string(3 << 20, '\0')));
    TextArray files;
    files.Add((dir / "noise.bin").c_str());
    files.Add((dir / "small.bin").c_str());
    files.Add((dir / "zeros.bin").c_str());
    const std::string output = dir / "out.zip";
    ASSERT_TRUE(FileUtils::CreateZipFile(output.c_str(), files, ""));
    const auto entries = ReadCentralDirectory(output);
    EXPECT_EQ(0u, entries.at("noise.bin").method);
    EXPECT_EQ(noise.size(), entries.at("noise.bin").packed);
    EXPECT_EQ(0u, entries.at("small.bin").method);
    EXPECT_EQ(8u, entries.at("zeros.bin").method);
    EXPECT_LT(entries.at("zeros.bin").packed, 100000u);
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
    TextArray files;
    files.Add((dir / "base\\sub\\x.txt").c_str());
    files.Add((dir / "base\\x.txt").c_str());
    files.Add((dir / "elsewhere\\x.txt").c_str());
    files.Add((dir / "elsewhere\\x.txt").c_str());
    files.Add((dir / "elsewhere\\X.TXT.bak").c_str());
    const std::string output = dir / "list.zip";
    EXPECT_TRUE(FileUtils::CreateZipFile(output.c_str(), files, (dir / "base").c_str()));
    EXPECT_EQ("X.TXT.bak|sub/x.txt|x (2).txt|x (3).txt|x.txt|", Names(ReadCentralDirectory(output)));
    EXPECT_TRUE(FileUtils::CreateZipFile(output.c_str(), files, ""));
    EXPECT_EQ("X.TXT.bak|x (2).txt|x (3).txt|x (4).txt|x.txt|", Names(ReadCentralDirectory(output)));
}

TEST(ZipArchiveTest, NoEntryNamePointsOutsideTheFolderItIsUnpackedInto)
{
    TempDir dir("zip");
    ASSERT_TRUE(DirUtils::CreateDirectoryPath((dir / "tree\\").c_str()));
    ASSERT_TRUE(WriteBytes(dir / "tree\\a.txt", "a"));
    const std::string output = dir / "out.zip";
    EXPECT_TRUE(DirUtils::CreateZipFile(output.c_str(), (dir / "tree").c_str(), "..\\C:\\.\\up//"));
    EXPECT_EQ("up/|up/a.txt|", Names(ReadCentralDirectory(output)));
    EXPECT_TRUE(DirUtils::CreateZipFile(output.c_str(), (dir / "tree").c_str(), "/"));
    EXPECT_EQ("a.txt|", Names(ReadCentralDirectory(output)));
}

TEST(ZipArchiveTest, AnUnreadableItemIsLeftOutAndTheRestIsStillPacked)
{
    TempDir dir("zip");
    ASSERT_TRUE(WriteBytes(dir / "good.txt", "good"));
    ASSERT_TRUE(WriteBytes(dir / "locked.txt", "locked"));
    HANDLE lock = CreateFileA((dir / "locked.txt").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, lock);
    TextArray files;
    files.Add((dir / "missing.txt").c_str());
    files.Add((dir / "locked.txt").c_str());
    files.Add((dir / "good.txt").c_str());
    const std::string output = dir / "partial.zip";
    EXPECT_FALSE(FileUtils::CreateZipFile(output.c_str(), files, ""));
    EXPECT_EQ("good.txt|", Names(ReadCentralDirectory(output)));
    EXPECT_FALSE(DirUtils::CreateZipFile(output.c_str(), dir.Path().c_str(), ""));
    EXPECT_EQ("good.txt|", Names(ReadCentralDirectory(output)));
    CloseHandle(lock);
    EXPECT_EQ(3, FilesIn(dir.Path()));
}

TEST(ZipArchiveTest, AFailedArchiveLeavesTheOutputAsItWas)
{
    TempDir dir("zip");
    const std::string output = dir / "keep.zip";
    ASSERT_TRUE(WriteBytes(output, "precious"));
    EXPECT_FALSE(DirUtils::CreateZipFile(output.c_str(), (dir / "no such dir").c_str(), ""));
    EXPECT_FALSE(DirUtils::CreateZipFile(output.c_str(), "", ""));
    EXPECT_EQ("precious", ReadBytes(output));
    // The output names a folder: the archive cannot be moved there, and nothing is left over.
    ASSERT_TRUE(DirUtils::CreateDirectoryPath((dir / "folder.zip\\").c_str()));
    EXPECT_FALSE(FileUtils::CreateZipFile((dir / "folder.zip").c_str(), TextArray(), ""));
    EXPECT_FALSE(FileUtils::CreateZipFile((dir / "missing\\out.zip").c_str(), TextArray(), ""));
    EXPECT_FALSE(FileUtils::CreateZipFile("", TextArray(), ""));
    EXPECT_FALSE(FileUtils::CreateZipFile(nullptr, TextArray(), nullptr));
    EXPECT_EQ(1, FilesIn(dir.Path()));
}

TEST(ZipArchiveTest, NothingToPackGivesAValidArchiveWithoutEntries)
{
    TempDir dir("zip");
    ASSERT_TRUE(DirUtils::CreateDirectoryPath((dir / "empty\\").c_str()));
    const std::string output = dir / "none.zip";
    ASSERT_TRUE(WriteBytes(output, ""));  // a 0-byte file where the archive goes is replaced
    EXPECT_TRUE(FileUtils::CreateZipFile(output.c_str(), TextArray(), ""));
    EXPECT_EQ(22u, ReadBytes(output).size());
    EXPECT_TRUE(DirUtils::CreateZipFile(output.c_str(), (dir / "empty").c_str(), ""));
    const std::string bytes = ReadBytes(output);
    ASSERT_EQ(22u, bytes.size());
    EXPECT_EQ(0x06054b50u, Get(bytes, 0, 4));
}
