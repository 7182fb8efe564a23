// Locks: the scoped lock, Lockable, the monitor's hand-over order, and the readers-writer lock.
#include "support/TestSupport.h"
#include "weftcore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <pthread.h>
#include <thread>

using namespace weft::test;

// The kinds of lock a scope can hold, each with the way another thread takes and gives it. Outside the
// anonymous namespace, so that the test names carry no blanks.
struct SectionKind : Lockable  // the critical section a Lockable carries
{
    MTCritSec& lock = m_lock;
    void TakeAndGive() { Lock(), Unlock(); }
};
struct MutexKind
{
    MTMutex lock;
    void TakeAndGive() { WaitForSingleObject(lock.GetHandle(), INFINITE), ReleaseMutex(lock.GetHandle()); }
};
// A mutex that a thread left held when it ended: the first wait on it comes abandoned, and owns it.
struct AbandonedMutexKind : MutexKind
{
    AbandonedMutexKind() { std::thread([this] { WaitForSingleObject(lock.GetHandle(), INFINITE); }).join(); }
};

namespace
{
// Runs a step on a thread of its own; one still blocked at the end is ended, and the test fails, not hangs.
class Contender
{
public:
    explicit Contender(std::function<void()> step) : m_thread([this, step] { step(), m_done.Set(); }) {}
    ~Contender()
    {
        if (!Finished(MustHappenMs()))
            ADD_FAILURE() << "a thread stayed blocked", TerminateThread(pthread_gethandle(m_thread.native_handle()), 1);
        m_thread.join();
    }
    bool Finished(DWORD ms) { return MTKernel::DidWaitSucceed(m_done.Wait(ms), 1); }

private:
    MTEvent m_done{true, false};
    std::thread m_thread;
};

template <class Kind>
struct ScopedLockTest : ::testing::Test
{
    Kind kind;
};
using Kinds = ::testing::Types<SectionKind, MutexKind, AbandonedMutexKind>;
TYPED_TEST_SUITE(ScopedLockTest, Kinds);

struct Holds : MTCondition
{
    explicit Holds(std::function<bool()> test) : m_test(std::move(test)) {}
    bool IsSatisfied() override { return m_test(); }
    std::function<bool()> m_test;
};
}  // namespace

// A scope holds its lock until it ends, also a mutex that came abandoned; a nested scope neither
// blocks nor frees the outer one's hold; a scope over a null pointer holds (and touches) nothing.
TYPED_TEST(ScopedLockTest, HoldsForTheScopeAndNestsOnOneThread)
{
    MTAutoLock none(static_cast<decltype(&this->kind.lock)>(nullptr));
    std::optional<Contender> other;  // outlives the scopes, so that it is joined after they end
    {
        MTAutoLock outer(&this->kind.lock);
        {
            MTAutoLock inner(&this->kind.lock);
        }
        other.emplace([this] { this->kind.TakeAndGive(); });
        EXPECT_FALSE(other->Finished(MustNotHappenMs())) << "the inner scope freed the outer one's hold";
    }
    EXPECT_TRUE(other->Finished(MustHappenMs())) << "the lock stayed held after both scopes";
    EXPECT_TRUE(Contender([this] { this->kind.TakeAndGive(); }).Finished(MustHappenMs())) << "the other's hold stayed";
}

// A condition already true returns at once and keeps the monitor, also one that turns true only at
// the scan of the waiter's own leave; a null one gives false. The test is the first virtual slot.
TEST(MTMonitorTest, ATrueConditionKeepsTheMonitorAndANullOneFails)
{
    MTMonitor monitor;
    int tests = 0;
    Holds yes([&] { return ++tests > 0; });
    using Slot = bool (*)(MTCondition*);
    EXPECT_TRUE(reinterpret_cast<Slot>((*reinterpret_cast<void***>(&yes))[0])(&yes));
    EXPECT_EQ(1, tests) << "the first virtual slot is not IsSatisfied";
    monitor.Enter();
    EXPECT_TRUE(monitor.WaitForCondition(&yes));
    EXPECT_FALSE(monitor.WaitForCondition(nullptr));
    Contender other([&] { monitor.Enter(), monitor.Leave(); });
    EXPECT_FALSE(other.Finished(MustNotHappenMs())) << "the monitor was given away";
    monitor.Leave();
    Holds late([calls = 0]() mutable { return ++calls > 1; });  // false to the waiter's own test, true to its scan
    bool got = false;
    Contender([&] { monitor.Enter(), got = monitor.WaitForCondition(&late), monitor.Leave(); });
    EXPECT_TRUE(got);
    EXPECT_EQ(0u, monitor.GetStatus());
}

// Waiters A, B, C in this order and a thread E in Enter. Only B's condition true: B alone is
// woken, and E stays out while B is inside; B makes A's and C's true: A (still first) goes, then
// C, and E only once no condition holds. The order is recorded inside the monitor.
TEST(MTMonitorTest, TheOldestTrueWaiterGetsTheMonitorBeforeAnyThreadInEnter)
{
    MTMonitor monitor;
    bool ok[3] = {false, false, false};
    std::string order;
    MTEvent ready, entered(true, false);
    std::deque<Contender> threads;
    for (int i = 0; i < 3; ++i)
    {
        threads.emplace_back([&, i] {
            Holds condition([&, i] { return ok[i]; });
            monitor.Enter();
            ready.Set();
            EXPECT_TRUE(monitor.WaitForCondition(&condition));
            order += static_cast<char>('A' + i);
            if (i == 1)
            {
                ok[0] = ok[2] = true;
                EXPECT_NE(0u, entered.Wait(MustNotHappenMs())) << "a thread in Enter got in during a hand-over";
            }
            monitor.Leave();
        });
        ASSERT_EQ(0u, ready.Wait(MustHappenMs()));
        monitor.Enter();  // once the waiter has given the monitor away
        monitor.Leave();
    }
    monitor.Enter();
    threads.emplace_back([&] { ready.Set(), monitor.Enter(), entered.Set(), order += 'E', monitor.Leave(); });
    ASSERT_EQ(0u, ready.Wait(MustHappenMs()));
    ok[1] = true;
    monitor.Leave();
    threads.clear();
    EXPECT_EQ("BACE", order);
}

// Producers and consumers wait for room or for an item: each item is taken once, the buffer never overfills.
TEST(MTMonitorTest, ProducersAndConsumersOnABoundedBufferLoseAndRepeatNothing)
{
    constexpr int Producers = 3, PerProducer = 2000, Capacity = 4;
    MTMonitor monitor;
    std::deque<int> buffer;
    Holds room([&] { return buffer.size() < Capacity; }), item([&] { return !buffer.empty(); });
    std::vector<int> taken(Producers * PerProducer, 0);
    size_t highest = 0;
    auto loop = [&](Holds* wanted, std::function<void(int)> step) {
        return [&, wanted, step] {
            for (int i = 0; i < PerProducer; ++i)
                monitor.Enter(), monitor.WaitForCondition(wanted), step(i), monitor.Leave();
        };
    };
    {
        std::deque<Contender> threads;
        for (int p = 0; p < Producers; ++p)
        {
            threads.emplace_back(loop(&room, [&, p](int i) {
                buffer.push_back(p * PerProducer + i);
                highest = std::max(highest, buffer.size());
            }));
            threads.emplace_back(loop(&item, [&](int) { ++taken[buffer.front()], buffer.pop_front(); }));
        }
    }
    EXPECT_EQ(std::vector<int>(Producers * PerProducer, 1), taken);
    EXPECT_LE(highest, static_cast<size_t>(Capacity));
}

// The library's WaitForSingleObject: tells when the writer's thread comes to wait.
static std::atomic<DWORD> g_dwWriter{0};
static HANDLE g_hWriterWaits = CreateEventA(nullptr, TRUE, FALSE, nullptr);
static DWORD WINAPI NotedWait(HANDLE handle, DWORD ms)
{
    if (GetCurrentThreadId() == g_dwWriter)
        SetEvent(g_hWriterWaits);
    return WaitForSingleObject(handle, ms);
}

// Readers share: a second reader gets in while the first holds access, also past a writer that
// waits; the writer gets in only after the last reader, released on another thread, has left.
TEST(MultiReaderWriterTest, ReadersShareAndGoFirstAndTheLastReaderAnywhereLetsTheWriterIn)
{
    MultiReaderWriter lock;
    lock.GrantReaderAccess();
    lock.ReleaseWriterAccess();  // with no writer inside: ignored
    EXPECT_TRUE(Contender([&] { lock.GrantReaderAccess(); }).Finished(MustHappenMs())) << "a second reader waited";
    ASSERT_TRUE(StandIn("WaitForSingleObject", &NotedWait, true, "weftcore.dll"));
    Contender writer([&] { g_dwWriter = GetCurrentThreadId(), lock.GrantWriterAccess(), lock.ReleaseWriterAccess(); });
    const bool waits = WaitForSingleObject(g_hWriterWaits, MustHappenMs()) == WAIT_OBJECT_0;
    StandIn("WaitForSingleObject", &NotedWait, false, "weftcore.dll");
    ASSERT_TRUE(waits && !writer.Finished(0)) << "the writer got in beside a reader, or never waited";
    EXPECT_TRUE(Contender([&] { MultiReaderWriterAccess third(lock, true); }).Finished(MustHappenMs()))
        << "a reader waited behind a writer while readers were inside";
    lock.ReleaseReaderAccess();
    EXPECT_FALSE(writer.Finished(MustNotHappenMs())) << "the writer passed a reader";
    EXPECT_TRUE(Contender([&] { lock.ReleaseReaderAccess(); }).Finished(MustHappenMs()));  // the second reader's
    EXPECT_TRUE(writer.Finished(MustHappenMs()));
    // Readers that come while a writer is inside wait for it, the first for the write side and the
    // next behind the first; both get in together when it leaves.
    lock.GrantWriterAccess();
    MTEvent both(true, false);
    std::atomic<int> in{0};
    auto reader = [&] {
        MultiReaderWriterAccess read(lock, true);
        if (++in == 2)
            both.Set();
        both.Wait(MustHappenMs());
    };
    Contender first(reader), next(reader);
    EXPECT_FALSE(first.Finished(MustNotHappenMs())) << "a reader got in beside the writer";
    lock.ReleaseWriterAccess();
    EXPECT_TRUE(first.Finished(MustHappenMs()) && next.Finished(MustHappenMs()) && in == 2);
}

// Under many threads no reader sees a writer's two-step update half done, and no increment is lost.
TEST(MultiReaderWriterTest, AWriterExcludesReadersAndWriters)
{
    MultiReaderWriter lock;
    long long a = 0, b = 0;
    std::atomic<int> torn{0};
    {
        std::deque<Contender> threads;
        for (int t = 0; t < 6; ++t)
            threads.emplace_back([&, t] {
                for (int i = 0; i < 400; ++i)  // a few seconds on a loaded machine, within the threads' bound
                {
                    MultiReaderWriterAccess access(lock, t % 2 == 0);
                    if (t % 2 == 0)
                        torn += a != b;
                    else
                        ++a, SwitchToThread(), ++b;
                }
            });
    }
    EXPECT_EQ(0, torn.load());
    EXPECT_EQ(1200, a);
    EXPECT_EQ(1200, b);
}
