#include "ostrel/MsgChannel.h"

#include "channel/FakePattern.h"
#include "pattern/Messages.h"
#include "support/AllocFault.h"
#include "support/Stdout.h"
#include "support/SyslogSpy.h"
#include "support/Thrown.h"
#include "support/ZmqSpy.h"

#include <climits>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

using ostrel::IpcMsg;
using ostrel::PROP_DEALER_WORKER_ENDPOINT;
using ostrel::PROP_SERVER_ENDPOINT;
using ostrel::PROP_SUBSCRIBE;
using ostrel::StringMsg;
using support::AllocFault;
using support::append;
using support::FakePattern;
using support::partsOf;
using support::Stdout;
using support::SyslogSpy;
using support::textOf;
using support::thrownBy;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char sendProblem[] = "MsgChannel::send: problem with send ...\n";
const char noPattern[] = "MsgChannel::send: pvthandle is null ...\n";
const char invalidInput[] = "receive: invalid input\n";

/// A channel that can be given any pattern, or none.
class OpenChannel : public ostrel::MsgChannel {
public:
    explicit OpenChannel(const std::string& name) : MsgChannel(name) {}

    std::string getChannelName() override
    {
        return mChannelName;
    }

    using MsgChannel::mChannelName;
    using MsgChannel::pvthandle;
};

class Channel : public testing::Test {
protected:
    Channel() : mChannel("name"), mPattern(new FakePattern(mCalls))
    {
        mChannel.pvthandle = mPattern;
    }

    /// Nothing was printed or logged, and the pattern saw nothing.
    void expectNothing()
    {
        EXPECT_EQ(mOut.take(), "");
        EXPECT_THAT(mLog.takeCalls(), IsEmpty());
        EXPECT_THAT(mCalls, IsEmpty());
    }

    std::vector<std::string> mCalls;
    OpenChannel mChannel;
    FakePattern* mPattern; // The channel's.
    Stdout mOut;
    SyslogSpy mLog;
};

using ChannelText = Channel;
using ChannelBinary = Channel;
using ChannelProperty = Channel;

} // namespace

TEST(ChannelLife, BeginsWithItsNameAndWithoutAPattern)
{
    Stdout out;
    SyslogSpy log;
    support::ZmqSpy zmq;
    std::string name = "name";
    OpenChannel channel(name);
    name = "changed";
    EXPECT_EQ(channel.mChannelName, "name");
    EXPECT_EQ(channel.getChannelName(), "name");
    EXPECT_EQ(channel.pvthandle, nullptr);
    const OpenChannel nameless("");
    EXPECT_EQ(nameless.mChannelName, "") << "the name is the pattern's business";
    EXPECT_THAT(zmq.takeCalls(), IsEmpty());
    EXPECT_EQ(out.take(), "");
    EXPECT_THAT(log.takeCalls(), IsEmpty());
}

TEST(ChannelLife, EndsWithThatOfThePattern)
{
    std::vector<std::string> calls;
    {
        OpenChannel channel("name");
        channel.pvthandle = new FakePattern(calls);
        EXPECT_THAT(calls, IsEmpty());
    }
    EXPECT_THAT(calls, ElementsAre("deleted"));
    {
        auto* channel = new OpenChannel("name");
        channel->pvthandle = new FakePattern(calls);
        const ostrel::MsgChannel* base = channel;
        delete base;
    }
    EXPECT_THAT(calls, ElementsAre("deleted", "deleted"));
}

TEST(ChannelLife, EndsWithoutAPatternToo)
{
    support::ZmqSpy zmq;
    {
        const OpenChannel channel("name");
    }
    EXPECT_THAT(zmq.takeCalls(), IsEmpty());
}

TEST(ChannelLife, EndsOfTheDerivedChannelFirst)
{
    class Derived : public OpenChannel {
    public:
        explicit Derived(std::vector<std::string>& calls) : OpenChannel("name"), mOwnCalls(calls)
        {
            pvthandle = new FakePattern(calls);
        }
        ~Derived() override
        {
            mOwnCalls.emplace_back("derived");
        }

    private:
        std::vector<std::string>& mOwnCalls;
    };
    std::vector<std::string> calls;
    {
        const Derived channel(calls);
    }
    EXPECT_THAT(calls, ElementsAre("derived", "deleted"));
}

TEST_F(ChannelProperty, IsSetInThePatternWhoseResultItGives)
{
    for (const int result : {0, -1, 17}) {
        mPattern->onSetProperty = [=] { return result; };
        EXPECT_EQ(mChannel.setProperty(PROP_SERVER_ENDPOINT, "here"), result);
    }
    EXPECT_THAT(mCalls, ElementsAre("setProperty(0, here)", "setProperty(0, here)",
                                    "setProperty(0, here)"));
    mCalls.clear();
    EXPECT_EQ(mChannel.setProperty(PROP_DEALER_WORKER_ENDPOINT, ""), 17);
    EXPECT_EQ(mChannel.setProperty(PROP_SUBSCRIBE, std::string("a\0b", 3)), 17);
    EXPECT_THAT(mCalls,
                ElementsAre("setProperty(5, )", std::string("setProperty(2, a") + '\0' + "b)"));
    mCalls.clear();
    expectNothing();
}

TEST_F(ChannelProperty, HasAtMost255Characters)
{
    const std::string longest(255, 'v');
    EXPECT_EQ(mChannel.setProperty(PROP_SERVER_ENDPOINT, longest), 0);
    EXPECT_THAT(mCalls, ElementsAre("setProperty(0, " + longest + ")"));
    mCalls.clear();
    for (const std::string& value :
         {std::string(256, 'v'), std::string(256, '\0'), std::string(100000, '*')}) {
        EXPECT_EQ(mChannel.setProperty(PROP_SERVER_ENDPOINT, value), -1) << value.size();
    }
    expectNothing();
}

TEST_F(ChannelProperty, IsReadFromThePattern)
{
    const std::string value = std::string(1000, 'v') + std::string("\0x", 2);
    mPattern->onGetProperty = [&] { return value; };
    EXPECT_EQ(mChannel.getProperty(PROP_SUBSCRIBE), value);
    EXPECT_THAT(mCalls, ElementsAre("getProperty(2)"));
    mCalls.clear();
    expectNothing();
}

TEST_F(ChannelProperty, PassesOnWhatThePatternThrows)
{
    mPattern->onSetProperty = []() -> int { throw std::logic_error("not this"); };
    mPattern->onGetProperty = []() -> std::string { throw std::logic_error("not that"); };
    EXPECT_EQ(thrownBy([&] { mChannel.setProperty(PROP_SUBSCRIBE, "x"); }),
              "std::logic_error: not this");
    EXPECT_EQ(thrownBy([&] { mChannel.getProperty(PROP_SUBSCRIBE); }),
              "std::logic_error: not that");
    mCalls.clear();
    expectNothing();
}

TEST_F(ChannelText, IsSentWithTheTopicInFrontAndGivenBackAsItWas)
{
    std::vector<std::string> sent;
    StringMsg msg = textOf({"a", std::string("b\0c", 3), ""});
    const StringMsg* seen = nullptr;
    mPattern->onSendText = [&](StringMsg& text) {
        seen = &text;
        sent = partsOf(text);
        return text.getNumParts();
    };
    EXPECT_EQ(mChannel.send("topic", &msg), 3);
    EXPECT_EQ(seen, &msg);
    EXPECT_THAT(sent, ElementsAre("topic", "a", std::string("b\0c", 3), ""));
    EXPECT_THAT(partsOf(msg), ElementsAre("a", std::string("b\0c", 3), ""));
    EXPECT_THAT(mCalls, ElementsAre("send text"));
    mCalls.clear();
    expectNothing();
}

TEST_F(ChannelText, OfNoPartsIsSentAsItsTopicAlone)
{
    std::vector<std::string> sent;
    StringMsg msg(0);
    mPattern->onSendText = [&](StringMsg& text) {
        sent = partsOf(text);
        return text.getNumParts();
    };
    EXPECT_EQ(mChannel.send("", &msg), 0);
    EXPECT_THAT(sent, ElementsAre(""));
    EXPECT_EQ(msg.getNumParts(), 0);
}

TEST_F(ChannelText, HasATopicOfAtMost255Characters)
{
    std::vector<std::string> sent;
    mPattern->onSendText = [&](StringMsg& text) {
        sent = partsOf(text);
        return text.getNumParts();
    };
    StringMsg msg = textOf({"a"});
    const std::string longest(255, 't');
    EXPECT_EQ(mChannel.send(longest.c_str(), &msg), 1);
    EXPECT_THAT(sent, ElementsAre(longest, "a"));
    EXPECT_EQ(mOut.take(), "");

    mCalls.clear();
    for (const std::size_t length : {256U, 257U, 10000U}) {
        EXPECT_EQ(mChannel.send(std::string(length, 't').c_str(), &msg), -1);
        EXPECT_EQ(mOut.take(), sendProblem);
        EXPECT_THAT(partsOf(msg), ElementsAre("a"));
    }
    expectNothing();
}

TEST_F(ChannelText, IsNotSentWithoutATopicOrAMessage)
{
    const std::string tooLong(256, 't');
    StringMsg msg = textOf({"a"});
    struct Case {
        const char* topic;
        StringMsg* msg;
    };
    // A null topic must not be measured, nor a null message be written to.
    for (const Case& c : {Case{nullptr, &msg}, Case{nullptr, nullptr}, Case{"topic", nullptr},
                          Case{tooLong.c_str(), nullptr}}) {
        EXPECT_EQ(mChannel.send(c.topic, c.msg), -1);
        EXPECT_EQ(mOut.take(), sendProblem);
    }
    EXPECT_THAT(partsOf(msg), ElementsAre("a"));
    expectNothing();
}

TEST_F(ChannelText, CountsOnlyPartsOfItsOwnInAPositiveResult)
{
    struct Case {
        int pattern;
        int channel;
    };
    for (const Case& c : {Case{3, 2}, Case{2, 1}, Case{1, 0}, Case{0, 0}, Case{-1, -1},
                          Case{-7, -7}, Case{INT_MAX, INT_MAX - 1}, Case{INT_MIN, INT_MIN}}) {
        StringMsg msg = textOf({"a", "b"});
        mPattern->onSendText = [=](StringMsg&) { return c.pattern; };
        EXPECT_EQ(mChannel.send("topic", &msg), c.channel);
        EXPECT_THAT(partsOf(msg), ElementsAre("a", "b")) << "whatever the result";
    }
}

TEST_F(ChannelText, LosesItsFirstPartAfterASendWhateverThePatternLeft)
{
    StringMsg msg = textOf({"a", "b"});
    mPattern->onSendText = [](StringMsg& text) {
        text.setNumParts(0);
        return 3;
    };
    EXPECT_EQ(mChannel.send("topic", &msg), 2);
    EXPECT_EQ(msg.getNumParts(), 0) << "nothing to remove";
    EXPECT_THAT(mLog.takeCalls(), IsEmpty());

    msg = textOf({"a", "b"});
    mPattern->onSendText = [](StringMsg& text) {
        text.removePart(0);
        return 3;
    };
    EXPECT_EQ(mChannel.send("topic", &msg), 2);
    EXPECT_THAT(partsOf(msg), ElementsAre("b"));
}

TEST_F(ChannelText, KeepsTheTopicWhenThePatternThrows)
{
    StringMsg msg = textOf({"a"});
    mPattern->onSendText = [](StringMsg&) -> int { throw std::runtime_error("no"); };
    EXPECT_EQ(thrownBy([&] { mChannel.send("one", &msg); }), "std::runtime_error: no");
    EXPECT_THAT(partsOf(msg), ElementsAre("one", "a"));
    mPattern->onSendText = [](StringMsg&) -> int { throw 7; };
    EXPECT_THROW(mChannel.send("two", &msg), int);
    EXPECT_THAT(partsOf(msg), ElementsAre("two", "one", "a"));
    mCalls.clear();
    expectNothing();
}

TEST_F(ChannelText, IsNotTouchedWhenThereIsNoMemoryForTheTopic)
{
    const std::string topic(200, 't');
    bool happened = true;
    int failures = 0;
    for (int nth = 1; happened; ++nth) {
        ASSERT_LT(nth, 100);
        StringMsg msg = textOf({"a"});
        std::string thrown;
        {
            const AllocFault fault(nth);
            thrown = thrownBy([&] { mChannel.send(topic.c_str(), &msg); });
            happened = fault.happened();
        }
        EXPECT_THAT(partsOf(msg), ElementsAre("a"));
        if (happened) {
            ++failures;
            EXPECT_EQ(thrown, "std::bad_alloc: std::bad_alloc");
            EXPECT_THAT(mCalls, IsEmpty());
            for (const std::string& line : mLog.takeLines()) {
                EXPECT_EQ(line, "Error : Ostrel::StringMsg::insertPart() : std::bad_alloc");
            }
        } else {
            EXPECT_EQ(thrown, "nothing");
            EXPECT_THAT(mCalls, ElementsAre("send text"));
        }
    }
    EXPECT_GE(failures, 2) << "the text and the list";
    EXPECT_EQ(mOut.take(), "");
}

TEST_F(ChannelText, IsReceivedWithoutItsTopic)
{
    mPattern->onReceiveText = [](StringMsg& text) {
        text = textOf({"topic", "a", "b"});
        return 3;
    };
    std::string topic = "old and longer";
    StringMsg msg(0);
    for (const long timeout : {-1L, 0L, 1L, 5000L, LONG_MAX}) {
        mCalls.clear();
        EXPECT_EQ(mChannel.receive(topic, &msg, timeout), 2);
        EXPECT_EQ(topic, "topic");
        EXPECT_THAT(partsOf(msg), ElementsAre("a", "b"));
        EXPECT_THAT(mCalls, ElementsAre("receive text " + std::to_string(timeout)));
    }
    mCalls.clear();
    expectNothing();
}

TEST_F(ChannelText, IsNotReceivedWithoutAMessageOrBelowTheLeastTimeout)
{
    std::string topic = "topic";
    StringMsg msg = textOf({"a"});
    for (const long timeout : {-2L, -3L, LONG_MIN}) {
        EXPECT_EQ(mChannel.receive(topic, &msg, timeout), -1);
        EXPECT_EQ(mOut.take(), invalidInput);
    }
    for (const long timeout : {-2L, -1L, 0L, 5L}) {
        EXPECT_EQ(mChannel.receive(topic, nullptr, timeout), -1);
        EXPECT_EQ(mOut.take(), invalidInput);
    }
    EXPECT_EQ(topic, "topic");
    EXPECT_THAT(partsOf(msg), ElementsAre("a"));
    expectNothing();
}

TEST_F(ChannelText, GivesItsFirstPartAsTheTopicWhateverTheReceiveReturned)
{
    for (const int result : {3, 1, 0, -1, -9}) {
        SCOPED_TRACE(result);
        // Nothing arrives: what was there before counts just as much.
        mPattern->onReceiveText = [=](StringMsg&) { return result; };
        std::string topic = "old";
        StringMsg msg = textOf({"first", "a", "b"});
        EXPECT_EQ(mChannel.receive(topic, &msg, 0), 2);
        EXPECT_EQ(topic, "first");
        EXPECT_THAT(partsOf(msg), ElementsAre("a", "b"));

        StringMsg one = textOf({"only"});
        EXPECT_EQ(mChannel.receive(topic, &one, 0), 0);
        EXPECT_EQ(topic, "only");
        EXPECT_EQ(one.getNumParts(), 0);

        StringMsg none(0);
        EXPECT_EQ(mChannel.receive(topic, &none, 0), result);
        EXPECT_EQ(topic, "only");
        EXPECT_EQ(none.getNumParts(), 0);
    }
    mCalls.clear();
    expectNothing();
}

TEST_F(ChannelText, CutsTheTopicAtItsFirstZeroByte)
{
    struct Case {
        std::string part;
        std::string topic;
    };
    for (const Case& c :
         {Case{std::string("to\0pic", 6), "to"}, Case{std::string("\0topic", 6), ""}, Case{"", ""},
          Case{std::string("topic\0", 6), "topic"},
          Case{std::string(1000, 't'), std::string(1000, 't')}}) {
        mPattern->onReceiveText = [&](StringMsg& text) {
            text = textOf({c.part, "a"});
            return 2;
        };
        std::string topic = "old";
        StringMsg msg(0);
        EXPECT_EQ(mChannel.receive(topic, &msg, -1), 1);
        EXPECT_EQ(topic, c.topic);
        EXPECT_THAT(partsOf(msg), ElementsAre("a")) << "the part goes whole";
    }
}

TEST_F(ChannelText, IsLeftAsItIsWhenTheReceiveThrows)
{
    mPattern->onReceiveText = [](StringMsg&) -> int { throw std::runtime_error("no"); };
    std::string topic = "old";
    StringMsg msg = textOf({"a"});
    EXPECT_EQ(thrownBy([&] { mChannel.receive(topic, &msg, -1); }), "std::runtime_error: no");
    EXPECT_EQ(topic, "old");
    EXPECT_THAT(partsOf(msg), ElementsAre("a"));
    mCalls.clear();
    expectNothing();
}

TEST_F(ChannelText, IsAnsweredWhenPartsOfItsOwnWereSent)
{
    mPattern->onSendText = [](StringMsg& text) { return text.getNumParts(); };
    mPattern->onReceiveText = [](StringMsg& text) {
        text = textOf({"reply topic", "x", "y", "z"});
        return 4;
    };
    StringMsg request = textOf({"a"});
    StringMsg reply(0);
    std::string topic;
    EXPECT_EQ(mChannel.sendWaitResponse("topic", &request, topic, &reply, 77), 3);
    EXPECT_EQ(topic, "reply topic");
    EXPECT_THAT(partsOf(reply), ElementsAre("x", "y", "z"));
    EXPECT_THAT(partsOf(request), ElementsAre("a"));
    EXPECT_THAT(mCalls, ElementsAre("send text", "receive text 77"));

    mPattern->onReceiveText = [](StringMsg&) { return -1; };
    StringMsg none(0);
    EXPECT_EQ(mChannel.sendWaitResponse("topic", &request, topic, &none, -1), -1);
    EXPECT_EQ(topic, "reply topic");
    mCalls.clear();
    expectNothing();
}

TEST_F(ChannelText, IsNotAnsweredWhenNothingOfItsOwnWasSent)
{
    StringMsg reply = textOf({"old"});
    std::string topic = "old";
    StringMsg empty(0);
    mPattern->onSendText = [](StringMsg& text) { return text.getNumParts(); };
    EXPECT_EQ(mChannel.sendWaitResponse("topic", &empty, topic, &reply, -1), 0);
    EXPECT_THAT(mCalls, ElementsAre("send text"));
    StringMsg request = textOf({"a"});
    for (const int result : {1, 0, -1, -5}) {
        mCalls.clear();
        mPattern->onSendText = [=](StringMsg&) { return result; };
        EXPECT_EQ(mChannel.sendWaitResponse("topic", &request, topic, &reply, -1),
                  result == 1 ? 0 : result);
        EXPECT_THAT(mCalls, ElementsAre("send text"));
    }
    mCalls.clear();
    EXPECT_EQ(mChannel.sendWaitResponse(nullptr, &request, topic, &reply, -1), -1);
    EXPECT_EQ(mOut.take(), sendProblem);
    EXPECT_EQ(mChannel.sendWaitResponse("topic", nullptr, topic, &reply, -1), -1);
    EXPECT_EQ(mOut.take(), sendProblem);
    EXPECT_EQ(topic, "old");
    EXPECT_THAT(partsOf(reply), ElementsAre("old"));
    expectNothing();
}

TEST_F(ChannelText, IsSentBeforeTheArgumentsOfTheAnswerAreLookedAt)
{
    mPattern->onSendText = [](StringMsg& text) { return text.getNumParts(); };
    StringMsg request = textOf({"a"});
    StringMsg reply(0);
    std::string topic;
    EXPECT_EQ(mChannel.sendWaitResponse("topic", &request, topic, nullptr, -1), -1);
    EXPECT_EQ(mOut.take(), invalidInput);
    EXPECT_EQ(mChannel.sendWaitResponse("topic", &request, topic, &reply, -2), -1);
    EXPECT_EQ(mOut.take(), invalidInput);
    EXPECT_THAT(mCalls, ElementsAre("send text", "send text"));
}

TEST_F(ChannelBinary, IsSentAsItIs)
{
    IpcMsg msg(7, 8);
    append(msg, "a");
    const IpcMsg* seen = nullptr;
    for (const int result : {1, 9, 0, -1, -5}) {
        mCalls.clear();
        mPattern->onSendBinary = [&](IpcMsg& binary) {
            seen = &binary;
            EXPECT_THAT(partsOf(binary), ElementsAre("a"));
            return result;
        };
        EXPECT_EQ(mChannel.send(&msg), result);
        EXPECT_EQ(seen, &msg);
        EXPECT_THAT(mCalls, ElementsAre("send binary"));
    }
    EXPECT_THAT(partsOf(msg), ElementsAre("a"));
    EXPECT_EQ(msg.getMsgType(), 7);
    EXPECT_EQ(msg.getMsgSubType(), 8);
    mCalls.clear();
    expectNothing();
}

TEST_F(ChannelBinary, IsNotSentWithoutAMessageOrAPattern)
{
    IpcMsg* null = nullptr;
    EXPECT_EQ(mChannel.send(null), -1);
    EXPECT_EQ(mOut.take(), sendProblem);

    OpenChannel without("name");
    IpcMsg msg(7, 8);
    EXPECT_EQ(without.send(&msg), -1);
    EXPECT_EQ(mOut.take(), noPattern);
    EXPECT_EQ(without.send(null), -1);
    EXPECT_EQ(mOut.take(), sendProblem) << "the message is looked at first";
    IpcMsg reply;
    EXPECT_EQ(without.sendWaitResponse(&msg, &reply, -1), -1);
    EXPECT_EQ(mOut.take(), noPattern);
    expectNothing();
}

TEST_F(ChannelBinary, IsReceivedIntoTheCallersMessage)
{
    IpcMsg msg(7, 8);
    append(msg, "old");
    const IpcMsg* seen = nullptr;
    for (const long timeout : {-1L, 0L, 1L, LONG_MAX}) {
        for (const int result : {1, 9, 0, -1, -5}) {
            mCalls.clear();
            mPattern->onReceiveBinary = [&](IpcMsg& binary) {
                seen = &binary;
                return result;
            };
            EXPECT_EQ(mChannel.receive(&msg, timeout), result);
            EXPECT_EQ(seen, &msg);
            EXPECT_THAT(mCalls, ElementsAre("receive binary " + std::to_string(timeout)));
        }
    }
    EXPECT_THAT(partsOf(msg), ElementsAre("old")) << "the channel takes nothing off";
    mCalls.clear();
    expectNothing();
}

TEST_F(ChannelBinary, IsNotReceivedWithoutAMessageOrBelowTheLeastTimeout)
{
    IpcMsg msg;
    for (const long timeout : {-2L, LONG_MIN}) {
        EXPECT_EQ(mChannel.receive(&msg, timeout), -1);
        EXPECT_EQ(mOut.take(), invalidInput);
    }
    for (const long timeout : {-2L, -1L, 0L, 5L}) {
        EXPECT_EQ(mChannel.receive(nullptr, timeout), -1);
        EXPECT_EQ(mOut.take(), invalidInput);
    }
    expectNothing();
}

TEST_F(ChannelBinary, PassesOnWhatThePatternThrows)
{
    mPattern->onSendBinary = [](IpcMsg&) -> int { throw std::runtime_error("not out"); };
    mPattern->onReceiveBinary = [](IpcMsg&) -> int { throw std::runtime_error("not in"); };
    IpcMsg msg;
    EXPECT_EQ(thrownBy([&] { mChannel.send(&msg); }), "std::runtime_error: not out");
    EXPECT_EQ(thrownBy([&] { mChannel.receive(&msg, -1); }), "std::runtime_error: not in");
    EXPECT_EQ(thrownBy([&] { mChannel.sendWaitResponse(&msg, &msg, -1); }),
              "std::runtime_error: not out");
    mPattern->onSendBinary = [](IpcMsg&) { return 1; };
    EXPECT_EQ(thrownBy([&] { mChannel.sendWaitResponse(&msg, &msg, -1); }),
              "std::runtime_error: not in");
    mCalls.clear();
    expectNothing();
}

TEST_F(ChannelBinary, IsAnsweredWhenAPartWasSent)
{
    const IpcMsg* sent = nullptr;
    const IpcMsg* received = nullptr;
    IpcMsg request;
    IpcMsg reply;
    for (const int result : {5, 0, -1}) {
        mCalls.clear();
        mPattern->onSendBinary = [&](IpcMsg& msg) {
            sent = &msg;
            return 1;
        };
        mPattern->onReceiveBinary = [&](IpcMsg& msg) {
            received = &msg;
            return result;
        };
        EXPECT_EQ(mChannel.sendWaitResponse(&request, &reply, 42), result);
        EXPECT_EQ(sent, &request);
        EXPECT_EQ(received, &reply);
        EXPECT_THAT(mCalls, ElementsAre("send binary", "receive binary 42"));
    }
    mCalls.clear();
    expectNothing();
}

TEST_F(ChannelBinary, IsNotAnsweredWhenNothingWasSent)
{
    IpcMsg request;
    IpcMsg reply;
    for (const int result : {0, -1, -5}) {
        mCalls.clear();
        mPattern->onSendBinary = [=](IpcMsg&) { return result; };
        EXPECT_EQ(mChannel.sendWaitResponse(&request, &reply, -1), result);
        EXPECT_THAT(mCalls, ElementsAre("send binary"));
    }
    mCalls.clear();
    IpcMsg* null = nullptr;
    EXPECT_EQ(mChannel.sendWaitResponse(null, &reply, -1), -1);
    EXPECT_EQ(mOut.take(), sendProblem);
    expectNothing();
    mPattern->onSendBinary = [](IpcMsg&) { return 1; };
    EXPECT_EQ(mChannel.sendWaitResponse(&request, null, -1), -1);
    EXPECT_EQ(mChannel.sendWaitResponse(&request, &reply, -2), -1);
    EXPECT_EQ(mOut.take(), std::string(invalidInput) + invalidInput);
    EXPECT_THAT(mCalls, ElementsAre("send binary", "send binary"));
}

TEST(ChannelWithoutPattern, ChecksArgumentsBeforeItWouldNeedThePattern)
{
    Stdout out;
    OpenChannel channel("name");
    std::string topic;
    StringMsg text(0);
    IpcMsg binary;
    EXPECT_EQ(channel.setProperty(PROP_SERVER_ENDPOINT, std::string(256, 'v')), -1);
    EXPECT_EQ(out.take(), "");
    EXPECT_EQ(channel.send(nullptr, &text), -1);
    EXPECT_EQ(out.take(), sendProblem);
    EXPECT_EQ(channel.receive(topic, &text, -2), -1);
    EXPECT_EQ(out.take(), invalidInput);
    EXPECT_EQ(channel.receive(&binary, -2), -1);
    EXPECT_EQ(out.take(), invalidInput);
}

TEST(ChannelWithoutPatternDeathTest, LooksForThePatternInTheBinarySendOnly)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    OpenChannel channel("name");
    std::string topic;
    StringMsg text(0);
    IpcMsg binary;
    EXPECT_DEATH(channel.setProperty(PROP_SERVER_ENDPOINT, "here"), "");
    EXPECT_DEATH(channel.getProperty(PROP_SERVER_ENDPOINT), "");
    EXPECT_DEATH(channel.send("topic", &text), "");
    EXPECT_DEATH(channel.receive(topic, &text, 0), "");
    EXPECT_DEATH(channel.receive(&binary, 0), "");
    EXPECT_EQ(channel.send(&binary), -1);
}
