// Child commands for the kernel-object tests, and the mailbox tests' holder of a guard.
#include "child/ChildCommands.h"

#include "weftcore.h"

// Takes a named mutex, joins the parent's named event and sets it, then exits without releasing
// ("exit") or waits to be killed ("hang"). Exit code 0, or 1 when a step failed.
WEFT_CHILD_COMMAND(MutexHold, "mutex-hold")
{
    if (args.size() != 3)
        return 250;
    MTMutex mutex(false, args[0].c_str());
    MTEvent ready(true, false, args[1].c_str());
    if (!MTKernel::DidWaitSucceed(mutex.Wait(10000), 1) || ready.GetStatus() != ERROR_ALREADY_EXISTS)
        return 1;
    ready.Set();
    if (args[2] == "exit")
        ExitProcess(0);
    WaitForSingleObject(GetCurrentProcess(), 60000);  // bounded, should the parent never kill it
    return 0;
}
