#include "app/SingleAdminGate.h"

#include "locks/MTAutoLock.h"

SingleAdminGate::SingleAdminGate() : m_bTaken(false)
{
}

SingleAdminGate::~SingleAdminGate() = default;

bool SingleAdminGate::Try()
{
    MTAutoLock hold(&m_lock);
    if (m_bTaken)
        return false;
    m_bTaken = true;
    return true;
}

void SingleAdminGate::Leave()
{
    MTAutoLock hold(&m_lock);
    m_bTaken = false;
}
