// Objects made and ended in a loop. Timers and event monitors: each cycle makes a one-shot timer,
// a repeating timer and an event monitor, signals the event three times, and destroys them at
// once, so that some timers end before their first period; afterwards the one-shot timer must have
// sent exactly one message, the repeating one at least one, the event monitor exactly three.
// Jobs: each cycle starts a finder, a summary, a deleter and a zip job, stops each in the middle
// through its polite stop (the stop flag, with a time-out long enough that no thread is ever
// terminated: a stop that ran out its time counts as a forced termination), then runs a fresh one
// to its end and checks its result. A zip job does not look at its stop flag, so its stop waits
// for the job to end.
#include "soak/Soak.h"

#include "support/MessageWindow.h"
#include "weftcore.h"

#include <random>

namespace weft::soak
{
namespace
{
constexpr UINT WmOneShot = WM_APP + 11;
constexpr UINT WmRepeat = WM_APP + 12;
constexpr UINT WmEvent = WM_APP + 13;

class TimerPart : public Part
{
public:
    TimerPart() : m_window([this](UINT msg, WPARAM wParam, LPARAM) { OnMessage(msg, wParam); }) {}
    const char* Name() const override { return "timers"; }

    void Run(const std::atomic<bool>& stop) override
    {
        std::mt19937 random(99);
        while (!stop)
        {
            m_oneShot = m_repeat = m_event = 0;
            m_cycle = ++m_cycles;
            HANDLE ev = CreateEventA(nullptr, FALSE, FALSE, nullptr);
            {
                TimerThread oneShot(WmOneShot, m_window.Handle(), random() % 40, true, m_cycle, 0);
                TimerThread repeat(WmRepeat, m_window.Handle(), 1 + random() % 20, false, m_cycle, 0);
                EventMonitorThread monitor(ev, WmEvent, m_window.Handle(), 0xFFFFFFFF, m_cycle, 0);
                for (int k = 1; k <= 3; ++k)
                {
                    SetEvent(ev);
                    WaitUntil([&] { return m_event >= k; }, Scaled(5000));
                }
            }
            CloseHandle(ev);
            // The threads have ended; what they sent is queued before this.
            SendMessageA(m_window.Handle(), WM_NULL, 0, 0);
            // A late extra message would carry this cycle's number into the next one: a stray.
            m_failed += m_oneShot == 1 && m_repeat >= 1 && m_event == 3 ? 0 : 1;
            Sleep(10);
        }
        m_cycle = 0;
    }

    void Finish(std::vector<Check>& checks) override
    {
        checks.push_back({"timers and event monitors: each message as promised, none stray",
                          m_cycles > 0 && m_failed == 0 && m_stray == 0,
                          Counts({{"cycles", m_cycles}, {"cycles wrong", m_failed}, {"stray messages", m_stray}})});
    }

private:
    void OnMessage(UINT msg, WPARAM wParam)
    {
        if (msg == WM_NULL)
            return;
        if (static_cast<long long>(wParam) != m_cycle)
            ++m_stray;
        else if (msg == WmOneShot)
            ++m_oneShot;
        else if (msg == WmRepeat)
            ++m_repeat;
        else if (msg == WmEvent)
            ++m_event;
    }

    std::atomic<long long> m_cycle{0}, m_cycles{0}, m_failed{0}, m_stray{0};
    std::atomic<int> m_oneShot{0}, m_repeat{0}, m_event{0};
    weft::test::MessageWindow m_window;
};

constexpr UINT WmFindStopped = WM_APP + 21;
constexpr UINT WmFind = WM_APP + 22;
constexpr UINT WmSummary = WM_APP + 23;
constexpr UINT WmDelete = WM_APP + 24;
constexpr int TreeDirs = 8, FilesPerDir = 25, DeleteFiles = 40;
constexpr DWORD PoliteStopMs = 60000;

TextArray Texts(std::initializer_list<std::string> texts)
{
    TextArray array;
    for (const std::string& t : texts)
        array.Add(t.c_str());
    return array;
}

void WriteFile(const std::string& path)
{
    HANDLE h = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        return;
    const std::string text = "soak job file " + path + "\r\n";
    DWORD written = 0;
    ::WriteFile(h, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    CloseHandle(h);
}

class JobPart : public Part
{
public:
    JobPart() : m_window([this](UINT msg, WPARAM wParam, LPARAM) { OnMessage(msg, wParam); })
    {
        char temp[MAX_PATH + 1] = {};
        GetTempPathA(MAX_PATH, temp);
        m_base = std::string(temp) + UniqueName("weftsoak-jobs-") + "\\";
        m_tree = m_base + "tree\\";
    }
    const char* Name() const override { return "jobs"; }

    void Run(const std::atomic<bool>& stop) override
    {
        CreateDirectoryA(m_base.c_str(), nullptr);
        CreateDirectoryA(m_tree.c_str(), nullptr);
        for (int d = 0; d < TreeDirs; ++d)
        {
            const std::string dir = m_tree + "d" + std::to_string(d) + "\\";
            CreateDirectoryA(dir.c_str(), nullptr);
            for (int f = 0; f < FilesPerDir; ++f)
                WriteFile(dir + "f" + std::to_string(f) + ".txt");
        }
        while (!stop)
        {
            ++m_cycles;
            Finder();
            Summary();
            Deleter();
            Zip();
        }
        DeleteFileA((m_base + "out.zip").c_str());
        m_deleteDone = false;
        {
            FileDeleteThread cleaner(Texts({m_tree}), WmDelete, m_window.Handle(), 0, true, true);
            WaitUntil([&] { return m_deleteDone.load(); }, Scaled(30000));
        }
        RemoveDirectoryA(m_base.c_str());
    }

    void Finish(std::vector<Check>& checks) override
    {
        checks.push_back({"jobs: every restarted run complete and right", m_cycles > 0 && m_wrong == 0,
                          Counts({{"cycles of four jobs", m_cycles},
                                  {"finder results", m_found},
                                  {"runs wrong or not ended", m_wrong}})});
        checks.push_back({"jobs: stopped in the middle politely, none terminated", m_cycles > 0 && m_forced == 0,
                          Counts({{"stops", m_stops}, {"of them ran out their time", m_forced}})});
    }

private:
    void OnMessage(UINT msg, WPARAM wParam)
    {
        if (msg == WmFindStopped)
            ++m_findStopped;
        else if (msg == WmFind)
        {
            if (wParam == static_cast<WPARAM>(TreeDirs * FilesPerDir + 1))
                m_findEnded = true;
            else
                ++m_findResults;
        }
        else if (msg == WmSummary)
            m_summaryDone = true;
        else if (msg == WmDelete)
            m_deleteDone = true;
        else if (msg == ZipThread::MSG_ZIPTHREAD_DONE && wParam == 2)
            m_zipDone = true;
    }

    template <class Job>
    void PoliteStop(Job& job)
    {
        const double start = Now();
        job.Stop(PoliteStopMs);
        ++m_stops;
        m_forced += Now() - start >= PoliteStopMs / 1000.0 * 0.95 ? 1 : 0;
    }

    void Expect(bool right) { m_wrong += right ? 0 : 1; }

    void Finder()
    {
        const TextArray none;
        {
            m_findStopped = 0;
            FindFileThread first(WmFindStopped, m_window.Handle(), 0, 2);  // slow: 25 ms after every 2 entries
            first.DoFind(m_tree.c_str(), Texts({"*.txt"}), none, none, true, true, false);
            WaitUntil([&] { return m_findStopped >= 3; }, Scaled(5000));
            PoliteStop(first);
        }
        m_findResults = 0;
        m_findEnded = false;
        FindFileThread again(WmFind, m_window.Handle(), 0, 0);
        again.DoFind(m_tree.c_str(), Texts({"*.txt"}), none, none, true, true, false);
        Expect(WaitUntil([&] { return m_findEnded.load(); }, Scaled(20000)) &&
               m_findResults == TreeDirs * FilesPerDir);
        m_found += m_findResults;
    }

    void Summary()
    {
        {
            DirSummaryThread first(m_tree.c_str(), WmSummary, m_window.Handle(), 0, 0);
            first.GatherInfo();
            PoliteStop(first);
        }
        m_summaryDone = false;
        DirSummaryThread again(m_tree.c_str(), WmSummary, m_window.Handle(), 0, 0);
        again.GatherInfo();
        Expect(WaitUntil([&] { return m_summaryDone.load(); }, Scaled(20000)) &&
               again.GetFileCount() == static_cast<unsigned long long>(TreeDirs * FilesPerDir));
    }

    void Deleter()
    {
        const std::string scratch = m_base + "scratch\\";
        CreateDirectoryA(scratch.c_str(), nullptr);
        TextArray items;
        for (int f = 0; f < DeleteFiles; ++f)
        {
            WriteFile(scratch + "x" + std::to_string(f) + ".txt");
            items.Add((scratch + "x" + std::to_string(f) + ".txt").c_str());
        }
        {
            FileDeleteThread first(items, WmDelete, m_window.Handle(), 0, true, true);
            PoliteStop(first);
        }
        m_deleteDone = false;
        items.Add(scratch.c_str());
        FileDeleteThread again(items, WmDelete, m_window.Handle(), 0, true, true);
        Expect(WaitUntil([&] { return m_deleteDone.load(); }, Scaled(20000)) &&
               GetFileAttributesA(scratch.c_str()) == INVALID_FILE_ATTRIBUTES);
    }

    void Zip()
    {
        const std::string out = m_base + "out.zip";
        {
            ZipThread first;
            first.Start(true, out.c_str(), m_tree.c_str(), "", TextArray(), 1, m_window.Handle(), 0);
            PoliteStop(first);
        }
        m_zipDone = false;
        ZipThread again;
        again.Start(true, out.c_str(), m_tree.c_str(), "", TextArray(), 2, m_window.Handle(), 0);
        Expect(WaitUntil([&] { return m_zipDone.load(); }, Scaled(30000)) && again.GetZipResult());
    }

    std::string m_base, m_tree;
    long long m_cycles = 0, m_wrong = 0, m_stops = 0, m_forced = 0, m_found = 0;
    std::atomic<long long> m_findStopped{0}, m_findResults{0};
    std::atomic<bool> m_findEnded{false}, m_summaryDone{false}, m_deleteDone{false}, m_zipDone{false};
    weft::test::MessageWindow m_window;
};
}  // namespace

std::unique_ptr<Part> MakeTimerPart()
{
    return std::make_unique<TimerPart>();
}

std::unique_ptr<Part> MakeJobPart()
{
    return std::make_unique<JobPart>();
}
}  // namespace weft::soak
