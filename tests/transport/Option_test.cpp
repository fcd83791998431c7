// Socket options: what ZeroMQ is told, and what the wrapper remembers of it.

#include "Transport.h"

#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>

using ostrel::OPT_IDENTITY;
using ostrel::OPT_SUBSCRIBE;
using ostrel::OPT_UNSUBSCRIBE;
using ostrel::option_t;
using ostrel::ZMQWrapper;
using support::RawSocket;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::string_literals;
using namespace transport;

namespace {

constexpr const char* prefix = "Error : Ostrel::ZMQWrapper::setOption() : ";
constexpr const char* failureText = "Failed to set ZeroMQ Socket Option : ";

class SetOption : public testing::Test {
protected:
    SetOption() : wrapper(*ZMQWrapper::getInstance()), sockets() {}
    ~SetOption() override
    {
        for (void* socket : sockets) {
            wrapper.deleteEndpt(socket);
        }
    }

    void* create(int type)
    {
        sockets.push_back(wrapper.createEndpt(type));
        return sockets.back();
    }

    Outcome set(void* socket, option_t option, const std::string& value,
                const std::vector<Fault>& faults = {}, int failingAlloc = 0)
    {
        return observe([&] { wrapper.setOption(socket, option, value); }, faults, failingAlloc);
    }

    std::string remembered() const
    {
        return {wrapper.mIdentity, sizeof wrapper.mIdentity};
    }

    ZMQWrapper& wrapper;
    std::vector<void*> sockets;
};

/// `bytes` as 64 of them.
std::string padded(std::string bytes)
{
    bytes.resize(64);
    return bytes;
}

void expectRefused(const Outcome& outcome, const std::string& error)
{
    EXPECT_EQ(outcome.end, "std::runtime_error: " + (failureText + error));
    EXPECT_THAT(outcome.lines, ElementsAre(prefix + (failureText + error)));
    EXPECT_EQ(outcome.printed, "");
}

const std::map<option_t, int> initialOptions = {
    {OPT_SUBSCRIBE, 6}, {OPT_UNSUBSCRIBE, 7}, {OPT_IDENTITY, 5}};

} // namespace

TEST_F(SetOption, HasTheNumbersOfItsOptions)
{
    EXPECT_EQ(OPT_SUBSCRIBE, 0);
    EXPECT_EQ(OPT_UNSUBSCRIBE, 1);
    EXPECT_EQ(OPT_IDENTITY, 2);
}

TEST_F(SetOption, HandsTheBytesToZeroMqAsTheyAre)
{
    struct Case {
        int type;
        option_t option;
        std::string value;
        const char* call;
    };
    const Case cases[] = {
        {ZMQ_SUB, OPT_SUBSCRIBE, "", R"(zmq_setsockopt(s1, 6, ""))"},
        {ZMQ_SUB, OPT_SUBSCRIBE, "ab", R"(zmq_setsockopt(s1, 6, "ab"))"},
        {ZMQ_SUB, OPT_SUBSCRIBE, "12", R"(zmq_setsockopt(s1, 6, "12"))"},
        {ZMQ_SUB, OPT_SUBSCRIBE, "a\0b"s, R"(zmq_setsockopt(s1, 6, "a\x00b"))"},
        {ZMQ_SUB, OPT_UNSUBSCRIBE, "ab", R"(zmq_setsockopt(s1, 7, "ab"))"},
        {ZMQ_SUB, OPT_UNSUBSCRIBE, "", R"(zmq_setsockopt(s1, 7, ""))"},
        {ZMQ_DEALER, OPT_IDENTITY, "me", R"(zmq_setsockopt(s1, 5, "me"))"},
        {ZMQ_DEALER, OPT_IDENTITY, "m\0e\0"s, R"(zmq_setsockopt(s1, 5, "m\x00e\x00"))"},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.call);
        void* socket = create(expected.type);
        if (expected.option == OPT_UNSUBSCRIBE) {
            wrapper.setOption(socket, OPT_SUBSCRIBE, expected.value);
        }
        const Outcome outcome = set(socket, expected.option, expected.value);
        EXPECT_EQ(outcome.end, "returned");
        EXPECT_THAT(outcome.calls, ElementsAre(expected.call));
        EXPECT_THAT(outcome.lines, IsEmpty());
        EXPECT_EQ(outcome.printed, "");
    }
    EXPECT_EQ(wrapper.mOptionMap, initialOptions);
}

TEST_F(SetOption, SubscribesAndUnsubscribes)
{
    const support::IpcEndpoint ipc;
    for (const std::string& endpoint : {ipc.text(), std::string("tcp://127.0.0.1:*")}) {
        SCOPED_TRACE(endpoint);
        RawSocket publisher(ZMQ_XPUB);
        void* socket = create(ZMQ_SUB);
        wrapper.registerReceiver(socket, publisher.bind(endpoint));

        wrapper.setOption(socket, OPT_SUBSCRIBE, "tea");
        EXPECT_THAT(publisher.receive(), ElementsAre("\1tea"));
        publisher.send({"coffee"});
        publisher.send({"teapot"});
        EXPECT_THAT(readFrames(socket), ElementsAre("teapot"));

        wrapper.setOption(socket, OPT_SUBSCRIBE, "");
        EXPECT_THAT(publisher.receive(), ElementsAre("\1"));
        publisher.send({"coffee"});
        EXPECT_THAT(readFrames(socket), ElementsAre("coffee"));

        wrapper.setOption(socket, OPT_UNSUBSCRIBE, "");
        EXPECT_THAT(publisher.receive(), ElementsAre("\0"s));
        publisher.send({"coffee"});
        publisher.send({"tea"});
        EXPECT_THAT(readFrames(socket), ElementsAre("tea"));
    }
}

TEST_F(SetOption, GivesTheSocketItsWholeIdentityAndRemembersTheText)
{
    struct Case {
        std::string identity;
        std::string remembered;
    };
    const std::string sixtyThree(63, 'c');
    const std::string sixtyFour(64, 'd');
    const std::string sixtyFive(65, 'e');
    const Case cases[] = {
        {"first", padded("first")},
        {sixtyFour, sixtyFour}, // No room for a terminator.
        {"short", padded("short")},
        {sixtyThree, padded(sixtyThree)},
        {sixtyFive, std::string(64, 'e')},
        {std::string(70, 'f') + "!", std::string(64, 'f')},
        {"ab\0cd"s, padded("ab")},
        {"\0ab"s, padded("")},
        {std::string(255, 'g'), std::string(64, 'g')},
        {"x", padded("x")},
    };
    RawSocket router(ZMQ_ROUTER);
    const std::string endpoint = router.bind("tcp://127.0.0.1:*");
    for (const Case& expected : cases) {
        void* socket = create(ZMQ_DEALER);
        EXPECT_EQ(set(socket, OPT_IDENTITY, expected.identity).end, "returned");
        EXPECT_EQ(remembered(), expected.remembered);
        wrapper.registerReceiver(socket, endpoint);
        ostrel::StringMsg msg = text({"hello"});
        wrapper.send(socket, &msg);
        EXPECT_THAT(router.receive(), ElementsAre(expected.identity, "hello"));
        EXPECT_EQ(remembered(), expected.remembered);
    }
}

TEST_F(SetOption, RemembersNothingOfAnIdentityThatIsRefused)
{
    void* socket = create(ZMQ_DEALER);
    expectRefused(set(socket, OPT_IDENTITY, ""), "Invalid argument");
    EXPECT_EQ(remembered(), padded(""));
    wrapper.setOption(socket, OPT_IDENTITY, "good");

    expectRefused(set(socket, OPT_IDENTITY, ""), "Invalid argument");
    EXPECT_EQ(remembered(), padded("good"));
    expectRefused(set(socket, OPT_IDENTITY, std::string(256, 'x')), "Invalid argument");
    EXPECT_EQ(remembered(), padded("good"));
    expectRefused(set(socket, OPT_IDENTITY, "other", {{"zmq_setsockopt", 1, ETERM}}),
                  "Context was terminated");
    EXPECT_EQ(remembered(), padded("good"));
}

TEST_F(SetOption, RemembersNothingOfOtherOptions)
{
    void* socket = create(ZMQ_SUB);
    wrapper.setOption(socket, OPT_SUBSCRIBE, "topic");
    wrapper.setOption(socket, OPT_UNSUBSCRIBE, "topic");
    EXPECT_EQ(remembered(), padded(""));
}

TEST_F(SetOption, ThrowsWhenZeroMqRefuses)
{
    void* dealer = create(ZMQ_DEALER);
    expectRefused(set(dealer, OPT_SUBSCRIBE, "topic"), "Invalid argument");
    expectRefused(set(nullptr, OPT_IDENTITY, "me"), "Socket operation on non-socket");
    EXPECT_EQ(remembered(), padded(""));
    for (const option_t option : {OPT_SUBSCRIBE, OPT_UNSUBSCRIBE, OPT_IDENTITY}) {
        for (const ErrorText& error : {terminated, interrupted, noMemory}) {
            const Outcome outcome =
                set(dealer, option, "value", {{"zmq_setsockopt", 1, error.error}});
            expectRefused(outcome, error.text);
            EXPECT_EQ(outcome.calls.size(), 2U);
            EXPECT_EQ(outcome.calls.back(), "zmq_strerror(" + std::to_string(error.error) + ")");
        }
    }
    EXPECT_EQ(wrapper.mOptionMap, initialOptions);
}

TEST_F(SetOption, ThrowsALogicErrorWhenARefusalHasNoText)
{
    void* socket = create(ZMQ_DEALER);
    const Outcome outcome =
        set(socket, OPT_IDENTITY, "value", {{"zmq_setsockopt", 1, EINVAL}, {"zmq_strerror", 1, 1}});
    EXPECT_EQ(outcome.end, noTextEnd);
    EXPECT_THAT(outcome.lines, ElementsAre(std::string(prefix) + noText));
    EXPECT_EQ(remembered(), padded(""));
}

TEST_F(SetOption, EntersAnUnknownOptionAsOneThatZeroMqRefuses)
{
    std::map<option_t, int> options = initialOptions;
    for (const int number : {3, -1, 100, 3}) {
        SCOPED_TRACE(number);
        const auto option = static_cast<option_t>(number);
        const Outcome outcome = set(create(ZMQ_SUB), option, "value");
        expectRefused(outcome, "Invalid argument");
        EXPECT_THAT(outcome.calls,
                    ElementsAre("zmq_setsockopt(s1, 0, \"value\")", "zmq_strerror(22)"));
        options[option] = 0;
        EXPECT_EQ(wrapper.mOptionMap, options);
    }
    // The known ones are as before.
    EXPECT_EQ(set(create(ZMQ_SUB), OPT_SUBSCRIBE, "x").end, "returned");
}

TEST_F(SetOption, ReportsThatThereIsNoMemoryForAnUnknownOption)
{
    void* socket = create(ZMQ_SUB);
    const Outcome outcome = set(socket, static_cast<option_t>(3), "value", {}, 1);
    EXPECT_TRUE(outcome.allocFailed);
    EXPECT_EQ(outcome.end, "std::bad_alloc: std::bad_alloc");
    EXPECT_THAT(outcome.lines, ElementsAre(std::string(prefix) + "std::bad_alloc"));
    EXPECT_THAT(outcome.calls, IsEmpty());
    EXPECT_EQ(wrapper.mOptionMap, initialOptions);
}

TEST_F(SetOption, NeedsNoMemoryForAKnownOption)
{
    void* socket = create(ZMQ_DEALER);
    const Outcome outcome = set(socket, OPT_IDENTITY, "value", {}, 1);
    EXPECT_FALSE(outcome.allocFailed);
    EXPECT_EQ(outcome.end, "returned");
}
