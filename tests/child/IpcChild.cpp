// Child commands of the kernel-object and mailbox tests. Exit codes are 8 bits; missing arguments throw.
#include "child/ChildCommands.h"

#include "support/MailboxProbe.h"

#include "weftcore.h"

// Takes a named mutex, joins the parent's named event and sets it, then exits without releasing
// ("exit") or waits to be killed ("hang"). Exit code 0, or 1 when a step failed.
WEFT_CHILD_COMMAND(MutexHold, "mutex-hold")
{
    MTMutex mutex(false, args.at(0).c_str());
    MTEvent ready(true, false, args.at(1).c_str());
    if (!MTKernel::DidWaitSucceed(mutex.Wait(10000), 1) || ready.GetStatus() != ERROR_ALREADY_EXISTS)
        return 1;
    ready.Set();
    if (args.at(2) == "exit")
        ExitProcess(0);
    WaitForSingleObject(GetCurrentProcess(), 60000);  // bounded, should the parent never kill it
    return 0;
}

// race <name> <start> <ready> <go> <timeout>: waits for <start>, creates or joins a mailbox, posts its id,
// releases <ready> and holds on until <go>. Exit code 1 for the creator, 0 for a joiner, 2 on failure.
WEFT_CHILD_COMMAND(Race, "race")
{
    const unsigned long timeout = std::stoul(args.at(4));
    if (MTEvent(args.at(1).c_str(), false, SYNCHRONIZE).Wait(timeout) != WAIT_OBJECT_0)
        return 2;
    MTMailbox box(8, sizeof(unsigned long), args.at(0).c_str(), nullptr);
    const unsigned long id = GetCurrentProcessId();
    const bool joined = (box.GetStatus() == 0 || box.GetStatus() == ERROR_ALREADY_EXISTS) && box.Post(&id, timeout);
    MTSemaphore(args.at(2).c_str(), false, SEMAPHORE_MODIFY_STATE).Release(1, nullptr);
    if (MTEvent(args.at(3).c_str(), false, SYNCHRONIZE).Wait(timeout) != WAIT_OBJECT_0 || !joined)
        return 2;
    return box.IsCreator() ? 1 : 0;
}

// mailbox-produce <name> <producer> <count> <timeout>: posts one producer's numbered messages in order,
// alternating the plain and the collection form. Exit code 0, 1 if the mailbox did not open, 2 if a post failed.
WEFT_CHILD_COMMAND(MailboxProduce, "mailbox-produce")
{
    MTMailbox box(args.at(0).c_str());
    if (box.GetStatus() != 0)
        return 1;
    MTEvent never(true, false);
    MTWaitableCollection alerts;
    alerts.AddObject(never);
    for (std::uint32_t sequence = 0; sequence < std::stoul(args.at(2)); ++sequence)
    {
        const auto message = weft::test::stress::Message::Make(std::stoul(args.at(1)), sequence);
        if (sequence % 2 == 0 ? !box.Post(&message, std::stoul(args.at(3)))
                              : box.PostAlertable(&message, alerts, std::stoul(args.at(3))) != 0)
            return 2;
    }
    return 0;
}
