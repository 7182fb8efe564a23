#include "frame/MTMutex.h"

MTMutex::MTMutex(bool initialOwner, const char* name, _SECURITY_ATTRIBUTES* attributes)
{
    TakeCreated(::CreateMutexA(attributes, initialOwner, name), name);
}

MTMutex::MTMutex(const char* name, bool inherit, unsigned long access)
{
    TakeOpened(::OpenMutexA(access, inherit, name));
}

MTMutex::~MTMutex() = default;

void MTMutex::Release()
{
    if (!::ReleaseMutex(m_handle))
        m_status = ::GetLastError();
}
