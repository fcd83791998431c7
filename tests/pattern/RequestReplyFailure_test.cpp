// What request and reply do when a call to ZeroMQ fails, at every place that makes one.

#include "pattern/RequestReply.h"
#include "support/AllocFault.h"
#include "support/Stdout.h"
#include "support/SyslogSpy.h"
#include "support/Thrown.h"
#include "support/ZmqSpy.h"

#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>

using namespace requestreply;
using ostrel::IpcMsg;
using ostrel::PROP_SERVER_ENDPOINT;
using ostrel::StringMsg;
using support::AllocFault;
using support::IpcEndpoint;
using support::Stdout;
using support::SyslogSpy;
using support::thrownBy;
using support::ZmqSpy;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

template <typename Side> class RequestReplyFailure : public testing::Test {
protected:
    IpcEndpoint mEndpoint;
    Stdout mOut;
    SyslogSpy mLog;
    ZmqSpy mZmq;
};

const char connecting[] = "in RequestReplayMsgPattern receive\ntry to connect to endpoint\n";

const std::string reason = std::strerror(EMFILE);

/// The call that was made to fail.
std::string failedCall(ZmqSpy& zmq)
{
    for (const std::string& call : zmq.takeActions()) {
        if (call.back() == '!') {
            return call;
        }
    }
    return "";
}

} // namespace

TYPED_TEST_SUITE(RequestReplyFailure, Sides, SideName);

TYPED_TEST(RequestReplyFailure, LeavesNoSocketWhenItCannotBeCreated)
{
    const std::string texts[] = {
        "Failed to create ZeroMQ Socket : ",
        "Failed to configure TCP Keepalive mode on socket : ",
        "Failed to configure TCP Keepalive idle value on socket : ",
        "Failed to configure TCP Keepalive interval value on socket : ",
        "Failed to configure TCP Keepalive count on socket : ",
    };
    for (const Operation& operation : operations()) {
        int nth = 0;
        for (const std::string& text : texts) {
            SCOPED_TRACE(operation.name + (": " + text));
            typename TypeParam::Pattern pattern("name");
            pattern.setProperty(PROP_SERVER_ENDPOINT, "ipc:///nowhere");
            this->mOut.take();
            this->mZmq.takeCalls();
            this->mZmq.failNth(++nth, EMFILE);
            EXPECT_EQ(thrownBy([&] { operation.run(pattern); }),
                      "std::runtime_error: " + text + reason);
            EXPECT_TRUE(this->mZmq.failed());
            EXPECT_THAT(
                this->mLog.takeLines(),
                ElementsAre("Error : Ostrel::ZMQWrapper::createEndpt() : " + text + reason));
            EXPECT_EQ(this->mOut.take(), operation.receives ? connecting : "");
            EXPECT_EQ(pattern.mpSocket, nullptr);
            // As if nothing had happened.
            EXPECT_EQ(pattern.setProperty(PROP_SERVER_ENDPOINT, this->mEndpoint.text()), 0);
            this->mZmq.takeCalls();
            pattern.connectEndpoint();
            EXPECT_EQ(this->mZmq.takeCalls().size(), 6U);
            EXPECT_NE(pattern.mpSocket, nullptr);
        }
    }
}

TYPED_TEST(RequestReplyFailure, KeepsASocketThatCouldNotBeAttached)
{
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        const std::string text =
            TypeParam::attachText + reason + " : End Point : " + this->mEndpoint.text();
        typename TypeParam::Pattern pattern("name");
        pattern.setProperty(PROP_SERVER_ENDPOINT, this->mEndpoint.text());
        this->mOut.take();
        this->mZmq.takeCalls();
        this->mZmq.failNth(6, EMFILE);
        EXPECT_EQ(thrownBy([&] { operation.run(pattern); }), "std::runtime_error: " + text);
        EXPECT_TRUE(this->mZmq.failed());
        EXPECT_THAT(failedCall(this->mZmq), StartsWith(TypeParam::attach));
        EXPECT_THAT(this->mLog.takeLines(), ElementsAre(TypeParam::attachPrefix + text));
        EXPECT_EQ(this->mOut.take(), operation.receives ? connecting : "");

        void* socket = pattern.mpSocket;
        EXPECT_NE(socket, nullptr);
        pattern.connectEndpoint();
        EXPECT_THAT(this->mZmq.takeCalls(), IsEmpty()) << "there is no retry";
        EXPECT_EQ(pattern.setProperty(PROP_SERVER_ENDPOINT, "ipc:///other"), -1);
        EXPECT_EQ(pattern.getProperty(PROP_SERVER_ENDPOINT), this->mEndpoint.text());
        for (const Operation& later : operations()) {
            SCOPED_TRACE(later.name);
            thrownBy([&] { later.run(pattern); });
            for (const std::string& call : this->mZmq.takeActions()) {
                EXPECT_THAT(call, testing::AnyOf(StartsWith("zmq_msg"), StartsWith("zmq_recvmsg"),
                                                 StartsWith("zmq_strerror")));
            }
        }
        EXPECT_EQ(pattern.mpSocket, socket);
        EXPECT_EQ(this->mOut.take().find("try to connect"), std::string::npos);
        this->mLog.takeLines();
    }
}

TYPED_TEST(RequestReplyFailure, AttachesToTheEmptyTextWhenNoEndpointWasSet)
{
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        const std::string text =
            std::string(TypeParam::attachText) + std::strerror(EINVAL) + " : End Point : ";
        typename TypeParam::Pattern pattern("name");
        this->mZmq.takeCalls();
        EXPECT_EQ(thrownBy([&] { operation.run(pattern); }), "std::runtime_error: " + text);
        EXPECT_THAT(this->mLog.takeLines(), ElementsAre(TypeParam::attachPrefix + text));
        EXPECT_NE(pattern.mpSocket, nullptr);
        EXPECT_THAT(pattern.mProperties, ElementsAre(testing::Pair(PROP_SERVER_ENDPOINT, "")));
        EXPECT_EQ(pattern.setProperty(PROP_SERVER_ENDPOINT, this->mEndpoint.text()), -1);
        EXPECT_EQ(pattern.getProperty(PROP_SERVER_ENDPOINT), "");
    }
}

TYPED_TEST(RequestReplyFailure, KeepsTheSocketBeforeItLooksForTheEndpoint)
{
    typename TypeParam::Pattern pattern("name");
    std::string thrown;
    {
        const AllocFault fault(1); // The entry of the endpoint that was never set.
        thrown = thrownBy([&] { pattern.connectEndpoint(); });
        EXPECT_TRUE(fault.happened());
    }
    EXPECT_EQ(thrown, "std::bad_alloc: std::bad_alloc");
    EXPECT_THAT(this->mLog.takeLines(), IsEmpty());
    EXPECT_NE(pattern.mpSocket, nullptr);
    this->mZmq.takeCalls();
    pattern.connectEndpoint();
    EXPECT_THAT(this->mZmq.takeCalls(), IsEmpty());
}

TYPED_TEST(RequestReplyFailure, PassesOnEveryFailureOfASend)
{
    const std::map<std::string, std::string> texts = {
        {"zmq_msg_init_size", "Failed to initialize ZeroMQ messagepart : "},
        {"zmq_msg_send", "Failed to send messagepart : " + reason},
        {"zmq_msg_close", "Failed to close ZeroMQ messagepart : " + reason},
    };
    const bool kinds[] = {false, true};
    for (const bool binary : kinds) {
        int nth = 1;
        for (;; ++nth) {
            SCOPED_TRACE((binary ? "binary " : "text ") + std::to_string(nth));
            ASSERT_LT(nth, 30);
            Exchange<TypeParam> exchange;
            exchange.letSend();
            this->mOut.take();
            ZmqSpy zmq; // Gone, with what it still plans, before the exchange ends.
            zmq.failNth(nth, EMFILE);
            StringMsg text(2);
            char data[] = "bytes";
            IpcMsg bytes(7, data, 5, nullptr);
            int result = -2;
            const std::string thrown = thrownBy([&] {
                result = binary ? exchange.pattern.send(&bytes) : exchange.pattern.send(&text);
            });
            if (!zmq.failed()) {
                EXPECT_EQ(thrown, "nothing");
                EXPECT_EQ(result, binary ? 1 : 2);
                EXPECT_THAT(this->mLog.takeCalls(), IsEmpty());
                break;
            }
            const std::string call = failedCall(zmq);
            const std::string& expected = texts.at(call.substr(0, call.find('(')));
            EXPECT_EQ(thrown, "std::runtime_error: " + expected);
            EXPECT_THAT(this->mLog.takeLines(),
                        ElementsAre("Error : Ostrel::ZMQWrapper::send() : " + expected));
            EXPECT_EQ(this->mOut.take(), "");
            EXPECT_EQ(exchange.pattern.setProperty(PROP_SERVER_ENDPOINT, "ipc:///other"), -1);
        }
        EXPECT_EQ(nth, 7) << "two frames of three calls each";
    }
}

TYPED_TEST(RequestReplyFailure, PassesOnEveryFailureOfAReceive)
{
    const std::map<std::string, std::string> texts = {
        {"zmq_recvmsg", "Failed to get messagepart: " + reason},
        {"zmq_msg_close", "recv: Failed to close ZeroMQ messagepart:" + reason},
        {"zmq_getsockopt", "Failed to get ZMQ_RCVMORE Option:" + reason},
    };
    const bool kinds[] = {false, true};
    for (const bool binary : kinds) {
        int nth = 1;
        for (;; ++nth) {
            SCOPED_TRACE((binary ? "binary " : "text ") + std::to_string(nth));
            ASSERT_LT(nth, 30);
            Exchange<TypeParam> exchange;
            exchange.letReceive({"8 bytes.", "data"});
            this->mOut.take();
            ZmqSpy zmq; // Gone, with what it still plans, before the exchange ends.
            zmq.failNth(nth, EMFILE);
            StringMsg text(0);
            IpcMsg bytes;
            int result = -2;
            const std::string thrown = thrownBy([&] {
                result = binary ? exchange.pattern.receive(&bytes, -1)
                                : exchange.pattern.receive(&text, -1);
            });
            EXPECT_THAT(this->mOut.take(),
                        StartsWith("in RequestReplayMsgPattern receive\nin the receive ...\n"));
            if (!zmq.failed()) {
                EXPECT_EQ(thrown, "nothing");
                EXPECT_EQ(result, binary ? 1 : 2);
                EXPECT_THAT(this->mLog.takeCalls(), IsEmpty());
                break;
            }
            const std::string call = failedCall(zmq);
            const std::string& expected = texts.at(call.substr(0, call.find('(')));
            EXPECT_EQ(thrown, "std::runtime_error: " + expected);
            EXPECT_THAT(this->mLog.takeLines(),
                        ElementsAre("Error : Ostrel::ZMQWrapper::receive() : " + expected));
            EXPECT_EQ(exchange.pattern.setProperty(PROP_SERVER_ENDPOINT, "ipc:///other"), -1);
        }
        EXPECT_EQ(nth, 7) << "two frames of three calls each";
    }
}

TYPED_TEST(RequestReplyFailure, LogsWhatFailsWhenItIsDestroyed)
{
    {
        typename TypeParam::Pattern pattern("name");
        pattern.setProperty(PROP_SERVER_ENDPOINT, this->mEndpoint.text());
        pattern.connectEndpoint();
        this->mZmq.fail("zmq_setsockopt", 1, EMFILE);
        this->mZmq.fail("zmq_close", 1, EMFILE);
    }
    EXPECT_TRUE(this->mZmq.failed());
    EXPECT_THAT(this->mLog.takeLines(),
                ElementsAre("Failed to set ZeroMQ Socket Linger Period : " + reason,
                            "Failed to close ZeroMQ Socket : " + reason));
}

TEST(ReplyFailure, CannotBindWhatAnotherHasBound)
{
    support::RawSocket other(ZMQ_REP);
    const std::string endpoint = other.bind(support::freeTcpEndpoint());
    const std::string text = std::string("Failed to bind ZeroMQ Socket : ") +
                             std::strerror(EADDRINUSE) + " : End Point : " + endpoint;
    SyslogSpy log;
    Reply::Pattern pattern("name");
    pattern.setProperty(PROP_SERVER_ENDPOINT, endpoint);
    StringMsg msg(0);
    EXPECT_EQ(thrownBy([&] { pattern.receive(&msg, 0); }), "std::runtime_error: " + text);
    EXPECT_THAT(log.takeLines(), ElementsAre(Reply::attachPrefix + text));
    // The unbound socket takes part from here on: nobody will ever write to it.
    EXPECT_EQ(pattern.receive(&msg, 0), -1);
    EXPECT_EQ(pattern.receive(&msg, 10), 0);
    EXPECT_THAT(log.takeCalls(), IsEmpty());
}

TEST(RequestFailure, CannotSendOnASocketThatIsConnectedToNobody)
{
    SyslogSpy log;
    Request::Pattern pattern("name");
    StringMsg msg(1);
    EXPECT_NE(thrownBy([&] { pattern.send(&msg); }), "nothing");
    log.takeLines();
    const std::string text = std::string("Failed to send messagepart : ") + std::strerror(EAGAIN);
    EXPECT_EQ(thrownBy([&] { pattern.send(&msg); }), "std::runtime_error: " + text);
    EXPECT_THAT(log.takeLines(), ElementsAre("Error : Ostrel::ZMQWrapper::send() : " + text));
}
