#include "locks/MTMonitor.h"

#include <initializer_list>
#include <new>

namespace
{
void LinkToSelf(MTMonitor::MTConditionNode& head)
{
    head.m_pNext = &head;
    head.m_pPrev = &head;
}

// Links node at the tail of the circular list with the given head.
void LinkAtTail(MTMonitor::MTConditionNode& head, MTMonitor::MTConditionNode* node)
{
    node->m_pPrev = head.m_pPrev;
    node->m_pNext = &head;
    head.m_pPrev->m_pNext = node;
    head.m_pPrev = node;
}
}  // namespace

MTMonitor::MTConditionNode::~MTConditionNode()
{
    m_pCondition = nullptr;
    m_pNext = nullptr;
    m_pPrev = nullptr;
}

// The semaphore starts taken: a free monitor is told by the request count, and the semaphore only
// parks the threads that found it held.
MTMonitor::MTMonitor() : m_nLockRequests(0), m_lock(0, 1, nullptr, nullptr)
{
    m_status = m_lock.GetStatus();
    if (m_status == 0)
    {
        LinkToSelf(m_conditions);
        LinkToSelf(m_freeNodes);
    }
}

MTMonitor::~MTMonitor()
{
    Cleanup();
    m_conditions = MTConditionNode();
    m_freeNodes = MTConditionNode();
}

void MTMonitor::Enter()
{
    // The first request takes the monitor without a kernel call; a later one waits until a leave
    // that finds it counted hands it the semaphore.
    if (::InterlockedIncrement(&m_nLockRequests) > 1)
        m_lock.Wait(INFINITE);
}

void MTMonitor::Leave()
{
    LeaveAndScanConditions();
}

unsigned long MTMonitor::GetStatus() const
{
    return m_status;
}

bool MTMonitor::WaitForCondition(MTCondition* condition)
{
    if (condition == nullptr)
        return false;
    if (condition->IsSatisfied())
        return true;
    MTConditionNode* node = AllocateNodeForCondition(condition);
    if (node == nullptr)
    {
        m_status = ERROR_OUTOFMEMORY;
        return false;
    }
    AppendConditionNode(node);
    // Gives the monitor away, possibly to this very condition if it turned true meanwhile: its
    // event then stays set until the wait below consumes it, so no wake-up is lost.
    LeaveAndScanConditions();
    condition->WaitForEvent();
    return true;
}

void MTMonitor::LeaveAndScanConditions()
{
    if (m_conditions.m_pNext != nullptr)
    {
        for (MTConditionNode* node = m_conditions.m_pNext; node != &m_conditions; node = node->m_pNext)
        {
            MTCondition* condition = node->m_pCondition;
            if (condition == nullptr || !condition->IsSatisfied())
                continue;
            // The lock stays taken, and its request counted: both pass to the thread waiting for
            // this condition.
            RemoveConditionNode(node);
            AddToFreeList(node);
            condition->SignalEvent();
            return;
        }
    }
    // Nobody's condition holds: the monitor is free, or passes to a thread counted in Enter.
    if (::InterlockedDecrement(&m_nLockRequests) > 0)
        m_lock.Release(1, nullptr);
}

MTMonitor::MTConditionNode* MTMonitor::AllocateNodeForCondition(MTCondition* condition)
{
    if (m_freeNodes.m_pNext != nullptr && m_freeNodes.m_pNext != &m_freeNodes)
    {
        MTConditionNode* node = m_freeNodes.m_pNext;
        RemoveConditionNode(node);
        node->m_pCondition = condition;
        node->m_pNext = node;
        node->m_pPrev = node;
        return node;
    }
    MTConditionNode* node = new (std::nothrow) MTConditionNode();
    if (node != nullptr)
        node->m_pCondition = condition;
    return node;
}

void MTMonitor::AppendConditionNode(MTConditionNode* node)
{
    if (m_conditions.m_pPrev != nullptr)  // a monitor whose lock was never made has no lists
        LinkAtTail(m_conditions, node);
}

// Both callers take the node from a list.
void MTMonitor::RemoveConditionNode(MTConditionNode* node) const
{
    node->m_pPrev->m_pNext = node->m_pNext;
    node->m_pNext->m_pPrev = node->m_pPrev;
}

// Only the scan of a monitor with lists frees a node.
void MTMonitor::AddToFreeList(MTConditionNode* node)
{
    node->m_pCondition = nullptr;
    LinkAtTail(m_freeNodes, node);
}

void MTMonitor::Cleanup()
{
    for (MTConditionNode* head : {&m_conditions, &m_freeNodes})
    {
        if (head->m_pNext == nullptr)
            continue;  // a monitor whose lock was never made has no lists
        for (MTConditionNode* node = head->m_pNext; node != head;)
        {
            MTConditionNode* next = node->m_pNext;
            delete node;
            node = next;
        }
        LinkToSelf(*head);
    }
}
