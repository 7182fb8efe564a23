#include "ipc/MTSharedMemory.h"

#include "frame/MTKernel.h"

MTSharedMemory::MTSharedMemory(long size, const char* name, _SECURITY_ATTRIBUTES* attributes)
    : m_bCreator(false), m_hMapping(nullptr), m_pView(nullptr)
{
    // Cleared first so that a new mapping reads as 0 whatever an earlier call left behind.
    ::SetLastError(0);
    m_hMapping = ::CreateFileMappingA(INVALID_HANDLE_VALUE, attributes, PAGE_READWRITE, 0,
                                      static_cast<DWORD>(size), name);
    m_status = ::GetLastError();
    if (!MTKernel::IsValidHandle(m_hMapping))
    {
        m_hMapping = nullptr;
        return;
    }
    m_bCreator = m_status != ERROR_ALREADY_EXISTS;
    MapWholeView();
}

MTSharedMemory::MTSharedMemory(const char* name) : m_bCreator(false), m_hMapping(nullptr), m_status(0), m_pView(nullptr)
{
    m_hMapping = ::OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, name);
    if (!MTKernel::IsValidHandle(m_hMapping))
    {
        m_status = ::GetLastError();
        m_hMapping = nullptr;
        return;
    }
    MapWholeView();
}

MTSharedMemory::~MTSharedMemory()
{
    if (m_pView != nullptr)
        ::UnmapViewOfFile(m_pView);
    m_pView = nullptr;
    if (m_hMapping != nullptr)
        ::CloseHandle(m_hMapping);
    m_hMapping = nullptr;
}

void* MTSharedMemory::GetPtr()
{
    return m_pView;
}

unsigned long MTSharedMemory::GetStatus() const
{
    return m_status;
}

bool MTSharedMemory::IsCreator() const
{
    return m_bCreator;
}

void MTSharedMemory::MapWholeView()
{
    // Offset 0 and size 0: the whole mapping, whatever size its first creator gave it.
    m_pView = ::MapViewOfFile(m_hMapping, FILE_MAP_ALL_ACCESS, 0, 0, 0);
    if (m_pView == nullptr)
        m_status = ::GetLastError();
}
