#include "pattern/Messages.h"
#include "pattern/RequestReply.h"
#include "support/Stdout.h"
#include "support/SyslogSpy.h"
#include "support/Thrown.h"
#include "support/ZmqSpy.h"

#include <algorithm>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <type_traits>

using namespace requestreply;
using ostrel::IpcMsg;
using ostrel::PROP_PUBLISHER_ENDPOINT;
using ostrel::PROP_SERVER_ENDPOINT;
using ostrel::StringMsg;
using support::binaryOf;
using support::IpcEndpoint;
using support::partsOf;
using support::RawSocket;
using support::Stdout;
using support::SyslogSpy;
using support::textOf;
using support::thrownBy;
using support::ZmqSpy;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

const char in[] = "in RequestReplayMsgPattern receive\n";
const char connecting[] = "try to connect to endpoint\n";
const char receiving[] = "in the receive ...\n";
const char attempt[] = "ZMQWrapper::receive: about to receive the msg\n";

template <typename Side> class RequestReply : public testing::Test {
protected:
    /// Counts what the lazy connection asks for, and says so among the printed lines.
    class Connecting : public Side::Pattern {
    public:
        explicit Connecting(bool onToBase) : Side::Pattern("name"), connects(onToBase) {}
        void connectEndpoint() override
        {
            std::puts("mine");
            ++count;
            if (connects) {
                Side::Pattern::connectEndpoint();
            }
        }
        bool connects;
        int count = 0;
    };

    IpcEndpoint mEndpoint;
    Stdout mOut;
    SyslogSpy mLog;
    ZmqSpy mZmq;
};

} // namespace

TYPED_TEST_SUITE(RequestReply, Sides, SideName);

TYPED_TEST(RequestReply, ConnectsOnceAndSilently)
{
    typename TypeParam::Pattern pattern("name");
    pattern.setProperty(PROP_SERVER_ENDPOINT, this->mEndpoint.text());
    this->mZmq.takeCalls();
    pattern.connectEndpoint();
    EXPECT_THAT(this->mZmq.takeCalls(),
                ElementsAreArray(connectCalls<TypeParam>(this->mEndpoint.text())));
    void* socket = pattern.mpSocket;
    EXPECT_NE(socket, nullptr);
    pattern.connectEndpoint();
    EXPECT_THAT(this->mZmq.takeCalls(), IsEmpty());
    EXPECT_EQ(pattern.mpSocket, socket);
    EXPECT_EQ(this->mOut.take(), "");
    EXPECT_THAT(this->mLog.takeCalls(), IsEmpty());
}

TYPED_TEST(RequestReply, ClosesItsSocketWhenItIsDestroyed)
{
    {
        typename TypeParam::Pattern pattern("name");
        pattern.setProperty(PROP_SERVER_ENDPOINT, this->mEndpoint.text());
        pattern.connectEndpoint();
        this->mZmq.takeCalls();
    }
    EXPECT_THAT(this->mZmq.takeCalls(), ElementsAre("zmq_setsockopt(s1, 17, 0)", "zmq_close(s1)"));
    {
        const typename TypeParam::Pattern neverConnected("name");
    }
    EXPECT_THAT(this->mZmq.takeCalls(), IsEmpty());
}

TYPED_TEST(RequestReply, ConnectsAtTheFirstSendOrReceiveWithTheLastEndpointSet)
{
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        typename TypeParam::Pattern pattern("name");
        EXPECT_EQ(pattern.setProperty(PROP_SERVER_ENDPOINT, "ipc:///nowhere/a"), 0);
        EXPECT_EQ(pattern.setProperty(PROP_SERVER_ENDPOINT, this->mEndpoint.text()), 0);
        this->mZmq.takeCalls();
        // Out of turn or not, the pattern connects first.
        thrownBy([&] { operation.run(pattern); });
        std::vector<std::string> calls = this->mZmq.takeActions();
        const auto expected = connectCalls<TypeParam>(this->mEndpoint.text());
        ASSERT_GE(calls.size(), expected.size());
        calls.resize(expected.size());
        // The spy counts sockets through all of the test.
        const std::string name = calls[0].substr(calls[0].rfind('=') + 2);
        for (std::string& call : calls) {
            const auto position = call.find(name);
            call.replace(position, name.size(), "s1");
        }
        EXPECT_THAT(calls, ElementsAreArray(expected));

        void* socket = pattern.mpSocket;
        thrownBy([&] { operation.run(pattern); });
        for (const std::string& call : this->mZmq.takeActions()) {
            EXPECT_EQ(call.find("zmq_socket"), std::string::npos) << call;
            EXPECT_EQ(call.find(TypeParam::attach), std::string::npos) << call;
        }
        EXPECT_EQ(pattern.mpSocket, socket);
    }
}

TYPED_TEST(RequestReply, KeepsItsEndpointFromTheFirstSendOrReceiveOn)
{
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        typename TypeParam::Pattern pattern("name");
        pattern.setProperty(PROP_SERVER_ENDPOINT, this->mEndpoint.text());
        thrownBy([&] { operation.run(pattern); });
        this->mLog.takeLines();
        EXPECT_EQ(pattern.setProperty(PROP_SERVER_ENDPOINT, "ipc:///other"), -1);
        EXPECT_EQ(pattern.setProperty(PROP_SERVER_ENDPOINT, "*"), -1);
        EXPECT_EQ(pattern.setProperty(PROP_PUBLISHER_ENDPOINT, "x"), -1);
        EXPECT_EQ(pattern.getProperty(PROP_SERVER_ENDPOINT), this->mEndpoint.text());
        EXPECT_THAT(this->mLog.takeCalls(), IsEmpty());
    }
}

TYPED_TEST(RequestReply, ConnectsThroughTheVirtualOperation)
{
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        typename TestFixture::Connecting pattern(true);
        pattern.setProperty(PROP_SERVER_ENDPOINT, this->mEndpoint.text());
        thrownBy([&] { operation.run(pattern); });
        EXPECT_EQ(pattern.count, 1);
        EXPECT_NE(pattern.mpSocket, nullptr);
    }
    for (const Operation& operation : operations()) {
        if (operation.name == std::string("connectEndpoint")) {
            continue;
        }
        SCOPED_TRACE(operation.name);
        typename TestFixture::Connecting pattern(true);
        pattern.setProperty(PROP_SERVER_ENDPOINT, this->mEndpoint.text());
        pattern.connectEndpoint();
        thrownBy([&] { operation.run(pattern); });
        EXPECT_EQ(pattern.count, 1) << "there was a socket";
    }
}

TYPED_TEST(RequestReply, AsksForAConnectionUntilThereIsASocketAndGoesOnWithoutOne)
{
    typename TestFixture::Connecting pattern(false);
    this->mZmq.takeCalls();
    for (const Operation& operation : operations()) {
        if (operation.name == std::string("connectEndpoint")) {
            continue;
        }
        SCOPED_TRACE(operation.name);
        this->mOut.take();
        const int before = pattern.count;
        EXPECT_EQ(operation.run(pattern), -1);
        EXPECT_EQ(pattern.count, before + 1);
        EXPECT_EQ(this->mOut.take(), operation.receives ? std::string(in) + connecting + "mine\n" +
                                                              receiving + "invalid input\n"
                                                        : "mine\n");
    }
    EXPECT_THAT(this->mZmq.takeCalls(), IsEmpty());
    EXPECT_THAT(this->mLog.takeCalls(), IsEmpty());
}

TYPED_TEST(RequestReply, PassesOnWhateverTheVirtualOperationThrows)
{
    class Throwing : public TypeParam::Pattern {
    public:
        Throwing() : TypeParam::Pattern("name") {}
        void connectEndpoint() override
        {
            throw 7;
        }
    };
    Throwing pattern;
    this->mOut.take();
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        ostrel::MsgPattern& base = pattern;
        EXPECT_THROW(operation.run(base), int);
        EXPECT_EQ(this->mOut.take(), operation.receives ? std::string(in) + connecting : "");
    }
    EXPECT_THAT(this->mLog.takeCalls(), IsEmpty());
}

TYPED_TEST(RequestReply, ConnectsForANullMessageAndReturnsWhatTheTransportSays)
{
    struct Case {
        int (*run)(ostrel::MsgPattern& pattern);
        std::string printed;
        std::string printedAgain;
    };
    const std::string first = std::string(in) + connecting + receiving + "invalid input\n";
    const std::string again = std::string(in) + receiving + "invalid input\n";
    const Case cases[] = {
        {[](ostrel::MsgPattern& p) { return p.send(static_cast<StringMsg*>(nullptr)); }, "", ""},
        {[](ostrel::MsgPattern& p) { return p.send(static_cast<IpcMsg*>(nullptr)); }, "", ""},
        {[](ostrel::MsgPattern& p) { return p.receive(static_cast<StringMsg*>(nullptr), -1); },
         first, again},
        {[](ostrel::MsgPattern& p) { return p.receive(static_cast<IpcMsg*>(nullptr), -1); }, first,
         again},
        {[](ostrel::MsgPattern& p) {
             StringMsg msg(0);
             return p.receive(&msg, -2);
         },
         first, again},
        {[](ostrel::MsgPattern& p) {
             IpcMsg msg;
             return p.receive(&msg, -2);
         },
         first, again},
        {[](ostrel::MsgPattern& p) {
             StringMsg msg(0);
             return p.send(&msg);
         },
         "nothing to send - return\n", "nothing to send - return\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        typename TypeParam::Pattern pattern("name");
        pattern.setProperty(PROP_SERVER_ENDPOINT, this->mEndpoint.text());
        this->mZmq.takeCalls();
        EXPECT_EQ(c.run(pattern), -1);
        EXPECT_EQ(this->mZmq.takeActions().size(), 6U) << "it connected, and that was all";
        EXPECT_NE(pattern.mpSocket, nullptr);
        EXPECT_EQ(this->mOut.take(), c.printed);
        EXPECT_EQ(c.run(pattern), -1);
        EXPECT_THAT(this->mZmq.takeActions(), IsEmpty());
        EXPECT_EQ(this->mOut.take(), c.printedAgain);
        EXPECT_THAT(this->mLog.takeCalls(), IsEmpty());
    }
}

TYPED_TEST(RequestReply, SendsText)
{
    Exchange<TypeParam> exchange;
    exchange.letSend();
    this->mZmq.takeCalls();
    this->mOut.take();
    StringMsg msg = textOf({"a", "", std::string("b\0c", 3)});
    EXPECT_EQ(exchange.pattern.send(&msg), 3);
    EXPECT_THAT(this->mZmq.takeActions(),
                ElementsAre("zmq_msg_init()", "zmq_msg_init_size(1)", "zmq_msg_send(s1, 3, \"a\")",
                            "zmq_msg_close()", "zmq_msg_init()", "zmq_msg_init_size(0)",
                            "zmq_msg_send(s1, 3, \"\")", "zmq_msg_close()", "zmq_msg_init()",
                            "zmq_msg_init_size(3)", "zmq_msg_send(s1, 1, \"b\\x00c\")",
                            "zmq_msg_close()"));
    EXPECT_EQ(exchange.peer.receive(), Frames({"a", "", std::string("b\0c", 3)}));
    EXPECT_THAT(partsOf(msg), ElementsAre("a", "", std::string("b\0c", 3)));
    EXPECT_EQ(this->mOut.take(), "");
    EXPECT_THAT(this->mLog.takeCalls(), IsEmpty());
}

TYPED_TEST(RequestReply, SendsBinary)
{
    Exchange<TypeParam> exchange;
    exchange.letSend();
    this->mZmq.takeCalls();
    this->mOut.take();
    IpcMsg msg = binaryOf(7, 258, {"abc", ""});
    EXPECT_EQ(exchange.pattern.send(&msg), 2);
    EXPECT_THAT(this->mZmq.takeActions(),
                ElementsAre("zmq_msg_init()", "zmq_msg_init_size(8)",
                            "zmq_msg_send(s1, 3, \"\\x00\\x00\\x00\\x07\\x00\\x00\\x01\\x02\")",
                            "zmq_msg_close()", "zmq_msg_init()", "zmq_msg_init_size(3)",
                            "zmq_msg_send(s1, 3, \"abc\")", "zmq_msg_close()", "zmq_msg_init()",
                            "zmq_msg_init_size(0)", "zmq_msg_send(s1, 1, \"\")",
                            "zmq_msg_close()"));
    EXPECT_EQ(exchange.peer.receive(),
              Frames({std::string("\0\0\0\x07\0\0\x01\x02", 8), "abc", ""}));
    EXPECT_EQ(this->mOut.take(), "");
    EXPECT_THAT(this->mLog.takeCalls(), IsEmpty());
}

TYPED_TEST(RequestReply, ReceivesText)
{
    Exchange<TypeParam> exchange;
    exchange.letReceive({"a", "", std::string("b\0c", 3)});
    this->mZmq.takeCalls();
    this->mOut.take();
    StringMsg msg = textOf({"old"});
    EXPECT_EQ(exchange.pattern.receive(&msg, -1), 3);
    EXPECT_THAT(partsOf(msg), ElementsAre("a", "", "b"));
    EXPECT_THAT(this->mZmq.takeActions(),
                ElementsAre("zmq_msg_init()", "zmq_recvmsg(s1, 0)", "zmq_msg_close()",
                            "zmq_getsockopt(s1, 13)", "zmq_msg_init()", "zmq_recvmsg(s1, 0)",
                            "zmq_msg_close()", "zmq_getsockopt(s1, 13)", "zmq_msg_init()",
                            "zmq_recvmsg(s1, 0)", "zmq_msg_close()", "zmq_getsockopt(s1, 13)"));
    EXPECT_EQ(this->mOut.take(), std::string(in) + receiving);
    EXPECT_THAT(this->mLog.takeCalls(), IsEmpty());
}

TYPED_TEST(RequestReply, ReceivesBinary)
{
    Exchange<TypeParam> exchange;
    exchange.letReceive({std::string("\0\0\0\x07\0\0\x01\x02", 8), "abc", ""});
    this->mZmq.takeCalls();
    this->mOut.take();
    IpcMsg msg = binaryOf(1, 2, {"old"});
    EXPECT_EQ(exchange.pattern.receive(&msg, -1), 3);
    EXPECT_THAT(partsOf(msg), ElementsAre("old", "abc", ""));
    EXPECT_EQ(msg.getMsgType(), 7);
    EXPECT_EQ(msg.getMsgSubType(), 2);
    EXPECT_THAT(this->mZmq.takeActions(),
                ElementsAre("zmq_msg_init()", "zmq_recvmsg(s1, 0)", "zmq_msg_close()",
                            "zmq_getsockopt(s1, 13)", "zmq_msg_init()", "zmq_recvmsg(s1, 0)",
                            "zmq_msg_close()", "zmq_getsockopt(s1, 13)", "zmq_msg_init()",
                            "zmq_recvmsg(s1, 0)", "zmq_msg_close()", "zmq_getsockopt(s1, 13)"));
    EXPECT_EQ(this->mOut.take(), std::string(in) + receiving + attempt +
                                     "get the msg hdr size 8\n" + attempt + "get the msg size 3\n" +
                                     attempt + "get the msg size 0\n");
    EXPECT_THAT(this->mLog.takeCalls(), IsEmpty());
}

TYPED_TEST(RequestReply, ReceivesNothingInEitherWayWhenNothingIsThere)
{
    Exchange<TypeParam> exchange;
    if (std::is_same<TypeParam, Request>::value) {
        StringMsg question = textOf({"?"});
        EXPECT_EQ(exchange.pattern.send(&question), 1);
    }
    this->mOut.take();
    StringMsg text = textOf({"old"});
    IpcMsg binary = binaryOf(1, 2, {"old"});
    EXPECT_EQ(exchange.pattern.receive(&text, 0), -1);
    EXPECT_EQ(this->mOut.take(), std::string(in) + receiving + "receive: timeout\n");
    EXPECT_EQ(exchange.pattern.receive(&text, 3600000), 0);
    EXPECT_EQ(this->mOut.take(), std::string(in) + receiving + "nothing to received\n");
    EXPECT_EQ(exchange.pattern.receive(&binary, 0), -1);
    EXPECT_EQ(this->mOut.take(), std::string(in) + receiving + attempt + "receive: timeout\n");
    EXPECT_EQ(exchange.pattern.receive(&binary, 3600000), 0);
    EXPECT_EQ(this->mOut.take(), std::string(in) + receiving + attempt + "nothing to received\n");
    EXPECT_EQ(text.getNumParts(), 0);
    EXPECT_THAT(partsOf(binary), ElementsAre("old"));
    EXPECT_THAT(this->mLog.takeCalls(), IsEmpty());
}

TYPED_TEST(RequestReply, SwapsManyMessagesInTurn)
{
    Exchange<TypeParam> exchange;
    for (int i = 0; i < 50; ++i) {
        const std::string there = "there " + std::to_string(i);
        const std::string back = "back " + std::to_string(i);
        if (std::is_same<TypeParam, Reply>::value) {
            exchange.letReceive({there});
        } else {
            StringMsg request = textOf({there});
            EXPECT_EQ(exchange.pattern.send(&request), 1);
            EXPECT_EQ(exchange.peer.receive(), Frames({there}));
            exchange.peer.send({back});
        }
        StringMsg received(0);
        EXPECT_EQ(exchange.pattern.receive(&received, -1), 1);
        EXPECT_EQ(received[0], (std::is_same<TypeParam, Reply>::value ? there : back));
        if (std::is_same<TypeParam, Reply>::value) {
            StringMsg reply = textOf({back});
            EXPECT_EQ(exchange.pattern.send(&reply), 1);
            EXPECT_EQ(exchange.peer.receive(), Frames({back}));
        }
    }
}

namespace {

using RequestPattern = RequestReply<Request>;
using ReplyPattern = RequestReply<Reply>;

} // namespace

TEST_F(ReplyPattern, PrintsHowItConnectsAtTheFirstReceiveOnly)
{
    Reply::Pattern text("name");
    text.setProperty(PROP_SERVER_ENDPOINT, this->mEndpoint.text());
    StringMsg textMsg(0);
    EXPECT_EQ(text.receive(&textMsg, 0), -1);
    EXPECT_EQ(mOut.take(), std::string(in) + connecting + receiving + "receive: timeout\n");
    EXPECT_EQ(text.receive(&textMsg, 0), -1);
    EXPECT_EQ(mOut.take(), std::string(in) + receiving + "receive: timeout\n");
    EXPECT_EQ(text.receive(&textMsg, 5000), 0);
    EXPECT_EQ(mOut.take(), std::string(in) + receiving + "nothing to received\n");

    const IpcEndpoint other;
    Reply::Pattern binary("name");
    binary.setProperty(PROP_SERVER_ENDPOINT, other.text());
    IpcMsg binaryMsg;
    EXPECT_EQ(binary.receive(&binaryMsg, 5000), 0);
    EXPECT_EQ(mOut.take(),
              std::string(in) + connecting + receiving + attempt + "nothing to received\n");
    EXPECT_EQ(binary.receive(&binaryMsg, 0), -1);
    EXPECT_EQ(mOut.take(), std::string(in) + receiving + attempt + "receive: timeout\n");
    EXPECT_THAT(mLog.takeCalls(), IsEmpty());
}

TEST_F(RequestPattern, PrintsHowItConnectsAtTheFirstReceiveOnly)
{
    Request::Pattern pattern("name");
    pattern.setProperty(PROP_SERVER_ENDPOINT, this->mEndpoint.text());
    StringMsg msg(0);
    EXPECT_NE(thrownBy([&] { pattern.receive(&msg, 0); }), "nothing");
    EXPECT_EQ(mOut.take(), std::string(in) + connecting + receiving);
    EXPECT_NE(thrownBy([&] { pattern.receive(&msg, 0); }), "nothing");
    EXPECT_EQ(mOut.take(), std::string(in) + receiving);
}

TEST_F(RequestPattern, FailsOutOfTurnInTheTransportAndGoesOnInTurn)
{
    const std::string wrongTurn = "Operation cannot be accomplished in current state";
    const std::string sendText = "Failed to send messagepart : " + wrongTurn;
    const std::string receiveText = "Failed to get messagepart: " + wrongTurn;
    Exchange<Request> exchange;
    for (const Operation& operation : operations()) {
        if (!operation.receives) {
            continue;
        }
        EXPECT_EQ(thrownBy([&] { operation.run(exchange.pattern); }),
                  "std::runtime_error: " + receiveText);
        EXPECT_THAT(mLog.takeLines(),
                    ElementsAre("Error : Ostrel::ZMQWrapper::receive() : " + receiveText));
    }
    StringMsg msg = textOf({"one"});
    EXPECT_EQ(exchange.pattern.send(&msg), 1);
    EXPECT_EQ(thrownBy([&] { exchange.pattern.send(&msg); }), "std::runtime_error: " + sendText);
    EXPECT_THAT(mLog.takeLines(), ElementsAre("Error : Ostrel::ZMQWrapper::send() : " + sendText));
    IpcMsg binary = binaryOf(1, 1, {"two"});
    EXPECT_EQ(thrownBy([&] { exchange.pattern.send(&binary); }), "std::runtime_error: " + sendText);
    EXPECT_THAT(mLog.takeLines(), ElementsAre("Error : Ostrel::ZMQWrapper::send() : " + sendText));

    EXPECT_EQ(exchange.peer.receive(), Frames({"one"}));
    exchange.peer.send({"answer"});
    StringMsg answer(0);
    EXPECT_EQ(exchange.pattern.receive(&answer, -1), 1);
    EXPECT_EQ(answer[0], "answer");
}

TEST_F(ReplyPattern, FailsOutOfTurnInTheTransportAndGoesOnInTurn)
{
    const std::string wrongTurn = "Operation cannot be accomplished in current state";
    const std::string sendText = "Failed to send messagepart : " + wrongTurn;
    const std::string receiveText = "Failed to get messagepart: " + wrongTurn;
    Exchange<Reply> exchange;
    StringMsg msg = textOf({"answer"});
    EXPECT_EQ(thrownBy([&] { exchange.pattern.send(&msg); }), "std::runtime_error: " + sendText);
    EXPECT_THAT(mLog.takeLines(), ElementsAre("Error : Ostrel::ZMQWrapper::send() : " + sendText));
    IpcMsg binary = binaryOf(1, 1, {"two"});
    EXPECT_EQ(thrownBy([&] { exchange.pattern.send(&binary); }), "std::runtime_error: " + sendText);
    EXPECT_THAT(mLog.takeLines(), ElementsAre("Error : Ostrel::ZMQWrapper::send() : " + sendText));

    exchange.peer.send({"question"});
    StringMsg question(0);
    EXPECT_EQ(exchange.pattern.receive(&question, -1), 1);
    for (const Operation& operation : operations()) {
        if (!operation.receives) {
            continue;
        }
        EXPECT_EQ(thrownBy([&] { operation.run(exchange.pattern); }),
                  "std::runtime_error: " + receiveText);
        EXPECT_THAT(mLog.takeLines(),
                    ElementsAre("Error : Ostrel::ZMQWrapper::receive() : " + receiveText));
    }
    EXPECT_EQ(exchange.pattern.send(&msg), 1);
    EXPECT_EQ(exchange.peer.receive(), Frames({"answer"}));
}

TEST_F(RequestPattern, SendsBeforeAnybodyIsThereToAnswer)
{
    Request::Pattern pattern("name");
    pattern.setProperty(PROP_SERVER_ENDPOINT, this->mEndpoint.text());
    StringMsg msg = textOf({"early"});
    EXPECT_EQ(pattern.send(&msg), 1);
    RawSocket server(ZMQ_REP);
    server.bind(mEndpoint.text());
    EXPECT_EQ(server.receive(), Frames({"early"}));
}
