// Zip throughput on a mixed tree (text, and noise that deflate cannot shrink), in MB/s of source
// bytes: ZipThread against its floor, zlib's deflate alone at the same level over the same bytes
// read from the same files, and against Info-ZIP zip at the same level, run natively where the
// platform can start a native program (Wine: its unix path names and process start). Then a tree
// of noise files many chunks long, as media and archives are: the packing call against a plain
// copy of the same bytes into one file, read and written in the same chunks.
#include "support/BenchSupport.h"

#include "weftcore.h"

#include <zlib.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

using weft::bench::Median;
using weft::bench::NowSeconds;

namespace
{
const int Rounds = 5;

bool Write(const std::string& path, const std::string& bytes)
{
    HANDLE f = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    const bool ok = f != INVALID_HANDLE_VALUE && WriteFile(f, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    CloseHandle(f);
    return ok;
}

// 24 text files of 512 KB and 8 noise files of 1 MB; gives the paths.
std::vector<std::string> MakeTree(const std::string& tree)
{
    std::vector<std::string> files;
    DirUtils::CreateDirectoryPath((tree + "text\\").c_str());
    DirUtils::CreateDirectoryPath((tree + "data\\").c_str());
    unsigned long long x = 88172645463325252ull;
    for (int i = 0; i < 32; ++i)
    {
        std::string bytes;
        const bool noise = i % 4 == 3;
        while (bytes.size() < (noise ? 1u << 20 : 1u << 19))
        {
            x ^= x << 13, x ^= x >> 7, x ^= x << 17;
            if (noise)
                bytes.append(reinterpret_cast<const char*>(&x), 8);
            else
                bytes += "record " + std::to_string(x % 100000) + ": status ok, value " + std::to_string(x % 977) + "\r\n";
        }
        files.push_back(tree + (noise ? "data\\" : "text\\") + "f" + std::to_string(i) + (noise ? ".bin" : ".txt"));
        Write(files.back(), bytes);
    }
    return files;
}

// 8 noise files of 32 MB; gives the paths.
std::vector<std::string> MakeNoiseTree(const std::string& tree)
{
    std::vector<std::string> files;
    DirUtils::CreateDirectoryPath(tree.c_str());
    unsigned long long x = 2463534242ull;
    for (int i = 0; i < 8; ++i)
    {
        std::string bytes(32u << 20, '\0');
        for (size_t at = 0; at < bytes.size(); at += 8)
        {
            x ^= x << 13, x ^= x >> 7, x ^= x << 17;
            std::memcpy(&bytes[at], &x, 8);
        }
        files.push_back(tree + "m" + std::to_string(i) + ".bin");
        Write(files.back(), bytes);
    }
    return files;
}

// The plain copy: each file read in 1 MB chunks and appended to one output file. Gives the seconds.
double CopyFiles(const std::vector<std::string>& files, const std::string& out)
{
    static std::vector<unsigned char> in(1 << 20);
    const double start = NowSeconds();
    HANDLE o = CreateFileA(out.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    bool ok = o != INVALID_HANDLE_VALUE;
    for (const std::string& path : files)
    {
        HANDLE f = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                               FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
        DWORD got = 0, written = 0;
        while (ok && ReadFile(f, in.data(), static_cast<DWORD>(in.size()), &got, nullptr) && got > 0)
            ok = WriteFile(o, in.data(), got, &written, nullptr) && written == got;
        CloseHandle(f);
    }
    CloseHandle(o);
    return ok ? NowSeconds() - start : -1;
}

// The floor: each file read in 1 MB chunks and deflated (raw, default level) as a zip entry is,
// the output dropped. Gives the seconds.
double DeflateFiles(const std::vector<std::string>& files)
{
    static std::vector<unsigned char> in(1 << 20), out(1 << 20);
    const double start = NowSeconds();
    z_stream s = {};
    deflateInit2(&s, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    for (const std::string& path : files)
    {
        deflateReset(&s);
        HANDLE f = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
        DWORD got = 0;
        int flush = Z_NO_FLUSH;
        while (flush != Z_FINISH)
        {
            ReadFile(f, in.data(), static_cast<DWORD>(in.size()), &got, nullptr);
            flush = got == 0 ? Z_FINISH : Z_NO_FLUSH;
            s.next_in = in.data();
            s.avail_in = got;
            int status;
            do
            {
                s.next_out = out.data();
                s.avail_out = static_cast<uInt>(out.size());
                status = deflate(&s, flush);
            } while (s.avail_out == 0 || (flush == Z_FINISH && status == Z_OK));
        }
        CloseHandle(f);
    }
    deflateEnd(&s);
    return NowSeconds() - start;
}

double ZipWithThread(const std::string& tree, const std::string& out)
{
    const double start = NowSeconds();
    ZipThread zip;
    HWND none = nullptr;
    zip.Start(true, out.c_str(), tree.c_str(), "", TextArray(), 0, none, 0);
    zip.Stop(INFINITE);
    return zip.GetZipResult() ? NowSeconds() - start : -1;
}

double ZipDirectly(const std::string& tree, const std::string& out)
{
    const double start = NowSeconds();
    return DirUtils::CreateZipFile(out.c_str(), tree.c_str(), "") ? NowSeconds() - start : -1;
}

// The platform's unix name of a path, where it has one (Wine); empty elsewhere.
std::string UnixName(const std::string& path)
{
    using Convert = char*(CDECL*)(const wchar_t*);
    const auto convert = reinterpret_cast<Convert>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("kernel32.dll"), "wine_get_unix_file_name")));
    const std::wstring wide(path.begin(), path.end());
    char* name = convert != nullptr ? convert(wide.c_str()) : nullptr;
    const std::string result = name != nullptr ? name : "";
    HeapFree(GetProcessHeap(), 0, name);
    return result;
}

// The first bytes of a small file; empty if it cannot be read.
std::string ReadText(const std::string& path)
{
    char text[16] = {};
    DWORD got = 0;
    HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return std::string();
    ReadFile(file, text, sizeof text - 1, &got, nullptr);
    CloseHandle(file);
    return std::string(text, got);
}

// Info-ZIP zip -6 of the tree, run natively by a shell. A native process started from Wine is
// not one that a wait on its handle follows to its end, so the shell writes zip's exit code to a
// file as its last step, and the time runs until that file appears. Gives the seconds, or -1 if
// zip could not run or failed. Real paths are given: the prefix's "dosdevices/c:" link would
// read to zip as a drive name.
double ZipNatively(const std::string& tree, const std::string& out)
{
    const std::string done = out + ".done";
    DeleteFileA(out.c_str());
    DeleteFileA(done.c_str());
    const std::string zip = UnixName("Z:\\usr\\bin\\zip"), target = UnixName(out), source = UnixName(tree),
                      marker = UnixName(done);
    if (zip.empty() || target.empty() || source.empty() || marker.empty())
        return -1;
    std::string command = "sh -c \"cd \\\"$(realpath '" + source + "')\\\" && " + zip + " -q -r -6 \\\"$(realpath -m '" +
                          target + "')\\\" . </dev/null >/dev/null 2>&1; echo $? > '" + marker + "'\"";
    STARTUPINFOA si = {};
    si.cb = sizeof si;
    PROCESS_INFORMATION pi = {};
    const double start = NowSeconds();
    if (!CreateProcessA("Z:\\bin\\sh", command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi))
        return -1;
    CloseHandle(pi.hProcess);
    CloseHandle(pi.hThread);
    // Polled: nothing else announces the end of a native process here. A minute at most.
    while (!FileUtils::DoesFileExist(done.c_str()) && NowSeconds() - start < 60)
        Sleep(2);
    const double took = NowSeconds() - start;
    Sleep(20);  // the shell's short write of the code
    const std::string code = ReadText(done);
    DeleteFileA(done.c_str());
    if (code.rfind("0", 0) != 0)
        std::fprintf(stderr, "native zip: exit code %s\n", code.empty() ? "unknown" : code.c_str());
    return code.rfind("0", 0) == 0 && FileUtils::DoesFileExist(out.c_str()) ? took : -1;
}
}  // namespace

int main()
{
    char base[MAX_PATH + 1] = {};
    GetTempPathA(MAX_PATH, base);
    const std::string dir = std::string(base) + "weft-zipbench-" + std::to_string(GetCurrentProcessId()) + "\\";
    const std::vector<std::string> files = MakeTree(dir + "tree\\");
    unsigned long long total = 0;
    for (const std::string& f : files)
    {
        unsigned long long size = 0;
        DateTime modified;
        FileUtils::GetFileInfoCore(f.c_str(), size, modified);
        total += size;
    }
    // Rounds alternate the order of the sides, and each side's ratio is taken per round.
    std::vector<double> floorS, weftS, peerS, weftRatio, peerRatio;
    for (int round = 0; round < Rounds; ++round)
    {
        double f = 0, w = 0, p = 0;
        if (round % 2 == 0)
            f = DeflateFiles(files), w = ZipWithThread(dir + "tree", dir + "weft.zip"), p = ZipNatively(dir + "tree", dir + "peer.zip");
        else
            p = ZipNatively(dir + "tree", dir + "peer.zip"), w = ZipWithThread(dir + "tree", dir + "weft.zip"), f = DeflateFiles(files);
        floorS.push_back(f), weftS.push_back(w), peerS.push_back(p);
        weftRatio.push_back(f / w), peerRatio.push_back(f / p);
    }
    const double mb = static_cast<double>(total) / 1e6;
    std::printf("zip of a mixed tree, %.1f MB (24 text files, 8 noise files), default level, median of %d rounds\n", mb, Rounds);
    std::printf("%-44s %8.1f MB/s\n", "floor: read + zlib deflate alone", mb / Median(floorS));
    std::printf("%-44s %8.1f MB/s  of the floor %.3f  goal >= 0.85: %s\n", "ZipThread (DirUtils::CreateZipFile)",
                mb / Median(weftS), Median(weftRatio), Median(weftRatio) >= 0.85 ? "met" : "missed");
    weft::bench::Figure({.name = "floor: read + zlib deflate alone", .value = mb / Median(floorS), .unit = "MB/s"});
    weft::bench::Figure({.name = "ZipThread (DirUtils::CreateZipFile)", .value = mb / Median(weftS), .unit = "MB/s",
                         .ratio = Median(weftRatio), .against = "floor", .goal = 0.85,
                         .better = weft::bench::Better::Higher});
    if (Median(peerS) > 0)
    {
        std::printf("%-44s %8.1f MB/s  of the floor %.3f  (native, process start included)\n", "Info-ZIP zip -6",
                    mb / Median(peerS), Median(peerRatio));
        weft::bench::Figure({.name = "Info-ZIP zip -6, native", .value = mb / Median(peerS), .unit = "MB/s",
                             .ratio = Median(peerRatio), .against = "floor", .better = weft::bench::Better::Higher});
    }
    else
        std::printf("%-44s not run: no native zip here\n", "Info-ZIP zip -6");

    // Noise several chunks long: the archive against a plain copy of the same bytes, both on this
    // thread. The packing call is timed itself: ZipThread's below-normal priority would time the
    // scheduler too, and the copy has no such handicap.
    const std::vector<std::string> noise = MakeNoiseTree(dir + "noise\\");
    std::vector<double> copyS, storeS, storeRatio;
    for (int round = 0; round < Rounds; ++round)
    {
        // Neither side is timed deleting the last round's output.
        DeleteFileA((dir + "copy.bin").c_str());
        DeleteFileA((dir + "noise.zip").c_str());
        double c = 0, z = 0;
        if (round % 2 == 0)
            c = CopyFiles(noise, dir + "copy.bin"), z = ZipDirectly(dir + "noise", dir + "noise.zip");
        else
            z = ZipDirectly(dir + "noise", dir + "noise.zip"), c = CopyFiles(noise, dir + "copy.bin");
        copyS.push_back(c), storeS.push_back(z), storeRatio.push_back(c / z);
    }
    const double noiseMb = static_cast<double>(noise.size()) * (32u << 20) / 1e6;
    std::printf("zip of a tree of noise, %.1f MB (8 files of 32 MB), median of %d rounds\n", noiseMb, Rounds);
    std::printf("%-44s %8.1f MB/s\n", "plain copy: read + write", noiseMb / Median(copyS));
    std::printf("%-44s %8.1f MB/s  of the copy %.3f  goal >= 0.90: %s\n", "DirUtils::CreateZipFile, noise tree", noiseMb / Median(storeS),
                Median(storeRatio), Median(storeRatio) >= 0.90 ? "met" : "missed");
    weft::bench::Figure({.name = "plain copy of the noise tree: read + write", .value = noiseMb / Median(copyS),
                         .unit = "MB/s"});
    weft::bench::Figure({.name = "DirUtils::CreateZipFile, noise tree", .value = noiseMb / Median(storeS), .unit = "MB/s",
                         .ratio = Median(storeRatio), .against = "plain copy", .goal = 0.90,
                         .better = weft::bench::Better::Higher});
    DirUtils::DeleteDirectory(dir.c_str(), 0, nullptr, nullptr, nullptr);
    return 0;
}
