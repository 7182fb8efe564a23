#include "ipc/MTMailbox.h"

#include "module/CodedTexts.h"
#include "weftbase/StringUtils.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

// The shared header: five 32-bit numbers, 20 bytes, the same in every process.
struct MTMailbox::Header
{
    std::uint32_t maxMessages;
    std::uint32_t messageSize;
    std::uint32_t headerSize;
    std::uint32_t head;
    std::uint32_t tail;
};

namespace
{
constexpr std::uint32_t HeaderBytes = 20;

bool IsGuardHeld(unsigned long waitResult)
{
    return waitResult == WAIT_OBJECT_0 || waitResult == WAIT_ABANDONED_0;
}

// wsprintfA has no documented course for a null string argument, so a null mailbox name is
// formatted as the empty one.
void BuildName(char* output, const std::vector<int>& role, const char* mailboxName)
{
    const CString format = StringUtils::DecryptText(CodedTexts::MailboxNameFormat);
    const CString roleText = StringUtils::DecryptText(role);
    ::wsprintfA(output, format, static_cast<const char*>(roleText), mailboxName != nullptr ? mailboxName : "");
}

// Bytes of the view from its base; 0 if the platform does not say.
std::uint64_t ViewSize(const void* view)
{
    MEMORY_BASIC_INFORMATION info = {};
    if (view == nullptr || ::VirtualQuery(view, &info, sizeof info) != sizeof info)
        return 0;
    return info.RegionSize;
}
}  // namespace

MTMailbox::MTMailbox(unsigned long slots, unsigned long messageSize, const char* name,
                     _SECURITY_ATTRIBUTES* attributes)
    : m_memory(static_cast<long>(slots * messageSize + HeaderBytes), name, attributes), m_bCreator(false),
      m_status(m_memory.GetStatus()), m_pHeader(nullptr), m_pSlots(nullptr), m_pGuard(nullptr),
      m_pFreeCount(nullptr), m_pPendingCount(nullptr)
{
    if (m_status == 0 || m_status == ERROR_ALREADY_EXISTS)
        Attach(true, slots, messageSize, name, attributes);
}

MTMailbox::MTMailbox(const char* name)
    : m_memory(name), m_bCreator(false), m_status(m_memory.GetStatus()), m_pHeader(nullptr), m_pSlots(nullptr),
      m_pGuard(nullptr), m_pFreeCount(nullptr), m_pPendingCount(nullptr)
{
    if (m_status == 0)
        Attach(false, 0, 0, name, nullptr);
}

void MTMailbox::Attach(bool create, unsigned long slots, unsigned long messageSize, const char* name,
                       _SECURITY_ATTRIBUTES* attributes)
{
    static_assert(sizeof(Header) == HeaderBytes && sizeof(std::uint32_t) == sizeof(unsigned long),
                  "the header is five unpadded 32-bit numbers, handed out as unsigned long");
    // The names go into fixed buffers, which a longer name would overrun.
    if (name != nullptr && std::strlen(name) > MaxNameLength())
    {
        m_status = ERROR_FILENAME_EXCED_RANGE;
        return;
    }
    // All names are built before the guard is taken: building allocates, and a failure while the
    // guard is held would leave it owned by a living thread, which every other holder waits for.
    char guardName[NameBufferSize], freeName[NameBufferSize], pendingName[NameBufferSize];
    CreateGuardMutexName(guardName, name);
    CreateFreeCountSemaphoreName(freeName, name);
    CreatePendingCountSemaphoreName(pendingName, name);

    m_pGuard = create ? new (std::nothrow) MTMutex(true, guardName, attributes)
                      : new (std::nothrow) MTMutex(guardName, false, MUTEX_ALL_ACCESS);
    if (m_pGuard == nullptr)
    {
        m_status = ERROR_NOT_ENOUGH_MEMORY;
        return;
    }
    // A guard that could not be created or opened was not won: nothing may be written, so stop here.
    if (!m_pGuard->IsValidHandle())
    {
        m_status = m_pGuard->GetStatus();
        return;
    }
    // A new guard is owned from birth; an existing one was not given and is waited for, which
    // keeps this object out until whoever holds it has finished the header.
    const bool wonGuard = create && m_pGuard->GetStatus() != ERROR_ALREADY_EXISTS;
    if (!wonGuard)
        m_pGuard->Wait(INFINITE);

    auto attachCount = [&](MTSemaphore*& count, const char* countName, unsigned long initialCount) {
        count = create ? new (std::nothrow) MTSemaphore(static_cast<int>(initialCount), static_cast<int>(slots),
                                                        countName, attributes)
                       : new (std::nothrow) MTSemaphore(countName, false, SEMAPHORE_ALL_ACCESS);
        const unsigned long status = count == nullptr ? ERROR_NOT_ENOUGH_MEMORY : count->GetStatus();
        const bool attached = status == 0 || status == ERROR_ALREADY_EXISTS;
        if (!attached)
            m_status = status;
        return attached;
    };
    if (attachCount(m_pFreeCount, freeName, slots) && attachCount(m_pPendingCount, pendingName, 0))
    {
        Header* header = static_cast<Header*>(m_memory.GetPtr());
        // The guard's creator writes the header; everybody else takes the one found, if it is
        // sound: both indexes below the slot count, and every slot inside the block. Otherwise a
        // header never written, a stranger's block or a hostile one would lead the copies out
        // of the view. A shape whose size wrapped past 32 bits fails the same test.
        const Header shape = wonGuard ? Header{slots, messageSize, HeaderBytes, 0, 0} : *header;
        if (shape.head < shape.maxMessages && shape.tail < shape.maxMessages &&
            std::uint64_t{shape.maxMessages} * shape.messageSize + HeaderBytes <= ViewSize(header))
        {
            if (wonGuard)
                *header = shape;
            m_bCreator = wonGuard;
            m_pHeader = header;
            m_pSlots = reinterpret_cast<unsigned char*>(header) + HeaderBytes;
        }
        else
            m_status = ERROR_INVALID_DATA;
    }
    m_pGuard->Release();

    if (create && m_pHeader != nullptr && !m_bCreator &&
        (m_pHeader->maxMessages != slots || m_pHeader->messageSize != messageSize))
        m_status = ERROR_INVALID_PARAMETER;
}

MTMailbox::~MTMailbox()
{
    m_pHeader = nullptr;
    m_pSlots = nullptr;
    delete m_pGuard;
    m_pGuard = nullptr;
    delete m_pFreeCount;
    m_pFreeCount = nullptr;
    delete m_pPendingCount;
    m_pPendingCount = nullptr;
}

bool MTMailbox::IsCreator() const
{
    return m_bCreator;
}

unsigned long MTMailbox::GetStatus() const
{
    return m_status;
}

bool MTMailbox::GetProperties(unsigned long& slots, unsigned long& messageSize) const
{
    if (m_pHeader == nullptr)
        return false;
    slots = m_pHeader->maxMessages;
    messageSize = m_pHeader->messageSize;
    return true;
}

unsigned long MTMailbox::MaxNameLength()
{
    // The longest derived name of an empty mailbox name is what the roles and the format add.
    static const unsigned long maxLength = [] {
        char output[NameBufferSize];  // the roles and the format are short
        unsigned long longest = 0;
        for (const std::vector<int>* role :
             {&CodedTexts::MailboxGuardRole, &CodedTexts::MailboxFreeCountRole, &CodedTexts::MailboxPendingCountRole})
        {
            BuildName(output, *role, "");
            longest = std::max<unsigned long>(longest, static_cast<unsigned long>(std::strlen(output)));
        }
        return NameBufferSize - 1 - longest;
    }();
    return maxLength;
}

bool MTMailbox::IsUsable() const
{
    return m_pHeader != nullptr;  // set only when every other part is there
}

bool MTMailbox::Post(const void* message, unsigned long timeout)
{
    if (!IsUsable() || message == nullptr)
        return false;
    if (m_pFreeCount->Wait(timeout) != WAIT_OBJECT_0)
        return false;
    return StoreUnderGuard(message, timeout) == WAIT_OBJECT_0;
}

bool MTMailbox::Get(void* buffer, unsigned long timeout)
{
    if (!IsUsable() || buffer == nullptr)
        return false;
    if (m_pPendingCount->Wait(timeout) != WAIT_OBJECT_0)
        return false;
    return TakeUnderGuard(buffer, timeout) == WAIT_OBJECT_0;
}

bool MTMailbox::PostAlertable(const void* message, MTEvent* alert, unsigned long timeout)
{
    if (alert == nullptr)
        return Post(message, timeout);
    if (!IsUsable() || message == nullptr)
        return false;
    // The alert at index 0 wins over the count at index 1.
    if (alert->WaitForTwo(*m_pFreeCount, false, timeout) != WAIT_OBJECT_0 + 1)
        return false;
    return IsGuardHeld(StoreUnderGuard(message, timeout));
}

bool MTMailbox::GetAlertable(void* buffer, MTEvent* alert, unsigned long timeout)
{
    if (alert == nullptr)
        return Get(buffer, timeout);
    if (!IsUsable() || buffer == nullptr)
        return false;
    if (alert->WaitForTwo(*m_pPendingCount, false, timeout) != WAIT_OBJECT_0 + 1)
        return false;
    return IsGuardHeld(TakeUnderGuard(buffer, timeout));
}

unsigned long MTMailbox::PostAlertable(const void* message, const MTWaitableCollection& alerts, unsigned long timeout)
{
    if (!IsUsable() || message == nullptr)
        return WAIT_ABANDONED_0;
    MTWaitableCollection waits;
    waits.AddObject(*m_pFreeCount);
    waits.AddCollection(alerts);  // with a full collection the last alert finds no room
    const unsigned long first = waits.Wait(false, timeout);
    if (first != WAIT_OBJECT_0)
        return first;
    const unsigned long guard = StoreUnderGuard(message, timeout);
    return IsGuardHeld(guard) ? WAIT_OBJECT_0 : guard;
}

unsigned long MTMailbox::GetAlertable(void* buffer, const MTWaitableCollection& alerts, unsigned long timeout)
{
    if (!IsUsable() || buffer == nullptr)
        return WAIT_ABANDONED_0;
    MTWaitableCollection waits;
    waits.AddObject(*m_pPendingCount);
    waits.AddCollection(alerts);
    const unsigned long first = waits.Wait(false, timeout);
    if (first != WAIT_OBJECT_0)
        return first;
    const unsigned long guard = TakeUnderGuard(buffer, timeout);
    return IsGuardHeld(guard) ? WAIT_OBJECT_0 : guard;
}

unsigned long MTMailbox::StoreUnderGuard(const void* message, unsigned long timeout)
{
    const unsigned long guard = m_pGuard->Wait(timeout);
    if (!IsGuardHeld(guard))
    {
        // Nothing was stored: the slot goes back, so that the free count matches the ring again.
        m_pFreeCount->Release(1, nullptr);
        return guard;
    }
    // An abandoned guard is owned all the same. Its holder may have died in a copy; the tail
    // moves only after a whole copy, so a cut-off message was never delivered.
    std::memcpy(GetTailPtr(), message, m_pHeader->messageSize);
    IncrementTail();
    m_pGuard->Release();
    m_pPendingCount->Release(1, nullptr);
    return guard;
}

unsigned long MTMailbox::TakeUnderGuard(void* buffer, unsigned long timeout)
{
    const unsigned long guard = m_pGuard->Wait(timeout);
    if (!IsGuardHeld(guard))
    {
        // Nothing was taken: the message stays counted, so that a later get finds it.
        m_pPendingCount->Release(1, nullptr);
        return guard;
    }
    std::memcpy(buffer, GetHeadPtr(), m_pHeader->messageSize);
    IncrementHead();
    m_pGuard->Release();
    m_pFreeCount->Release(1, nullptr);
    return guard;
}

void* MTMailbox::GetHeadPtr()
{
    if (m_pHeader == nullptr || m_pSlots == nullptr)
        return nullptr;
    return m_pSlots + static_cast<std::size_t>(m_pHeader->head) * m_pHeader->messageSize;
}

void* MTMailbox::GetTailPtr()
{
    if (m_pHeader == nullptr || m_pSlots == nullptr)
        return nullptr;
    return m_pSlots + static_cast<std::size_t>(m_pHeader->tail) * m_pHeader->messageSize;
}

void MTMailbox::IncrementHead()
{
    if (m_pHeader != nullptr && m_pHeader->maxMessages != 0)
        m_pHeader->head = (m_pHeader->head + 1) % m_pHeader->maxMessages;
}

void MTMailbox::IncrementTail()
{
    if (m_pHeader != nullptr && m_pHeader->maxMessages != 0)
        m_pHeader->tail = (m_pHeader->tail + 1) % m_pHeader->maxMessages;
}

void MTMailbox::CreateGuardMutexName(char* output, const char* mailboxName) const
{
    BuildName(output, CodedTexts::MailboxGuardRole, mailboxName);
}

void MTMailbox::CreateFreeCountSemaphoreName(char* output, const char* mailboxName) const
{
    BuildName(output, CodedTexts::MailboxFreeCountRole, mailboxName);
}

void MTMailbox::CreatePendingCountSemaphoreName(char* output, const char* mailboxName) const
{
    BuildName(output, CodedTexts::MailboxPendingCountRole, mailboxName);
}
