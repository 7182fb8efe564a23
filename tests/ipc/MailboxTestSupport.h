// Helpers of the mailbox tests: 16-byte text messages, a raw look at the shared header, and a
// thread that holds a mailbox's guard as another holder would.
#pragma once

#include "support/MailboxProbe.h"
#include "support/TestSupport.h"

#include "weftcore.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <thread>

namespace weft::test::mailbox
{
struct Text
{
    char text[16];
};

inline Text Make(const char* text)
{
    Text t = {};
    const size_t n = std::strlen(text);
    std::memcpy(t.text, text, n < sizeof t.text ? n : sizeof t.text - 1);
    return t;
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

// Holds the guard of a mailbox on a thread of its own, from construction until destruction.
class GuardHolder
{
public:
    explicit GuardHolder(const std::string& mailboxName)
        : m_thread([this, name = MTMailboxProbe::GuardName(mailboxName.c_str())] {
              MTMutex guard(name.c_str(), false, MUTEX_ALL_ACCESS);
              if (guard.Wait(MustHappenMs()) != WAIT_OBJECT_0)
                  return;
              m_held.Set();
              m_release.Wait(MustHappenMs());
              guard.Release();
          })
    {
    }
    ~GuardHolder()
    {
        m_release.Set();
        m_thread.join();
    }
    bool Held() { return m_held.Wait(MustHappenMs()) == WAIT_OBJECT_0; }

private:
    MTEvent m_held{true, false};
    MTEvent m_release{true, false};
    std::thread m_thread;
};
}  // namespace weft::test::mailbox
