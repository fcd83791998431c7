// Workers that are killed, and others that join, while clients keep many requests under way.

#include "pattern/Messages.h"
#include "recovery/Pool.h"
#include "recovery/Probe.h"
#include "recovery/Questions.h"
#include "support/RawSocket.h"

#include <zmq.h>

using namespace recovery;

namespace {

constexpr unsigned int kills = 6;
constexpr unsigned int survivor = 0;
constexpr unsigned int atATime = 3; ///< Workers, the survivor among them.

/// How far all had come at a moment in which no worker of the pool held a request.
struct Checkpoint {
    std::vector<unsigned int> sendings; ///< Of each client.
    std::vector<unsigned int> taken;    ///< By each worker.
};

/// A worker's death, and the last moments of rest before and after.
struct Death {
    unsigned int worker;
    Checkpoint before, after;

    unsigned int takenBy(unsigned int server) const
    {
        return after.taken[server] - before.taken[server];
    }
};

class WorkerKilled : public Pool {
protected:
    WorkerKilled()
    {
        mProbe.connect(mClientEnd);
    }

    /// Has one more worker join under load.
    void join()
    {
        const auto number = static_cast<unsigned int>(mWorkers.size());
        mMembers.push_back(number);
        startWorker();
        EXPECT_TRUE(await([&] { return mLedger.servers[number].taken > 0; }));
        rest();
    }

    /// Kills any worker but the survivor when it has done some more work.
    Death killOne()
    {
        const unsigned int place = random(1, static_cast<unsigned int>(mMembers.size()) - 1);
        const unsigned int worker = mMembers[place];
        const Server& entry = mLedger.servers[worker];
        const unsigned int goal = entry.taken + random(5, 100);
        EXPECT_TRUE(await([&] { return entry.taken >= goal; }));
        EXPECT_TRUE(isUnderLoad());
        killWorker(worker);
        mMembers.erase(mMembers.begin() + place);
        const Checkpoint before = mLast;
        rest();
        return {worker, before, mLast};
    }

    /// The most that a worker can have held when it was killed.
    ///
    /// The broker deals in turn. Since the moment of rest before, nobody else came or went, so as
    /// long as this worker was in the pool it got one request between any two of the survivor's: at
    /// most one more than the survivor, who has taken all of its own by the moment of rest after.
    /// What it got and answered, and what arrived, it did not hold.
    unsigned int mostHeld(const Death& death) const
    {
        const unsigned int dealt = death.takenBy(survivor) + 1;
        const unsigned int done =
            mLedger.servers[death.worker].arrived - death.before.taken[death.worker];
        return dealt - done;
    }

    /// What was sent between two moments of rest, is lost, and fulfils a condition.
    unsigned int lostBetween(const Checkpoint& before, const Checkpoint& after,
                             const std::function<bool(const Sending&)>& condition) const
    {
        unsigned int lost = 0;
        for (unsigned int i = 0; i < clients; ++i) {
            lost += countSendings(
                mLedger.clients[i], before.sendings[i], after.sendings[i],
                [&](const Sending& sending) { return isLost(sending) && condition(sending); });
        }
        return lost;
    }

private:
    /// Lets the pool come to rest for a moment: the clients send nothing, and each worker has done
    /// all that it was given. One that was killed is out of the pool.
    void rest()
    {
        mLedger.hold = ++mRests;
        for (unsigned int i = 0; i < clients; ++i) {
            const Client& client = mLedger.clients[i];
            EXPECT_TRUE(await([&] { return client.held == mRests; }));
        }
        // In turn, so when all are answered each worker was dealt one, and the dead one none.
        const auto count = static_cast<unsigned int>(2 * (mMembers.size() + 1));
        EXPECT_TRUE(await([&] { return answeredOf(count) == count; }));
        mLast = {};
        for (unsigned int i = 0; i < clients; ++i) {
            mLast.sendings.push_back(mLedger.clients[i].sendings);
        }
        for (const Server& server : mLedger.servers) {
            mLast.taken.push_back(server.taken);
        }
        mLedger.hold = 0;
    }

    /// Asks so many questions at once; the number of those that are answered.
    unsigned int answeredOf(unsigned int count)
    {
        const unsigned int first = mLedger.clients[clients].sendings;
        for (unsigned int i = 0; i < count; ++i) {
            mProbe.ask();
        }
        unsigned int answered = 0;
        while (answered < count) {
            const std::optional<unsigned int> sending = mProbe.take(300);
            if (!sending) {
                break;
            }
            answered += *sending >= first ? 1 : 0;
        }
        return answered;
    }

    Probe mProbe{mLedger, clients};
    std::vector<unsigned int> mMembers; ///< The survivor first.
    Checkpoint mLast;
    unsigned int mRests = 0;
};

} // namespace

TEST_P(WorkerKilled, TakesAlongWhatItHeldAndNothingElse)
{
    const auto broker = startBroker();
    startClients();
    while (mWorkers.size() < atATime) {
        join();
    }
    std::vector<Death> deaths;
    for (unsigned int i = 0; i < kills; ++i) {
        const bool replacedBefore = random(0, 1) == 1;
        if (replacedBefore) {
            join();
        }
        deaths.push_back(killOne());
        if (!replacedBefore) {
            join();
        }
    }
    ASSERT_TRUE(awaitProgress(100));
    finishClients();

    unsigned int lostInHands = 0;
    unsigned int lostInQueues = 0;
    unsigned int mostLost = 0;
    for (const Death& death : deaths) {
        SCOPED_TRACE("worker " + std::to_string(death.worker));
        const auto lost = [&](const std::function<bool(const Sending&)>& condition) {
            return lostBetween(death.before, death.after, condition);
        };
        const unsigned int inHands = lost([&](const Sending& sending) {
            return sending.taken != 0 && sending.by == death.worker;
        });
        const unsigned int inQueues =
            lost([](const Sending& sending) { return sending.taken == 0; });
        EXPECT_LE(inHands + inQueues, mostHeld(death));
        lostInHands += inHands;
        lostInQueues += inQueues;
        mostLost += mostHeld(death);
    }
    // So nothing is lost that another worker took, and nothing without a death.
    EXPECT_EQ(count(isLost), lostInHands + lostInQueues);
    EXPECT_GT(count(isLost), 0U);
    tell({{{"kills", kills}, {"workers", mWorkers.size()}},
          askedBy(clients),
          {{"lost", count(isLost)},
           {"lost_in_hands", lostInHands},
           {"lost_in_queues", lostInQueues},
           {"held_at_most", mostLost}}});
}

TEST_P(WorkerKilled, IsWatchedByClientsThatNoticeAWrongAnswer)
{
    const auto framesOf = [](const std::string& client, const Message& answer) {
        support::Frames frames = answer.parts;
        frames.insert(frames.begin(), {client, support::headerOf(answer.type, 0)});
        return frames;
    };
    const auto right = [](unsigned int sending) {
        return answerTo(questionOf({0, sending, sending}), 7);
    };
    Message altered = right(1);
    altered.parts[1] += "!";
    Message torn = right(1);
    torn.parts.erase(torn.parts.begin() + 1);
    const Message another = answerTo(questionOf({1, 1, 1}), 7);
    for (const Message& wrong :
         {right(0), altered, torn, another, right(maxSendings - 1), Message{1, {"broken"}}}) {
        support::RawSocket broker(ZMQ_ROUTER);
        broker.bind(mClientEnd);
        const auto client = start("pool_client", {mClientEnd, "0"});
        const support::Frames question = broker.receive();
        ASSERT_FALSE(question.empty());
        broker.send(framesOf(question[0], right(0)));
        EXPECT_TRUE(await([&] { return mLedger.clients[0].settled == 1; })) << "this is right";
        broker.send(framesOf(question[0], wrong));
        EXPECT_EQ(client->wait(), 1);
        forget(0);
    }
}

INSTANTIATE_TEST_SUITE_P(Over, WorkerKilled, testing::Values("tcp", "ipc"), transportOf);
