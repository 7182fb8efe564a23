#include "locks/MTCondition.h"

MTCondition::MTCondition() : m_event(false, false, nullptr, nullptr)
{
}

MTCondition::~MTCondition() = default;

void MTCondition::SignalEvent()
{
    m_event.Set();
}

void MTCondition::WaitForEvent()
{
    m_event.Wait(INFINITE);
}
