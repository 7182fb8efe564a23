// Tour: a file-system change monitor telling a new file and its rename as records; and the
// "fswatch" and "drives" tools.
#include "TourSteps.h"
#include "TourWindow.h"

#include "weftcore.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace
{
const UINT FsMsg = WM_APP + 60;

const char* ActionName(unsigned long action)
{
    static const char* const names[] = {"?", "added", "removed", "modified", "renamed from", "renamed to"};
    return action < 6 ? names[action] : "?";
}

// The handler owns each record it is given. A record that names the watched path itself says
// that the system dropped changes: the application would look at the folder again.
weft::tour::TourWindow::Handler Printer(const CString* watched)
{
    return [watched](unsigned long long atMs, UINT, WPARAM, LPARAM lParam) {
        auto* record = reinterpret_cast<FSChangeNotification*>(lParam);
        DateTime at;
        record->GetDatetime(at);
        if (record->GetPath().Compare(*watched) == 0 && watched->Right(1) == "\\")
            weft::tour::Say("%6llu ms  %s UTC  overflow: changes were dropped, look at %s again", atMs,
                            at.Format().GetString(), record->GetPath().GetString());
        else
            weft::tour::Say("%6llu ms  %s UTC  %-12s %s", atMs, at.Format().GetString(), ActionName(record->GetAction()),
                            record->GetPath().GetString());
        delete record;
    };
}

DWORD Seconds(const std::vector<std::string>& args, size_t index)
{
    return args.size() > index ? static_cast<DWORD>(std::strtoul(args[index].c_str(), nullptr, 10)) : 0;
}
}  // namespace

WEFT_TOUR_STEP(FSWatchTour, 42, "File-system change monitor: each change as a record, a rename as two")
{
    using weft::tour::Say;
    char temp[MAX_PATH + 1] = {};
    GetTempPathA(MAX_PATH, temp);
    const std::string dir = std::string(temp) + "weft_tour_fsmon_" + std::to_string(GetCurrentProcessId()) + "\\";
    CreateDirectoryA(dir.c_str(), nullptr);
    const CString watched(dir.c_str());
    weft::tour::TourWindow window(Printer(&watched));
    {
        FSMonitorThread monitor(dir.c_str(), FsMsg, window.Handle(), true, 0);
        Say("watching %s and the tree below it", monitor.GetPath().GetString());
        window.PumpFor(300);  // the thread issues its first read
        HANDLE file = CreateFileA((dir + "draft.txt").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
        CloseHandle(file);
        Say("%6llu ms  created draft.txt (empty)", window.Elapsed());
        window.PumpUntil(1, 3000);
        MoveFileA((dir + "draft.txt").c_str(), (dir + "final.txt").c_str());
        Say("%6llu ms  renamed draft.txt to final.txt: two records, the old name and the new", window.Elapsed());
        window.PumpUntil(window.Count() + 2, 3000);
        monitor.Stop(1000);
    }
    window.PumpFor(0);
    DirUtils::DeleteDirectory(dir.c_str(), 0, nullptr, nullptr, nullptr);
}

WEFT_TOUR_TOOL(FSWatchTool, "fswatch", "DIR [SECONDS]   print each change below DIR as a record, until interrupted")
{
    if (args.empty())
    {
        std::printf("usage: weft_tour fswatch DIR [SECONDS]\n");
        return 2;
    }
    const DWORD seconds = Seconds(args, 1);
    CString watched;
    weft::tour::TourWindow window(Printer(&watched));
    FSMonitorThread monitor(args[0].c_str(), FsMsg, window.Handle(), true, 0);
    watched = monitor.GetPath();  // records are handled only while the window is pumped, below
    if (!DirUtils::DoesDirExist(args[0].c_str()) || watched.Right(1) != "\\")
    {
        std::printf("not a directory: %s\n", args[0].c_str());
        return 1;
    }
    std::printf("watching %s and below%s\n", watched.GetString(), seconds ? "" : " until interrupted");
    std::fflush(stdout);
    window.PumpFor(seconds ? seconds * 1000 : INFINITE);
    return 0;
}

WEFT_TOUR_TOOL(DrivesTool, "drives", "[SECONDS]   print each drive that comes, goes or changes, until interrupted")
{
    const DWORD seconds = Seconds(args, 0);
    weft::tour::TourWindow window([](unsigned long long atMs, UINT msg, WPARAM wParam, LPARAM) {
        const char* kind = msg == DrivesChangeThread::MSG_DCT_DRIVEADDED     ? "added"
                           : msg == DrivesChangeThread::MSG_DCT_DRIVEREMOVED ? "removed"
                           : msg == DrivesChangeThread::MSG_DCT_DRIVECHANGED ? "changed" : "?";
        weft::tour::Say("%6llu ms  drive %c: %s", atMs, static_cast<char>(wParam), kind);
    }, true);
    TextArray drives;
    VolumeUtils::GetDriveLetters(drives);
    for (unsigned long long i = 0; i < drives.GetCount(); ++i)
        std::printf("present: %s  \"%s\"\n", drives.GetCopyAt(i).GetString(),
                    VolumeUtils::GetVolumeName(drives.GetCopyAt(i)).GetString());
    DrivesChangeThread watcher(window.Handle(), 1000, 0);
    std::printf("polling every second%s\n", seconds ? "" : " until interrupted");
    std::fflush(stdout);
    window.PumpFor(seconds ? seconds * 1000 : INFINITE);
    return 0;
}
