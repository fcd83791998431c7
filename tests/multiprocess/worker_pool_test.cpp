// Worker pools over several processes: brokers, workers and clients that have nothing in common but
// their endpoints.

#include "pattern/Watch.h"
#include "support/Endpoint.h"
#include "support/Process.h"
#include "support/RawSocket.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>
#include <zmq.h>

using support::Frames;
using support::IpcEndpoint;
using support::Process;
using support::RawSocket;
using testing::HasSubstr;
using testing::Not;
using testing::UnorderedElementsAre;
using watch::header;

namespace {

struct Endpoints {
    IpcEndpoint clients;
    IpcEndpoint workers;
};

/// What clients wait for after their first answer.
class Go {
public:
    Go()
    {
        if (pipe2(mEnds, O_CLOEXEC) != 0 || fcntl(mEnds[0], F_SETFD, 0) != 0) {
            std::perror("pipe");
            std::abort();
        }
    }

    ~Go()
    {
        close(mEnds[0]);
        give();
    }

    Go(const Go&) = delete;
    Go& operator=(const Go&) = delete;

    /// Lets them go on.
    void give()
    {
        if (mEnds[1] != -1) {
            close(mEnds[1]);
            mEnds[1] = -1;
        }
    }

    std::string end() const
    {
        return std::to_string(mEnds[0]);
    }

private:
    int mEnds[2] = {-1, -1};
};

std::unique_ptr<Process> startWorkers(std::vector<std::string> specs)
{
    specs.insert(specs.begin(), support::programFolder() + "/worker_pool_test_worker");
    return std::make_unique<Process>(specs);
}

std::unique_ptr<Process> startClient(const Endpoints& endpoints, const std::string& second,
                                     int count, const Go& go)
{
    return std::make_unique<Process>(std::vector<std::string>{
        support::programFolder() + "/worker_pool_test_client", endpoints.clients.text(), second,
        std::to_string(count), go.end()});
}

/// Waits for `happened`, looking again and again.
bool await(const std::function<bool()>& happened)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!happened()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

bool awaitOutput(const Process& process, const std::string& text)
{
    return await([&] { return process.output().find(text) != std::string::npos; });
}

/// The text between `before` and the end of its line in what a process printed.
std::string wordAfter(const std::string& output, const std::string& before)
{
    const std::size_t start = output.find(before);
    if (start == std::string::npos) {
        return "nothing";
    }
    const std::size_t from = start + before.size();
    return output.substr(from, output.find('\n', from) - from);
}

std::string identityOf(const Process& client)
{
    return wordAfter(client.output(), "MsgDealerClientPattern::connectEndpoint IDENTITY = ");
}

/// The workers that answered a client.
std::set<std::string> workersOf(const Process& client)
{
    std::set<std::string> workers;
    const std::string output = client.output();
    const std::string before = "answered by ";
    for (std::size_t at = output.find(before); at != std::string::npos;
         at = output.find(before, at + 1)) {
        workers.insert(wordAfter(output.substr(at), before));
    }
    return workers;
}

/// A client that does not mind a lost answer.
class Probe : public RawSocket {
public:
    explicit Probe(const Endpoints& endpoints) : RawSocket(ZMQ_DEALER)
    {
        setOption(ZMQ_ROUTING_ID, "probe");
        connect(endpoints.clients.text());
    }

    /// The worker that answers; "nobody" when the question went to one that was killed.
    std::string ask()
    {
        send({header(1, 0), "who?"});
        const Frames answer = receive(1000);
        return answer.size() == 2 && answer[0] == header(10, 0)
                   ? answer[1].substr(0, answer[1].find(": who?"))
                   : "nobody";
    }
};

/// The workers of a pool, once each of `count` has answered: from then on all are connected.
std::set<std::string> answeringWorkers(const Endpoints& endpoints, std::size_t count)
{
    Probe probe(endpoints);
    std::set<std::string> workers;
    for (int i = 0; i < 1000 && workers.size() < count; ++i) {
        workers.insert(probe.ask());
        workers.erase("nobody");
    }
    return workers;
}

/// Goes on asking until the broker has given a killed worker up: the workers are asked in turn, so
/// it has when several questions in a row are answered.
bool awaitAnswersFromEverybody(const Endpoints& endpoints)
{
    Probe probe(endpoints);
    int inARow = 0;
    for (int i = 0; i < 100 && inARow < 10; ++i) {
        inARow = probe.ask() == "nobody" ? 0 : inARow + 1;
    }
    return inARow == 10;
}

} // namespace

TEST(WorkerPool, GivesEachClientItsOwnAnswers)
{
    const Endpoints pool;
    const auto broker = startWorkers({"start", "pool", pool.clients.text(), pool.workers.text(),
                                      "broker 1", "join", "pool", pool.workers.text(), "broker 2"});
    const auto other = startWorkers({"join", "pool", pool.workers.text(), "other"});
    const auto third = startWorkers({"join", "pool", pool.workers.text(), "third"});
    ASSERT_THAT(answeringWorkers(pool, 4),
                UnorderedElementsAre("broker 1", "broker 2", "other", "third"));

    // Clients are named by the second in which they connect: one after the other, each in its own.
    constexpr int count = 60;
    Go go;
    std::vector<std::unique_ptr<Process>> clients;
    std::set<std::string> identities;
    for (int i = 0; i < 3; ++i) {
        clients.push_back(startClient(pool, "now", count, go));
        ASSERT_TRUE(awaitOutput(*clients.back(), "answered by "));
        identities.insert(identityOf(*clients.back()));
        const std::time_t named = std::time(nullptr);
        std::this_thread::sleep_until(std::chrono::system_clock::from_time_t(named + 1));
        ASSERT_TRUE(await([&] { return std::time(nullptr) > named; }));
    }
    ASSERT_EQ(identities.size(), clients.size());
    for (const std::string& identity : identities) {
        EXPECT_THAT(identity, testing::MatchesRegex("IDENTITY_[0-9a-f]+"));
    }

    go.give();
    std::set<std::string> workers;
    for (const auto& client : clients) {
        EXPECT_EQ(client->wait(), 0);
        EXPECT_THAT(client->output(), HasSubstr("done\n"));
        workers.merge(workersOf(*client));
    }
    EXPECT_THAT(workers, UnorderedElementsAre("broker 1.", "broker 2.", "other.", "third."));
    for (const auto* process : {&broker, &other, &third}) {
        EXPECT_EQ((*process)->wait(0), -1); // It goes on.
    }
}

TEST(WorkerPool, IsOneOfSeveralInAProcess)
{
    const Endpoints red;
    const Endpoints blue;
    const auto brokers =
        startWorkers({"start", "red", red.clients.text(), red.workers.text(), "red", "start",
                      "blue", blue.clients.text(), blue.workers.text(), "blue"});
    // Of the same second and so of the same name, which is nothing to two brokers.
    Go go;
    const auto redClient = startClient(red, "1700000000", 30, go);
    const auto blueClient = startClient(blue, "1700000000", 30, go);
    EXPECT_TRUE(awaitOutput(*redClient, "answered by "));
    EXPECT_TRUE(awaitOutput(*blueClient, "answered by "));
    EXPECT_EQ(identityOf(*redClient), identityOf(*blueClient));
    go.give();
    EXPECT_EQ(redClient->wait(), 0);
    EXPECT_EQ(blueClient->wait(), 0);
    EXPECT_THAT(workersOf(*redClient), UnorderedElementsAre("red."));
    EXPECT_THAT(workersOf(*blueClient), UnorderedElementsAre("blue."));
    EXPECT_EQ(brokers->wait(0), -1);
}

TEST(WorkerPool, HearsOnlyTheFirstOfTwoClientsThatWereNamedInTheSameSecond)
{
    const Endpoints pool;
    const auto broker =
        startWorkers({"start", "pool", pool.clients.text(), pool.workers.text(), "broker"});
    Go go;
    const auto first = startClient(pool, "1700000000", 200, go);
    ASSERT_TRUE(awaitOutput(*first, "answered by "));
    const auto second = startClient(pool, "1700000000", 200, go);
    ASSERT_TRUE(awaitOutput(*second, "IDENTITY = "));
    ASSERT_EQ(identityOf(*first), identityOf(*second));

    // ZeroMQ's router keeps to the first peer of a name and does not read from another.
    go.give();
    EXPECT_EQ(first->wait(), 0);
    EXPECT_THAT(first->output(), HasSubstr("done\n"));
    EXPECT_EQ(second->wait(0), -1);
    EXPECT_THAT(second->output(), Not(HasSubstr("answered by ")));

    // Everybody else is served.
    const auto another = startClient(pool, "1700000001", 30, go);
    EXPECT_EQ(another->wait(), 0);
    EXPECT_NE(identityOf(*another), identityOf(*second));
    EXPECT_THAT(second->output(), Not(HasSubstr("answered by ")));
}

TEST(WorkerPool, GoesOnWithoutAWorkerThatWasKilled)
{
    const Endpoints pool;
    const auto broker =
        startWorkers({"start", "pool", pool.clients.text(), pool.workers.text(), "broker"});
    const auto killed = startWorkers({"join", "pool", pool.workers.text(), "killed"});
    const auto other = startWorkers({"join", "pool", pool.workers.text(), "other"});
    ASSERT_EQ(answeringWorkers(pool, 3).size(), 3U);
    killed->kill(SIGKILL);
    EXPECT_EQ(killed->wait(), 128 + SIGKILL);
    ASSERT_TRUE(awaitAnswersFromEverybody(pool));
    Go go;
    go.give();
    const auto client = startClient(pool, "1700000000", 30, go);
    EXPECT_EQ(client->wait(), 0);
    EXPECT_THAT(workersOf(*client), UnorderedElementsAre("broker.", "other."));
}
