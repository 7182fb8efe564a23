// Events: reset modes, the consuming test of IsSet, and one named event shared by two processes.
#include "support/TestSupport.h"
#include "weftcore.h"

#include <gtest/gtest.h>


using weft::test::MustHappenMs;
using weft::test::UniqueName;

TEST(MTEventTest, DefaultEventIsAutoResetAndIsSetConsumesItsSignal)
{
    MTEvent automatic;
    ASSERT_TRUE(automatic.IsValidHandle());
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), automatic.Wait(0));
    automatic.Set();
    EXPECT_TRUE(automatic.IsSet());
    EXPECT_FALSE(automatic.IsSet());

    MTEvent manual(true, true);
    EXPECT_TRUE(manual.IsSet());
    EXPECT_TRUE(manual.IsSet());
    manual.Reset();
    EXPECT_FALSE(manual.IsSet());
}

TEST(MTEventTest, NamedEventIsOneObjectAcrossProcesses)
{
    const std::string name = UniqueName("event-xproc");
    MTEvent event(true, false, name.c_str());
    ASSERT_EQ(0u, event.GetStatus());
    weft::test::ChildProcess child({"event-join-set", name});
    ASSERT_TRUE(child.Started());
    // The child's create found ours (183) and its Set reached our object.
    EXPECT_EQ(static_cast<long>(ERROR_ALREADY_EXISTS), child.WaitExit(MustHappenMs()));
    EXPECT_EQ(0u, event.Wait(0));
}

TEST(MTEventTest, OpenerAndJoinerShareTheExistingObjectAndState)
{
    const std::string name = UniqueName("event-open");
    MTEvent created(true, true, name.c_str());
    // Asked for "not set" and auto-reset, the joiner sees the existing manual-reset, set event.
    MTEvent joined(false, false, name.c_str());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_ALREADY_EXISTS), joined.GetStatus());
    EXPECT_TRUE(joined.IsSet());
    EXPECT_TRUE(joined.IsSet());
    MTEvent opened(name.c_str(), false, EVENT_MODIFY_STATE | SYNCHRONIZE);
    ASSERT_TRUE(opened.IsValidHandle());
    EXPECT_EQ(0u, opened.GetStatus());
    opened.Reset();
    EXPECT_FALSE(created.IsSet());
}
