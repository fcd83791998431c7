// Making, connecting and closing sockets.

#include "Transport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ostrel::ZMQWrapper;
using support::RawSocket;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace transport;

namespace {

constexpr const char* createPrefix = "Error : Ostrel::ZMQWrapper::createEndpt() : ";

const ZMQWrapper& wrapper()
{
    return *ZMQWrapper::getInstance();
}

/// The keep-alive settings of a new socket, in their order.
struct KeepAlive {
    int option;
    int value;
    const char* failureText;
};

constexpr KeepAlive keepAlives[] = {
    {34, 1, "Failed to configure TCP Keepalive mode on socket : "},
    {36, 7200, "Failed to configure TCP Keepalive idle value on socket : "},
    {37, 75, "Failed to configure TCP Keepalive interval value on socket : "},
    {35, 9, "Failed to configure TCP Keepalive count on socket : "},
};

/// The calls that make a socket, up to and including its `settings`-th setting.
Lines creation(int type, std::size_t settings)
{
    Lines calls = {"zmq_socket(" + std::to_string(type) + ") = s1"};
    for (std::size_t i = 0; i < settings; ++i) {
        calls.push_back("zmq_setsockopt(s1, " + std::to_string(keepAlives[i].option) + ", " +
                        std::to_string(keepAlives[i].value) + ")");
    }
    return calls;
}

class Endpt {
public:
    explicit Endpt(int type) : socket(wrapper().createEndpt(type)) {}
    ~Endpt()
    {
        wrapper().deleteEndpt(socket);
    }
    Endpt(const Endpt&) = delete;
    Endpt& operator=(const Endpt&) = delete;

    void* const socket;
};

Outcome observeCreation(int type, const std::vector<Fault>& faults = {}, int failingAlloc = 0)
{
    return observe(
        [type] {
            void* socket = wrapper().createEndpt(type);
            ADD_FAILURE() << "made after all";
            wrapper().deleteEndpt(socket);
        },
        faults, failingAlloc);
}

} // namespace

TEST(CreateEndpt, MakesASocketOfAnyTypeWithKeepAliveAndNothingElse)
{
    for (const int type : {ZMQ_PAIR, ZMQ_PUB, ZMQ_SUB, ZMQ_REQ, ZMQ_REP, ZMQ_DEALER, ZMQ_ROUTER,
                           ZMQ_PULL, ZMQ_PUSH, ZMQ_XPUB, ZMQ_XSUB, ZMQ_STREAM}) {
        SCOPED_TRACE(type);
        wrapper();
        void* socket = nullptr;
        const Outcome outcome = observe([&] { socket = wrapper().createEndpt(type); });
        EXPECT_EQ(outcome.end, "returned");
        EXPECT_EQ(outcome.calls, creation(type, 4));
        EXPECT_THAT(outcome.lines, IsEmpty());
        EXPECT_EQ(outcome.printed, "");
        ASSERT_NE(socket, nullptr);
        EXPECT_EQ(optionOf(socket, ZMQ_TYPE), type);
        for (const KeepAlive& setting : keepAlives) {
            EXPECT_EQ(optionOf(socket, setting.option), setting.value);
        }
        wrapper().deleteEndpt(socket);
    }
}

TEST(CreateEndpt, MakesAnotherSocketEveryTime)
{
    const Endpt first(ZMQ_DEALER);
    const Endpt second(ZMQ_DEALER);
    EXPECT_NE(first.socket, second.socket);
}

TEST(CreateEndpt, RefusesATypeThatZeroMqRefuses)
{
    wrapper();
    for (const int type : {-1, 999}) {
        const Outcome outcome = observeCreation(type);
        EXPECT_EQ(outcome.end,
                  "std::runtime_error: Failed to create ZeroMQ Socket : Invalid argument");
        EXPECT_THAT(outcome.calls,
                    ElementsAre("zmq_socket(" + std::to_string(type) + ")", "zmq_strerror(22)"));
        EXPECT_THAT(outcome.lines,
                    ElementsAre(std::string(createPrefix) +
                                "Failed to create ZeroMQ Socket : Invalid argument"));
    }
}

TEST(CreateEndpt, ReportsThatThereIsNoSocketToBeHad)
{
    wrapper();
    const Outcome outcome = observeCreation(ZMQ_REQ, {{"zmq_socket", 1, EMFILE}});
    EXPECT_EQ(outcome.end,
              "std::runtime_error: Failed to create ZeroMQ Socket : Too many open files");
    EXPECT_THAT(outcome.calls, ElementsAre("zmq_socket(3) !", "zmq_strerror(24)"));
    EXPECT_THAT(outcome.lines, ElementsAre(std::string(createPrefix) +
                                           "Failed to create ZeroMQ Socket : Too many open files"));

    const Outcome textless =
        observeCreation(ZMQ_REQ, {{"zmq_socket", 1, EMFILE}, {"zmq_strerror", 1, 1}});
    EXPECT_EQ(textless.end, noTextEnd);
    EXPECT_THAT(textless.lines, ElementsAre(std::string(createPrefix) + noText));
}

TEST(CreateEndpt, ClosesTheSocketWhenOneOfItsSettingsIsRefused)
{
    wrapper();
    for (std::size_t i = 0; i < 4; ++i) {
        for (const ErrorText& error : {invalid, terminated, interrupted}) {
            SCOPED_TRACE(keepAlives[i].failureText);
            Lines calls = creation(ZMQ_REP, i + 1);
            calls.back() += " !";
            calls.emplace_back("zmq_close(s1)");
            calls.push_back("zmq_strerror(" + std::to_string(error.error) + ")");
            const std::string text = std::string(keepAlives[i].failureText) + error.text;
            const Outcome outcome = observeCreation(
                ZMQ_REP, {{"zmq_setsockopt", static_cast<int>(i) + 1, error.error}});
            EXPECT_EQ(outcome.end, "std::runtime_error: " + text);
            EXPECT_EQ(outcome.calls, calls);
            EXPECT_THAT(outcome.lines, ElementsAre(createPrefix + text));
            EXPECT_EQ(outcome.printed, "");
        }
    }
}

TEST(CreateEndpt, NamesTheRefusedSettingEvenWhenClosingFailsToo)
{
    wrapper();
    for (std::size_t i = 0; i < 4; ++i) {
        const std::string text = std::string(keepAlives[i].failureText) + invalid.text;
        const Outcome outcome =
            observeCreation(ZMQ_SUB, {{"zmq_setsockopt", static_cast<int>(i) + 1, EINVAL},
                                      {"zmq_close", 1, ENOTSOCK}});
        EXPECT_EQ(outcome.end, "std::runtime_error: " + text);
        EXPECT_EQ(countGood(outcome.calls, "zmq_setsockopt"), static_cast<int>(i));
        EXPECT_THAT(outcome.calls, testing::Contains("zmq_close(s1) !").Times(1));
        EXPECT_THAT(outcome.lines, ElementsAre(createPrefix + text));
    }
}

TEST(CreateEndpt, ThrowsALogicErrorWhenARefusalHasNoText)
{
    wrapper();
    for (int i = 1; i <= 4; ++i) {
        const Outcome outcome =
            observeCreation(ZMQ_REP, {{"zmq_setsockopt", i, EINVAL}, {"zmq_strerror", 1, 1}});
        EXPECT_EQ(outcome.end, noTextEnd);
        EXPECT_EQ(countGood(outcome.calls, "zmq_close"), 1);
        EXPECT_THAT(outcome.lines, ElementsAre(std::string(createPrefix) + noText));
    }
}

TEST(CreateEndpt, ClosesTheSocketAlsoWhenThereIsNoMemoryToReportItsRefusal)
{
    wrapper();
    const std::string text = std::string(keepAlives[1].failureText) + invalid.text;
    int nth = 1;
    for (; nth < 100; ++nth) {
        SCOPED_TRACE(nth);
        const Outcome outcome = observeCreation(ZMQ_REP, {{"zmq_setsockopt", 2, EINVAL}}, nth);
        EXPECT_EQ(countGood(outcome.calls, "zmq_close"), 1);
        if (!outcome.allocFailed) {
            break;
        }
        EXPECT_THAT(outcome.end,
                    AnyOf("std::runtime_error: " + text, "std::bad_alloc: std::bad_alloc"));
        if (!outcome.lines.empty() || outcome.end == "std::bad_alloc: std::bad_alloc") {
            EXPECT_THAT(outcome.lines, ElementsAre(lineFor(createPrefix, outcome)));
        }
    }
    EXPECT_GT(nth, 1);
    EXPECT_LT(nth, 100);
}

TEST(DeleteEndpt, TurnsLingeringOffAndCloses)
{
    void* socket = wrapper().createEndpt(ZMQ_DEALER);
    const Outcome outcome = observe([&] { wrapper().deleteEndpt(socket); });
    EXPECT_EQ(outcome.end, "returned");
    EXPECT_THAT(outcome.calls, ElementsAre("zmq_setsockopt(s1, 17, 0)", "zmq_close(s1)"));
    EXPECT_THAT(outcome.lines, IsEmpty());
    EXPECT_EQ(outcome.printed, "");
}

TEST(DeleteEndpt, IgnoresNull)
{
    wrapper();
    const Outcome outcome = observe([] { wrapper().deleteEndpt(nullptr); });
    EXPECT_EQ(outcome.end, "returned");
    EXPECT_THAT(outcome.calls, IsEmpty());
    EXPECT_THAT(outcome.lines, IsEmpty());
    EXPECT_EQ(outcome.printed, "");
}

TEST(DeleteEndpt, LogsItsFailuresAndGoesOn)
{
    const std::string lingerText = "Failed to set ZeroMQ Socket Linger Period : ";
    const std::string closeText = "Failed to close ZeroMQ Socket : ";
    struct Case {
        std::vector<Fault> faults;
        Lines calls;
        Lines lines;
    };
    const Fault linger = {"zmq_setsockopt", 1, EINVAL};
    const Fault close = {"zmq_close", 1, ENOTSOCK};
    const Case cases[] = {
        {{linger},
         {"zmq_setsockopt(s1, 17, 0) !", "zmq_strerror(22)", "zmq_close(s1)"},
         {lingerText + "Invalid argument"}},
        {{close},
         {"zmq_setsockopt(s1, 17, 0)", "zmq_close(s1) !", "zmq_strerror(88)"},
         {closeText + "Socket operation on non-socket"}},
        {{linger, close},
         {"zmq_setsockopt(s1, 17, 0) !", "zmq_strerror(22)", "zmq_close(s1) !", "zmq_strerror(88)"},
         {lingerText + "Invalid argument", closeText + "Socket operation on non-socket"}},
        // ZeroMQ without a text must not keep the socket from being closed, nor throw.
        {{linger, {"zmq_strerror", 1, 1}},
         {"zmq_setsockopt(s1, 17, 0) !", "zmq_strerror(22) !", "zmq_close(s1)"},
         {lingerText}},
        {{close, {"zmq_strerror", 1, 1}},
         {"zmq_setsockopt(s1, 17, 0)", "zmq_close(s1) !", "zmq_strerror(88) !"},
         {closeText}},
        {{linger, close, {"zmq_strerror", 1, 1}, {"zmq_strerror", 2, 1}},
         {"zmq_setsockopt(s1, 17, 0) !", "zmq_strerror(22) !", "zmq_close(s1) !",
          "zmq_strerror(88) !"},
         {lingerText, closeText}},
    };
    for (const Case& expected : cases) {
        void* socket = wrapper().createEndpt(ZMQ_DEALER);
        const Outcome outcome = observe([&] { wrapper().deleteEndpt(socket); }, expected.faults);
        EXPECT_EQ(outcome.end, "returned");
        EXPECT_EQ(outcome.calls, expected.calls);
        EXPECT_EQ(outcome.lines, expected.lines);
        EXPECT_EQ(outcome.printed, "");
    }
}

TEST(DeleteEndpt, NeverThrowsForWantOfMemory)
{
    int nth = 1;
    for (; nth < 100; ++nth) {
        SCOPED_TRACE(nth);
        void* socket = wrapper().createEndpt(ZMQ_DEALER);
        const Outcome outcome =
            observe([&] { wrapper().deleteEndpt(socket); },
                    {{"zmq_setsockopt", 1, EINVAL}, {"zmq_close", 1, EINTR}}, nth);
        EXPECT_EQ(outcome.end, "returned");
        EXPECT_THAT(outcome.calls, testing::Contains("zmq_close(s1) !").Times(1));
        // The line that there was no memory for is missing, the other one is there.
        EXPECT_EQ(outcome.lines.size(), outcome.allocFailed ? 1U : 2U);
        if (!outcome.allocFailed) {
            break;
        }
    }
    EXPECT_GT(nth, 1);
    EXPECT_LT(nth, 100);
}

TEST(DeleteEndpt, LogsAHandleThatIsNoSocketAnyMore)
{
    void* socket = wrapper().createEndpt(ZMQ_DEALER);
    wrapper().deleteEndpt(socket);
    const Outcome outcome = observe([&] { wrapper().deleteEndpt(socket); });
    EXPECT_EQ(outcome.end, "returned");
    EXPECT_THAT(outcome.lines, ElementsAre("Failed to set ZeroMQ Socket Linger Period : "
                                           "Socket operation on non-socket",
                                           "Failed to close ZeroMQ Socket : "
                                           "Socket operation on non-socket"));
}

namespace {

/// Binding and connecting differ in names only.
struct Registration {
    const char* name;
    void (ZMQWrapper::*operation)(void*, const std::string&) const;
    const char* function;
    const char* text;
    const char* prefix;
};

const Registration registrations[] = {
    {"registerSender", &ZMQWrapper::registerSender, "zmq_bind",
     "Failed to bind ZeroMQ Socket : ", "Error : Ostrel::ZMQWrapper::registerSender() : "},
    {"registerReceiver", &ZMQWrapper::registerReceiver, "zmq_connect",
     "Failed to connect ZeroMQ Socket : ", "Error : Ostrel::ZMQWrapper::registerReceiver() : "},
};

} // namespace

TEST(Registration, HandsTheEndpointToZeroMqAsItIs)
{
    for (const Registration& registration : registrations) {
        for (const int type : {ZMQ_PUB, ZMQ_SUB, ZMQ_REQ, ZMQ_REP, ZMQ_DEALER, ZMQ_ROUTER}) {
            SCOPED_TRACE(registration.name);
            const support::IpcEndpoint ipc;
            const Endpt endpt(type);
            const Outcome outcome =
                observe([&] { (wrapper().*registration.operation)(endpt.socket, ipc.text()); });
            EXPECT_EQ(outcome.end, "returned");
            EXPECT_THAT(outcome.calls, ElementsAre(std::string(registration.function) + "(s1, \"" +
                                                   ipc.text() + "\")"));
            EXPECT_THAT(outcome.lines, IsEmpty());
            EXPECT_EQ(outcome.printed, "");
        }
    }
}

TEST(Registration, ThrowsWithTheEndpointWhenZeroMqRefuses)
{
    for (const Registration& registration : registrations) {
        for (const ErrorText& error : {invalid, notASocket, terminated, interrupted, noMemory}) {
            SCOPED_TRACE(registration.name);
            const Endpt endpt(ZMQ_DEALER);
            const support::IpcEndpoint ipc;
            const std::string text =
                std::string(registration.text) + error.text + " : End Point : " + ipc.text();
            const Outcome outcome =
                observe([&] { (wrapper().*registration.operation)(endpt.socket, ipc.text()); },
                        {{registration.function, 1, error.error}});
            EXPECT_EQ(outcome.end, "std::runtime_error: " + text);
            EXPECT_THAT(
                outcome.calls,
                ElementsAre(std::string(registration.function) + "(s1, \"" + ipc.text() + "\") !",
                            "zmq_strerror(" + std::to_string(error.error) + ")"));
            EXPECT_THAT(outcome.lines, ElementsAre(registration.prefix + text));
            EXPECT_EQ(outcome.printed, "");

            // The socket is as good as before.
            const Outcome again =
                observe([&] { (wrapper().*registration.operation)(endpt.socket, ipc.text()); });
            EXPECT_EQ(again.end, "returned");
        }
    }
}

TEST(Registration, ThrowsWhatZeroMqItselfSays)
{
    struct Case {
        const char* endpoint;
        const char* error;
    };
    const Case cases[] = {
        {"", "Invalid argument"},
        {"no endpoint", "Invalid argument"},
        {"tcp://127.0.0.1", "Invalid argument"},
        {"pigeon://roof", "Protocol not supported"},
        {"100%s%n", "Invalid argument"},
    };
    for (const Registration& registration : registrations) {
        for (const Case& refused : cases) {
            const Endpt endpt(ZMQ_DEALER);
            const std::string text = std::string(registration.text) + refused.error +
                                     " : End Point : " + refused.endpoint;
            const Outcome outcome = observe(
                [&] { (wrapper().*registration.operation)(endpt.socket, refused.endpoint); });
            EXPECT_EQ(outcome.end, "std::runtime_error: " + text);
            EXPECT_THAT(outcome.lines, ElementsAre(registration.prefix + text));
        }
        wrapper();
        const Outcome noSocket =
            observe([&] { (wrapper().*registration.operation)(nullptr, "tcp://127.0.0.1:1"); });
        EXPECT_EQ(noSocket.end, "std::runtime_error: " + std::string(registration.text) +
                                    "Socket operation on non-socket : End Point : "
                                    "tcp://127.0.0.1:1");
    }
}

TEST(Registration, ThrowsALogicErrorWhenARefusalHasNoText)
{
    for (const Registration& registration : registrations) {
        const Endpt endpt(ZMQ_DEALER);
        const Outcome outcome =
            observe([&] { (wrapper().*registration.operation)(endpt.socket, "tcp://127.0.0.1:1"); },
                    {{registration.function, 1, EINVAL}, {"zmq_strerror", 1, 1}});
        EXPECT_EQ(outcome.end, noTextEnd);
        EXPECT_THAT(outcome.lines, ElementsAre(std::string(registration.prefix) + noText));
    }
}

TEST(Registration, ReportsRunningOutOfMemoryWhileItReportsARefusal)
{
    for (const Registration& registration : registrations) {
        SCOPED_TRACE(registration.name);
        const Endpt endpt(ZMQ_DEALER);
        const std::string endpoint = "an endpoint that has no protocol in front of it";
        const std::string text =
            std::string(registration.text) + invalid.text + " : End Point : " + endpoint;
        int nth = 1;
        for (; nth < 100; ++nth) {
            const Outcome outcome = observe(
                [&] { (wrapper().*registration.operation)(endpt.socket, endpoint); }, {}, nth);
            if (!outcome.allocFailed) {
                break;
            }
            EXPECT_THAT(outcome.end,
                        AnyOf("std::runtime_error: " + text, "std::bad_alloc: std::bad_alloc"));
            if (!outcome.lines.empty() || outcome.end == "std::bad_alloc: std::bad_alloc") {
                EXPECT_THAT(outcome.lines, ElementsAre(lineFor(registration.prefix, outcome)));
            }
        }
        EXPECT_GT(nth, 1);
        EXPECT_LT(nth, 100);
    }
}

TEST(RegisterSender, TellsThatAnEndpointIsInUse)
{
    const Endpt first(ZMQ_DEALER);
    wrapper().registerSender(first.socket, "tcp://127.0.0.1:*");
    const std::string endpoint = boundEndpointOf(first.socket);

    const Endpt second(ZMQ_REP);
    const std::string text =
        "Failed to bind ZeroMQ Socket : Address already in use : End Point : " + endpoint;
    const Outcome outcome = observe([&] { wrapper().registerSender(second.socket, endpoint); });
    EXPECT_EQ(outcome.end, "std::runtime_error: " + text);
    EXPECT_THAT(outcome.lines,
                ElementsAre("Error : Ostrel::ZMQWrapper::registerSender() : " + text));

    // Elsewhere the socket can still be bound.
    EXPECT_EQ(observe([&] { wrapper().registerSender(second.socket, "tcp://127.0.0.1:*"); }).end,
              "returned");
}

TEST(RegisterSender, LetsOthersConnect)
{
    const support::IpcEndpoint ipc;
    for (const std::string& endpoint : {ipc.text(), std::string("tcp://127.0.0.1:*")}) {
        SCOPED_TRACE(endpoint);
        const Endpt endpt(ZMQ_ROUTER);
        wrapper().registerSender(endpt.socket, endpoint);
        RawSocket peer(ZMQ_DEALER);
        peer.setOption(ZMQ_ROUTING_ID, "peer");
        peer.connect(boundEndpointOf(endpt.socket));
        peer.send({"hello"});
        EXPECT_THAT(readFrames(endpt.socket), ElementsAre("peer", "hello"));
    }
}

TEST(RegisterReceiver, ConnectsBeforeAnyoneIsThere)
{
    const support::IpcEndpoint ipc;
    const Endpt endpt(ZMQ_DEALER);
    wrapper().registerReceiver(endpt.socket, ipc.text());
    ostrel::StringMsg msg = text({"early"});
    EXPECT_EQ(wrapper().send(endpt.socket, &msg), 1);
    RawSocket peer(ZMQ_DEALER);
    peer.bind(ipc.text());
    EXPECT_THAT(peer.receive(), ElementsAre("early"));
}
