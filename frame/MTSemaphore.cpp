#include "frame/MTSemaphore.h"

MTSemaphore::MTSemaphore(int initialCount, int maximumCount, const char* name, _SECURITY_ATTRIBUTES* attributes)
{
    TakeCreated(::CreateSemaphoreA(attributes, initialCount, maximumCount, name), name);
}

MTSemaphore::MTSemaphore(const char* name, bool inherit, unsigned long access)
{
    TakeOpened(::OpenSemaphoreA(access, inherit, name));
}

MTSemaphore::~MTSemaphore() = default;

void MTSemaphore::Release(long count, long* previous)
{
    LONG before;  // written by a release that succeeds, and read only then
    if (::ReleaseSemaphore(m_handle, count, &before) && previous != nullptr)
        *previous = before;
}
