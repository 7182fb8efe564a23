// Child commands for the shared-memory and mailbox tests. Exit codes are 8 bits: statuses are
// reported as status & 0xFF, and 250 means the command got the wrong arguments.
#include "child/ChildCommands.h"

#include "support/MailboxProbe.h"
#include "support/MailboxMessages.h"

#include "weftcore.h"

#include <cstdlib>
#include <memory>
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

// Races to create a block or a mailbox: waits for <start>, creates or joins, reports, releases
// <ready>, and holds on until <go> so that every racer overlaps every other.
//   race shm|mailbox <name> <start> <ready> <go> <timeout>
// A block racer counts itself in the block (creators at word 0, all at word 1); a mailbox racer
// posts a RaceReport. Exit code 1 for the creator, 0 for a joiner, 2 for a failure.
WEFT_CHILD_COMMAND(Race, "race")
{
    if (args.size() != 6)
        return 250;
    const unsigned long timeout = Number(args[5]);
    if (!WaitForEvent(args[2], timeout))
        return 2;
    // What a racer made or joined stays open until <go>.
    std::unique_ptr<MTSharedMemory> block;
    std::unique_ptr<MTMailbox> box;
    int code = 2;
    if (args[0] == "shm")
    {
        block = std::make_unique<MTSharedMemory>(4096, args[1].c_str(), nullptr);
        auto* words = static_cast<volatile LONG*>(block->GetPtr());
        if (words != nullptr)
        {
            if (block->IsCreator())
                InterlockedIncrement(&words[0]);
            InterlockedIncrement(&words[1]);
            code = block->IsCreator() ? 1 : 0;
        }
    }
    else
    {
        using weft::test::RaceReport;
        box = std::make_unique<MTMailbox>(8, sizeof(RaceReport), args[1].c_str(), nullptr);
        const RaceReport report = {GetCurrentProcessId(), box->IsCreator() ? 1ul : 0ul, box->GetStatus(), 0};
        if ((box->GetStatus() == 0 || box->GetStatus() == ERROR_ALREADY_EXISTS) && box->Post(&report, timeout))
            code = box->IsCreator() ? 1 : 0;
    }
    ReleaseSemaphoreByName(args[3]);
    return WaitForEvent(args[4], timeout) ? code : 2;
}

// Creates or joins a mailbox, or opens one, and exits with its status & 0xFF:
//   mailbox-status <name> [<slots> <size>]
WEFT_CHILD_COMMAND(MailboxStatus, "mailbox-status")
{
    if (args.size() != 1 && args.size() != 3)
        return 250;
    const MTMailbox box = args.size() == 1 ? MTMailbox(args[0].c_str())
                                           : MTMailbox(Number(args[1]), Number(args[2]), args[0].c_str(), nullptr);
    return static_cast<int>(box.GetStatus() & 0xFF);
}

// Opens a mailbox of text messages, sets <ready>, and gets with one alert event or a collection
// of the named alert events in their order:
//   mailbox-get-alertable event|collection <name> <ready> <timeout> <expected text> <alert>...
// Exit code: the event form 1 for true and 0 for false, the collection form its result (200 for
// the time-out, 255 for a failed wait); 253 for a message with another text, 252 if something
// did not open.
WEFT_CHILD_COMMAND(MailboxGetAlertable, "mailbox-get-alertable")
{
    if (args.size() < 6 || (args[0] == "event" && args.size() != 6))
        return 250;
    MTMailbox box(args[1].c_str());
    unsigned long slots = 0, size = 0;
    if (!box.GetProperties(slots, size))
        return 252;
    std::vector<std::unique_ptr<MTEvent>> alerts;
    MTWaitableCollection collection;
    for (size_t i = 5; i < args.size(); ++i)
    {
        alerts.push_back(std::make_unique<MTEvent>(args[i].c_str(), false, SYNCHRONIZE | EVENT_MODIFY_STATE));
        if (!alerts.back()->IsValidHandle())
            return 252;
        collection.AddObject(*alerts.back());
    }
    std::vector<char> buffer(size + 1, '\0');
    SetEventByName(args[2]);
    const unsigned long timeout = Number(args[3]);
    const bool isEvent = args[0] == "event";
    const unsigned long result = isEvent ? (box.GetAlertable(buffer.data(), alerts[0].get(), timeout) ? 0 : 1)
                                         : box.GetAlertable(buffer.data(), collection, timeout);
    if (result == 0 && args[4] != buffer.data())
        return 253;
    if (isEvent)
        return 1 - static_cast<int>(result);
    return result == WAIT_TIMEOUT ? 200 : result < 200 ? static_cast<int>(result) : 255;
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
//   mailbox-consume <name> <tally> <done> <producers> <perProducer> <strict 0|1> <timeout>
// Every consumer checks that each producer's sequence numbers rise; a strict one (the only
// consumer) that they rise by exactly one. Exit code 0, 1 if something did not open, 2 if a get
// timed out before everything was taken.
WEFT_CHILD_COMMAND(MailboxConsume, "mailbox-consume")
{
    if (args.size() != 7)
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
    const bool strict = args[5] == "1";
    const unsigned long timeout = Number(args[6]);
    const LONG total = static_cast<LONG>(producers * perProducer);
    std::vector<long> last(producers, -1);
    MTWaitableCollection alerts;
    alerts.AddObject(done);
    // Takes by the event form and the collection form in turn; both end when <done> is set.
    unsigned long turn = 0;
    auto take = [&](Message* message) {
        return ++turn % 2 == 0 ? box.GetAlertable(message, &done, timeout)
                               : box.GetAlertable(message, alerts, timeout) == 0;
    };
    Message message;
    while (take(&message))
    {
        if (!IsIntact(message, producers, perProducer))
            InterlockedIncrement(&tally->corrupt);
        else
        {
            const long sequence = static_cast<long>(message.sequence);
            long& previous = last[message.producer];
            if (strict ? sequence != previous + 1 : sequence <= previous)
                InterlockedIncrement(&tally->outOfOrder);
            previous = sequence;
            InterlockedIncrement(&tally->Received(message.producer, message.sequence, perProducer));
        }
        if (InterlockedIncrement(&tally->taken) == total)
            done.Set();
    }
    // The alert ends every consumer once all is taken; anything else is a time-out.
    return done.Wait(0) == WAIT_OBJECT_0 ? 0 : 2;
}
