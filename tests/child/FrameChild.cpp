// Child commands for the kernel-object tests.
#include "child/ChildCommands.h"

#include "weftcore.h"

// Joins a named event that the parent created and sets it. Exit code: the join's status (183).
WEFT_CHILD_COMMAND(EventJoinSet, "event-join-set")
{
    if (args.size() != 1)
        return 250;
    MTEvent event(true, false, args[0].c_str());
    event.Set();
    return static_cast<int>(event.GetStatus() & 0xFF);
}

// Takes a named mutex, tells the parent through a named event, then either exits without
// releasing ("exit") or waits to be killed ("hang"). Exit code 0, or 1 when a step failed.
WEFT_CHILD_COMMAND(MutexHold, "mutex-hold")
{
    if (args.size() != 3)
        return 250;
    MTMutex mutex(false, args[0].c_str());
    if (!mutex.IsValidHandle() || !MTKernel::DidWaitSucceed(mutex.Wait(10000), 1))
        return 1;
    MTEvent ready(args[1].c_str(), false, EVENT_MODIFY_STATE);
    ready.Set();
    if (args[2] == "exit")
        ExitProcess(0);
    // Bounded, so that a parent that never kills it leaves nothing behind for long.
    WaitForSingleObject(GetCurrentProcess(), 60000);
    return 0;
}
