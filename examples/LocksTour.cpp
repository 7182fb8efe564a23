// Tour: a monitor handing items from a producer thread to a consumer, and readers sharing a
// readers-writer lock while a writer waits for them.
#include "TourSteps.h"

#include "weftcore.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace
{
struct SlotIs : MTCondition
{
    SlotIs(const int& slot, bool full) : m_slot(slot), m_full(full) {}
    bool IsSatisfied() override { return (m_slot != 0) == m_full; }
    const int& m_slot;
    bool m_full;
};
}  // namespace

WEFT_TOUR_STEP(LocksTour, 15, "Monitor hand-off, and readers sharing a readers-writer lock")
{
    using weft::tour::Say;
    MTMonitor monitor;
    int slot = 0;  // 0 is empty
    SlotIs empty(slot, false), full(slot, true);
    std::thread producer([&] {
        for (int item = 1; item <= 3; ++item)
        {
            monitor.Enter();
            monitor.WaitForCondition(&empty);  // back inside with the slot empty, no loop
            slot = item;
            Say("producer put %d", item);
            monitor.Leave();                   // hands the monitor to the consumer, waiting for a full slot
        }
    });
    for (int i = 0; i < 3; ++i)
    {
        monitor.Enter();
        monitor.WaitForCondition(&full);
        Say("consumer took %d", slot);
        slot = 0;
        monitor.Leave();
    }
    producer.join();

    MultiReaderWriter lock;
    std::atomic<int> inside{0}, most{0};
    MTEvent bothIn(true);
    auto reader = [&] {
        MultiReaderWriterAccess read(lock, true);
        most = std::max(most.load(), ++inside);
        if (inside == 2)
            bothIn.Set();
        bothIn.Wait(2000);  // each stays until both are in
        --inside;
    };
    std::thread first(reader), second(reader);
    first.join();
    second.join();
    {
        MultiReaderWriterAccess write(lock, false);
        Say("%d readers were inside at once; the writer came in after them", most.load());
    }
}
