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
// Built of a count, a semaphore (held by one writer or by the readers as a group) and a mutex
// that guards the count, so every grant and release makes kernel calls. No time-outs, no try,
// no upgrade: a reader that asks to write, or a writer that asks again, blocks for good.
// Releases must pair with grants; nothing checks them.
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
    int m_nReaders;
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
