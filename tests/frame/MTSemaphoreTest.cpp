// Semaphores: counts, the previous count, and a release past the maximum that changes nothing.
#include "weftcore.h"

#include <gtest/gtest.h>

TEST(MTSemaphoreTest, CountsWaitsAndReportsThePreviousCount)
{
    MTSemaphore semaphore(1, 3);
    ASSERT_TRUE(semaphore.IsValidHandle());
    EXPECT_EQ(0u, semaphore.Wait(0));
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), semaphore.Wait(0));
    long previous = -1;
    semaphore.Release(2, &previous);
    EXPECT_EQ(0, previous);
    semaphore.Release(1, nullptr);
    previous = -1;
    semaphore.Release(1, &previous);  // past the maximum of 3: refused, previous left alone
    EXPECT_EQ(-1, previous);
    EXPECT_EQ(0u, semaphore.GetStatus());
    // Exactly three units are there.
    EXPECT_EQ(0u, semaphore.Wait(0));
    EXPECT_EQ(0u, semaphore.Wait(0));
    EXPECT_EQ(0u, semaphore.Wait(0));
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), semaphore.Wait(0));
}
