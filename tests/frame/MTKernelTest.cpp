// Handle validity, wait-result decoding, and the statuses of create and open.
#include "support/TestSupport.h"
#include "weftcore.h"

#include <gtest/gtest.h>

#include <string>

using weft::test::UniqueName;

TEST(MTKernelTest, ValidityIsNeitherNullNorAllOnes)
{
    EXPECT_FALSE(MTKernel::IsValidHandle(nullptr));
    EXPECT_FALSE(MTKernel::IsValidHandle(INVALID_HANDLE_VALUE));
    EXPECT_TRUE(MTKernel::IsValidHandle(reinterpret_cast<void*>(1)));
}

TEST(MTKernelTest, DecodersTestNumbersAtTheEdges)
{
    EXPECT_TRUE(MTKernel::DidWaitSucceed(0, 1));
    EXPECT_FALSE(MTKernel::DidWaitSucceed(1, 1));
    EXPECT_TRUE(MTKernel::DidWaitSucceed(63, 64));
    EXPECT_FALSE(MTKernel::DidWaitSucceed(WAIT_TIMEOUT, 1));
    EXPECT_FALSE(MTKernel::DidWaitSucceed(WAIT_TIMEOUT, 64));
    EXPECT_FALSE(MTKernel::DidWaitSucceed(WAIT_FAILED, 64));
    EXPECT_EQ(5u, MTKernel::WaitSucceededIndex(5));

    EXPECT_FALSE(MTKernel::DidWaitAbandon(127, 1));
    EXPECT_TRUE(MTKernel::DidWaitAbandon(128, 1));
    EXPECT_FALSE(MTKernel::DidWaitAbandon(129, 1));
    EXPECT_TRUE(MTKernel::DidWaitAbandon(191, 64));
    EXPECT_FALSE(MTKernel::DidWaitAbandon(192, 64));
    EXPECT_FALSE(MTKernel::DidWaitAbandon(WAIT_TIMEOUT, 64));
    EXPECT_FALSE(MTKernel::DidWaitAbandon(WAIT_FAILED, 64));
    EXPECT_EQ(2u, MTKernel::WaitAbandonedIndex(130));
}

TEST(MTKernelTest, NamedCreateTellsCreatorFromJoiner)
{
    const std::string name = UniqueName("kernel-join");
    MTMutex first(false, name.c_str());
    MTMutex second(false, name.c_str());
    EXPECT_EQ(0u, first.GetStatus());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_ALREADY_EXISTS), second.GetStatus());
    ASSERT_TRUE(first.IsValidHandle());
    ASSERT_TRUE(second.IsValidHandle());
    EXPECT_NE(first.GetHandle(), second.GetHandle());
}

TEST(MTKernelTest, FailedCreatesAndOpensKeepTheSystemError)
{
    const std::string name = UniqueName("kernel-type");
    MTMutex mutex(false, name.c_str());
    ASSERT_EQ(0u, mutex.GetStatus());

    // A name held by another object type.
    MTEvent clash(false, false, name.c_str());
    EXPECT_FALSE(clash.IsValidHandle());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_HANDLE), clash.GetStatus());

    // A missing name.
    MTEvent missing(UniqueName("kernel-missing").c_str(), false, SYNCHRONIZE);
    EXPECT_FALSE(missing.IsValidHandle());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_FILE_NOT_FOUND), missing.GetStatus());
    MTMutex missingMutex(UniqueName("kernel-missing").c_str(), false, SYNCHRONIZE);
    EXPECT_EQ(static_cast<unsigned long>(ERROR_FILE_NOT_FOUND), missingMutex.GetStatus());
    MTSemaphore missingSemaphore(UniqueName("kernel-missing").c_str(), false, SYNCHRONIZE);
    EXPECT_EQ(static_cast<unsigned long>(ERROR_FILE_NOT_FOUND), missingSemaphore.GetStatus());

    // An open with no name at all.
    MTEvent nameless(nullptr, false, SYNCHRONIZE);
    EXPECT_FALSE(nameless.IsValidHandle());
    EXPECT_NE(0u, nameless.GetStatus());

    // A semaphore whose maximum is below its initial count.
    MTSemaphore badCounts(5, 1);
    EXPECT_FALSE(badCounts.IsValidHandle());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_PARAMETER), badCounts.GetStatus());

    // A name in a namespace that does not exist.
    MTEvent badPath(false, false, "weft-no-such-namespace\\x");
    EXPECT_FALSE(badPath.IsValidHandle());
    EXPECT_NE(0u, badPath.GetStatus());
}

TEST(MTKernelTest, OperationsOnAFailedObjectGiveThePlatformsFailures)
{
    MTSemaphore bad(5, 1);
    ASSERT_FALSE(bad.IsValidHandle());
    MTEvent other(true, true);
    EXPECT_EQ(WAIT_FAILED, bad.Wait(0));
    EXPECT_EQ(WAIT_FAILED, bad.Wait(INFINITE));
    EXPECT_EQ(WAIT_FAILED, bad.WaitForTwo(other, false, 0));
    long previous = -7;
    bad.Release(1, &previous);
    EXPECT_EQ(-7, previous);

    MTEvent badEvent(nullptr, false, SYNCHRONIZE);
    badEvent.Set();
    badEvent.Reset();
    badEvent.Pulse();
    EXPECT_FALSE(badEvent.IsSet());

    MTMutex badMutex(nullptr, false, SYNCHRONIZE);
    const unsigned long openStatus = badMutex.GetStatus();
    badMutex.Release();
    EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_HANDLE), badMutex.GetStatus());
    EXPECT_NE(openStatus, 0u);
}

TEST(MTKernelTest, WaitForTwoPutsItsOwnObjectFirst)
{
    MTEvent own(true, true);
    MTEvent other(true, true);
    EXPECT_EQ(0u, own.WaitForTwo(other, false, 0));
    own.Reset();
    EXPECT_EQ(1u, own.WaitForTwo(other, false, 0));
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), own.WaitForTwo(other, true, 0));
    own.Set();
    EXPECT_TRUE(MTKernel::DidWaitSucceed(own.WaitForTwo(other, true, 0), 2));
    other.Reset();
    own.Reset();
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), own.WaitForTwo(other, false, 0));
}

TEST(MTKernelTest, CreatesAndFailuresLeakNoHandles)
{
    const std::string name = UniqueName("kernel-leak");
    EXPECT_TRUE(weft::test::LeaksNoHandles([&] {
    for (int i = 0; i < 50; ++i)
    {
        MTEvent event(true, false, name.c_str());
        MTEvent joiner(true, false, name.c_str());
        MTMutex mutex;
        MTSemaphore semaphore(0, 3);
        MTSemaphore failed(5, 1);
        MTEvent missing(UniqueName("kernel-missing").c_str(), false, SYNCHRONIZE);
        MTEvent opened(name.c_str(), false, SYNCHRONIZE);
    }
    }));
}
