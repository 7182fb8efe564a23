#include "IpcTestSupport.h"

#include <algorithm>
#include <memory>

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
        MEMORY_BASIC_INFORMATION info = {};
        VirtualQuery(other->GetPtr(), &info, sizeof info);
        EXPECT_EQ(3u * 4096u, info.RegionSize) << "a larger size asked for later does not count";
    }
}

TEST(MTSharedMemoryTest, RefusesBadArgumentsAndMissingNamesWithoutMakingAnything)
{
    const DWORD handles = HandleCount();
    const std::string name = UniqueName("shm-bad");
    struct Case
    {
        bool open;
        long size;
        const char* name;
        unsigned long status;
    };
    const Case cases[] = {
        {false, 4096, nullptr, ERROR_INVALID_NAME},      {false, 4096, "", ERROR_INVALID_NAME},
        {false, 0, name.c_str(), ERROR_INVALID_PARAMETER}, {false, -4096, name.c_str(), ERROR_INVALID_PARAMETER},
        {true, 0, nullptr, ERROR_INVALID_NAME},          {true, 0, "", ERROR_INVALID_NAME},
        {true, 0, name.c_str(), ERROR_FILE_NOT_FOUND},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(testing::Message() << (c.open ? "open " : "create ") << c.size << " named "
                                        << (c.name ? c.name : "null"));
        auto block = c.open ? std::make_unique<MTSharedMemory>(c.name)
                            : std::make_unique<MTSharedMemory>(c.size, c.name, nullptr);
        EXPECT_EQ(c.status, block->GetStatus());
        EXPECT_EQ(nullptr, block->GetPtr());
        EXPECT_FALSE(block->IsCreator());
    }
    EXPECT_EQ(handles, HandleCount());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_FILE_NOT_FOUND), MTSharedMemory(name.c_str()).GetStatus());
}

TEST(MTSharedMemoryTest, NameComesBackFreshOnceTheLastHolderHasGone)
{
    const std::string name = UniqueName("shm-fresh");
    const DWORD handles = HandleCount();
    {
        MTSharedMemory first(4096, name.c_str(), nullptr);
        MTSharedMemory second(name.c_str());
        std::memset(first.GetPtr(), 0x5A, 4096);
    }
    EXPECT_EQ(handles, HandleCount());
    MTSharedMemory again(4096, name.c_str(), nullptr);
    EXPECT_EQ(0u, again.GetStatus());
    EXPECT_TRUE(again.IsCreator());
    ASSERT_NE(nullptr, again.GetPtr());
    EXPECT_TRUE(IsAllZero(again.GetPtr(), 4096));
}

TEST(MTSharedMemoryTest, ProcessesRacingToCreateGetExactlyOneCreator)
{
    const std::string name = UniqueName("shm-race");
    constexpr LONG racers = 4;
    RunCreationRace("shm", name, racers, [&] {
        // One creator among them, and every racer counted itself in the one block.
        MTSharedMemory block(name.c_str());
        ASSERT_NE(nullptr, block.GetPtr());
        const auto* words = static_cast<const LONG*>(block.GetPtr());
        EXPECT_EQ(1, words[0]);
        EXPECT_EQ(racers, words[1]);
    });
}
