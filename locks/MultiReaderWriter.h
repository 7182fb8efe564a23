// A readers-writer lock with reader preference: any number of readers at once, or one writer.
// The first reader of a group locks the writers out; later readers join at once, even past
// waiting writers; writers get in when the last reader has left, which may be another thread
// than the first.
//
//   MultiReaderWriter lock;
//   {
//       MultiReaderWriterAccess read(lock, true);    // shared, until the end of the scope
//   }
//
// Built of one 64-bit state word, a semaphore and a mutex. The word counts the readers inside and
// the requests for the write side (each writer, and a group of readers as one); a grant or
// release that finds nobody to wait for or to wake is one interlocked operation. The semaphore
// parks the writers, and the first reader of a group, while the write side is held; the mutex
// queues the later readers behind that first one. No time-outs, no try, no upgrade: a reader that
// asks to write, or a writer that asks again, blocks for good. A release without a grant to pair
// with is ignored; one that pairs with another thread's grant is taken as that grant's.
#pragma once

#include "frame/MTMutex.h"
#include "frame/MTSemaphore.h"

class WEFTCORE_API MultiReaderWriter
{
public:
    MultiReaderWriter();
    // Member-wise: a copy shares the kernel objects with a count of its own, so it is no lock.
    MultiReaderWriter(const MultiReaderWriter&) = default;
    MultiReaderWriter& operator=(const MultiReaderWriter&) = default;
    virtual ~MultiReaderWriter();

    void GrantReaderAccess();
    void ReleaseReaderAccess();
    void GrantWriterAccess();
    void ReleaseWriterAccess();

private:
    // Low half: readers inside. High half: requests for the write side, held or waiting.
    volatile long long m_state;
    MTSemaphore m_writeLock;
    MTMutex m_readerGuard;
};

// Read or write access for the length of a scope.
class WEFTCORE_API MultiReaderWriterAccess
{
public:
    MultiReaderWriterAccess(MultiReaderWriter& lock, bool read);
    ~MultiReaderWriterAccess();
    MultiReaderWriterAccess(const MultiReaderWriterAccess&) = delete;
    MultiReaderWriterAccess& operator=(const MultiReaderWriterAccess&) = delete;

private:
    bool m_bRead;
    MultiReaderWriter* m_pLock;
};
