// The mailbox under churn: four producer processes (this program's "producer" subcommand) post
// numbered messages, two consumer threads here get them, and every few seconds one producer is
// killed with TerminateProcess and a new one started. A producer writes into a shared block, after
// each post that returned, how many it has posted; so a killed producer's messages must arrive
// exactly as far as that figure, or one further (the post in flight when it died). Every message
// must arrive once, with no gap. The transfers are the plain Post and Get. At the end, with the
// mailbox empty, its counts are checked: how many posts fit, how many gets follow.
#include "soak/Soak.h"

#include "weftcore.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <thread>

namespace weft::soak
{
namespace
{
// A producer killed between its count and the end of its transfer takes that count with it for
// good (nothing recovers it until the mailbox is made anew), so the ring is large enough that the
// losses of a run of a few hours, at most one per kill, never drain it.
constexpr unsigned long Slots = 1024;
constexpr std::uint32_t MaxProducers = 1 << 16;
constexpr std::uint32_t TakeOverWord = MaxProducers - 1;  // producers count guards taken over here
constexpr std::uint32_t ProbeProducer = 0xFFFFFFFF;
constexpr std::uint32_t NoProducer = 0xFFFFFFFD;   // a buffer that nothing was copied into

struct Message
{
    std::uint32_t producer;
    std::uint32_t sequence;
    std::uint32_t check;
    std::uint32_t spare;
};

std::uint32_t CheckOf(std::uint32_t producer, std::uint32_t sequence)
{
    return producer * 2654435761u ^ sequence * 40503u ^ 0x5eedu;
}

// What arrived from one producer: the sequences below next all arrived once; ahead holds those
// that arrived past a hole.
struct Tracker
{
    std::uint32_t next = 0;
    std::set<std::uint32_t> ahead;
    long long duplicates = 0;
    bool killed = false;
    bool ended = false;
    std::uint32_t progress = 0;
};

class MailboxPart : public Part
{
public:
    explicit MailboxPart(const std::string& exe)
        : m_exe(exe), m_boxName(UniqueName("weftsoak-box-")), m_progressName(UniqueName("weftsoak-progress-")),
          m_stopName(UniqueName("weftsoak-stop-")), m_box(Slots, sizeof(Message), m_boxName.c_str(), nullptr),
          m_progress(static_cast<long>(MaxProducers * sizeof(std::uint32_t)), m_progressName.c_str(), nullptr)
    {
        m_evStop = CreateEventA(nullptr, TRUE, FALSE, m_stopName.c_str());
        // The producers end with this program, however it ends.
        m_job = CreateJobObjectA(nullptr, nullptr);
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        if (m_job != nullptr)
            SetInformationJobObject(m_job, JobObjectExtendedLimitInformation, &limits, sizeof limits);
    }
    ~MailboxPart() override
    {
        if (m_evStop != nullptr)
            CloseHandle(m_evStop);
        if (m_job != nullptr)
            CloseHandle(m_job);
    }
    const char* Name() const override { return "mailbox"; }

    void Run(const std::atomic<bool>& stop) override
    {
        if (m_box.GetStatus() != 0 || m_progress.GetPtr() == nullptr || m_evStop == nullptr)
            return;
        std::thread consumers[2];
        for (auto& c : consumers)
            c = std::thread([this] { Consume(); });
        std::map<std::uint32_t, HANDLE> live;
        for (int i = 0; i < 4; ++i)
            Spawn(live);
        std::mt19937 random(777);
        while (!stop)
        {
            const double until = Now() + 1.5 + (random() % 2500) / 1000.0;
            while (!stop && Now() < until)
                Sleep(50);
            if (stop || live.empty())
                break;
            auto victim = live.begin();
            std::advance(victim, static_cast<long>(random() % live.size()));
            TerminateProcess(victim->second, 99);
            WaitForSingleObject(victim->second, INFINITE);
            CloseHandle(victim->second);
            Settle(victim->first, true);
            live.erase(victim);
            Spawn(live);
        }
        SetEvent(m_evStop);
        for (auto& [id, process] : live)
        {
            DWORD code = 1;
            if (WaitForSingleObject(process, Scaled(30000)) != WAIT_OBJECT_0)
                TerminateProcess(process, 98);
            GetExitCodeProcess(process, &code);
            m_failedProducers += code == 0 ? 0 : 1;
            CloseHandle(process);
            Settle(id, false);
        }
        // The last messages: until nothing has come for two seconds.
        WaitUntil([this] { return Now() - m_lastArrival > 2.0; }, Scaled(30000));
        m_consumersStop = true;
        for (auto& c : consumers)
            c.join();
        CheckCounts();
    }

    void Finish(std::vector<Check>& checks) override
    {
        long long delivered = 0, duplicates = 0, gaps = 0, short_ = 0, tails = 0, killed = 0;
        for (const auto& [id, t] : m_trackers)
        {
            delivered += t.next + static_cast<long long>(t.ahead.size());
            duplicates += t.duplicates;
            gaps += t.ahead.empty() ? 0 : 1;
            killed += t.killed ? 1 : 0;
            const bool tail = t.killed && t.next == t.progress + 1;
            tails += tail ? 1 : 0;
            short_ += t.next < t.progress || (t.next > t.progress && !tail) ? 1 : 0;
        }
        const bool ran = m_box.GetStatus() == 0 && !m_trackers.empty();
        checks.push_back({"mailbox: every message delivered exactly once (but a killed producer's last)",
                          ran && duplicates == 0 && gaps == 0 && short_ == 0 && m_corrupt == 0 && m_failedProducers == 0,
                          Counts({{"producers", static_cast<long long>(m_trackers.size())},
                                  {"killed", killed},
                                  {"messages", delivered},
                                  {"killed in a post, its message delivered", tails},
                                  {"producers with lost or extra messages", short_},
                                  {"with gaps", gaps},
                                  {"duplicates", duplicates},
                                  {"torn", m_corrupt},
                                  {"failed to end", m_failedProducers}})});
        // A producer killed between its first wait and the release of the other count takes one
        // count with it: a free one, before its message is in the ring (a lost slot), or a pending
        // one, after (a message that stays in the ring uncounted). Nothing recovers it
        // (docs/ipc.md). An uncounted message also keeps its slot, so at the end it shows as a lost
        // free count too: the rule is no more free counts lost than producers killed, and no more
        // pending counts lost than free ones. The losses are shown, beside the guards the
        // survivors took over.
        const long long takenOver =
            m_takenOver + static_cast<const volatile LONG*>(m_progress.GetPtr())[TakeOverWord];
        const long long lostFree = static_cast<long long>(Slots) - static_cast<long long>(m_finalPosts);
        const long long lostPending = static_cast<long long>(m_finalPosts) - static_cast<long long>(m_finalGets);
        checks.push_back({"mailbox: counts whole after the run, but for at most one per killed producer",
                          ran && lostPending >= 0 && lostPending <= lostFree && lostFree <= killed,
                          Counts({{"slots", Slots},
                                  {"free counts lost", lostFree},
                                  {"pending counts lost", lostPending},
                                  {"guards taken over from killed holders", takenOver}})});
    }

private:
    void Spawn(std::map<std::uint32_t, HANDLE>& live)
    {
        const std::uint32_t id = m_nextId++;
        std::string command = "\"" + m_exe + "\" producer " + m_boxName + " " + m_progressName + " " + m_stopName +
                              " " + std::to_string(id);
        STARTUPINFOA si = {};
        si.cb = sizeof si;
        PROCESS_INFORMATION pi = {};
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_trackers[id];
        }
        if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi))
        {
            ++m_failedProducers;
            return;
        }
        if (m_job != nullptr)
            AssignProcessToJobObject(m_job, pi.hProcess);
        CloseHandle(pi.hThread);
        live[id] = pi.hProcess;
    }

    // The producer has ended: its figure is final.
    void Settle(std::uint32_t id, bool killed)
    {
        const auto* progress = static_cast<volatile std::uint32_t*>(m_progress.GetPtr());
        std::lock_guard<std::mutex> lock(m_mutex);
        Tracker& t = m_trackers[id];
        t.killed = killed;
        t.ended = true;
        t.progress = progress[id];
    }

    // Get says false also when it took over the guard of a killed holder: the message moved all
    // the same, which the buffer shows.
    void Consume()
    {
        while (!m_consumersStop)
        {
            Message m = {NoProducer, 0, 0, 0};
            const bool plain = m_box.Get(&m, 200);
            if (m.producer != NoProducer)
            {
                m_takenOver += plain ? 0 : 1;
                Record(m);
            }
        }
    }

    void Record(const Message& m)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_lastArrival = Now();
        auto it = m_trackers.find(m.producer);
        if (m.check != CheckOf(m.producer, m.sequence) || it == m_trackers.end())
        {
            ++m_corrupt;
            return;
        }
        Tracker& t = it->second;
        if (m.sequence < t.next || t.ahead.count(m.sequence) != 0)
            ++t.duplicates;
        else if (m.sequence != t.next)
            t.ahead.insert(m.sequence);
        else
            for (++t.next; t.ahead.erase(t.next) != 0;)
                ++t.next;
    }

    // The mailbox is empty and nobody else uses it: its slots all take a post, and each gives one
    // get. A message still found is a producer's, and is recorded.
    void CheckCounts()
    {
        MTWaitableCollection none;
        const Message probe = {ProbeProducer, 0, 0, 0};
        while (m_finalPosts < Slots + 1 && m_box.PostAlertable(&probe, none, 0) == 0)
            ++m_finalPosts;
        Message m = {};
        while (m_box.GetAlertable(&m, none, 0) == 0)
        {
            if (m.producer == ProbeProducer)
                ++m_finalGets;
            else
                Record(m);
        }
    }

    std::string m_exe, m_boxName, m_progressName, m_stopName;
    MTMailbox m_box;
    MTSharedMemory m_progress;
    HANDLE m_evStop = nullptr;
    HANDLE m_job = nullptr;
    std::mutex m_mutex;
    std::map<std::uint32_t, Tracker> m_trackers;
    std::uint32_t m_nextId = 0;
    long long m_corrupt = 0, m_failedProducers = 0;
    std::atomic<long long> m_takenOver{0};
    std::atomic<bool> m_consumersStop{false};
    std::atomic<double> m_lastArrival{0};
    unsigned long m_finalPosts = 0, m_finalGets = 0;
};
}  // namespace

std::unique_ptr<Part> MakeMailboxPart(const std::string& exe)
{
    return std::make_unique<MailboxPart>(exe);
}

int ProducerMain(int argc, char** argv)
{
    if (argc < 4)
        return 2;
    MTMailbox box(argv[0]);
    MTSharedMemory progressBlock(argv[1]);
    HANDLE evStop = OpenEventA(SYNCHRONIZE, FALSE, argv[2]);
    const auto id = static_cast<std::uint32_t>(std::strtoul(argv[3], nullptr, 10));
    auto* progress = static_cast<volatile LONG*>(progressBlock.GetPtr());
    if (box.GetStatus() != 0 || progress == nullptr || evStop == nullptr || id >= TakeOverWord)
        return 3;
    for (std::uint32_t sequence = 0;;)
    {
        // A few posts, then a short pause that also watches for the end. Without a time-out a
        // post moves its message: false says only that it took over an abandoned guard.
        for (int i = 0; i < 8; ++i)
        {
            const Message m = {id, sequence, CheckOf(id, sequence), 0};
            if (!box.Post(&m, INFINITE))
                InterlockedIncrement(progress + TakeOverWord);
            InterlockedExchange(progress + id, static_cast<LONG>(++sequence));
        }
        if (WaitForSingleObject(evStop, 5) == WAIT_OBJECT_0)
            return 0;
    }
}
}  // namespace weft::soak
