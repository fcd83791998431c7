#include "channel/FakePattern.h"
#include "ostrel/MsgReplyPattern.h"
#include "ostrel/MsgReplyServerChannel.h"
#include "ostrel/MsgRequestClientChannel.h"
#include "ostrel/MsgRequestPattern.h"
#include "pattern/Messages.h"
#include "support/AllocFault.h"
#include "support/Endpoint.h"
#include "support/RawSocket.h"
#include "support/Stdout.h"
#include "support/SyslogSpy.h"
#include "support/Thrown.h"
#include "support/ZmqSpy.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <thread>
#include <type_traits>
#include <zmq.h>

using ostrel::IpcMsg;
using ostrel::PROP_SERVER_ENDPOINT;
using ostrel::StringMsg;
using support::AllocFault;
using support::binaryOf;
using support::FakePattern;
using support::Frames;
using support::headerOf;
using support::IpcEndpoint;
using support::partsOf;
using support::RawSocket;
using support::Stdout;
using support::SyslogSpy;
using support::textOf;
using support::thrownBy;
using support::ZmqSpy;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A channel whose state can be looked at and whose pattern can be replaced.
template <typename Channel> class Opened : public Channel {
public:
    using Channel::Channel;

    FakePattern* fake(std::vector<std::string>& calls)
    {
        delete this->pvthandle;
        auto* pattern = new FakePattern(calls);
        this->pvthandle = pattern;
        return pattern;
    }

    using Channel::mChannelName;
    using Channel::mChannelType;
    using Channel::pvthandle;
};

/// A channel and its peer without the library.
struct Client {
    using Channel = Opened<ostrel::MsgRequestClientChannel>;
    using Pattern = ostrel::MsgRequestPattern;
    static constexpr const char* name = "Client";
    static constexpr const char* setPrefix = "Error : Ostrel::MsgRequestPattern::setProperty() : ";

    Client() : channel("name"), peer(ZMQ_REP)
    {
        peer.bind(endpoint.text());
        channel.setServerEndPoint(endpoint.text());
    }

    /// From here the channel may send.
    void letSend() {}

    /// From here the channel may receive, and `frames` are on their way.
    void letReceive(const Frames& frames)
    {
        char question[] = "?";
        channel.ipcSend(0, question, 1);
        peer.receive();
        peer.send(frames);
    }

    IpcEndpoint endpoint;
    Channel channel;
    RawSocket peer;
};

struct Server {
    using Channel = Opened<ostrel::MsgReplyServerChannel>;
    using Pattern = ostrel::MsgReplyPattern;
    static constexpr const char* name = "Server";
    static constexpr const char* setPrefix = "Error : Ostrel::MsgReplyPattern::setProperty() : ";

    Server() : channel("name"), peer(ZMQ_REQ)
    {
        channel.setServerEndPoint(endpoint.text());
        peer.connect(endpoint.text());
    }

    void letSend()
    {
        peer.send({"any"});
        StringMsg msg(0);
        std::string topic;
        channel.receive(topic, &msg, -1);
    }

    void letReceive(const Frames& frames)
    {
        peer.send(frames);
    }

    IpcEndpoint endpoint;
    Channel channel;
    RawSocket peer;
};

using Sides = testing::Types<Client, Server>;

class SideName {
public:
    template <typename Side> static std::string GetName(int /*index*/)
    {
        return Side::name;
    }
};

template <typename Side> class RequestReplyChannel : public testing::Test {
protected:
    void expectSilence()
    {
        EXPECT_EQ(mOut.take(), "");
        EXPECT_THAT(mLog.takeCalls(), IsEmpty());
    }

    Stdout mOut;
    SyslogSpy mLog;
};

const std::string reason = std::strerror(EMFILE);

} // namespace

TYPED_TEST_SUITE(RequestReplyChannel, Sides, SideName);

TYPED_TEST(RequestReplyChannel, StartsWithItsNameItsFamilyAndItsPattern)
{
    ZmqSpy zmq;
    typename TypeParam::Channel channel("name");
    EXPECT_EQ(channel.mChannelName, "name");
    EXPECT_EQ(channel.getChannelName(), "name");
    EXPECT_EQ(channel.mChannelType, 0);
    EXPECT_NE(dynamic_cast<typename TypeParam::Pattern*>(channel.pvthandle), nullptr);
    EXPECT_THAT(zmq.takeCalls(), ElementsAre("zmq_ctx_new()", "zmq_ctx_set(1, 1)"));
    this->expectSilence();
}

TYPED_TEST(RequestReplyChannel, GivesACopyOfItsName)
{
    std::string name = "name";
    typename TypeParam::Channel channel(name);
    name = "changed";
    ostrel::MsgChannel& base = channel;
    std::string read = base.getChannelName();
    EXPECT_EQ(read, "name");
    read = "changed";
    EXPECT_EQ(base.getChannelName(), "name");
}

TYPED_TEST(RequestReplyChannel, CannotBeMadeWithoutAName)
{
    EXPECT_EQ(thrownBy([] { const typename TypeParam::Channel channel(""); }),
              "std::logic_error: Invalid Channel name specified");
    EXPECT_THAT(this->mLog.takeLines(), ElementsAre("Error : Ostrel::MsgPattern::MsgPattern() : "
                                                    "Invalid Channel name specified"));
    EXPECT_EQ(this->mOut.take(), "");
}

TYPED_TEST(RequestReplyChannel, CannotBeMadeWithoutTheTransport)
{
    ZmqSpy zmq;
    zmq.fail("zmq_ctx_new", 1, EMFILE);
    EXPECT_EQ(thrownBy([] { const typename TypeParam::Channel channel("name"); }),
              "std::runtime_error: Failed to create ZeroMQ Context");
    EXPECT_THAT(this->mLog.takeLines(), ElementsAre("Error : Ostrel::ZMQWrapper::ZMQWrapper() : "
                                                    "Failed to create ZeroMQ Context",
                                                    "Error : Ostrel::MsgPattern::MsgPattern() : "
                                                    "Failed to create ZeroMQ Context"));
    EXPECT_EQ(this->mOut.take(), "");
}

TYPED_TEST(RequestReplyChannel, CannotBeMadeWithoutMemory)
{
    const std::string name(100, 'n');
    // The transport is there already: it leaves a context behind that it could not finish.
    const typename TypeParam::Channel first("first");
    bool happened = true;
    int failures = 0;
    for (int nth = 1; happened; ++nth) {
        ASSERT_LT(nth, 100);
        std::string thrown;
        {
            const AllocFault fault(nth);
            thrown = thrownBy([&] { const typename TypeParam::Channel channel(name); });
            happened = fault.happened();
        }
        EXPECT_EQ(thrown, happened ? "std::bad_alloc: std::bad_alloc" : "nothing");
        failures += happened ? 1 : 0;
    }
    EXPECT_GE(failures, 4) << "the copies of the name, the pattern";
    EXPECT_EQ(this->mOut.take(), "");
}

TYPED_TEST(RequestReplyChannel, SetsItsEndpointAsAPropertyWithoutConnecting)
{
    typename TypeParam::Channel channel("name");
    ZmqSpy zmq;
    EXPECT_EQ(channel.getProperty(PROP_SERVER_ENDPOINT), "");
    EXPECT_EQ(channel.setServerEndPoint("ipc:///a"), 0);
    EXPECT_EQ(channel.setServerEndPoint("ipc:///b"), 0);
    EXPECT_EQ(channel.getProperty(PROP_SERVER_ENDPOINT), "ipc:///b");
    const std::string longest(255, 'e');
    EXPECT_EQ(channel.setServerEndPoint(longest), 0);
    EXPECT_EQ(channel.setServerEndPoint(std::string(256, 'e')), -1);
    EXPECT_EQ(channel.setServerEndPoint(std::string(256, '*')), -1);
    EXPECT_EQ(channel.getProperty(PROP_SERVER_ENDPOINT), longest);
    EXPECT_EQ(channel.setServerEndPoint(""), 0);
    EXPECT_EQ(channel.getProperty(PROP_SERVER_ENDPOINT), "");
    EXPECT_THAT(zmq.takeCalls(), IsEmpty());
    this->expectSilence();
}

TYPED_TEST(RequestReplyChannel, RefusesAnEndpointWithAnAsterisk)
{
    typename TypeParam::Channel channel("name");
    for (const std::string& endpoint : {std::string("tcp://*:5"), std::string(255, '*')}) {
        EXPECT_EQ(thrownBy([&] { channel.setServerEndPoint(endpoint); }),
                  "std::logic_error: Invalid Endpoint : " + endpoint);
        EXPECT_THAT(this->mLog.takeLines(),
                    ElementsAre(TypeParam::setPrefix + ("Invalid Endpoint : " + endpoint)));
    }
    EXPECT_EQ(this->mOut.take(), "");
    EXPECT_EQ(channel.getProperty(PROP_SERVER_ENDPOINT), "");
}

TYPED_TEST(RequestReplyChannel, SetsItsEndpointThroughTheProperty)
{
    std::vector<std::string> calls;
    typename TypeParam::Channel channel("name");
    channel.fake(calls)->onSetProperty = [] { return 5; };
    EXPECT_EQ(channel.setServerEndPoint("here"), 5);
    EXPECT_THAT(calls, ElementsAre("setProperty(0, here)"));
}

TYPED_TEST(RequestReplyChannel, KeepsItsEndpointFromTheFirstTransferOn)
{
    using Transfer = void (*)(typename TypeParam::Channel&);
    const Transfer transfers[] = {
        [](typename TypeParam::Channel& channel) {
            char data[] = "d";
            channel.ipcSend(1, data, 1);
        },
        [](typename TypeParam::Channel& channel) {
            IpcMsg msg;
            channel.ipcReceive(&msg, 0);
        },
        [](typename TypeParam::Channel& channel) {
            StringMsg msg(1);
            channel.send("topic", &msg);
        },
        [](typename TypeParam::Channel& channel) {
            StringMsg msg(0);
            std::string topic;
            channel.receive(topic, &msg, 0);
        },
    };
    for (const Transfer& transfer : transfers) {
        const IpcEndpoint endpoint;
        typename TypeParam::Channel channel("name");
        channel.setServerEndPoint(endpoint.text());
        thrownBy([&] { transfer(channel); }); // In turn or not.
        this->mLog.takeLines();
        EXPECT_EQ(channel.setServerEndPoint("ipc:///other"), -1);
        EXPECT_EQ(channel.setServerEndPoint("*"), -1);
        EXPECT_EQ(channel.getProperty(PROP_SERVER_ENDPOINT), endpoint.text());
        EXPECT_THAT(this->mLog.takeCalls(), IsEmpty());
    }
}

TYPED_TEST(RequestReplyChannel, ClosesItsSocketWhenItIsDestroyed)
{
    ZmqSpy zmq;
    {
        const IpcEndpoint endpoint;
        typename TypeParam::Channel channel("name");
        channel.setServerEndPoint(endpoint.text());
        IpcMsg msg;
        thrownBy([&] { channel.ipcReceive(&msg, 0); });
        zmq.takeCalls();
    }
    EXPECT_THAT(zmq.takeCalls(), ElementsAre("zmq_setsockopt(s1, 17, 0)", "zmq_close(s1)"));
    {
        const typename TypeParam::Channel neverConnected("name");
    }
    EXPECT_THAT(zmq.takeCalls(), IsEmpty());
}

TYPED_TEST(RequestReplyChannel, SendsBytesAsAMessageOfOnePart)
{
    TypeParam side;
    const std::string big(100000, '\xee');
    struct Case {
        int type;
        std::string bytes;
    };
    for (const Case& c : {Case{7, "abc"}, Case{-1, std::string("\0\xff", 2)}, Case{INT_MAX, ""},
                          Case{INT_MIN, big}, Case{0, "x"}}) {
        side.letSend();
        this->mOut.take();
        std::vector<char> data(c.bytes.begin(), c.bytes.end());
        EXPECT_EQ(side.channel.ipcSend(c.type, data.data(), static_cast<int>(data.size())), 1);
        EXPECT_EQ(std::string(data.begin(), data.end()), c.bytes) << "the caller's own";
        this->expectSilence();
        const Frames frames = side.peer.receive();
        ASSERT_EQ(frames.size(), 2U);
        EXPECT_EQ(frames[0].substr(0, 4), headerOf(c.type, 0).substr(0, 4));
        EXPECT_EQ(frames[0].size(), 8U);
        EXPECT_EQ(frames[1], c.bytes);
        if (std::is_same<TypeParam, Client>::value) {
            side.peer.send({"answer"});
            StringMsg answer(0);
            std::string topic;
            EXPECT_EQ(side.channel.receive(topic, &answer, -1), 0);
        }
    }
}

TYPED_TEST(RequestReplyChannel, SendsACopyOfTheBytes)
{
    std::vector<std::string> calls;
    typename TypeParam::Channel channel("name");
    FakePattern* pattern = channel.fake(calls);
    char data[] = "bytes";
    pattern->onSendBinary = [&](IpcMsg& msg) {
        EXPECT_NE(msg.getMsgData(), data);
        data[0] = 'B';
        EXPECT_THAT(partsOf(msg), ElementsAre("byt"));
        EXPECT_EQ(msg.getMsgType(), 9);
        EXPECT_EQ(msg.getHandle(), nullptr);
        return 4;
    };
    EXPECT_EQ(channel.ipcSend(9, data, 3), 4) << "the send's result, whatever it is";
    EXPECT_STREQ(data, "Bytes");
    pattern->onSendBinary = [](IpcMsg&) { return -1; };
    EXPECT_EQ(channel.ipcSend(9, data, 3), -1);
    EXPECT_THAT(calls, ElementsAre("send binary", "send binary"));
    this->expectSilence();
}

TYPED_TEST(RequestReplyChannel, SendsAnEmptyPartForNoBytes)
{
    std::vector<std::string> calls;
    typename TypeParam::Channel channel("name");
    FakePattern* pattern = channel.fake(calls);
    for (const int size : {0, -1, INT_MIN}) {
        pattern->onSendBinary = [&](IpcMsg& msg) {
            EXPECT_EQ(msg.getNumParts(), 1);
            EXPECT_EQ(msg.getMsgData(), nullptr);
            EXPECT_EQ(msg.getMsgSize(), size);
            return 1;
        };
        char data[] = "bytes";
        EXPECT_EQ(channel.ipcSend(9, nullptr, size), 1);
        EXPECT_EQ(channel.ipcSend(9, data, size), 1);
    }
    EXPECT_EQ(calls.size(), 6U);
}

TYPED_TEST(RequestReplyChannel, SendsNothingWhenThereIsNoMemory)
{
    TypeParam side;
    side.letSend();
    char data[] = "bytes";
    bool happened = true;
    int failures = 0;
    for (int nth = 1; happened; ++nth) {
        ASSERT_LT(nth, 100);
        ZmqSpy zmq;
        std::string thrown;
        {
            const AllocFault fault(nth);
            thrown = thrownBy([&] { side.channel.ipcSend(7, data, 5); });
            happened = fault.happened();
        }
        EXPECT_STREQ(data, "bytes");
        if (happened) {
            ++failures;
            EXPECT_EQ(thrown, "std::bad_alloc: std::bad_alloc");
            EXPECT_THAT(zmq.takeCalls(), IsEmpty());
        } else {
            EXPECT_EQ(thrown, "nothing");
        }
    }
    EXPECT_EQ(failures, 2) << "the list of parts, the bytes";
    const Frames frames = side.peer.receive();
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[1], "bytes");
    EXPECT_THAT(this->mLog.takeCalls(), IsEmpty());
}

TYPED_TEST(RequestReplyChannel, PassesOnEveryFailureOfASend)
{
    const std::map<std::string, std::string> texts = {
        {"zmq_msg_init_size", "Failed to initialize ZeroMQ messagepart : "},
        {"zmq_msg_send", "Failed to send messagepart : " + reason},
        {"zmq_msg_close", "Failed to close ZeroMQ messagepart : " + reason},
    };
    int nth = 1;
    for (;; ++nth) {
        SCOPED_TRACE(nth);
        ASSERT_LT(nth, 30);
        TypeParam side;
        side.letSend();
        if (std::is_same<TypeParam, Client>::value) {
            EXPECT_EQ(thrownBy([&] { // Connects.
                          IpcMsg msg;
                          side.channel.ipcReceive(&msg, 0);
                      }),
                      "std::runtime_error: Failed to get messagepart: "
                      "Operation cannot be accomplished in current state");
        }
        this->mLog.takeLines();
        this->mOut.take();
        ZmqSpy zmq;
        zmq.failNth(nth, EMFILE);
        char data[] = "bytes";
        const std::string thrown = thrownBy([&] { side.channel.ipcSend(7, data, 5); });
        EXPECT_STREQ(data, "bytes");
        EXPECT_EQ(this->mOut.take(), "");
        if (!zmq.failed()) {
            EXPECT_EQ(thrown, "nothing");
            EXPECT_THAT(this->mLog.takeCalls(), IsEmpty());
            break;
        }
        std::string function;
        for (const std::string& call : zmq.takeActions()) {
            function = call.back() == '!' ? call.substr(0, call.find('(')) : function;
        }
        EXPECT_EQ(thrown, "std::runtime_error: " + texts.at(function));
        EXPECT_THAT(this->mLog.takeLines(),
                    ElementsAre("Error : Ostrel::ZMQWrapper::send() : " + texts.at(function)));
    }
    EXPECT_EQ(nth, 7) << "two frames of three calls each";
}

TYPED_TEST(RequestReplyChannel, ReceivesIntoTheCallersMessage)
{
    TypeParam side;
    side.letReceive({headerOf(-7, 9), "abc", std::string("\0d", 2)});
    IpcMsg msg = binaryOf(1, 2, {"old"});
    this->mOut.take();
    EXPECT_EQ(side.channel.ipcReceive(&msg, -1), 3);
    EXPECT_THAT(partsOf(msg), ElementsAre("old", "abc", std::string("\0d", 2)));
    EXPECT_EQ(msg.getMsgType(), -7);
    EXPECT_EQ(msg.getMsgSubType(), 2);
    EXPECT_THAT(this->mLog.takeCalls(), IsEmpty());
}

TYPED_TEST(RequestReplyChannel, ChecksTheArgumentsOfAReceive)
{
    std::vector<std::string> calls;
    typename TypeParam::Channel channel("name");
    FakePattern* pattern = channel.fake(calls);
    pattern->onReceiveBinary = [](IpcMsg&) { return 6; };
    IpcMsg msg;
    EXPECT_EQ(channel.ipcReceive(nullptr, -1), -1);
    EXPECT_EQ(this->mOut.take(), "receive: invalid input\n");
    EXPECT_EQ(channel.ipcReceive(&msg, -2), -1);
    EXPECT_EQ(this->mOut.take(), "receive: invalid input\n");
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_EQ(channel.ipcReceive(&msg, 3), 6);
    EXPECT_THAT(calls, ElementsAre("receive binary 3"));
    this->expectSilence();
}

TYPED_TEST(RequestReplyChannel, SendsTextAsItsTopicAndItsParts)
{
    TypeParam side;
    side.letSend();
    this->mOut.take();
    StringMsg msg = textOf({"a", "", std::string("b\0c", 3)});
    EXPECT_EQ(side.channel.send("topic", &msg), 3);
    EXPECT_EQ(side.peer.receive(), Frames({"topic", "a", "", std::string("b\0c", 3)}));
    EXPECT_THAT(partsOf(msg), ElementsAre("a", "", std::string("b\0c", 3)));
    this->expectSilence();
}

TYPED_TEST(RequestReplyChannel, SendsTheTopicAlone)
{
    TypeParam side;
    side.letSend();
    this->mOut.take();
    StringMsg msg(0);
    const std::string longest(255, 't');
    EXPECT_EQ(side.channel.send(longest.c_str(), &msg), 0);
    EXPECT_EQ(side.peer.receive(), Frames({longest}));
    EXPECT_EQ(msg.getNumParts(), 0);
    this->expectSilence();
}

TYPED_TEST(RequestReplyChannel, ReceivesTextAndItsTopic)
{
    TypeParam side;
    side.letReceive({std::string("to\0pic", 6), "a", std::string("b\0c", 3)});
    StringMsg msg = textOf({"old"});
    std::string topic;
    EXPECT_EQ(side.channel.receive(topic, &msg, -1), 2);
    EXPECT_EQ(topic, "to");
    EXPECT_THAT(partsOf(msg), ElementsAre("a", "b"));
}

TYPED_TEST(RequestReplyChannel, ReceivesATopicAlone)
{
    TypeParam side;
    side.letReceive({"topic"});
    StringMsg msg = textOf({"old"});
    std::string topic;
    EXPECT_EQ(side.channel.receive(topic, &msg, -1), 0);
    EXPECT_EQ(topic, "topic");
    EXPECT_EQ(msg.getNumParts(), 0);
}

TYPED_TEST(RequestReplyChannel, KeepsTheTopicInAMessageThatCouldNotBeSent)
{
    TypeParam side;
    side.letSend();
    StringMsg msg = textOf({"a"});
    ZmqSpy zmq;
    zmq.fail("zmq_msg_send", 1, EMFILE);
    EXPECT_EQ(thrownBy([&] { side.channel.send("topic", &msg); }),
              "std::runtime_error: Failed to send messagepart : " + reason);
    EXPECT_THAT(this->mLog.takeLines(), ElementsAre("Error : Ostrel::ZMQWrapper::send() : "
                                                    "Failed to send messagepart : " +
                                                    reason));
    EXPECT_THAT(partsOf(msg), ElementsAre("topic", "a"));
}

TEST(RequestClientChannel, WaitsForTheAnswer)
{
    Client client;
    Stdout out;
    // The answer can be there only once the request was sent: somebody else must give it.
    std::thread peer([&] {
        EXPECT_EQ(client.peer.receive(), Frames({"topic", "question"}));
        client.peer.send({"reply topic", "answer", "more"});
        EXPECT_EQ(client.peer.receive(), Frames({headerOf(3, 4), "binary"}));
        client.peer.send({headerOf(5, 6), "answer"});
    });
    StringMsg question = textOf({"question"});
    StringMsg answer(0);
    std::string topic;
    EXPECT_EQ(client.channel.sendWaitResponse("topic", &question, topic, &answer, -1), 2);
    EXPECT_EQ(topic, "reply topic");
    EXPECT_THAT(partsOf(answer), ElementsAre("answer", "more"));
    IpcMsg request = binaryOf(3, 4, {"binary"});
    IpcMsg reply;
    EXPECT_EQ(client.channel.sendWaitResponse(&request, &reply, -1), 1);
    EXPECT_THAT(partsOf(reply), ElementsAre("answer"));
    EXPECT_EQ(reply.getMsgType(), 5);
    peer.join();
}

TEST(RequestClientChannel, DoesNotWaitForAnAnswerToATopicAlone)
{
    Client client;
    Stdout out;
    StringMsg question(0);
    StringMsg answer(0);
    std::string topic = "old";
    EXPECT_EQ(client.channel.sendWaitResponse("topic", &question, topic, &answer, -1), 0);
    EXPECT_EQ(client.peer.receive(), Frames({"topic"})) << "it was sent";
    EXPECT_EQ(topic, "old");
    EXPECT_EQ(out.take(), "") << "no receive was tried";
}

TEST(RequestClientChannel, DoesNotWaitForALimitedTime)
{
    Client client;
    Stdout out;
    IpcMsg request = binaryOf(3, 4, {"binary"});
    IpcMsg reply;
    EXPECT_EQ(client.channel.sendWaitResponse(&request, &reply, 3600000), 0);
    EXPECT_EQ(client.channel.ipcReceive(&reply, 0), -1);
    EXPECT_EQ(reply.getNumParts(), 0);
}
