// The file-system change monitor's latency from a file's creation to its record in the owner
// window's procedure, against a raw loop (ReadDirectoryChangesW on an overlapped handle, a wait on
// a stop event and the read's event, SendNotifyMessageA per entry) in the same run: median and
// 99th percentile over 1,000 creations a side, and the median of paired per-round ratios. Then
// the records per second of bursts of creations, both sides in each round in alternating order,
// each burst in an empty folder, and the median of the rounds' ratios. Figures only; nothing is
// asserted.
#include "weftcore.h"

#include "support/BenchSupport.h"
#include "support/MessageWindow.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using weft::bench::NowSeconds;

namespace
{
const UINT RawMsg = WM_APP + 1;
const UINT MonitorMsg = WM_APP + 2;
const int Rounds = 20;
const int PerRound = 50;

// Arrival times of the records of added files; the monitor's records are deleted here.
class Arrivals
{
public:
    Arrivals()
        : m_window([this](UINT msg, WPARAM wParam, LPARAM lParam) {
              unsigned long action = static_cast<unsigned long>(wParam);
              if (msg == MonitorMsg)
              {
                  auto* record = reinterpret_cast<FSChangeNotification*>(lParam);
                  action = record->GetAction();
                  m_overflows += record->GetPath().Right(1) == "\\";
                  delete record;
              }
              if ((msg != RawMsg && msg != MonitorMsg) || action != FILE_ACTION_ADDED)
                  return;
              const double at = NowSeconds();
              std::lock_guard<std::mutex> hold(m_lock);
              m_arrivals.push_back(at);
              m_arrived.notify_all();
          })
    {
    }
    HWND Handle() const { return m_window.Handle(); }
    double TakeNext(DWORD ms)
    {
        std::unique_lock<std::mutex> hold(m_lock);
        if (!m_arrived.wait_for(hold, std::chrono::milliseconds(ms), [this] { return !m_arrivals.empty(); }))
            return -1;
        const double at = m_arrivals.front();
        m_arrivals.pop_front();
        return at;
    }
    std::atomic<int> m_overflows{0};

private:
    std::mutex m_lock;
    std::condition_variable m_arrived;
    std::deque<double> m_arrivals;
    weft::test::MessageWindow m_window;  // last: its thread ends before the fields above go
};

struct Folder
{
    std::string path;
    int next = 0;
    void Create() { CloseHandle(CreateFileA((path + "f" + std::to_string(next++)).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr)); }
};

// A raw watching thread for the life of the object.
class RawLoop
{
public:
    RawLoop(const std::string& dir, HWND wnd)
        : m_dir(CreateFileA(dir.c_str(), FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                            OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr)),
          m_stop(CreateEventA(nullptr, TRUE, FALSE, nullptr)), m_thread([this, wnd] { Run(wnd); })
    {
    }
    ~RawLoop()
    {
        SetEvent(m_stop);
        m_thread.join();
        CloseHandle(m_stop);
        CloseHandle(m_dir);
    }

private:
    void Run(HWND wnd)
    {
        alignas(DWORD) char buffer[1024];
        OVERLAPPED overlapped = {};
        overlapped.hEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
        HANDLE waits[2] = {m_stop, overlapped.hEvent};
        DWORD bytes = 0;
        while (ReadDirectoryChangesW(m_dir, buffer, sizeof buffer, FALSE, 0x1D, nullptr, &overlapped, nullptr) &&
               WaitForMultipleObjects(2, waits, FALSE, INFINITE) == WAIT_OBJECT_0 + 1)
        {
            if (GetOverlappedResult(m_dir, &overlapped, &bytes, FALSE))
                for (DWORD offset = 0; bytes > 0;)
                {
                    const auto* entry = reinterpret_cast<const FILE_NOTIFY_INFORMATION*>(buffer + offset);
                    SendNotifyMessageA(wnd, RawMsg, entry->Action, 0);
                    if (entry->NextEntryOffset == 0)
                        break;
                    offset += entry->NextEntryOffset;
                }
            ResetEvent(overlapped.hEvent);
        }
        CancelIoEx(m_dir, &overlapped);
        GetOverlappedResult(m_dir, &overlapped, &bytes, TRUE);
        CloseHandle(overlapped.hEvent);
    }

    HANDLE m_dir;
    HANDLE m_stop;
    std::thread m_thread;
};

// Creates files until the watcher answers (it arms its read some time after it starts), then
// drains what came.
bool Armed(Arrivals& arrivals, Folder& folder)
{
    for (int i = 0; i < 200; ++i)
    {
        folder.Create();
        if (arrivals.TakeNext(50) >= 0)
        {
            while (arrivals.TakeNext(50) >= 0)
                ;
            return true;
        }
    }
    return false;
}

// n creations, each waiting for its record; the latencies are appended. Gives n times the median.
double Latencies(Arrivals& arrivals, Folder& folder, int n, std::vector<double>& all)
{
    if (!Armed(arrivals, folder))
        return 1e9;
    std::vector<double> round;
    for (int i = 0; i < n; ++i)
    {
        const double before = NowSeconds();
        folder.Create();
        const double at = arrivals.TakeNext(10000);
        if (at < 0)
            return 1e9;
        round.push_back(at - before);
        while (arrivals.TakeNext(0) >= 0)
            ;
    }
    all.insert(all.end(), round.begin(), round.end());
    return weft::bench::Median(round) * n;
}

// n creations as fast as they go; records of added files per second, until 300 ms pass quietly.
double Burst(Arrivals& arrivals, Folder& folder, int n, int& told)
{
    if (!Armed(arrivals, folder))
        return 0;
    const double start = NowSeconds();
    for (int i = 0; i < n; ++i)
        folder.Create();
    double last = start;
    told = 0;
    for (double at; (at = arrivals.TakeNext(300)) >= 0; ++told)
        last = at;
    return told / (last - start);
}

double Percentile(std::vector<double> v, double q)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[static_cast<size_t>(q * static_cast<double>(v.size() - 1))];
}
}  // namespace

int main()
{
    char temp[MAX_PATH + 1] = {};
    GetTempPathA(MAX_PATH, temp);
    Folder folder{std::string(temp) + "weft_fsmon_bench_" + std::to_string(GetCurrentProcessId()) + "\\"};
    CreateDirectoryA(folder.path.c_str(), nullptr);
    Arrivals arrivals;
    std::vector<double> raw, library;
    const auto c = weft::bench::Compare(
        [&](int n) {
            RawLoop loop(folder.path, arrivals.Handle());
            return Latencies(arrivals, folder, n, raw);
        },
        [&](int n) {
            FSMonitorThread monitor(folder.path.c_str(), MonitorMsg, arrivals.Handle(), false, 0);
            return Latencies(arrivals, folder, n, library);
        },
        PerRound, Rounds);
    weft::bench::Report("FSMonitorThread creation -> record", c, 1.10, "raw loop");
    std::printf("  latency over %zu / %zu creations: raw median %.1f us, p99 %.1f us; library median %.1f us, p99 %.1f us\n",
                raw.size(), library.size(), Percentile(raw, 0.5) * 1e6, Percentile(raw, 0.99) * 1e6,
                Percentile(library, 0.5) * 1e6, Percentile(library, 0.99) * 1e6);
    weft::bench::Figure({.name = "FSMonitorThread creation -> record, 99th percentile",
                         .value = Percentile(library, 0.99) * 1e6, .unit = "us",
                         .ratio = Percentile(library, 0.99) / Percentile(raw, 0.99), .against = "raw loop"});
    const int burst = 2000;
    const int burstRounds = 7;
    std::vector<double> rawRates, libraryRates, burstRatios;
    int rawTold = 0, libraryTold = 0, overflows = 0;
    for (int round = 0; round < burstRounds; ++round)
    {
        double rawRate = 0, libraryRate = 0;
        for (int i = 0; i < 2; ++i)
        {
            // Each burst goes to an empty folder of its own: a creation takes longer in a folder
            // that holds more files, which would tell against the side that runs later.
            Folder fresh{folder.path + "burst" + std::to_string(round) + "_" + std::to_string(i) + "\\"};
            CreateDirectoryA(fresh.path.c_str(), nullptr);
            if ((i == 0) == (round % 2 == 0))
            {
                RawLoop loop(fresh.path, arrivals.Handle());
                int told = 0;
                rawRate = Burst(arrivals, fresh, burst, told);
                rawTold += told;
            }
            else
            {
                const int before = arrivals.m_overflows.load();
                FSMonitorThread monitor(fresh.path.c_str(), MonitorMsg, arrivals.Handle(), false, 0);
                int told = 0;
                libraryRate = Burst(arrivals, fresh, burst, told);
                libraryTold += told;
                overflows += arrivals.m_overflows.load() - before;
            }
        }
        rawRates.push_back(rawRate);
        libraryRates.push_back(libraryRate);
        burstRatios.push_back(rawRate > 0 ? libraryRate / rawRate : 0);
    }
    const double rawRate = weft::bench::Median(rawRates), libraryRate = weft::bench::Median(libraryRates);
    const double burstRatio = weft::bench::Median(burstRatios);
    std::printf("  bursts of %d creations, %d rounds: raw %.0f records/s (%d told), library %.0f records/s (%d told, "
                "%d overflow records), ratio %.3f  goal >= 0.90: %s  (rounds:",
                burst, burstRounds, rawRate, rawTold, libraryRate, libraryTold, overflows, burstRatio,
                burstRatio >= 0.9 ? "met" : "missed");
    for (double r : burstRatios)
        std::printf(" %.2f", r);
    std::printf(")\n");
    weft::bench::Figure({.name = "FSMonitorThread records/s in a burst of " + std::to_string(burst), .value = libraryRate,
                         .unit = "records/s", .ratio = rawRate > 0 ? burstRatio : weft::bench::NoRatio,
                         .against = "raw loop", .goal = 0.9, .better = weft::bench::Better::Higher});
    DirUtils::DeleteDirectory(folder.path.c_str(), 0, nullptr, nullptr, nullptr);
    return 0;
}
