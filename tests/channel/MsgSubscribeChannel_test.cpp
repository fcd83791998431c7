#include "ostrel/MsgSubscribeChannel.h"

#include "channel/WithoutPattern.h"
#include "pattern/Feed.h"
#include "pattern/Watch.h"

#include <atomic>
#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <zmq.h>

using namespace watch;
using ostrel::IpcMsg;
using ostrel::MsgChannel;
using ostrel::MsgSubscribeChannel;
using ostrel::PROP_PUBLISHER_ENDPOINT;
using ostrel::StringMsg;
using support::Stdout;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string setting = "Error : Ostrel::MsgSubscribePattern::setProperty() : ";
const std::string sending = "Error : Ostrel::MsgSubscribePattern::send() : ";
const std::string receiving = "Error : Ostrel:: MsgSubscribePattern::receive() : ";

const Outcome accepted = {"0", "", {}, {}};

Outcome refused(const std::string& prefix, const std::string& what)
{
    return {"logic_error: " + what, "", {prefix + what}, {}};
}

class OwnChannel : public MsgSubscribeChannel {
public:
    using MsgSubscribeChannel::mChannelType;
    using MsgSubscribeChannel::MsgSubscribeChannel;
    using MsgSubscribeChannel::pvthandle;
};

/// One call of a callback.
struct Call {
    int callback;
    std::string data;
    bool null; ///< Whether there was no data at all.
    MsgSubscribeChannel* channel;
    std::thread::id thread;
};

std::vector<Call> calls;

/// What a callback does besides.
std::function<void(MsgSubscribeChannel&)> then;

template <int number> void callback(const char* data, int size, MsgSubscribeChannel* channel)
{
    calls.push_back({number, std::string(data, data + size), data == nullptr, channel,
                     std::this_thread::get_id()});
    if (then) {
        then(*channel);
    }
}

constexpr int lastType = 99;

void stop(const char* data, int size, MsgSubscribeChannel* channel)
{
    callback<lastType>(data, size, channel);
    channel->terminate();
}

/// Which callback was called with which bytes.
std::vector<std::pair<int, std::string>> called()
{
    std::vector<std::pair<int, std::string>> all;
    for (const Call& call : calls) {
        all.emplace_back(call.callback, call.data);
    }
    calls.clear();
    return all;
}

std::pair<int, std::string> with(int number, const std::string& data)
{
    return {number, data};
}

class SubscribeChannel : public testing::Test {
protected:
    SubscribeChannel()
    {
        calls.clear();
        then = nullptr;
    }

    Outcome set(const std::string& to)
    {
        return watch([&] { return channel.setPublisherEndPoint(to); });
    }

    Outcome subscribe(const std::string& topic)
    {
        return watch([&] { return channel.subscribe(topic); });
    }

    Outcome unsubscribe(const std::string& topic)
    {
        return watch([&] { return channel.unsubscribe(topic); });
    }

    /// Connects to the feed, for everything.
    void connect()
    {
        ASSERT_EQ(set(feed.at()).result, "0");
        feed.awaitFilters(1);
    }

    void send(int type, const Frames& parts)
    {
        Frames frames = {header(type, 258)};
        frames.insert(frames.end(), parts.begin(), parts.end());
        feed.send(frames);
    }

    Outcome loop(long timeout = -1)
    {
        return watch([&] { return channel.ipcReceive(timeout); });
    }

    Watch watch;
    Feed feed;
    OwnChannel channel{"news"};
};

const Lines receivedOnePart = joined({received("s1", 0), received("s1", 0)});

std::string printedOnePart(int size)
{
    return attempt + gotHeader() + attempt + gotPart(size);
}

} // namespace

TEST_F(SubscribeChannel, IsMadeQuietlyWithItsPattern)
{
    std::unique_ptr<OwnChannel> made;
    EXPECT_EQ(watch([&] { made = std::make_unique<OwnChannel>("more news"); }),
              (Outcome{"done", "", {}, {}}));
    EXPECT_NE(made->pvthandle, nullptr);
    EXPECT_EQ(made->mChannelType, 1);
    EXPECT_FALSE(made->mRunning);
    EXPECT_TRUE(made->mCallbacks.empty());
    EXPECT_EQ(watch([&] { made.reset(); }), (Outcome{"done", "", {}, {}}));
}

TEST_F(SubscribeChannel, TellsItsNameThroughTheBaseToo)
{
    MsgChannel& base = channel;
    EXPECT_EQ(watch([&] { return base.getChannelName(); }), (Outcome{"news", "", {}, {}}));
}

TEST_F(SubscribeChannel, IsMadeWithoutAPatternWhenItHasNoName)
{
    expectMadeWithoutAName<OwnChannel>(watch);
}

TEST_F(SubscribeChannel, IsMadeWithoutAPatternWhenThereIsNoMemoryForIt)
{
    expectMadeWithoutMemoryForThePattern<OwnChannel>(watch);
}

TEST(SubscribeChannelWithoutTransport, IsMadeWithoutAPattern)
{
    expectMadeWithoutATransport<OwnChannel>();
}

TEST(SubscribeChannelWithoutTransport, SwallowsWhatIsNoStandardExceptionToo)
{
    expectMadeWhenAForeignFailureEndsThePattern<OwnChannel>();
}

TEST_F(SubscribeChannel, ConnectsAtTheMomentItsEndpointIsSetWithTheTopicsOfThatMoment)
{
    EXPECT_EQ(subscribe("b"), accepted);
    EXPECT_EQ(subscribe("a"), accepted);
    EXPECT_EQ(subscribe("c"), accepted);
    EXPECT_EQ(unsubscribe("a"), accepted);
    EXPECT_EQ(set(feed.at()),
              (Outcome{"0",
                       "",
                       {},
                       joined({created("s1", ZMQ_SUB), subscribed("s1", "b"), subscribed("s1", "c"),
                               connected("s1", feed.at())})}));
    EXPECT_EQ(channel.getProperty(PROP_PUBLISHER_ENDPOINT), feed.at());
    EXPECT_EQ(set("tcp://127.0.0.1:1"),
              refused(setting, "Publisher Endpoint already set : " + feed.at()));
    EXPECT_EQ(set("tcp://*:1"), refused(setting, "Invalid Endpoint : tcp://*:1"));
}

TEST_F(SubscribeChannel, PassesOnThatTheEndpointCannotBeConnectedTo)
{
    const std::string bad = "nowhere://x";
    const Outcome outcome = set(bad);
    EXPECT_EQ(outcome,
              failed(loggedWith(setting, connectFailure(bad, "Protocol not supported")), outcome));
    EXPECT_EQ(set(feed.at()), refused(setting, "Publisher Endpoint already set : " + bad));
}

TEST_F(SubscribeChannel, HoldsEveryTopicOnce)
{
    EXPECT_EQ(unsubscribe("x"), refused(setting, "Cannot remove unset filter"));
    EXPECT_EQ(subscribe("x"), accepted);
    EXPECT_EQ(subscribe("x"), refused(setting, "Filter already exists"));
    EXPECT_EQ(unsubscribe("x"), accepted);
    EXPECT_EQ(unsubscribe("x"), refused(setting, "Cannot remove unset filter"));
}

TEST_F(SubscribeChannel, RefusesTextsOfMoreThan255CharactersWithoutAskingThePattern)
{
    const Outcome tooLong = {"-1", "", {}, {}};
    const std::string longest(255, '*');
    EXPECT_EQ(subscribe(longest + "*"), tooLong);
    EXPECT_EQ(subscribe(longest + "*"), tooLong);
    EXPECT_EQ(unsubscribe(longest + "*"), tooLong);
    EXPECT_EQ(set(longest + "*"), tooLong);
    EXPECT_EQ(subscribe(std::string(256, '\0')), tooLong);
    EXPECT_EQ(subscribe(longest), accepted);
    EXPECT_EQ(subscribe(longest), refused(setting, "Filter already exists"));
    EXPECT_EQ(unsubscribe(longest), accepted);
    EXPECT_EQ(unsubscribe(longest), refused(setting, "Cannot remove unset filter"));
    EXPECT_EQ(set(longest), refused(setting, "Invalid Endpoint : " + longest));
    EXPECT_EQ(set(feed.at()).calls,
              joined({created("s1", ZMQ_SUB), subscribed("s1", ""), connected("s1", feed.at())}));
}

TEST_F(SubscribeChannel, DoesNotHearTopicsThatCameAfterItsEndpoint)
{
    ASSERT_EQ(subscribe("a"), accepted);
    connect();
    EXPECT_EQ(subscribe("b"), accepted);
    EXPECT_EQ(unsubscribe("a"), accepted);
    feed.send({"b", "not heard"});
    feed.send({"a", "heard"});
    StringMsg msg(0);
    std::string topic;
    EXPECT_EQ(watch([&] { return channel.receive(topic, &msg, -1); }).result, "1");
    EXPECT_EQ(topic, "a");
    EXPECT_EQ(partsOf(msg), Frames{"heard"});
}

TEST_F(SubscribeChannel, NeverSends)
{
    const Outcome never = refused(sending, "send() Operation NOT permitted for SUBSCRIBER");
    StringMsg words = text({"a"});
    IpcMsg bytes = binary(7, 258, {"a"});
    EXPECT_EQ(watch([&] { return channel.send("topic", &words); }), never);
    EXPECT_EQ(watch([&] { return channel.send(&bytes); }), never);
    // The topic stays in a message whose sending threw.
    EXPECT_EQ(partsOf(words), (Frames{"topic", "a"}));
    EXPECT_EQ(set(feed.at()).result, "0");
}

TEST_F(SubscribeChannel, ReceivesSingleMessagesToo)
{
    connect();
    send(7, {"a", "b"});
    IpcMsg msg;
    EXPECT_EQ(watch([&] { return static_cast<MsgChannel&>(channel).receive(&msg, -1); }).result,
              "2");
    EXPECT_EQ(msg.getMsgType(), 7);
    EXPECT_EQ(partsOf(msg), (Frames{"a", "b"}));
}

TEST_F(SubscribeChannel, KeepsTheFirstCallbackOfAType)
{
    EXPECT_EQ(watch([&] { return channel.registerCallBack(7, callback<1>); }),
              (Outcome{"1", "", {}, {}}));
    EXPECT_EQ(watch([&] { return channel.registerCallBack(7, callback<2>); }), accepted);
    EXPECT_EQ(channel.registerCallBack(7, nullptr), 0);
    EXPECT_EQ(channel.registerCallBack(lastType, stop), 1);
    connect();
    send(7, {"a"});
    send(lastType, {""});
    loop();
    EXPECT_THAT(called(), ElementsAre(with(1, "a"), with(lastType, "a")));
}

TEST_F(SubscribeChannel, CallsTheCallbackOfEachTypeWithTheFirstBytesOfAll)
{
    channel.registerCallBack(7, callback<7>);
    channel.registerCallBack(-8, callback<8>);
    channel.registerCallBack(0, callback<0>);
    channel.registerCallBack(lastType, stop);
    connect();
    const std::string first("A\0a", 3);
    send(7, {first, "second part"});
    send(-8, {"B"});
    send(0, {"C"});
    send(7, {"D"});
    send(lastType, {"end"});
    EXPECT_EQ(loop(), (Outcome{"0",
                               attempt + gotHeader() + attempt + gotPart(3) + attempt +
                                   gotPart(11) + printedOnePart(1) + printedOnePart(1) +
                                   printedOnePart(1) + printedOnePart(3),
                               {},
                               joined({received("s1", 0), receivedOnePart, receivedOnePart,
                                       receivedOnePart, receivedOnePart, receivedOnePart})}));
    for (const Call& call : calls) {
        EXPECT_EQ(call.channel, &channel);
        EXPECT_EQ(call.thread, std::this_thread::get_id());
    }
    EXPECT_THAT(called(), ElementsAre(with(7, first), with(8, first), with(0, first),
                                      with(7, first), with(lastType, first)));
}

TEST_F(SubscribeChannel, DropsTypesWithoutACallbackButKeepsTheirBytes)
{
    channel.registerCallBack(7, callback<7>);
    channel.registerCallBack(lastType, stop);
    connect();
    send(6, {"of no use"});
    send(7, {"A"});
    send(lastType, {""});
    EXPECT_EQ(loop().printed, printedOnePart(9) + printedOnePart(1) + printedOnePart(0));
    EXPECT_THAT(called(), ElementsAre(with(7, "of no use"), with(lastType, "of no use")));
}

TEST_F(SubscribeChannel, DropsMessagesForACallbackThatIsNone)
{
    EXPECT_EQ(channel.registerCallBack(7, nullptr), 1);
    EXPECT_EQ(channel.registerCallBack(7, callback<7>), 0);
    channel.registerCallBack(lastType, stop);
    connect();
    send(7, {"A"});
    send(lastType, {""});
    EXPECT_EQ(loop(), (Outcome{"0",
                               printedOnePart(1) + printedOnePart(0),
                               {},
                               joined({receivedOnePart, receivedOnePart})}));
    EXPECT_THAT(called(), ElementsAre(with(lastType, "A")));
}

TEST_F(SubscribeChannel, CallsNobodyForAHeaderAloneUntilItHoldsAPart)
{
    channel.registerCallBack(7, callback<7>);
    channel.registerCallBack(lastType, stop);
    connect();
    send(7, {});
    send(7, {"A"});
    send(lastType, {});
    loop();
    EXPECT_THAT(called(), ElementsAre(with(7, "A"), with(lastType, "A")));
}

TEST_F(SubscribeChannel, GivesACallbackNoBytesForAnEmptyPart)
{
    channel.registerCallBack(lastType, stop);
    connect();
    send(lastType, {""});
    loop();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_TRUE(calls[0].null);
    EXPECT_EQ(calls[0].data, "");
}

TEST_F(SubscribeChannel, EndsRightAfterTheCallbackThatTerminatesItAndStartsAfresh)
{
    channel.registerCallBack(7, callback<7>);
    channel.registerCallBack(lastType, stop);
    connect();
    send(lastType, {"first end"});
    send(7, {"A"});
    send(lastType, {"second end"});
    EXPECT_EQ(loop(), (Outcome{"0", printedOnePart(9), {}, receivedOnePart}));
    EXPECT_FALSE(channel.mRunning);
    EXPECT_THAT(called(), ElementsAre(with(lastType, "first end")));
    then = [](MsgSubscribeChannel& own) { EXPECT_TRUE(own.mRunning); };
    EXPECT_EQ(loop().result, "0");
    EXPECT_THAT(called(), ElementsAre(with(7, "A"), with(lastType, "A")));
}

TEST_F(SubscribeChannel, ForgetsATerminateFromBeforeTheLoop)
{
    channel.registerCallBack(lastType, stop);
    connect();
    EXPECT_EQ(watch([&] { channel.terminate(); }), (Outcome{"done", "", {}, {}}));
    send(lastType, {"end"});
    EXPECT_EQ(loop().result, "0");
    EXPECT_THAT(called(), ElementsAre(with(lastType, "end")));
}

TEST_F(SubscribeChannel, StillDispatchesTheMessageOfTheReceiveThatIsInProgress)
{
    channel.registerCallBack(7, callback<7>);
    connect();
    watch.zmq.onCall([&](const std::string& call) {
        if (call == "zmq_recvmsg(s1, 0)") {
            channel.terminate();
        }
    });
    send(7, {"A"});
    send(7, {"B"});
    EXPECT_EQ(loop(), (Outcome{"0", printedOnePart(1), {}, receivedOnePart}));
    EXPECT_THAT(called(), ElementsAre(with(7, "A")));
    watch.zmq.onCall(nullptr);
}

TEST_F(SubscribeChannel, GoesOnWhenNothingArrives)
{
    connect();
    const struct {
        long timeout;
        std::string printed;
        Lines calls;
    } rows[] = {
        {0, attempt + "receive: timeout\n", missed("s1")},
        {5000, attempt + "nothing to received\n", joined({missed("s1"), {"zmq_poll(s1, 1, 0)"}})},
    };
    for (const auto& row : rows) {
        int tries = 0;
        watch.zmq.onCall([&](const std::string& call) {
            if (call == "zmq_recvmsg(s1, 1)" && ++tries == 3) {
                channel.terminate();
            }
        });
        EXPECT_EQ(loop(row.timeout), (Outcome{"0",
                                              row.printed + row.printed + row.printed,
                                              {},
                                              joined({row.calls, row.calls, row.calls})}));
        watch.zmq.onCall(nullptr);
    }
}

TEST_F(SubscribeChannel, IsTerminatedByAnotherThread)
{
    channel.registerCallBack(7, callback<7>);
    connect();
    std::promise<void> heard;
    then = [&](MsgSubscribeChannel&) { heard.set_value(); };
    send(7, {"A"});
    int result = -2;
    {
        const Stdout out;
        std::thread looping([&] { result = channel.ipcReceive(0); });
        heard.get_future().wait();
        channel.terminate();
        looping.join();
    }
    EXPECT_EQ(result, 0);
    EXPECT_THAT(called(), ElementsAre(with(7, "A")));
}

TEST_F(SubscribeChannel, SpinsOnATimeoutThatIsNoneUntilItIsTerminated)
{
    connect();
    const std::string invalid = "receive: invalid input\n";
    std::string printed;
    int result = -2;
    {
        Stdout out;
        std::thread looping([&] { result = channel.ipcReceive(-2); });
        // Asking the stream itself would have to wait for a thread that hardly lets go of it.
        while (out.handedOver() < 3 * invalid.size()) {
            std::this_thread::yield();
        }
        channel.terminate();
        looping.join();
        printed += out.take();
    }
    EXPECT_EQ(result, 0);
    for (std::size_t at = 0; at < printed.size(); at += invalid.size()) {
        ASSERT_EQ(printed.substr(at, invalid.size()), invalid);
    }
}

TEST_F(SubscribeChannel, PassesOnWhatACallbackThrowsAndCanLoopAgain)
{
    channel.registerCallBack(7, callback<7>);
    channel.registerCallBack(lastType, stop);
    connect();
    send(7, {"A"});
    send(7, {"B"});
    send(lastType, {"C"});
    then = [](MsgSubscribeChannel&) { throw std::runtime_error("mine"); };
    EXPECT_EQ(loop(), (Outcome{"runtime_error: mine", printedOnePart(1), {}, receivedOnePart}));
    EXPECT_TRUE(channel.mRunning);
    then = [](MsgSubscribeChannel&) { throw Foreign(); };
    EXPECT_EQ(loop(), (Outcome{"foreign", printedOnePart(1), {}, receivedOnePart}));
    then = nullptr;
    EXPECT_EQ(loop().result, "0");
    EXPECT_THAT(called(), ElementsAre(with(7, "A"), with(7, "B"), with(lastType, "C")));
}

TEST_F(SubscribeChannel, EndsWithEveryFailureOfAReceive)
{
    channel.registerCallBack(7, callback<7>);
    connect();
    const Failures failures =
        loggedWith(receiving, receiveFailures({{attempt, gotHeader()}, {attempt, gotPart(1)}}));
    for (std::size_t nth = 1; nth <= failures.size(); ++nth) {
        SCOPED_TRACE(nth);
        OwnChannel own("news");
        own.registerCallBack(7, callback<7>);
        Watch seen;
        Feed fresh;
        seen([&] { return own.setPublisherEndPoint(fresh.at()); });
        fresh.awaitFilters(1);
        fresh.send({header(7, 258), "a"});
        seen.zmq.failNth(static_cast<int>(nth), EIO);
        const Outcome outcome = seen([&] { return own.ipcReceive(-1); });
        EXPECT_EQ(outcome, failed(failures[nth - 1], outcome));
        expectStopAt(nth, receivedOnePart, outcome.calls);
        EXPECT_TRUE(own.mRunning);
    }
    EXPECT_THAT(called(), IsEmpty());
}

TEST_F(SubscribeChannel, ConnectsToTheEmptyEndpointForGoodWhenItLoopsBeforeItHasOne)
{
    const Outcome outcome = loop();
    EXPECT_EQ(outcome,
              failed(loggedWith(receiving, connectFailure("", "Invalid argument")), outcome));
    EXPECT_EQ(set(feed.at()), refused(setting, "Publisher Endpoint already set : "));
}
