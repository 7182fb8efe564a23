// Tour: a file-system change monitor telling a new file and its rename as records, and the
// drives-change watcher; and the "fswatch" and "drives" tools.
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
    return [watched](unsigned long long, UINT, WPARAM, LPARAM lParam) {
        auto* record = reinterpret_cast<FSChangeNotification*>(lParam);
        DateTime at;
        record->GetDatetime(at);
        if (record->GetPath().Compare(*watched) == 0 && watched->Right(1) == "\\")
            weft::tour::Say("fs monitor: overflow, changes were dropped: look at %s again (recorded %s UTC)",
                            record->GetPath().GetString(), at.Format().GetString());
        else
            weft::tour::Say("fs monitor: %-12s %s (recorded %s UTC)", ActionName(record->GetAction()),
                            record->GetPath().GetString(), at.Format().GetString());
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
    const std::string dir = weft::tour::TourDir() + "fsmon\\";
    CreateDirectoryA(dir.c_str(), nullptr);
    const CString watched(dir.c_str());
    weft::tour::TourWindow window(Printer(&watched));
    {
        FSMonitorThread monitor(dir.c_str(), FsMsg, window.Handle(), true, 0);
        Say("watching %s and the tree below it", monitor.GetPath().GetString());
        window.PumpFor(300);  // the thread issues its first read
        HANDLE file = CreateFileA((dir + "draft.txt").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
        CloseHandle(file);
        Say("created draft.txt (empty)");
        window.PumpUntil(1, 3000);
        MoveFileA((dir + "draft.txt").c_str(), (dir + "final.txt").c_str());
        Say("renamed draft.txt to final.txt: two records, the old name and the new");
        window.PumpUntil(window.Count() + 2, 3000);
        monitor.Stop(1000);
    }
    window.PumpFor(0);  // records sent before the stop are handled, and deleted
}

WEFT_TOUR_TOOL(FSWatchTool, "fswatch", "DIR [SECONDS]",
               "prints each change below DIR as a record, for SECONDS or until interrupted")
{
    if (args.empty() || args.size() > 2)
        return weft::tour::UsageError;
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
    weft::tour::Say("watching %s and below%s", watched.GetString(), seconds ? "" : " until interrupted");
    window.PumpFor(seconds ? seconds * 1000 : INFINITE);
    return 0;
}

namespace
{
// Prints what a drives watcher reports.
void PrintDrive(unsigned long long, UINT msg, WPARAM wParam, LPARAM)
{
    const char* kind = msg == DrivesChangeThread::MSG_DCT_DRIVEADDED     ? "added"
                       : msg == DrivesChangeThread::MSG_DCT_DRIVEREMOVED ? "removed"
                       : msg == DrivesChangeThread::MSG_DCT_DRIVECHANGED ? "changed"
                                                                          : "?";
    weft::tour::Say("drives watcher: drive %c: %s", static_cast<char>(wParam), kind);
}

void PrintDrives()
{
    TextArray drives;
    VolumeUtils::GetDriveLetters(drives);
    for (unsigned long long i = 0; i < drives.GetCount(); ++i)
        weft::tour::Say("present: %s  \"%s\"", drives.GetCopyAt(i).GetString(),
                        VolumeUtils::GetVolumeName(drives.GetCopyAt(i)).GetString());
}
}  // namespace

WEFT_TOUR_STEP(DrivesTour, 43, "Drives-change watcher: started, polled, stopped")
{
    using weft::tour::Say;
    weft::tour::TourWindow window(PrintDrive, true);
    DrivesChangeThread watcher(window.Handle(), 500, 0);
    Say("polling every 500 ms; its first pass only takes the picture");
    window.PumpFor(1200);  // whatever two more passes find: usually nothing
    watcher.Stop(1000);
    Say("stopped; %d drive(s) came, went or changed meanwhile", window.Count());
}

WEFT_TOUR_TOOL(DrivesTool, "drives", "[SECONDS]",
               "prints each drive that comes, goes or changes, for SECONDS or until interrupted")
{
    if (args.size() > 1)
        return weft::tour::UsageError;
    const DWORD seconds = Seconds(args, 0);
    PrintDrives();
    weft::tour::TourWindow window(PrintDrive, true);
    DrivesChangeThread watcher(window.Handle(), 1000, 0);
    weft::tour::Say("polling every second%s", seconds ? "" : " until interrupted");
    window.PumpFor(seconds ? seconds * 1000 : INFINITE);
    return 0;
}
