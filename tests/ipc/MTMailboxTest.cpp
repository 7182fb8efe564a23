// Mailbox behaviour within one process, and against single child processes.
#include "IpcTestSupport.h"

#include <memory>
#include <thread>
#include <utility>

using namespace weft::test;
using namespace weft::test::mailbox;

using Words = std::vector<std::uint32_t>;

// --- Construction and the shared header ---

TEST(MTMailboxTest, SlotsFillDrainAndWrapInOrderInTheSharedLayout)
{
    const std::string name = UniqueName("mbx-layout");
    MTMailbox box(3, Size, name.c_str(), nullptr);
    ASSERT_EQ(0u, box.GetStatus());
    EXPECT_TRUE(box.IsCreator());
    MTSharedMemory view(name.c_str());
    auto slot = [&](int i) { return static_cast<const char*>(view.GetPtr()) + 20 + i * Size; };
    EXPECT_EQ((Words{3, Size, 20, 0, 0}), HeaderWords(name));

    for (const char* text : {"0", "1", "2"})
        ASSERT_TRUE(Put(box, text));
    EXPECT_STREQ("2", slot(2));
    EXPECT_EQ(0u, HeaderWords(name)[4]) << "the tail wraps after the last slot";
    EXPECT_FALSE(Put(box, "3")) << "a full mailbox refuses at once";
    EXPECT_EQ("0", Take(box));
    ASSERT_TRUE(Put(box, "3"));
    EXPECT_STREQ("3", slot(0));
    for (const char* text : {"1", "2", "3"})
        EXPECT_EQ(text, Take(box));
    EXPECT_EQ((Words{3, Size, 20, 1, 1}), HeaderWords(name)) << "the head wrapped too";
    EXPECT_EQ("<none>", Take(box)) << "an empty mailbox gives false at once";
}

TEST(MTMailboxTest, JoinersAndOpenersWorkWithTheCreatorsShapeAndOutliveIt)
{
    const std::string name = UniqueName("mbx-shape");
    EXPECT_TRUE(LeaksNoHandles([&] {
        {
            auto creator = std::make_unique<MTMailbox>(4, Size, name.c_str(), nullptr);
            MTMailbox sameShape(4, Size, name.c_str(), nullptr), otherSize(4, 2 * Size, name.c_str(), nullptr);
            MTMailbox otherSlots(9, Size, name.c_str(), nullptr), opener(name.c_str());
            const std::pair<MTMailbox*, unsigned long> expected[] = {
                {&sameShape, ERROR_ALREADY_EXISTS}, {&otherSize, ERROR_INVALID_PARAMETER},
                {&otherSlots, ERROR_INVALID_PARAMETER}, {&opener, 0}};
            for (const auto& [box, status] : expected)
            {
                EXPECT_EQ(status, box->GetStatus());
                EXPECT_FALSE(box->IsCreator());
                EXPECT_EQ("4 x 16", Shape(*box));
            }
            ASSERT_TRUE(Put(otherSlots, "one box"));
            creator.reset();
            EXPECT_EQ("one box", Take(opener)) << "a pending message outlives its poster and the creator";
        }
    })) << "every handle and view went with its object";
}

TEST(MTMailboxTest, OddShapesAndNamesTakeTheCommonCourse)
{
    std::string longest = UniqueName("mbx-longest"), overlong = UniqueName("mbx-overlong");
    longest.resize(MTMailbox::MaxNameLength(), 'n');
    overlong.resize(MTMailbox::MaxNameLength() + 1, 'n');
    struct Case
    {
        unsigned long slots, size;
        std::string name;
        unsigned long status;
    };
    const Case cases[] = {
        {2, 0, UniqueName("mbx-empty"), 0},
        {2, Size, longest, 0},
        {0, Size, UniqueName("mbx-no-slots"), AnyFailure},  // the platform refuses a count of at most 0
        {0x10000, 0x10000, UniqueName("mbx-wrap"), ERROR_INVALID_DATA},  // 4 GiB wraps to a few bytes
        {2, Size, overlong, ERROR_FILENAME_EXCED_RANGE},  // the derived names would overrun their buffers
    };
    EXPECT_TRUE(LeaksNoHandles([&] {
        for (const Case& c : cases)
        {
            SCOPED_TRACE(testing::Message() << c.slots << " x " << c.size << " named " << c.name);
            MTMailbox box(c.slots, c.size, c.name.c_str(), nullptr);
            if (c.status != 0)
            {
                ExpectFailed(box, c.status);
                continue;
            }
            EXPECT_EQ(0u, box.GetStatus());
            EXPECT_TRUE(box.IsCreator());
            ExpectTwoFreeSlots(box, c.size == 0);
        }
    })) << "a failed mailbox keeps nothing";
}

TEST(MTMailboxTest, BlockWithoutASoundHeaderOrGuardIsRefusedAndLeftAlone)
{
    // What another holder may leave under the name: a block whose header would lead the copies
    // out of the view, or another kind of object under the guard's name, which is never won.
    struct Case
    {
        const char* what;
        std::uint32_t header[5];
        bool eventAsGuard;
        unsigned long status;
    };
    const Case cases[] = {
        {"never written", {0, 0, 0, 0, 0}, false, ERROR_INVALID_DATA},
        {"head past the last slot", {4, Size, 20, 4, 0}, false, ERROR_INVALID_DATA},
        {"tail past the last slot", {4, Size, 20, 0, 4}, false, ERROR_INVALID_DATA},
        {"slots beyond the block", {1000, 64, 20, 0, 0}, false, ERROR_INVALID_DATA},
        {"an event holds the guard's name", {4, Size, 20, 2, 3}, true, AnyFailure},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        const std::string name = UniqueName("mbx-foreign");
        const std::string guardName = MTMailboxProbe::GuardName(name.c_str());
        MTSharedMemory block(4096, name.c_str(), nullptr);
        std::memcpy(block.GetPtr(), c.header, sizeof c.header);
        MTMutex guard(false, c.eventAsGuard ? nullptr : guardName.c_str());
        MTEvent squatter(true, false, c.eventAsGuard ? guardName.c_str() : nullptr);
        MTMailbox joiner(4, Size, name.c_str(), nullptr), opener(name.c_str());
        ExpectFailed(joiner, c.status);
        ExpectFailed(opener, c.status);
        EXPECT_EQ(0, std::memcmp(block.GetPtr(), c.header, sizeof c.header)) << "the block was left alone";
    }
}

// --- Refused transfers leave the counts whole ---

// Null messages and buffers move nothing in any form; a transfer that cannot have the guard
// gives back the count it took.
TEST(MTMailboxTest, NullMessagesAndATransferThatCannotHaveTheGuardLeaveTheCounts)
{
    const std::string name = UniqueName("mbx-guard");
    MTMailbox box(2, Size, name.c_str(), nullptr);
    const Text t = Make("waiting");
    ASSERT_TRUE(box.Post(&t, 0));  // one slot free, one message pending
    MTEvent alert(true, false);
    MTWaitableCollection alerts;
    alerts.AddObject(alert);
    for (MTEvent* event : {&alert, static_cast<MTEvent*>(nullptr)})
        EXPECT_FALSE(box.Post(nullptr, 0) || box.Get(nullptr, 0) || box.PostAlertable(nullptr, event, 0) ||
                     box.GetAlertable(nullptr, event, 0));
    EXPECT_EQ(WAIT_ABANDONED_0, box.PostAlertable(nullptr, alerts, 0));
    EXPECT_EQ(WAIT_ABANDONED_0, box.GetAlertable(nullptr, alerts, 0));
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
    EXPECT_EQ(1u, HeaderWords(name)[4]) << "no refused post was stored";
    EXPECT_EQ("waiting", Take(box)) << "the pending count came back";
    EXPECT_EQ("<none>", Take(box)) << "no pending count without a message";
    ExpectTwoFreeSlots(box);  // the free counts came back, and no more than that
}

// --- Alertable forms ---

TEST(MTMailboxTest, AlertableFormsLetTheAlertWinTreatNullAsPlainAndGiveTheAlertIndexPlusOne)
{
    MTMailbox box(1, Size, UniqueName("mbx-alert").c_str(), nullptr);
    MTEvent alert(true, true), e1(true, false), e2(true, false);
    const Text t = Make("x");
    Text out = {};
    EXPECT_FALSE(box.PostAlertable(&t, &alert, 0)) << "a free slot, but the alert stands first";
    EXPECT_EQ("<none>", Take(box));
    EXPECT_TRUE(box.PostAlertable(&t, nullptr, 0)) << "a null event posts plainly";
    EXPECT_FALSE(box.PostAlertable(&t, nullptr, 0)) << "full, as Post finds it";
    EXPECT_FALSE(box.GetAlertable(&out, &alert, 0)) << "a pending message, but the alert stands first";
    alert.Reset();
    EXPECT_TRUE(box.GetAlertable(&out, &alert, 0));
    EXPECT_STREQ("x", out.text);
    EXPECT_FALSE(box.GetAlertable(&out, nullptr, 0)) << "empty, as Get finds it";

    // The collection forms: 0 for the count, the index of the first signalled alert plus one.
    MTWaitableCollection alerts;
    for (MTEvent* e : {&alert, &e1, &e2})
        alerts.AddObject(*e);
    EXPECT_EQ(static_cast<unsigned long>(WAIT_TIMEOUT), box.GetAlertable(&out, alerts, 0));
    e2.Set();
    EXPECT_EQ(3u, box.GetAlertable(&out, alerts, 0)) << "empty: the alert at index 2 gives 3";
    e1.Set();
    EXPECT_EQ(2u, box.GetAlertable(&out, alerts, 0)) << "the lower index wins among the alerts";
    const Text stored = Make("stored");
    EXPECT_EQ(0u, box.PostAlertable(&stored, alerts, 0)) << "a free slot wins over the signalled alerts";
    EXPECT_EQ(2u, box.PostAlertable(&stored, alerts, 0)) << "full: the alerts decide";
    EXPECT_EQ(0u, box.GetAlertable(&out, alerts, 0)) << "pending: the count decides";
    EXPECT_STREQ("stored", out.text);
}
