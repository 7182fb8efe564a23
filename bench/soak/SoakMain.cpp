// weft_soak [minutes] [folder]: runs every part side by side for that long (default 5), samples
// the process's figures, and writes the table (soak.md) and the samples (samples.csv) into the
// folder (default the current one). The last line is "N passed, M failed"; the exit status is 1
// if any check failed. weft_soak producer ... is the child that the mailbox part starts.
#include "soak/Soak.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>

namespace weft::soak
{
double Now()
{
    static LARGE_INTEGER frequency = [] {
        LARGE_INTEGER f;
        QueryPerformanceFrequency(&f);
        return f;
    }();
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return static_cast<double>(now.QuadPart) / static_cast<double>(frequency.QuadPart);
}

std::string UniqueName(const char* prefix)
{
    return std::string(prefix) + std::to_string(GetCurrentProcessId());
}

std::string Counts(std::initializer_list<std::pair<const char*, long long>> counts)
{
    std::string text;
    for (const auto& [label, value] : counts)
        text += (text.empty() ? "" : ", ") + std::string(label) + " " + std::to_string(value);
    return text;
}

namespace
{
// Growth limits per hour after the warm-up, for runs of two minutes or more; a shorter run checks
// only the growth between its first and last sample after the warm-up, against gross limits.
struct Limit
{
    double perHour;
    double gross;
};
const Limit Limits[FigureCount] = {
    {1500, 1000},                 // handles (probed)
    {1500, 1000},                 // handles (GetProcessHandleCount)
    {150, 100},                   // threads
    {150, 200},                   // USER objects
    {150, 200},                   // GDI objects
    {64.0 * 1024 * 1024, 512.0 * 1024 * 1024},  // private bytes
    {64.0 * 1024 * 1024, 512.0 * 1024 * 1024},  // private committed
    {30000, 200000},              // heap blocks
};

std::string Number(double value)
{
    char text[64];
    std::snprintf(text, sizeof text, std::fabs(value) >= 100 ? "%.0f" : "%.2f", value);
    return text;
}

void CheckFigures(const std::vector<Sample>& samples, double warmUp, bool longRun, std::vector<Check>& checks,
                  std::ostringstream& table)
{
    table << "\n| Figure | first | last | min | max | slope per hour after " << Number(warmUp) << " s | limit | Result |\n"
          << "|---|---|---|---|---|---|---|---|\n";
    for (int f = 0; f < FigureCount; ++f)
    {
        double low = 1e300, high = -1e300, firstAfter = 0, last = 0, lowAfter = 1e300, highAfter = -1e300;
        double lastSeconds = 0;
        bool seen = false;
        for (const Sample& s : samples)
        {
            low = std::min(low, s.values[f]);
            high = std::max(high, s.values[f]);
            if (s.seconds >= warmUp)
            {
                if (!seen)
                    firstAfter = s.values[f];
                seen = true;
                lowAfter = std::min(lowAfter, s.values[f]);
                highAfter = std::max(highAfter, s.values[f]);
            }
            last = s.values[f];
            lastSeconds = s.seconds;
        }
        const double slope = SlopePerHour(samples, f, warmUp);
        const double growth = last - firstAfter;
        std::string result;
        if (samples.size() < 3 || !seen)
            result = "too few samples: not checked";
        else if (high == 0)
            result = "always 0 on this system: not checked";
        else
        {
            // A slope over its limit counts only when the rise it makes over the run stands out of
            // the figure's own swing: a figure that goes up and down by megabytes (thread stacks,
            // the zip job's buffers) gives a steep line over a short run without any growth.
            const double rise = slope / 3600.0 * (lastSeconds - warmUp);
            const bool passed = longRun ? slope <= Limits[f].perHour || rise <= (highAfter - lowAfter) / 2
                                        : growth <= Limits[f].gross;
            result = passed ? "pass" : "FAIL";
            checks.push_back({std::string("no growth of ") + FigureName(f), passed,
                              longRun ? "slope " + Number(slope) + "/h, limit " + Number(Limits[f].perHour) + "/h"
                                      : "growth " + Number(growth) + ", limit " + Number(Limits[f].gross)});
        }
        table << "| " << FigureName(f) << " | " << Number(samples.empty() ? 0 : samples.front().values[f]) << " | "
              << Number(last) << " | " << Number(seen ? low : 0) << " | " << Number(seen ? high : 0) << " | "
              << Number(slope) << " | "
              << (longRun ? Number(Limits[f].perHour) + "/h" : "+" + Number(Limits[f].gross) + " in the run") << " | "
              << result << " |\n";
    }
}

int SoakMain(double minutes, const std::string& folder)
{
    CreateDirectoryA(folder.c_str(), nullptr);
    char exe[MAX_PATH + 1] = {};
    GetModuleFileNameA(nullptr, exe, MAX_PATH);
    const double duration = minutes * 60.0;
    const double interval = std::min(10.0, std::max(1.0, duration / 15.0));
    const double warmUp = std::min(duration / 3.0, 60.0);
    const bool longRun = duration >= 120.0;

    std::vector<std::unique_ptr<Part>> parts;
    parts.push_back(MakeWatcherPart());
    parts.push_back(MakeMailboxPart(exe));
    parts.push_back(MakeTimerPart());
    parts.push_back(MakeJobPart());

    std::atomic<bool> stop{false};
    std::atomic<size_t> ended{0};
    std::vector<std::string> running;
    std::mutex runningLock;
    for (auto& part : parts)
        running.push_back(part->Name());
    std::vector<std::thread> threads;
    const double start = Now();
    for (auto& part : parts)
        threads.emplace_back([&part, &stop, &ended, &running, &runningLock] {
            part->Run(stop);
            std::lock_guard<std::mutex> lock(runningLock);
            running.erase(std::find(running.begin(), running.end(), std::string(part->Name())));
            ++ended;
        });

    std::vector<Sample> samples;
    for (double next = 0; next <= duration; next += interval)
    {
        while (Now() - start < next)
            Sleep(50);
        samples.push_back(TakeSample(Now() - start));
        std::printf("sample %3.0f s: %s %.0f, %s %.0f, %s %.1f MB, %s %.0f\n", samples.back().seconds,
                    FigureName(HandlesProbed), samples.back().values[HandlesProbed], FigureName(Threads),
                    samples.back().values[Threads], FigureName(PrivateCommitted),
                    samples.back().values[PrivateCommitted] / 1048576.0, FigureName(HeapBlocks),
                    samples.back().values[HeapBlocks]);
        std::fflush(stdout);
    }
    stop = true;
    // A part that hangs is a failure that must show, not a run that never ends.
    if (!WaitUntil([&] { return ended == parts.size(); }, Scaled(120000)))
    {
        std::lock_guard<std::mutex> lock(runningLock);
        for (const std::string& name : running)
            std::printf("the %s part did not end within 120 s of the stop\n", name.c_str());
        std::printf("0 passed, 1 failed\n");
        std::fflush(stdout);
        ExitProcess(3);
    }
    for (auto& t : threads)
        t.join();

    std::vector<Check> checks;
    for (auto& part : parts)
        part->Finish(checks);
    std::ostringstream out;
    out << "# Soak of " << Number(minutes) << " minutes\n\n| Check | Result | Counts |\n|---|---|---|\n";
    for (const Check& c : checks)
        out << "| " << c.name << " | " << (c.passed ? "pass" : "FAIL") << " | " << c.detail << " |\n";
    CheckFigures(samples, warmUp, longRun, checks, out);
    int passed = 0;
    for (const Check& c : checks)
        passed += c.passed ? 1 : 0;
    out << "\n" << passed << " passed, " << checks.size() - passed << " failed\n";
    std::ofstream(folder + "/soak.md") << out.str();
    std::ofstream csv(folder + "/samples.csv");
    csv << "seconds";
    for (int f = 0; f < FigureCount; ++f)
        csv << "," << FigureName(f);
    csv << "\n";
    for (const Sample& s : samples)
    {
        csv << s.seconds;
        for (int f = 0; f < FigureCount; ++f)
            csv << "," << s.values[f];
        csv << "\n";
    }
    std::cout << out.str();
    return passed == static_cast<int>(checks.size()) ? 0 : 1;
}
}  // namespace
}  // namespace weft::soak

int main(int argc, char** argv)
{
    if (argc >= 2 && std::strcmp(argv[1], "producer") == 0)
        return weft::soak::ProducerMain(argc - 2, argv + 2);
    const double minutes = argc >= 2 ? std::atof(argv[1]) : 5.0;
    if (minutes <= 0)
    {
        std::fprintf(stderr, "usage: weft_soak [minutes] [folder]\n");
        return 2;
    }
    return weft::soak::SoakMain(minutes, argc >= 3 ? argv[2] : ".");
}
