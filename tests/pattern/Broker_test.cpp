#include "ostrel/IpcMsg.h"
#include "ostrel/MsgDealerClientPattern.h"
#include "ostrel/StringMsg.h"
#include "ostrel/ZMQWrapper.h"
#include "pattern/WorkerTesting.h"
#include "support/AllocFault.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>
#include <pthread.h>
#include <set>
#include <stdexcept>
#include <thread>

#ifdef OSTREL_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

using namespace ostrel;
using namespace workertest;
using support::AllocFault;
using support::IpcEndpoint;
using support::RawSocket;
using support::Stdout;
using support::SyslogSpy;
using support::ZmqSpy;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using watch::binary;
using watch::header;
using watch::Outcome;
using watch::partsOf;
using watch::text;
using watch::Watch;

namespace {

using Worker = std::unique_ptr<MsgDealerWorkerPattern>;

const std::string connectPrefix = "Error : Ostrel::MsgDealerWorkerPattern::connectEndpoint() : ";

/// The calls with which the first worker of a name connects: s1 is its own socket, s2 and s3 are
/// the broker's.
Lines startingCalls(const std::string& clients, const std::string& workers)
{
    return watch::joined({watch::created("s1", ZMQ_DEALER),
                          watch::created("s2", ZMQ_ROUTER),
                          watch::created("s3", ZMQ_DEALER),
                          watch::bound("s2", clients),
                          watch::bound("s3", workers),
                          {"pthread_create(null, proxyThreadMain, {s2, s3})"},
                          watch::connected("s1", workers)});
}

Lines startingCalls(const Endpoints& endpoints)
{
    return startingCalls(endpoints.clients.text(), endpoints.workers.text());
}

Lines joiningCalls(const std::string& workers)
{
    return watch::joined({watch::created("s1", ZMQ_DEALER), watch::connected("s1", workers)});
}

/// What is left of `calls` behind the one that failed, without the look-ups of its text.
Lines callsAfterFailure(const Lines& calls)
{
    Lines after;
    bool failed = false;
    for (const std::string& call : calls) {
        if (failed && call.rfind("zmq_strerror(", 0) != 0) {
            after.push_back(call);
        }
        failed = failed || call.substr(call.size() - 2) == " !";
    }
    return after;
}

bool startsABroker(const std::string& call)
{
    return call.rfind("pthread_create(null, proxyThreadMain, ", 0) == 0;
}

/// Asks through a broker until one of `workers` gets the request, has that one answer, and sees the
/// answer through to the client. Says which one it was. Asks again because a request that goes to a
/// worker that is about to vanish is lost.
std::size_t exchange(RawSocket& client, const std::string& identity,
                     const std::vector<Worker>& workers)
{
    std::vector<void*> sockets;
    for (const Worker& worker : workers) {
        sockets.push_back(worker->mpSocket);
    }
    for (int i = 0; i < 100; ++i) {
        const std::string request = "request " + std::to_string(i);
        client.send({header(7, 0), request});
        const int asked = readableOf(sockets, 500);
        if (asked == -1) {
            continue;
        }
        MsgDealerWorkerPattern& worker = *workers[static_cast<std::size_t>(asked)];
        IpcMsg msg;
        const Stdout out;
        EXPECT_EQ(worker.receive(&msg, -1), 1);
        EXPECT_EQ(msg.getMsgType(), 7);
        EXPECT_EQ(clientOf(msg.getHandle()), identity);
        IpcMsg answer = binary(8, 0, {"to " + partsOf(msg)[0]});
        answer.setHandle(msg.getHandle());
        EXPECT_EQ(worker.send(&answer), 1);
        EXPECT_EQ(client.receive(), Frames({header(8, 0), partsOf(answer)[0]}));
        return static_cast<std::size_t>(asked);
    }
    ADD_FAILURE() << "no worker is asked";
    return 0;
}

/// Goes on exchanging until every one of `workers` was asked.
void exchangeWithAll(RawSocket& client, const std::string& identity,
                     const std::vector<Worker>& workers)
{
    std::set<std::size_t> asked;
    for (int i = 0; i < 2000 && asked.size() < workers.size(); ++i) {
        asked.insert(exchange(client, identity, workers));
    }
    EXPECT_EQ(asked.size(), workers.size());
}

Worker connected(Worker worker)
{
    worker->connectEndpoint();
    return worker;
}

std::vector<Worker> alone(Worker worker)
{
    std::vector<Worker> workers;
    workers.push_back(std::move(worker));
    return workers;
}

/// Whether the mutex was free at each line of the log.
std::vector<bool>& freeAtLine()
{
    static std::vector<bool> free;
    return free;
}

void lookAtTheMutexDuring(SyslogSpy& log)
{
    freeAtLine().clear();
    log.duringLine = [] { freeAtLine().push_back(mutexIsFree()); };
}

} // namespace

// Starting and joining.

TEST(Broker, IsStartedByTheFirstPatternOfItsName)
{
    const Endpoints endpoints;
    const Worker worker = makeWorker("pool", endpoints);
    Watch watch;
    EXPECT_EQ(watch([&] { worker->connectEndpoint(); }),
              (Outcome{"done", "", {}, startingCalls(endpoints)}));
}

TEST(Broker, RunsZeroMqsProxyOnAThreadOfItsOwn)
{
    const Endpoints endpoints;
    const Worker worker = makeWorker("pool", endpoints);
    ZmqSpy spy;
    spy.watchAllThreads();
    std::promise<std::thread::id> runs;
    std::string proxy;
    spy.onCall([&](const std::string& call) {
        if (call.rfind("zmq_proxy(", 0) == 0) {
            proxy = call;
            runs.set_value(std::this_thread::get_id());
        }
    });
    worker->connectEndpoint();
    EXPECT_NE(runs.get_future().get(), std::this_thread::get_id());
    EXPECT_EQ(proxy, "zmq_proxy(s2, s3, null)");
    spy.onCall(nullptr);
}

TEST(Broker, IsRecordedByTheThreadThatRunsIt)
{
    const Endpoints endpoints;
    const Worker worker = connected(makeWorker("pool", endpoints));
    ASSERT_THAT(MsgDealerWorkerPattern::mProxyThreads,
                ElementsAre(testing::Pair(std::string("pool"), testing::Ne(0UL))));
    const pthread_t thread = MsgDealerWorkerPattern::mProxyThreads["pool"];
    EXPECT_EQ(pthread_equal(thread, pthread_self()), 0);
    EXPECT_EQ(pthread_tryjoin_np(thread, nullptr), EBUSY); // It runs,
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_getattr_np(thread, &attributes), 0);
    int state = -1;
    pthread_attr_getdetachstate(&attributes, &state);
    EXPECT_EQ(state, PTHREAD_CREATE_JOINABLE); // and could be joined.
    pthread_attr_destroy(&attributes);
}

TEST(Broker, IsNotStartedAgainByTheNextPatternOfItsName)
{
    const Endpoints endpoints;
    const Worker first = connected(makeWorker("pool", endpoints));
    const Worker second = makeWorker("pool", endpoints);
    Watch watch;
    EXPECT_EQ(watch([&] { second->connectEndpoint(); }),
              (Outcome{"done", "", {}, joiningCalls(endpoints.workers.text())}));
    EXPECT_EQ(MsgDealerWorkerPattern::mProxyThreads.size(), 1U);
}

TEST(Broker, IsJoinedByEachPatternAtThePatternsOwnEndpoint)
{
    const Endpoints endpoints;
    const Worker first = connected(makeWorker("pool", endpoints));
    RawSocket elsewhere(ZMQ_DEALER);
    const std::string endpoint = elsewhere.bind("tcp://127.0.0.1:*");
    // The endpoint for clients is not looked at.
    MsgDealerWorkerPattern second("pool");
    second.setProperty(PROP_DEALER_WORKER_ENDPOINT, endpoint);
    Watch watch;
    EXPECT_EQ(watch([&] { second.connectEndpoint(); }),
              (Outcome{"done", "", {}, joiningCalls(endpoint)}));
    StringMsg msg = addressed(text({"one"}), "client");
    const Stdout out;
    EXPECT_EQ(second.send(&msg), 1);
    EXPECT_THAT(elsewhere.receive(), ElementsAre("client", "one"));
}

TEST(Broker, IsJoinedOnlyOnceByAPattern)
{
    const Endpoints endpoints;
    const Worker worker = connected(makeWorker("pool", endpoints));
    Watch watch;
    EXPECT_EQ(watch([&] { worker->connectEndpoint(); }), (Outcome{"done", "", {}, {}}));
}

TEST(Broker, IsOneForEachName)
{
    const Endpoints red;
    const Endpoints blue;
    std::vector<Worker> redWorkers = alone(connected(makeWorker("red", red)));
    Watch watch;
    std::vector<Worker> blueWorkers = alone(makeWorker("blue", blue));
    EXPECT_EQ(watch([&] { blueWorkers[0]->connectEndpoint(); }).calls, startingCalls(blue));
    EXPECT_TRUE(isRecorded("red"));
    EXPECT_TRUE(isRecorded("blue"));
    NamedClient redClient("client", red.clients.text());
    NamedClient blueClient("client", blue.clients.text());
    for (int i = 0; i < 3; ++i) {
        exchange(redClient, "client", redWorkers);
        exchange(blueClient, "client", blueWorkers);
    }
}

TEST(Broker, IsStartedAndJoinedUnderTheMutex)
{
    const Endpoints endpoints;
    const Worker first = makeWorker("pool", endpoints);
    const Worker second = makeWorker("pool", endpoints);
    ZmqSpy spy;
    std::vector<bool> free;
    spy.onCall([&](const std::string& /*call*/) { free.push_back(mutexIsFree()); });
    // The pattern's own socket is made before the mutex is taken: five calls.
    std::vector<bool> expected(startingCalls(endpoints).size(), false);
    std::fill_n(expected.begin(), 5, true);
    first->connectEndpoint();
    EXPECT_EQ(free, expected);
    EXPECT_TRUE(mutexIsFree());
    free.clear();
    second->connectEndpoint();
    EXPECT_EQ(free, (std::vector<bool>{true, true, true, true, true, false}));
    EXPECT_TRUE(mutexIsFree());
    spy.onCall(nullptr);
}

TEST(Broker, IsStartedOnceByPatternsThatConnectTogether)
{
    constexpr int count = 8;
    const Endpoints endpoints;
    ZmqSpy spy;
    spy.watchAllThreads();
    std::promise<void> start;
    const std::shared_future<void> started = start.get_future().share();
    std::vector<std::future<Worker>> connecting;
    for (int i = 0; i < count; ++i) {
        connecting.push_back(std::async(std::launch::async, [&endpoints, started] {
            started.wait();
            return connected(makeWorker("pool", endpoints));
        }));
    }
    start.set_value();
    std::vector<Worker> workers;
    for (auto& worker : connecting) {
        workers.push_back(worker.get());
    }
    const Lines calls = spy.takeCalls();
    EXPECT_EQ(std::count_if(calls.begin(), calls.end(), startsABroker), 1);
    EXPECT_THAT(MsgDealerWorkerPattern::mProxyThreads,
                ElementsAre(testing::Pair(std::string("pool"), testing::_)));
    NamedClient client("client", endpoints.clients.text());
    exchangeWithAll(client, "client", workers);
}

TEST(Broker, IsStartedOncePerNameByPatternsThatConnectTogether)
{
    constexpr std::size_t names = 4;
    constexpr int each = 3;
    const std::array<Endpoints, names> endpoints;
    ZmqSpy spy;
    spy.watchAllThreads();
    std::promise<void> start;
    const std::shared_future<void> started = start.get_future().share();
    std::array<std::vector<std::future<Worker>>, names> connecting;
    for (int i = 0; i < each; ++i) {
        for (std::size_t name = 0; name < names; ++name) {
            connecting[name].push_back(std::async(std::launch::async, [&endpoints, started, name] {
                started.wait();
                return connected(makeWorker(std::to_string(name), endpoints[name]));
            }));
        }
    }
    start.set_value();
    std::array<std::vector<Worker>, names> workers;
    for (std::size_t name = 0; name < names; ++name) {
        for (auto& worker : connecting[name]) {
            workers[name].push_back(worker.get());
        }
    }
    const Lines calls = spy.takeCalls();
    EXPECT_EQ(std::count_if(calls.begin(), calls.end(), startsABroker), names);
    EXPECT_EQ(MsgDealerWorkerPattern::mProxyThreads.size(), names);
    for (std::size_t name = 0; name < names; ++name) {
        NamedClient client("client", endpoints[name].clients.text());
        exchangeWithAll(client, "client", workers[name]);
    }
}

// Signals.

namespace {

void doNothing(int /*signal*/) {}

void handleUsr1()
{
    struct sigaction action = {};
    action.sa_handler = doNothing;
    action.sa_flags = SA_RESTART;
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
}

/// Sends the signal to the thread every few milliseconds, since one that comes before the thread
/// waits changes nothing. Whether the thread has ended within so many of them.
bool endsBySignals(pthread_t thread, int signals)
{
    for (int i = 0; i < signals; ++i) {
        pthread_kill(thread, SIGUSR1);
        timespec limit = {};
        clock_gettime(CLOCK_REALTIME, &limit);
        limit.tv_nsec += 5000000;
        limit.tv_sec += limit.tv_nsec / 1000000000;
        limit.tv_nsec %= 1000000000;
        if (pthread_timedjoin_np(thread, nullptr, &limit) == 0) {
            return true;
        }
    }
    return false;
}

} // namespace

TEST(BrokerSignals, EndTheBrokerWhenTheirHandlerRunsOnItsThread)
{
    handleUsr1();
    const Endpoints endpoints;
    const std::vector<Worker> workers = alone(connected(makeWorker("pool", endpoints)));
    NamedClient client("client", endpoints.clients.text());
    exchange(client, "client", workers);
    EXPECT_TRUE(endsBySignals(MsgDealerWorkerPattern::mProxyThreads["pool"], 4000));
    // It stays recorded, so nobody starts another one.
    client.send({header(7, 0), "to nobody"});
    EXPECT_EQ(readableOf({workers[0]->mpSocket}, 100), -1);
    Watch watch;
    const Worker next = makeWorker("pool", endpoints);
    EXPECT_EQ(watch([&] { next->connectEndpoint(); }),
              (Outcome{"done", "", {}, joiningCalls(endpoints.workers.text())}));
}

TEST(BrokerSignals, DoNotReachABrokerThatIsStartedWhileTheyAreBlocked)
{
    handleUsr1();
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const Endpoints endpoints;
    const std::vector<Worker> workers = alone(connected(makeWorker("pool", endpoints)));
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    NamedClient client("client", endpoints.clients.text());
    exchange(client, "client", workers);
    EXPECT_FALSE(endsBySignals(MsgDealerWorkerPattern::mProxyThreads["pool"], 20));
    exchange(client, "client", workers);
}

// Failing to start.

namespace {

/// One call of startingCalls() that fails.
struct Step {
    watch::Failure failure;
    /// What is given back: the calls behind the failed one.
    Lines cleanup;
    /// Whether the mutex is free while each of the lines is written.
    std::vector<bool> freeAtLine;
    bool keepsSocket;
    bool leavesABroker;
};

/// Every call of startingCalls(), in order.
std::vector<Step> stepsOfStarting(const Endpoints& endpoints)
{
    std::vector<Step> steps;
    const auto creation = [&](const std::string& socket, const Lines& earlier, bool own) {
        for (const watch::Failure& failure : watch::creationFailures()) {
            // A socket that exists by then is closed by those that make it.
            const Lines closed = failure.what.rfind("Failed to create", 0) == 0
                                     ? Lines{}
                                     : Lines{"zmq_close(" + socket + ")"};
            steps.push_back({watch::loggedWith(connectPrefix, failure),
                             watch::joined({closed, earlier}),
                             {own, true},
                             !own,
                             false});
        }
    };
    creation("s1", {}, true);
    creation("s2", {}, false);
    creation("s3", watch::closed("s2"), false);
    const Lines both = watch::joined({watch::closed("s2"), watch::closed("s3")});
    for (const std::string& endpoint : {endpoints.clients.text(), endpoints.workers.text()}) {
        steps.push_back({watch::loggedWith(connectPrefix, watch::bindFailure(endpoint)),
                         both,
                         {false, true},
                         true,
                         false});
    }
    const std::string noThread = "Proxy thread creation failed";
    steps.push_back({{noThread, {connectPrefix + noThread}, ""}, both, {true}, true, false});
    steps.push_back(
        {watch::loggedWith(connectPrefix, watch::connectFailure(endpoints.workers.text())),
         {},
         {false, true},
         true,
         true});
    return steps;
}

} // namespace

TEST(BrokerStart, GivesBackWhatItHadWhereverItFails)
{
    for (std::size_t nth = 1;; ++nth) {
        SCOPED_TRACE(nth);
        const Endpoints endpoints;
        const std::vector<Step> steps = stepsOfStarting(endpoints);
        const std::string name = "pool " + std::to_string(nth);
        Worker worker = makeWorker(name, endpoints);
        Watch watch;
        lookAtTheMutexDuring(watch.log);
        watch.zmq.failNth(static_cast<int>(nth), EIO);
        const Outcome outcome = [&] {
            const LostOnPurpose theBlockOfAThreadThatIsNotMade;
            return watch([&] { worker->connectEndpoint(); });
        }();
        EXPECT_TRUE(mutexIsFree());
        if (nth > steps.size()) {
            EXPECT_EQ(outcome.result, "done");
            EXPECT_FALSE(watch.zmq.failed());
            break;
        }
        const Step& step = steps[nth - 1];
        EXPECT_EQ(outcome, watch::failed(step.failure, outcome));
        EXPECT_EQ(callsAfterFailure(outcome.calls), step.cleanup);
        EXPECT_EQ(freeAtLine(), step.freeAtLine);
        EXPECT_EQ(isRecorded(name), step.leavesABroker);

        // Up to the failure nothing differs from a start that succeeds.
        const Lines all = startingCalls(endpoints);
        const Lines before(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(nth) - 1);
        EXPECT_EQ(Lines(outcome.calls.begin(),
                        outcome.calls.begin() + static_cast<std::ptrdiff_t>(nth) - 1),
                  before);

        // A socket that was made stays, without another try.
        EXPECT_EQ(worker->mpSocket != nullptr, step.keepsSocket);
        if (step.keepsSocket) {
            EXPECT_EQ(watch([&] { worker->connectEndpoint(); }), (Outcome{"done", "", {}, {}}));
            EXPECT_EQ(worker->setProperty(PROP_DEALER_WORKER_ENDPOINT, "abc"), -1);
            EXPECT_EQ(watch([&] { worker.reset(); }).calls.size(), 2U);
        } else {
            Watch again; // Counts the sockets from 1.
            EXPECT_EQ(again([&] { worker->connectEndpoint(); }).calls, startingCalls(endpoints));
        }
    }
}

TEST(BrokerStart, LeavesTheFailedPatternWithAnUnconnectedSocket)
{
    const Endpoints endpoints;
    const Worker worker = makeWorker("pool", endpoints);
    Watch watch;
    watch.zmq.fail("zmq_bind", 1, EADDRINUSE);
    watch([&] { worker->connectEndpoint(); });
    StringMsg msg = text({"one"});
    const std::string what = "Failed to send messagepart : Resource temporarily unavailable";
    const Outcome outcome = watch([&] { return worker->send(&msg); });
    EXPECT_EQ(outcome.result, "runtime_error: " + what);
    EXPECT_THAT(outcome.logged, ElementsAre("Error : Ostrel::ZMQWrapper::send() : " + what));
    EXPECT_EQ(watch([&] { return worker->receive(&msg, 0); }).result, "-1");
}

TEST(BrokerStart, CanBeTriedAgainByAnotherPatternOfTheName)
{
    for (const char* call : {"zmq_bind", "pthread_create"}) {
        const std::string name = call;
        const Endpoints first;
        const Endpoints second;
        const Worker failed = makeWorker(name, first);
        {
            Watch watch;
            const LostOnPurpose theBlockOfAThreadThatIsNotMade;
            watch.zmq.fail(call, 1, EAGAIN);
            watch([&] { failed->connectEndpoint(); });
            ASSERT_TRUE(watch.zmq.failed());
        }
        const std::vector<Worker> workers = alone(makeWorker(name, second));
        Watch watch;
        EXPECT_EQ(watch([&] { workers[0]->connectEndpoint(); }).calls, startingCalls(second));
        NamedClient client("client", second.clients.text());
        exchange(client, "client", workers);
    }
}

TEST(BrokerStart, IsDoneWhenOnlyTheConnectFails)
{
    const Endpoints endpoints;
    const Worker failed = makeWorker("pool", endpoints);
    Watch watch;
    watch.zmq.fail("zmq_connect", 1, EMTHREAD);
    watch([&] { failed->connectEndpoint(); });
    ASSERT_TRUE(isRecorded("pool"));
    const std::vector<Worker> workers = alone(makeWorker("pool", endpoints));
    Watch again; // Counts the sockets from 1.
    EXPECT_EQ(again([&] { workers[0]->connectEndpoint(); }).calls,
              joiningCalls(endpoints.workers.text()));
    NamedClient client("client", endpoints.clients.text());
    exchange(client, "client", workers);
}

TEST(BrokerStart, GoesOnGivingBackWhenThatFailsToo)
{
    const Endpoints endpoints;
    const Worker worker = makeWorker("pool", endpoints);
    Watch watch;
    lookAtTheMutexDuring(watch.log);
    watch.zmq.fail("zmq_bind", 2, EIO);
    watch.zmq.fail("zmq_setsockopt", 13, EINVAL); // The first after the sockets were made.
    watch.zmq.fail("zmq_close", 1, ENOTSOCK);
    watch.zmq.fail("zmq_close", 2, EIO);
    const std::string what = "Failed to bind ZeroMQ Socket : Input/output error : End Point : " +
                             endpoints.workers.text();
    const Outcome outcome = watch([&] { worker->connectEndpoint(); });
    EXPECT_EQ(outcome.result, "runtime_error: " + what);
    EXPECT_THAT(outcome.logged,
                ElementsAre("Error : Ostrel::ZMQWrapper::registerSender() : " + what,
                            "Failed to set ZeroMQ Socket Linger Period : Invalid argument",
                            "Failed to close ZeroMQ Socket : Socket operation on non-socket",
                            "Failed to close ZeroMQ Socket : Input/output error",
                            connectPrefix + what));
    EXPECT_EQ(freeAtLine(), (std::vector<bool>{false, false, false, false, true}));
    EXPECT_EQ(callsAfterFailure(outcome.calls),
              Lines({"zmq_setsockopt(s2, 17, 0) !", "zmq_close(s2) !", "zmq_setsockopt(s3, 17, 0)",
                     "zmq_close(s3) !"}));
    EXPECT_TRUE(mutexIsFree());
}

TEST(BrokerStart, FailsAsTheTransportDoesWithoutEndpoints)
{
    struct Case {
        bool clients;
        bool workers;
        const char* what;
    };
    // In the order in which they are bound.
    const Case cases[] = {
        {false, false, "Failed to bind ZeroMQ Socket : Invalid argument : End Point : "},
        {false, true, "Failed to bind ZeroMQ Socket : Invalid argument : End Point : "},
        {true, false, "Failed to bind ZeroMQ Socket : Invalid argument : End Point : "},
    };
    for (const Case& one : cases) {
        const Endpoints endpoints;
        MsgDealerWorkerPattern worker("pool");
        if (one.clients) {
            worker.setProperty(PROP_DEALER_SERVER_ENDPOINT, endpoints.clients.text());
        }
        if (one.workers) {
            worker.setProperty(PROP_DEALER_WORKER_ENDPOINT, endpoints.workers.text());
        }
        Watch watch;
        const Outcome outcome = watch([&] { worker.connectEndpoint(); });
        EXPECT_EQ(outcome.result, std::string("runtime_error: ") + one.what);
        EXPECT_THAT(
            outcome.logged,
            ElementsAre(std::string("Error : Ostrel::ZMQWrapper::registerSender() : ") + one.what,
                        connectPrefix + one.what));
        const Lines bind = watch::bound("s2", one.clients ? endpoints.clients.text() : "");
        EXPECT_THAT(outcome.calls, testing::Contains(bind[0]));
        const bool gotToTheSecond =
            std::count(outcome.calls.begin(), outcome.calls.end(), watch::bound("s3", "")[0]) == 1;
        EXPECT_EQ(gotToTheSecond, one.clients);
        EXPECT_FALSE(isRecorded("pool"));
        EXPECT_TRUE(mutexIsFree());
    }
}

TEST(BrokerStart, FailsForASecondNameOnTheSameEndpoints)
{
    // Both are asked for: TCP, as an ipc path is simply taken over.
    const std::string clients = support::freeTcpEndpoint();
    const std::string workers = support::freeTcpEndpoint();
    const std::vector<Worker> first = alone(connected(makeWorker("first", clients, workers)));
    const std::string what =
        "Failed to bind ZeroMQ Socket : Address already in use : End Point : " + clients;
    const Worker second = makeWorker("second", clients, workers);
    Watch watch;
    lookAtTheMutexDuring(watch.log);
    const Outcome outcome = watch([&] { second->connectEndpoint(); });
    EXPECT_EQ(outcome.result, "runtime_error: " + what);
    EXPECT_THAT(outcome.logged,
                ElementsAre("Error : Ostrel::ZMQWrapper::registerSender() : " + what,
                            connectPrefix + what));
    EXPECT_EQ(freeAtLine(), (std::vector<bool>{false, true}));
    EXPECT_TRUE(mutexIsFree());
    EXPECT_FALSE(isRecorded("second"));
    ASSERT_NE(second->mpSocket, nullptr);
    EXPECT_EQ(second->setProperty(PROP_DEALER_SERVER_ENDPOINT, "abc"), -1);
    EXPECT_EQ(watch([&] { second->connectEndpoint(); }), (Outcome{"done", "", {}, {}}));
    NamedClient client("client", clients);
    exchange(client, "client", first);
}

TEST(BrokerStart, FailsForASecondNameOnTheSameEndpointForWorkers)
{
    const std::string workers = support::freeTcpEndpoint();
    const IpcEndpoint firstClients;
    const IpcEndpoint secondClients;
    const std::vector<Worker> first =
        alone(connected(makeWorker("first", firstClients.text(), workers)));
    const Worker second = makeWorker("second", secondClients.text(), workers);
    const std::string what =
        "Failed to bind ZeroMQ Socket : Address already in use : End Point : " + workers;
    Watch watch;
    const Outcome outcome = watch([&] { second->connectEndpoint(); });
    EXPECT_EQ(outcome.result, "runtime_error: " + what);
    const Lines given = watch::joined({watch::closed("s2"), watch::closed("s3")});
    ASSERT_GE(outcome.calls.size(), given.size());
    EXPECT_EQ(
        Lines(outcome.calls.end() - static_cast<std::ptrdiff_t>(given.size()), outcome.calls.end()),
        given);
    NamedClient client("client", firstClients.text());
    exchange(client, "client", first);
}

TEST(BrokerStart, LogsTheBareTextForAThreadThatCannotBeStarted)
{
    for (const int error : {EAGAIN, EPERM, EINVAL}) {
        const Endpoints endpoints;
        const Worker worker = makeWorker("pool", endpoints);
        Watch watch;
        const LostOnPurpose theBlock;
        watch.zmq.fail("pthread_create", 1, error);
        const Outcome outcome = watch([&] { worker->connectEndpoint(); });
        EXPECT_EQ(outcome.result, "runtime_error: Proxy thread creation failed");
        EXPECT_THAT(outcome.logged, ElementsAre(connectPrefix + "Proxy thread creation failed"));
        EXPECT_FALSE(isRecorded("pool"));
    }
}

#ifdef OSTREL_ADDRESS_SANITIZER
// Only the address sanitizer says what becomes of a block that nobody has anymore. Not every
// compiler has a header for this one.
extern "C" int __sanitizer_install_malloc_and_free_hooks(
    void (*onMalloc)(const volatile void* address, std::size_t size),
    void (*onFree)(const volatile void* address));

namespace {

std::set<std::uintptr_t>* blocks = nullptr; // Of two pointers, allocated by this thread.
thread_local bool noting = false;

void noteBlock(const volatile void* address, std::size_t size)
{
    if (noting && size == 2 * sizeof(void*)) {
        noting = false;
        blocks->insert(reinterpret_cast<std::uintptr_t>(address));
        noting = true;
    }
}

void forgetBlock(const volatile void* address)
{
    if (noting) {
        blocks->erase(reinterpret_cast<std::uintptr_t>(address));
    }
}

} // namespace

TEST(BrokerStart, DoesNotFreeTheBlockOfAThreadThatCannotBeStarted)
{
    const Endpoints endpoints;
    const Worker worker = makeWorker("pool", endpoints);
    ZmqSpy spy;
    const SyslogSpy log;
    spy.fail("pthread_create", 1, EAGAIN);
    // What is there when the thread is to be started, with its content.
    std::set<std::uintptr_t> seen;
    blocks = &seen;
    spy.onCall(
        [&](const std::string& call) { noting = noting && call.rfind("pthread_create", 0) != 0; });
    ASSERT_NE(__sanitizer_install_malloc_and_free_hooks(noteBlock, forgetBlock), 0);
    {
        const LostOnPurpose theBlock;
        noting = true;
        EXPECT_THROW(worker->connectEndpoint(), std::runtime_error);
        noting = false;
    }
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(__asan_address_is_poisoned(reinterpret_cast<const void*>(*seen.begin())), 0);
}

#endif

TEST(BrokerStart, SurvivesMissingMemoryAnywhere)
{
    int failures = 0;
    for (const bool withProperties : {true, false}) {
        for (int nth = 1;; ++nth) {
            SCOPED_TRACE(nth);
            const Endpoints endpoints;
            // Too long for a std::string to hold without memory.
            const std::string name = std::string("a pool with a very long name, with") +
                                     (withProperties ? "" : "out") + " endpoints, " +
                                     std::to_string(nth);
            Worker worker = withProperties ? makeWorker(name, endpoints)
                                           : std::make_unique<MsgDealerWorkerPattern>(name);
            SyslogSpy log;
            lookAtTheMutexDuring(log);
            ZmqSpy spy;
            bool happened = false;
            std::string thrown;
            {
                const AllocFault fault(nth);
                try {
                    worker->connectEndpoint();
                } catch (const std::exception& failure) {
                    AllocFault::pause();
                    thrown = failure.what();
                    AllocFault::resume();
                }
                happened = fault.happened();
            }
            EXPECT_TRUE(mutexIsFree());
            EXPECT_NE(worker->mpSocket, nullptr);
            if (!happened) {
                EXPECT_EQ(thrown.empty(), withProperties);
                EXPECT_EQ(isRecorded(name), withProperties);
                break;
            }
            ++failures;
            EXPECT_FALSE(isRecorded(name));
            const Lines lines = log.takeLines();
            if (withProperties) {
                EXPECT_EQ(thrown, "std::bad_alloc");
                EXPECT_THAT(lines, ElementsAre(connectPrefix + thrown));
                EXPECT_TRUE(freeAtLine().back());
            } else {
                // It may strike a text or a line of the failure that is under way without it.
                EXPECT_FALSE(thrown.empty());
                EXPECT_THAT(lines, testing::SizeIs(testing::Le(2U)));
            }
            const Lines calls = spy.takeActions();
            const auto made =
                std::count_if(calls.begin(), calls.end(), [](const std::string& call) {
                    return call.rfind("zmq_socket(", 0) == 0;
                });
            const auto closed =
                std::count_if(calls.begin(), calls.end(), [](const std::string& call) {
                    return call.rfind("zmq_close(", 0) == 0;
                });
            EXPECT_EQ(made - closed, 1); // The pattern's own.
            EXPECT_EQ(std::count_if(calls.begin(), calls.end(), startsABroker), 0);
        }
    }
    EXPECT_GT(failures, 4);
}

// The thread itself.

namespace {

/// The block that a broker's thread is given.
void* blockOf(void* frontend, void* backend)
{
    auto* block = static_cast<void**>(std::malloc(2 * sizeof(void*)));
    block[0] = frontend;
    block[1] = backend;
    return block;
}

/// Whether the block of two pointers at `address` was freed: under the address sanitizer it is
/// poisoned; otherwise the next blocks of the size come from where it went.
bool isFreed(std::uintptr_t address)
{
#ifdef OSTREL_ADDRESS_SANITIZER
    return __asan_address_is_poisoned(reinterpret_cast<const void*>(address)) != 0;
#else
    std::vector<void*> blocks;
    bool found = false;
    for (int i = 0; i < 64; ++i) {
        blocks.push_back(std::malloc(2 * sizeof(void*)));
        found = found || reinterpret_cast<std::uintptr_t>(blocks.back()) == address;
    }
    for (void* block : blocks) {
        std::free(block);
    }
    return found;
#endif
}

} // namespace

TEST(BrokerThread, ReturnsAtOnceWithoutABlock)
{
    Watch watch;
    void* result = &watch;
    EXPECT_EQ(watch([&] { result = proxyThreadMain(nullptr); }), (Outcome{"done", "", {}, {}}));
    EXPECT_EQ(result, nullptr);
}

TEST(BrokerThread, FreesItsBlockAndThenRunsTheProxy)
{
    Watch watch;
    ZMQWrapper& transport = *ZMQWrapper::getInstance();
    void* frontend = transport.createEndpt(ZMQ_ROUTER); // s1
    void* backend = transport.createEndpt(ZMQ_DEALER);  // s2
    void* block = blockOf(frontend, backend);
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    bool freed = false;
    watch.zmq.onCall([&](const std::string& /*call*/) { freed = isFreed(address); });
    watch.zmq.fail("zmq_proxy", 1, EIO);
    void* result = &watch;
    // The failure counts for nothing, and the sockets stay open.
    EXPECT_EQ(watch([&] { result = proxyThreadMain(block); }),
              (Outcome{"done", "", {}, {"zmq_proxy(s1, s2, null) !"}}));
    EXPECT_EQ(result, nullptr);
    EXPECT_TRUE(freed);
    watch.zmq.onCall(nullptr);
    EXPECT_EQ(watch([&] {
                  transport.deleteEndpt(frontend);
                  transport.deleteEndpt(backend);
              }).logged,
              Lines());
}

TEST(BrokerThread, RunsUntilTheContextEndsAndLeavesTheSocketsOpen)
{
    void* context = zmq_ctx_new();
    void* frontend = zmq_socket(context, ZMQ_ROUTER);
    void* backend = zmq_socket(context, ZMQ_DEALER);
    const Endpoints endpoints;
    ASSERT_EQ(zmq_bind(frontend, endpoints.clients.text().c_str()), 0);
    ASSERT_EQ(zmq_bind(backend, endpoints.workers.text().c_str()), 0);
    void* block = blockOf(frontend, backend);
    auto thread = std::async(std::launch::async, [block] { return proxyThreadMain(block); });
    {
        // It runs: a request crosses, and an answer.
        NamedClient client("client", endpoints.clients.text());
        RawSocket worker(ZMQ_DEALER);
        worker.connect(endpoints.workers.text());
        client.send({"request"});
        EXPECT_THAT(worker.receive(), ElementsAre("client", "request"));
        worker.send({"client", "answer"});
        EXPECT_THAT(client.receive(), ElementsAre("answer"));
    }
    EXPECT_EQ(thread.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    zmq_ctx_shutdown(context);
    EXPECT_EQ(thread.get(), nullptr);
    EXPECT_EQ(zmq_close(frontend), 0);
    EXPECT_EQ(zmq_close(backend), 0);
    EXPECT_EQ(zmq_ctx_term(context), 0);
}

// Through the broker.

TEST(BrokerTraffic, CarriesABinaryRequestAndItsAnswer)
{
    const Endpoints endpoints;
    const Worker worker = connected(makeWorker("pool", endpoints));
    NamedClient client("client", endpoints.clients.text());
    client.send({header(7, 258), "one", "", "three"});
    IpcMsg request;
    const Stdout out;
    EXPECT_EQ(worker->receive(&request, -1), 3);
    EXPECT_EQ(request.getMsgType(), 7);
    EXPECT_THAT(partsOf(request), ElementsAre("one", "", "three"));
    EXPECT_EQ(clientOf(request.getHandle()), "client");

    IpcMsg answer(8, 9);
    answer.insertPart(0, "yes", 3);
    answer.setHandle(request.getHandle());
    EXPECT_EQ(worker->send(&answer), 1);
    EXPECT_THAT(client.receive(), ElementsAre(header(8, 9), "yes"));
}

TEST(BrokerTraffic, CarriesATextRequestAndItsAnswer)
{
    const Endpoints endpoints;
    const Worker worker = connected(makeWorker("pool", endpoints));
    NamedClient client("client", endpoints.clients.text());
    client.send({"one", "", "three"});
    StringMsg request(0);
    const Stdout out;
    EXPECT_EQ(worker->receive(&request, -1), 3);
    EXPECT_THAT(partsOf(request), ElementsAre("one", "", "three"));
    EXPECT_EQ(clientOf(request.getHandle()), "client");

    StringMsg answer = text({"yes", "indeed"});
    answer.setHandle(request.getHandle());
    EXPECT_EQ(worker->send(&answer), 2);
    EXPECT_THAT(client.receive(), ElementsAre("yes", "indeed"));
}

TEST(BrokerTraffic, BringsEachAnswerToTheClientThatItNames)
{
    const Endpoints endpoints;
    const Worker worker = connected(makeWorker("pool", endpoints));
    NamedClient red("red", endpoints.clients.text());
    NamedClient blue("blue", endpoints.clients.text());
    red.send({header(7, 0), "from red"});
    blue.send({header(7, 0), "from blue"});
    std::vector<IpcMsg> requests(2);
    const Stdout out;
    for (IpcMsg& request : requests) {
        EXPECT_EQ(worker->receive(&request, -1), 1);
        EXPECT_EQ("from " + clientOf(request.getHandle()), partsOf(request)[0]);
    }
    // In the other order than they came.
    for (auto request = requests.rbegin(); request != requests.rend(); ++request) {
        IpcMsg answer = binary(8, 0, {"to " + clientOf(request->getHandle())});
        answer.setHandle(request->getHandle());
        EXPECT_EQ(worker->send(&answer), 1);
    }
    EXPECT_THAT(red.receive(), ElementsAre(header(8, 0), "to red"));
    EXPECT_THAT(blue.receive(), ElementsAre(header(8, 0), "to blue"));
}

TEST(BrokerTraffic, PutsTheClientInFrontOnTheWorkersLeg)
{
    // A broker without a worker of the library: only its start came to a good end.
    const Endpoints endpoints;
    const Worker starter = makeWorker("pool", endpoints);
    {
        Watch watch;
        watch.zmq.fail("zmq_connect", 1, EIO);
        watch([&] { starter->connectEndpoint(); });
    }
    RawSocket worker(ZMQ_DEALER);
    worker.connect(endpoints.workers.text());
    NamedClient client("client", endpoints.clients.text());
    client.send({header(7, 258), "one", "two"});
    EXPECT_THAT(worker.receive(), ElementsAre("client", header(7, 258), "one", "two"));
    worker.send({"client", header(8, 0), "yes"});
    EXPECT_THAT(client.receive(), ElementsAre(header(8, 0), "yes"));
    client.send({"one", "two"});
    EXPECT_THAT(worker.receive(), ElementsAre("client", "one", "two"));
    worker.send({"client", "yes"});
    EXPECT_THAT(client.receive(), ElementsAre("yes"));
}

TEST(BrokerTraffic, CannotNameAClientThatDidNotNameItself)
{
    const Endpoints endpoints;
    const Worker worker = connected(makeWorker("pool", endpoints));
    RawSocket other(ZMQ_DEALER);
    other.connect(endpoints.workers.text());
    RawSocket client(ZMQ_DEALER);
    client.connect(endpoints.clients.text());
    const Stdout out;
    // ZeroMQ names it with a zero byte and four more, which a raw worker gets to see.
    Frames seen;
    for (int i = 0; i < 100 && seen.empty(); ++i) {
        client.send({header(7, 0), "one"});
        seen = other.receive(100);
    }
    ASSERT_EQ(seen.size(), 3U);
    ASSERT_EQ(seen[0].size(), 5U);
    ASSERT_EQ(seen[0][0], '\0');

    for (const bool isText : {false, true}) {
        // The worker of the library gets the empty name for it,
        IpcMsg ipc;
        StringMsg string(0);
        for (int i = 0; i < 100 && readableOf({worker->mpSocket}, 0) == -1; ++i) {
            client.send({header(7, 0), "one"});
            other.receive(100);
        }
        ASSERT_NE(readableOf({worker->mpSocket}, 0), -1);
        EXPECT_GT(isText ? worker->receive(&string, -1) : worker->receive(&ipc, -1), 0);
        const MsgHandle* handle = isText ? string.getHandle() : ipc.getHandle();
        ASSERT_EQ(clientOf(handle), "");
        // and its answer finds nobody: the client gets the one behind it, to its real name.
        IpcMsg lost = binary(8, 0, {"lost"});
        lost.setHandle(handle);
        EXPECT_EQ(worker->send(&lost), 1);
        IpcMsg answer = addressed(binary(8, 0, {"found"}), seen[0]);
        EXPECT_EQ(worker->send(&answer), 1);
        EXPECT_THAT(client.receive(), ElementsAre(header(8, 0), "found"));
    }
}

TEST(BrokerTraffic, SharesTheRequestsAmongTheWorkersAndLosesNone)
{
    const Endpoints endpoints;
    std::vector<Worker> workers;
    std::vector<void*> sockets;
    for (int i = 0; i < 3; ++i) {
        workers.push_back(connected(makeWorker("pool", endpoints)));
        sockets.push_back(workers.back()->mpSocket);
    }
    NamedClient client("client", endpoints.clients.text());
    exchangeWithAll(client, "client", workers); // From now on all of them are there.
    constexpr int count = 30;
    for (int i = 0; i < count; ++i) {
        client.send({header(7, 0), std::to_string(i)});
    }
    std::multiset<std::string> got;
    std::array<int, 3> share = {};
    const Stdout out;
    for (int i = 0; i < count; ++i) {
        const int asked = readableOf(sockets, 20000);
        ASSERT_NE(asked, -1);
        IpcMsg request;
        EXPECT_EQ(workers[static_cast<std::size_t>(asked)]->receive(&request, -1), 1);
        got.insert(partsOf(request)[0]);
        ++share[static_cast<std::size_t>(asked)];
    }
    std::multiset<std::string> expected;
    for (int i = 0; i < count; ++i) {
        expected.insert(std::to_string(i));
    }
    EXPECT_EQ(got, expected);
    EXPECT_THAT(share, ElementsAre(10, 10, 10));
}

TEST(BrokerTraffic, WaitsForAWorkerToCome)
{
    const Endpoints endpoints;
    const Worker starter = makeWorker("pool", endpoints);
    {
        Watch watch;
        watch.zmq.fail("zmq_connect", 1, EIO);
        watch([&] { starter->connectEndpoint(); });
    }
    NamedClient client("client", endpoints.clients.text());
    client.send({header(7, 0), "early"});
    const Worker worker = connected(makeWorker("pool", endpoints));
    IpcMsg request;
    const Stdout out;
    EXPECT_EQ(worker->receive(&request, -1), 1);
    EXPECT_THAT(partsOf(request), ElementsAre("early"));
}

TEST(BrokerTraffic, GoesOnAfterAWorkerHasGone)
{
    const Endpoints endpoints;
    Worker first = connected(makeWorker("pool", endpoints));
    const std::vector<Worker> workers = alone(connected(makeWorker("pool", endpoints)));
    NamedClient client("client", endpoints.clients.text());
    first.reset();
    for (int i = 0; i < 5; ++i) {
        exchange(client, "client", workers);
    }
}

TEST(BrokerTraffic, GoesOnAfterAllWorkersHaveGone)
{
    const Endpoints endpoints;
    NamedClient client("client", endpoints.clients.text());
    {
        std::vector<Worker> workers = alone(connected(makeWorker("pool", endpoints)));
        workers.push_back(connected(makeWorker("pool", endpoints)));
        exchangeWithAll(client, "client", workers);
    }
    EXPECT_EQ(pthread_tryjoin_np(MsgDealerWorkerPattern::mProxyThreads["pool"], nullptr), EBUSY);
    const std::vector<Worker> workers = alone(makeWorker("pool", endpoints));
    {
        Watch watch;
        EXPECT_EQ(watch([&] { workers[0]->connectEndpoint(); }).calls,
                  joiningCalls(endpoints.workers.text()));
    }
    for (int i = 0; i < 5; ++i) {
        exchange(client, "client", workers);
    }
    NamedClient another("another", endpoints.clients.text());
    exchange(another, "another", workers);
}

TEST(BrokerTraffic, ReachesAClientOfTheSameProcessWithText)
{
    const Endpoints endpoints;
    const Worker worker = connected(makeWorker("pool", endpoints));
    MsgDealerClientPattern client("client");
    client.setProperty(PROP_DEALER_SERVER_ENDPOINT, endpoints.clients.text());
    StringMsg request = text({"one"});
    const Stdout out;
    EXPECT_EQ(client.send(&request), 1);
    StringMsg got(0);
    EXPECT_EQ(worker->receive(&got, -1), 1);
    EXPECT_EQ(clientOf(got.getHandle()).rfind("IDENTITY_", 0), 0U);
    StringMsg answer = text({"yes"});
    answer.setHandle(got.getHandle());
    EXPECT_EQ(worker->send(&answer), 1);
    EXPECT_EQ(client.receive(&got, -1), 1);
    EXPECT_THAT(partsOf(got), ElementsAre("yes"));
}

TEST(BrokerTraffic, IsTheSameThroughARawBroker)
{
    // A raw ROUTER and a raw DEALER, and every frame looked at on its way.
    RawBroker backend;
    RawSocket frontend(ZMQ_ROUTER);
    const std::string clients = frontend.bind("tcp://127.0.0.1:*");
    MsgDealerWorkerPattern worker(RawBroker::name);
    worker.setProperty(PROP_DEALER_WORKER_ENDPOINT, backend.endpoint());
    worker.connectEndpoint();
    NamedClient client("client", clients);
    const Stdout out;

    client.send({header(7, 258), "one"});
    Frames frames = frontend.receive();
    EXPECT_THAT(frames, ElementsAre("client", header(7, 258), "one"));
    backend.send(frames);
    IpcMsg request;
    EXPECT_EQ(worker.receive(&request, -1), 1);
    IpcMsg answer = binary(8, 3, {"yes"});
    answer.setHandle(request.getHandle());
    EXPECT_EQ(worker.send(&answer), 1);
    frames = backend.receive();
    EXPECT_THAT(frames, ElementsAre("client", header(8, 3), "yes"));
    frontend.send(frames);
    EXPECT_THAT(client.receive(), ElementsAre(header(8, 3), "yes"));

    // Without a handle the message's own first part is what the router goes by.
    IpcMsg unaddressed = binary(8, 3, {"client", "yes"});
    EXPECT_EQ(worker.send(&unaddressed), 2);
    frames = backend.receive();
    EXPECT_THAT(frames, ElementsAre("client", header(8, 3), "yes"));
    frontend.send(frames);
    EXPECT_THAT(client.receive(), ElementsAre(header(8, 3), "yes"));
}
