// Up to 64 wait handles waited on together. The order of the entries is the priority of a
// wait: when several are signalled, the lowest index is reported, so a thread puts its stop
// event at index 0. The collection stores handle values and owns nothing; no operation tests
// a handle for validity (a bad one makes the wait fail with 0xFFFFFFFF).
//
// Built and waited on by one thread; Wait is const, so several threads may wait on one
// finished collection.
#pragma once

#include "frame/MTKernel.h"

class WEFTCORE_API MTWaitableCollection
{
public:
    static constexpr long MaxCount = MAXIMUM_WAIT_OBJECTS;

    MTWaitableCollection();

    long GetCount() const;
    // Each add gives false, and changes nothing, when the collection is full.
    bool AddObject(const MTWaitableObject* object);  // also false for a null pointer
    bool AddObject(const MTWaitableObject& object);
    bool AddObject(void* const handle);
    // Moves every entry up one index and puts the object at index 0.
    bool InsertObjectAtHead(const MTWaitableObject& object);
    // Appends the other's handles in order until full; false if not all fitted. What fitted stays.
    bool AddCollection(const MTWaitableCollection& other);
    // WaitForMultipleObjects over the entries, its result unchanged. An empty collection gives
    // 0xFFFFFFFF at once, without a platform call and without touching the last error.
    unsigned long Wait(bool waitForAll, unsigned long timeout) const;
    void Clear();

private:
    void* m_handles[MaxCount];
    long m_count;
};
