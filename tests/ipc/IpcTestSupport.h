// Helpers of the shared-memory and mailbox tests: 16-byte text messages, checks that many cases
// share, a raw look at a mailbox's shared header, and the creation race of child processes.
#pragma once

#include "support/MailboxProbe.h"
#include "support/TestSupport.h"

#include "weftcore.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

namespace weft::test::mailbox
{
struct Text
{
    char text[16];
};
constexpr unsigned long Size = sizeof(Text);

inline Text Make(const char* text)
{
    Text t = {};
    const size_t n = std::strlen(text);
    std::memcpy(t.text, text, n < sizeof t.text ? n : sizeof t.text - 1);
    return t;
}

// Gets one message with time-out 0 and gives its text, or "<none>".
inline std::string Take(MTMailbox& box)
{
    Text t = {};
    return box.Get(&t, 0) ? std::string(t.text) : std::string("<none>");
}

// Posts a text with time-out 0, from a buffer with room for messages of up to 64 bytes.
inline bool Put(MTMailbox& box, const char* text)
{
    const Text t[4] = {Make(text)};
    return box.Post(t, 0);
}

// "slots x size", or "none" if GetProperties fails; a failure must leave both outputs alone.
inline std::string Shape(const MTMailbox& box)
{
    unsigned long slots = 7, size = 7;
    if (box.GetProperties(slots, size))
        return std::to_string(slots) + " x " + std::to_string(size);
    return slots == 7 && size == 7 ? "none" : "none, but the outputs changed";
}

// A mailbox that failed with <status>: no creator, no shape, no post.
inline void ExpectFailed(MTMailbox& box, unsigned long status)
{
    EXPECT_EQ(status, box.GetStatus());
    EXPECT_FALSE(box.IsCreator());
    EXPECT_EQ("none", Shape(box));
    EXPECT_FALSE(Put(box, "x"));
}

// Every form of post and get, with an alert event, a null one and a collection, refuses at once:
// false, or WAIT_ABANDONED_0 from a collection form.
inline void ExpectEveryFormRefuses(MTMailbox& box, void* buffer)
{
    MTEvent alert(true, false);
    MTWaitableCollection alerts;
    EXPECT_FALSE(box.Post(buffer, 0));
    EXPECT_FALSE(box.Get(buffer, 0));
    for (MTEvent* event : {&alert, static_cast<MTEvent*>(nullptr)})
    {
        EXPECT_FALSE(box.PostAlertable(buffer, event, 0));
        EXPECT_FALSE(box.GetAlertable(buffer, event, 0));
    }
    EXPECT_EQ(WAIT_ABANDONED_0, box.PostAlertable(buffer, alerts, 0));
    EXPECT_EQ(WAIT_ABANDONED_0, box.GetAlertable(buffer, alerts, 0));
}

// An empty mailbox of two slots whose guard is free and whose counts are whole: two posts go in,
// a third is refused at once, and both come back out in order.
inline void ExpectTwoFreeSlots(MTMailbox& box)
{
    EXPECT_TRUE(Put(box, "a"));
    EXPECT_TRUE(Put(box, "b"));
    EXPECT_FALSE(Put(box, "c")) << "a third free slot";
    EXPECT_EQ("a", Take(box));
    EXPECT_EQ("b", Take(box));
    EXPECT_EQ("<none>", Take(box));
}

// The five header numbers of a mailbox's block, read through a view of its own.
struct RawHeader
{
    explicit RawHeader(const std::string& name) : m_block(name.c_str()) {}
    bool IsMapped() { return m_block.GetPtr() != nullptr; }
    std::uint32_t Word(int i) { return static_cast<const std::uint32_t*>(m_block.GetPtr())[i]; }
    std::uint32_t MaxMessages() { return Word(0); }
    std::uint32_t MessageSize() { return Word(1); }
    std::uint32_t HeaderSize() { return Word(2); }
    std::uint32_t Head() { return Word(3); }
    std::uint32_t Tail() { return Word(4); }
    const char* Slot(std::uint32_t i) { return static_cast<const char*>(m_block.GetPtr()) + 20 + i * MessageSize(); }

private:
    MTSharedMemory m_block;
};

}  // namespace weft::test::mailbox

namespace weft::test
{
// Starts <racers> children of "race <kind>" that create or join <name> at one signal, calls
// <inspect> while every racer still holds what it made or joined, then lets them end: exactly
// one must exit as the creator.
template <class Inspect>
void RunCreationRace(const char* kind, const std::string& name, unsigned racers, Inspect inspect)
{
    const std::string start = UniqueName("race-start"), ready = UniqueName("race-ready");
    const std::string go = UniqueName("race-go");
    MTEvent startEvent(true, false, start.c_str());
    MTEvent goEvent(true, false, go.c_str());
    MTSemaphore readyCount(0, 16, ready.c_str());
    ChildGroup children;
    for (unsigned i = 0; i < racers; ++i)
        children.Start({"race", kind, name, start, ready, go, std::to_string(MustHappenMs())});
    ASSERT_TRUE(children.AllStarted());
    startEvent.Set();
    for (unsigned i = 0; i < racers; ++i)
        ASSERT_EQ(WAIT_OBJECT_0, readyCount.Wait(MustHappenMs())) << "racer " << i << " did not report";
    inspect();
    goEvent.Set();
    ASSERT_TRUE(children.WaitAll(MustHappenMs()));
    unsigned creators = 0;
    for (long code : children.ExitCodes())
    {
        EXPECT_TRUE(code == 0 || code == 1) << "exit code " << code;
        creators += code == 1 ? 1 : 0;
    }
    EXPECT_EQ(1u, creators);
}
}  // namespace weft::test
