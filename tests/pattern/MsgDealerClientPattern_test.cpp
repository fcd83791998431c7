#include "ostrel/MsgDealerClientPattern.h"

#include "pattern/Watch.h"
#include "support/AllocFault.h"
#include "support/Endpoint.h"
#include "support/RandSpy.h"

#include <cstdlib>
#include <ctime>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <zmq.h>

using namespace watch;
using ostrel::IpcMsg;
using ostrel::MsgDealerClientPattern;
using ostrel::PROP_DEALER_SERVER_ENDPOINT;
using ostrel::StringMsg;
using ostrel::ZMQWrapper;
using support::AllocFault;
using support::IpcEndpoint;
using support::RandSpy;
using support::RawSocket;
using support::Stdout;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string setting = "Error : Ostrel::MsgDealerClientPattern::setProperty() : ";
const std::string getting = "Error : Ostrel::MsgDealerClientPattern::getProperty() : ";
const std::string connecting = "Error : Ostrel::MsgDealerClientPattern::connectEndpoint() : ";
const std::string receiving = "Error : Ostrel::MsgDealerClientPattern::MsgDealerClientPattern() : ";

const std::string sendLine = "MsgDealerClientPattern::send\n";

const Outcome accepted = {"0", "", {}, {}};
const Outcome ignored = {"-1", "", {}, {}};
const Outcome nothing = {"done", "", {}, {}};

Outcome refused(const std::string& prefix, const std::string& what)
{
    return {"logic_error: " + what, "", {prefix + what}, {}};
}

std::string identityLine(const std::string& identity)
{
    return "MsgDealerClientPattern::connectEndpoint IDENTITY = " + identity + "\n";
}

std::string resultLine(int result)
{
    return "MsgDealerClientPattern:receive ret=" + std::to_string(result) + "\n";
}

/// With the connecting, and what a derived pattern can reach, in the hands of the test.
class OwnClient : public MsgDealerClientPattern {
public:
    using MsgDealerClientPattern::mpSocket;
    using MsgDealerClientPattern::MsgDealerClientPattern;

    void connectEndpoint() override
    {
        ++connects;
        if (foreign) {
            throw Foreign();
        }
        MsgDealerClientPattern::connectEndpoint();
    }

    int connects = 0;
    bool foreign = false; ///< Connecting throws what is no std::exception.
};

/// The four operations that connect when that has not happened.
enum class Operation { sendText, sendBinary, receiveText, receiveBinary };

constexpr Operation operations[] = {Operation::sendText, Operation::sendBinary,
                                    Operation::receiveText, Operation::receiveBinary};

/// Sends a message of one part, "a", or receives without waiting.
int perform(MsgDealerClientPattern& pattern, Operation operation)
{
    StringMsg words = text({"a"});
    IpcMsg bytes = binary(7, 258, {"a"});
    switch (operation) {
    case Operation::sendText:
        return pattern.send(&words);
    case Operation::sendBinary:
        return pattern.send(&bytes);
    case Operation::receiveText:
        return pattern.receive(&words, 0);
    case Operation::receiveBinary:
        return pattern.receive(&bytes, 0);
    }
    return -2;
}

/// What perform() comes to on a connected client whose socket is s1.
Outcome performed(Operation operation)
{
    switch (operation) {
    case Operation::sendText:
        return {"1", "", {}, sent("s1", true, 1, "a")};
    case Operation::sendBinary:
        return {"1",
                sendLine,
                {},
                joined({sent("s1", false, 8, R"(\x00\x00\x00\x07\x00\x00\x01\x02)"),
                        sent("s1", true, 1, "a")})};
    case Operation::receiveText:
        return {"-1", "receive: timeout\n" + resultLine(-1), {}, missed("s1")};
    case Operation::receiveBinary:
        return {"-1", attempt + "receive: timeout\n" + resultLine(-1), {}, missed("s1")};
    }
    return {};
}

class DealerClientPattern : public testing::Test {
protected:
    DealerClientPattern()
    {
        random.setTime(1700000000);
        random.setRand(0x6b8b4567);
    }

    Outcome set(const std::string& to)
    {
        return watch([&] { return pattern.setProperty(PROP_DEALER_SERVER_ENDPOINT, to); });
    }

    Outcome get()
    {
        return watch([&] { return pattern.getProperty(PROP_DEALER_SERVER_ENDPOINT); });
    }

    Outcome connect()
    {
        return watch([&] { pattern.connectEndpoint(); });
    }

    Outcome run(Operation operation)
    {
        return watch([&] { return perform(pattern, operation); });
    }

    Outcome send(const Frames& parts)
    {
        StringMsg msg = text(parts);
        return watch([&] { return pattern.send(&msg); });
    }

    Outcome send(int type, int subType, const Frames& parts)
    {
        IpcMsg msg = binary(type, subType, parts);
        return watch([&] { return pattern.send(&msg); });
    }

    Outcome receiveText(long timeout)
    {
        return watch([&] { return pattern.receive(&words, timeout); });
    }

    Outcome receiveBinary(long timeout)
    {
        return watch([&] { return pattern.receive(&bytes, timeout); });
    }

    /// A client with an endpoint and no socket.
    std::unique_ptr<OwnClient> ready() const
    {
        auto client = std::make_unique<OwnClient>("client");
        client->setProperty(PROP_DEALER_SERVER_ENDPOINT, at);
        return client;
    }

    /// Every call of connecting.
    Lines connectingTo(const std::string& to) const
    {
        return joined({created("s1", ZMQ_DEALER),
                       {"zmq_setsockopt(s1, 5, \"" + name + "\")"},
                       connected("s1", to)});
    }

    /// What can fail while it connects.
    Failures connectFailures() const
    {
        Failures failures = creationFailures();
        failures.push_back(optionFailure());
        failures.push_back(connectFailure(at));
        return loggedWith(connecting, failures);
    }

    Watch watch;
    RandSpy random;
    IpcEndpoint endpoint;
    const std::string at = endpoint.text();
    const std::string name = "IDENTITY_6b8b4567";
    StringMsg words{0};
    IpcMsg bytes;
    OwnClient pattern{"client"};
};

} // namespace

TEST_F(DealerClientPattern, StartsWithoutASocketAndEndsQuietlyWithoutOne)
{
    std::unique_ptr<MsgDealerClientPattern> made;
    EXPECT_EQ(watch([&] { made = std::make_unique<MsgDealerClientPattern>("more"); }), nothing);
    EXPECT_EQ(watch([&] { made.reset(); }), nothing);
    EXPECT_THAT(random.takeCalls(), IsEmpty());
}

TEST_F(DealerClientPattern, NeedsAName)
{
    EXPECT_EQ(
        watch([] { const MsgDealerClientPattern nameless(""); }),
        refused("Error : Ostrel::MsgPattern::MsgPattern() : ", "Invalid Channel name specified"));
}

TEST_F(DealerClientPattern, LeavesIdentityFramingOff)
{
    ASSERT_EQ(set(at), accepted);
    connect();
    EXPECT_EQ(send(7, 258, {"a"}), performed(Operation::sendBinary));
}

TEST_F(DealerClientPattern, ClosesItsSocketAtTheEnd)
{
    auto made = ready();
    watch([&] { made->connectEndpoint(); });
    EXPECT_EQ(watch([&] { made.reset(); }), (Outcome{"done", "", {}, closed("s1")}));
}

TEST_F(DealerClientPattern, HasOneProperty)
{
    for (int property = firstProperty; property <= lastProperty; ++property) {
        SCOPED_TRACE(property);
        const auto prop = asProperty(property);
        const bool own = property == 4;
        for (const std::string value : {"abc", "tcp://*:1"}) {
            EXPECT_EQ(watch([&] { return pattern.setProperty(prop, value); }),
                      !own ? refused(setting, "Invalid property - cannot be set : " + value)
                      : value == "abc" ? accepted
                                       : refused(setting, "Invalid Endpoint : " + value));
        }
        EXPECT_EQ(watch([&] { return pattern.getProperty(prop); }),
                  own ? (Outcome{"abc", "", {}, {}})
                      : refused(getting, "Invalid property queried"));
    }
}

TEST_F(DealerClientPattern, FreezesEveryPropertyWithItsSocket)
{
    ASSERT_EQ(set(at), accepted);
    connect();
    for (int property = firstProperty; property <= lastProperty; ++property) {
        SCOPED_TRACE(property);
        const auto prop = asProperty(property);
        for (const std::string value : {"tcp://127.0.0.1:1", "tcp://*:1"}) {
            EXPECT_EQ(watch([&] { return pattern.setProperty(prop, value); }), ignored);
        }
        EXPECT_EQ(watch([&] { return pattern.getProperty(prop); }),
                  property == 4 ? (Outcome{at, "", {}, {}})
                                : refused(getting, "Invalid property queried"));
    }
}

TEST_F(DealerClientPattern, ReadsAnEndpointThatWasNeverSetAsEmpty)
{
    EXPECT_EQ(get(), (Outcome{"", "", {}, {}}));
}

TEST_F(DealerClientPattern, RefusesEveryEndpointWithAnAsteriskAndKeepsTheOneBefore)
{
    ASSERT_EQ(set(at), accepted);
    for (const std::string bad : {"*", "tcp://*:5555", "tcp://127.0.0.1:*", "*/x", "ipc://x*y**"}) {
        EXPECT_EQ(set(bad), refused(setting, "Invalid Endpoint : " + bad));
        EXPECT_EQ(get(), (Outcome{at, "", {}, {}}));
    }
}

TEST_F(DealerClientPattern, TakesTheLastEndpointThatItIsGiven)
{
    ASSERT_EQ(set("nowhere://x"), accepted);
    ASSERT_EQ(set(""), accepted);
    ASSERT_EQ(set(at), accepted);
    EXPECT_EQ(pattern.mpSocket, nullptr);
    EXPECT_EQ(connect().calls, connectingTo(at));
}

TEST_F(DealerClientPattern, KeepsItsEndpointAfterTheFirstSend)
{
    ASSERT_EQ(set(at), accepted);
    ASSERT_EQ(send({"a"}).result, "1");
    EXPECT_EQ(set("tcp://127.0.0.1:1"), ignored);
    EXPECT_EQ(get().result, at);
}

TEST_F(DealerClientPattern, CreatesSeedsNamesAndConnectsInThisOrderAndPrintsLast)
{
    pattern.setProperty(PROP_DEALER_SERVER_ENDPOINT, at);
    std::vector<std::string> steps;
    {
        Stdout out;
        const auto note = [&](const std::string& step) {
            for (const std::string& call : random.takeCalls()) {
                steps.push_back(call);
            }
            const std::string printed = out.take();
            if (!printed.empty()) {
                steps.push_back("printed " + printed);
            }
            steps.push_back(step);
        };
        watch.zmq.onCall(note);
        pattern.connectEndpoint();
        note("end");
        watch.zmq.onCall(nullptr);
    }
    EXPECT_THAT(steps, ElementsAre("zmq_socket(5)", "zmq_setsockopt(s1, 34, 1)",
                                   "zmq_setsockopt(s1, 36, 7200)", "zmq_setsockopt(s1, 37, 75)",
                                   "zmq_setsockopt(s1, 35, 9)", "time(null)", "srand(1700000000)",
                                   "rand()", "zmq_setsockopt(s1, 5, \"IDENTITY_6b8b4567\")",
                                   "zmq_connect(s1, \"" + at + "\")",
                                   "printed " + identityLine("IDENTITY_6b8b4567"), "end"));
}

TEST_F(DealerClientPattern, WritesItsIdentityInLowerCaseHexadecimal)
{
    const struct {
        int random;
        const char* identity;
    } rows[] = {
        {0, "IDENTITY_0"},
        {1, "IDENTITY_1"},
        {15, "IDENTITY_f"},
        {16, "IDENTITY_10"},
        {0xabcdef, "IDENTITY_abcdef"},
        {0x6b8b4567, "IDENTITY_6b8b4567"},
        {2147483647, "IDENTITY_7fffffff"},
    };
    for (const auto& row : rows) {
        random.setRand(row.random);
        const auto client = ready();
        Watch own;
        const Outcome outcome = own([&] { client->connectEndpoint(); });
        EXPECT_EQ(outcome.printed, identityLine(row.identity));
        ASSERT_EQ(outcome.calls.size(), 7U);
        EXPECT_EQ(outcome.calls[5], std::string("zmq_setsockopt(s1, 5, \"") + row.identity + "\")");
    }
}

TEST_F(DealerClientPattern, SeedsWithTheSecondAndNothingElseEachTime)
{
    for (const std::time_t now : {std::time_t{0}, std::time_t{1}, std::time_t{1999999999}}) {
        random.setTime(now);
        for (int i = 0; i < 2; ++i) {
            const auto client = ready();
            random.takeCalls();
            watch([&] { client->connectEndpoint(); });
            EXPECT_THAT(random.takeCalls(),
                        ElementsAre("time(null)", "srand(" + std::to_string(now) + ")", "rand()"));
        }
    }
}

TEST_F(DealerClientPattern, TakesTheFirstNumberOfTheGeneratorOfTheWholeProcess)
{
    // Without a steered generator: the name is the first number after seeding with the second, and
    // the process goes on with the second number.
    Watch own;
    RandSpy unsteered;
    unsteered.setTime(1234567);
    // With a peer that is there: ZeroMQ takes numbers of its own when it has to connect again.
    RawSocket router(ZMQ_ROUTER);
    router.bind(at);
    std::srand(1234567);
    const int first = std::rand();
    const int second = std::rand();
    const auto client = ready();
    char identity[64];
    std::snprintf(identity, sizeof identity, "IDENTITY_%x", static_cast<unsigned int>(first));
    EXPECT_EQ(own([&] { client->connectEndpoint(); }).printed, identityLine(identity));
    EXPECT_EQ(std::rand(), second);
}

TEST_F(DealerClientPattern, ConnectsOnceWhoeverAsks)
{
    ASSERT_EQ(set(at), accepted);
    EXPECT_EQ(connect(), (Outcome{"done", identityLine(name), {}, connectingTo(at)}));
    random.takeCalls();
    EXPECT_EQ(connect(), nothing);
    for (const Operation operation : operations) {
        EXPECT_EQ(run(operation), performed(operation));
    }
    EXPECT_THAT(random.takeCalls(), IsEmpty());
}

TEST_F(DealerClientPattern, ConnectsAtTheFirstSendOrReceive)
{
    for (const Operation operation : operations) {
        SCOPED_TRACE(static_cast<int>(operation));
        Watch own;
        const auto client = ready();
        Outcome expected = performed(operation);
        expected.printed = identityLine(name) + expected.printed;
        expected.calls = joined({connectingTo(at), expected.calls});
        EXPECT_EQ(own([&] { return perform(*client, operation); }), expected);
        EXPECT_EQ(own([&] { return perform(*client, operation); }), performed(operation));
        EXPECT_EQ(client->connects, 1);
    }
}

TEST_F(DealerClientPattern, ConnectsThroughTheSlotThatADerivedPatternMayTake)
{
    pattern.foreign = true;
    // What is no std::exception passes without a line, and nothing is printed.
    for (const Operation operation : operations) {
        EXPECT_EQ(run(operation), (Outcome{"foreign", "", {}, {}}));
    }
    EXPECT_EQ(pattern.connects, 4);
}

TEST_F(DealerClientPattern, ReportsEveryFailureOfConnectingAndNeverTriesAgainWithASocket)
{
    throughFailures(
        connectFailures(), connectingTo(at),
        [&](Watch&) {
            random.takeCalls();
            return ready();
        },
        [](OwnClient& client) {
            client.connectEndpoint();
            return 0;
        },
        [&](Watch& seen, OwnClient& client, std::size_t nth) {
            const bool hasSocket = nth > creationFailures().size();
            EXPECT_EQ(client.mpSocket != nullptr, hasSocket);
            if (!hasSocket) {
                EXPECT_THAT(random.takeCalls(), IsEmpty());
                EXPECT_EQ(client.setProperty(PROP_DEALER_SERVER_ENDPOINT, "tcp://127.0.0.1:1"), 0);
                const Outcome again = seen([&] { client.connectEndpoint(); });
                EXPECT_EQ(again.result, "done");
                EXPECT_EQ(again.printed, identityLine(name));
                EXPECT_THAT(random.takeCalls(),
                            ElementsAre("time(null)", "srand(1700000000)", "rand()"));
                return;
            }
            EXPECT_THAT(random.takeCalls(),
                        ElementsAre("time(null)", "srand(1700000000)", "rand()"));
            EXPECT_EQ(seen([&] { client.connectEndpoint(); }), nothing);
            EXPECT_EQ(
                seen([&] { return client.setProperty(PROP_DEALER_SERVER_ENDPOINT, "other"); }),
                ignored);
            EXPECT_EQ(client.getProperty(PROP_DEALER_SERVER_ENDPOINT), at);
            EXPECT_THAT(random.takeCalls(), IsEmpty());
        });
}

TEST_F(DealerClientPattern, ReportsWhenThereIsNoMemoryForItsName)
{
    ASSERT_EQ(set(at), accepted);
    random.setTime(7);
    bool happened = false;
    EXPECT_EQ(watch([&] {
                  const AllocFault fault(1);
                  try {
                      pattern.connectEndpoint();
                  } catch (...) {
                      happened = fault.happened();
                      throw;
                  }
              }),
              (Outcome{"bad_alloc: std::bad_alloc",
                       "",
                       {connecting + "std::bad_alloc"},
                       created("s1", ZMQ_DEALER)}));
    EXPECT_TRUE(happened);
    EXPECT_EQ(connect(), nothing);
    EXPECT_EQ(set("other"), ignored);
}

TEST_F(DealerClientPattern, ReportsEveryFailureOfAnOperationThatConnects)
{
    const Failure notReceived =
        transportFailure("receive", "Failed to get messagepart: Input/output error");
    const Failure notClosed =
        transportFailure("receive", "recv: Failed to close ZeroMQ messagepart: Input/output error");
    for (const Operation operation : operations) {
        SCOPED_TRACE(static_cast<int>(operation));
        const bool receives =
            operation == Operation::receiveText || operation == Operation::receiveBinary;
        // Sends add no line of their own, receives one with the constructor's name.
        Failures later;
        switch (operation) {
        case Operation::sendText:
            later = sendFailures(1);
            break;
        case Operation::sendBinary:
            later = printedFirst(sendLine, sendFailures(2));
            break;
        case Operation::receiveText:
            later = {notReceived, notClosed};
            break;
        case Operation::receiveBinary:
            later = printedFirst(attempt, {notReceived, notClosed});
            break;
        }
        Failures failures = connectFailures();
        for (const Failure& failure : printedFirst(identityLine(name), later)) {
            failures.push_back(failure);
        }
        throughFailures(
            receives ? loggedWith(receiving, failures) : failures,
            joined({connectingTo(at), performed(operation).calls}), [&](Watch&) { return ready(); },
            [&](OwnClient& client) { return perform(client, operation); },
            [](Watch&, OwnClient& client, std::size_t nth) {
                EXPECT_EQ(client.mpSocket != nullptr, nth > creationFailures().size());
                EXPECT_EQ(client.connects, 1);
            });
    }
}

TEST_F(DealerClientPattern, TriesTheEmptyEndpointWhenItHasNone)
{
    for (const Operation operation : operations) {
        SCOPED_TRACE(static_cast<int>(operation));
        Watch own;
        OwnClient client("client");
        Failure failure = loggedWith(connecting, connectFailure("", "Invalid argument"));
        if (operation == Operation::receiveText || operation == Operation::receiveBinary) {
            failure = loggedWith(receiving, failure);
        }
        const Outcome outcome = own([&] { return perform(client, operation); });
        EXPECT_EQ(outcome, failed(failure, outcome));
        EXPECT_EQ(outcome.calls, joined({connectingTo(""), {"zmq_strerror(22)"}}));
    }
}

TEST_F(DealerClientPattern, GoesOnWithASocketThatIsConnectedToNothing)
{
    connect();
    const std::string full = "Failed to send messagepart : Resource temporarily unavailable";
    const Failure failure = transportFailure("send", full);
    Outcome outcome = run(Operation::sendText);
    EXPECT_EQ(outcome, failed(failure, outcome));
    // Printed before the send that fails.
    outcome = run(Operation::sendBinary);
    EXPECT_EQ(outcome, failed(printedFirst(sendLine, {failure})[0], outcome));
    EXPECT_EQ(run(Operation::receiveText), performed(Operation::receiveText));
    EXPECT_EQ(run(Operation::receiveBinary), performed(Operation::receiveBinary));
}

TEST_F(DealerClientPattern, PrintsTheResultOfEveryReceiveThatDoesNotThrow)
{
    ASSERT_EQ(set(at), accepted);
    connect();
    const struct {
        long timeout;
        int result;
        const char* printed;
        Lines calls;
    } rows[] = {
        {-2, -1, "invalid input\n", {}},
        {0, -1, "receive: timeout\n", missed("s1")},
        {5000, 0, "nothing to received\n", joined({missed("s1"), {"zmq_poll(s1, 1, 0)"}})},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.timeout);
        const std::string result = std::to_string(row.result);
        const std::string printed = row.printed + resultLine(row.result);
        EXPECT_EQ(receiveText(row.timeout), (Outcome{result, printed, {}, row.calls}));
        EXPECT_EQ(receiveBinary(row.timeout),
                  (Outcome{result, (row.calls.empty() ? "" : attempt) + printed, {}, row.calls}));
    }
}

TEST_F(DealerClientPattern, LeavesMessagesThatAreNoneToTheTransport)
{
    ASSERT_EQ(set(at), accepted);
    // Connecting comes first.
    EXPECT_EQ(watch([&] { return pattern.send(static_cast<IpcMsg*>(nullptr)); }),
              (Outcome{"-1", identityLine(name) + sendLine, {}, connectingTo(at)}));
    EXPECT_EQ(watch([&] { return pattern.send(static_cast<StringMsg*>(nullptr)); }), ignored);
    EXPECT_EQ(send(Frames()), (Outcome{"-1", "nothing to send - return\n", {}, {}}));
    const Outcome none = {"-1", "invalid input\n" + resultLine(-1), {}, {}};
    EXPECT_EQ(watch([&] { return pattern.receive(static_cast<StringMsg*>(nullptr), 0); }), none);
    EXPECT_EQ(watch([&] { return pattern.receive(static_cast<IpcMsg*>(nullptr), 0); }), none);
}

TEST_F(DealerClientPattern, ReportsEveryFailureOfReceivingWhatWaits)
{
    /// A client and a reply that waits for it.
    struct Served {
        Served(std::unique_ptr<OwnClient> made, const std::string& at, const std::string& name)
            : router(ZMQ_ROUTER), client(std::move(made))
        {
            router.bind(at);
            perform(*client, Operation::sendText);
            router.receive();
            router.send({name, header(7, 258), "a"});
        }
        RawSocket router;
        std::unique_ptr<OwnClient> client;
    };
    for (const bool asText : {true, false}) {
        SCOPED_TRACE(asText);
        throughFailures(
            loggedWith(receiving,
                       asText ? receiveFailures({{"", ""}, {"", ""}})
                              : receiveFailures({{attempt, gotHeader()}, {attempt, gotPart(1)}})),
            joined({received("s1", 0), received("s1", 0)}),
            [&](Watch& seen) {
                std::unique_ptr<Served> served;
                seen([&] { served = std::make_unique<Served>(ready(), at, name); });
                return served;
            },
            [&](Served& served) {
                return asText ? served.client->receive(&words, -1)
                              : served.client->receive(&bytes, -1);
            },
            [](Watch& seen, Served& served, std::size_t) {
                EXPECT_EQ(seen([&] { return perform(*served.client, Operation::sendText); }),
                          performed(Operation::sendText));
            });
    }
}

TEST_F(DealerClientPattern, TalksToARouterByteForByte)
{
    RawSocket router(ZMQ_ROUTER);
    router.bind(at);
    ASSERT_EQ(set(at), accepted);
    const std::string all("\0\xff\n*", 4);

    EXPECT_EQ(send({"a", "", all}).result, "3");
    EXPECT_EQ(router.receive(), (Frames{name, "a", "", all}));
    EXPECT_EQ(send(7, 258, {"abc", "", all}).result, "3");
    EXPECT_EQ(router.receive(), (Frames{name, header(7, 258), "abc", "", all}));
    EXPECT_EQ(send(-1, 0, {"x"}).result, "1");
    EXPECT_EQ(router.receive(), (Frames{name, header(-1, 0), "x"}));

    router.send({name, "b", "", "cd"});
    EXPECT_EQ(receiveText(-1),
              (Outcome{"3",
                       resultLine(3),
                       {},
                       joined({received("s1", 0), received("s1", 0), received("s1", 0)})}));
    EXPECT_EQ(partsOf(words), (Frames{"b", "", "cd"}));

    IpcMsg* const caller = &bytes;
    bytes = binary(1, 2, {"kept"});
    router.send({name, header(8, 258), all, ""});
    EXPECT_EQ(watch([&] { return pattern.receive(caller, -1); }),
              (Outcome{"3",
                       attempt + gotHeader() + attempt + gotPart(4) + attempt + gotPart(0) +
                           resultLine(3),
                       {},
                       joined({received("s1", 0), received("s1", 0), received("s1", 0)})}));
    EXPECT_EQ(caller, &bytes);
    EXPECT_EQ(partsOf(bytes), (Frames{"kept", all, ""}));
    EXPECT_EQ(bytes.getMsgType(), 8);
    EXPECT_EQ(bytes.getMsgSubType(), 2);
}

TEST_F(DealerClientPattern, SendsSeveralMessagesAndTakesTheRepliesInAnyOrder)
{
    RawSocket router(ZMQ_ROUTER);
    router.bind(at);
    ASSERT_EQ(set(at), accepted);
    for (const std::string part : {"1", "2", "3", "4"}) {
        ASSERT_EQ(send({part}).result, "1");
    }
    for (const std::string part : {"1", "2", "3", "4"}) {
        EXPECT_EQ(router.receive(), (Frames{name, part}));
    }
    for (const std::string part : {"3", "1", "4", "2"}) {
        router.send({name, part, "answered"});
    }
    for (const std::string part : {"3", "1", "4", "2"}) {
        EXPECT_EQ(receiveText(-1).result, "2");
        EXPECT_EQ(partsOf(words), (Frames{part, "answered"}));
    }
    // A reply that nobody asked for comes too.
    router.send({name, "5"});
    EXPECT_EQ(receiveText(-1).result, "1");
    EXPECT_EQ(partsOf(words), (Frames{"5"}));
}

TEST_F(DealerClientPattern, SharesItsNameWithAnotherClientOfTheSameSecond)
{
    RandSpy unsteered;
    unsteered.setTime(1700000000);
    RawSocket router(ZMQ_ROUTER);
    // So that the younger of two peers with one identity takes the place of the older.
    router.setOption(ZMQ_ROUTER_HANDOVER, 1);
    router.bind(at);
    const auto older = ready();
    const auto younger = ready();

    const Outcome olderSent = watch([&] { return perform(*older, Operation::sendText); });
    const Frames fromOlder = router.receive();
    const Outcome youngerSent = watch([&] { return perform(*younger, Operation::sendText); });
    const Frames fromYounger = router.receive();
    EXPECT_EQ(olderSent.printed, youngerSent.printed);
    ASSERT_EQ(fromOlder.size(), 2U);
    EXPECT_EQ(identityLine(fromOlder[0]), olderSent.printed);
    EXPECT_EQ(fromOlder, fromYounger);

    unsteered.setTime(1700000001);
    const auto later = ready();
    const Outcome laterSent = watch([&] { return perform(*later, Operation::sendText); });
    EXPECT_NE(laterSent.printed, olderSent.printed);
    EXPECT_EQ(identityLine(router.receive()[0]), laterSent.printed);

    // Only one of the two hears the reply.
    router.send({fromOlder[0], "reply"});
    watch([&] { return younger->receive(&words, -1); });
    EXPECT_EQ(partsOf(words), Frames{"reply"});
    EXPECT_EQ(watch([&] { return older->receive(&words, 0); }).result, "-1");
}

TEST_F(DealerClientPattern, IsAtOddsWithTheBrokerOnceTheProcessFramesIdentities)
{
    ZMQWrapper::getInstance()->enableIdentity();
    RawSocket router(ZMQ_ROUTER);
    router.bind(at);
    ASSERT_EQ(set(at), accepted);

    EXPECT_EQ(send(7, 258, {"first", "second"}).result, "2");
    EXPECT_EQ(router.receive(), (Frames{name, "first", header(7, 258), "second"}));

    // A single part goes out alone, and the header is left waiting for the next message.
    EXPECT_EQ(send(7, 258, {"only"}).result, "1");
    EXPECT_EQ(router.receive(), (Frames{name, "only"}));
    EXPECT_EQ(send({"text"}).result, "1");
    EXPECT_EQ(router.receive(), (Frames{name, header(7, 258), "text"}));

    // What the broker delivers begins with the header.
    router.send({name, header(7, 258), "abc"});
    EXPECT_EQ(receiveBinary(-1).printed,
              attempt + gotIdentity(8) + attempt + gotNoHeader(3) + resultLine(1));
    EXPECT_EQ(partsOf(bytes), Frames{header(7, 258)});
    EXPECT_EQ(bytes.getMsgType(), 0);

    // Text messages are as ever.
    EXPECT_EQ(send({"a", "b"}).result, "2");
    EXPECT_EQ(router.receive(), (Frames{name, "a", "b"}));
    router.send({name, "c", "d"});
    EXPECT_EQ(receiveText(-1).printed, resultLine(2));
    EXPECT_EQ(partsOf(words), (Frames{"c", "d"}));
}
