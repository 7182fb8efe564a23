#include "frame/MTEvent.h"

MTEvent::MTEvent(bool manualReset, bool initiallySet, const char* name, _SECURITY_ATTRIBUTES* attributes)
{
    TakeCreated(::CreateEventA(attributes, manualReset, initiallySet, name), name);
}

MTEvent::MTEvent(const char* name, bool inherit, unsigned long access)
{
    TakeOpened(::OpenEventA(access, inherit, name));
}

MTEvent::~MTEvent() = default;

void MTEvent::Set()
{
    ::SetEvent(m_handle);
}

void MTEvent::Reset()
{
    ::ResetEvent(m_handle);
}

void MTEvent::Pulse()
{
    ::PulseEvent(m_handle);
}

bool MTEvent::IsSet()
{
    return ::WaitForSingleObject(m_handle, 0) == WAIT_OBJECT_0;
}
