#include "weftbase/SmartHANDLE.h"

#include <utility>

namespace
{
bool IsValidHandle(HANDLE handle)
{
    return handle != nullptr && handle != INVALID_HANDLE_VALUE;
}

void CloseKeepingError(HANDLE handle)
{
    if (!IsValidHandle(handle))
        return;
    const DWORD saved = ::GetLastError();
    ::CloseHandle(handle);
    ::SetLastError(saved);
}
}  // namespace

SmartHANDLE::SmartHANDLE() : m_hHandle(nullptr)
{
}

SmartHANDLE::SmartHANDLE(HANDLE handle) : m_hHandle(handle)
{
}

SmartHANDLE::SmartHANDLE(SmartHANDLE&& other) noexcept : m_hHandle(std::exchange(other.m_hHandle, nullptr))
{
}

SmartHANDLE& SmartHANDLE::operator=(SmartHANDLE&& other) noexcept
{
    if (&other != this)
        *this = other.Detach();
    return *this;
}

SmartHANDLE::~SmartHANDLE()
{
    CloseKeepingError(m_hHandle);
}

SmartHANDLE& SmartHANDLE::operator=(HANDLE handle)
{
    if (handle != m_hHandle)
    {
        CloseKeepingError(m_hHandle);
        m_hHandle = handle;
    }
    return *this;
}

SmartHANDLE::operator HANDLE() const
{
    return m_hHandle;
}

bool SmartHANDLE::IsValid() const
{
    return IsValidHandle(m_hHandle);
}

void SmartHANDLE::Close()
{
    CloseKeepingError(m_hHandle);
    m_hHandle = nullptr;
}

HANDLE SmartHANDLE::Detach()
{
    return std::exchange(m_hHandle, nullptr);
}
