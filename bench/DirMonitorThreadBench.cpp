// The directory monitor's latency from a file write to the owner window's procedure (no message
// delay), against a raw loop (WaitForMultipleObjects on a stop event and a
// FindFirstChangeNotificationA handle, SendNotifyMessageA, FindNextChangeNotification) in the
// same run. Each write grows one file, watched for size changes only, and waits for its message
// before the next, so every write finds the watching thread idle in its wait. Every round
// starts a fresh watching thread (not timed), as in the event monitor's benchmark.
#include "weftcore.h"

#include "support/BenchSupport.h"
#include "support/BenchWindow.h"

#include <cstdio>
#include <string>
#include <thread>

using weft::bench::BenchWindow;


namespace
{
const UINT ChangeMsg = WM_APP + 3;

void Grow(const std::string& file)
{
    HANDLE h = CreateFileA(file.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr, OPEN_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(h, "x", 1, &written, nullptr);
    CloseHandle(h);
}

// Writes until the watcher answers: its handle is armed some time after it starts.
bool Armed(BenchWindow& window, const std::string& file)
{
    for (int i = 0; i < 200; ++i)
    {
        Grow(file);
        if (window.TakeNext(50) >= 0)
        {
            while (window.TakeNext(50) >= 0)
                ;
            return true;
        }
    }
    return false;
}

// Seconds from the write to the window procedure over n writes, as n times the median.
double Latencies(BenchWindow& window, const std::string& file, int n)
{
    return Armed(window, file) ? window.MedianLatency([&] { Grow(file); }, n) : 1e9;
}

double RawRound(BenchWindow& window, const std::string& dir, const std::string& file, int n)
{
    HANDLE stop = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    HANDLE change = FindFirstChangeNotificationA(dir.c_str(), FALSE, FILE_NOTIFY_CHANGE_SIZE);
    std::thread raw([&] {
        HANDLE handles[2] = {stop, change};
        while (WaitForMultipleObjects(2, handles, FALSE, INFINITE) == WAIT_OBJECT_0 + 1)
        {
            SendNotifyMessageA(window.Handle(), ChangeMsg, FILE_NOTIFY_CHANGE_SIZE, 0);
            FindNextChangeNotification(change);
        }
    });
    const double seconds = Latencies(window, file, n);
    SetEvent(stop);
    raw.join();
    FindCloseChangeNotification(change);
    CloseHandle(stop);
    return seconds;
}

double MonitorRound(BenchWindow& window, const std::string& dir, const std::string& file, int n)
{
    DirMonitorThread monitor(dir.c_str(), false, FILE_NOTIFY_CHANGE_SIZE, ChangeMsg, window.Handle(), 0xFFFFFFFF, 0,
                             false);
    return Latencies(window, file, n);
}
}  // namespace

int main()
{
    char temp[MAX_PATH + 1] = {};
    GetTempPathA(MAX_PATH, temp);
    const std::string dir = std::string(temp) + "weft_dirmon_bench_" + std::to_string(GetCurrentProcessId());
    const std::string file = dir + "\\grows.txt";
    CreateDirectoryA(dir.c_str(), nullptr);
    BenchWindow window;
    if (window.Handle() == nullptr)
    {
        std::printf("no window\n");
        return 1;
    }
    const auto c = weft::bench::Compare([&](int n) { return RawRound(window, dir, file, n); },
                                        [&](int n) { return MonitorRound(window, dir, file, n); }, 30, 41);
    weft::bench::Report("DirMonitorThread write -> message", c, 1.10, "raw loop");
    DeleteFileA(file.c_str());
    RemoveDirectoryA(dir.c_str());
    return 0;
}
