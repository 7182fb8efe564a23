#include "weftcore.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <functional>
#include <string>
#include <vector>
#include <pthread.h>

#include <thread>

using namespace weft::test;

namespace
{
// A condition whose test is the function given.
struct Holds : MTCondition
{
    explicit Holds(std::function<bool()> test) : m_test(std::move(test)) {}
    bool IsSatisfied() override { return m_test(); }
    std::function<bool()> m_test;
};

// Waits for the threads to finish; a thread still blocked in the monitor then is a failure, and
// is ended so that it outlives nothing it uses.
void JoinAll(std::vector<std::thread>& threads, std::atomic<int>& finished)
{
    const int count = static_cast<int>(threads.size());
    EXPECT_TRUE(WaitUntil([&] { return finished == count; }, MustHappenMs())) << "a thread stays blocked";
    for (auto& t : threads)
    {
        if (finished != count)
            TerminateThread(pthread_gethandle(t.native_handle()), 1);
        t.join();
    }
}
}  // namespace

// Waiters A, B, C in this order and a thread E in Enter. Only B's condition true: B alone is
// woken; B makes A's and C's true: A (still first) goes, then C, and E only once no condition
// holds. The order is recorded inside the monitor.
TEST(MTMonitorTest, TheOldestTrueWaiterGetsTheMonitorBeforeAnyThreadInEnter)
{
    MTMonitor monitor;
    bool ok[3] = {false, false, false};
    std::string order;
    std::vector<std::thread> threads;
    std::atomic<int> finished{0};
    MTEvent ready;
    for (int i = 0; i < 3; ++i)
    {
        threads.emplace_back([&, i] {
            Holds condition([&, i] { return ok[i]; });
            monitor.Enter();
            ready.Set();
            EXPECT_TRUE(monitor.WaitForCondition(&condition));
            order += static_cast<char>('A' + i);
            if (i == 1)
                ok[0] = ok[2] = true;
            monitor.Leave();
            ++finished;
        });
        ASSERT_TRUE(MTKernel::DidWaitSucceed(ready.Wait(MustHappenMs()), 1));
        monitor.Enter();  // once the waiter has given the monitor away
        monitor.Leave();
    }
    monitor.Enter();
    threads.emplace_back([&] {
        ready.Set();
        monitor.Enter();
        order += 'E';
        monitor.Leave();
        ++finished;
    });
    ASSERT_TRUE(MTKernel::DidWaitSucceed(ready.Wait(MustHappenMs()), 1));
    ok[1] = true;
    monitor.Leave();
    JoinAll(threads, finished);
    EXPECT_EQ("BACE", order);
}

// A condition that turns true between the waiter's own test and its wait is found by the scan
// of its own leave: the wait returns with the monitor. A null condition gives false; neither
// changes the status, and a Leave without Enter leaves the monitor free.
TEST(MTMonitorTest, AConditionTrueAtTheWaitersOwnScanHandsTheMonitorToItself)
{
    MTMonitor monitor;
    std::vector<std::thread> threads;
    std::atomic<int> finished{0};
    threads.emplace_back([&] {
        int calls = 0;
        Holds condition([&] { return ++calls > 1; });  // false to the waiter, true to its scan
        monitor.Enter();
        EXPECT_FALSE(monitor.WaitForCondition(nullptr));
        EXPECT_TRUE(monitor.WaitForCondition(&condition));
        monitor.Leave();
        ++finished;
    });
    JoinAll(threads, finished);
    EXPECT_EQ(0u, monitor.GetStatus());
    monitor.Leave();  // without Enter: the lock is already free and stays usable
    threads.clear();
    finished = 0;
    threads.emplace_back([&] { monitor.Enter(), monitor.Leave(), ++finished; });
    JoinAll(threads, finished);
}

// Producers and consumers on a bounded buffer, each waiting for room or for an item: every item
// is taken exactly once and the buffer never holds more than its size.
TEST(MTMonitorTest, ProducersAndConsumersOnABoundedBufferLoseAndRepeatNothing)
{
    constexpr int Producers = 3, PerProducer = 2000, Capacity = 4;
    MTMonitor monitor;
    std::deque<int> buffer;
    Holds room([&] { return buffer.size() < Capacity; }), item([&] { return !buffer.empty(); });
    std::vector<int> taken(Producers * PerProducer, 0);
    std::vector<std::thread> threads;
    std::atomic<int> finished{0};
    size_t highest = 0;
    for (int p = 0; p < Producers; ++p)
    {
        threads.emplace_back([&, p] {
            for (int i = 0; i < PerProducer; ++i)
            {
                monitor.Enter();
                monitor.WaitForCondition(&room);
                buffer.push_back(p * PerProducer + i);
                highest = std::max(highest, buffer.size());
                monitor.Leave();
            }
            ++finished;
        });
        threads.emplace_back([&] {
            for (int i = 0; i < PerProducer; ++i)
            {
                monitor.Enter();
                monitor.WaitForCondition(&item);
                ++taken[buffer.front()];
                buffer.pop_front();
                monitor.Leave();
            }
            ++finished;
        });
    }
    JoinAll(threads, finished);
    EXPECT_EQ(std::vector<int>(Producers * PerProducer, 1), taken);
    EXPECT_LE(highest, static_cast<size_t>(Capacity));
}
