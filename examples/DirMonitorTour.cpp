// Tour: a directory monitor settling a burst of changes into one message, then the progressive
// messages while the directory stays quiet; a file monitor telling only its own file's changes;
// and the "watch" tool.
#include "TourSteps.h"
#include "TourWindow.h"

#include "weftcore.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace
{
const UINT DirMsg = WM_APP + 40;
const UINT FileMsg = WM_APP + 41;
const unsigned long AllKinds = 0x11F;

// The kinds of change in a wParam, by name.
std::string Kinds(WPARAM bits)
{
    static const struct
    {
        unsigned long bit;
        const char* name;
    } names[] = {{FILE_NOTIFY_CHANGE_FILE_NAME, "file-name"},   {FILE_NOTIFY_CHANGE_DIR_NAME, "dir-name"},
                 {FILE_NOTIFY_CHANGE_ATTRIBUTES, "attributes"}, {FILE_NOTIFY_CHANGE_SIZE, "size"},
                 {FILE_NOTIFY_CHANGE_LAST_WRITE, "last-write"}, {FILE_NOTIFY_CHANGE_SECURITY, "security"}};
    std::string text;
    for (const auto& n : names)
        if (bits & n.bit)
            text += std::string(text.empty() ? "" : "|") + n.name;
    return text.empty() ? "none (a progressive message)" : text;
}

void PrintChange(unsigned long long, UINT msg, WPARAM wParam, LPARAM)
{
    weft::tour::Say("%s: wParam 0x%03llx  %s", msg == FileMsg ? "file monitor" : "directory monitor",
                    static_cast<unsigned long long>(wParam), Kinds(wParam).c_str());
}

void Append(const std::string& path, const char* text)
{
    HANDLE file = CreateFileA(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr, OPEN_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(file, text, static_cast<DWORD>(std::strlen(text)), &written, nullptr);
    CloseHandle(file);
}
}  // namespace

WEFT_TOUR_STEP(DirMonitorTour, 40, "Directory monitor: a burst settled into one message, then progressive messages")
{
    using weft::tour::Say;
    const std::string dir = weft::tour::TourDir() + "dirmon\\";
    CreateDirectoryA(dir.c_str(), nullptr);
    weft::tour::TourWindow window(PrintChange);
    DirMonitorThread monitor(dir.c_str(), false, AllKinds, DirMsg, window.Handle(), 200, 0, true);
    Say("watching %s with a message delay of 200 ms and the progressive delay", dir.c_str());
    window.PumpFor(300);  // the thread arms its handles
    for (int i = 1; i <= 5; ++i)
    {
        Append(dir + "file" + std::to_string(i % 2) + ".txt", "some text\n");
        if (i == 5)
            Say("fifth of five writes, 30 ms apart");
        window.PumpFor(30);
    }
    window.PumpUntil(5, 3000);
    Say("one message for the burst, then quiet-time messages 400, 600, 1000, 1600 ms after the last write");
    monitor.Stop(1000);
}

WEFT_TOUR_STEP(FileMonitorTour, 41, "File monitor: only its own file's changes are told")
{
    using weft::tour::Say;
    const std::string dir = weft::tour::TourDir() + "filemon\\";
    CreateDirectoryA(dir.c_str(), nullptr);
    Append(dir + "watched.log", "first line\n");
    weft::tour::TourWindow window(PrintChange);
    FileMonitorThread monitor((dir + "watched.log").c_str(), FileMsg, window.Handle(), 0xFFFFFFFF, 0, false);
    Say("watching %s, no message delay", monitor.GetFile().GetString());
    window.PumpFor(300);  // the thread arms its handles
    Append(dir + "neighbour.txt", "a neighbour's change\n");
    Say("wrote the neighbour file beside it");
    window.PumpFor(300);
    Say("%d message(s) for the neighbour", window.Count());
    Append(dir + "watched.log", "second line\n");
    Say("appended a line to watched.log");
    window.PumpUntil(1, 3000);
    DeleteFileA((dir + "watched.log").c_str());
    Say("deleted watched.log");
    window.PumpUntil(window.Count() + 1, 3000);
    Say("the file exists at the last comparison: %s", monitor.DoesFileExist() ? "yes" : "no");
    monitor.Stop(1000);
}

WEFT_TOUR_TOOL(WatchTool, "watch", "DIR [SECONDS]",
               "prints each change of DIR, decoded, for SECONDS or until interrupted")
{
    if (args.empty() || args.size() > 2)
        return weft::tour::UsageError;
    const DWORD seconds = args.size() > 1 ? static_cast<DWORD>(std::strtoul(args[1].c_str(), nullptr, 10)) : 0;
    weft::tour::TourWindow window(PrintChange);
    DirMonitorThread monitor(args[0].c_str(), false, AllKinds, DirMsg, window.Handle(), 0xFFFFFFFF, 0, false);
    if (monitor.GetDir().IsEmpty())
    {
        std::printf("not a directory: %s\n", args[0].c_str());
        return 1;
    }
    weft::tour::Say("watching %s%s", monitor.GetDir().GetString(), seconds ? "" : " until interrupted");
    window.PumpFor(seconds ? seconds * 1000 : INFINITE);
    return 0;
}
