// A reply server that is killed under load, again and again.

#include "pattern/Messages.h"
#include "recovery/Questions.h"
#include "recovery/Recovery.h"
#include "support/RawSocket.h"

#include <zmq.h>

using namespace recovery;
using support::Process;

namespace {

constexpr unsigned int kills = 6;
constexpr unsigned int clients = 3;

class ServerKilled : public Recovery {
protected:
    std::unique_ptr<Process> startServer(unsigned int number)
    {
        return start("server", {mEndpoint, std::to_string(number)});
    }

    std::unique_ptr<Process> startClient(unsigned int number)
    {
        return start("client", {mEndpoint, std::to_string(number)});
    }

    /// Waits until a server has answered so many requests.
    bool awaitAnswers(unsigned int server, unsigned int count)
    {
        return await([&] { return mLedger.servers[server].arrived >= count; });
    }

    /// Waits until every client waits for an answer.
    bool awaitWaitingClients()
    {
        return await([&] {
            bool all = true;
            for (unsigned int i = 0; i < clients; ++i) {
                const Client& client = mLedger.clients[i];
                all = all && client.requests == client.settled + 1;
            }
            return all;
        });
    }

    const std::string mEndpoint = endpoint("requests");
};

} // namespace

TEST_P(ServerKilled, LeavesNoRequestUnansweredAndNoAnswerWrong)
{
    auto server = startServer(0);
    std::vector<std::unique_ptr<Process>> running;
    for (unsigned int i = 0; i < clients; ++i) {
        running.push_back(startClient(i));
    }
    for (unsigned int kill = 0; kill < kills; ++kill) {
        ASSERT_TRUE(awaitAnswers(kill, random(20, 200)));
        killAtRandom(*server);
        EXPECT_TRUE(awaitWaitingClients()) << "killed under load";
        server = startServer(kill + 1);
    }
    ASSERT_TRUE(awaitAnswers(kills, 100));
    mLedger.stop = true;
    for (unsigned int i = 0; i < clients; ++i) {
        EXPECT_EQ(running[i]->wait(), 0);
        EXPECT_GT(mLedger.clients[i].requests, 0U);
        EXPECT_GT(mLedger.clients[i].sendings, mLedger.clients[i].requests) << "some again";
        EXPECT_EQ(mLedger.clients[i].settled, mLedger.clients[i].requests);
    }
    EXPECT_EQ(mLedger.broken, 0U);
    EXPECT_EQ(mLedger.twice, 0U);
    tell({{{"kills", kills}}, askedBy(clients)});
}

TEST_P(ServerKilled, IsWatchedByClientsThatNoticeAWrongAnswer)
{
    const auto answers = [](unsigned int request) {
        return answerTo(questionOf({0, 0, request}), 0);
    };
    Message torn = answers(0);
    torn.parts.erase(torn.parts.begin() + 1);
    Message altered = answers(0);
    altered.parts[1] += "!";
    const Message another = answerTo(questionOf({1, 0, 0}), 0);
    for (const Message& wrong : {torn, altered, answers(1), another, Message{1, {"broken"}}}) {
        const auto client = startClient(0);
        support::RawSocket server(ZMQ_REP);
        server.bind(mEndpoint);
        server.receive();
        support::Frames frames = wrong.parts;
        frames.insert(frames.begin(), support::headerOf(wrong.type, 0));
        server.send(frames);
        EXPECT_EQ(client->wait(), 1);
        forget(0);
    }
}

INSTANTIATE_TEST_SUITE_P(Over, ServerKilled, testing::Values("tcp", "ipc"), transportOf);
