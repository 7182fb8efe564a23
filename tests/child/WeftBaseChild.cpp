// Child commands for the utility library's tests: launch targets, the decoding of coded texts in
// another process, and the sample archives that a native reader checks.
#include "child/ChildCommands.h"

#include "weftbase/WeftBaseTestFiles.h"

#include <winioctl.h>

#include <cstdio>
#include <cstdlib>
#include <string>

using weft::test::Texts;
using weft::test::WriteBytes;

namespace
{
// Deterministic bytes that deflate cannot shrink.
std::string NoiseBytes(size_t n)
{
    std::string bytes(n, '\0');
    unsigned long long x = 0x9E3779B97F4A7C15ull;
    for (size_t i = 0; i < n; ++i)
    {
        x ^= x << 13;
        x ^= x >> 7;
        x ^= x << 17;
        bytes[i] = static_cast<char>(x >> 56);
    }
    return bytes;
}

// A name with letters outside ASCII in the system code page, or empty if the code page lacks them.
std::string NonAsciiName()
{
    const wchar_t* wide = L"caf\u00e9 \u00fcber.txt";
    char buffer[64] = {};
    BOOL defaulted = FALSE;
    const int n = WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, wide, -1, buffer, sizeof buffer, nullptr,
                                      &defaulted);
    return n > 0 && !defaulted ? std::string(buffer) : std::string();
}

// The folder given as the only argument, emptied of what an earlier run left there, with a
// trailing backslash; empty if it cannot be made.
std::string FreshDir(const std::vector<std::string>& args)
{
    std::string dir = args[0];
    if (dir.back() != '\\')
        dir += '\\';
    if (DirUtils::DoesDirExist(dir.c_str()))
        DirUtils::DeleteDirectory(dir.c_str(), 0, nullptr, nullptr, nullptr);
    return DirUtils::CreateDirectoryPath(dir.c_str()) ? dir : std::string();
}

bool Report(FILE* manifest, const char* archive, bool result)
{
    std::fprintf(manifest, "%s\t%d\n", archive, result ? 1 : 0);
    return result;
}
}  // namespace

// Sets the named event that the parent created, if the current directory is the one given (when
// given; compared without case), and takes "<name>.alive" for the rest of its life, so that the
// parent can wait for the end of a child it did not start itself. For launch tests: exit code 0,
// 1 if the event could not be set, 2 if the directory differs.
WEFT_CHILD_COMMAND(SetNamedEvent, "set-event")
{
    if (args.empty() || args.size() > 2)
        return 250;
    if (args.size() == 2)
    {
        char dir[MAX_PATH + 1] = {};
        GetCurrentDirectoryA(MAX_PATH, dir);
        CString have(dir), want(args[1].c_str());
        DirUtils::EnsureTrailingBackslash(have);
        DirUtils::EnsureTrailingBackslash(want);
        if (have.CompareNoCase(want) != 0)
            return 2;
    }
    HANDLE alive = CreateMutexA(nullptr, FALSE, (args[0] + ".alive").c_str());
    if (alive)
        WaitForSingleObject(alive, 0);
    HANDLE event = OpenEventA(EVENT_MODIFY_STATE, FALSE, args[0].c_str());
    if (!event)
        return 1;
    SetEvent(event);
    CloseHandle(event);
    return 0;
}

// Appends <count> lines "<tag> line <i>" to the log file at <path>. Exit code 0 if all went in.
WEFT_CHILD_COMMAND(LogLines, "log-lines")
{
    if (args.size() != 3)
        return 250;
    AppLogger log(args[0].c_str());
    const int count = std::atoi(args[2].c_str());
    bool ok = log.IsOpen();
    for (int i = 0; i < count && ok; ++i)
        ok = log.AddLine((args[1] + " line " + std::to_string(1000 + i)).c_str());
    return ok ? 0 : 1;
}

// Decodes the codes given (decimal) and compares the text with the expected one, which comes
// as hexadecimal bytes so that no character of it meets the quoting of a command line.
// Exit code 0 if equal.
WEFT_CHILD_COMMAND(DecryptEquals, "decrypt-equals")
{
    if (args.empty() || args[0].size() % 2 != 0)
        return 250;
    std::string expected;
    for (size_t i = 0; i < args[0].size(); i += 2)
        expected += static_cast<char>(std::strtoul(args[0].substr(i, 2).c_str(), nullptr, 16));
    std::vector<int> codes;
    for (size_t i = 1; i < args.size(); ++i)
        codes.push_back(std::atoi(args[i].c_str()));
    return StringUtils::DecryptText(codes).Compare(expected.c_str()) == 0 ? 0 : 1;
}

// Writes the sample trees and archives under <dir> for the native zip check, and a manifest of
// each archive's result. Exit code 0 if every result was as expected.
WEFT_CHILD_COMMAND(ZipSamples, "zip-samples")
{
    if (args.size() != 1)
        return 250;
    const std::string dir = FreshDir(args);
    const std::string src = dir + "src\\";
    const std::string other = dir + "other\\";
    const std::string emptySrc = dir + "emptysrc\\";
    for (const std::string& d :
         {src, src + "empty dir\\", src + "with space\\", src + "sub\\deeper\\", other, emptySrc})
        if (dir.empty() || !DirUtils::CreateDirectoryPath(d.c_str()))
            return 3;
    std::string text;
    for (int i = 0; i < 2000; ++i)
        text += "Line " + std::to_string(i) + ": the quick brown fox jumps over the lazy dog.\r\n";
    bool ok = WriteBytes(src + "plain.txt", text) && WriteBytes(src + "random.bin", NoiseBytes(65536)) &&
              WriteBytes(src + "empty.txt", "") &&
              WriteBytes(src + "with space\\name with spaces.txt", "spaces in the name\r\n") &&
              WriteBytes(src + "sub\\deeper\\leaf.txt", text.substr(0, 1000)) &&
              WriteBytes(other + "plain.txt", "the other plain.txt\r\n");
    // Past one read chunk: streamed through deflate, and for the noise rewritten as stored.
    std::string large;
    while (large.size() < (3u << 20))
        large += text;
    ok = ok && WriteBytes(src + "large text.txt", large) && WriteBytes(src + "large noise.bin", NoiseBytes(3u << 20));
    const std::string accented = NonAsciiName();
    if (!accented.empty())
        ok = ok && WriteBytes(src + accented, "accented name\r\n");
    if (!ok)
        return 4;

    FILE* manifest = std::fopen((dir + "manifest.txt").c_str(), "w");
    if (!manifest)
        return 5;
    std::fprintf(manifest, "nonascii\t%s\n", accented.empty() ? "absent" : "present");
    bool expected = true;
    expected &= Report(manifest, "tree.zip", DirUtils::CreateZipFile((dir + "tree.zip").c_str(), src.c_str(), ""));
    expected &= Report(manifest, "rooted.zip",
                       DirUtils::CreateZipFile((dir + "rooted.zip").c_str(), src.c_str(), "root folder"));
    const TextArray list =
        Texts({src + "plain.txt", src + "sub", other + "plain.txt", src + "with space\\name with spaces.txt"});
    expected &= Report(manifest, "list.zip", FileUtils::CreateZipFile((dir + "list.zip").c_str(), list, src.c_str()));
    expected &= Report(manifest, "empty.zip",
                       DirUtils::CreateZipFile((dir + "empty.zip").c_str(), emptySrc.c_str(), ""));
    expected &= Report(manifest, "emptylist.zip",
                       FileUtils::CreateZipFile((dir + "emptylist.zip").c_str(), TextArray(), ""));
    // More entries than the classic end record can count: the count goes into the ZIP64 record.
    TextArray many;
    for (int i = 0; i < 65540; ++i)
        many.Add((src + "empty.txt").c_str());
    expected &= Report(manifest, "many.zip", FileUtils::CreateZipFile((dir + "many.zip").c_str(), many, ""));
    std::fclose(manifest);
    return expected ? 0 : 6;
}

// Writes a sparse file of 4 GiB and a little more, with marks at known places, and packs it.
// Writes "skipped <why>" to <dir>\status.txt when the disk is too short, else "done <result>".
WEFT_CHILD_COMMAND(Zip64Sample, "zip64-sample")
{
    if (args.size() != 1)
        return 250;
    const std::string dir = FreshDir(args);
    if (dir.empty())
        return 3;
    FILE* status = std::fopen((dir + "status.txt").c_str(), "w");
    if (!status)
        return 5;
    const unsigned long long size = (4ull << 30) + (1ull << 20) + 7;
    unsigned long long total = 0, free = 0;
    double percent = 0;
    VolumeUtils::GetDriveSpaceInfo(dir.c_str(), total, free, percent);
    // Room for the file even where the file system keeps no sparse files, and for the archive.
    if (free < size + (2ull << 30))
    {
        std::fprintf(status, "skipped only %llu bytes free, %llu needed\n", free, size + (2ull << 30));
        std::fclose(status);
        return 0;
    }
    const std::string huge = dir + "huge.bin";
    HANDLE file = CreateFileA(huge.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return 4;
    DWORD ignored = 0;
    DeviceIoControl(file, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &ignored, nullptr);
    bool ok = true;
    // Marks before and after the 4 GiB line, so that a reader that loses the high part of an
    // offset or size reads wrong bytes.
    for (unsigned long long at : {0ull, 1ull << 20, (4ull << 30) - 3, (4ull << 30) + 16, size - 5})
    {
        LARGE_INTEGER to;
        to.QuadPart = static_cast<LONGLONG>(at);
        DWORD written = 0;
        char mark[5] = {'W', 'E', 'F', 'T', static_cast<char>(at & 0x7F)};
        ok = ok && SetFilePointerEx(file, to, nullptr, FILE_BEGIN) && WriteFile(file, mark, 5, &written, nullptr);
    }
    LARGE_INTEGER end;
    end.QuadPart = static_cast<LONGLONG>(size);
    ok = ok && SetFilePointerEx(file, end, nullptr, FILE_BEGIN) && SetEndOfFile(file);
    CloseHandle(file);
    ok = ok && WriteBytes(dir + "small.txt", "a small file after the big one\r\n");
    if (!ok)
        return 4;
    const bool result = FileUtils::CreateZipFile((dir + "big.zip").c_str(), Texts({huge, dir + "small.txt"}), "");
    std::fprintf(status, "done %d\n", result ? 1 : 0);
    std::fclose(status);
    return result ? 0 : 6;
}
