// Mailbox behaviour that takes several processes: the creation race, many posters and getters
// at once, and a holder of the guard that dies.
#include "IpcTestSupport.h"
#include "support/MailboxMessages.h"

#include <set>

using namespace weft::test;
using namespace weft::test::mailbox;

TEST(MTMailboxTest, ProcessesRacingToCreateGetOneCreatorAndOneHeader)
{
    const std::string name = UniqueName("mbx-race");
    constexpr unsigned racers = 5;
    RunCreationRace("mailbox", name, racers, [&] {
        // Had a second racer written the header, its zeroed indexes would have lost the reports
        // posted before it.
        RawHeader raw(name);
        ASSERT_TRUE(raw.IsMapped());
        EXPECT_EQ(8u, raw.MaxMessages());
        EXPECT_EQ(sizeof(RaceReport), raw.MessageSize());
        EXPECT_EQ(0u, raw.Head());
        EXPECT_EQ(racers, raw.Tail());
        MTMailbox reader(name.c_str());
        ASSERT_EQ(0u, reader.GetStatus());
        std::set<unsigned long> processes;
        unsigned creators = 0;
        RaceReport report = {};
        for (unsigned i = 0; i < racers; ++i)
        {
            ASSERT_TRUE(reader.Get(&report, 0)) << "report " << i;
            processes.insert(report.processId);
            creators += report.creator;
            EXPECT_TRUE(report.status == 0 || report.status == ERROR_ALREADY_EXISTS) << report.status;
        }
        EXPECT_FALSE(reader.Get(&report, 0));
        EXPECT_EQ(racers, processes.size());
        EXPECT_EQ(1u, creators);
    });
}

namespace
{
// Producers post their numbered messages, consumers take them until all are taken, each counting
// what it took in a shared tally; then every message must have arrived once, whole and in order.
void RunStress(unsigned producers, unsigned consumers, std::uint32_t perProducer)
{
    using namespace weft::test::stress;
    const std::string name = UniqueName("mbx-stress");
    const std::string tallyName = UniqueName("mbx-stress-tally");
    const std::string doneName = UniqueName("mbx-stress-done");
    MTMailbox box(8, sizeof(Message), name.c_str(), nullptr);
    ASSERT_EQ(0u, box.GetStatus());
    MTSharedMemory tallyBlock(Tally::Bytes(producers, perProducer), tallyName.c_str(), nullptr);
    auto* tally = static_cast<Tally*>(tallyBlock.GetPtr());
    ASSERT_NE(nullptr, tally);
    MTEvent done(true, false, doneName.c_str());
    const std::string timeout = std::to_string(MustHappenMs());

    ChildGroup children;
    for (unsigned c = 0; c < consumers; ++c)
        children.Start({"mailbox-consume", name, tallyName, doneName, std::to_string(producers),
                        std::to_string(perProducer), consumers == 1 ? "1" : "0", timeout});
    for (unsigned p = 0; p < producers; ++p)
        children.Start({"mailbox-produce", name, std::to_string(p), std::to_string(perProducer), timeout});
    ASSERT_TRUE(children.AllStarted());
    ASSERT_TRUE(children.WaitAll(Scaled(100000))) << "producers and consumers did not finish";
    const std::vector<long> codes = children.ExitCodes();
    for (size_t i = 0; i < codes.size(); ++i)
        EXPECT_EQ(0, codes[i]) << (i < consumers ? "consumer " : "producer ") << i;

    EXPECT_EQ(static_cast<LONG>(producers * perProducer), tally->taken);
    EXPECT_EQ(0, tally->corrupt);
    EXPECT_EQ(0, tally->outOfOrder);
    unsigned wrong = 0;
    for (std::uint32_t p = 0; p < producers; ++p)
        for (std::uint32_t s = 0; s < perProducer; ++s)
            if (tally->Received(p, s, perProducer) != 1 && ++wrong <= 5)
                ADD_FAILURE() << "message " << p << ":" << s << " arrived " << tally->Received(p, s, perProducer)
                              << " times";
    EXPECT_EQ(0u, wrong);
    Message rest;
    EXPECT_FALSE(box.Get(&rest, 0)) << "nothing is left over";
}
}  // namespace

TEST(MTMailboxTest, ManyProducersToOneConsumerKeepEachProducersOrder)
{
    RunStress(4, 1, 5000);
}

TEST(MTMailboxTest, ManyProducersToManyConsumersDeliverEachMessageOnce)
{
    RunStress(4, 3, 5000);
}

TEST(MTMailboxTest, GuardAbandonedByAKilledHolderIsTakenOverAndReported)
{
    // Each form after the kill, with what it must say (as MTMailbox.h states it: the plain forms
    // move the message and say false, the event forms true, the collection forms 0).
    const char* forms[] = {"Post", "PostAlertable(event)", "PostAlertable(collection)",
                           "Get", "GetAlertable(event)", "GetAlertable(collection)"};
    for (int form = 0; form < 6; ++form)
    {
        SCOPED_TRACE(forms[form]);
        const bool isGet = form >= 3;
        const std::string name = UniqueName("mbx-fault"), readyName = UniqueName("mbx-fault-ready");
        MTMailbox box(2, Size, name.c_str(), nullptr);
        MTEvent ready(true, false, readyName.c_str());
        MTEvent alert(true, false);
        MTWaitableCollection alerts;
        alerts.AddObject(alert);
        const Text t = Make("survivor");
        if (isGet && !box.Post(&t, 0))
            FAIL() << "the first post";

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
        if (isGet)
            EXPECT_STREQ("survivor", out.text) << "the message was taken";
        else
            EXPECT_EQ("survivor", Take(box)) << "the message was stored";
        ExpectTwoFreeSlots(box);  // the guard is free again and the counts are whole
    }
}
