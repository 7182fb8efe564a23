// Entries per second of the directory summary and of the file finder (no pacing), against a raw
// FindFirstFileA/FindNextFileA recursion and std::filesystem::recursive_directory_iterator, on
// trees of 10,000 and 100,000 files (100 files a directory, 10 directories below each), and of
// 1,000 files for the curve of entries per second against the tree's size. The finder runs twice:
// with a pattern that matches nothing, against the raw walk, and with one that matches every file,
// against the raw walk that sends the window one message per file. The jobs' times run from the
// request to the owner window's last message; so does the raw walk's with messages.
//
// Each round measures every side on every tree, each right beside its floor (the raw walk, or the
// raw walk with messages), the floor first in every other round. A ratio is the median of the
// rounds' own ratios; so is a growth from 10,000 to 100,000 files, taken over the growth of the
// raw walk measured beside it.
#include "weftcore.h"

#include "support/BenchSupport.h"
#include "support/MessageWindow.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

using weft::bench::Median;
using weft::bench::NowSeconds;

namespace
{
const UINT DoneMsg = WM_APP + 11;
const UINT MatchMsg = WM_APP + 12;
const int Sizes = 3;
const int FileCounts[Sizes] = {1000, 10000, 100000};
const int Rounds = 11;

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

// Counts the entries; with a window, sends it one message per file, numbered from 0.
void RawWalk(const std::string& path, size_t& entries, HWND wnd, WPARAM& files)
{
    WIN32_FIND_DATAA e;
    HANDLE find = FindFirstFileA((path + "*.*").c_str(), &e);
    if (find == INVALID_HANDLE_VALUE)
        return;
    do
    {
        ++entries;
        if (!(e.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
        {
            if (wnd != nullptr)
                SendNotifyMessageA(wnd, MatchMsg, files, 0);
            ++files;
        }
        else if (strcmp(e.cFileName, ".") != 0 && strcmp(e.cFileName, "..") != 0)
            RawWalk(path + e.cFileName + "\\", entries, wnd, files);
    } while (FindNextFileA(find, &e));
    FindClose(find);
}

enum Side
{
    Raw,
    RawMessages,
    Std,
    Summary,
    FinderNothing,
    FinderAll,
    Sides
};
const char* const SideNames[Sides] = {"raw walk", "raw walk + a message per file", "std::filesystem",
                                      "DirSummaryThread", "FindFileThread", "FindFileThread, every file matching"};
}  // namespace

int main()
{
    char temp[MAX_PATH + 1] = {};
    GetTempPathA(MAX_PATH, temp);
    const std::string base = std::string(temp) + "weft_walk_bench_" + std::to_string(GetCurrentProcessId()) + "\\";
    CreateDirectoryA(base.c_str(), nullptr);
    HANDLE done = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    // Messages of the finder that matches every file, and of the raw walk with messages: the last
    // expected one ends the run.
    std::atomic<long> matchMessages{0}, matchExpected{0};
    weft::test::MessageWindow window([&](UINT msg, WPARAM, LPARAM lParam) {
        if ((msg == DoneMsg && lParam == 1) || (msg == MatchMsg && ++matchMessages == matchExpected))
            SetEvent(done);
    });
    std::vector<std::string> roots;
    for (int s = 0; s < Sizes; ++s)
    {
        roots.push_back(base + "t" + std::to_string(FileCounts[s]) + "\\");
        Build(roots.back(), FileCounts[s]);
    }
    TextArray nothing, every;
    nothing.Add("*.none");
    every.Add("*.dat");
    // Per side and size, one time a round, and the time of the side's floor measured next to it.
    std::vector<double> times[Sides][Sizes], floors[Sides][Sizes];
    size_t entries[Sizes] = {};
    const struct
    {
        int side, floor;
    } pairs[] = {{Std, Raw}, {Summary, Raw}, {FinderNothing, Raw}, {FinderAll, RawMessages}};
    // The jobs' threads are made once and idle between requests, as an application keeps them: a
    // first round, not counted, sees them started and every tree in the cache.
    std::vector<std::unique_ptr<DirSummaryThread>> summaries;
    for (int s = 0; s < Sizes; ++s)
        summaries.push_back(std::make_unique<DirSummaryThread>(roots[s].c_str(), DoneMsg, window.Handle(), 0, 1));
    // The finder's results and its end share the message; with a pattern that matches nothing
    // only the end comes, with lParam 1.
    FindFileThread finder(DoneMsg, window.Handle(), 1, 0);
    FindFileThread all(MatchMsg, window.Handle(), 2, 0);
    for (int round = -1; round < Rounds; ++round)
    {
        for (int s = 0; s < Sizes; ++s)
        {
            const std::string& root = roots[s];
            const int files = FileCounts[s];
            DirSummaryThread& summary = *summaries[s];
            const auto expect = [&](long n) {
                matchMessages = 0;
                matchExpected = n;
            };
            const std::function<void()> runs[Sides] = {
                [&] {
                    entries[s] = 0;
                    WPARAM counted = 0;
                    RawWalk(root, entries[s], nullptr, counted);
                },
                [&] {
                    expect(files + 1);
                    size_t n = 0;
                    WPARAM sent = 0;
                    RawWalk(root, n, window.Handle(), sent);
                    SendNotifyMessageA(window.Handle(), MatchMsg, sent + 1, 0);  // as the finder's end
                    WaitForSingleObject(done, INFINITE);
                },
                [&] {
                    size_t count = 0;
                    std::error_code error;
                    for (auto it = std::filesystem::recursive_directory_iterator(root, error);
                         it != std::filesystem::recursive_directory_iterator(); it.increment(error))
                        ++count;
                },
                [&] {
                    summary.GatherInfo();
                    WaitForSingleObject(done, INFINITE);
                },
                [&] {
                    finder.DoFind(root.c_str(), nothing, TextArray(), TextArray(), true, true, false);
                    WaitForSingleObject(done, INFINITE);
                },
                [&] {
                    expect(files + 1);
                    all.DoFind(root.c_str(), every, TextArray(), TextArray(), true, true, false);
                    WaitForSingleObject(done, INFINITE);
                },
            };
            // A smaller tree is walked several times a turn, so that its time spans as long as the
            // big tree's walk and the server's swings weigh on both alike.
            const int repeats = std::max(1, 100000 / files / 2);
            const auto timed = [&](int side) {
                const double start = NowSeconds();
                for (int i = 0; i < repeats; ++i)
                    runs[side]();
                return (NowSeconds() - start) / repeats;
            };
            // Each side right beside its floor, which goes first in even rounds.
            for (const auto& p : pairs)
            {
                double floor = 0, time = 0;
                if (round % 2 == 0)
                {
                    floor = timed(p.floor);
                    time = timed(p.side);
                }
                else
                {
                    time = timed(p.side);
                    floor = timed(p.floor);
                }
                if (round < 0)
                    continue;
                times[p.side][s].push_back(time);
                floors[p.side][s].push_back(floor);
                times[p.floor][s].push_back(floor);
            }
        }
    }
    // The median over the rounds of a ratio formed per round.
    const auto pairedRatio = [&](const std::function<double(int round)>& ratio) {
        std::vector<double> r;
        for (int round = 0; round < Rounds; ++round)
            r.push_back(ratio(round));
        return Median(r);
    };
    const weft::bench::Curve rates{"tree walk", "files", "entries/s"};
    for (int s = 0; s < Sizes; ++s)
    {
        const double n = static_cast<double>(entries[s]);
        const auto rate = [&](int side) { return n / Median(times[side][s]); };
        // The side's rate over its floor's, in each round.
        const auto over = [&](int side) {
            return pairedRatio([&](int r) { return floors[side][s][r] / times[side][s][r]; });
        };
        std::printf("tree of %6d files (%zu entries): raw walk %8.0f entries/s, std::filesystem %8.0f (%.2f of raw)\n",
                    FileCounts[s], entries[s], rate(Raw), rate(Std), over(Std));
        for (int side : {Raw, Std, Summary, FinderNothing})
            weft::bench::CurvePoint(rates, SideNames[side], FileCounts[s], rate(side));
        // The goals hold from 10,000 files; the small tree only draws the curve.
        if (FileCounts[s] < 10000)
            continue;
        const std::string files = ", " + weft::bench::Count(FileCounts[s]) + " files";
        weft::bench::Figure({.name = SideNames[Std] + files, .value = rate(Std), .unit = "entries/s",
                             .ratio = over(Std), .against = SideNames[Raw], .better = weft::bench::Better::Higher});
        const struct
        {
            int side, floor;
            double goal;
        } goals[] = {{Summary, Raw, 0.9}, {FinderNothing, Raw, 0.95}, {FinderAll, RawMessages, 0.9}};
        for (const auto& g : goals)
        {
            const double ratio = over(g.side);
            std::printf("  %-36s %8.0f entries/s, %s %8.0f: %.3f  goal >= %.2f: %s  (rounds:", SideNames[g.side],
                        rate(g.side), SideNames[g.floor], n / Median(floors[g.side][s]), ratio, g.goal,
                        ratio >= g.goal ? "met" : "missed");
            for (int r = 0; r < Rounds; ++r)
                std::printf(" %.2f", floors[g.side][s][r] / times[g.side][s][r]);
            std::printf(")\n");
            weft::bench::Figure({.name = SideNames[g.side] + files, .value = rate(g.side), .unit = "entries/s",
                                 .ratio = ratio, .against = SideNames[g.floor], .goal = g.goal,
                                 .better = weft::bench::Better::Higher});
        }
        std::fflush(stdout);
    }
    // Growth from 10,000 to 100,000 files. The file system's own is the raw walk's, shown for
    // comparison; a job's goal is on its growth over that of the raw walk measured beside it.
    const auto growth = [&](const std::vector<double>(&t)[Sizes], int r) { return t[2][r] / t[1][r]; };
    const double rawGrowth = pairedRatio([&](int r) { return growth(floors[FinderNothing], r); });
    std::printf("raw walk growth, 10,000 -> 100,000 files: %.2f\n", rawGrowth);
    weft::bench::Figure({.name = "raw walk growth, 10,000 -> 100,000 files", .value = Median(times[Raw][2]) * 1e3,
                         .unit = "ms", .ratio = rawGrowth, .against = "10,000 files"});
    for (int side : {Summary, FinderNothing})
    {
        const double own = pairedRatio([&](int r) { return growth(times[side], r); });
        // The job's growth over the raw walk's is its paired ratio to the raw walk at 10,000 files
        // over that at 100,000: each a median over the rounds, where a per-round quotient of four
        // times would carry the small tree's swings twice.
        const auto paired = [&](int s) { return pairedRatio([&](int r) { return times[side][s][r] / floors[side][s][r]; }); };
        const double ratio = paired(2) / paired(1);
        std::printf("%-17s growth, 10,000 -> 100,000 files: %.2f, over the raw walk's %.3f  goal <= 1.1: %s\n",
                    SideNames[side], own, ratio, ratio <= 1.1 ? "met" : "missed");
        weft::bench::Figure({.name = std::string(SideNames[side]) + " growth, 10,000 -> 100,000 files", .value = own,
                             .unit = "x", .ratio = ratio, .against = "raw walk growth", .goal = 1.1});
    }
    CloseHandle(done);
    DirUtils::DeleteDirectory(base.c_str(), 0, nullptr, nullptr, nullptr);
    return 0;
}
