// Tour: a directory summary and a file search over a small temporary tree, and the deleter
// removing the tour's folder at the end; and the "summary" and "find" tools.
#include "TourSteps.h"
#include "TourWindow.h"

#include "weftcore.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

namespace
{
const UINT SummaryMsg = WM_APP + 60;
const UINT FindMsg = WM_APP + 61;
const UINT DeleteMsg = WM_APP + 62;

void PrintSummary(const DirSummaryThread& s)
{
    weft::tour::Say("%llu files, %s (%s of the drive); newest %s, oldest %s",
                    static_cast<unsigned long long>(s.GetFileCount()), s.GetDirUsesSpace().GetString(),
                    s.GetDirUsesSpacePercent().GetString(), s.GetNewestFileDate().Format().GetString(),
                    s.GetOldestFileDate().Format().GetString());
    weft::tour::Say("drive: %s, %s free (%s)", s.GetDriveTotalSpace().GetString(), s.GetDriveFreeSpace().GetString(),
                    s.GetDriveFreeSpacePercent().GetString());
}

// Runs a summary of dir and prints it, if it ends within limit ms.
void Summarise(const std::string& dir, DWORD limit)
{
    weft::tour::TourWindow window([](unsigned long long, UINT, WPARAM, LPARAM) {});
    DirSummaryThread summary(dir.c_str(), SummaryMsg, window.Handle(), 0, 0);
    summary.GatherInfo();
    window.PumpUntil(1, limit);
    if (window.Count() == 1)
        PrintSummary(summary);
    else
        weft::tour::Say("the summary did not end within %lu ms", limit);
}

// Searches dir for the patterns, printing each result as it arrives, for at most limit ms;
// gives the count.
unsigned long long Find(const std::string& dir, const char* patterns, DWORD limit)
{
    std::unique_ptr<FindFileThread> finder;
    unsigned long long count = 0;
    bool ended = false;
    weft::tour::TourWindow window([&](unsigned long long, UINT, WPARAM wParam, LPARAM) {
        if (!finder->IsValidIndex(wParam))
        {
            ended = true;  // the end: the count plus 1
            return;
        }
        weft::tour::Say("file finder: %llu: %s", static_cast<unsigned long long>(wParam),
                        finder->GetFileAtIndex(wParam).GetString());
        count = wParam + 1;
    });
    finder = std::make_unique<FindFileThread>(FindMsg, window.Handle(), 0, 0);
    TextArray specs, none;
    specs.Add(patterns);
    finder->DoFind(dir.c_str(), specs, none, none, true, true, false);
    window.PumpWhile([&] { return !ended; }, limit);
    return count;
}
}  // namespace

WEFT_TOUR_STEP(JobsTour, 50, "Directory summary and file search over a temporary tree")
{
    using weft::tour::Say;
    const std::string dir = weft::tour::TourDir() + "jobs\\";
    for (const char* sub : {"", "src\\", "src\\util\\", "docs\\"})
        CreateDirectoryA((dir + sub).c_str(), nullptr);
    for (const char* file : {"src\\main.cpp", "src\\main.h", "src\\util\\text.cpp", "docs\\readme.txt", "notes.txt"})
    {
        HANDLE h = CreateFileA((dir + file).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        DWORD written = 0;
        WriteFile(h, file, static_cast<DWORD>(std::strlen(file)), &written, nullptr);
        CloseHandle(h);
    }
    Say("summary of %s", dir.c_str());
    Summarise(dir, 10000);
    Say("search for *.cpp;*.h");
    Say("%llu found", Find(dir, "*.cpp;*.h", 10000));
}

WEFT_TOUR_STEP(DeleteTour, 90, "Deleter: the tour's folder removed in the background")
{
    using weft::tour::Say;
    const std::string dir = weft::tour::TourDir();
    TextArray items;
    items.Add((dir + "no-such-file.txt").c_str());  // a missing path is passed over
    items.Add(dir.c_str());
    weft::tour::TourWindow window([](unsigned long long, UINT, WPARAM, LPARAM) { Say("deleter: the list is done"); });
    Say("deleting a missing file, then the tree %s", dir.c_str());
    FileDeleteThread deleter(items, DeleteMsg, window.Handle(), 0, true, true);
    window.PumpUntil(1, 10000);
    Say("the folder is %s", DirUtils::DoesDirExist(dir.c_str()) ? "still there" : "gone");
}

WEFT_TOUR_TOOL(SummaryTool, "summary", "DIR", "prints the files, bytes, dates and drive figures of the tree DIR")
{
    if (args.size() != 1)
        return weft::tour::UsageError;
    if (!DirUtils::DoesDirExist(args[0].c_str()))
    {
        std::printf("not a directory: %s\n", args[0].c_str());
        return 1;
    }
    Summarise(args[0], INFINITE);
    return 0;
}

WEFT_TOUR_TOOL(FindTool, "find", "DIR PATTERN",
               "prints the files below DIR matching PATTERN (\"*.cpp;*.h\") as they are found")
{
    if (args.size() != 2)
        return weft::tour::UsageError;
    if (!DirUtils::DoesDirExist(args[0].c_str()))
    {
        std::printf("not a directory: %s\n", args[0].c_str());
        return 1;
    }
    weft::tour::Say("%llu found", Find(args[0], args[1].c_str(), INFINITE));
    return 0;
}
