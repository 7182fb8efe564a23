// A kernel semaphore.
#pragma once

#include "frame/MTKernel.h"

class WEFTCORE_API MTSemaphore : public MTKernel
{
public:
    // CreateSemaphoreA.
    MTSemaphore(int initialCount, int maximumCount, const char* name = nullptr,
                _SECURITY_ATTRIBUTES* attributes = nullptr);
    // OpenSemaphoreA with the access asked for.
    MTSemaphore(const char* name, bool inherit, unsigned long access);
    MTSemaphore(const MTSemaphore&) = default;
    MTSemaphore(MTSemaphore&&) = default;
    MTSemaphore& operator=(const MTSemaphore&) = default;
    MTSemaphore& operator=(MTSemaphore&&) = default;
    ~MTSemaphore() override;

    // ReleaseSemaphore by count. On success *previous (if given) gets the count before the
    // release. A failure (298 past the maximum) changes nothing: not the count, not *previous,
    // not the status.
    void Release(long count, long* previous);
};
