// Monitor: a producer and a consumer hand items over through one slot. A waiter gets the
// monitor back with its condition true, so no loop around the wait is needed.
#include "weftcore.h"

#include <cstdio>
#include <thread>

namespace
{
struct SlotIs : MTCondition
{
    SlotIs(const int& slot, bool full) : m_slot(slot), m_full(full) {}
    bool IsSatisfied() override { return (m_slot != 0) == m_full; }  // runs inside the monitor
    const int& m_slot;
    bool m_full;
};
}  // namespace

int main()
{
    MTMonitor monitor;
    int slot = 0;  // 0: empty
    SlotIs empty(slot, false), full(slot, true);

    std::thread producer([&] {
        for (int item = 1; item <= 5; ++item)
        {
            monitor.Enter();
            monitor.WaitForCondition(&empty);  // inside again, with the slot empty
            slot = item;
            monitor.Leave();                   // hands the monitor to the waiting consumer
        }
    });
    for (int i = 0; i < 5; ++i)
    {
        monitor.Enter();
        monitor.WaitForCondition(&full);
        std::printf("took %d\n", slot);
        slot = 0;
        monitor.Leave();
    }
    producer.join();
    return monitor.GetStatus() == 0 ? 0 : 1;
}
