// What the producer and consumer processes of the mailbox tests exchange: the message, and the
// tally that consumers keep in shared memory.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace weft::test::stress
{
// A message names its producer and sequence number; its payload follows from both, so that a
// torn or mixed copy differs from the message Make gives for them.
struct Message
{
    std::uint32_t producer;
    std::uint32_t sequence;
    std::uint8_t payload[56];
};
static_assert(sizeof(Message) == 64, "one message fills one 64-byte slot");

inline Message Make(std::uint32_t producer, std::uint32_t sequence)
{
    Message m = {};
    m.producer = producer;
    m.sequence = sequence;
    for (size_t i = 0; i < sizeof m.payload; ++i)
        m.payload[i] = static_cast<std::uint8_t>(producer * 31u + sequence * 7u + i);
    return m;
}

inline bool IsIntact(const Message& m, std::uint32_t producers, std::uint32_t perProducer)
{
    const Message expected = Make(m.producer, m.sequence);
    return m.producer < producers && m.sequence < perProducer && std::memcmp(&m, &expected, sizeof m) == 0;
}

// The tally in a shared block: consumers count each message they take, by producer and sequence.
// Right behind it lie producers * perProducer counters, one per message.
struct Tally
{
    volatile LONG taken;
    volatile LONG corrupt;
    volatile LONG outOfOrder;

    volatile LONG& Received(std::uint32_t producer, std::uint32_t sequence, std::uint32_t perProducer)
    {
        return reinterpret_cast<volatile LONG*>(this + 1)[producer * perProducer + sequence];
    }
    static long Bytes(std::uint32_t producers, std::uint32_t perProducer)
    {
        return static_cast<long>(sizeof(Tally) + sizeof(LONG) * producers * perProducer);
    }
};
}  // namespace weft::test::stress
