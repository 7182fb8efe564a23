// Shared memory blocks, and mailboxes within one process and between processes.
#include "support/MailboxProbe.h"
#include "support/TestSupport.h"
#include "weftcore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <set>
#include <tuple>
#include <utility>

using namespace weft::test;
using Words = std::vector<std::uint32_t>;

namespace
{
struct Text
{
    char text[16] = {};
    Text(const char* s = "") { std::strncpy(text, s, sizeof text - 1); }
};
constexpr unsigned long Size = sizeof(Text);

std::string Take(MTMailbox& box)  // Gets one message with time-out 0 and gives its text, or "<none>".
{
    Text t;
    return box.Get(&t, 0) ? std::string(t.text) : std::string("<none>");
}

// Posts a text with time-out 0, from a buffer with room for messages of up to 64 bytes.
bool Put(MTMailbox& box, const char* text)
{
    const Text t[4] = {Text(text)};
    return box.Post(t, 0);
}

// "slots x size", or "none" if GetProperties fails; a failure must leave both outputs alone.
std::string Shape(const MTMailbox& box)
{
    unsigned long slots = 7, size = 7;
    if (box.GetProperties(slots, size))
        return std::to_string(slots) + " x " + std::to_string(size);
    return slots == 7 && size == 7 ? "none" : "none, but the outputs changed";
}

constexpr unsigned long AnyFailure = 0xFFFFFFFF;  // a status that the platform chooses

// A mailbox that failed with <status>: no creator, no shape, no post.
void ExpectFailed(MTMailbox& box, unsigned long status)
{
    if (status == AnyFailure)
        EXPECT_TRUE(box.GetStatus() != 0 && box.GetStatus() != ERROR_ALREADY_EXISTS) << box.GetStatus();
    else
        EXPECT_EQ(status, box.GetStatus());
    EXPECT_FALSE(box.IsCreator());
    EXPECT_EQ("none", Shape(box));
    EXPECT_FALSE(Put(box, "x"));
}

// An empty mailbox of two slots, its guard free and counts whole: two posts go in, and out in order.
void ExpectTwoFreeSlots(MTMailbox& box, bool emptyMessages = false)
{
    EXPECT_TRUE(Put(box, "a") && Put(box, "b"));
    EXPECT_FALSE(Put(box, "c")) << "a third free slot";
    EXPECT_EQ(emptyMessages ? "" : "a", Take(box));
    EXPECT_EQ(emptyMessages ? "" : "b", Take(box));
    EXPECT_EQ("<none>", Take(box));
}

// The shared header: maxMessages, messageSize, headerSize, head, tail; nothing if the block did not open.
Words HeaderWords(const std::string& name)
{
    MTSharedMemory block(name.c_str());
    const auto* words = static_cast<const std::uint32_t*>(block.GetPtr());
    return words != nullptr ? Words(words, words + 5) : Words();
}
}  // namespace

// A creator, a joiner and an opener share one block, each through a view of its own; a null or empty
// name makes a private block; failures come from the platform and keep nothing.
TEST(MTSharedMemoryTest, CreatorJoinerAndOpenerShareOneBlockAndUnnamedBlocksArePrivate)
{
    const std::string name = UniqueName("shm"), missing = UniqueName("shm-missing");
    EXPECT_TRUE(LeaksNoHandles([&] {
        MTSharedMemory creator(3 * 4096, name.c_str(), nullptr), joiner(64 * 4096, name.c_str(), nullptr);
        MTSharedMemory opener(name.c_str()), unnamed(4096, nullptr, nullptr), emptyName(4096, "", nullptr);
        const std::tuple<MTSharedMemory*, unsigned long, bool> blocks[] = {
            {&creator, 0, true}, {&joiner, ERROR_ALREADY_EXISTS, false}, {&opener, 0, false},
            {&unnamed, 0, true}, {&emptyName, 0, true}};
        for (auto [block, status, creates] : blocks)
        {
            EXPECT_EQ(status, block->GetStatus());
            EXPECT_EQ(creates, block->IsCreator());
            ASSERT_NE(nullptr, block->GetPtr());
        }
        std::strcpy(static_cast<char*>(creator.GetPtr()), "shared");
        std::strcpy(static_cast<char*>(unnamed.GetPtr()), "private");
        for (MTSharedMemory* other : {&joiner, &opener})
        {
            EXPECT_NE(creator.GetPtr(), other->GetPtr()) << "a view of its own";
            EXPECT_STREQ("shared", static_cast<const char*>(other->GetPtr()));
        }
        EXPECT_STREQ("", static_cast<const char*>(emptyName.GetPtr())) << "two private blocks, not one";

        MTSharedMemory sizeZero(0, missing.c_str(), nullptr), openMissing(missing.c_str());
        for (MTSharedMemory* failed : {&sizeZero, &openMissing})
        {
            EXPECT_NE(0u, failed->GetStatus());
            EXPECT_EQ(nullptr, failed->GetPtr());
            EXPECT_FALSE(failed->IsCreator());
        }
    })) << "views and mappings went with their objects";
}

// The slots fill, drain and wrap in order in the shared layout. Joiners of any shape and openers work
// with the creator's shape; a pending message outlives its poster and the creator.
TEST(MTMailboxTest, SlotsWrapInTheSharedLayoutAndJoinersAndOpenersOutliveTheCreator)
{
    const std::string name = UniqueName("mbx-layout");
    EXPECT_TRUE(LeaksNoHandles([&] {
        auto creator = std::make_unique<MTMailbox>(3, Size, name.c_str(), nullptr);
        MTMailbox& box = *creator;
        ASSERT_EQ(0u, box.GetStatus());
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

        MTMailbox sameShape(3, Size, name.c_str(), nullptr), otherSize(3, 2 * Size, name.c_str(), nullptr);
        MTMailbox otherSlots(9, Size, name.c_str(), nullptr), opener(name.c_str());
        const std::pair<MTMailbox*, unsigned long> expected[] = {
            {&sameShape, ERROR_ALREADY_EXISTS}, {&otherSize, ERROR_INVALID_PARAMETER},
            {&otherSlots, ERROR_INVALID_PARAMETER}, {&opener, 0}};
        for (const auto& [joiner, status] : expected)
        {
            EXPECT_EQ(status, joiner->GetStatus());
            EXPECT_FALSE(joiner->IsCreator());
            EXPECT_EQ("3 x 16", Shape(*joiner));
        }
        ASSERT_TRUE(Put(otherSlots, "one box"));
        creator.reset();
        EXPECT_EQ("one box", Take(opener)) << "a pending message outlives its poster and the creator";
    })) << "every handle and view went with its object";
}

TEST(MTMailboxTest, OddShapesAndNamesTakeTheCommonCourseAndForeignBlocksAreLeftAlone)
{
    std::string longest = UniqueName("mbx-longest"), overlong = UniqueName("mbx-overlong");
    longest.resize(MTMailbox::MaxNameLength(), 'n');
    overlong.resize(MTMailbox::MaxNameLength() + 1, 'n');
    EXPECT_EQ(254u, MTMailboxProbe::GuardName(longest.c_str()).size()) << "the longest derived name fills 256";
    const std::tuple<unsigned long, unsigned long, std::string, unsigned long> cases[] = {
        {2, 0, UniqueName("mbx-empty"), 0},
        {2, Size, longest, 0},
        {0, Size, UniqueName("mbx-no-slots"), AnyFailure},  // the platform refuses a count of at most 0
        {0x10000, 0x10000, UniqueName("mbx-wrap"), ERROR_INVALID_DATA},  // 4 GiB wraps to a few bytes
        {2, Size, overlong, ERROR_FILENAME_EXCED_RANGE},  // the derived names would overrun their buffers
    };
    EXPECT_TRUE(LeaksNoHandles([&] {
        for (const auto& [slots, size, name, status] : cases)
        {
            SCOPED_TRACE(testing::Message() << slots << " x " << size << " named " << name);
            MTMailbox box(slots, size, name.c_str(), nullptr);
            if (status != 0)
            {
                ExpectFailed(box, status);
                continue;
            }
            EXPECT_EQ(0u, box.GetStatus());
            EXPECT_TRUE(box.IsCreator());
            ExpectTwoFreeSlots(box, size == 0);
        }
        EXPECT_EQ(0u, MTMailbox(64, 64, UniqueName("mbx-page").c_str(), nullptr).GetStatus()) << "a page and a bit";
    })) << "a failed mailbox keeps nothing";

    // What another holder may leave under the name: a block whose header would lead the copies out of
    // the view, or another kind of object under the guard's name, which is never won. Both are refused.
    const std::tuple<const char*, std::array<std::uint32_t, 5>, bool, unsigned long> foreign[] = {
        {"never written", {0, 0, 0, 0, 0}, false, ERROR_INVALID_DATA},
        {"head past the last slot", {4, Size, 20, 4, 0}, false, ERROR_INVALID_DATA},
        {"tail past the last slot", {4, Size, 20, 0, 4}, false, ERROR_INVALID_DATA},
        {"slots beyond the block", {64, 64, 20, 0, 0}, false, ERROR_INVALID_DATA},  // 4116 bytes in 4096
        {"an event holds the guard's name", {4, Size, 20, 2, 3}, true, AnyFailure},
    };
    for (const auto& [what, header, eventAsGuard, status] : foreign)
    {
        SCOPED_TRACE(what);
        const std::string name = UniqueName("mbx-foreign");
        const std::string guardName = MTMailboxProbe::GuardName(name.c_str());
        MTSharedMemory block(4096, name.c_str(), nullptr);
        std::memcpy(block.GetPtr(), header.data(), sizeof header);
        MTMutex guard(false, eventAsGuard ? nullptr : guardName.c_str());
        MTEvent squatter(true, false, eventAsGuard ? guardName.c_str() : nullptr);
        MTMailbox joiner(4, Size, name.c_str(), nullptr), opener(name.c_str());
        ExpectFailed(joiner, status);
        ExpectFailed(opener, status);
        EXPECT_EQ(0, std::memcmp(block.GetPtr(), header.data(), sizeof header)) << "the block was left alone";
    }
}

// Null messages and buffers move nothing. While a child holds the guard each form with time-out 0 fails
// and gives its count back; once the child is killed each takes the abandoned guard over and moves.
TEST(MTMailboxTest, NullMessagesMoveNothingAndAGuardHeldOrAbandonedKeepsTheCounts)
{
    for (int form = 0; form < 6; ++form)
    {
        SCOPED_TRACE(form);
        const bool isGet = form >= 3;
        const std::string name = UniqueName("mbx-guard"), readyName = UniqueName("mbx-guard-ready");
        MTMailbox box(2, Size, name.c_str(), nullptr);
        MTEvent ready(true, false, readyName.c_str()), alert(true, false);
        MTWaitableCollection alerts;
        alerts.AddObject(alert);
        const Text t("survivor");
        ASSERT_TRUE(box.Post(&t, 0));  // one slot free, one message pending
        for (MTEvent* event : {&alert, static_cast<MTEvent*>(nullptr)})
            EXPECT_FALSE(box.Post(nullptr, 0) || box.Get(nullptr, 0) || box.PostAlertable(nullptr, event, 0) ||
                         box.GetAlertable(nullptr, event, 0));
        EXPECT_EQ(WAIT_ABANDONED_0, box.PostAlertable(nullptr, alerts, 0));
        EXPECT_EQ(WAIT_ABANDONED_0, box.GetAlertable(nullptr, alerts, 0));

        Text out("untouched");
        auto transfer = [&](unsigned long timeout) -> unsigned long {
            switch (form)
            {
            case 0: return box.Post(&t, timeout);
            case 1: return box.PostAlertable(&t, &alert, timeout);
            case 2: return box.PostAlertable(&t, alerts, timeout);
            case 3: return box.Get(&out, timeout);
            case 4: return box.GetAlertable(&out, &alert, timeout);
            default: return box.GetAlertable(&out, alerts, timeout);
            }
        };
        ChildProcess holder({"mutex-hold", MTMailboxProbe::GuardName(name.c_str()), readyName, "hang"});
        ASSERT_EQ(WAIT_OBJECT_0, ready.Wait(MustHappenMs())) << "the child did not take the guard";
        EXPECT_EQ(form % 3 == 2 ? WAIT_TIMEOUT : 0u, transfer(0)) << "the guard is held";
        EXPECT_STREQ("untouched", out.text);
        EXPECT_EQ(1u, HeaderWords(name)[4]) << "no refused post was stored";
        holder.Kill();
        EXPECT_EQ(form % 3 == 1 ? 1u : 0u, transfer(MustHappenMs())) << "the abandoned guard is taken over";
        EXPECT_TRUE(isGet || !Put(box, "extra")) << "full, yet a refused post gave a count back";
        EXPECT_STREQ(isGet ? "survivor" : "untouched", out.text);
        for (int i = isGet ? 0 : 2; i > 0; --i)
            EXPECT_EQ("survivor", Take(box)) << "the message moved";
        EXPECT_EQ("<none>", Take(box)) << "a failed transfer left a count too many";
        ExpectTwoFreeSlots(box);  // the guard is free again, and the counts are whole
    }
}

TEST(MTMailboxTest, AlertableFormsLetTheAlertWinTreatNullAsPlainAndGiveTheAlertIndexPlusOne)
{
    MTMailbox box(1, Size, UniqueName("mbx-alert").c_str(), nullptr);
    MTEvent alert(true, true), e1(true, false), e2(true, false);
    const Text t("x");
    Text out;
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
    const Text stored("stored");
    EXPECT_EQ(0u, box.PostAlertable(&stored, alerts, 0)) << "a free slot wins over the signalled alerts";
    EXPECT_EQ(2u, box.PostAlertable(&stored, alerts, 0)) << "full: the alerts decide";
    EXPECT_EQ(0u, box.GetAlertable(&out, alerts, 0)) << "pending: the count decides";
    EXPECT_STREQ("stored", out.text);
}

TEST(MTMailboxTest, ProcessesRacingToCreateGetOneCreatorAndOneHeader)
{
    // The racers create or join at one signal, post their process ids, and hold on until <go>.
    constexpr unsigned racers = 5;
    const std::string name = UniqueName("mbx-race"), start = UniqueName("race-start");
    const std::string ready = UniqueName("race-ready"), go = UniqueName("race-go");
    MTEvent startEvent(true, false, start.c_str()), goEvent(true, false, go.c_str());
    MTSemaphore readyCount(0, racers, ready.c_str());
    ChildGroup children;
    for (unsigned i = 0; i < racers; ++i)
        children.Start({"race", name, start, ready, go, std::to_string(MustHappenMs())});
    startEvent.Set();
    for (unsigned i = 0; i < racers; ++i)
        ASSERT_EQ(WAIT_OBJECT_0, readyCount.Wait(MustHappenMs())) << "racer " << i << " did not report";

    // A second racer's header would have zeroed the indexes, losing the ids posted before it.
    EXPECT_EQ((Words{8, 4, 20, 0, racers}), HeaderWords(name));
    MTMailbox reader(name.c_str());
    std::set<unsigned long> processes;
    for (unsigned long id = 0; reader.Get(&id, 0);)
        processes.insert(id);
    EXPECT_EQ(racers, processes.size()) << "one id from each racer";
    goEvent.Set();
    ASSERT_TRUE(children.WaitAll(MustHappenMs()));
    std::vector<long> codes = children.ExitCodes();
    std::sort(codes.begin(), codes.end());
    EXPECT_EQ((std::vector<long>{0, 0, 0, 0, 1}), codes) << "one creator among the racers, the others joined";
}

TEST(MTMailboxTest, ProducersInManyProcessesDeliverEachMessageOnceWholeAndInOrder)
{
    // Producer processes post through two slots while this process takes by the event and the collection
    // form in turn: every message must arrive once, whole, and after its producer's earlier ones.
    using weft::test::stress::Message;
    constexpr unsigned producers = 8, perProducer = 2500;
    const std::string name = UniqueName("mbx-stress");
    MTMailbox box(2, sizeof(Message), name.c_str(), nullptr);
    ASSERT_EQ(0u, box.GetStatus());
    ChildGroup children;
    for (unsigned p = 0; p < producers; ++p)
        children.Start({"mailbox-produce", name, std::to_string(p), std::to_string(perProducer),
                        std::to_string(MustHappenMs())});
    MTEvent never(true, false);
    MTWaitableCollection alerts;
    alerts.AddObject(never);
    std::vector<unsigned> next(producers, 0);
    unsigned taken = 0, torn = 0, outOfOrder = 0;
    for (Message m; taken < producers * perProducer; ++taken)
    {
        if (taken % 2 == 0 ? box.GetAlertable(&m, alerts, MustHappenMs()) != 0
                           : !box.GetAlertable(&m, &never, MustHappenMs()))
            break;
        if (!m.IsIntact() || m.producer >= producers)
            ++torn;
        else if (m.sequence != next[m.producer]++)
            ++outOfOrder;
    }
    EXPECT_EQ(producers * perProducer, taken) << "messages lost";
    EXPECT_EQ(0u, torn);
    EXPECT_EQ(0u, outOfOrder) << "messages taken twice, skipped or out of order";
    ASSERT_TRUE(children.WaitAll(MustHappenMs()));
    EXPECT_EQ(std::vector<long>(producers, 0), children.ExitCodes());
    Message rest;
    EXPECT_FALSE(box.Get(&rest, 0)) << "nothing is left over";
}
