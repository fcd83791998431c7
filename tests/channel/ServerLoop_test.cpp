// The server's loop on a socket, with a peer that does not use the library.

#include "channel/Seen.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgReplyServerChannel.h"
#include "ostrel/MsgRequestClientChannel.h"
#include "pattern/Messages.h"
#include "support/Endpoint.h"
#include "support/RawSocket.h"
#include "support/Stdout.h"
#include "support/SyslogSpy.h"
#include "support/Thrown.h"
#include "support/ZmqSpy.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>
#include <zmq.h>

using channel::handle;
using channel::seen;
using channel::whileHandling;
using ostrel::IpcMsg;
using ostrel::MsgReplyServerChannel;
using support::Frames;
using support::headerOf;
using support::partsOf;
using support::RawSocket;
using support::Stdout;
using support::SyslogSpy;
using support::thrownBy;
using support::ZmqSpy;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char wrongTurn[] =
    "Failed to get messagepart: Operation cannot be accomplished in current state";

const std::string in = "in RequestReplayMsgPattern receive\n";
const std::string connecting = "try to connect to endpoint\n";
const std::string receiving = "in the receive ...\n";
const std::string attempt = "ZMQWrapper::receive: about to receive the msg\n";

void answerWithTheSame(MsgReplyServerChannel& server)
{
    std::string bytes = "re: " + seen.back().bytes;
    EXPECT_EQ(server.ipcSend(seen.back().callback, bytes.data(), static_cast<int>(bytes.size())),
              1);
}

void answerAndEnd(MsgReplyServerChannel& server)
{
    answerWithTheSame(server);
    server.terminate();
}

class ServerLoop : public testing::Test {
protected:
    ServerLoop() : mServer("name"), mPeer(ZMQ_REQ)
    {
        seen.clear();
        whileHandling = answerAndEnd;
        mServer.setServerEndPoint(mEndpoint.text());
        mPeer.connect(mEndpoint.text());
    }

    support::IpcEndpoint mEndpoint;
    MsgReplyServerChannel mServer;
    RawSocket mPeer;
    Stdout mOut;
    SyslogSpy mLog;
};

} // namespace

TEST_F(ServerLoop, ReceivesDispatchesAndAnswers)
{
    mServer.registerCallBack(7, handle<7>);
    mPeer.send({headerOf(7, 1), "abc"});
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    const Frames answer = mPeer.receive();
    ASSERT_EQ(answer.size(), 2U);
    EXPECT_EQ(answer[0].substr(0, 4), headerOf(7, 0).substr(0, 4));
    EXPECT_EQ(answer[1], "re: abc");
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].channel, &mServer);
    EXPECT_EQ(seen[0].size, 3);
    EXPECT_EQ(mOut.take(), in + connecting + receiving + attempt + "get the msg hdr size 8\n" +
                               attempt + "get the msg size 3\n");
    EXPECT_THAT(mLog.takeCalls(), IsEmpty());
    EXPECT_EQ(mServer.setServerEndPoint("ipc:///other"), -1);
}

TEST_F(ServerLoop, AnswersTheSecondRequestWithTheBytesOfTheFirst)
{
    mServer.registerCallBack(7, handle<7>);
    mServer.registerCallBack(8, handle<8>);
    whileHandling = [](MsgReplyServerChannel& server) {
        answerWithTheSame(server);
        if (seen.size() == 3) {
            server.terminate();
        }
    };
    std::thread peer([&] {
        mPeer.send({headerOf(7, 0), "A"});
        EXPECT_EQ(mPeer.receive().at(1), "re: A");
        mPeer.send({headerOf(8, 0), "B"});
        EXPECT_EQ(mPeer.receive().at(1), "re: A");
        mPeer.send({headerOf(7, 0), "C", "D"});
        EXPECT_EQ(mPeer.receive().at(1), "re: A");
    });
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    peer.join();
    ASSERT_EQ(seen.size(), 3U);
    EXPECT_EQ(seen[0].callback, 7);
    EXPECT_EQ(seen[1].callback, 8);
    EXPECT_EQ(seen[2].callback, 7);
    EXPECT_EQ(mOut.take(), in + connecting + receiving + attempt + "get the msg hdr size 8\n" +
                               attempt + "get the msg size 1\n" + in + receiving + attempt +
                               "get the msg hdr size 8\n" + attempt + "get the msg size 1\n" + in +
                               receiving + attempt + "get the msg hdr size 8\n" + attempt +
                               "get the msg size 1\n" + attempt + "get the msg size 1\n");
}

TEST_F(ServerLoop, ServesDifferentRequestsWhenItIsEnteredForEach)
{
    mServer.registerCallBack(7, handle<7>);
    for (int i = 0; i < 20; ++i) {
        const std::string bytes = "request " + std::to_string(i);
        mPeer.send({headerOf(7, 0), bytes});
        EXPECT_EQ(mServer.ipcReceive(-1), 0);
        EXPECT_EQ(mPeer.receive().at(1), "re: " + bytes);
    }
}

TEST_F(ServerLoop, CannotGoOnAfterARequestThatNobodyAnswers)
{
    // Without a callback, with a null one, with one that does not answer.
    mServer.registerCallBack(8, nullptr);
    mServer.registerCallBack(9, handle<9>);
    whileHandling = nullptr;
    for (const int type : {7, 8, 9}) {
        SCOPED_TRACE(type);
        RawSocket peer(ZMQ_REQ);
        peer.connect(mEndpoint.text());
        peer.send({headerOf(type, 0), "abc"});
        EXPECT_EQ(thrownBy([&] { mServer.ipcReceive(-1); }),
                  std::string("std::runtime_error: ") + wrongTurn);
        EXPECT_THAT(
            mLog.takeLines(),
            ElementsAre(std::string("Error : Ostrel::ZMQWrapper::receive() : ") + wrongTurn));
        EXPECT_TRUE(mServer.mRunning);
        EXPECT_EQ(seen.size(), type == 9 ? 1U : 0U);
        // The request is still there to be answered.
        char late[] = "late";
        EXPECT_EQ(mServer.ipcSend(type, late, 4), 1);
        EXPECT_EQ(peer.receive().at(1), "late");
    }
}

TEST_F(ServerLoop, DispatchesAHeaderAloneOnlyWhenItAlreadyHoldsAPart)
{
    mServer.registerCallBack(7, handle<7>);
    mServer.registerCallBack(8, handle<8>);
    mPeer.send({headerOf(7, 0)});
    EXPECT_EQ(thrownBy([&] { mServer.ipcReceive(-1); }),
              std::string("std::runtime_error: ") + wrongTurn)
        << "nothing was dispatched, so nothing was answered";
    EXPECT_THAT(seen, IsEmpty());
    char late[] = "late";
    mServer.ipcSend(7, late, 4);
    mPeer.receive();

    whileHandling = [](MsgReplyServerChannel& server) {
        answerWithTheSame(server);
        if (seen.size() == 2) {
            server.terminate();
        }
    };
    std::thread peer([&] {
        mPeer.send({headerOf(7, 0), "A"});
        EXPECT_EQ(mPeer.receive().at(1), "re: A");
        mPeer.send({headerOf(8, 0)});
        EXPECT_EQ(mPeer.receive().at(1), "re: A");
    });
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    peer.join();
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[1].callback, 8);
}

TEST_F(ServerLoop, TakesARequestWithoutAHeaderAsTypeZero)
{
    mServer.registerCallBack(0, handle<0>);
    mServer.registerCallBack(7, handle<7>);
    mPeer.send({"short", "still short"});
    EXPECT_EQ(thrownBy([&] { mServer.ipcReceive(-1); }),
              std::string("std::runtime_error: ") + wrongTurn);
    EXPECT_THAT(seen, IsEmpty()) << "there was no part either";
    char late[] = "late";
    mServer.ipcSend(7, late, 4);
    mPeer.receive();
    mPeer.send({"short", headerOf(7, 0), "abc"});
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    EXPECT_EQ(mPeer.receive().at(1), "re: abc");
}

TEST_F(ServerLoop, DispatchesTheExtremeTypes)
{
    mServer.registerCallBack(INT_MIN, handle<1>);
    mServer.registerCallBack(INT_MAX, handle<2>);
    mServer.registerCallBack(-1, handle<3>);
    int expected = 0;
    for (const int type : {INT_MIN, INT_MAX, -1}) {
        mPeer.send({headerOf(type, 0), "x"});
        EXPECT_EQ(mServer.ipcReceive(-1), 0);
        mPeer.receive();
        EXPECT_EQ(seen.back().callback, ++expected);
    }
}

TEST_F(ServerLoop, HandsOverLargeRequestsWhole)
{
    mServer.registerCallBack(7, handle<7>);
    std::string bytes;
    for (int i = 0; bytes.size() < 3000000; ++i) {
        bytes += std::to_string(i) + '\0';
    }
    mPeer.send({headerOf(7, 0), bytes, "and more"});
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_TRUE(seen[0].bytes == bytes);
    EXPECT_TRUE(mPeer.receive().at(1) == "re: " + bytes);
}

TEST_F(ServerLoop, PrintsEveryTurnOfItsSpinning)
{
    struct Case {
        long timeout;
        std::string outcome;
    };
    bool first = true;
    for (const Case& c : {Case{0, "receive: timeout\n"}, Case{3600000, "nothing to received\n"}}) {
        const std::string turn = in + receiving + attempt + c.outcome;
        auto loop = std::async(std::launch::async, [&] { return mServer.ipcReceive(c.timeout); });
        std::string printed;
        while (printed.size() < 20 * turn.size()) {
            printed += mOut.take();
            std::this_thread::yield();
        }
        mServer.terminate();
        EXPECT_EQ(loop.get(), 0);
        printed += mOut.take();
        std::string expected = first ? in + connecting + receiving + attempt + c.outcome : turn;
        first = false;
        while (expected.size() < printed.size()) {
            expected += turn;
        }
        EXPECT_TRUE(printed == expected);
    }
    EXPECT_THAT(mLog.takeCalls(), IsEmpty());
}

TEST_F(ServerLoop, EndsAfterTheNextMessageWhenItWaitsWithoutLimit)
{
    mServer.registerCallBack(7, handle<7>);
    whileHandling = answerWithTheSame;
    auto loop = std::async(std::launch::async, [&] { return mServer.ipcReceive(-1); });
    // It runs once it has answered; by then it may or may not wait again.
    mPeer.send({headerOf(7, 0), "A"});
    EXPECT_EQ(mPeer.receive().at(1), "re: A");
    std::string printed;
    while (printed.rfind(attempt) == std::string::npos ||
           printed.rfind(attempt) < printed.find("get the msg size 1\n")) {
        printed += mOut.take();
        std::this_thread::yield();
    }
    mServer.terminate();
    EXPECT_EQ(loop.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    mPeer.send({headerOf(7, 0), "B"});
    EXPECT_EQ(mPeer.receive().at(1), "re: A");
    EXPECT_EQ(loop.get(), 0);
    EXPECT_EQ(seen.size(), 2U);
}

TEST_F(ServerLoop, EndsWithTheFailureOfItsReceive)
{
    mServer.registerCallBack(7, handle<7>);
    const std::string reason = std::strerror(EINTR);
    struct Case {
        const char* function;
        std::string text;
    };
    ZmqSpy zmq;
    for (const Case& c :
         {Case{"zmq_recvmsg", "Failed to get messagepart: " + reason},
          Case{"zmq_msg_close", "recv: Failed to close ZeroMQ messagepart:" + reason},
          Case{"zmq_getsockopt", "Failed to get ZMQ_RCVMORE Option:" + reason}}) {
        SCOPED_TRACE(c.function);
        MsgReplyServerChannel server("name");
        const support::IpcEndpoint endpoint;
        server.setServerEndPoint(endpoint.text());
        RawSocket peer(ZMQ_REQ);
        peer.connect(endpoint.text());
        peer.send({headerOf(7, 0), "abc"});
        zmq.fail(c.function, 1, EINTR);
        EXPECT_EQ(thrownBy([&] { server.ipcReceive(-1); }), "std::runtime_error: " + c.text);
        EXPECT_TRUE(zmq.failed());
        EXPECT_THAT(mLog.takeLines(),
                    ElementsAre("Error : Ostrel::ZMQWrapper::receive() : " + c.text));
        EXPECT_TRUE(server.mRunning);
    }
    EXPECT_THAT(seen, IsEmpty());
}

TEST_F(ServerLoop, EndsWithTheFailureOfItsBind)
{
    MsgReplyServerChannel server("name");
    const std::string text =
        std::string("Failed to bind ZeroMQ Socket : ") + std::strerror(EINVAL) + " : End Point : ";
    EXPECT_EQ(thrownBy([&] { server.ipcReceive(-1); }), "std::runtime_error: " + text);
    EXPECT_THAT(mLog.takeLines(),
                ElementsAre("Error : Ostrel::ZMQWrapper::registerSender() : " + text));
    EXPECT_EQ(mOut.take(), in + connecting);
    EXPECT_EQ(server.setServerEndPoint(mEndpoint.text()), -1);
}

TEST_F(ServerLoop, EndsWithTheFailureOfAnAnswer)
{
    mServer.registerCallBack(7, handle<7>);
    whileHandling = [](MsgReplyServerChannel& server) {
        char data[] = "bytes";
        EXPECT_EQ(server.ipcSend(1, data, 5), 1);
        server.ipcSend(2, data, 5); // Out of turn.
    };
    mPeer.send({headerOf(7, 0), "abc"});
    const std::string text =
        "Failed to send messagepart : Operation cannot be accomplished in current state";
    EXPECT_EQ(thrownBy([&] { mServer.ipcReceive(-1); }), "std::runtime_error: " + text);
    EXPECT_THAT(mLog.takeLines(), ElementsAre("Error : Ostrel::ZMQWrapper::send() : " + text));
    EXPECT_TRUE(mServer.mRunning);
    EXPECT_EQ(mPeer.receive().at(1), "bytes");
}

TEST_F(ServerLoop, ServesAClientChannel)
{
    mServer.registerCallBack(7, handle<7>);
    auto loop = std::async(std::launch::async, [&] { return mServer.ipcReceive(-1); });
    ostrel::MsgRequestClientChannel client("client");
    client.setServerEndPoint(mEndpoint.text());
    char data[] = "question";
    EXPECT_EQ(client.ipcSend(7, data, 8), 1);
    EXPECT_EQ(client.setServerEndPoint("ipc:///other"), -1);
    IpcMsg answer;
    EXPECT_EQ(client.ipcReceive(&answer, -1), 1);
    EXPECT_THAT(partsOf(answer), ElementsAre("re: question"));
    EXPECT_EQ(answer.getMsgType(), 7);
    EXPECT_EQ(loop.get(), 0);
}
