#include "locks/Lockable.h"

Lockable::Lockable() = default;

Lockable::~Lockable() = default;

void Lockable::Lock()
{
    m_lock.Enter();
}

void Lockable::Unlock()
{
    m_lock.Leave();
}
