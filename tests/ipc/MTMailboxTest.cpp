// Mailbox behaviour within one process, and against single child processes.
#include "MailboxTestSupport.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

using namespace weft::test;
using namespace weft::test::mailbox;

namespace
{
constexpr unsigned long Size = sizeof(Text);

// Gets one message with time-out 0 and gives its text, or "<none>".
std::string Take(MTMailbox& box)
{
    Text t = {};
    return box.Get(&t, 0) ? std::string(t.text) : std::string("<none>");
}
}  // namespace

// --- Construction and the shared header ---

TEST(MTMailboxTest, CreatorWritesTheHeaderAndSlotsInTheSharedLayout)
{
    const std::string name = UniqueName("mbx-layout");
    MTMailbox box(3, Size, name.c_str(), nullptr);
    ASSERT_EQ(0u, box.GetStatus());
    EXPECT_TRUE(box.IsCreator());
    RawHeader raw(name);
    ASSERT_TRUE(raw.IsMapped());
    EXPECT_EQ(3u, raw.MaxMessages());
    EXPECT_EQ(Size, raw.MessageSize());
    EXPECT_EQ(20u, raw.HeaderSize());
    EXPECT_EQ(0u, raw.Head());
    EXPECT_EQ(0u, raw.Tail());

    const Text first = Make("first"), second = Make("second");
    ASSERT_TRUE(box.Post(&first, 0));
    ASSERT_TRUE(box.Post(&second, 0));
    EXPECT_STREQ("first", raw.Slot(0));
    EXPECT_STREQ("second", raw.Slot(1));
    EXPECT_EQ(2u, raw.Tail());
    EXPECT_EQ("first", Take(box));
    EXPECT_EQ(1u, raw.Head());
    EXPECT_STREQ("first", raw.Slot(0)) << "a slot that was read is not cleared";
}

TEST(MTMailboxTest, TwoSlotsFillAndDrainInOrderWithTimeOutZero)
{
    MTMailbox box(2, Size, UniqueName("mbx-two").c_str(), nullptr);
    ASSERT_EQ(0u, box.GetStatus());
    const Text a = Make("a"), b = Make("b"), c = Make("c");
    EXPECT_TRUE(box.Post(&a, 0));
    EXPECT_TRUE(box.Post(&b, 0));
    EXPECT_FALSE(box.Post(&c, 0)) << "a full mailbox refuses at once";
    EXPECT_EQ("a", Take(box));
    EXPECT_TRUE(box.Post(&c, 0));
    EXPECT_EQ("b", Take(box));
    EXPECT_EQ("c", Take(box));
    EXPECT_EQ("<none>", Take(box)) << "an empty mailbox gives false at once";
}

TEST(MTMailboxTest, IndexesWrapToZeroAfterTheLastSlot)
{
    const std::string name = UniqueName("mbx-wrap");
    MTMailbox box(3, Size, name.c_str(), nullptr);
    RawHeader raw(name);
    for (unsigned i = 0; i < 7; ++i)
    {
        const Text t = Make(std::to_string(i).c_str());
        ASSERT_TRUE(box.Post(&t, 0));
        EXPECT_EQ((i + 1) % 3, raw.Tail());
        EXPECT_EQ(std::to_string(i), Take(box));
        EXPECT_EQ((i + 1) % 3, raw.Head());
    }
}

TEST(MTMailboxTest, JoinerSharesTheCreatorsMessages)
{
    const std::string name = UniqueName("mbx-join");
    MTMailbox creator(4, Size, name.c_str(), nullptr);
    MTMailbox joiner(4, Size, name.c_str(), nullptr);
    EXPECT_EQ(static_cast<unsigned long>(ERROR_ALREADY_EXISTS), joiner.GetStatus());
    EXPECT_FALSE(joiner.IsCreator());
    const Text t = Make("shared");
    ASSERT_TRUE(creator.Post(&t, 0));
    EXPECT_EQ("shared", Take(joiner));
    EXPECT_EQ("<none>", Take(creator));
}

TEST(MTMailboxTest, JoinerOfAnotherShapeGets87AndWorksWithTheExistingOne)
{
    const std::string name = UniqueName("mbx-shape");
    MTMailbox creator(4, Size, name.c_str(), nullptr);
    MTMailbox otherSize(4, 2 * Size, name.c_str(), nullptr);
    MTMailbox otherSlots(9, Size, name.c_str(), nullptr);
    for (MTMailbox* box : {&otherSize, &otherSlots})
    {
        EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_PARAMETER), box->GetStatus());
        EXPECT_FALSE(box->IsCreator());
        unsigned long slots = 0, size = 0;
        ASSERT_TRUE(box->GetProperties(slots, size));
        EXPECT_EQ(4u, slots);
        EXPECT_EQ(Size, size);
    }
    const Text t = Make("still one box");
    ASSERT_TRUE(otherSlots.Post(&t, 0));
    EXPECT_EQ("still one box", Take(creator));

    // The same from another process: the status is the joiner's exit code.
    ChildProcess sameShape({"mailbox-join", name, "4", std::to_string(Size)});
    ChildProcess wrongShape({"mailbox-join", name, "4", std::to_string(Size + 1)});
    EXPECT_EQ(ERROR_ALREADY_EXISTS & 0xFF, sameShape.WaitExit(MustHappenMs()));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, wrongShape.WaitExit(MustHappenMs()));
}

TEST(MTMailboxTest, OpenOfAnExistingMailboxLearnsItsShape)
{
    const std::string name = UniqueName("mbx-open");
    MTMailbox creator(5, Size, name.c_str(), nullptr);
    MTMailbox opener(name.c_str());
    EXPECT_EQ(0u, opener.GetStatus());
    EXPECT_FALSE(opener.IsCreator());
    unsigned long slots = 0, size = 0;
    ASSERT_TRUE(opener.GetProperties(slots, size));
    EXPECT_EQ(5u, slots);
    EXPECT_EQ(Size, size);
    const Text t = Make("to the opener");
    ASSERT_TRUE(creator.Post(&t, 0));
    EXPECT_EQ("to the opener", Take(opener));
}

TEST(MTMailboxTest, OpenOfAMissingNameFailsWithNotFound)
{
    const std::string name = UniqueName("mbx-missing");
    MTMailbox opener(name.c_str());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_FILE_NOT_FOUND), opener.GetStatus());
    EXPECT_FALSE(opener.IsCreator());
    unsigned long slots = 7, size = 7;
    EXPECT_FALSE(opener.GetProperties(slots, size));
    EXPECT_EQ(7u, slots);
    EXPECT_EQ(7u, size);
    const Text t = Make("nowhere");
    EXPECT_FALSE(opener.Post(&t, 0));

    ChildProcess child({"mailbox-open", name});
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, child.WaitExit(MustHappenMs()));
}

TEST(MTMailboxTest, OpenOfABlockWithoutMailboxObjectsFails)
{
    const std::string name = UniqueName("mbx-bare");
    MTSharedMemory bare(4096, name.c_str(), nullptr);
    MTMailbox opener(name.c_str());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_FILE_NOT_FOUND), opener.GetStatus());
    unsigned long slots = 0, size = 0;
    EXPECT_FALSE(opener.GetProperties(slots, size));
}

TEST(MTMailboxTest, RefusesBadArgumentsWithoutMakingAnything)
{
    const DWORD handles = HandleCount();
    const std::string name = UniqueName("mbx-bad");
    const std::string overlong(MTMailbox::MaxNameLength() + 1, 'n');
    struct Case
    {
        unsigned long slots, size;
        const char* name;
        unsigned long status;
    };
    const Case cases[] = {
        {4, Size, nullptr, ERROR_INVALID_NAME},
        {4, Size, "", ERROR_INVALID_NAME},
        {4, Size, "Local\\mailbox", ERROR_INVALID_NAME},
        {4, Size, overlong.c_str(), ERROR_FILENAME_EXCED_RANGE},
        {0, Size, name.c_str(), ERROR_INVALID_PARAMETER},
        {4, 0, name.c_str(), ERROR_INVALID_PARAMETER},
        {70000, 65536, name.c_str(), ERROR_ARITHMETIC_OVERFLOW},
        {0xFFFFFFFFu, 1, name.c_str(), ERROR_ARITHMETIC_OVERFLOW},
    };
    Text t = Make("x");
    MTEvent alert(true, false);
    MTWaitableCollection alerts;
    for (const Case& c : cases)
    {
        MTMailbox box(c.slots, c.size, c.name, nullptr);
        SCOPED_TRACE(testing::Message() << c.slots << " x " << c.size << " named " << (c.name ? c.name : "null"));
        EXPECT_EQ(c.status, box.GetStatus());
        EXPECT_FALSE(box.IsCreator());
        unsigned long slots = 0, size = 0;
        EXPECT_FALSE(box.GetProperties(slots, size));
        EXPECT_FALSE(box.Post(&t, 0));
        EXPECT_FALSE(box.Get(&t, 0));
        EXPECT_FALSE(box.PostAlertable(&t, &alert, 0));
        EXPECT_FALSE(box.GetAlertable(&t, &alert, 0));
        EXPECT_EQ(WAIT_ABANDONED_0, box.PostAlertable(&t, alerts, 0));
        EXPECT_EQ(WAIT_ABANDONED_0, box.GetAlertable(&t, alerts, 0));
    }
    for (const char* refused : {static_cast<const char*>(nullptr), "", "Local\\mailbox", overlong.c_str()})
        EXPECT_NE(0u, MTMailbox(refused).GetStatus());
    EXPECT_EQ(handles, HandleCount()) << "a refused mailbox holds no kernel object";
    EXPECT_EQ(static_cast<unsigned long>(ERROR_FILE_NOT_FOUND), MTSharedMemory(name.c_str()).GetStatus());

    std::string longestName = UniqueName("mbx-longest");
    longestName.resize(MTMailbox::MaxNameLength(), 'n');
    MTMailbox atTheLimit(2, Size, longestName.c_str(), nullptr);
    EXPECT_EQ(0u, atTheLimit.GetStatus()) << "a name of the greatest length works";
    EXPECT_TRUE(atTheLimit.Post(&t, 0));
}

TEST(MTMailboxTest, NullMessagesAndBuffersMoveNothingAndLeaveTheCounts)
{
    MTMailbox box(1, Size, UniqueName("mbx-null").c_str(), nullptr);
    MTEvent alert(true, false);
    MTWaitableCollection alerts;
    EXPECT_FALSE(box.Post(nullptr, 0));
    EXPECT_FALSE(box.PostAlertable(nullptr, &alert, 0));
    EXPECT_FALSE(box.PostAlertable(nullptr, nullptr, 0));
    EXPECT_EQ(WAIT_ABANDONED_0, box.PostAlertable(nullptr, alerts, 0));
    EXPECT_EQ("<none>", Take(box)) << "no pending count came from a null post";

    const Text t = Make("kept");
    ASSERT_TRUE(box.Post(&t, 0)) << "no free count was taken by a null post";
    EXPECT_FALSE(box.Get(nullptr, 0));
    EXPECT_FALSE(box.GetAlertable(nullptr, &alert, 0));
    EXPECT_FALSE(box.GetAlertable(nullptr, nullptr, 0));
    EXPECT_EQ(WAIT_ABANDONED_0, box.GetAlertable(nullptr, alerts, 0));
    EXPECT_EQ("kept", Take(box)) << "the message stayed pending";
}

TEST(MTMailboxTest, FailedGuardCreationNeverWinsAndWritesNothing)
{
    // A block that looks like a live mailbox, and another kind of object under the guard's name.
    const std::string name = UniqueName("mbx-noguard");
    MTSharedMemory block(20 + 5 * Size, name.c_str(), nullptr);
    const std::uint32_t live[5] = {5, Size, 20, 2, 3};
    std::memcpy(block.GetPtr(), live, sizeof live);
    MTEvent squatter(true, false, MTMailboxProbe::GuardName(name.c_str()).c_str());
    ASSERT_TRUE(squatter.IsValidHandle());

    MTMailbox box(8, Size, name.c_str(), nullptr);
    EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_HANDLE), box.GetStatus());
    EXPECT_FALSE(box.IsCreator());
    unsigned long slots = 0, size = 0;
    EXPECT_FALSE(box.GetProperties(slots, size));
    const Text t = Make("x");
    EXPECT_FALSE(box.Post(&t, 0));
    EXPECT_EQ(0, std::memcmp(block.GetPtr(), live, sizeof live)) << "the header was left alone";

    MTMailbox opener(name.c_str());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_HANDLE), opener.GetStatus());
}

TEST(MTMailboxTest, HeaderLeftUnwrittenIsWrittenByTheNextHolderOfTheGuard)
{
    // As a creator leaves it that gave up after making the block and the guard.
    const std::string name = UniqueName("mbx-unwritten");
    MTSharedMemory block(20 + 4 * Size, name.c_str(), nullptr);
    MTMutex abandonedCreatorsGuard(false, MTMailboxProbe::GuardName(name.c_str()).c_str());

    MTMailbox box(4, Size, name.c_str(), nullptr);
    EXPECT_EQ(static_cast<unsigned long>(ERROR_ALREADY_EXISTS), box.GetStatus());
    EXPECT_TRUE(box.IsCreator());
    unsigned long slots = 0, size = 0;
    ASSERT_TRUE(box.GetProperties(slots, size));
    EXPECT_EQ(4u, slots);
    const Text t = Make("works");
    ASSERT_TRUE(box.Post(&t, 0));
    EXPECT_EQ("works", Take(box));
}

TEST(MTMailboxTest, HeaderLeftUnwrittenWithCountsOfUnknownSizeMakesNoMailbox)
{
    const std::string name = UniqueName("mbx-stale");
    MTSharedMemory block(20 + 4 * Size, name.c_str(), nullptr);
    MTMutex guard(false, MTMailboxProbe::GuardName(name.c_str()).c_str());
    MTSemaphore freeCount(2, 2, MTMailboxProbe::FreeCountName(name.c_str()).c_str());
    MTSemaphore pendingCount(0, 2, MTMailboxProbe::PendingCountName(name.c_str()).c_str());

    MTMailbox box(4, Size, name.c_str(), nullptr);
    EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_DATA), box.GetStatus());
    EXPECT_FALSE(box.IsCreator());
    const Text t = Make("x");
    EXPECT_FALSE(box.Post(&t, 0));
    EXPECT_EQ(0u, static_cast<const std::uint32_t*>(block.GetPtr())[0]) << "nothing was written";
}

TEST(MTMailboxTest, BlockTooSmallForItsSlotsMakesNoMailbox)
{
    // A smaller block of someone else's under the name: the slots asked for would not fit it.
    const std::string name = UniqueName("mbx-small");
    MTSharedMemory block(4096, name.c_str(), nullptr);
    auto* words = static_cast<std::uint32_t*>(block.GetPtr());
    MTMailbox creator(1000, 64, name.c_str(), nullptr);
    EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_DATA), creator.GetStatus());
    EXPECT_FALSE(creator.IsCreator());
    EXPECT_EQ(0u, words[0]) << "nothing was written";

    // A header that claims more slots than its block holds.
    const std::uint32_t lying[5] = {1000, 64, 20, 0, 0};
    std::memcpy(words, lying, sizeof lying);
    MTMailbox opener(name.c_str());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_INVALID_DATA), opener.GetStatus());
    unsigned long slots = 0, size = 0;
    EXPECT_FALSE(opener.GetProperties(slots, size));
    std::vector<char> message(64, 'x');
    EXPECT_FALSE(opener.Post(message.data(), 0));
}

TEST(MTMailboxTest, PendingMessagesOutliveTheirPosterAndGoWithTheLastHolder)
{
    const std::string name = UniqueName("mbx-life");
    const DWORD handles = HandleCount();
    {
        auto poster = std::make_unique<MTMailbox>(4, Size, name.c_str(), nullptr);
        MTMailbox reader(name.c_str());
        const Text t = Make("left behind");
        ASSERT_TRUE(poster->Post(&t, 0));
        poster.reset();
        EXPECT_EQ("left behind", Take(reader));
        ASSERT_TRUE(reader.Post(&t, 0));
    }
    EXPECT_EQ(handles, HandleCount()) << "every handle and view went with its object";
    MTMailbox fresh(4, Size, name.c_str(), nullptr);
    EXPECT_EQ(0u, fresh.GetStatus());
    EXPECT_TRUE(fresh.IsCreator());
    EXPECT_EQ("<none>", Take(fresh)) << "a new life starts empty";
}

// --- The guard wait fails: the count that was taken goes back ---

TEST(MTMailboxTest, PostThatCannotHaveTheGuardGivesTheFreeSlotBack)
{
    const std::string name = UniqueName("mbx-guard-post");
    MTMailbox box(2, Size, name.c_str(), nullptr);
    const Text t = Make("refused");
    MTEvent alert(true, false);
    MTWaitableCollection alerts;
    alerts.AddObject(alert);
    {
        GuardHolder holder(name);
        ASSERT_TRUE(holder.Held());
        EXPECT_FALSE(box.Post(&t, 0));
        EXPECT_FALSE(box.PostAlertable(&t, &alert, 0));
        EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), box.PostAlertable(&t, alerts, 0));
    }
    RawHeader raw(name);
    EXPECT_EQ(0u, raw.Tail());
    EXPECT_EQ("<none>", Take(box)) << "no pending count without a message";
    const Text a = Make("a"), b = Make("b");
    EXPECT_TRUE(box.Post(&a, 0)) << "both free slots are still counted";
    EXPECT_TRUE(box.Post(&b, 0));
    EXPECT_FALSE(box.Post(&t, 0));
    EXPECT_EQ("a", Take(box));
    EXPECT_EQ("b", Take(box));
}

TEST(MTMailboxTest, GetThatCannotHaveTheGuardLeavesTheMessagePending)
{
    const std::string name = UniqueName("mbx-guard-get");
    MTMailbox box(2, Size, name.c_str(), nullptr);
    const Text t = Make("waiting");
    ASSERT_TRUE(box.Post(&t, 0));
    MTEvent alert(true, false);
    MTWaitableCollection alerts;
    alerts.AddObject(alert);
    Text out = Make("untouched");
    {
        GuardHolder holder(name);
        ASSERT_TRUE(holder.Held());
        EXPECT_FALSE(box.Get(&out, 0));
        EXPECT_FALSE(box.GetAlertable(&out, &alert, 0));
        EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), box.GetAlertable(&out, alerts, 0));
    }
    EXPECT_STREQ("untouched", out.text);
    EXPECT_EQ("waiting", Take(box)) << "the message is still counted";
    EXPECT_EQ("<none>", Take(box));
    const Text a = Make("a"), b = Make("b");
    EXPECT_TRUE(box.Post(&a, 0));
    EXPECT_TRUE(box.Post(&b, 0));
    EXPECT_FALSE(box.Post(&t, 0)) << "the free count did not grow either";
}

// --- Alertable forms ---

TEST(MTMailboxTest, EventAlertWinsOverAReadyCount)
{
    MTMailbox box(2, Size, UniqueName("mbx-ev").c_str(), nullptr);
    MTEvent alert(true, true);
    const Text t = Make("x");
    EXPECT_FALSE(box.PostAlertable(&t, &alert, 0)) << "a free slot, but the alert stands first";
    EXPECT_EQ("<none>", Take(box));
    ASSERT_TRUE(box.Post(&t, 0));
    Text out = {};
    EXPECT_FALSE(box.GetAlertable(&out, &alert, 0)) << "a pending message, but the alert stands first";
    alert.Reset();
    EXPECT_TRUE(box.GetAlertable(&out, &alert, 0));
    EXPECT_STREQ("x", out.text);
}

TEST(MTMailboxTest, AutoResetAlertIsConsumedByTheWaitItEnds)
{
    MTMailbox box(2, Size, UniqueName("mbx-ev-auto").c_str(), nullptr);
    MTEvent alert(false, true);
    Text out = {};
    EXPECT_FALSE(box.GetAlertable(&out, &alert, 0));
    EXPECT_FALSE(alert.IsSet()) << "the wait took the signal";
}

TEST(MTMailboxTest, NullEventMakesThePlainOperations)
{
    MTMailbox box(1, Size, UniqueName("mbx-ev-null").c_str(), nullptr);
    const Text t = Make("plain");
    EXPECT_TRUE(box.PostAlertable(&t, nullptr, 0));
    EXPECT_FALSE(box.PostAlertable(&t, nullptr, 0)) << "full, as Post finds it";
    Text out = {};
    EXPECT_TRUE(box.GetAlertable(&out, nullptr, 0));
    EXPECT_STREQ("plain", out.text);
    EXPECT_FALSE(box.GetAlertable(&out, nullptr, 0));
}

TEST(MTMailboxTest, EventAlertEndsAPostBlockedOnAFullMailbox)
{
    MTMailbox box(1, Size, UniqueName("mbx-ev-full").c_str(), nullptr);
    const Text first = Make("first"), second = Make("second");
    ASSERT_TRUE(box.Post(&first, 0));
    MTEvent alert(true, false);
    MTEvent finished(true, false);
    bool posted = true;
    std::thread poster([&] {
        posted = box.PostAlertable(&second, &alert, MustHappenMs());
        finished.Set();
    });
    alert.Set();
    EXPECT_EQ(WAIT_OBJECT_0, finished.Wait(MustHappenMs())) << "the alert ended the wait";
    poster.join();
    EXPECT_FALSE(posted);
    EXPECT_EQ("first", Take(box));
    EXPECT_EQ("<none>", Take(box)) << "nothing was stored";
}

TEST(MTMailboxTest, EventAlertFromAnotherProcessEndsABlockedGet)
{
    const std::string name = UniqueName("mbx-ev-proc");
    const std::string alertName = UniqueName("mbx-ev-proc-alert");
    const std::string readyName = UniqueName("mbx-ev-proc-ready");
    MTMailbox box(2, Size, name.c_str(), nullptr);
    MTEvent alert(true, false, alertName.c_str());
    MTEvent ready(true, false, readyName.c_str());
    const std::string timeout = std::to_string(MustHappenMs());

    ChildProcess alerted({"mailbox-get-event", name, alertName, readyName, timeout, "-"});
    ASSERT_EQ(WAIT_OBJECT_0, ready.Wait(MustHappenMs()));
    alert.Set();
    EXPECT_EQ(0, alerted.WaitExit(MustHappenMs())) << "false, ended by the alert";
    alert.Reset();
    ready.Reset();

    ChildProcess served({"mailbox-get-event", name, alertName, readyName, timeout, "from the parent"});
    ASSERT_EQ(WAIT_OBJECT_0, ready.Wait(MustHappenMs()));
    const Text t = Make("from the parent");
    ASSERT_TRUE(box.Post(&t, 0));
    EXPECT_EQ(1, served.WaitExit(MustHappenMs())) << "true, with the parent's message";
}

TEST(MTMailboxTest, CollectionCountWinsOverASignalledAlert)
{
    MTMailbox box(2, Size, UniqueName("mbx-col").c_str(), nullptr);
    MTEvent alert(true, true);
    MTWaitableCollection alerts;
    alerts.AddObject(alert);
    const Text t = Make("stored");
    EXPECT_EQ(0u, box.PostAlertable(&t, alerts, 0));
    Text out = {};
    EXPECT_EQ(0u, box.GetAlertable(&out, alerts, 0));
    EXPECT_STREQ("stored", out.text);
    EXPECT_EQ(1u, box.GetAlertable(&out, alerts, 0)) << "nothing pending: the alert at index 0 gives 1";
}

TEST(MTMailboxTest, CollectionResultIsTheCallersAlertIndexPlusOne)
{
    MTMailbox box(1, Size, UniqueName("mbx-col-index").c_str(), nullptr);
    MTEvent e0(true, false), e1(true, false), e2(true, false);
    MTWaitableCollection alerts;
    alerts.AddObject(e0);
    alerts.AddObject(e1);
    alerts.AddObject(e2);
    Text out = {};
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), box.GetAlertable(&out, alerts, 0));
    e2.Set();
    EXPECT_EQ(3u, box.GetAlertable(&out, alerts, 0));
    e1.Set();
    EXPECT_EQ(2u, box.GetAlertable(&out, alerts, 0)) << "the lower index wins among the alerts";

    const Text t = Make("x");
    ASSERT_TRUE(box.Post(&t, 0));
    EXPECT_EQ(2u, box.PostAlertable(&t, alerts, 0)) << "full: the alerts decide";
    EXPECT_EQ(0u, box.GetAlertable(&out, alerts, 0)) << "pending: the count decides";
}

TEST(MTMailboxTest, CollectionReportsAnAbandonedMutexAmongTheAlerts)
{
    MTMailbox box(1, Size, UniqueName("mbx-col-abandon").c_str(), nullptr);
    MTEvent e0(true, false);
    MTMutex mutex;
    std::thread([&] { mutex.Wait(MustHappenMs()); }).join();  // ends holding it
    MTWaitableCollection alerts;
    alerts.AddObject(e0);
    alerts.AddObject(mutex);
    Text out = {};
    EXPECT_EQ(WAIT_ABANDONED_0 + 2, box.GetAlertable(&out, alerts, 0)) << "alert index 1, abandoned";
    mutex.Release();  // the caller owns it now
    EXPECT_EQ(0u, mutex.GetStatus());
}

TEST(MTMailboxTest, CollectionOf64AlertsLeavesTheLastOneOut)
{
    MTMailbox box(1, Size, UniqueName("mbx-col-64").c_str(), nullptr);
    std::vector<std::unique_ptr<MTEvent>> events;
    MTWaitableCollection alerts;
    for (int i = 0; i < 64; ++i)
    {
        events.push_back(std::make_unique<MTEvent>(true, false));
        ASSERT_TRUE(alerts.AddObject(*events.back()));
    }
    Text out = {};
    events[63]->Set();
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), box.GetAlertable(&out, alerts, 0)) << "not waited on";
    events[62]->Set();
    EXPECT_EQ(63u, box.GetAlertable(&out, alerts, 0));
}

TEST(MTMailboxTest, CollectionAlertsFromAnotherProcessAndItsMessage)
{
    const std::string name = UniqueName("mbx-col-proc");
    const std::string readyName = UniqueName("mbx-col-proc-ready");
    std::vector<std::string> alertNames;
    std::vector<std::unique_ptr<MTEvent>> alerts;
    for (int i = 0; i < 3; ++i)
    {
        alertNames.push_back(UniqueName("mbx-col-proc-alert"));
        alerts.push_back(std::make_unique<MTEvent>(true, false, alertNames.back().c_str()));
    }
    MTMailbox box(2, Size, name.c_str(), nullptr);
    MTEvent ready(true, false, readyName.c_str());
    const std::string timeout = std::to_string(MustHappenMs());
    auto command = [&](const char* expected) {
        std::vector<std::string> args = {"mailbox-get-collection", name, readyName, timeout, expected};
        args.insert(args.end(), alertNames.begin(), alertNames.end());
        return args;
    };

    ChildProcess alerted(command("-"));
    ASSERT_EQ(WAIT_OBJECT_0, ready.Wait(MustHappenMs()));
    alerts[2]->Set();
    EXPECT_EQ(3, alerted.WaitExit(MustHappenMs())) << "the alert at index 2 gives 3";
    alerts[2]->Reset();
    ready.Reset();

    ChildProcess served(command("across"));
    ASSERT_EQ(WAIT_OBJECT_0, ready.Wait(MustHappenMs()));
    const Text t = Make("across");
    ASSERT_TRUE(box.Post(&t, 0));
    EXPECT_EQ(0, served.WaitExit(MustHappenMs())) << "0, with the parent's message";
}
