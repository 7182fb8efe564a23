#include "weftcore.h"

#include <gtest/gtest.h>

TEST(MTKernelTest, ValidityIsNeitherNullNorAllOnes)
{
    EXPECT_FALSE(MTKernel::IsValidHandle(nullptr));
    EXPECT_FALSE(MTKernel::IsValidHandle(INVALID_HANDLE_VALUE));
    EXPECT_TRUE(MTKernel::IsValidHandle(reinterpret_cast<void*>(1)));
}
