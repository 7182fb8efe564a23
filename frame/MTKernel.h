// Waitable kernel objects: the interface of everything waitable, and the owner of one handle.
//
//   MTEvent ready(true);              // manual-reset, unnamed
//   if (MTKernel::DidWaitSucceed(ready.Wait(500), 1)) { ... }
//
// Nothing here throws. A failed create or open leaves a living object with no valid handle
// and the system error in GetStatus(); operations on it give the platform's failure results.
#pragma once

#include "module/WeftCoreApi.h"

// Anything a thread can wait on: a handle and the last system error that touched it.
class WEFTCORE_API MTWaitableObject
{
public:
    MTWaitableObject() = default;
    MTWaitableObject(const MTWaitableObject&) = default;
    MTWaitableObject(MTWaitableObject&&) = default;
    MTWaitableObject& operator=(const MTWaitableObject&) = default;
    MTWaitableObject& operator=(MTWaitableObject&&) = default;

    virtual void* GetHandle() const = 0;
    virtual unsigned long GetStatus() const = 0;
};

// Owns one kernel handle and closes it once, in its destructor. Copies are member-wise:
// they share the handle value, and only one of them may be destroyed while it is open.
//
// Status: 0 means no error; 183 (ERROR_ALREADY_EXISTS) after a named create is no failure.
// A later success never clears the status.
class WEFTCORE_API MTKernel : public MTWaitableObject
{
public:
    MTKernel();
    MTKernel(const MTKernel&) = default;
    MTKernel& operator=(const MTKernel&) = default;

    void* GetHandle() const override;
    unsigned long GetStatus() const override;
    // Pure so that the class cannot stand alone; the body closes the handle for every derived class.
    virtual ~MTKernel() = 0;

    // A handle is valid unless it is null or all ones (INVALID_HANDLE_VALUE).
    bool IsValidHandle() const;
    static bool IsValidHandle(void* const handle);

    // WaitForSingleObject on the handle: 0 signalled, 128 abandoned mutex, 258 time-out, 0xFFFFFFFF failure.
    unsigned long Wait(unsigned long timeout);
    // Waits on this object (index 0) and other (index 1); the raw WaitForMultipleObjects result.
    unsigned long WaitForTwo(const MTWaitableObject& other, bool waitForAll, unsigned long timeout);

    // Decoders of wait results; count is the number of handles the wait covered.
    static bool DidWaitSucceed(unsigned long result, unsigned long count);
    static unsigned long WaitSucceededIndex(unsigned long result);
    static bool DidWaitAbandon(unsigned long result, unsigned long count);
    static unsigned long WaitAbandonedIndex(unsigned long result);

protected:
    // Stores the handle of a create call and reads the last error if the handle is bad or a
    // name was given, so that 183 tells a joiner of a named object from its creator.
    void TakeCreated(void* handle, const char* name);
    // Stores the handle of an open call; reads the last error only if the handle is bad.
    void TakeOpened(void* handle);

    void* m_handle;
    unsigned long m_status;
};
