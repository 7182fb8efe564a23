// A monitor: one lock, and threads that wait inside it for conditions on the state it guards.
// There is no notify: each time a thread leaves (or starts to wait), the monitor tests the
// waiting conditions, oldest first, and hands the lock straight to the first waiter whose test
// is true. A waiter that returns owns the monitor and its condition held at the hand-over, so it
// needs no loop.
//
//   MTMonitor monitor;
//   NotEmpty notEmpty(queue);                  // an MTCondition
//   monitor.Enter();
//   monitor.WaitForCondition(&notEmpty);       // back inside, with the queue not empty
//   int item = queue.front(); queue.pop_front();
//   monitor.Leave();                           // hands over to a waiter whose test is true
//
// A waiter with a true condition goes before any thread in Enter. Enter is not recursive: the
// lock is a count of requests with a semaphore for those that must wait, so the monitor can
// change hands without being released, and costs no kernel call while nobody waits.
//
// Failures: GetStatus gives the semaphore's creation error (do not use such a monitor), or 14
// once a wait found no node, and stays so. Waits have no time-out.
#pragma once

#include "frame/MTSemaphore.h"
#include "locks/MTCondition.h"

class WEFTCORE_API MTMonitor
{
public:
    // A node of the lists of waiting conditions and spare nodes: circular, doubly linked, with
    // the head inside the monitor.
    struct MTConditionNode
    {
        ~MTConditionNode();
        MTCondition* m_pCondition = nullptr;
        MTConditionNode* m_pNext = nullptr;
        MTConditionNode* m_pPrev = nullptr;
    };

    MTMonitor();
    // Member-wise: a copy's lists lead into the source, so a copy is no working monitor.
    MTMonitor(const MTMonitor&) = default;
    MTMonitor& operator=(const MTMonitor&) = default;
    // Frees every node; nobody may be inside or waiting.
    virtual ~MTMonitor();

    // Waits without limit for the lock.
    void Enter();
    // Hands the monitor to the oldest waiter whose condition holds, or frees it.
    void Leave();
    // Inside the monitor only. True at once if the condition holds; otherwise gives the monitor
    // away (the scan includes this condition) and returns true once handed it back with the
    // condition true. False for a null condition, or with status 14 when no node could be had;
    // the caller is still inside then.
    bool WaitForCondition(MTCondition* condition);
    unsigned long GetStatus() const;

private:
    void LeaveAndScanConditions();
    MTConditionNode* AllocateNodeForCondition(MTCondition* condition);
    void AppendConditionNode(MTConditionNode* node);
    void RemoveConditionNode(MTConditionNode* node) const;
    void AddToFreeList(MTConditionNode* node);
    void Cleanup();

    unsigned long m_status;
    // Threads inside or in Enter; a waiter on a condition is not counted, the leave that hands it
    // the monitor passes its own count on.
    volatile long m_nLockRequests;
    // Parks the threads in Enter that found the monitor held.
    MTSemaphore m_lock;
    MTConditionNode m_conditions;
    MTConditionNode m_freeNodes;
};
