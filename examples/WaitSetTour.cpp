// Tour: a wait set of several kinds of kernel object, and which one a wait reports.
#include "TourSteps.h"

#include "weftcore.h"

#include <thread>
#include <vector>

namespace
{
// Waits once on the set, whose entries have these names, and tells which entry ended the wait.
void WaitAndTell(const MTWaitableCollection& set, const std::vector<const char*>& names, DWORD timeout)
{
    const unsigned long result = set.Wait(false, timeout);
    const unsigned long count = static_cast<unsigned long>(set.GetCount());
    if (MTKernel::DidWaitSucceed(result, count))
        weft::tour::Say("wait set: the %s fired (result %lu)", names[MTKernel::WaitSucceededIndex(result)], result);
    else if (MTKernel::DidWaitAbandon(result, count))
        weft::tour::Say("wait set: the %s was abandoned, and is now owned by this thread (result %lu)",
                        names[MTKernel::WaitAbandonedIndex(result)], result);
    else
        weft::tour::Say("wait set: %s (result %lu)", result == WAIT_TIMEOUT ? "time-out, nothing fired" : "failed",
                        result);
}

void Arm(HANDLE timer, long long ms)
{
    LARGE_INTEGER due;
    due.QuadPart = -ms * 10000;  // relative, in 100 ns units
    SetWaitableTimer(timer, &due, 0, nullptr, nullptr, FALSE);
}
}  // namespace

WEFT_TOUR_STEP(WaitSetTour, 5, "Wait set: several kernel objects, and which one fired")
{
    using weft::tour::Say;
    MTEvent event(false, false);
    MTSemaphore semaphore(0, 5);
    MTMutex mutex;
    HANDLE timer = CreateWaitableTimerA(nullptr, FALSE, nullptr);  // auto-reset: a wait consumes it

    MTEvent taken(true, false), release(true, false);
    std::thread holder([&] {
        mutex.Wait(5000);
        taken.Set();
        release.Wait(5000);  // then ends without releasing the mutex
    });
    taken.Wait(5000);

    MTWaitableCollection set;
    set.AddObject(event);
    set.AddObject(semaphore);
    set.AddObject(mutex);
    set.AddObject(timer);
    const std::vector<const char*> all = {"event", "semaphore", "mutex", "timer"};
    Arm(timer, 150);
    Say("%ld entries: an auto-reset event, a semaphore at 0, a mutex another thread holds, a timer due in 150 ms",
        set.GetCount());
    WaitAndTell(set, all, 2000);

    release.Set();
    holder.join();
    Say("the mutex's holder ended without releasing it");
    WaitAndTell(set, all, 2000);
    mutex.Release();

    set.Clear();  // a free mutex would end every wait: it leaves the set
    set.AddObject(event);
    set.AddObject(semaphore);
    set.AddObject(timer);
    const std::vector<const char*> three = {"event", "semaphore", "timer"};
    semaphore.Release(1, nullptr);
    event.Set();
    Say("the mutex left the set; semaphore released and event set together: the lowest index wins");
    WaitAndTell(set, three, 2000);  // the auto-reset event is consumed,
    WaitAndTell(set, three, 2000);  // so the semaphore's count comes next,
    WaitAndTell(set, three, 100);   // and then nothing is left

    semaphore.Release(1, nullptr);
    event.Set();
    Arm(timer, 100);
    Say("semaphore released, event set, timer due in 100 ms; waiting for all three");
    const unsigned long result = set.Wait(true, 2000);
    Say("wait set: %s (result %lu)", result == WAIT_OBJECT_0 ? "all three at once, when the timer fired" : "no",
        result);
    CloseHandle(timer);
}
