// Mailbox behaviour within one process, and against single child processes.
#include "IpcTestSupport.h"

#include <memory>
#include <thread>
#include <vector>

using namespace weft::test;
using namespace weft::test::mailbox;

// --- Construction and the shared header ---

TEST(MTMailboxTest, SlotsFillDrainAndWrapInOrderInTheSharedLayout)
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

    for (const char* text : {"0", "1", "2"})
        ASSERT_TRUE(Put(box, text));
    EXPECT_STREQ("0", raw.Slot(0));
    EXPECT_STREQ("2", raw.Slot(2));
    EXPECT_EQ(0u, raw.Tail()) << "the tail wraps after the last slot";
    EXPECT_FALSE(Put(box, "3")) << "a full mailbox refuses at once";
    EXPECT_EQ("0", Take(box));
    EXPECT_EQ(1u, raw.Head());
    EXPECT_STREQ("0", raw.Slot(0)) << "a slot that was read is not cleared";
    ASSERT_TRUE(Put(box, "3"));
    EXPECT_STREQ("3", raw.Slot(0));
    EXPECT_EQ(1u, raw.Tail());
    for (const char* text : {"1", "2", "3"})
        EXPECT_EQ(text, Take(box));
    EXPECT_EQ(1u, raw.Head()) << "the head wraps after the last slot";
    EXPECT_EQ("<none>", Take(box)) << "an empty mailbox gives false at once";
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
        EXPECT_EQ("4 x 16", Shape(*box));
    }
    ASSERT_TRUE(Put(otherSlots, "still one box"));
    EXPECT_EQ("still one box", Take(creator));

    // The same from another process: the status is the joiner's exit code.
    ChildProcess sameShape({"mailbox-status", name, "4", std::to_string(Size)});
    ChildProcess wrongShape({"mailbox-status", name, "4", std::to_string(Size + 1)});
    EXPECT_EQ(ERROR_ALREADY_EXISTS & 0xFF, sameShape.WaitExit(MustHappenMs()));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, wrongShape.WaitExit(MustHappenMs()));
}

TEST(MTMailboxTest, OpenOfAMissingNameOrOfABareBlockFailsWithNotFound)
{
    const std::string missing = UniqueName("mbx-missing"), bareName = UniqueName("mbx-bare");
    MTSharedMemory bare(4096, bareName.c_str(), nullptr);
    for (const std::string& name : {missing, bareName})
    {
        SCOPED_TRACE(name);
        MTMailbox opener(name.c_str());
        ExpectFailed(opener, ERROR_FILE_NOT_FOUND);
    }
    ChildProcess child({"mailbox-status", missing});
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, child.WaitExit(MustHappenMs()));
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
    for (const Case& c : cases)
    {
        MTMailbox box(c.slots, c.size, c.name, nullptr);
        SCOPED_TRACE(testing::Message() << c.slots << " x " << c.size << " named " << (c.name ? c.name : "null"));
        ExpectFailed(box, c.status);
        Text t = Make("x");
        ExpectEveryFormRefuses(box, &t);
    }
    for (const char* refused : {static_cast<const char*>(nullptr), "", "Local\\mailbox", overlong.c_str()})
        EXPECT_NE(0u, MTMailbox(refused).GetStatus());
    EXPECT_EQ(handles, HandleCount()) << "a refused mailbox holds no kernel object";
    EXPECT_EQ(static_cast<unsigned long>(ERROR_FILE_NOT_FOUND), MTSharedMemory(name.c_str()).GetStatus());

    std::string longestName = UniqueName("mbx-longest");
    longestName.resize(MTMailbox::MaxNameLength(), 'n');
    MTMailbox atTheLimit(2, Size, longestName.c_str(), nullptr);
    EXPECT_EQ(0u, atTheLimit.GetStatus()) << "a name of the greatest length works";
    EXPECT_TRUE(Put(atTheLimit, "x"));
}

TEST(MTMailboxTest, NullMessagesAndBuffersMoveNothingAndLeaveTheCounts)
{
    MTMailbox box(1, Size, UniqueName("mbx-null").c_str(), nullptr);
    ExpectEveryFormRefuses(box, nullptr);
    EXPECT_EQ("<none>", Take(box)) << "no pending count came from a null post";
    ASSERT_TRUE(Put(box, "kept")) << "no free count was taken by a null post";
    ExpectEveryFormRefuses(box, nullptr);
    EXPECT_EQ("kept", Take(box)) << "the message stayed pending";
}

// --- What another creator left under the name ---

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
    MTMailbox opener(name.c_str());
    ExpectFailed(box, ERROR_INVALID_HANDLE);
    ExpectFailed(opener, ERROR_INVALID_HANDLE);
    EXPECT_EQ(0, std::memcmp(block.GetPtr(), live, sizeof live)) << "the header was left alone";
}

TEST(MTMailboxTest, LeftoversOfAnEarlierCreatorAreFinishedOrRefused)
{
    // An unwritten header, as a creator leaves it that gave up after making the block and the
    // guard: the next holder of the guard writes it.
    const std::string unwritten = UniqueName("mbx-unwritten");
    MTSharedMemory unwrittenBlock(20 + 4 * Size, unwritten.c_str(), nullptr);
    MTMutex abandonedCreatorsGuard(false, MTMailboxProbe::GuardName(unwritten.c_str()).c_str());
    MTMailbox finisher(4, Size, unwritten.c_str(), nullptr);
    EXPECT_EQ(static_cast<unsigned long>(ERROR_ALREADY_EXISTS), finisher.GetStatus());
    EXPECT_TRUE(finisher.IsCreator());
    EXPECT_EQ("4 x 16", Shape(finisher));
    ASSERT_TRUE(Put(finisher, "works"));
    EXPECT_EQ("works", Take(finisher));

    // Refused, with nothing written: an unwritten header with counts of unknown size already made,
    const std::string stale = UniqueName("mbx-stale");
    MTSharedMemory staleBlock(20 + 4 * Size, stale.c_str(), nullptr);
    MTMutex guard(false, MTMailboxProbe::GuardName(stale.c_str()).c_str());
    MTSemaphore freeCount(2, 2, MTMailboxProbe::FreeCountName(stale.c_str()).c_str());
    MTSemaphore pendingCount(0, 2, MTMailboxProbe::PendingCountName(stale.c_str()).c_str());
    // and someone else's smaller block that the slots asked for would not fit.
    const std::string small = UniqueName("mbx-small");
    MTSharedMemory smallBlock(4096, small.c_str(), nullptr);

    MTMailbox onStale(4, Size, stale.c_str(), nullptr);
    MTMailbox onSmall(1000, 64, small.c_str(), nullptr);
    ExpectFailed(onStale, ERROR_INVALID_DATA);
    ExpectFailed(onSmall, ERROR_INVALID_DATA);
    EXPECT_EQ(0u, static_cast<const std::uint32_t*>(staleBlock.GetPtr())[0]) << "nothing was written";
    EXPECT_EQ(0u, static_cast<const std::uint32_t*>(smallBlock.GetPtr())[0]) << "nothing was written";

    // A header that claims more slots than its block holds.
    const std::uint32_t lying[5] = {1000, 64, 20, 0, 0};
    std::memcpy(smallBlock.GetPtr(), lying, sizeof lying);
    MTMailbox opener(small.c_str());
    ExpectFailed(opener, ERROR_INVALID_DATA);
}

TEST(MTMailboxTest, PendingMessagesOutliveTheirPosterAndGoWithTheLastHolder)
{
    const std::string name = UniqueName("mbx-life");
    const DWORD handles = HandleCount();
    {
        auto poster = std::make_unique<MTMailbox>(4, Size, name.c_str(), nullptr);
        MTMailbox reader(name.c_str());
        EXPECT_EQ("4 x 16", Shape(reader)) << "an opener learns the shape";
        ASSERT_TRUE(Put(*poster, "left behind"));
        poster.reset();
        EXPECT_EQ("left behind", Take(reader));
        ASSERT_TRUE(Put(reader, "left behind"));
    }
    EXPECT_EQ(handles, HandleCount()) << "every handle and view went with its object";
    MTMailbox fresh(4, Size, name.c_str(), nullptr);
    EXPECT_EQ(0u, fresh.GetStatus());
    EXPECT_TRUE(fresh.IsCreator());
    EXPECT_EQ("<none>", Take(fresh)) << "a new life starts empty";
}

// --- The guard wait fails: the count that was taken goes back ---

TEST(MTMailboxTest, TransferThatCannotHaveTheGuardGivesItsCountBack)
{
    const std::string name = UniqueName("mbx-guard");
    MTMailbox box(2, Size, name.c_str(), nullptr);
    const Text t = Make("waiting");
    ASSERT_TRUE(box.Post(&t, 0));  // one slot free, one message pending
    MTEvent alert(true, false);
    MTWaitableCollection alerts;
    alerts.AddObject(alert);
    Text out = Make("untouched");
    MTEvent held(true, false), release(true, false);
    std::thread holder([&] {  // holds the guard as another holder would
        MTMutex guard(MTMailboxProbe::GuardName(name.c_str()).c_str(), false, MUTEX_ALL_ACCESS);
        if (guard.Wait(MustHappenMs()) == WAIT_OBJECT_0)
            held.Set();
        release.Wait(MustHappenMs());
        guard.Release();
    });
    if (held.Wait(MustHappenMs()) == WAIT_OBJECT_0)
    {
        EXPECT_FALSE(box.Post(&t, 0));
        EXPECT_FALSE(box.PostAlertable(&t, &alert, 0));
        EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), box.PostAlertable(&t, alerts, 0));
        EXPECT_FALSE(box.Get(&out, 0));
        EXPECT_FALSE(box.GetAlertable(&out, &alert, 0));
        EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), box.GetAlertable(&out, alerts, 0));
    }
    release.Set();
    holder.join();
    ASSERT_TRUE(held.IsSet()) << "the thread did not take the guard";
    EXPECT_STREQ("untouched", out.text);
    EXPECT_EQ(1u, RawHeader(name).Tail()) << "no refused post was stored";
    EXPECT_EQ("waiting", Take(box)) << "the pending count came back";
    EXPECT_EQ("<none>", Take(box)) << "no pending count without a message";
    ExpectTwoFreeSlots(box);  // the free counts came back, and no more than that
}

// --- Alertable forms ---

TEST(MTMailboxTest, EventFormsLetTheAlertWinEndABlockedWaitAndTreatNullAsPlain)
{
    MTMailbox box(1, Size, UniqueName("mbx-ev").c_str(), nullptr);
    MTEvent alert(true, true);
    const Text t = Make("x");
    EXPECT_FALSE(box.PostAlertable(&t, &alert, 0)) << "a free slot, but the alert stands first";
    EXPECT_EQ("<none>", Take(box));
    EXPECT_TRUE(box.PostAlertable(&t, nullptr, 0)) << "a null event posts plainly";
    EXPECT_FALSE(box.PostAlertable(&t, nullptr, 0)) << "full, as Post finds it";
    Text out = {};
    EXPECT_FALSE(box.GetAlertable(&out, &alert, 0)) << "a pending message, but the alert stands first";
    alert.Reset();
    EXPECT_TRUE(box.GetAlertable(&out, &alert, 0));
    EXPECT_STREQ("x", out.text);
    EXPECT_FALSE(box.GetAlertable(&out, nullptr, 0)) << "empty, as Get finds it";

    MTEvent autoReset(false, true);
    EXPECT_FALSE(box.GetAlertable(&out, &autoReset, 0));
    EXPECT_FALSE(autoReset.IsSet()) << "the wait took the signal of an auto-reset alert";

    // A post blocked on the full mailbox ends when the alert comes, and stores nothing.
    ASSERT_TRUE(Put(box, "first"));
    MTEvent finished(true, false);
    bool posted = true;
    std::thread poster([&] {
        posted = box.PostAlertable(&t, &alert, 2 * MustHappenMs());
        finished.Set();
    });
    alert.Set();
    EXPECT_EQ(WAIT_OBJECT_0, finished.Wait(MustHappenMs())) << "the alert ended the wait";
    poster.join();
    EXPECT_FALSE(posted);
    EXPECT_EQ("first", Take(box));
    EXPECT_EQ("<none>", Take(box)) << "nothing was stored";
}

TEST(MTMailboxTest, CollectionResultIsZeroForTheCountOrTheAlertIndexPlusOneAbandonedOrNot)
{
    MTMailbox box(1, Size, UniqueName("mbx-col").c_str(), nullptr);
    MTEvent e0(true, false), e1(true, false), e2(true, false);
    MTWaitableCollection alerts;
    for (MTEvent* e : {&e0, &e1, &e2})
        alerts.AddObject(*e);
    Text out = {};
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), box.GetAlertable(&out, alerts, 0));
    e2.Set();
    EXPECT_EQ(3u, box.GetAlertable(&out, alerts, 0)) << "empty: the alert at index 2 gives 3";
    e1.Set();
    EXPECT_EQ(2u, box.GetAlertable(&out, alerts, 0)) << "the lower index wins among the alerts";

    const Text t = Make("stored");
    EXPECT_EQ(0u, box.PostAlertable(&t, alerts, 0)) << "a free slot wins over the signalled alerts";
    EXPECT_EQ(2u, box.PostAlertable(&t, alerts, 0)) << "full: the alerts decide";
    EXPECT_EQ(0u, box.GetAlertable(&out, alerts, 0)) << "pending: the count decides";
    EXPECT_STREQ("stored", out.text);

    e1.Reset();
    e2.Reset();
    MTMutex mutex;
    std::thread([&] { mutex.Wait(MustHappenMs()); }).join();  // ends holding it
    alerts.AddObject(mutex);
    EXPECT_EQ(WAIT_ABANDONED_0 + 4, box.GetAlertable(&out, alerts, 0)) << "alert index 3, abandoned";
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

TEST(MTMailboxTest, AlertFromAnotherProcessEndsABlockedGetAndAMessageServesIt)
{
    // The child exits with its result: the event form 1 for true and 0 for false, the collection
    // form the number it got; 253 for a message with another text.
    struct Case
    {
        const char* form;
        int alerts, alertIndex, alerted, served;
    };
    for (const Case& c : {Case{"event", 1, 0, 0, 1}, Case{"collection", 3, 2, 3, 0}})
    {
        SCOPED_TRACE(c.form);
        const std::string name = UniqueName("mbx-proc"), readyName = UniqueName("mbx-proc-ready");
        MTMailbox box(2, Size, name.c_str(), nullptr);
        MTEvent ready(true, false, readyName.c_str());
        std::vector<std::string> args = {"mailbox-get-alertable", c.form, name, readyName,
                                         std::to_string(MustHappenMs()), "-"};
        std::vector<std::unique_ptr<MTEvent>> alerts;
        for (int i = 0; i < c.alerts; ++i)
        {
            args.push_back(UniqueName("mbx-proc-alert"));
            alerts.push_back(std::make_unique<MTEvent>(true, false, args.back().c_str()));
        }
        {
            ChildProcess alerted(args);
            ASSERT_EQ(WAIT_OBJECT_0, ready.Wait(MustHappenMs()));
            alerts[c.alertIndex]->Set();
            EXPECT_EQ(c.alerted, alerted.WaitExit(MustHappenMs())) << "ended by the alert";
        }
        alerts[c.alertIndex]->Reset();
        ready.Reset();
        args[5] = "across";
        ChildProcess served(args);
        ASSERT_EQ(WAIT_OBJECT_0, ready.Wait(MustHappenMs()));
        ASSERT_TRUE(Put(box, "across"));
        EXPECT_EQ(c.served, served.WaitExit(MustHappenMs())) << "served with the parent's message";
    }
}
