#include "IpcTestSupport.h"

#include <algorithm>

using namespace weft::test;

namespace
{
bool IsAllZero(const void* p, size_t n)
{
    const auto* bytes = static_cast<const unsigned char*>(p);
    return std::all_of(bytes, bytes + n, [](unsigned char b) { return b == 0; });
}
}  // namespace

TEST(MTSharedMemoryTest, CreatorJoinerAndOpenerShareOneZeroedBlockOfTheFirstSize)
{
    const std::string name = UniqueName("shm-join");
    EXPECT_TRUE(LeaksNoHandles([&] {
        {
            MTSharedMemory creator(3 * 4096, name.c_str(), nullptr);
            EXPECT_EQ(0u, creator.GetStatus());
            EXPECT_TRUE(creator.IsCreator());
            ASSERT_NE(nullptr, creator.GetPtr());
            EXPECT_TRUE(IsAllZero(creator.GetPtr(), 3 * 4096));

            MTSharedMemory joiner(64 * 4096, name.c_str(), nullptr);
            EXPECT_EQ(static_cast<unsigned long>(ERROR_ALREADY_EXISTS), joiner.GetStatus());
            MTSharedMemory opener(name.c_str());
            EXPECT_EQ(0u, opener.GetStatus());
            std::strcpy(static_cast<char*>(creator.GetPtr()), "written through the first view");
            for (MTSharedMemory* other : {&joiner, &opener})
            {
                EXPECT_FALSE(other->IsCreator());
                ASSERT_NE(nullptr, other->GetPtr());
                ASSERT_NE(creator.GetPtr(), other->GetPtr()) << "a view of its own";
                EXPECT_STREQ("written through the first view", static_cast<const char*>(other->GetPtr()));
            }
        }
    })) << "views and mappings went with their objects";
}

TEST(MTSharedMemoryTest, NullOrEmptyNameMakesAPrivateBlockAndFailuresKeepNothing)
{
    EXPECT_TRUE(LeaksNoHandles([&] {
        {
            MTSharedMemory unnamed(4096, nullptr, nullptr), emptyName(4096, "", nullptr);
            for (MTSharedMemory* block : {&unnamed, &emptyName})
            {
                EXPECT_EQ(0u, block->GetStatus());
                EXPECT_TRUE(block->IsCreator());
                ASSERT_NE(nullptr, block->GetPtr());
                EXPECT_TRUE(IsAllZero(block->GetPtr(), 4096));
            }
            std::strcpy(static_cast<char*>(unnamed.GetPtr()), "private");
            EXPECT_STREQ("", static_cast<const char*>(emptyName.GetPtr())) << "two blocks, not one";

            // Failures come from the platform: a size of 0, a name that does not exist.
            const std::string missing = UniqueName("shm-missing");
            MTSharedMemory sizeZero(0, missing.c_str(), nullptr), openMissing(missing.c_str());
            for (MTSharedMemory* failed : {&sizeZero, &openMissing})
            {
                EXPECT_NE(0u, failed->GetStatus());
                EXPECT_EQ(nullptr, failed->GetPtr());
                EXPECT_FALSE(failed->IsCreator());
            }
        }
    }));
}
