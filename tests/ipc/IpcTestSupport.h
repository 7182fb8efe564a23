// Helpers of the mailbox tests: 16-byte text messages, checks that many cases share, and a raw
// look at a mailbox's shared header.
#pragma once

#include "support/MailboxProbe.h"
#include "support/TestSupport.h"

#include "weftcore.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

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
    std::strncpy(t.text, text, sizeof t.text - 1);
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

// A status that the platform chose: any failure.
constexpr unsigned long AnyFailure = 0xFFFFFFFF;

// A mailbox that failed with <status>: no creator, no shape, no post.
inline void ExpectFailed(MTMailbox& box, unsigned long status)
{
    if (status == AnyFailure)
        EXPECT_TRUE(box.GetStatus() != 0 && box.GetStatus() != ERROR_ALREADY_EXISTS) << box.GetStatus();
    else
        EXPECT_EQ(status, box.GetStatus());
    EXPECT_FALSE(box.IsCreator());
    EXPECT_EQ("none", Shape(box));
    EXPECT_FALSE(Put(box, "x"));
}

// An empty mailbox of two slots whose guard is free and whose counts are whole: two posts go in,
// a third is refused at once, and both come back out in order.
inline void ExpectTwoFreeSlots(MTMailbox& box, bool emptyMessages = false)
{
    EXPECT_TRUE(Put(box, "a") && Put(box, "b"));
    EXPECT_FALSE(Put(box, "c")) << "a third free slot";
    EXPECT_EQ(emptyMessages ? "" : "a", Take(box));
    EXPECT_EQ(emptyMessages ? "" : "b", Take(box));
    EXPECT_EQ("<none>", Take(box));
}

// The shared header of a mailbox: maxMessages, messageSize, headerSize, head, tail; nothing if
// the block did not open.
inline std::vector<std::uint32_t> HeaderWords(const std::string& name)
{
    MTSharedMemory block(name.c_str());
    const auto* words = static_cast<const std::uint32_t*>(block.GetPtr());
    return words != nullptr ? std::vector<std::uint32_t>(words, words + 5) : std::vector<std::uint32_t>();
}
}  // namespace weft::test::mailbox
