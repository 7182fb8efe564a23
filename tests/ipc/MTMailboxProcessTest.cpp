// Mailbox behaviour that takes several processes: the creation race, many posters at once, and
// a holder of the guard that dies.
#include "IpcTestSupport.h"

#include <algorithm>
#include <set>

using namespace weft::test;
using namespace weft::test::mailbox;

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
    ASSERT_TRUE(children.AllStarted());
    startEvent.Set();
    for (unsigned i = 0; i < racers; ++i)
        ASSERT_EQ(WAIT_OBJECT_0, readyCount.Wait(MustHappenMs())) << "racer " << i << " did not report";

    // Had a second racer written the header, its zeroed indexes would have lost the ids posted
    // before it.
    EXPECT_EQ((std::vector<std::uint32_t>{8, 4, 20, 0, racers}), HeaderWords(name));
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
    // Producer processes post their numbered messages through two slots while this process takes
    // them, by the event and the collection form in turn: every message must arrive once, whole,
    // and after its producer's earlier ones.
    using weft::test::stress::Message;
    constexpr unsigned producers = 8, perProducer = 2500;
    const std::string name = UniqueName("mbx-stress");
    MTMailbox box(2, sizeof(Message), name.c_str(), nullptr);
    ASSERT_EQ(0u, box.GetStatus());
    ChildGroup children;
    for (unsigned p = 0; p < producers; ++p)
        children.Start({"mailbox-produce", name, std::to_string(p), std::to_string(perProducer),
                        std::to_string(MustHappenMs())});
    ASSERT_TRUE(children.AllStarted());
    MTEvent never(true, false);
    MTWaitableCollection alerts;
    alerts.AddObject(never);
    std::vector<unsigned> next(producers, 0);
    unsigned taken = 0, torn = 0, outOfOrder = 0;
    for (Message m; taken < producers * perProducer; ++taken)
    {
        if (taken % 2 == 0 ? box.GetAlertable(&m, alerts, MustHappenMs()) != 0 : !box.GetAlertable(&m, &never, MustHappenMs()))
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

TEST(MTMailboxTest, GuardAbandonedByAKilledHolderIsTakenOverAndReported)
{
    // Each form after the kill, and what it must say: the plain forms move the message and say
    // false, the event forms true, the collection forms 0.
    for (int form = 0; form < 6; ++form)
    {
        SCOPED_TRACE(form);
        const bool isGet = form >= 3;
        const std::string name = UniqueName("mbx-fault"), readyName = UniqueName("mbx-fault-ready");
        MTMailbox box(2, Size, name.c_str(), nullptr);
        MTEvent ready(true, false, readyName.c_str()), alert(true, false);
        MTWaitableCollection alerts;
        alerts.AddObject(alert);
        const Text t = Make("survivor");
        ASSERT_TRUE(!isGet || box.Post(&t, 0)) << "the message to get";

        ChildProcess holder({"mailbox-hold-guard", name, readyName});
        ASSERT_EQ(WAIT_OBJECT_0, ready.Wait(MustHappenMs())) << "the child did not take the guard";
        holder.Kill();

        Text out = {};
        const unsigned long timeout = MustHappenMs();
        switch (form)
        {
        case 0: EXPECT_FALSE(box.Post(&t, timeout)); break;
        case 1: EXPECT_TRUE(box.PostAlertable(&t, &alert, timeout)); break;
        case 2: EXPECT_EQ(0u, box.PostAlertable(&t, alerts, timeout)); break;
        case 3: EXPECT_FALSE(box.Get(&out, timeout)); break;
        case 4: EXPECT_TRUE(box.GetAlertable(&out, &alert, timeout)); break;
        case 5: EXPECT_EQ(0u, box.GetAlertable(&out, alerts, timeout)); break;
        }
        EXPECT_EQ("survivor", isGet ? std::string(out.text) : Take(box)) << "the message moved";
        ExpectTwoFreeSlots(box);  // the guard is free again and the counts are whole
    }
}
