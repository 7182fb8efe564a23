// A named, bounded queue of fixed-size messages between processes: a ring of slots in shared
// memory, one mutex that guards the ring, and two counting semaphores, one for free slots and
// one for pending messages. Any number of threads and processes may post and get at once.
//
//   MTMailbox box(16, sizeof(Request), "orders", nullptr);   // create, or join an existing one
//   if (box.GetStatus() == 0 || box.GetStatus() == 183)
//       box.Post(&request, 1000);
//
//   MTMailbox reader("orders");                               // open an existing one
//   reader.GetAlertable(&request, &stopEvent, INFINITE);
//
// A message is an opaque block of exactly the mailbox's message size; a message pointer and a
// buffer must each have that many bytes. Messages come out in the order in which the operations
// took the guard: with one poster and one getter, first in, first out.
//
// Shared layout (the same bytes in every process): a header of five little-endian 32-bit
// numbers, maxMessages, messageSize, headerSize (always 20), head and tail, and the slots right
// behind it, slot i at offset 20 + i * messageSize, unpadded. The kernel objects carry names
// derived from the mailbox name; the mapping has the mailbox name itself.
//
// Names: at most MaxNameLength() characters, so that the derived names fit their buffers. A
// null or empty name gives an unnamed block but derived names that all such mailboxes share.
//
// Time-outs are milliseconds, 0 polls and 0xFFFFFFFF waits without limit. Every transfer waits
// twice, for a count and then for the guard, each with the whole time-out, so it can take up to
// twice its time-out. Nothing here throws; nothing is allocated after construction.
#pragma once

#include "frame/MTEvent.h"
#include "frame/MTMutex.h"
#include "frame/MTSemaphore.h"
#include "frame/MTWaitableCollection.h"
#include "ipc/MTSharedMemory.h"

class WEFTCORE_API MTMailbox
{
public:
    // Creates the mailbox, or joins it if the name exists. Whoever creates the guard mutex holds
    // it until the header is written, so a joiner never sees half a header, and exactly one
    // object writes it (IsCreator). Status afterwards:
    //   0    this object created the mapping;                       usable
    //   183  the mapping existed and was joined;                    usable
    //   87   the existing mailbox has another slot count or message size: this object works
    //        with the existing ones (see GetProperties);            usable
    //   206  a name over MaxNameLength(); only the mapping was made
    //   8    no memory for a kernel-object wrapper
    //   13   the block holds no sound header: never written (its creator failed or died while
    //        creating it), an index not below the slot count, or slots beyond the block; also
    //        a shape whose size does not fit 32 bits
    //   other  the system error of the mapping, the view, the guard or a semaphore (a slot
    //        count of 0 gives the semaphore's).
    // A message size of 0 makes a mailbox of empty messages. The attributes go to the mapping,
    // the mutex and both semaphores.
    MTMailbox(unsigned long slots, unsigned long messageSize, const char* name, _SECURITY_ATTRIBUTES* attributes);
    // Opens an existing mailbox; its numbers come from GetProperties. Status 0, the system error
    // of a part that does not open (2 for a missing name), or as above. IsCreator() is false.
    explicit MTMailbox(const char* name);
    // Member-wise: a copy shares the kernel objects and the view, and only one copy may be
    // destroyed.
    MTMailbox(const MTMailbox&) = default;
    MTMailbox& operator=(const MTMailbox&) = default;
    // Closes this object's handles and view. Pending messages stay for the other holders; the
    // mailbox goes with its last holder.
    virtual ~MTMailbox();

    // True if this object wrote the header: it created the mailbox.
    bool IsCreator() const;
    unsigned long GetStatus() const;
    // Slot count and message size from the shared header; false, both untouched, if unusable.
    bool GetProperties(unsigned long& slots, unsigned long& messageSize) const;
    // Longest mailbox name that leaves room for the derived kernel-object names.
    static unsigned long MaxNameLength();

    // Post, Get and their event forms: true if the message moved, false if it did not (unusable
    // mailbox, null pointer, time-out, failed wait) -- and, for Post and Get only, also false when
    // the guard had been abandoned by a holder that died: the message then did move.
    // Post stores a copy of the message; blocks while no slot is free.
    bool Post(const void* message, unsigned long timeout);
    // Get copies the oldest message into buffer; blocks while nothing is pending.
    bool Get(void* buffer, unsigned long timeout);
    // As Post and Get, unless the alert is signalled first: the alert has priority over the count,
    // and a signalled auto-reset alert is consumed. A null alert makes them Post and Get.
    // An abandoned guard gives true.
    bool PostAlertable(const void* message, MTEvent* alert, unsigned long timeout);
    bool GetAlertable(void* buffer, MTEvent* alert, unsigned long timeout);
    // Collection forms: the count waits at index 0, the caller's alerts behind it in their order
    // (with 64 alerts the last is left out), and the count has priority. Results:
    //   0                  the message moved (also when the guard had been abandoned)
    //   1 .. n-1           alert at index result - 1 of `alerts` was signalled; nothing moved
    //   129 .. 128+n-1     a mutex among the alerts at index result - 129 was abandoned and is
    //                      now owned by the caller; nothing moved
    //   128                unusable mailbox or null pointer; no wait took place
    //   258                time-out of either wait; nothing moved
    //   0xFFFFFFFF         a wait failed; nothing moved
    unsigned long PostAlertable(const void* message, const MTWaitableCollection& alerts, unsigned long timeout);
    unsigned long GetAlertable(void* buffer, const MTWaitableCollection& alerts, unsigned long timeout);

private:
    struct Header;
    // Room for a derived name and its terminator.
    static constexpr unsigned long NameBufferSize = 257;

    // Addresses of slot head and slot tail; null without a header.
    void* GetHeadPtr();
    void* GetTailPtr();
    // The index advances by one modulo maxMessages.
    void IncrementHead();
    void IncrementTail();
    // wsprintfA(output, format, role, mailboxName); output needs NameBufferSize characters.
    void CreateGuardMutexName(char* output, const char* mailboxName) const;
    void CreateFreeCountSemaphoreName(char* output, const char* mailboxName) const;
    void CreatePendingCountSemaphoreName(char* output, const char* mailboxName) const;

    bool IsUsable() const;
    // After a free count was taken: store under the guard, then add a pending count. After a
    // pending count was taken: take under the guard, then add a free count. Either gives the
    // guard wait's result; when the guard was not had, the count taken is given back.
    unsigned long StoreUnderGuard(const void* message, unsigned long timeout);
    unsigned long TakeUnderGuard(void* buffer, unsigned long timeout);
    // The steps both constructors share once the mapping is there: the names are built, the
    // guard is created (create) or opened and held, the counts made or opened, the header
    // written or checked, and the guard given up again on every way out.
    void Attach(bool create, unsigned long slots, unsigned long messageSize, const char* name,
                _SECURITY_ATTRIBUTES* attributes);

    // Test code reaches the derived names through this.
    friend struct MTMailboxProbe;

    MTSharedMemory m_memory;  // declared first: built first in every constructor
    bool m_bCreator;
    unsigned long m_status;
    Header* m_pHeader;
    unsigned char* m_pSlots;
    MTMutex* m_pGuard;
    MTSemaphore* m_pFreeCount;
    MTSemaphore* m_pPendingCount;
};
