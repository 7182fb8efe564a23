// A class that carries its own critical section, to be used as a member or a base:
//
//   class Counter : public Lockable { ... void Add() { Lock(); ++m_nCount; Unlock(); } };
//
// Recursive for the holding thread, within one process. Not copyable.
#pragma once

#include "locks/MTCritSec.h"

class WEFTCORE_API Lockable
{
public:
    Lockable();
    Lockable(const Lockable&) = delete;
    Lockable& operator=(const Lockable&) = delete;
    virtual ~Lockable();

    // Enters the section, blocking without limit.
    void Lock();
    // Leaves it; only the holding thread may.
    void Unlock();

protected:
    MTCritSec m_lock;
};
