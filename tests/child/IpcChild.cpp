// Child commands for the shared-memory and mailbox tests. Exit codes are 8 bits: statuses are
// reported as status & 0xFF, and 250 means the command got the wrong arguments.
#include "child/ChildCommands.h"

#include "support/MailboxProbe.h"
#include "support/MailboxMessages.h"

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

// Waits for the parent's start signal, so that racing children leave the gate together.
bool WaitForEvent(const std::string& name, unsigned long timeout)
{
    MTEvent event(name.c_str(), false, SYNCHRONIZE);
    return event.IsValidHandle() && event.Wait(timeout) == WAIT_OBJECT_0;
}

void SetEventByName(const std::string& name)
{
    MTEvent event(name.c_str(), false, EVENT_MODIFY_STATE);
    event.Set();
}

void ReleaseSemaphoreByName(const std::string& name)
{
    MTSemaphore semaphore(name.c_str(), false, SEMAPHORE_MODIFY_STATE);
    semaphore.Release(1, nullptr);
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
    ReleaseSemaphoreByName(args[2]);
    if (!WaitForEvent(args[3], timeout) || !joined)
        return 2;
    return box.IsCreator() ? 1 : 0;
}

// Creates or joins a mailbox and exits with its status & 0xFF: mailbox-status <name> <slots> <size>
WEFT_CHILD_COMMAND(MailboxStatus, "mailbox-status")
{
    if (args.size() != 3)
        return 250;
    const MTMailbox box(Number(args[1]), Number(args[2]), args[0].c_str(), nullptr);
    return static_cast<int>(box.GetStatus() & 0xFF);
}

// Takes a mailbox's guard the way a transfer does, sets <ready>, and waits to be killed:
//   mailbox-hold-guard <name> <ready>
WEFT_CHILD_COMMAND(MailboxHoldGuard, "mailbox-hold-guard")
{
    if (args.size() != 2)
        return 250;
    MTMutex guard(MTMailboxProbe::GuardName(args[0].c_str()).c_str(), false, MUTEX_ALL_ACCESS);
    if (!guard.IsValidHandle() || !MTKernel::DidWaitSucceed(guard.Wait(10000), 1))
        return 1;
    SetEventByName(args[1]);
    // Bounded, so that a parent that never kills it leaves nothing behind for long.
    WaitForSingleObject(GetCurrentProcess(), 60000);
    return 0;
}

// Posts <count> stress messages of one producer, in sequence order, alternating the plain and
// the collection form: mailbox-produce <name> <producer> <count> <timeout>
// Exit code 0, 1 if the mailbox did not open, 2 if a post failed.
WEFT_CHILD_COMMAND(MailboxProduce, "mailbox-produce")
{
    if (args.size() != 4)
        return 250;
    using namespace weft::test::stress;
    MTMailbox box(args[0].c_str());
    if (box.GetStatus() != 0)
        return 1;
    const auto producer = static_cast<std::uint32_t>(Number(args[1]));
    const auto count = static_cast<std::uint32_t>(Number(args[2]));
    const unsigned long timeout = Number(args[3]);
    MTEvent never(true, false);
    MTWaitableCollection alerts;
    alerts.AddObject(never);
    for (std::uint32_t sequence = 0; sequence < count; ++sequence)
    {
        const Message message = Make(producer, sequence);
        const bool posted = sequence % 2 == 0 ? box.Post(&message, timeout)
                                              : box.PostAlertable(&message, alerts, timeout) == 0;
        if (!posted)
            return 2;
    }
    return 0;
}

// Takes stress messages until <done> is set, tallying each in the shared block <tally>; the
// consumer that takes the last one sets <done>, which ends the alertable gets of all consumers.
//   mailbox-consume <name> <tally> <done> <producers> <perProducer> <timeout>
// Each producer's sequence numbers must rise. Exit code 0, 1 if something did not open, 2 if a
// get ended otherwise than by <done>.
WEFT_CHILD_COMMAND(MailboxConsume, "mailbox-consume")
{
    if (args.size() != 6)
        return 250;
    using namespace weft::test::stress;
    MTMailbox box(args[0].c_str());
    MTSharedMemory tallyBlock(args[1].c_str());
    MTEvent done(args[2].c_str(), false, SYNCHRONIZE | EVENT_MODIFY_STATE);
    auto* tally = static_cast<Tally*>(tallyBlock.GetPtr());
    if (box.GetStatus() != 0 || tally == nullptr || !done.IsValidHandle())
        return 1;
    const auto producers = static_cast<std::uint32_t>(Number(args[3]));
    const auto perProducer = static_cast<std::uint32_t>(Number(args[4]));
    const unsigned long timeout = Number(args[5]);
    const LONG total = static_cast<LONG>(producers * perProducer);
    std::vector<long> last(producers, -1);
    MTWaitableCollection alerts;
    alerts.AddObject(done);
    // Takes by the event form and the collection form in turn, both reporting <done> as 1, the
    // index after the count.
    Message message;
    unsigned long result = 0;
    for (unsigned long turn = 0;; ++turn)
    {
        result = turn % 2 == 0 ? box.GetAlertable(&message, alerts, timeout)
                               : (box.GetAlertable(&message, &done, timeout) ? 0 : 1);
        if (result != 0)
            break;
        if (!IsIntact(message, producers, perProducer))
            InterlockedIncrement(&tally->corrupt);
        else
        {
            long& previous = last[message.producer];
            if (static_cast<long>(message.sequence) <= previous)
                InterlockedIncrement(&tally->outOfOrder);
            previous = static_cast<long>(message.sequence);
            InterlockedIncrement(&tally->Received(message.producer, message.sequence, perProducer));
        }
        if (InterlockedIncrement(&tally->taken) == total)
            done.Set();
    }
    return result == 1 && done.Wait(0) == WAIT_OBJECT_0 ? 0 : 2;
}
