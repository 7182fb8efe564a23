// Wait set: a stop event and two work events waited on together. The lowest signalled index
// wins, so the stop event goes first.
#include "weftcore.h"

#include <cstdio>

int main()
{
    MTEvent stop(true);                  // manual-reset: stays set once set
    MTEvent jobs(false), logs(false);    // auto-reset: each wait takes one signal

    MTWaitableCollection waits;
    waits.AddObject(stop);               // index 0
    waits.AddObject(jobs);               // index 1
    waits.AddObject(logs);               // index 2

    logs.Set();
    jobs.Set();
    for (;;)
    {
        const unsigned long result = waits.Wait(false, 1000);
        if (MTKernel::DidWaitSucceed(result, waits.GetCount()))
        {
            const unsigned long index = MTKernel::WaitSucceededIndex(result);
            std::printf("index %lu signalled\n", index);  // 1 (jobs) before 2 (logs)
            if (index == 0)
                break;
            if (index == 2)
                stop.Set();
        }
        else
        {
            std::printf("wait gave %lu\n", result);       // 258 time-out, 0xFFFFFFFF failure
            break;
        }
    }
    return 0;
}
