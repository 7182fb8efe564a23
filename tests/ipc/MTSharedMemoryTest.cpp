#include "support/TestSupport.h"

#include "weftcore.h"

#include <gtest/gtest.h>

#include <cstring>

using weft::test::ChildGroup;
using weft::test::MustHappenMs;
using weft::test::UniqueName;

namespace
{
bool IsAllZero(const void* p, size_t n)
{
    const auto* bytes = static_cast<const unsigned char*>(p);
    for (size_t i = 0; i < n; ++i)
        if (bytes[i] != 0)
            return false;
    return true;
}

SIZE_T ViewBytes(void* view)
{
    MEMORY_BASIC_INFORMATION info = {};
    VirtualQuery(view, &info, sizeof info);
    return info.RegionSize;
}
}  // namespace

TEST(MTSharedMemoryTest, NewNameGivesZeroedBlockOwnedByItsCreator)
{
    const std::string name = UniqueName("shm-new");
    MTSharedMemory block(8192, name.c_str(), nullptr);
    EXPECT_EQ(0u, block.GetStatus());
    EXPECT_TRUE(block.IsCreator());
    ASSERT_NE(nullptr, block.GetPtr());
    EXPECT_TRUE(IsAllZero(block.GetPtr(), 8192));
}

TEST(MTSharedMemoryTest, SecondCreateJoinsTheSameBytes)
{
    const std::string name = UniqueName("shm-join");
    MTSharedMemory first(4096, name.c_str(), nullptr);
    MTSharedMemory second(4096, name.c_str(), nullptr);
    EXPECT_EQ(ERROR_ALREADY_EXISTS, second.GetStatus());
    EXPECT_FALSE(second.IsCreator());
    ASSERT_NE(nullptr, second.GetPtr());
    ASSERT_NE(first.GetPtr(), second.GetPtr());  // two views of one block
    std::strcpy(static_cast<char*>(first.GetPtr()), "written through the first view");
    EXPECT_STREQ("written through the first view", static_cast<const char*>(second.GetPtr()));
}

TEST(MTSharedMemoryTest, LargerSecondCreateKeepsTheFirstSize)
{
    const std::string name = UniqueName("shm-size");
    MTSharedMemory first(3 * 4096, name.c_str(), nullptr);
    MTSharedMemory second(64 * 4096, name.c_str(), nullptr);
    EXPECT_EQ(ERROR_ALREADY_EXISTS, second.GetStatus());
    ASSERT_NE(nullptr, second.GetPtr());
    EXPECT_EQ(3u * 4096u, ViewBytes(second.GetPtr()));
}

TEST(MTSharedMemoryTest, OpenSeesTheCreatorsBytesAndIsNoCreator)
{
    const std::string name = UniqueName("shm-open");
    MTSharedMemory creator(4096, name.c_str(), nullptr);
    std::strcpy(static_cast<char*>(creator.GetPtr()), "hello");
    MTSharedMemory opener(name.c_str());
    EXPECT_EQ(0u, opener.GetStatus());
    EXPECT_FALSE(opener.IsCreator());
    ASSERT_NE(nullptr, opener.GetPtr());
    EXPECT_STREQ("hello", static_cast<const char*>(opener.GetPtr()));
}

TEST(MTSharedMemoryTest, OpenOfMissingNameFailsWithNotFound)
{
    const DWORD handles = weft::test::HandleCount();
    {
        MTSharedMemory opener(UniqueName("shm-missing").c_str());
        EXPECT_EQ(nullptr, opener.GetPtr());
        EXPECT_EQ(static_cast<unsigned long>(ERROR_FILE_NOT_FOUND), opener.GetStatus());
        EXPECT_FALSE(opener.IsCreator());
    }
    EXPECT_EQ(handles, weft::test::HandleCount());
}

TEST(MTSharedMemoryTest, RefusesBadArgumentsWithoutMakingAnything)
{
    const DWORD handles = weft::test::HandleCount();
    const std::string name = UniqueName("shm-bad");
    {
        MTSharedMemory nullName(4096, nullptr, nullptr);
        MTSharedMemory emptyName(4096, "", nullptr);
        MTSharedMemory zeroSize(0, name.c_str(), nullptr);
        MTSharedMemory negativeSize(-4096, name.c_str(), nullptr);
        MTSharedMemory openNull(nullptr);
        MTSharedMemory openEmpty("");
        EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_NAME), nullName.GetStatus());
        EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_NAME), emptyName.GetStatus());
        EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_PARAMETER), zeroSize.GetStatus());
        EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_PARAMETER), negativeSize.GetStatus());
        EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_NAME), openNull.GetStatus());
        EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_NAME), openEmpty.GetStatus());
        for (MTSharedMemory* block : {&nullName, &emptyName, &zeroSize, &negativeSize, &openNull, &openEmpty})
        {
            EXPECT_EQ(nullptr, block->GetPtr());
            EXPECT_FALSE(block->IsCreator());
        }
    }
    EXPECT_EQ(handles, weft::test::HandleCount());
    MTSharedMemory afterwards(name.c_str());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_FILE_NOT_FOUND), afterwards.GetStatus());
}

TEST(MTSharedMemoryTest, NameComesBackFreshOnceTheLastHolderHasGone)
{
    const std::string name = UniqueName("shm-fresh");
    const DWORD handles = weft::test::HandleCount();
    {
        MTSharedMemory first(4096, name.c_str(), nullptr);
        MTSharedMemory second(name.c_str());
        std::memset(first.GetPtr(), 0x5A, 4096);
    }
    EXPECT_EQ(handles, weft::test::HandleCount());
    MTSharedMemory again(4096, name.c_str(), nullptr);
    EXPECT_EQ(0u, again.GetStatus());
    EXPECT_TRUE(again.IsCreator());
    ASSERT_NE(nullptr, again.GetPtr());
    EXPECT_TRUE(IsAllZero(again.GetPtr(), 4096));
}

TEST(MTSharedMemoryTest, ProcessesRacingToCreateGetExactlyOneCreator)
{
    const std::string name = UniqueName("shm-race");
    const std::string start = UniqueName("shm-race-start");
    const std::string ready = UniqueName("shm-race-ready");
    const std::string go = UniqueName("shm-race-go");
    MTEvent startEvent(true, false, start.c_str());
    MTEvent goEvent(true, false, go.c_str());
    MTSemaphore readyCount(0, 16, ready.c_str());
    const std::string timeout = std::to_string(MustHappenMs());
    constexpr int racers = 4;
    ChildGroup children;
    for (int i = 0; i < racers; ++i)
        children.Start({"race", "shm", name, start, ready, go, timeout});
    ASSERT_TRUE(children.AllStarted());
    startEvent.Set();
    for (int i = 0; i < racers; ++i)
        ASSERT_EQ(WAIT_OBJECT_0, readyCount.Wait(MustHappenMs())) << "racer " << i << " did not report";

    // Every racer still holds the block: one creator among them, and the counts they left in it.
    MTSharedMemory block(name.c_str());
    ASSERT_NE(nullptr, block.GetPtr());
    const auto* words = static_cast<const LONG*>(block.GetPtr());
    EXPECT_EQ(1, words[0]);
    EXPECT_EQ(racers, words[1]);
    goEvent.Set();
    ASSERT_TRUE(children.WaitAll(MustHappenMs()));
    int creators = 0;
    for (long code : children.ExitCodes())
    {
        EXPECT_TRUE(code == 0 || code == 1) << "exit code " << code;
        creators += code == 1 ? 1 : 0;
    }
    EXPECT_EQ(1, creators);
}
