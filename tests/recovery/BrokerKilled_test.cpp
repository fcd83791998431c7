// The process of the broker is killed while clients keep many requests under way. Neither they nor
// the workers do anything about it.

#include "recovery/Pool.h"
#include "recovery/Probe.h"

using namespace recovery;

namespace {

constexpr unsigned int kills = 5;
constexpr unsigned int workers = 3;

class BrokerKilled : public Pool {
protected:
    /// Kills the broker while the first worker has the request of `probe` in hands, and keeps it.
    /// Starts another broker, and a worker that keeps nothing. Returns the request's sending.
    unsigned int replaceTheBrokerDuringARequestOf(Probe& probe)
    {
        mBroker = startBroker();
        startWorker();
        Probe early(mLedger, clients + 2);
        early.connect(mClientEnd);
        early.ask();
        EXPECT_TRUE(early.take(20000)) << "the broker is there: one attempt to connect will do";
        mLedger.keeper = 1;
        probe.connect(mClientEnd);
        const unsigned int sending = probe.ask();
        const Sending& held = mLedger.clients[clients].log[sending];
        EXPECT_TRUE(await([&] { return held.taken != 0; }));
        replaceTheBroker();
        startWorker();
        return sending;
    }

    void replaceTheBroker()
    {
        killAtRandom(*mBroker);
        ++mLedger.epoch;
        mBroker = startBroker();
    }

    std::unique_ptr<support::Process> mBroker;
};

} // namespace

TEST_P(BrokerKilled, IsReplacedAndEverythingIsAnsweredInTheEnd)
{
    mBroker = startBroker();
    for (unsigned int i = 0; i < workers; ++i) {
        startWorker();
    }
    startClients();
    for (unsigned int kill = 0; kill < kills; ++kill) {
        // More than can be under way: some came through the broker of now.
        ASSERT_TRUE(awaitProgress(random(100, 400)));
        EXPECT_TRUE(isUnderLoad());
        replaceTheBroker();
    }
    ASSERT_TRUE(awaitProgress(100));
    finishClients();
    for (const auto& worker : mWorkers) {
        EXPECT_EQ(worker->wait(0), -1); // It goes on.
    }

    // A request is lost with the broker, or its answer is, or the answer that a worker gives later
    // finds no client at the next broker.
    const unsigned int requests =
        count([](const Sending& sending) { return isLost(sending) && sending.taken == 0; });
    const unsigned int lateAnswers = count(
        [](const Sending& sending) { return isLost(sending) && sending.answered > sending.asked; });
    EXPECT_GT(count(isLost), 0U);
    tell({{{"kills", kills}, {"workers", workers}},
          askedBy(clients),
          {{"lost", count(isLost)},
           {"lost_requests", requests},
           {"lost_answers", count(isLost) - requests - lateAnswers},
           {"lost_later_answers", lateAnswers}}});
}

TEST_P(BrokerKilled, LeavesItToTheNextToBringTheAnswerToAClientThatIsBack)
{
    Probe probe(mLedger, clients);
    const unsigned int held = replaceTheBrokerDuringARequestOf(probe);
    EXPECT_TRUE(await([&] {
        probe.ask();
        return probe.take(100).has_value();
    })) << "the client is back";
    mLedger.keeper = 0;
    EXPECT_TRUE(await([&] {
        probe.take(100);
        return !isLost(mLedger.clients[clients].log[held]);
    }));
}

TEST_P(BrokerKilled, CostsTheAnswerThatComesBeforeTheClientIsBack)
{
    Probe probe(mLedger, clients);
    probe.stayAway();
    const unsigned int held = replaceTheBrokerDuringARequestOf(probe);
    Probe other(mLedger, clients + 1);
    other.connect(mClientEnd);
    const Client& others = mLedger.clients[clients + 1];
    // Nothing overtakes: what is not answered before the next one was dealt to the first worker.
    const auto wasPassedOver = [&](unsigned int sending) {
        return isLost(others.log[sending]) && !isLost(others.log[sending + 1]);
    };
    unsigned int waiting = 0;
    EXPECT_TRUE(await([&] {
        const unsigned int answered = other.ask();
        other.take(100);
        for (waiting = 0; waiting < answered && !wasPassedOver(waiting); ++waiting) {
        }
        return waiting < answered;
    })) << "the worker is back";
    mLedger.keeper = 0;
    EXPECT_TRUE(await([&] {
        other.take(100);
        return !isLost(others.log[waiting]);
    })) << "the worker has answered both";

    probe.connect(mClientEnd);
    EXPECT_TRUE(await([&] {
        probe.ask();
        return probe.take(1000).has_value();
    })) << "the client is back";
    EXPECT_TRUE(isLost(mLedger.clients[clients].log[held]));
}

INSTANTIATE_TEST_SUITE_P(Over, BrokerKilled, testing::Values("tcp", "ipc"), transportOf);
