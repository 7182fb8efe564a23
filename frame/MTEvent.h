// A kernel event. Auto-reset events let one waiter through and clear themselves;
// manual-reset events stay set until Reset.
#pragma once

#include "frame/MTKernel.h"

class WEFTCORE_API MTEvent : public MTKernel
{
public:
    // CreateEventA. Defaults: auto-reset, not set, unnamed, default security.
    explicit MTEvent(bool manualReset = false, bool initiallySet = false, const char* name = nullptr,
                     _SECURITY_ATTRIBUTES* attributes = nullptr);
    // OpenEventA with the access asked for.
    MTEvent(const char* name, bool inherit, unsigned long access);
    MTEvent(const MTEvent&) = default;
    MTEvent(MTEvent&&) = default;
    MTEvent& operator=(const MTEvent&) = default;
    MTEvent& operator=(MTEvent&&) = default;
    ~MTEvent() override;

    // The platform's results of these three are not kept.
    void Set();
    void Reset();
    void Pulse();
    // A zero wait: true if signalled. On an auto-reset event this consumes the signal.
    bool IsSet();
};
