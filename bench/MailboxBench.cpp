// Messages between two processes: the mailbox against the floor, which is the same ring on raw
// kernel objects with the same two waits, two releases and copy, and against two peers, a named
// pipe carrying the same bytes and Boost.Interprocess message_queue (when it builds here).
// One process posts a round of messages, a child process takes them; the last message of a
// round tells the child to set an event, which ends the round's clock.
//
//   MailboxBench                 the benchmark
//   MailboxBench serve <transport> <size> <name> <done event>     the child side (internal)
#include "support/BenchSupport.h"

#include "weftcore.h"

#if WEFT_HAVE_BOOST_IPC
#define BOOST_INTERPROCESS_SHARED_DIR_FUNC
#include <boost/interprocess/ipc/message_queue.hpp>
#endif

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#if WEFT_HAVE_BOOST_IPC
namespace boost::interprocess::ipcdetail
{
// Boost keeps its queues as files in a folder that it would otherwise name after the boot time,
// which it reads from places Wine may lack; a fixed folder under the temporary one serves here.
void get_shared_dir(std::string& dir)
{
    char temp[MAX_PATH + 1] = {};
    ::GetTempPathA(MAX_PATH, temp);
    dir = std::string(temp) + "weft-bench-boost";
    ::CreateDirectoryA(dir.c_str(), nullptr);
}
}  // namespace boost::interprocess::ipcdetail
#endif

namespace
{
constexpr unsigned long Slots = 16;
constexpr char Normal = 0, EndOfRound = 1, Quit = 2;
constexpr DWORD RoundLimitMs = 60000;

// --- The floor: the mailbox's ring on raw kernel objects ---

struct RawHeader
{
    std::uint32_t maxMessages, messageSize, headerSize, head, tail;
};

class RawRing
{
public:
    RawRing(const std::string& name, unsigned long size, bool create) : m_size(size)
    {
        const DWORD bytes = sizeof(RawHeader) + Slots * size;
        if (create)
        {
            m_mapping =
                CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, bytes, (name + ".map").c_str());
            m_guard = CreateMutexA(nullptr, FALSE, (name + ".guard").c_str());
            m_free = CreateSemaphoreA(nullptr, Slots, Slots, (name + ".free").c_str());
            m_pending = CreateSemaphoreA(nullptr, 0, Slots, (name + ".pending").c_str());
        }
        else
        {
            m_mapping = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, (name + ".map").c_str());
            m_guard = OpenMutexA(MUTEX_ALL_ACCESS, FALSE, (name + ".guard").c_str());
            m_free = OpenSemaphoreA(SEMAPHORE_ALL_ACCESS, FALSE, (name + ".free").c_str());
            m_pending = OpenSemaphoreA(SEMAPHORE_ALL_ACCESS, FALSE, (name + ".pending").c_str());
        }
        if (m_mapping)
            m_header = static_cast<RawHeader*>(MapViewOfFile(m_mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0));
        if (create && m_header)
            *m_header = {Slots, static_cast<std::uint32_t>(size), sizeof(RawHeader), 0, 0};
        m_slots = reinterpret_cast<unsigned char*>(m_header + 1);
    }
    ~RawRing()
    {
        if (m_header)
            UnmapViewOfFile(m_header);
        for (HANDLE h : {m_mapping, m_guard, m_free, m_pending})
            if (h)
                CloseHandle(h);
    }
    bool IsReady() const { return m_header && m_guard && m_free && m_pending; }

    bool Post(const void* message)
    {
        if (WaitForSingleObject(m_free, INFINITE) != WAIT_OBJECT_0 ||
            WaitForSingleObject(m_guard, INFINITE) != WAIT_OBJECT_0)
            return false;
        std::memcpy(m_slots + static_cast<size_t>(m_header->tail) * m_size, message, m_size);
        m_header->tail = (m_header->tail + 1) % m_header->maxMessages;
        ReleaseMutex(m_guard);
        return ReleaseSemaphore(m_pending, 1, nullptr) != FALSE;
    }
    bool Get(void* buffer)
    {
        if (WaitForSingleObject(m_pending, INFINITE) != WAIT_OBJECT_0 ||
            WaitForSingleObject(m_guard, INFINITE) != WAIT_OBJECT_0)
            return false;
        std::memcpy(buffer, m_slots + static_cast<size_t>(m_header->head) * m_size, m_size);
        m_header->head = (m_header->head + 1) % m_header->maxMessages;
        ReleaseMutex(m_guard);
        return ReleaseSemaphore(m_free, 1, nullptr) != FALSE;
    }

private:
    unsigned long m_size;
    HANDLE m_mapping = nullptr, m_guard = nullptr, m_free = nullptr, m_pending = nullptr;
    RawHeader* m_header = nullptr;
    unsigned char* m_slots = nullptr;
};

std::string PipePath(const std::string& name)
{
    return "\\\\.\\pipe\\" + name;
}

bool ReadWhole(HANDLE pipe, void* buffer, unsigned long size)
{
    auto* out = static_cast<char*>(buffer);
    while (size > 0)
    {
        DWORD got = 0;
        if (!ReadFile(pipe, out, size, &got, nullptr) || got == 0)
            return false;
        out += got;
        size -= got;
    }
    return true;
}

// --- The child side ---

template <class Receive>
int Serve(unsigned long size, const std::string& doneName, Receive receive)
{
    MTEvent done(doneName.c_str(), false, EVENT_MODIFY_STATE);
    std::vector<char> buffer(size);
    for (;;)
    {
        if (!receive(buffer.data()))
            return 1;
        if (buffer[0] == EndOfRound)
            done.Set();
        else if (buffer[0] == Quit)
            return 0;
    }
}

int ServeChild(const std::string& transport, unsigned long size, const std::string& name, const std::string& done)
{
    if (transport == "mailbox")
    {
        MTMailbox box(name.c_str());
        if (box.GetStatus() != 0)
            return 2;
        return Serve(size, done, [&](void* buffer) { return box.Get(buffer, RoundLimitMs); });
    }
    if (transport == "floor")
    {
        RawRing ring(name, size, false);
        if (!ring.IsReady())
            return 2;
        return Serve(size, done, [&](void* buffer) { return ring.Get(buffer); });
    }
    if (transport == "pipe")
    {
        HANDLE pipe = CreateFileA(PipePath(name).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        if (pipe == INVALID_HANDLE_VALUE)
            return 2;
        const int code = Serve(size, done, [&](void* buffer) { return ReadWhole(pipe, buffer, size); });
        CloseHandle(pipe);
        return code;
    }
#if WEFT_HAVE_BOOST_IPC
    if (transport == "boost")
    {
        using namespace boost::interprocess;
        try
        {
            message_queue queue(open_only, name.c_str());
            return Serve(size, done, [&](void* buffer) {
                message_queue::size_type got = 0;
                unsigned int priority = 0;
                queue.receive(buffer, size, got, priority);
                return got == size;
            });
        }
        catch (const std::exception&)
        {
            return 3;
        }
    }
#endif
    return 250;
}

// --- The posting side ---

// One transport's sending end, with its child process and the child's round event.
class Channel
{
public:
    Channel(const char* transport, unsigned long size)
        : m_transport(transport), m_size(size), m_name(UniqueName(transport, size)), m_doneName(m_name + ".done"),
          m_done(false, false, m_doneName.c_str())
    {
    }
    virtual ~Channel()
    {
        if (m_child)
        {
            if (WaitForSingleObject(m_child, 5000) != WAIT_OBJECT_0)
                TerminateProcess(m_child, 99);
            CloseHandle(m_child);
        }
    }
    const char* Transport() const { return m_transport; }
    bool IsReady() const { return m_ready; }

    // Posts n messages, the last one marked, and waits for the child to have taken them all.
    double Round(int n)
    {
        std::vector<char> message(m_size, 'm');
        const double start = weft::bench::NowSeconds();
        for (int i = 0; i < n && m_ready; ++i)
        {
            message[0] = i == n - 1 ? EndOfRound : Normal;
            m_ready = Send(message.data());
        }
        if (m_ready && m_done.Wait(RoundLimitMs) != WAIT_OBJECT_0)
            m_ready = false;
        if (!m_ready)
            std::printf("   %s: a round failed; its figures are void\n", m_transport);
        return weft::bench::NowSeconds() - start;
    }
    void Finish()
    {
        std::vector<char> message(m_size, 'q');
        message[0] = Quit;
        if (m_ready)
            Send(message.data());
    }

protected:
    virtual bool Send(const void* message) = 0;
    // Starts this program as the child of the transport.
    bool StartChild()
    {
        char exe[MAX_PATH + 1] = {};
        GetModuleFileNameA(nullptr, exe, MAX_PATH);
        std::string command = std::string("\"") + exe + "\" serve " + m_transport + " " + std::to_string(m_size) +
                              " " + m_name + " " + m_doneName;
        STARTUPINFOA si = {};
        si.cb = sizeof si;
        PROCESS_INFORMATION pi = {};
        if (!CreateProcessA(exe, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi))
            return false;
        CloseHandle(pi.hThread);
        m_child = pi.hProcess;
        return true;
    }

    static std::string UniqueName(const char* transport, unsigned long size)
    {
        static unsigned counter = 0;
        char name[96];
        std::snprintf(name, sizeof name, "weft-bench-%s-%lu-%lu-%u", transport, size, GetCurrentProcessId(), ++counter);
        return name;
    }

    const char* m_transport;
    unsigned long m_size;
    std::string m_name;
    std::string m_doneName;
    MTEvent m_done;
    HANDLE m_child = nullptr;
    bool m_ready = false;
};

class MailboxChannel : public Channel
{
public:
    explicit MailboxChannel(unsigned long size) : Channel("mailbox", size), m_box(Slots, size, m_name.c_str(), nullptr)
    {
        m_ready = m_box.GetStatus() == 0 && StartChild();
    }
    ~MailboxChannel() override { Finish(); }

private:
    bool Send(const void* message) override { return m_box.Post(message, RoundLimitMs); }
    MTMailbox m_box;
};

class FloorChannel : public Channel
{
public:
    explicit FloorChannel(unsigned long size) : Channel("floor", size), m_ring(m_name, size, true)
    {
        m_ready = m_ring.IsReady() && StartChild();
    }
    ~FloorChannel() override { Finish(); }

private:
    bool Send(const void* message) override { return m_ring.Post(message); }
    RawRing m_ring;
};

class PipeChannel : public Channel
{
public:
    explicit PipeChannel(unsigned long size) : Channel("pipe", size)
    {
        // A buffer of as many messages as the mailbox has slots, so that both run as far ahead.
        m_pipe = CreateNamedPipeA(PipePath(m_name).c_str(), PIPE_ACCESS_OUTBOUND, PIPE_TYPE_BYTE | PIPE_WAIT, 1,
                                  Slots * size, 0, 0, nullptr);
        if (m_pipe == INVALID_HANDLE_VALUE || !StartChild())
            return;
        m_ready = ConnectNamedPipe(m_pipe, nullptr) || GetLastError() == ERROR_PIPE_CONNECTED;
    }
    ~PipeChannel() override
    {
        Finish();
        if (m_pipe != INVALID_HANDLE_VALUE)
        {
            FlushFileBuffers(m_pipe);
            CloseHandle(m_pipe);
        }
    }

private:
    bool Send(const void* message) override
    {
        DWORD written = 0;
        return WriteFile(m_pipe, message, m_size, &written, nullptr) && written == m_size;
    }
    HANDLE m_pipe = INVALID_HANDLE_VALUE;
};

#if WEFT_HAVE_BOOST_IPC
class BoostChannel : public Channel
{
public:
    explicit BoostChannel(unsigned long size) : Channel("boost", size)
    {
        using namespace boost::interprocess;
        try
        {
            Remove(m_name);
            m_queue = std::make_unique<message_queue>(create_only, m_name.c_str(), Slots, size);
            m_ready = StartChild();
        }
        catch (const std::exception& e)
        {
            std::printf("   boost: message_queue failed: %s\n", e.what());
        }
    }
    ~BoostChannel() override
    {
        Finish();
        if (m_child)
            WaitForSingleObject(m_child, 5000);
        m_queue.reset();
        Remove(m_name);
    }

private:
    // Boost's remove may leave the queue's file under Wine, and a later run whose process id
    // comes again would then fail to create its queue; the file goes by name as well.
    static void Remove(const std::string& name)
    {
        boost::interprocess::message_queue::remove(name.c_str());
        std::string dir;
        boost::interprocess::ipcdetail::get_shared_dir(dir);
        ::DeleteFileA((dir + "\\" + name).c_str());
    }
    bool Send(const void* message) override
    {
        try
        {
            m_queue->send(message, m_size, 0);
            return true;
        }
        catch (const std::exception&)
        {
            return false;
        }
    }
    std::unique_ptr<boost::interprocess::message_queue> m_queue;
};
#endif

double Quantile(std::vector<double> v, double q)
{
    std::sort(v.begin(), v.end());
    return v[static_cast<size_t>(q * (v.size() - 1) + 0.5)];
}

double Median(const std::vector<double>& v)
{
    return Quantile(v, 0.5);
}

// The transport's name in the report.
std::string Label(const std::string& transport)
{
    if (transport == "mailbox")
        return "MTMailbox";
    if (transport == "pipe")
        return "named pipe";
    return transport == "boost" ? "Boost message_queue" : transport;
}

void MeasureSize(unsigned long size, int ops, int rounds)
{
    std::vector<std::unique_ptr<Channel>> channels;
    channels.push_back(std::make_unique<FloorChannel>(size));
    channels.push_back(std::make_unique<MailboxChannel>(size));
    channels.push_back(std::make_unique<PipeChannel>(size));
#if WEFT_HAVE_BOOST_IPC
    channels.push_back(std::make_unique<BoostChannel>(size));
#endif
    for (auto& channel : channels)
        if (channel->IsReady())
            channel->Round(std::max(ops / 10, 2));  // warm-up, not counted

    // Rounds rotate which transport goes first, so that none always meets a warmer machine.
    // Each round also gives every transport's throughput against the floor's in that same round:
    // the median of these paired ratios stays steady when a busy machine shifts all transports
    // between a fast and a slow pace for a while.
    std::vector<std::vector<double>> perOp(channels.size());
    std::vector<std::vector<double>> paired(channels.size());
    for (int r = 0; r < rounds; ++r)
    {
        std::vector<double> round(channels.size(), 0);
        for (size_t k = 0; k < channels.size(); ++k)
        {
            const size_t i = (k + r) % channels.size();
            if (channels[i]->IsReady())
                perOp[i].push_back(round[i] = channels[i]->Round(ops) / ops);
        }
        for (size_t i = 0; i < channels.size(); ++i)
            if (round[0] > 0 && round[i] > 0)
                paired[i].push_back(round[0] / round[i]);
    }

    std::printf("\n%lu-byte messages, %d per round, median of %d rounds:\n", size, ops, rounds);
    const double floor = channels[0]->IsReady() ? Median(perOp[0]) : 0;
    for (size_t i = 0; i < channels.size(); ++i)
    {
        if (!channels[i]->IsReady() || perOp[i].empty())
        {
            std::printf("  %-8s  no figures: the transport could not be set up or a round failed\n",
                        channels[i]->Transport());
            weft::bench::Figure({.name = Label(channels[i]->Transport()) + ", " + std::to_string(size) +
                                         "-byte messages: could not be set up, or a round failed",
                                 .value = weft::bench::NoRatio, .unit = "msg/s", .against = "floor",
                                 .goal = i == 1 ? 0.9 : 0, .better = weft::bench::Better::Higher});
            continue;
        }
        const double t = Median(perOp[i]);
        std::printf("  %-8s %9.2f us/msg (quartiles %.2f-%.2f) %9.0f msg/s %8.2f MB/s   vs floor: %.3f of medians, "
                    "%.3f paired\n",
                    channels[i]->Transport(), t * 1e6, Quantile(perOp[i], 0.25) * 1e6, Quantile(perOp[i], 0.75) * 1e6,
                    1 / t, size / t / 1e6, floor > 0 ? floor / t : 0.0, paired[i].empty() ? 0.0 : Median(paired[i]));
        weft::bench::CurvePoint({"messages between two processes", "message bytes", "us/message"},
                                Label(channels[i]->Transport()).c_str(), size, t * 1e6);
        if (i > 0)
        {
            const bool mailbox = i == 1;
            weft::bench::Figure({.name = Label(channels[i]->Transport()) + ", " + std::to_string(size) + "-byte messages",
                                 .value = 1 / t, .unit = "msg/s",
                                 .ratio = paired[i].empty() ? weft::bench::NoRatio : Median(paired[i]),
                                 .against = "floor", .goal = mailbox ? 0.9 : 0,
                                 .better = weft::bench::Better::Higher});
        }
    }
    if (!paired[1].empty())
    {
        const double share = Median(paired[1]);
        std::printf("  mailbox throughput, %lu bytes: %.1f%% of the floor (goal at least 90%%: %s)\n", size,
                    share * 100, share >= 0.9 ? "met" : "missed");
    }
}
}  // namespace

int main(int argc, char** argv)
{
    if (argc == 6 && std::strcmp(argv[1], "serve") == 0)
        return ServeChild(argv[2], std::strtoul(argv[3], nullptr, 10), argv[4], argv[5]);

    std::printf("Mailbox between two processes: %lu slots; the floor is the same ring on raw kernel objects.\n",
                Slots);
#if !WEFT_HAVE_BOOST_IPC
    std::printf("Boost.Interprocess message_queue: left out, it did not build with this toolchain.\n");
#endif
    // The 4 KiB figure sits near its goal, where the busy server's swings decide a median of 21
    // paired rounds either way: it takes three times as many.
    for (unsigned long size : {16ul, 256ul, 4096ul})
        MeasureSize(size, 300, size < 4096 ? 21 : 63);
#if WEFT_HAVE_BOOST_IPC
    std::string boostDir;
    boost::interprocess::ipcdetail::get_shared_dir(boostDir);
    ::RemoveDirectoryA(boostDir.c_str());  // empty once every queue is removed
#endif
    return 0;
}
