// A gate that lets at most one party into a section at a time and never blocks anyone who finds
// it taken: Try answers at once. Within one process; no kernel object.
//
//   if (gate.Try())
//   {
//       Administer();
//       gate.Leave();
//   }
//
// The gate keeps no owner: a second Try fails also on the thread that holds it, and any thread
// may Leave. Leave on an open gate changes nothing.
#pragma once

#include "locks/MTCritSec.h"

class WEFTCORE_API SingleAdminGate
{
public:
    SingleAdminGate();
    ~SingleAdminGate();
    SingleAdminGate(const SingleAdminGate&) = delete;
    SingleAdminGate& operator=(const SingleAdminGate&) = delete;

    // True if this call took the gate.
    bool Try();
    // Opens the gate.
    void Leave();

private:
    bool m_bTaken;
    MTCritSec m_lock;
};
