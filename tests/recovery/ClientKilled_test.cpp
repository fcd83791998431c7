// Clients that are killed while they send big requests of many parts, beside others that go on.

#include "recovery/Pool.h"

#include <csignal>
#include <sys/wait.h>

using namespace recovery;
using support::Process;

namespace {

constexpr unsigned int kills = 6;

class ClientKilled : public Pool {
protected:
    /// Kills one sender of big requests after the other. Every second one is certain to have a part
    /// of a message on the wire: whoever reads it, `receiver`, stands still meanwhile.
    void killSenders(const std::string& kind, Process& receiver)
    {
        for (unsigned int kill = 0; kill < kills; ++kill) {
            Client& sender = mLedger.clients[clients + kill];
            const auto process =
                start("sender", {mClientEnd, std::to_string(clients + kill), kind});
            sender.allowed = 1;
            ASSERT_TRUE(await([&] { return sender.settled == 1; })) << "it is connected";
            if (kill % 2 == 0) {
                freeze(receiver);
                sender.stuck = 0;
                sender.allowed = 2;
                ASSERT_TRUE(await([&] { return sender.stuck > 0; }));
            } else {
                sender.allowed = maxSendings;
                const unsigned int goal = random(2, 4);
                ASSERT_TRUE(await([&] { return sender.sendings >= goal; }));
            }
            killAtRandom(*process);
            receiver.kill(SIGCONT);
            ASSERT_TRUE(awaitProgress(random(20, 60)));
        }
    }

    /// Expects that no message arrived that was cut off, and tells what was seen.
    void checkSenders()
    {
        unsigned long big = 0;
        unsigned long cut = 0;
        for (unsigned int kill = 0; kill < kills; ++kill) {
            const Client& sender = mLedger.clients[clients + kill];
            big += sender.sendings - 1;
            cut += countSendings(sender, [](const Sending& sending) { return sending.taken == 0; });
            if (kill % 2 == 0) {
                EXPECT_TRUE(sender.log[1].taken == 0) << "a part of it was not to be had";
            }
        }
        EXPECT_EQ(mLedger.broken, 0U);
        EXPECT_EQ(mLedger.twice, 0U);
        tell({{{"kills", kills}, {"big_requests", big}, {"cut_off", cut}}, askedBy(clients)});
    }

private:
    static void freeze(Process& process)
    {
        process.kill(SIGSTOP);
        int status = 0;
        ASSERT_EQ(waitpid(process.pid(), &status, WUNTRACED), process.pid());
        ASSERT_TRUE(WIFSTOPPED(status));
    }
};

} // namespace

TEST_P(ClientKilled, LeavesAReplyServerToTheOthersAndNoMessageInPart)
{
    const auto server = start("server", {mClientEnd, "0"});
    for (unsigned int i = 0; i < clients; ++i) {
        mClients.push_back(start("client", {mClientEnd, std::to_string(i)}));
    }
    ASSERT_NO_FATAL_FAILURE(killSenders("request", *server));
    mLedger.stop = true;
    for (unsigned int i = 0; i < clients; ++i) {
        EXPECT_EQ(mClients[i]->wait(), 0);
        EXPECT_EQ(mLedger.clients[i].settled, mLedger.clients[i].requests);
    }
    EXPECT_EQ(server->wait(0), -1); // It goes on.
    checkSenders();
}

TEST_P(ClientKilled, LeavesABrokerToTheOthersAndNoMessageInPart)
{
    const auto broker = startBroker();
    startWorker();
    startWorker();
    startClients();
    ASSERT_NO_FATAL_FAILURE(killSenders("dealer", *broker));
    finishClients();
    EXPECT_EQ(count(isLost), 0U);
    EXPECT_EQ(broker->wait(0), -1);
    checkSenders();
}

INSTANTIATE_TEST_SUITE_P(Over, ClientKilled, testing::Values("tcp", "ipc"), transportOf);
