#include "weftcore.h"

#include <gtest/gtest.h>

#include <thread>

// One party at a time, no owner: a second Try fails on the same thread, anyone may Leave, and
// Leave on an open gate changes nothing.
TEST(SingleAdminGateTest, OnePartyAtATimeAndAnyoneMayOpen)
{
    SingleAdminGate gate;
    EXPECT_TRUE(gate.Try());
    EXPECT_FALSE(gate.Try());
    bool other = true;
    std::thread([&] { other = gate.Try(); gate.Leave(); }).join();
    EXPECT_FALSE(other);
    gate.Leave();
    EXPECT_TRUE(gate.Try());
    EXPECT_FALSE(gate.Try());
}
