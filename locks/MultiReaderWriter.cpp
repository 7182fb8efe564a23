#include "locks/MultiReaderWriter.h"

MultiReaderWriter::MultiReaderWriter()
    : m_nReaders(0), m_writeLock(1, 1, nullptr, nullptr), m_readerGuard(false, nullptr, nullptr)
{
}

MultiReaderWriter::~MultiReaderWriter() = default;

void MultiReaderWriter::GrantReaderAccess()
{
    m_readerGuard.Wait(INFINITE);
    // The first reader takes the write lock for the group, holding the guard meanwhile, so that
    // later readers queue behind it rather than pass a writer inside.
    if (++m_nReaders == 1)
        m_writeLock.Wait(INFINITE);
    m_readerGuard.Release();
}

void MultiReaderWriter::ReleaseReaderAccess()
{
    m_readerGuard.Wait(INFINITE);
    if (--m_nReaders == 0)
        m_writeLock.Release(1, nullptr);
    m_readerGuard.Release();
}

void MultiReaderWriter::GrantWriterAccess()
{
    m_writeLock.Wait(INFINITE);
}

void MultiReaderWriter::ReleaseWriterAccess()
{
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
