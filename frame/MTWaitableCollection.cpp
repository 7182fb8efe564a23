#include "frame/MTWaitableCollection.h"

// The array is left uninitialised: only the first m_count entries are ever read.
MTWaitableCollection::MTWaitableCollection() : m_count(0)
{
}

long MTWaitableCollection::GetCount() const
{
    return m_count;
}

bool MTWaitableCollection::AddObject(const MTWaitableObject* object)
{
    return object != nullptr && AddObject(object->GetHandle());
}

bool MTWaitableCollection::AddObject(const MTWaitableObject& object)
{
    return AddObject(object.GetHandle());
}

bool MTWaitableCollection::AddObject(void* const handle)
{
    if (m_count >= MaxCount)
        return false;
    m_handles[m_count++] = handle;
    return true;
}

bool MTWaitableCollection::InsertObjectAtHead(const MTWaitableObject& object)
{
    if (m_count >= MaxCount)
        return false;
    for (long i = m_count; i > 0; --i)
        m_handles[i] = m_handles[i - 1];
    m_handles[0] = object.GetHandle();
    ++m_count;
    return true;
}

bool MTWaitableCollection::AddCollection(const MTWaitableCollection& other)
{
    // Read the other's count first: adding a collection to itself appends its original entries.
    const long count = other.m_count;
    for (long i = 0; i < count; ++i)
        if (!AddObject(other.m_handles[i]))
            return false;
    return true;
}

unsigned long MTWaitableCollection::Wait(bool waitForAll, unsigned long timeout) const
{
    if (m_count == 0)
        return WAIT_FAILED;
    return ::WaitForMultipleObjects(static_cast<DWORD>(m_count), m_handles, waitForAll ? TRUE : FALSE, timeout);
}

void MTWaitableCollection::Clear()
{
    m_count = 0;
}
