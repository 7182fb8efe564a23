#include "frame/MTKernel.h"

MTKernel::MTKernel() : m_handle(nullptr), m_status(0)
{
}

MTKernel::~MTKernel()
{
    if (IsValidHandle(m_handle))
        ::CloseHandle(m_handle);
    m_handle = nullptr;
}

void* MTKernel::GetHandle() const
{
    return m_handle;
}

unsigned long MTKernel::GetStatus() const
{
    return m_status;
}

bool MTKernel::IsValidHandle() const
{
    return IsValidHandle(m_handle);
}

bool MTKernel::IsValidHandle(void* const handle)
{
    return handle != nullptr && handle != INVALID_HANDLE_VALUE;
}

unsigned long MTKernel::Wait(unsigned long timeout)
{
    return ::WaitForSingleObject(m_handle, timeout);
}

unsigned long MTKernel::WaitForTwo(const MTWaitableObject& other, bool waitForAll, unsigned long timeout)
{
    const HANDLE handles[] = {m_handle, other.GetHandle()};
    return ::WaitForMultipleObjects(ARRAYSIZE(handles), handles, waitForAll ? TRUE : FALSE, timeout);
}

bool MTKernel::DidWaitSucceed(unsigned long result, unsigned long count)
{
    return result < count;
}

unsigned long MTKernel::WaitSucceededIndex(unsigned long result)
{
    return result;
}

bool MTKernel::DidWaitAbandon(unsigned long result, unsigned long count)
{
    return result >= WAIT_ABANDONED_0 && result < WAIT_ABANDONED_0 + count;
}

unsigned long MTKernel::WaitAbandonedIndex(unsigned long result)
{
    return result - WAIT_ABANDONED_0;
}

void MTKernel::TakeCreated(void* handle, const char* name)
{
    m_handle = handle;
    if (!IsValidHandle(handle) || name != nullptr)
        m_status = ::GetLastError();
}

void MTKernel::TakeOpened(void* handle)
{
    m_handle = handle;
    if (!IsValidHandle(handle))
        m_status = ::GetLastError();
}
