#include "ostrel/IpcMsg.h"
#include "ostrel/MsgDealerClientPattern.h"
#include "ostrel/StringMsg.h"
#include "ostrel/ZMQWrapper.h"
#include "pattern/WorkerTesting.h"
#include "support/AllocFault.h"

#include <algorithm>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>
#include <stdexcept>

using namespace ostrel;
using namespace workertest;
using support::AllocFault;
using support::IpcEndpoint;
using support::RawSocket;
using support::Stdout;
using support::SyslogSpy;
using testing::ElementsAre;
using testing::IsEmpty;
using watch::binary;
using watch::header;
using watch::Outcome;
using watch::partsOf;
using watch::text;
using watch::Watch;

namespace {

const std::string receivePrefix =
    "Error : Ostrel::MsgDealerWorkerPattern::MsgDealerWorkerPattern() : ";
const std::string connectPrefix = "Error : Ostrel::MsgDealerWorkerPattern::connectEndpoint() : ";

const std::string insertLine = "MsgDealerWorkerPattern::send insert the identity\n";
const std::string sendingLine = "MsgDealerWorkerPattern::send sending to worker ???\n";
/// A connected worker whose peer is a raw socket in the broker's place.
struct Joined {
    Joined() : worker(RawBroker::name)
    {
        EXPECT_EQ(worker.setProperty(PROP_DEALER_WORKER_ENDPOINT, broker.endpoint()), 0);
        worker.connectEndpoint();
    }

    RawBroker broker;
    MsgDealerWorkerPattern worker;
};

/// A worker that is not connected yet and does not get further than the last step.
class Unreachable {
public:
    Unreachable() : worker(RawBroker::name) {}

    RawBroker broker;
    MsgDealerWorkerPattern worker;

    const std::string what = "Failed to connect ZeroMQ Socket : Invalid argument : End Point : ";
    const Lines logged = {"Error : Ostrel::ZMQWrapper::registerReceiver() : " + what,
                          connectPrefix + what};
};

/// A failure of the application's own; it knows where it was thrown.
struct OwnFailure : std::runtime_error {
    OwnFailure() : std::runtime_error("own failure"), thrownAt(this) {}
    const void* thrownAt;
};

/// A worker pattern of the application's own, with another way to connect.
class OwnWorker : public MsgDealerWorkerPattern {
public:
    enum class Way { withoutSocket, throwing, throwingForeign };

    explicit OwnWorker(Way way) : MsgDealerWorkerPattern("own"), mWay(way) {}

    void connectEndpoint() override
    {
        ++connects;
        if (mWay == Way::throwing) {
            throw OwnFailure();
        }
        if (mWay == Way::throwingForeign) {
            throw watch::Foreign();
        }
    }

    int connects = 0;

private:
    Way mWay;
};

/// The four operations that connect first, on messages of the caller.
template <typename Use> void withEachOperation(Use use)
{
    StringMsg string = addressed(text({"a"}), "client");
    IpcMsg ipc = addressed(binary(7, 0, {"a"}), "client");
    use("send text", [&](MsgDealerWorkerPattern& worker) { return worker.send(&string); });
    use("send binary", [&](MsgDealerWorkerPattern& worker) { return worker.send(&ipc); });
    use("receive text",
        [&](MsgDealerWorkerPattern& worker) { return worker.receive(&string, -1); });
    use("receive binary", [&](MsgDealerWorkerPattern& worker) { return worker.receive(&ipc, -1); });
}

bool receives(const std::string& operation)
{
    return operation.rfind("receive", 0) == 0;
}

/// What a client of this process puts on the wire for a message of two parts: it shows whether
/// identity framing is on.
Frames sentByAClient()
{
    RawSocket router(ZMQ_ROUTER);
    MsgDealerClientPattern client("client");
    IpcMsg msg = binary(7, 258, {"one", "two"});
    Stdout out;
    client.setProperty(PROP_DEALER_SERVER_ENDPOINT, router.bind("tcp://127.0.0.1:*"));
    client.send(&msg);
    Frames frames = router.receive();
    frames.erase(frames.begin()); // The client's identity, which the router puts there.
    return frames;
}

} // namespace

// Making and unmaking.

TEST(WorkerPattern, SwitchesIdentityFramingOnForTheWholeProcess)
{
    EXPECT_THAT(sentByAClient(), ElementsAre(header(7, 258), "one", "two"));
    {
        const MsgDealerWorkerPattern worker("pool");
        EXPECT_THAT(sentByAClient(), ElementsAre("one", header(7, 258), "two"));
    }
    EXPECT_THAT(sentByAClient(), ElementsAre("one", header(7, 258), "two"));
}

TEST(WorkerPattern, LeavesIdentityFramingOffWhenItCannotBeMade)
{
    Watch watch;
    EXPECT_EQ(
        watch([] { const MsgDealerWorkerPattern worker(""); }),
        (Outcome{"logic_error: Invalid Channel name specified",
                 "",
                 {"Error : Ostrel::MsgPattern::MsgPattern() : Invalid Channel name specified"},
                 {}}));
    EXPECT_THAT(sentByAClient(), ElementsAre(header(7, 258), "one", "two"));
}

TEST(WorkerPattern, LeavesIdentityFramingOffWhenThereIsNoTransport)
{
    support::ZmqSpy spy;
    const SyslogSpy log;
    spy.fail("zmq_ctx_new", 1, EMFILE);
    EXPECT_THROW(MsgDealerWorkerPattern("pool"), std::runtime_error);
    EXPECT_THAT(sentByAClient(), ElementsAre(header(7, 258), "one", "two"));
}

TEST(WorkerPattern, MakesNoSocketUntilItIsNeeded)
{
    Watch watch;
    EXPECT_EQ(watch([] { const MsgDealerWorkerPattern worker("pool"); }),
              (Outcome{"done", "", {}, {}}));
    EXPECT_FALSE(isRecorded("pool"));
}

TEST(WorkerPattern, ClosesOnlyItsOwnSocketAtItsEnd)
{
    Watch watch;
    const Endpoints endpoints;
    auto worker = makeWorker("pool", endpoints);
    worker->connectEndpoint(); // s1; the broker has s2 and s3
    EXPECT_EQ(watch([&] { worker.reset(); }), (Outcome{"done", "", {}, watch::closed("s1")}));
    EXPECT_TRUE(isRecorded("pool"));
}

// Properties.

TEST(WorkerProperties, AreTheTwoEndpoints)
{
    for (int property = watch::firstProperty; property <= watch::lastProperty; ++property) {
        SCOPED_TRACE(property);
        Watch watch;
        MsgDealerWorkerPattern worker("pool");
        const channel_prop_t prop = watch::asProperty(property);
        const Outcome unset = watch([&] { return worker.getProperty(prop); });
        const Outcome set = watch([&] { return worker.setProperty(prop, "abc"); });
        const Outcome get = watch([&] { return worker.getProperty(prop); });
        if (property == 4 || property == 5) {
            EXPECT_EQ(unset, (Outcome{"", "", {}, {}}));
            EXPECT_EQ(set, (Outcome{"0", "", {}, {}}));
            EXPECT_EQ(get, (Outcome{"abc", "", {}, {}}));
            continue;
        }
        const std::string cannotSet = "Invalid property - cannot be set : abc";
        EXPECT_EQ(set,
                  (Outcome{"logic_error: " + cannotSet,
                           "",
                           {"Error : Ostrel::MsgDealerWorkerPattern::setProperty() : " + cannotSet},
                           {}}));
        const std::string cannotGet = "Invalid property queried";
        EXPECT_EQ(get,
                  (Outcome{"logic_error: " + cannotGet,
                           "",
                           {"Error : Ostrel::MsgDealerWorkerPattern::getProperty() : " + cannotGet},
                           {}}));
        EXPECT_EQ(unset, get);
        EXPECT_THAT(worker.mProperties, IsEmpty());
    }
}

TEST(WorkerProperties, ReadAsEmptyBeforeTheyAreSetAndThenHaveAnEntry)
{
    MsgDealerWorkerPattern worker("pool");
    EXPECT_EQ(worker.getProperty(PROP_DEALER_WORKER_ENDPOINT), "");
    EXPECT_THAT(worker.mProperties,
                ElementsAre(testing::Pair(PROP_DEALER_WORKER_ENDPOINT, std::string())));
}

TEST(WorkerProperties, AreKeptApart)
{
    MsgDealerWorkerPattern worker("pool");
    worker.setProperty(PROP_DEALER_SERVER_ENDPOINT, "clients");
    worker.setProperty(PROP_DEALER_WORKER_ENDPOINT, "workers");
    EXPECT_EQ(worker.getProperty(PROP_DEALER_SERVER_ENDPOINT), "clients");
    EXPECT_EQ(worker.getProperty(PROP_DEALER_WORKER_ENDPOINT), "workers");
}

TEST(WorkerProperties, RefuseAnyWildcard)
{
    for (const channel_prop_t prop : {PROP_DEALER_SERVER_ENDPOINT, PROP_DEALER_WORKER_ENDPOINT}) {
        Watch watch;
        MsgDealerWorkerPattern worker("pool");
        worker.setProperty(prop, "tcp://127.0.0.1:5555");
        const std::string what = "Invalid Endpoint : tcp://*:5555";
        EXPECT_EQ(watch([&] { return worker.setProperty(prop, "tcp://*:5555"); }),
                  (Outcome{"logic_error: " + what,
                           "",
                           {"Error : Ostrel::MsgDealerWorkerPattern::setProperty() : " + what},
                           {}}));
        EXPECT_EQ(worker.getProperty(prop), "tcp://127.0.0.1:5555");
        EXPECT_EQ(worker.setProperty(prop, ""), 0);
        EXPECT_EQ(worker.getProperty(prop), "");
    }
}

TEST(WorkerProperties, AreLookedAtBeforeTheirValue)
{
    MsgDealerWorkerPattern worker("pool");
    const SyslogSpy log;
    Watch watch;
    EXPECT_EQ(watch([&] { return worker.setProperty(PROP_SERVER_ENDPOINT, "tcp://*:1"); }).result,
              "logic_error: Invalid property - cannot be set : tcp://*:1");
}

TEST(WorkerProperties, AreFrozenOnceThereIsASocket)
{
    Joined joined;
    for (int property = watch::firstProperty; property <= watch::lastProperty; ++property) {
        for (const char* value : {"abc", "tcp://*:1"}) {
            Watch watch;
            EXPECT_EQ(watch([&] {
                          return joined.worker.setProperty(watch::asProperty(property), value);
                      }),
                      (Outcome{"-1", "", {}, {}}))
                << property << " " << value;
        }
    }
    EXPECT_EQ(joined.worker.getProperty(PROP_DEALER_WORKER_ENDPOINT), joined.broker.endpoint());
    EXPECT_EQ(joined.worker.getProperty(PROP_DEALER_SERVER_ENDPOINT), "");
}

// Connecting on the way.

TEST(WorkerConnects, WithTheFirstSendOrReceive)
{
    withEachOperation([](const char* operation, auto operate) {
        SCOPED_TRACE(operation);
        RawBroker broker;
        Watch watch;
        MsgDealerWorkerPattern worker(RawBroker::name);
        worker.setProperty(PROP_DEALER_WORKER_ENDPOINT, broker.endpoint());
        // Whatever comes of the operation itself: only that it connects before it.
        watch.zmq.fail("zmq_msg_init_size", 1, ENOMEM);
        watch.zmq.fail("zmq_recvmsg", 1, EIO);
        const Outcome outcome = watch([&] { return operate(worker); });
        const Lines connecting = watch::joined({watch::created("s1", ZMQ_DEALER),
                                                watch::connected("s1", broker.endpoint()),
                                                {"zmq_msg_init()"}});
        ASSERT_GT(outcome.calls.size(), connecting.size());
        EXPECT_EQ(Lines(outcome.calls.begin(), outcome.calls.begin() + 7), connecting);
        EXPECT_EQ(worker.setProperty(PROP_DEALER_WORKER_ENDPOINT, "abc"), -1);
    });
}

TEST(WorkerConnects, ForAMessageThatIsNull)
{
    RawBroker broker;
    Watch watch;
    const Lines connecting = watch::joined(
        {watch::created("s1", ZMQ_DEALER), watch::connected("s1", broker.endpoint())});
    const auto connectsIn = [&](auto operate) {
        Watch fresh;
        MsgDealerWorkerPattern worker(RawBroker::name);
        worker.setProperty(PROP_DEALER_WORKER_ENDPOINT, broker.endpoint());
        const Outcome outcome = fresh([&] { return operate(worker); });
        EXPECT_EQ(outcome.result, "-1");
        EXPECT_EQ(outcome.calls, connecting);
    };
    connectsIn([](auto& worker) { return worker.send(static_cast<StringMsg*>(nullptr)); });
    connectsIn([](auto& worker) { return worker.send(static_cast<IpcMsg*>(nullptr)); });
    connectsIn([](auto& worker) { return worker.receive(static_cast<StringMsg*>(nullptr), 0); });
    connectsIn([](auto& worker) { return worker.receive(static_cast<IpcMsg*>(nullptr), 0); });
}

TEST(WorkerConnects, OnlyOnce)
{
    withEachOperation([](const char* operation, auto operate) {
        SCOPED_TRACE(operation);
        Joined joined;
        Watch watch;
        watch.zmq.fail("zmq_msg_init_size", 1, ENOMEM);
        watch.zmq.fail("zmq_recvmsg", 1, EIO);
        EXPECT_EQ(watch([&] { return operate(joined.worker); }).calls.front(), "zmq_msg_init()");
    });
}

TEST(WorkerConnects, AndLogsAFailureOnceMoreWhenReceiving)
{
    withEachOperation([](const std::string& operation, auto operate) {
        SCOPED_TRACE(operation);
        Unreachable unreachable;
        Watch watch;
        const Outcome outcome = watch([&] { return operate(unreachable.worker); });
        Lines lines = unreachable.logged;
        if (receives(operation)) {
            lines.push_back(receivePrefix + unreachable.what);
        }
        EXPECT_EQ(outcome.result, "runtime_error: " + unreachable.what);
        EXPECT_EQ(outcome.printed, "");
        EXPECT_EQ(outcome.logged, lines);
    });
}

TEST(WorkerConnects, ThroughItsVirtualOperation)
{
    withEachOperation([](const std::string& operation, auto operate) {
        SCOPED_TRACE(operation);
        OwnWorker worker(OwnWorker::Way::withoutSocket);
        Watch watch;
        // The transport refuses to work without a socket.
        const Outcome outcome = watch([&] { return operate(worker); });
        EXPECT_EQ(outcome.result, "-1");
        EXPECT_THAT(outcome.calls, IsEmpty());
        EXPECT_EQ(worker.connects, 1);
    });
}

TEST(WorkerConnects, AndPassesTheFailureItselfOn)
{
    withEachOperation([](const std::string& operation, auto operate) {
        SCOPED_TRACE(operation);
        OwnWorker worker(OwnWorker::Way::throwing);
        SyslogSpy log;
        const Stdout out;
        try {
            operate(worker);
            FAIL() << "nothing was thrown";
        } catch (const OwnFailure& failure) {
            EXPECT_EQ(failure.thrownAt, &failure);
        }
        const Lines lines = receives(operation) ? Lines{receivePrefix + "own failure"} : Lines{};
        EXPECT_EQ(log.takeLines(), lines);
    });
}

TEST(WorkerConnects, AndPassesForeignExceptionsOnWithoutALine)
{
    withEachOperation([](const std::string& operation, auto operate) {
        SCOPED_TRACE(operation);
        OwnWorker worker(OwnWorker::Way::throwingForeign);
        Watch watch;
        EXPECT_EQ(watch([&] { return operate(worker); }), (Outcome{"foreign", "", {}, {}}));
    });
}

// Sending text.

TEST(WorkerTextSend, PutsTheClientInFrontForTheTransport)
{
    Joined joined;
    StringMsg msg = addressed(text({"one", "two"}), "client");
    Watch watch;
    EXPECT_EQ(watch([&] { return joined.worker.send(&msg); }),
              (Outcome{"2",
                       "MsgDealerWorkerPattern::send\n",
                       {},
                       watch::joined({watch::sent("s1", false, 6, "client"),
                                      watch::sent("s1", false, 3, "one"),
                                      watch::sent("s1", true, 3, "two")})}));
    EXPECT_THAT(joined.broker.receive(), ElementsAre("client", "one", "two"));
    EXPECT_THAT(partsOf(msg), ElementsAre("one", "two"));
    EXPECT_EQ(clientOf(msg.getHandle()), "client");
}

TEST(WorkerTextSend, SendsEveryByteOfTheIdentity)
{
    for (const std::string& identity :
         {std::string(), bytes("\0a"), bytes("a\0b"), std::string(255, 'x'), bytes("\0\0\0\0\0")}) {
        Joined joined;
        StringMsg msg = addressed(text({"one"}), identity);
        Watch watch;
        const Outcome outcome = watch([&] { return joined.worker.send(&msg); });
        EXPECT_EQ(outcome.result, "1");
        EXPECT_EQ(outcome.printed, "MsgDealerWorkerPattern::send\n");
        EXPECT_THAT(joined.broker.receive(), ElementsAre(identity, "one"));
        EXPECT_THAT(partsOf(msg), ElementsAre("one"));
    }
}

TEST(WorkerTextSend, SendsTheIdentityAloneForAMessageWithoutParts)
{
    Joined joined;
    StringMsg msg = addressed(text({}), "client");
    Watch watch;
    EXPECT_EQ(
        watch([&] { return joined.worker.send(&msg); }),
        (Outcome{"0", "MsgDealerWorkerPattern::send\n", {}, watch::sent("s1", true, 6, "client")}));
    EXPECT_THAT(joined.broker.receive(), ElementsAre("client"));
    EXPECT_THAT(partsOf(msg), IsEmpty());
}

TEST(WorkerTextSend, LeavesAMessageWithoutHandleToTheTransport)
{
    Joined joined;
    StringMsg msg = text({"one", "two"});
    Watch watch;
    EXPECT_EQ(watch([&] { return joined.worker.send(&msg); }),
              (Outcome{"2",
                       "",
                       {},
                       watch::joined({watch::sent("s1", false, 3, "one"),
                                      watch::sent("s1", true, 3, "two")})}));
    EXPECT_THAT(joined.broker.receive(), ElementsAre("one", "two"));
    EXPECT_THAT(partsOf(msg), ElementsAre("one", "two"));
}

TEST(WorkerTextSend, LeavesNothingToSendToTheTransport)
{
    Joined joined;
    StringMsg empty(0);
    Watch watch;
    EXPECT_EQ(watch([&] { return joined.worker.send(&empty); }),
              (Outcome{"-1", "nothing to send - return\n", {}, {}}));
    EXPECT_EQ(watch([&] { return joined.worker.send(static_cast<StringMsg*>(nullptr)); }),
              (Outcome{"-1", "", {}, {}}));
}

TEST(WorkerTextSend, GivesTheMessageBackWhenTheTransportRefuses)
{
    OwnWorker worker(OwnWorker::Way::withoutSocket);
    StringMsg msg = addressed(text({"one"}), "client");
    Watch watch;
    EXPECT_EQ(watch([&] { return worker.send(&msg); }),
              (Outcome{"-1", "MsgDealerWorkerPattern::send\n", {}, {}}));
    EXPECT_THAT(partsOf(msg), ElementsAre("one"));
}

TEST(WorkerTextSend, KeepsTheIdentityInAMessageThatCouldNotBeSent)
{
    const watch::Failures failures =
        watch::printedFirst("MsgDealerWorkerPattern::send\n", watch::sendFailures(2));
    StringMsg msg(0);
    watch::throughFailures(
        failures,
        watch::joined({watch::sent("s1", false, 6, "client"), watch::sent("s1", true, 3, "one")}),
        [&](Watch& /*watch*/) {
            msg = addressed(text({"one"}), "client");
            return std::make_unique<Joined>();
        },
        [&](Joined& joined) { return joined.worker.send(&msg); },
        [&](Watch& /*watch*/, Joined& /*joined*/, std::size_t /*nth*/) {
            EXPECT_THAT(partsOf(msg), ElementsAre("client", "one"));
            EXPECT_EQ(clientOf(msg.getHandle()), "client");
        });
    EXPECT_THAT(partsOf(msg), ElementsAre("one"));
}

TEST(WorkerTextSend, LeavesAMessageWithoutHandleAloneWhenItCannotBeSent)
{
    StringMsg msg = text({"one", "two"});
    watch::throughFailures(
        watch::sendFailures(2),
        watch::joined({watch::sent("s1", false, 3, "one"), watch::sent("s1", true, 3, "two")}),
        [](Watch& /*watch*/) { return std::make_unique<Joined>(); },
        [&](Joined& joined) { return joined.worker.send(&msg); },
        [&](Watch& /*watch*/, Joined& /*joined*/, std::size_t /*nth*/) {
            EXPECT_THAT(partsOf(msg), ElementsAre("one", "two"));
        });
}

// Sending binary messages.

TEST(WorkerBinarySend, PutsTheClientInFrontForTheTransport)
{
    Joined joined;
    IpcMsg msg = addressed(binary(7, 258, {"one", "two"}), "client");
    Watch watch;
    EXPECT_EQ(
        watch([&] { return joined.worker.send(&msg); }),
        (Outcome{"2",
                 insertLine + "MsgDealerWorkerPattern::send client - 6\n" + sendingLine,
                 {},
                 watch::joined({watch::sent("s1", false, 6, "client"),
                                watch::sent("s1", false, 8, R"(\x00\x00\x00\x07\x00\x00\x01\x02)"),
                                watch::sent("s1", false, 3, "one"),
                                watch::sent("s1", true, 3, "two")})}));
    EXPECT_THAT(joined.broker.receive(), ElementsAre("client", header(7, 258), "one", "two"));
    EXPECT_THAT(partsOf(msg), ElementsAre("one", "two"));
    EXPECT_EQ(clientOf(msg.getHandle()), "client");
    EXPECT_EQ(msg.getMsgType(), 7);
    EXPECT_EQ(msg.getMsgSubType(), 258);
}

TEST(WorkerBinaryReceive, PrintsItsLinesBeforeTheHandleThatTheMessageHadIsDeleted)
{
    struct Talking : MsgHandle {
        ~Talking() override
        {
            std::printf("deleted\n");
        }
        MsgHandle* clone() const override
        {
            return new Talking;
        }
    };
    Joined joined;
    IpcMsg msg;
    const Talking talking;
    msg.setHandle(&talking);
    joined.broker.send({"client", header(7, 0), "data"});
    Watch watch;
    const std::string printed = watch([&] { return joined.worker.receive(&msg, -1); }).printed;
    const std::string last = "===> identity = client \ndeleted\n";
    EXPECT_EQ(printed.substr(printed.size() - std::min(printed.size(), last.size())), last);
}

TEST(WorkerBinarySend, ReturnsOneForAnAnswerOfOnePart)
{
    Joined joined;
    IpcMsg msg = addressed(binary(8, 0, {"answer"}), "client");
    Watch watch;
    EXPECT_EQ(watch([&] { return joined.worker.send(&msg); }).result, "1");
    EXPECT_THAT(joined.broker.receive(), ElementsAre("client", header(8, 0), "answer"));
}

TEST(WorkerBinarySend, SendsEveryByteOfTheIdentityAndPrintsItUpToItsFirstZero)
{
    struct Case {
        std::string identity;
        std::string printed;
    };
    const Case cases[] = {
        {"", "MsgDealerWorkerPattern::send  - 0\n"},
        {bytes("\0a"), "MsgDealerWorkerPattern::send  - 2\n"},
        {bytes("a\0b"), "MsgDealerWorkerPattern::send a - 3\n"},
        {"100%s", "MsgDealerWorkerPattern::send 100%s - 5\n"},
        {std::string(255, 'x'),
         "MsgDealerWorkerPattern::send " + std::string(255, 'x') + " - 255\n"},
        // Just fits behind the line before, just does not, and is longer than what is put together.
        {std::string(86, 'x'), "MsgDealerWorkerPattern::send " + std::string(86, 'x') + " - 86\n"},
        {std::string(112, 'x'),
         "MsgDealerWorkerPattern::send " + std::string(112, 'x') + " - 112\n"},
        {std::string(113, 'x'),
         "MsgDealerWorkerPattern::send " + std::string(113, 'x') + " - 113\n"},
        {std::string(156, 'x'),
         "MsgDealerWorkerPattern::send " + std::string(156, 'x') + " - 156\n"},
        {std::string(157, 'x'),
         "MsgDealerWorkerPattern::send " + std::string(157, 'x') + " - 157\n"},
    };
    for (const Case& one : cases) {
        Joined joined;
        IpcMsg msg = addressed(binary(7, 0, {"one"}), one.identity);
        Watch watch;
        const Outcome outcome = watch([&] { return joined.worker.send(&msg); });
        EXPECT_EQ(outcome.result, "1");
        EXPECT_EQ(outcome.printed, insertLine + one.printed + sendingLine);
        EXPECT_THAT(joined.broker.receive(), ElementsAre(one.identity, header(7, 0), "one"));
        EXPECT_THAT(partsOf(msg), ElementsAre("one"));
        EXPECT_EQ(clientOf(msg.getHandle()), one.identity);
    }
}

TEST(WorkerBinarySend, SendsTheIdentityAsAMessageOfItsOwnForAMessageWithoutParts)
{
    Joined joined;
    IpcMsg msg = addressed(binary(7, 0, {}), "client");
    Watch watch;
    // The header is left unfinished on the socket, as the transport has it.
    EXPECT_EQ(watch([&] { return joined.worker.send(&msg); }),
              (Outcome{"0",
                       insertLine + "MsgDealerWorkerPattern::send client - 6\n" + sendingLine,
                       {},
                       watch::joined(
                           {watch::sent("s1", true, 6, "client"),
                            watch::sent("s1", false, 8, R"(\x00\x00\x00\x07\x00\x00\x00\x00)")})}));
    EXPECT_THAT(joined.broker.receive(), ElementsAre("client"));
    EXPECT_THAT(partsOf(msg), IsEmpty());
}

TEST(WorkerBinarySend, SendsTheFirstPartAsTheIdentityOfAMessageWithoutHandle)
{
    Joined joined;
    IpcMsg msg = binary(7, 258, {"client", "one"});
    Watch watch;
    EXPECT_EQ(
        watch([&] { return joined.worker.send(&msg); }),
        (Outcome{"2",
                 "MsgDealerWorkerPattern::send handle is null - send msg\n",
                 {},
                 watch::joined({watch::sent("s1", false, 6, "client"),
                                watch::sent("s1", false, 8, R"(\x00\x00\x00\x07\x00\x00\x01\x02)"),
                                watch::sent("s1", true, 3, "one")})}));
    EXPECT_THAT(joined.broker.receive(), ElementsAre("client", header(7, 258), "one"));
    EXPECT_THAT(partsOf(msg), ElementsAre("client", "one"));
}

TEST(WorkerBinarySend, RefusesNull)
{
    Joined joined;
    Watch watch;
    EXPECT_EQ(watch([&] { return joined.worker.send(static_cast<IpcMsg*>(nullptr)); }),
              (Outcome{"-1", "MsgDealerWorkerPattern::send inMsg is null\n", {}, {}}));
}

TEST(WorkerBinarySend, GivesTheMessageBackWhenTheTransportRefuses)
{
    OwnWorker worker(OwnWorker::Way::withoutSocket);
    IpcMsg msg = addressed(binary(7, 0, {"one"}), "client");
    Watch watch;
    EXPECT_EQ(
        watch([&] { return worker.send(&msg); }),
        (Outcome{
            "-1", insertLine + "MsgDealerWorkerPattern::send client - 6\n" + sendingLine, {}, {}}));
    EXPECT_THAT(partsOf(msg), ElementsAre("one"));
}

TEST(WorkerBinarySend, KeepsTheIdentityInAMessageThatCouldNotBeSent)
{
    const watch::Failures failures =
        watch::printedFirst(insertLine + "MsgDealerWorkerPattern::send client - 6\n" + sendingLine,
                            watch::sendFailures(3));
    IpcMsg msg;
    watch::throughFailures(
        failures,
        watch::joined({watch::sent("s1", false, 6, "client"),
                       watch::sent("s1", false, 8, R"(\x00\x00\x00\x07\x00\x00\x00\x00)"),
                       watch::sent("s1", true, 3, "one")}),
        [&](Watch& /*watch*/) {
            msg = addressed(binary(7, 0, {"one"}), "client");
            return std::make_unique<Joined>();
        },
        [&](Joined& joined) { return joined.worker.send(&msg); },
        [&](Watch& /*watch*/, Joined& /*joined*/, std::size_t /*nth*/) {
            EXPECT_THAT(partsOf(msg), ElementsAre("client", "one"));
            EXPECT_EQ(clientOf(msg.getHandle()), "client");
        });
    EXPECT_THAT(partsOf(msg), ElementsAre("one"));
}

TEST(WorkerBinarySend, LeavesAMessageWithoutHandleAloneWhenItCannotBeSent)
{
    IpcMsg msg = binary(7, 0, {"one", "two"});
    watch::throughFailures(
        watch::printedFirst("MsgDealerWorkerPattern::send handle is null - send msg\n",
                            watch::sendFailures(3)),
        watch::joined({watch::sent("s1", false, 3, "one"),
                       watch::sent("s1", false, 8, R"(\x00\x00\x00\x07\x00\x00\x00\x00)"),
                       watch::sent("s1", true, 3, "two")}),
        [](Watch& /*watch*/) { return std::make_unique<Joined>(); },
        [&](Joined& joined) { return joined.worker.send(&msg); },
        [&](Watch& /*watch*/, Joined& /*joined*/, std::size_t /*nth*/) {
            EXPECT_THAT(partsOf(msg), ElementsAre("one", "two"));
        });
}

/// Sends with one allocation after the other failing until none does; `make()` gives the message,
/// `after(msg, sent)` looks at what a failure leaves, `sent` telling whether it went out.
template <typename Make, typename After> int sendWithoutMemory(Make make, After after)
{
    for (int nth = 1;; ++nth) {
        Joined joined;
        auto msg = make();
        SyslogSpy log;
        support::ZmqSpy spy;
        bool thrown = false;
        bool happened = false;
        {
            const Stdout out;
            const AllocFault fault(nth);
            try {
                joined.worker.send(&msg);
            } catch (const std::bad_alloc&) {
                thrown = true;
            }
            happened = fault.happened();
        }
        EXPECT_EQ(thrown, happened);
        if (!happened) {
            return nth - 1;
        }
        // The transport logs nothing and neither does the send; a text message does of itself.
        EXPECT_THAT(log.takeLines(),
                    testing::Each("Error : Ostrel::StringMsg::insertPart() : std::bad_alloc"));
        after(msg, !spy.takeCalls().empty());
    }
}

TEST(WorkerTextSend, LeavesTheMessageAloneWhenThereIsNoMemoryForTheIdentity)
{
    const std::string client(40, 'c'); // Too long for a std::string to hold without memory.
    const int failures = sendWithoutMemory([&] { return addressed(text({"one"}), client); },
                                           [](StringMsg& msg, bool sent) {
                                               EXPECT_FALSE(sent);
                                               EXPECT_THAT(partsOf(msg), ElementsAre("one"));
                                           });
    EXPECT_GT(failures, 1);
}

TEST(WorkerBinarySend, LeavesTheMessageAloneWhenThereIsNoMemoryForTheIdentity)
{
    const std::string client(40, 'c');
    int unsent = 0;
    const int failures = sendWithoutMemory(
        [&] { return addressed(binary(7, 0, {"one"}), client); },
        [&](IpcMsg& msg, bool sent) {
            unsent += sent ? 0 : 1;
            // Taking it off again needs memory too.
            EXPECT_EQ(partsOf(msg), sent ? Frames({client, "one"}) : Frames({"one"}));
        });
    EXPECT_GT(unsent, 2);
    EXPECT_GT(failures, unsent);
}

// Receiving text.

TEST(WorkerTextReceive, TurnsTheFirstFrameIntoTheHandle)
{
    Joined joined;
    joined.broker.send({"client", "one", "two"});
    StringMsg msg(0);
    Watch watch;
    EXPECT_EQ(watch([&] { return joined.worker.receive(&msg, -1); }),
              (Outcome{"2",
                       resultLine(3) + partsLine(3),
                       {},
                       watch::joined({watch::received("s1", 0), watch::received("s1", 0),
                                      watch::received("s1", 0)})}));
    EXPECT_THAT(partsOf(msg), ElementsAre("one", "two"));
    EXPECT_EQ(clientOf(msg.getHandle()), "client");
}

TEST(WorkerTextReceive, TakesTheWholeFrameUpToItsFirstZeroByteAsTheIdentity)
{
    struct Case {
        std::string frame;
        std::string identity;
    };
    const Case cases[] = {
        {"", ""},
        {"c", "c"},
        {std::string(64, 'x'), std::string(64, 'x')},
        {std::string(65, 'x'), std::string(65, 'x')},
        {std::string(255, 'x'), std::string(255, 'x')},
        {std::string(1000, 'x'), std::string(1000, 'x')},
        // The transport ends every text at a zero byte.
        {bytes("ab\0cd"), "ab"},
        {bytes("\0abcd"), ""},
    };
    for (const Case& one : cases) {
        Joined joined;
        joined.broker.send({one.frame, "one"});
        StringMsg msg(0);
        Watch watch;
        const Outcome outcome = watch([&] { return joined.worker.receive(&msg, -1); });
        EXPECT_EQ(outcome.result, "1");
        EXPECT_EQ(outcome.printed, resultLine(2) + partsLine(2));
        EXPECT_THAT(partsOf(msg), ElementsAre("one"));
        EXPECT_EQ(clientOf(msg.getHandle()), one.identity);
    }
}

TEST(WorkerTextReceive, ReturnsZeroForAnIdentityAlone)
{
    Joined joined;
    joined.broker.send({"client"});
    StringMsg msg = text({"old"});
    Watch watch;
    const Outcome outcome = watch([&] { return joined.worker.receive(&msg, -1); });
    EXPECT_EQ(outcome.result, "0");
    EXPECT_EQ(outcome.printed, resultLine(1) + partsLine(1));
    EXPECT_THAT(partsOf(msg), IsEmpty());
    EXPECT_EQ(clientOf(msg.getHandle()), "client");
}

TEST(WorkerTextReceive, ReplacesPartsAndHandleOfTheMessage)
{
    Joined joined;
    joined.broker.send({"new", "one"});
    StringMsg msg = text({"old", "older"});
    {
        const CountedHandle handle("old");
        msg.setHandle(&handle);
    }
    ASSERT_EQ(CountedHandle::alive(), 1);
    Watch watch;
    EXPECT_EQ(watch([&] { return joined.worker.receive(&msg, -1); }).result, "1");
    EXPECT_EQ(CountedHandle::alive(), 0);
    EXPECT_THAT(partsOf(msg), ElementsAre("one"));
    EXPECT_EQ(clientOf(msg.getHandle()), "new");
}

TEST(WorkerTextReceive, LeavesTheHandleAloneWhenNothingArrives)
{
    struct Case {
        long timeout;
        const char* result;
        std::string printed;
        Frames parts;
    };
    const Case cases[] = {
        {0, "-1", "receive: timeout\n" + resultLine(-1), {}},
        {5000, "0", "nothing to received\n" + resultLine(0), {}},
        {-2, "-1", "invalid input\n" + resultLine(-1), {"old"}},
    };
    Joined joined;
    for (const Case& one : cases) {
        StringMsg msg = addressed(text({"old"}), "client");
        Watch watch;
        const Outcome outcome = watch([&] { return joined.worker.receive(&msg, one.timeout); });
        EXPECT_EQ(outcome.result, one.result);
        EXPECT_EQ(outcome.printed, one.printed);
        EXPECT_THAT(outcome.logged, IsEmpty());
        EXPECT_EQ(partsOf(msg), one.parts);
        EXPECT_EQ(clientOf(msg.getHandle()), "client");
    }
}

TEST(WorkerTextReceive, LeavesNullToTheTransport)
{
    Joined joined;
    Watch watch;
    EXPECT_EQ(watch([&] { return joined.worker.receive(static_cast<StringMsg*>(nullptr), 0); }),
              (Outcome{"-1", "invalid input\n" + resultLine(-1), {}, {}}));
}

TEST(WorkerTextReceive, LogsAFailureOnceMoreUnderTheNameOfTheConstructor)
{
    StringMsg msg(0);
    watch::throughFailures(
        watch::loggedWith(receivePrefix, watch::receiveFailures({{"", ""}, {"", ""}})),
        watch::joined({watch::received("s1", 0), watch::received("s1", 0)}),
        [&](Watch& /*watch*/) {
            msg = addressed(text({}), "old");
            auto joined = std::make_unique<Joined>();
            joined->broker.send({"client", "one"});
            return joined;
        },
        [&](Joined& joined) { return joined.worker.receive(&msg, -1); },
        [&](Watch& /*watch*/, Joined& /*joined*/, std::size_t /*nth*/) {
            EXPECT_EQ(clientOf(msg.getHandle()), "old");
        });
    EXPECT_EQ(clientOf(msg.getHandle()), "client");
}

// Receiving binary messages.

TEST(WorkerBinaryReceive, TurnsTheFirstFrameIntoTheHandle)
{
    Joined joined;
    joined.broker.send({"client", header(7, 258), "one", "seven"});
    IpcMsg msg(1, 2);
    Watch watch;
    EXPECT_EQ(watch([&] { return joined.worker.receive(&msg, -1); }),
              (Outcome{"2",
                       beforeLine + frameLine("identity", 6) + frameLine("msg hdr", 8) +
                           frameLine("msg", 3) + frameLine("msg", 5) + resultLine(3, 7) +
                           partsLine(3) + "===> identity = client \n",
                       {},
                       watch::joined({watch::received("s1", 0), watch::received("s1", 0),
                                      watch::received("s1", 0), watch::received("s1", 0)})}));
    EXPECT_EQ(msg.getMsgType(), 7);
    EXPECT_EQ(msg.getMsgSubType(), 2);
    EXPECT_THAT(partsOf(msg), ElementsAre("one", "seven"));
    EXPECT_EQ(clientOf(msg.getHandle()), "client");
}

TEST(WorkerBinaryReceive, KeepsAnIdentityOf64BytesAndCutsALongerOneTo60)
{
    struct Case {
        std::string frame;
        std::string identity;
    };
    const std::string x63(63, 'x');
    const Case cases[] = {
        {"", ""},
        {"c", "c"},
        {x63.substr(3) + "y", x63.substr(3) + "y"},
        {x63, x63},
        {x63 + "y", x63 + "y"},
        {x63 + "yz", x63.substr(3)},
        {std::string(60, 'x') + std::string(195, 'y'), std::string(60, 'x')},
        {std::string(60, 'x') + std::string(940, 'y'), std::string(60, 'x')},
        // It ends at its first zero byte.
        {bytes("\0abcd"), ""},
        {bytes("ab\0cd"), "ab"},
        {bytes("\0"), ""},
        {x63 + bytes("\0"), x63},
        {"abc" + bytes("\0") + x63, "abc"},
        {std::string(62, 'x') + bytes("\0") + "yz", std::string(60, 'x')},
        {"100%s", "100%s"},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(testing::PrintToString(one.frame));
        Joined joined;
        joined.broker.send({one.frame, header(7, 0), "one"});
        IpcMsg msg;
        Watch watch;
        const Outcome outcome = watch([&] { return joined.worker.receive(&msg, -1); });
        EXPECT_EQ(outcome.result, "1");
        EXPECT_EQ(outcome.printed, beforeLine + frameLine("identity", one.frame.size()) +
                                       frameLine("msg hdr", 8) + frameLine("msg", 3) +
                                       resultLine(2, 7) + partsLine(2) +
                                       "===> identity = " + one.identity + " \n");
        EXPECT_THAT(partsOf(msg), ElementsAre("one"));
        EXPECT_EQ(clientOf(msg.getHandle()), one.identity);
    }
}

TEST(WorkerBinaryReceive, ReturnsZeroForAMessageWithoutData)
{
    struct Case {
        Frames frames;
        int type;
        std::string printed;
    };
    const Case cases[] = {
        {{"client", header(7, 0)}, 7, frameLine("identity", 6) + frameLine("msg hdr", 8)},
        {{"client"}, 0, frameLine("identity", 6)},
        {{"client", "short"},
         0,
         frameLine("identity", 6) + attemptLine +
             "ZMQWrapper::receive: something is messed up ... size=5\n"},
    };
    for (const Case& one : cases) {
        Joined joined;
        joined.broker.send(one.frames);
        IpcMsg msg(9, 0);
        Watch watch;
        const Outcome outcome = watch([&] { return joined.worker.receive(&msg, -1); });
        EXPECT_EQ(outcome.result, "0");
        EXPECT_EQ(outcome.printed, beforeLine + one.printed + resultLine(1, one.type) +
                                       partsLine(1) + "===> identity = client \n");
        EXPECT_EQ(msg.getMsgType(), one.type);
        EXPECT_THAT(partsOf(msg), IsEmpty());
        EXPECT_EQ(clientOf(msg.getHandle()), "client");
    }
}

TEST(WorkerBinaryReceive, TakesTheOldestPartOfAMessageThatHasPartsForTheIdentity)
{
    Joined joined;
    joined.broker.send({"client", header(7, 0), "one"});
    IpcMsg msg = binary(1, 2, {"old", "older"});
    Watch watch;
    const Outcome outcome = watch([&] { return joined.worker.receive(&msg, -1); });
    EXPECT_EQ(outcome.result, "3");
    EXPECT_EQ(outcome.printed, beforeLine + frameLine("identity", 6) + frameLine("msg hdr", 8) +
                                   frameLine("msg", 3) + resultLine(4, 7) + partsLine(4) +
                                   "===> identity = old \n");
    EXPECT_THAT(partsOf(msg), ElementsAre("older", "client", "one"));
    EXPECT_EQ(clientOf(msg.getHandle()), "old");
}

TEST(WorkerBinaryReceive, TakesAPartWithoutBytesForTheEmptyIdentity)
{
    Joined joined;
    joined.broker.send({"client", header(7, 0), "one"});
    IpcMsg msg;
    msg.setNumParts(1);
    Watch watch;
    EXPECT_EQ(watch([&] { return joined.worker.receive(&msg, -1); }).result, "2");
    EXPECT_THAT(partsOf(msg), ElementsAre("client", "one"));
    EXPECT_EQ(clientOf(msg.getHandle()), "");
}

TEST(WorkerBinaryReceive, DeletesTheHandleThatTheMessageHad)
{
    Joined joined;
    joined.broker.send({"new", header(7, 0), "one"});
    IpcMsg msg;
    {
        const CountedHandle handle("old");
        msg.setHandle(&handle);
    }
    ASSERT_EQ(CountedHandle::alive(), 1);
    Watch watch;
    EXPECT_EQ(watch([&] { return joined.worker.receive(&msg, -1); }).result, "1");
    EXPECT_EQ(CountedHandle::alive(), 0);
    EXPECT_EQ(clientOf(msg.getHandle()), "new");
}

TEST(WorkerBinaryReceive, LeavesTheMessageAloneWhenNothingArrives)
{
    struct Case {
        long timeout;
        const char* result;
        std::string printed;
    };
    const Case cases[] = {
        {0, "-1", attemptLine + "receive: timeout\n" + resultLine(-1, 9)},
        {5000, "0", attemptLine + "nothing to received\n" + resultLine(0, 9)},
        {-2, "-1", "invalid input\n" + resultLine(-1, 9)},
    };
    Joined joined;
    for (const Case& one : cases) {
        IpcMsg msg = addressed(binary(9, 0, {"old"}), "client");
        Watch watch;
        const Outcome outcome = watch([&] { return joined.worker.receive(&msg, one.timeout); });
        EXPECT_EQ(outcome.result, one.result);
        EXPECT_EQ(outcome.printed, beforeLine + one.printed);
        EXPECT_THAT(outcome.logged, IsEmpty());
        EXPECT_THAT(partsOf(msg), ElementsAre("old"));
        EXPECT_EQ(clientOf(msg.getHandle()), "client");
    }
}

TEST(WorkerBinaryReceive, LeavesNullToTheTransport)
{
    Joined joined;
    Watch watch;
    EXPECT_EQ(watch([&] { return joined.worker.receive(static_cast<IpcMsg*>(nullptr), 0); }),
              (Outcome{"-1", beforeLine + "invalid input\n" + resultLine(-1, 0), {}, {}}));
}

TEST(WorkerBinaryReceive, LogsAFailureOnceMoreUnderTheNameOfTheConstructor)
{
    IpcMsg msg;
    const watch::Failures failures = watch::printedFirst(
        beforeLine, watch::receiveFailures({{attemptLine, "get the identity size 6\n"},
                                            {attemptLine, "get the msg hdr size 8\n"},
                                            {attemptLine, "get the msg size 3\n"}}));
    watch::throughFailures(
        watch::loggedWith(receivePrefix, failures),
        watch::joined(
            {watch::received("s1", 0), watch::received("s1", 0), watch::received("s1", 0)}),
        [&](Watch& /*watch*/) {
            msg = addressed(binary(9, 0, {}), "old");
            auto joined = std::make_unique<Joined>();
            joined->broker.send({"client", header(7, 0), "one"});
            return joined;
        },
        [&](Joined& joined) { return joined.worker.receive(&msg, -1); },
        [&](Watch& /*watch*/, Joined& /*joined*/, std::size_t nth) {
            EXPECT_EQ(clientOf(msg.getHandle()), "old");
            EXPECT_EQ(msg.getMsgType(), 9);
            // What had arrived stays: the identity after its frame's receive, the data likewise.
            EXPECT_EQ(msg.getNumParts(), nth < 2 ? 0 : nth < 8 ? 1 : 2);
        });
    EXPECT_EQ(clientOf(msg.getHandle()), "client");
}

TEST(WorkerReceive, PassesMissingMemoryOnAndLogsIt)
{
    const std::string client(40, 'c'); // Too long for a std::string to hold without memory.
    int failed = 0;
    for (const bool isText : {true, false}) {
        for (int nth = 1;; ++nth) {
            Joined joined;
            joined.broker.send(isText ? Frames{client, std::string(40, 's')}
                                      : Frames{client, header(7, 0), "one"});
            SyslogSpy log;
            StringMsg string(0);
            IpcMsg ipc;
            bool happened = false;
            bool thrown = false;
            {
                const Stdout out;
                const AllocFault fault(nth);
                try {
                    isText ? joined.worker.receive(&string, -1) : joined.worker.receive(&ipc, -1);
                } catch (const std::bad_alloc&) {
                    thrown = true;
                }
                happened = fault.happened();
            }
            EXPECT_EQ(thrown, happened);
            if (!happened) {
                EXPECT_EQ(clientOf(isText ? string.getHandle() : ipc.getHandle()), client);
                break;
            }
            ++failed;
            const Lines lines = log.takeLines();
            ASSERT_FALSE(lines.empty());
            EXPECT_EQ(lines.back(), receivePrefix + "std::bad_alloc");
        }
    }
    EXPECT_GT(failed, 6);
}
