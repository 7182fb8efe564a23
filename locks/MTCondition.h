// What a thread waits for inside an MTMonitor: a test of the state the monitor guards. An
// application derives from it and writes IsSatisfied; nobody signals a condition, the monitor
// runs the tests itself whenever a thread leaves it or starts to wait.
//
//   struct NotEmpty : MTCondition
//   {
//       explicit NotEmpty(const std::deque<int>& q) : m_queue(q) {}
//       bool IsSatisfied() override { return !m_queue.empty(); }
//       const std::deque<int>& m_queue;
//   };
//
// IsSatisfied runs on the thread that leaves the monitor, inside it: it may read the guarded
// state without a lock, must not block, and must not call the monitor.
#pragma once

#include "frame/MTEvent.h"

class WEFTCORE_API MTCondition
{
public:
    // Creates the auto-reset event the waiting thread blocks on.
    MTCondition();
    // Member-wise: a copy shares the event.
    MTCondition(const MTCondition&) = default;
    MTCondition& operator=(const MTCondition&) = default;

    // True if the thing waited for holds now. The first slot of the virtual table, before the
    // destructor: clients built against that layout call it there.
    virtual bool IsSatisfied() = 0;
    virtual ~MTCondition();

private:
    friend class MTMonitor;
    void SignalEvent();
    void WaitForEvent();

    MTEvent m_event;
};
