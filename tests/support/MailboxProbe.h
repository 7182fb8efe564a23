// What the mailbox tests and their child processes share: the guard's derived name, so that a test can
// hold it as another process would, and the numbered messages that producer processes post.
#pragma once

#include "weftcore.h"

#include <cstdint>
#include <cstring>
#include <string>

struct MTMailboxProbe
{
    static std::string GuardName(const char* mailboxName)
    {
        char output[MTMailbox::NameBufferSize] = {};
        MTMailbox(nullptr).CreateGuardMutexName(output, mailboxName);  // opens no mapping, makes no object
        return output;
    }
};

namespace weft::test::stress
{
// A message names its producer and sequence number; its payload follows from both, so that a
// torn or mixed copy differs from the message Make gives for them. One message fills a 64-byte slot.
struct Message
{
    std::uint32_t producer;
    std::uint32_t sequence;
    std::uint8_t payload[56];

    static Message Make(std::uint32_t producer, std::uint32_t sequence)
    {
        Message m = {producer, sequence, {}};
        for (size_t i = 0; i < sizeof m.payload; ++i)
            m.payload[i] = static_cast<std::uint8_t>(producer * 31u + sequence * 7u + i);
        return m;
    }
    bool IsIntact() const
    {
        const Message expected = Make(producer, sequence);
        return std::memcmp(this, &expected, sizeof expected) == 0;
    }
};
}  // namespace weft::test::stress
