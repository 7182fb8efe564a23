#include "locks/MultiReaderWriter.h"

namespace
{
constexpr long long OneReader = 1;
constexpr long long OneRequest = 1LL << 32;

long long Readers(long long state)
{
    return state & 0xFFFFFFFF;
}

long long Requests(long long state)
{
    return state >> 32;
}

// A reader that finds readers inside joins them, also past waiting writers; one that finds the
// lock free takes the write side for a new group. Otherwise the state stays: the reader must wait.
long long Joined(long long state)
{
    if (Readers(state) > 0)
        return state + OneReader;
    return Requests(state) == 0 ? state + OneReader + OneRequest : state;
}

// Applies change to the word until no other thread changed it meanwhile; gives the state that
// the change was applied to. A change that leaves the state as it is stores nothing.
template <class Change>
long long Update(volatile long long& word, Change change)
{
    for (long long seen = word;;)
    {
        const long long wanted = change(seen);
        if (wanted == seen)
            return seen;
        const long long found = ::InterlockedCompareExchange64(&word, wanted, seen);
        if (found == seen)
            return seen;
        seen = found;
    }
}
}  // namespace

// The semaphore starts taken: the word tells a free lock, and the semaphore only parks the
// threads that found the write side held.
MultiReaderWriter::MultiReaderWriter()
    : m_state(0), m_writeLock(0, 1, nullptr, nullptr), m_readerGuard(false, nullptr, nullptr)
{
}

MultiReaderWriter::~MultiReaderWriter() = default;

void MultiReaderWriter::GrantReaderAccess()
{
    const long long seen = Update(m_state, Joined);
    if (Joined(seen) != seen)
        return;
    // A writer holds the write side or waits for it. The first reader of the next group counts
    // the group's request and waits for the write side holding the guard, so that later readers
    // queue behind it rather than pass a writer inside.
    m_readerGuard.Wait(INFINITE);
    const long long before = Update(m_state, [](long long s) { return Joined(s) != s ? Joined(s) : s + OneRequest; });
    if (Joined(before) == before)
    {
        m_writeLock.Wait(INFINITE);
        ::InterlockedAdd64(&m_state, OneReader);
    }
    m_readerGuard.Release();
}

void MultiReaderWriter::ReleaseReaderAccess()
{
    const long long seen = Update(m_state, [](long long s) {
        if (Readers(s) == 0)
            return s;
        return Readers(s) == 1 ? s - OneReader - OneRequest : s - OneReader;
    });
    // The last reader gives the write side up, to a request that waits for it.
    if (Readers(seen) == 1 && Requests(seen) > 1)
        m_writeLock.Release(1, nullptr);
}

void MultiReaderWriter::GrantWriterAccess()
{
    if (Requests(::InterlockedAdd64(&m_state, OneRequest)) > 1)
        m_writeLock.Wait(INFINITE);
}

void MultiReaderWriter::ReleaseWriterAccess()
{
    // With readers inside, or no request at all, no writer holds the write side.
    const long long seen =
        Update(m_state, [](long long s) { return Readers(s) > 0 || Requests(s) == 0 ? s : s - OneRequest; });
    if (Readers(seen) == 0 && Requests(seen) > 1)
        m_writeLock.Release(1, nullptr);
}

MultiReaderWriterAccess::MultiReaderWriterAccess(MultiReaderWriter& lock, bool read) : m_bRead(read), m_pLock(&lock)
{
    if (m_bRead)
        m_pLock->GrantReaderAccess();
    else
        m_pLock->GrantWriterAccess();
}

MultiReaderWriterAccess::~MultiReaderWriterAccess()
{
    if (m_bRead)
        m_pLock->ReleaseReaderAccess();
    else
        m_pLock->ReleaseWriterAccess();
}
