// A kernel mutex, taken with MTKernel::Wait or MTAutoLock. A mutex whose owner ended without
// releasing it is handed to the next waiter with the abandoned result (128).
#pragma once

#include "frame/MTKernel.h"

class WEFTCORE_API MTMutex : public MTKernel
{
public:
    // CreateMutexA. Asking for initial ownership of an existing named mutex gives no ownership.
    explicit MTMutex(bool initialOwner = false, const char* name = nullptr, _SECURITY_ATTRIBUTES* attributes = nullptr);
    // OpenMutexA with the access asked for.
    MTMutex(const char* name, bool inherit, unsigned long access);
    MTMutex(const MTMutex&) = default;
    MTMutex(MTMutex&&) = default;
    MTMutex& operator=(const MTMutex&) = default;
    MTMutex& operator=(MTMutex&&) = default;
    ~MTMutex() override;

    // ReleaseMutex; a failure (288 for a thread that does not own it) stays in GetStatus.
    void Release();
};
