// Entries per second of the directory summary and of the file finder (no pacing, a pattern that
// matches nothing), against a raw FindFirstFileA/FindNextFileA recursion and
// std::filesystem::recursive_directory_iterator in the same run, on trees of 10,000 and 100,000
// files (100 files a directory, 10 directories below each), and of 1,000 files for the curve of
// entries per second against the tree's size. The jobs' times run from the request to the owner
// window's message.
#include "weftcore.h"

#include "support/BenchSupport.h"
#include "support/MessageWindow.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

using weft::bench::Median;
using weft::bench::NowSeconds;

namespace
{
const UINT DoneMsg = WM_APP + 11;

void Build(const std::string& root, int files)
{
    std::vector<std::string> dirs{root};
    for (size_t next = 0; static_cast<int>(dirs.size()) * 100 < files; ++next)
        for (int i = 0; i < 10 && static_cast<int>(dirs.size()) * 100 < files; ++i)
            dirs.push_back(dirs[next] + "d" + std::to_string(i) + "\\");
    for (const std::string& dir : dirs)
    {
        CreateDirectoryA(dir.c_str(), nullptr);
        for (int f = 0; f < 100; ++f)
            CloseHandle(CreateFileA((dir + "file" + std::to_string(f) + ".dat").c_str(), GENERIC_WRITE, 0, nullptr,
                                    CREATE_ALWAYS, 0, nullptr));
    }
}

void RawWalk(const std::string& path, size_t& entries)
{
    WIN32_FIND_DATAA e;
    HANDLE find = FindFirstFileA((path + "*.*").c_str(), &e);
    if (find == INVALID_HANDLE_VALUE)
        return;
    do
    {
        ++entries;
        if ((e.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) && strcmp(e.cFileName, ".") != 0 && strcmp(e.cFileName, "..") != 0)
            RawWalk(path + e.cFileName + "\\", entries);
    } while (FindNextFileA(find, &e));
    FindClose(find);
}
}  // namespace

int main()
{
    char temp[MAX_PATH + 1] = {};
    GetTempPathA(MAX_PATH, temp);
    const std::string base = std::string(temp) + "weft_walk_bench_" + std::to_string(GetCurrentProcessId()) + "\\";
    CreateDirectoryA(base.c_str(), nullptr);
    HANDLE done = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    weft::test::MessageWindow window([&](UINT msg, WPARAM, LPARAM lParam) {
        if (msg == DoneMsg && lParam == 1)
            SetEvent(done);
    });
    const int sizes[3] = {1000, 10000, 100000};
    double summaryTime[3] = {}, finderTime[3] = {}, rawTime[3] = {};
    const weft::bench::Curve rates{"tree walk", "files", "entries/s"};
    for (int s = 0; s < 3; ++s)
    {
        const std::string root = base + "t" + std::to_string(sizes[s]) + "\\";
        Build(root, sizes[s]);
        DirSummaryThread summary(root.c_str(), DoneMsg, window.Handle(), 0, 1);
        // The finder's results and its end share the message; only the end has lParam 1 here,
        // since the pattern matches nothing.
        FindFileThread finder(DoneMsg, window.Handle(), 1, 0);
        TextArray nothing;
        nothing.Add("*.none");
        std::vector<double> raw, std, sum, find;
        size_t entries = 0;
        for (int round = 0; round < (s < 2 ? 7 : 3); ++round)
        {
            double start = NowSeconds();
            entries = 0;
            RawWalk(root, entries);
            raw.push_back(NowSeconds() - start);
            start = NowSeconds();
            size_t count = 0;
            std::error_code error;
            for (auto it = std::filesystem::recursive_directory_iterator(root, error);
                 it != std::filesystem::recursive_directory_iterator(); it.increment(error))
                ++count;
            std.push_back(NowSeconds() - start);
            start = NowSeconds();
            summary.GatherInfo();
            WaitForSingleObject(done, INFINITE);
            sum.push_back(NowSeconds() - start);
            start = NowSeconds();
            finder.DoFind(root.c_str(), nothing, TextArray(), TextArray(), true, true, false);
            WaitForSingleObject(done, INFINITE);
            find.push_back(NowSeconds() - start);
        }
        summaryTime[s] = Median(sum);
        rawTime[s] = Median(raw);
        finderTime[s] = Median(find);
        const double rawRate = static_cast<double>(entries) / Median(raw);
        std::printf("tree of %6d files (%zu entries): raw walk %8.0f entries/s, std::filesystem %8.0f (%.2f of raw)\n",
                    sizes[s], entries, rawRate, static_cast<double>(entries) / Median(std), Median(raw) / Median(std));
        weft::bench::CurvePoint(rates, "raw walk", sizes[s], rawRate);
        weft::bench::CurvePoint(rates, "std::filesystem", sizes[s], static_cast<double>(entries) / Median(std));
        // The goal holds from 10,000 files; the small tree only draws the curve.
        const bool goal = sizes[s] >= 10000;
        if (goal)
            weft::bench::Figure({.name = "std::filesystem, " + weft::bench::Count(sizes[s]) + " files",
                                 .value = static_cast<double>(entries) / Median(std), .unit = "entries/s",
                                 .ratio = Median(raw) / Median(std), .against = "raw walk",
                                 .better = weft::bench::Better::Higher});
        for (const auto& [name, time] : {std::pair{"DirSummaryThread", summaryTime[s]}, std::pair{"FindFileThread", finderTime[s]}})
        {
            const double rate = static_cast<double>(entries) / time;
            std::printf("  %-17s %8.0f entries/s  %.2f of raw", name, rate, Median(raw) / time);
            if (goal)
                std::printf("  goal >= 0.90: %s", Median(raw) / time >= 0.9 ? "met" : "missed");
            std::printf("\n");
            if (goal)
                weft::bench::Figure({.name = std::string(name) + ", " + weft::bench::Count(sizes[s]) + " files",
                                     .value = rate, .unit = "entries/s", .ratio = Median(raw) / time,
                                     .against = "raw walk", .goal = 0.9, .better = weft::bench::Better::Higher});
            weft::bench::CurvePoint(rates, name, sizes[s], rate);
        }
        std::fflush(stdout);
    }
    // The file system's own growth, for comparison: the raw walk's.
    for (const auto& [name, times] : {std::pair{"raw walk", rawTime}, std::pair{"DirSummaryThread", summaryTime},
                                      std::pair{"FindFileThread", finderTime}})
    {
        std::printf("%-17s 100,000 / 10,000 files %.2f  goal <= 11: %s\n", name, times[2] / times[1],
                    times[2] / times[1] <= 11 ? "met" : "missed");
        weft::bench::Figure({.name = std::string(name) + " growth, 10,000 -> 100,000 files", .value = times[2] * 1e3,
                             .unit = "ms", .ratio = times[2] / times[1], .against = "10,000 files", .goal = 11});
    }
    CloseHandle(done);
    DirUtils::DeleteDirectory(base.c_str(), 0, nullptr, nullptr, nullptr);
    return 0;
}
