// Workers that make their channels, start their brokers and serve on threads of their own, all of
// them at the same time.

#include "ostrel/MsgDealerWorkerPattern.h"
#include "support/LostOnPurpose.h"
#include "support/SyslogSpy.h"
#include "support/ZmqSpy.h"
#include "threads/PoolTalk.h"
#include "threads/Quiet.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <stdexcept>

using namespace threads;
using ostrel::MsgDealerWorkerChannel;
using ostrel::MsgDealerWorkerPattern;
using support::LostOnPurpose;
using support::SyslogSpy;
using support::ZmqSpy;
using testing::UnorderedElementsAre;

namespace {

const std::string noThread = "Proxy thread creation failed";

/// How many of `calls` begin so.
long countOf(const std::vector<std::string>& calls, const std::string& beginning)
{
    return std::count_if(calls.begin(), calls.end(),
                         [&](const std::string& call) { return call.rfind(beginning, 0) == 0; });
}

/// The workers of one name.
struct Pool {
    std::string name;
    Endpoints endpoints;
    std::atomic<int> running{0};
    std::atomic<int> answering{0}; ///< Those that have answered somebody.
    std::atomic<int> failures{0};
};

/// A worker's thread. A channel that could not start the broker is no good any more: the next one
/// tries again.
void startAndWork(Pool& pool)
{
    std::unique_ptr<MsgDealerWorkerChannel> channel;
    while (channel == nullptr) {
        channel = newWorker(pool.name, pool.endpoints);
        try {
            // The block for a thread that cannot be made is lost.
            const LostOnPurpose lost;
            ostrel::IpcMsg nothing;
            EXPECT_EQ(channel->receive(&nothing, 0), -1); // Connects. Nobody has asked yet.
        } catch (const std::runtime_error& failure) {
            EXPECT_EQ(failure.what(), noThread);
            ++pool.failures;
            channel.reset();
        }
    }
    ++pool.running;
    EXPECT_GT(work(*channel, pool.answering), 0);
    --pool.running;
}

/// Asks until every worker of a pool has answered: the broker deals requests out in turn, to those
/// whose connection stands.
void askUntilAllHaveAnswered(Pool& pool, int workers)
{
    NamedClient client("client", pool.endpoints.clients.text());
    const auto end = std::chrono::steady_clock::now() + hangLimit;
    int number = 0;
    while (pool.answering < workers && std::chrono::steady_clock::now() < end) {
        const std::string text = std::to_string(++number);
        client.send({support::headerOf(7, 0), text});
        ASSERT_THAT(client.receive(),
                    testing::ElementsAre(support::headerOf(-7, 0), "re: " + text));
    }
    EXPECT_EQ(pool.answering, workers);
}

/// Has `each` workers of every name start together, `failures` of them in vain, and looks at what
/// became of it.
void expectOneBrokerPerName(const std::vector<std::string>& names, int each, int failures)
{
    const Quiet quiet;
    SyslogSpy log;
    std::deque<Pool> pools(names.size());
    Together all;
    for (std::size_t i = 0; i < names.size(); ++i) {
        pools[i].name = names[i];
        for (int worker = 0; worker < each; ++worker) {
            all.add([&pool = pools[i]] { startAndWork(pool); });
        }
    }
    ZmqSpy spy;
    spy.watchAllThreads();
    for (int nth = 1; nth <= failures; ++nth) {
        spy.fail("pthread_create", nth, EAGAIN);
    }
    all.start();
    for (Pool& pool : pools) {
        EXPECT_TRUE(await([&] { return pool.running == each; }, hangLimit));
    }
    std::vector<std::string> calls = spy.takeCalls();
    const auto brokers = static_cast<long>(names.size());
    const std::string thread = "pthread_create(null, proxyThreadMain, ";
    EXPECT_EQ(countOf(calls, thread), brokers + failures);
    EXPECT_EQ(countOf(calls, "zmq_socket(6)"), brokers + failures); // ROUTER
    int failed = 0;
    for (Pool& pool : pools) {
        const auto bind = [&](const support::IpcEndpoint& endpoint) {
            return std::count_if(calls.begin(), calls.end(), [&](const std::string& call) {
                return call.rfind("zmq_bind(", 0) == 0 &&
                       call.find("\"" + endpoint.text() + "\"") != std::string::npos;
            });
        };
        EXPECT_EQ(bind(pool.endpoints.clients), 1 + pool.failures);
        EXPECT_EQ(bind(pool.endpoints.workers), 1 + pool.failures);
        failed += pool.failures;
        EXPECT_EQ(MsgDealerWorkerPattern::mProxyThreads.count(pool.name), 1U);
    }
    EXPECT_EQ(failed, failures);
    EXPECT_EQ(MsgDealerWorkerPattern::mProxyThreads.size(), names.size());
    // Every failure is logged by the connect and by the receive that asked for it.
    const std::vector<std::string> lines = log.takeLines();
    EXPECT_EQ(lines.size(), 2U * static_cast<std::size_t>(failures));
    for (const char* operation : {"connectEndpoint", "MsgDealerWorkerPattern"}) {
        EXPECT_EQ(std::count(lines.begin(), lines.end(),
                             std::string("Error : Ostrel::MsgDealerWorkerPattern::") + operation +
                                 "() : " + noThread),
                  failures);
    }

    if (testing::Test::HasFailure()) {
        all.giveUp(); // With brokers in each other's way nobody can reach the workers.
    }
    for (Pool& pool : pools) {
        askUntilAllHaveAnswered(pool, each);
        stopWorkers(pool.endpoints, Kind::binary, pool.running);
    }
    all.join();
    for (const std::string& call : spy.takeCalls()) {
        calls.push_back(call);
    }
    EXPECT_EQ(countOf(calls, "zmq_proxy("), brokers);
    EXPECT_EQ(countOf(calls, thread), brokers + failures);
}

} // namespace

TEST(PoolStart, GivesTheWorkersOfOneNameOneBroker)
{
    expectOneBrokerPerName({"pool"}, 8, 0);
}

TEST(PoolStart, GivesTheWorkersOfEveryNameTheirOwnBroker)
{
    expectOneBrokerPerName({"one", "two", "three"}, 3, 0);
}

TEST(PoolStart, IsTriedAgainByTheNextWorkerOfTheName)
{
    expectOneBrokerPerName({"pool"}, 6, 2);
}
