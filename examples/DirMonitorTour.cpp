// Tour: a directory monitor settling a burst of changes into one message, then the progressive
// messages while the directory stays quiet; and the "watch" tool.
#include "TourSteps.h"
#include "TourWindow.h"

#include "weftcore.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace
{
const UINT DirMsg = WM_APP + 40;
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

void PrintChange(unsigned long long atMs, UINT, WPARAM wParam, LPARAM)
{
    weft::tour::Say("%6llu ms  wParam 0x%03llx  %s", atMs, static_cast<unsigned long long>(wParam),
                    Kinds(wParam).c_str());
}

void Touch(const std::string& path, const char* text)
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
    char temp[MAX_PATH + 1] = {};
    GetTempPathA(MAX_PATH, temp);
    const std::string dir = std::string(temp) + "weft_tour_dirmon_" + std::to_string(GetCurrentProcessId()) + "\\";
    CreateDirectoryA(dir.c_str(), nullptr);
    weft::tour::TourWindow window(PrintChange);
    {
        DirMonitorThread monitor(dir.c_str(), false, AllKinds, DirMsg, window.Handle(), 200, 0, true);
        Say("watching %s with a message delay of 200 ms and the progressive delay", dir.c_str());
        window.PumpFor(300);  // the thread arms its handles
        unsigned long long lastWrite = 0;
        for (int i = 0; i < 5; ++i)
        {
            Touch(dir + "file" + std::to_string(i % 2) + ".txt", "some text\n");
            lastWrite = window.Elapsed();
            window.PumpFor(30);
        }
        Say("%6llu ms  last of five writes, 30 ms apart", lastWrite);
        window.PumpUntil(5, 3000);
        Say("one message for the burst, then quiet-time messages at 400, 600, 1000, 1600 ms after the last write");
        monitor.Stop(1000);
    }
    DirUtils::DeleteDirectory(dir.c_str(), 0, nullptr, nullptr, nullptr);
}

WEFT_TOUR_TOOL(WatchTool, "watch", "DIR [SECONDS]   print each change of DIR, decoded, until interrupted")
{
    if (args.empty())
    {
        std::printf("usage: weft_tour watch DIR [SECONDS]\n");
        return 2;
    }
    const DWORD seconds = args.size() > 1 ? static_cast<DWORD>(std::strtoul(args[1].c_str(), nullptr, 10)) : 0;
    weft::tour::TourWindow window(PrintChange);
    DirMonitorThread monitor(args[0].c_str(), false, AllKinds, DirMsg, window.Handle(), 0xFFFFFFFF, 0, false);
    if (monitor.GetDir().IsEmpty())
    {
        std::printf("not a directory: %s\n", args[0].c_str());
        return 1;
    }
    std::printf("watching %s%s\n", monitor.GetDir().GetString(), seconds ? "" : " until interrupted");
    std::fflush(stdout);
    window.PumpFor(seconds ? seconds * 1000 : INFINITE);
    return 0;
}
