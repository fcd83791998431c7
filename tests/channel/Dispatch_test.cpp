// The server's loop over a pattern that does what the test says.

#include "channel/FakePattern.h"
#include "channel/Seen.h"
#include "ostrel/MsgReplyServerChannel.h"
#include "pattern/Messages.h"
#include "support/Stdout.h"
#include "support/SyslogSpy.h"
#include "support/Thrown.h"
#include "support/ZmqSpy.h"

#include <algorithm>
#include <climits>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

using channel::handle;
using channel::Seen;
using channel::seen;
using channel::whileHandling;
using ostrel::IpcMsg;
using ostrel::MsgReplyServerChannel;
using support::append;
using support::FakePattern;
using support::partsOf;
using support::Stdout;
using support::SyslogSpy;
using support::thrownBy;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

class Dispatch : public testing::Test {
protected:
    class Server : public MsgReplyServerChannel {
    public:
        explicit Server(FakePattern* pattern) : MsgReplyServerChannel("name")
        {
            delete pvthandle;
            pvthandle = pattern;
        }
    };

    struct Step {
        int result;
        int type;
        std::vector<std::string> parts;
    };

    Dispatch() : mPattern(new FakePattern(mCalls)), mServer(mPattern)
    {
        whileHandling = nullptr;
        seen.clear();
    }

    /// Lets the receives do `steps`, one each; the loop is terminated in the last one.
    void script(const std::vector<Step>& steps)
    {
        mNext = 0;
        mPattern->onReceiveBinary = [this, steps](IpcMsg& msg) {
            mHeld.push_back(msg.getNumParts());
            mMessages.push_back(&msg);
            const Step& step = steps.at(mNext++);
            for (const std::string& part : step.parts) {
                append(msg, part);
            }
            msg.setMsgType(step.type);
            if (mNext == steps.size()) {
                mServer.terminate();
            }
            return step.result;
        };
    }

    std::vector<std::string> mCalls;
    FakePattern* mPattern; // The server's.
    Server mServer;
    std::size_t mNext = 0;
    std::vector<int> mHeld; // How many parts the message held before each receive.
    std::vector<const IpcMsg*> mMessages;
    Stdout mOut;
    SyslogSpy mLog;
};

} // namespace

TEST_F(Dispatch, StartsIdleAndWithoutCallbacks)
{
    EXPECT_THAT(mServer.mCallbacks, IsEmpty());
    EXPECT_FALSE(mServer.mRunning);
}

TEST_F(Dispatch, HasOneCallbackPerTypeTheFirst)
{
    EXPECT_EQ(mServer.registerCallBack(7, handle<1>), 1);
    EXPECT_EQ(mServer.registerCallBack(7, handle<2>), 0);
    EXPECT_EQ(mServer.registerCallBack(7, handle<1>), 0);
    EXPECT_EQ(mServer.registerCallBack(7, nullptr), 0);
    EXPECT_EQ(mServer.registerCallBack(8, handle<1>), 1) << "one callback for several types";
    for (const int type : {0, -7, INT_MIN, INT_MAX}) {
        EXPECT_EQ(mServer.registerCallBack(type, handle<3>), 1);
        EXPECT_EQ(mServer.registerCallBack(type, handle<4>), 0);
    }
    EXPECT_EQ(mServer.mCallbacks.size(), 6U);
    script({{1, 7, {"a"}}, {2, 8, {"b"}}, {3, -7, {"c"}}});
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    ASSERT_EQ(seen.size(), 3U);
    EXPECT_EQ(seen[0].callback, 1);
    EXPECT_EQ(seen[1].callback, 1);
    EXPECT_EQ(seen[2].callback, 3);
    EXPECT_EQ(mOut.take(), "");
    EXPECT_THAT(mLog.takeCalls(), IsEmpty());
}

TEST_F(Dispatch, MatchesTheTypeExactly)
{
    const int types[] = {0, 1, -1, 7, 0x01000007, 263, INT_MIN, INT_MAX};
    mServer.registerCallBack(0, handle<0>);
    mServer.registerCallBack(1, handle<1>);
    mServer.registerCallBack(-1, handle<2>);
    mServer.registerCallBack(7, handle<3>);
    mServer.registerCallBack(0x01000007, handle<4>);
    mServer.registerCallBack(263, handle<5>);
    mServer.registerCallBack(INT_MIN, handle<6>);
    mServer.registerCallBack(INT_MAX, handle<7>);
    std::vector<Step> steps;
    for (const int type : types) {
        steps.push_back({1, type, {}});
    }
    script(steps);
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    ASSERT_EQ(seen.size(), 8U);
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(seen[static_cast<std::size_t>(i)].callback, i);
    }
}

TEST_F(Dispatch, CallsBackWithTheBytesTheirSizeAndTheChannel)
{
    mServer.registerCallBack(7, handle<1>);
    const char* bytes = nullptr;
    mPattern->onReceiveBinary = [&](IpcMsg& msg) {
        append(msg, std::string("a\0b", 3));
        msg.setMsgType(7);
        bytes = msg.getMsgData();
        mServer.terminate();
        return 1;
    };
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].data, bytes) << "not a copy";
    EXPECT_EQ(seen[0].bytes, std::string("a\0b", 3));
    EXPECT_EQ(seen[0].size, 3);
    EXPECT_EQ(seen[0].channel, &mServer);
    EXPECT_EQ(seen[0].thread, std::this_thread::get_id());
}

TEST_F(Dispatch, CallsBackWithNoBytesForAMessageWithoutAny)
{
    mServer.registerCallBack(7, handle<1>);
    // What counts is the result: a pattern that reports a part without having one is believed.
    script({{1, 7, {}}, {1, 7, {""}}});
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    ASSERT_EQ(seen.size(), 2U);
    for (const Seen& call : seen) {
        EXPECT_EQ(call.data, nullptr);
        EXPECT_EQ(call.size, 0);
    }
}

TEST_F(Dispatch, KeepsOneMessageThatGrowsSoThatTheFirstBytesStay)
{
    mServer.registerCallBack(7, handle<1>);
    mServer.registerCallBack(8, handle<2>);
    script({{1, 7, {"A"}}, {2, 8, {"Bbb"}}, {4, 7, {"Ccc", "D"}}});
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    ASSERT_EQ(seen.size(), 3U);
    EXPECT_EQ(seen[0].callback, 1);
    EXPECT_EQ(seen[1].callback, 2);
    EXPECT_EQ(seen[2].callback, 1);
    for (const Seen& call : seen) {
        EXPECT_EQ(call.bytes, "A");
        EXPECT_EQ(call.size, 1);
    }
    EXPECT_THAT(mHeld, ElementsAre(0, 1, 2));
    EXPECT_THAT(mMessages, ElementsAre(mMessages[0], mMessages[0], mMessages[0]));
}

TEST_F(Dispatch, StartsWithAFreshMessageEachTimeItIsEntered)
{
    mServer.registerCallBack(7, handle<1>);
    script({{1, 7, {"first"}}});
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    script({{1, 7, {"second"}}});
    mPattern->onReceiveBinary = [inner = mPattern->onReceiveBinary](IpcMsg& msg) {
        EXPECT_EQ(msg.getMsgType(), 0);
        EXPECT_EQ(msg.getMsgSubType(), 0);
        return inner(msg);
    };
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[1].bytes, "second");
    EXPECT_THAT(mHeld, ElementsAre(0, 0));
}

TEST_F(Dispatch, DispatchesNothingWhenTheReceiveGaveNothing)
{
    mServer.registerCallBack(7, handle<1>);
    // The parts and the type are there; the result says that they do not count.
    script({{0, 7, {"a"}}, {-1, 7, {"b"}}, {-9, 7, {}}, {INT_MIN, 7, {}}, {1, 7, {}}});
    EXPECT_EQ(mServer.ipcReceive(4), 0);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].bytes, "a") << "what a failed receive left is the first part all the same";
    EXPECT_THAT(mCalls, ElementsAre("receive binary 4", "receive binary 4", "receive binary 4",
                                    "receive binary 4", "receive binary 4"));
    EXPECT_EQ(mOut.take(), "");
}

TEST_F(Dispatch, DropsATypeWithoutACallback)
{
    mServer.registerCallBack(7, handle<1>);
    mServer.registerCallBack(9, nullptr);
    // Neighbours of types that have one do not count.
    script({{1, 8, {"a"}}, {2, 9, {"b"}}, {3, 6, {"c"}}, {4, -7, {"d"}}, {5, 7, {"e"}}});
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].callback, 1);
    EXPECT_EQ(seen[0].bytes, "a");
    EXPECT_EQ(mOut.take(), "");
    EXPECT_THAT(mLog.takeCalls(), IsEmpty());
    mCalls.clear();

    // The type without a callback is taken all the same.
    EXPECT_EQ(mServer.registerCallBack(9, handle<2>), 0);
    script({{1, 9, {"a"}}});
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    EXPECT_EQ(seen.size(), 1U);
}

TEST_F(Dispatch, SendsNothingOfItsOwn)
{
    mServer.registerCallBack(7, handle<1>);
    script({{1, 7, {"a"}}, {2, 8, {"b"}}, {2, 7, {}}});
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    EXPECT_THAT(mCalls, ElementsAre("receive binary -1", "receive binary -1", "receive binary -1"));
}

TEST_F(Dispatch, EndsAfterTheCallbackThatTerminatesIt)
{
    mServer.registerCallBack(7, handle<1>);
    whileHandling = [](MsgReplyServerChannel& channel) {
        if (seen.size() == 2) {
            channel.terminate();
        }
    };
    mPattern->onReceiveBinary = [](IpcMsg& msg) {
        append(msg, "a");
        msg.setMsgType(7);
        return msg.getNumParts();
    };
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    EXPECT_EQ(seen.size(), 2U);
    EXPECT_THAT(mCalls, ElementsAre("receive binary -1", "receive binary -1"));
    EXPECT_FALSE(mServer.mRunning);
}

TEST_F(Dispatch, RunsThoughItWasTerminatedBefore)
{
    mServer.registerCallBack(7, handle<1>);
    mServer.terminate();
    EXPECT_FALSE(mServer.mRunning);
    script({{-1, 0, {}}, {1, 7, {"a"}}});
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    EXPECT_EQ(seen.size(), 1U);
    EXPECT_EQ(mCalls.size(), 2U);
}

TEST_F(Dispatch, CallsBackOnceMoreWhenItIsTerminatedDuringTheReceive)
{
    mServer.registerCallBack(7, handle<1>);
    std::promise<void> inside;
    std::promise<void> terminated;
    mPattern->onReceiveBinary = [&](IpcMsg& msg) {
        EXPECT_TRUE(mServer.mRunning);
        inside.set_value();
        terminated.get_future().wait();
        append(msg, "a");
        msg.setMsgType(7);
        return 1;
    };
    auto loop = std::async(std::launch::async, [&] {
        return std::make_pair(mServer.ipcReceive(-1), std::this_thread::get_id());
    });
    inside.get_future().wait();
    {
        support::ZmqSpy zmq;
        zmq.watchAllThreads();
        mServer.terminate();
        EXPECT_THAT(zmq.takeCalls(), IsEmpty()) << "nothing is woken or closed";
    }
    terminated.set_value();
    const auto ended = loop.get();
    EXPECT_EQ(ended.first, 0);
    EXPECT_THAT(mCalls, ElementsAre("receive binary -1"));
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].thread, ended.second);
}

TEST_F(Dispatch, EndsInsideAndOutsideWhenACallbackEntersItAgain)
{
    mServer.registerCallBack(7, handle<1>);
    mServer.registerCallBack(8, handle<2>);
    static int entered;
    entered = -1;
    whileHandling = [](MsgReplyServerChannel& channel) {
        if (seen.size() == 1) {
            entered = channel.ipcReceive(5);
        } else {
            channel.terminate();
        }
    };
    int type = 7;
    mPattern->onReceiveBinary = [&](IpcMsg& msg) {
        append(msg, type == 7 ? "outer" : "inner");
        msg.setMsgType(type++);
        return 1;
    };
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    EXPECT_EQ(entered, 0);
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[0].bytes, "outer");
    EXPECT_EQ(seen[1].bytes, "inner") << "each has a message of its own";
    EXPECT_THAT(mCalls, ElementsAre("receive binary -1", "receive binary 5"));
}

TEST_F(Dispatch, StillCountsAsRunningWhenAnExceptionEndsIt)
{
    mServer.registerCallBack(7, handle<1>);
    mPattern->onReceiveBinary = [](IpcMsg&) -> int { throw std::runtime_error("no receive"); };
    EXPECT_EQ(thrownBy([&] { mServer.ipcReceive(-1); }), "std::runtime_error: no receive");
    EXPECT_TRUE(mServer.mRunning);
    mServer.terminate();

    mPattern->onReceiveBinary = [](IpcMsg&) -> int { throw 7; };
    EXPECT_THROW(mServer.ipcReceive(-1), int);
    EXPECT_TRUE(mServer.mRunning);
    mServer.terminate();
    EXPECT_THAT(seen, IsEmpty());

    mPattern->onReceiveBinary = [](IpcMsg& msg) {
        append(msg, "a");
        msg.setMsgType(7);
        return 1;
    };
    whileHandling = [](MsgReplyServerChannel&) { throw std::logic_error("no callback"); };
    EXPECT_EQ(thrownBy([&] { mServer.ipcReceive(-1); }), "std::logic_error: no callback");
    EXPECT_TRUE(mServer.mRunning);
    mServer.terminate();

    whileHandling = [](MsgReplyServerChannel&) { throw 8; };
    EXPECT_THROW(mServer.ipcReceive(-1), int);
    EXPECT_TRUE(mServer.mRunning);

    // It can be entered again, with a message that holds nothing yet.
    whileHandling = nullptr;
    script({{1, 7, {"again"}}});
    EXPECT_EQ(mServer.ipcReceive(-1), 0);
    EXPECT_EQ(seen.back().bytes, "again");
    EXPECT_FALSE(mServer.mRunning);
    EXPECT_EQ(mOut.take(), "");
    EXPECT_THAT(mLog.takeCalls(), IsEmpty());
}

TEST_F(Dispatch, SpinsWithALineEachTimeForAnInvalidTimeout)
{
    const std::string line = "receive: invalid input\n";
    for (const long timeout : {-2L, LONG_MIN}) {
        auto loop = std::async(std::launch::async, [&] { return mServer.ipcReceive(timeout); });
        const std::size_t before = mOut.handedOver();
        while (mOut.handedOver() < before + 100 * line.size()) {
            std::this_thread::yield();
        }
        mServer.terminate();
        EXPECT_EQ(loop.get(), 0);
        const std::string printed = mOut.take();
        ASSERT_EQ(printed.size() % line.size(), 0U);
        std::string expected;
        while (expected.size() < printed.size()) {
            expected += line;
        }
        EXPECT_TRUE(printed == expected);
        EXPECT_THAT(mCalls, IsEmpty());
        EXPECT_THAT(mLog.takeCalls(), IsEmpty());
    }
}

TEST_F(Dispatch, ServesManyRequestsInTheOrderOfTheirArrival)
{
    mServer.registerCallBack(0, handle<0>);
    mServer.registerCallBack(1, handle<1>);
    mServer.registerCallBack(2, handle<2>);
    std::vector<Step> steps;
    for (int i = 0; i < 500; ++i) {
        steps.push_back({i + 1, (i * i + i / 7) % 3, {std::to_string(i)}});
    }
    script(steps);
    EXPECT_EQ(mServer.ipcReceive(0), 0);
    ASSERT_EQ(seen.size(), steps.size());
    for (std::size_t i = 0; i < seen.size(); ++i) {
        EXPECT_EQ(seen[i].callback, steps[i].type);
        EXPECT_EQ(seen[i].bytes, "0");
        EXPECT_EQ(mHeld[i], static_cast<int>(i));
    }
}
