// Child commands of the utility library's tests: launches, logs, double-byte checks, zip archives.
#include "child/ChildCommands.h"

#include "weftbase/WeftBaseTestFiles.h"

#include <filesystem>

using namespace weft::test;

namespace
{
// The text in the process code page.
std::string Narrow(const wchar_t* text)
{
    char buffer[1024] = {};
    WideCharToMultiByte(CP_ACP, 0, text, -1, buffer, sizeof buffer, nullptr, nullptr);
    return buffer;
}

// The only argument's folder, emptied, with a trailing backslash; empty if it cannot be made.
std::string FreshDir(const std::vector<std::string>& args)
{
    std::string dir = args.size() == 1 ? args[0] + "\\" : std::string("?");
    if (DirUtils::DoesDirExist(dir.c_str()))
        DirUtils::DeleteDirectory(dir.c_str(), 0, nullptr, nullptr, nullptr);
    return DirUtils::CreateDirectoryPath(dir.c_str()) ? dir : std::string();
}

// A ZipThread job's outcome (1 or 0) if it posted its end with wParam -7 sign-extended and lParam 2^40 (and told
// no kind of job before Start), else -1.
int ZipThreadJob(bool isDir, const std::string& out, const std::string& dir, const TextArray& files)
{
    HWND wnd = CreateWindowExA(0, "STATIC", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    ZipThread zip;
    const bool unset = !zip.GetIsDir();
    zip.Start(isDir, out.c_str(), dir.c_str(), "", files, -7, wnd, 1ll << 40);
    zip.Stop(60000);
    MSG m = {};
    for (int i = 0; i < 100 && !PeekMessageA(&m, wnd, 0, 0, PM_REMOVE); ++i)
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 600, QS_POSTMESSAGE);
    DestroyWindow(wnd);
    const bool told = m.message == ZipThread::MSG_ZIPTHREAD_DONE && m.wParam == WPARAM(-7) && m.lParam == 1ll << 40;
    return told && unset ? zip.GetZipResult() : -1;
}

// The utility library's ReadFile in a child that ends itself part-way: the first read past 2 MiB of a
// file waits half a minute, so the archive is under way, with its first chunk written, when the end
// comes, however fast the rest would go. The event tells the stall.
HANDLE g_hStalled = CreateEventA(nullptr, TRUE, FALSE, nullptr);
BOOL WINAPI StalledRead(HANDLE file, LPVOID buffer, DWORD size, LPDWORD got, LPOVERLAPPED overlapped)
{
    static LONG s_nStalled = 0;
    LARGE_INTEGER at = {};
    if (SetFilePointerEx(file, at, &at, FILE_CURRENT) && at.QuadPart >= (2 << 20) &&
        !InterlockedExchange(&s_nStalled, 1) && SetEvent(g_hStalled))
        Sleep(30000);
    return ReadFile(file, buffer, size, got, overlapped);
}
}  // namespace

// zip-stopped OUT SRC: 0 if a ZipThread job stopped with no time left once under way neither posts nor
// keeps a result. Its writer may die holding a lock of the C runtime: the process skips its cleanup.
WEFT_CHILD_COMMAND(ZipStopped, "zip-stopped")
{
    if (args.size() < 2 || !StandIn("ReadFile", &StalledRead))
        return 2;
    HWND wnd = CreateWindowExA(0, "STATIC", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    auto* zip = new ZipThread;  // never deleted
    zip->Start(true, args[0].c_str(), args[1].c_str(), "", TextArray(), -7, wnd, 1ll << 40);
    WaitForSingleObject(g_hStalled, 20000);  // under way, its temporary file marked to go
    zip->Stop(0);
    MSG m;
    const bool told = PeekMessageA(&m, wnd, 0, 0, PM_REMOVE) || zip->GetZipResult();
    TerminateProcess(GetCurrentProcess(), told ? 1 : 0);
    return 1;
}

// set-event NAME [DIR]: sets the event NAME if the current directory is DIR (when given), and holds
// the mutex "<name>.alive" until it ends. Exit code 0, 1 if not set, 2 if the directory differs.
WEFT_CHILD_COMMAND(SetNamedEvent, "set-event")
{
    if (args.empty() || args.size() > 2)
        return 250;
    std::error_code error;
    if (args.size() == 2 && !std::filesystem::equivalent(std::filesystem::current_path(), args[1], error))
        return 2;
    CreateMutexA(nullptr, TRUE, (args[0] + ".alive").c_str());  // owned until the end
    HANDLE event = OpenEventA(EVENT_MODIFY_STATE, FALSE, args[0].c_str());
    return event && SetEvent(event) && CloseHandle(event) ? 0 : 1;
}

// log-lines PATH TAG COUNT GATE: once it has released "<gate>.ready" and GATE is set, logs COUNT
// lines "<tag> line <i>" to PATH. Exit code 0 if all went in.
WEFT_CHILD_COMMAND(LogLines, "log-lines")
{
    MTSemaphore((args.at(3) + ".ready").c_str(), false, SEMAPHORE_MODIFY_STATE).Release(1, nullptr);
    bool ok = MTEvent(args.at(3).c_str(), false, SYNCHRONIZE).Wait(60000) == WAIT_OBJECT_0;
    AppLogger log(args.at(0).c_str());
    for (int i = 0; i < std::stoi(args.at(2)) && ok; ++i)
        ok = log.AddLine((args.at(1) + " line " + std::to_string(1000 + i)).c_str());
    return ok ? 0 : 1;
}

// double-byte-checks KEY: paths split by character (second bytes 0x5C, 0x7C), a long key name below
// HKCU\KEY. Exit code 100 if all hold, 77 if not double-byte, else the count of failures (printed).
WEFT_CHILD_COMMAND(DoubleByteChecks, "double-byte-checks")
{
    CPINFO info = {};
    if (args.size() != 1 || !GetCPInfo(CP_ACP, &info) || info.MaxCharSize != 2)
        return args.size() != 1 ? 250 : 77;
    const std::string so = Narrow(L"\u30bd"), po = Narrow(L"\u30dd"), key = args[0];
    const std::string longName = Narrow(std::wstring(200, L'\u8868').c_str());  // of 400 bytes
    RegSetKeyValueA(HKEY_CURRENT_USER, (key + "\\" + longName + "\\below").c_str(), nullptr, REG_SZ, "", 1);
    TextArray keys;
    RegistryUtils::GetSubKeys(HKEY_CURRENT_USER, key.c_str(), keys, true);
    const std::pair<bool, const char*> checks[] = {
        {DirUtils::ParsePathFromFile(("C:\\" + so).c_str()) == "C:\\", "folder of a path"},
        {DirUtils::IsDir(("C:\\" + po).c_str(), true), "form of a folder"},
        {Join(keys) == key + "\\" + longName + "|" + key + "\\" + longName + "\\below|", "long key name walked"},
    };
    int failures = 0;
    for (const auto& [ok, what] : checks)
        if (!ok && ++failures)
            std::fprintf(stderr, "double-byte-checks: %s fails\n", what);
    return failures ? failures : 100;
}

// zip-samples DIR: sample trees and archives for the native check; exit code 0 if all went as expected.
WEFT_CHILD_COMMAND(ZipSamples, "zip-samples")
{
    const std::string dir = FreshDir(args), src = dir + "src\\", other = dir + "other\\";
    for (const std::string& d : {src + "empty dir\\", src + "with space\\", src + "sub\\deeper\\", other})
        if (dir.empty() || !DirUtils::CreateDirectoryPath(d.c_str()))
            return 3;
    std::string text, large;
    for (int i = 0; i < 2000; ++i)
        text += "Line " + std::to_string(i) + ": the quick brown fox jumps over the lazy dog.\r\n";
    while (large.size() < (3u << 20))
        large += text;
    // One chunk exactly of text is deflated and of noise stored, in memory. Past one read chunk, text
    // is streamed through deflate, and a file whose first few KiB are noise is stored whole; one whose
    // first block just shrinks but whose whole grows is stored after all (its last read a single byte).
    bool ok = WriteBytes(src + "plain.txt", large.substr(0, 1 << 20)) && WriteBytes(src + "x", "x") &&
              WriteBytes(src + "random.bin", NoiseBytes(1 << 20)) && WriteBytes(src + "empty.txt", "") &&
              WriteBytes(src + "short.txt", text.substr(0, 99)) && WriteBytes(other + "plain (2).txt", "2\r\n") &&
              WriteBytes(src + "with space\\name with spaces.txt", "spaces\r\n") &&
              WriteBytes(src + "sub\\deeper\\f.txt", text.substr(0, 1000)) &&
              WriteBytes(other + "PLAIN.TXT", "the other plain.txt\r\n") && WriteBytes(src + "large text.txt", large) &&
              WriteBytes(src + "large noise.bin", NoiseBytes(3u << 20)) &&
              WriteBytes(src + "noise head.bin", NoiseBytes(4096) + large.substr(0, 1 << 20)) &&
              WrittenAt(src + "old.txt", {1975, 1, 0, 1, 12, 0, 0, 0}) &&
              WrittenAt(src + "short.txt", {1980, 6, 0, 1, 12, 34, 57, 0}) &&  // the first year, an odd second
              WrittenAt(src + "late.txt", {2108, 1, 0, 1, 12, 0, 0, 0}) &&  // past the years an MS-DOS time holds
              WriteBytes(other + "zero head.bin", std::string(4800, '\0') + NoiseBytes((24u << 20) - 4799));
    // A name outside any single code page, and a file deeper than the narrow calls reach.
    wchar_t full[MAX_PATH] = {};
    GetFullPathNameW(std::wstring(src.begin(), src.end()).c_str(), MAX_PATH, full, nullptr);
    std::wstring deep = std::wstring(L"\\\\?\\") + full + L"long";
    ok = ok && WriteBytes(std::wstring(L"\\\\?\\") + full + L"caf\u00e9 \u540d\u524d.txt", "no code page\r\n") &&
         CreateDirectoryW(deep.c_str(), nullptr);
    for (int level = 0; level < 4; ++level)
        ok = ok && CreateDirectoryW((deep += L"\\" + std::wstring(60, L'd')).c_str(), nullptr);
    if (!ok || !WriteBytes(deep + L"\\leaf.txt", text.substr(0, 500)))
        return 4;
    bool expected = true;
    const auto report = [&expected](const char* archive, bool result) {
        if (!result)
            std::fprintf(stderr, "zip-samples: %s not as expected\n", archive);
        expected &= result;
    };
    // The root in the archive comes out as "up/": no entry name leaves the folder it is unpacked in.
    report("tree.zip", DirUtils::CreateZipFile((dir + "tree.zip").c_str(), src.c_str(), "..\\C:\\.\\up//"));
    const TextArray list = Texts({src + "plain.txt", src + "sub", other + "plain (2).txt", other + "PLAIN.TXT",
                                  other + "zero head.bin", src + "x", src + "x", src + "empty dir", src + "empty dir",
                                  src + "with space\\name with spaces.txt", src + "sub\\deeper\\f.txt"});
    report("list.zip", FileUtils::CreateZipFile((dir + "list.zip").c_str(), list, src.c_str()));
    // More entries than the classic end record can count: the count goes into the ZIP64 record.
    TextArray many;
    for (int i = 0; i < 65540; ++i)
        many.Add((src + "empty.txt").c_str());
    report("many.zip", FileUtils::CreateZipFile((dir + "many.zip").c_str(), many, ""));
    // The same through ZipThread, and a job that fails.
    report("tree-thread.zip", ZipThreadJob(true, dir + "tree-thread.zip", src, many) == 1);
    report("list-thread.zip", ZipThreadJob(false, dir + "list-thread.zip", src, list) == 1);
    report("the failed job", ZipThreadJob(true, dir + "none.zip", dir + "missing", list) == 0);
    return expected ? 0 : 6;
}

// zip64-sample DIR: over 4 GiB of noise (stored) and a small file: sizes, an offset and the directory
// take ZIP64 fields. DIR\status.txt says "skipped <why>" if the disk is too short, else "done <result>".
WEFT_CHILD_COMMAND(Zip64Sample, "zip64-sample")
{
    const std::string dir = FreshDir(args);
    FILE* status = dir.empty() ? nullptr : std::fopen((dir + "status.txt").c_str(), "w");
    if (!status)
        return 3;
    const unsigned long long size = (4ull << 30) + (1ull << 20) + 7;
    ULARGE_INTEGER free = {};
    if (!GetDiskFreeSpaceExA(dir.c_str(), &free, nullptr, nullptr) || free.QuadPart < 2 * size + (1ull << 30))
        return std::fprintf(status, "skipped only %llu bytes free, for the file and its entry\n", free.QuadPart),
               std::fclose(status);
    // One block of noise again and again: deflate sees 32 KiB back, so the repeats gain nothing.
    const std::string block = NoiseBytes(1 << 20);
    FILE* noise = std::fopen((dir + "noise.bin").c_str(), "wb");
    bool ok = noise != nullptr;
    for (unsigned long long at = 0; ok && at < size; at += block.size())
        ok = std::fwrite(block.data(), std::min<unsigned long long>(block.size(), size - at), 1, noise) == 1;
    ok = noise && std::fclose(noise) == 0 && ok && WriteBytes(dir + "small.txt", "a small file after the big one\r\n");
    const bool result =
        ok && FileUtils::CreateZipFile((dir + "big.zip").c_str(), Texts({dir + "noise.bin", dir + "small.txt"}), "");
    std::fprintf(status, "done %d\n", result ? 1 : 0);
    std::fclose(status);
    return result ? 0 : 6;
}
