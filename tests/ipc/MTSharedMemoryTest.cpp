#include "IpcTestSupport.h"

#include <algorithm>
#include <tuple>

using namespace weft::test;

// A creator, a joiner and an opener share one zeroed block of the first size, each through a view
// of its own; a null or empty name makes a private block; failures come from the platform (a size
// of 0, a name that does not exist) and keep nothing.
TEST(MTSharedMemoryTest, CreatorJoinerAndOpenerShareOneBlockAndUnnamedBlocksArePrivate)
{
    const std::string name = UniqueName("shm"), missing = UniqueName("shm-missing");
    EXPECT_TRUE(LeaksNoHandles([&] {
        MTSharedMemory creator(3 * 4096, name.c_str(), nullptr), joiner(64 * 4096, name.c_str(), nullptr);
        MTSharedMemory opener(name.c_str()), unnamed(4096, nullptr, nullptr), emptyName(4096, "", nullptr);
        const std::tuple<MTSharedMemory*, unsigned long, bool> blocks[] = {
            {&creator, 0, true}, {&joiner, ERROR_ALREADY_EXISTS, false}, {&opener, 0, false},
            {&unnamed, 0, true}, {&emptyName, 0, true}};
        for (auto [block, status, creates] : blocks)
        {
            EXPECT_EQ(status, block->GetStatus());
            EXPECT_EQ(creates, block->IsCreator());
            ASSERT_NE(nullptr, block->GetPtr());
        }
        const auto* bytes = static_cast<const char*>(creator.GetPtr());
        EXPECT_TRUE(std::all_of(bytes, bytes + 3 * 4096, [](char b) { return b == 0; }));
        std::strcpy(static_cast<char*>(creator.GetPtr()), "shared");
        std::strcpy(static_cast<char*>(unnamed.GetPtr()), "private");
        for (MTSharedMemory* other : {&joiner, &opener})
        {
            EXPECT_NE(creator.GetPtr(), other->GetPtr()) << "a view of its own";
            EXPECT_STREQ("shared", static_cast<const char*>(other->GetPtr()));
        }
        EXPECT_STREQ("", static_cast<const char*>(emptyName.GetPtr())) << "two private blocks, not one";

        MTSharedMemory sizeZero(0, missing.c_str(), nullptr), openMissing(missing.c_str());
        for (MTSharedMemory* failed : {&sizeZero, &openMissing})
        {
            EXPECT_NE(0u, failed->GetStatus());
            EXPECT_EQ(nullptr, failed->GetPtr());
            EXPECT_FALSE(failed->IsCreator());
        }
    })) << "views and mappings went with their objects";
}
