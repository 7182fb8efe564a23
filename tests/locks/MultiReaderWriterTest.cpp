#include "weftcore.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <pthread.h>

#include <thread>
#include <vector>

using namespace weft::test;

namespace
{
// Runs f on a thread of its own; gives whether it finished within the time-out.
bool RunsThrough(const std::function<void()>& f, DWORD timeoutMs)
{
    MTEvent done(true);
    std::thread t([&] {
        f();
        done.Set();
    });
    const bool through = MTKernel::DidWaitSucceed(done.Wait(timeoutMs), 1);
    if (!through)
        TerminateThread(pthread_gethandle(t.native_handle()), 1);
    t.join();
    return through;
}
}  // namespace

// Readers share: a second reader gets in while the first holds access, also past a writer that
// waits; the writer gets in only after the last reader, released on another thread, has left.
TEST(MultiReaderWriterTest, ReadersShareAndGoFirstAndTheLastReaderAnywhereLetsTheWriterIn)
{
    MultiReaderWriter lock;
    lock.GrantReaderAccess();
    EXPECT_TRUE(RunsThrough([&] { lock.GrantReaderAccess(); }, MustHappenMs())) << "a second reader waited";
    MTEvent writerIn(true);
    std::thread writer([&] {
        lock.GrantWriterAccess();
        writerIn.Set();
        lock.ReleaseWriterAccess();
    });
    EXPECT_TRUE(RunsThrough([&] { MultiReaderWriterAccess third(lock, true); }, MustHappenMs()))
        << "a reader waited behind a writer while readers were inside";
    lock.ReleaseReaderAccess();
    EXPECT_FALSE(MTKernel::DidWaitSucceed(writerIn.Wait(Scaled(50)), 1)) << "the writer passed a reader";
    EXPECT_TRUE(RunsThrough([&] { lock.ReleaseReaderAccess(); }, MustHappenMs()));  // the second reader's
    EXPECT_TRUE(MTKernel::DidWaitSucceed(writerIn.Wait(MustHappenMs()), 1));
    writer.join();
}

// Writers exclude everybody: under many threads a writer's two-step update is never seen half
// done by a reader, and no increment is lost.
TEST(MultiReaderWriterTest, AWriterExcludesReadersAndWriters)
{
    MultiReaderWriter lock;
    long long a = 0, b = 0;
    std::atomic<int> torn{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 6; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 1000; ++i)
            {
                MultiReaderWriterAccess access(lock, t % 2 == 0);
                if (t % 2 == 0)
                    torn += a != b;
                else
                    ++a, SwitchToThread(), ++b;
            }
        });
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(0, torn.load());
    EXPECT_EQ(3000, a);
    EXPECT_EQ(3000, b);
}
