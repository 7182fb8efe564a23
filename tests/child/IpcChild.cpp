// Child commands of the mailbox tests. Exit codes are 8 bits; 250 means wrong arguments.
#include "child/ChildCommands.h"

#include "support/MailboxProbe.h"

#include "weftcore.h"

#include <cstdlib>
#include <string>
#include <vector>

namespace
{
unsigned long Number(const std::string& text)
{
    return std::strtoul(text.c_str(), nullptr, 10);
}

bool WaitForEvent(const std::string& name, unsigned long timeout)
{
    MTEvent event(name.c_str(), false, SYNCHRONIZE);
    return event.IsValidHandle() && event.Wait(timeout) == WAIT_OBJECT_0;
}
}  // namespace

// Races to create a mailbox: waits for <start>, creates or joins, posts its process id, releases
// <ready>, and holds on until <go> so that every racer overlaps every other.
//   race <name> <start> <ready> <go> <timeout>
// Exit code 1 for the creator, 0 for a joiner, 2 for a failure.
WEFT_CHILD_COMMAND(Race, "race")
{
    if (args.size() != 5)
        return 250;
    const unsigned long timeout = Number(args[4]);
    if (!WaitForEvent(args[1], timeout))
        return 2;
    MTMailbox box(8, sizeof(unsigned long), args[0].c_str(), nullptr);
    const unsigned long id = GetCurrentProcessId();
    const bool joined = (box.GetStatus() == 0 || box.GetStatus() == ERROR_ALREADY_EXISTS) && box.Post(&id, timeout);
    MTSemaphore(args[2].c_str(), false, SEMAPHORE_MODIFY_STATE).Release(1, nullptr);
    if (!WaitForEvent(args[3], timeout) || !joined)
        return 2;
    return box.IsCreator() ? 1 : 0;
}

// Posts <count> numbered messages of one producer in sequence order, alternating the plain and
// the collection form: mailbox-produce <name> <producer> <count> <timeout>
// Exit code 0, 1 if the mailbox did not open, 2 if a post failed.
WEFT_CHILD_COMMAND(MailboxProduce, "mailbox-produce")
{
    if (args.size() != 4)
        return 250;
    MTMailbox box(args[0].c_str());
    if (box.GetStatus() != 0)
        return 1;
    MTEvent never(true, false);
    MTWaitableCollection alerts;
    alerts.AddObject(never);
    for (std::uint32_t sequence = 0; sequence < Number(args[2]); ++sequence)
    {
        const auto message = weft::test::stress::Message::Make(Number(args[1]), sequence);
        if (sequence % 2 == 0 ? !box.Post(&message, Number(args[3]))
                              : box.PostAlertable(&message, alerts, Number(args[3])) != 0)
            return 2;
    }
    return 0;
}
