#include "ostrel/MsgPublishChannel.h"

#include "channel/WithoutPattern.h"
#include "pattern/Watch.h"
#include "support/Endpoint.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <zmq.h>

using namespace watch;
using ostrel::IpcMsg;
using ostrel::MsgChannel;
using ostrel::MsgPublishChannel;
using ostrel::PROP_PUBLISHER_ENDPOINT;
using ostrel::StringMsg;
using support::IpcEndpoint;
using support::RawSocket;

namespace {

const std::string setting = "Error : Ostrel::MsgPublishPattern::setProperty() : ";
const std::string sending = "Error : Ostrel::MsgPublishPattern::send() : ";
const std::string receiving = "Error : Ostrel:: MsgPublishPattern::receive() : ";

Outcome refused(const std::string& prefix, const std::string& what)
{
    return {"logic_error: " + what, "", {prefix + what}, {}};
}

class OwnChannel : public MsgPublishChannel {
public:
    using MsgPublishChannel::mChannelType;
    using MsgPublishChannel::MsgPublishChannel;
    using MsgPublishChannel::pvthandle;
};

class PublishChannel : public testing::Test {
protected:
    Outcome set(const std::string& to)
    {
        return watch([&] { return channel.setPublisherEndPoint(to); });
    }

    Outcome ipcSend(int type, std::string data)
    {
        return watch(
            [&] { return channel.ipcSend(type, data.data(), static_cast<int>(data.size())); });
    }

    Watch watch;
    IpcEndpoint endpoint;
    const std::string at = endpoint.text();
    OwnChannel channel{"news"};
};

} // namespace

TEST_F(PublishChannel, IsMadeQuietlyWithItsPattern)
{
    std::unique_ptr<OwnChannel> made;
    EXPECT_EQ(watch([&] { made = std::make_unique<OwnChannel>("more news"); }),
              (Outcome{"done", "", {}, {}}));
    EXPECT_NE(made->pvthandle, nullptr);
    EXPECT_EQ(made->mChannelType, 1);
    EXPECT_EQ(watch([&] { made.reset(); }), (Outcome{"done", "", {}, {}}));
}

TEST_F(PublishChannel, TellsItsNameThroughTheBaseToo)
{
    MsgChannel& base = channel;
    EXPECT_EQ(watch([&] { return base.getChannelName(); }), (Outcome{"news", "", {}, {}}));
    EXPECT_EQ(MsgPublishChannel(std::string("a\0b", 3)).getChannelName(), std::string("a\0b", 3));
}

TEST_F(PublishChannel, IsMadeWithoutAPatternWhenItHasNoName)
{
    expectMadeWithoutAName<OwnChannel>(watch);
}

TEST_F(PublishChannel, AnswersEveryIpcSendWithoutAPattern)
{
    std::unique_ptr<OwnChannel> made;
    watch([&] { made = std::make_unique<OwnChannel>(""); });
    char data[] = "abc";
    EXPECT_EQ(watch([&] { return made->ipcSend(7, data, 3); }),
              (Outcome{"-1", "MsgChannel::send: pvthandle is null ...\n", {}, {}}));
}

TEST_F(PublishChannel, IsMadeWithoutAPatternWhenThereIsNoMemoryForIt)
{
    expectMadeWithoutMemoryForThePattern<OwnChannel>(watch);
}

TEST(PublishChannelWithoutTransport, IsMadeWithoutAPattern)
{
    expectMadeWithoutATransport<OwnChannel>();
}

TEST(PublishChannelWithoutTransport, SwallowsWhatIsNoStandardExceptionToo)
{
    expectMadeWhenAForeignFailureEndsThePattern<OwnChannel>();
}

TEST_F(PublishChannel, BindsAtTheMomentItsEndpointIsSet)
{
    EXPECT_EQ(set(at), (Outcome{"0", "", {}, joined({created("s1", ZMQ_PUB), bound("s1", at)})}));
    EXPECT_EQ(channel.getProperty(PROP_PUBLISHER_ENDPOINT), at);
    EXPECT_EQ(set("tcp://127.0.0.1:1"), refused(setting, "Publisher Endpoint already set : " + at));
    EXPECT_EQ(set("tcp://*:1"), refused(setting, "Invalid Endpoint : tcp://*:1"));
}

TEST_F(PublishChannel, PassesOnThatTheEndpointCannotBeBound)
{
    RawSocket first(ZMQ_PUB);
    const std::string taken = first.bind("tcp://127.0.0.1:*");
    const Outcome outcome = set(taken);
    EXPECT_EQ(outcome,
              failed(loggedWith(setting, bindFailure(taken, "Address already in use")), outcome));
    EXPECT_EQ(set(at), refused(setting, "Publisher Endpoint already set : " + taken));
}

TEST_F(PublishChannel, RefusesEndpointsOfMoreThan255CharactersWithoutAskingThePattern)
{
    EXPECT_EQ(set(std::string(256, '*')), (Outcome{"-1", "", {}, {}}));
    const std::string longest(255, '*');
    EXPECT_EQ(set(longest), refused(setting, "Invalid Endpoint : " + longest));
    EXPECT_EQ(set(at).result, "0");
}

TEST_F(PublishChannel, SendsACopyOfTheBytesAsOnePart)
{
    ASSERT_EQ(set(at).result, "0");
    char data[] = {'a', '\0', 'b'};
    EXPECT_EQ(watch([&] { return channel.ipcSend(7, data, 3); }),
              (Outcome{"1",
                       "",
                       {},
                       joined({sent("s1", false, 8, R"(\x00\x00\x00\x07\x00\x00\x00\x00)"),
                               sent("s1", true, 3, R"(a\x00b)")})}));
    EXPECT_EQ(std::string(data, 3), std::string("a\0b", 3));
    EXPECT_EQ(ipcSend(-1, ""),
              (Outcome{"1",
                       "",
                       {},
                       joined({sent("s1", false, 8, R"(\xff\xff\xff\xff\x00\x00\x00\x00)"),
                               sent("s1", true, 0, "")})}));
    EXPECT_EQ(watch([&] { return channel.ipcSend(7, nullptr, 0); }).result, "1");
}

TEST_F(PublishChannel, PassesOnEveryFailureOfSending)
{
    char data[] = "a";
    throughFailures(
        loggedWith(sending, sendFailures(2)),
        joined({sent("s1", false, 8, R"(\x00\x00\x00\x07\x00\x00\x00\x00)"),
                sent("s1", true, 1, "a")}),
        [](Watch& seen) {
            const IpcEndpoint place;
            auto own = std::make_unique<OwnChannel>("news");
            seen([&] { return own->setPublisherEndPoint(place.text()); });
            return own;
        },
        [&](OwnChannel& own) { return own.ipcSend(7, data, 1); },
        [&](Watch& seen, OwnChannel& own, std::size_t) {
            EXPECT_EQ(seen([&] { return own.ipcSend(7, data, 1); }).result, "1");
        });
}

TEST_F(PublishChannel, BindsTheEmptyEndpointForGoodWhenItSendsBeforeItHasOne)
{
    const Outcome outcome = ipcSend(7, "a");
    EXPECT_EQ(outcome, failed(loggedWith(sending, bindFailure("", "Invalid argument")), outcome));
    EXPECT_EQ(ipcSend(7, "a").result, "1");
    EXPECT_EQ(set(at), refused(setting, "Publisher Endpoint already set : "));
}

TEST_F(PublishChannel, PutsTheTopicInFrontOfATextMessage)
{
    ASSERT_EQ(set(at).result, "0");
    StringMsg msg = text({"a", "bc"});
    EXPECT_EQ(watch([&] { return channel.send("topic", &msg); }),
              (Outcome{"2",
                       "",
                       {},
                       joined({sent("s1", false, 5, "topic"), sent("s1", false, 1, "a"),
                               sent("s1", true, 2, "bc")})}));
    EXPECT_EQ(partsOf(msg), (Frames{"a", "bc"}));
}

TEST_F(PublishChannel, NeverReceives)
{
    const Outcome never = refused(receiving, "receive() Operation NOT permitted for PUBLISHER");
    StringMsg words(0);
    IpcMsg bytes;
    std::string topic = "kept";
    EXPECT_EQ(watch([&] { return channel.receive(topic, &words, -1); }), never);
    EXPECT_EQ(watch([&] { return channel.receive(&bytes, -1); }), never);
    EXPECT_EQ(topic, "kept");
    const Outcome invalid = {"-1", "receive: invalid input\n", {}, {}};
    EXPECT_EQ(watch([&] { return channel.receive(topic, &words, -2); }), invalid);
    EXPECT_EQ(watch([&] { return channel.receive(&bytes, -2); }), invalid);
    EXPECT_EQ(set(at).result, "0");

    // A response is waited for after the request is out.
    IpcMsg request = binary(7, 258, {"a"});
    const Outcome waited = watch([&] { return channel.sendWaitResponse(&request, &bytes, -1); });
    EXPECT_EQ(waited.result, never.result);
    EXPECT_EQ(waited.logged, never.logged);
    EXPECT_EQ(waited.calls.size(), 8U);
}

TEST_F(PublishChannel, IsHeardUnderItsTopics)
{
    ASSERT_EQ(set(at).result, "0");
    RawSocket subscriber(ZMQ_SUB);
    subscriber.setOption(ZMQ_SUBSCRIBE, "sport");
    subscriber.setOption(ZMQ_SUBSCRIBE, header(7, 0));
    subscriber.connect(at);
    const auto say = [&](const char* topic, const Frames& parts) {
        StringMsg msg = text(parts);
        watch([&] { return channel.send(topic, &msg); });
    };
    untilHeard(
        subscriber, [&] { say("sport", {"hello"}); }, {"sport", "now"},
        [&] { say("sport", {"now"}); });

    say("weather", {"sport"});
    ipcSend(8, "no");
    say("sports", {"yes"});
    ipcSend(7, "yes");
    EXPECT_EQ(subscriber.receive(), (Frames{"sports", "yes"}));
    EXPECT_EQ(subscriber.receive(), (Frames{header(7, 0), "yes"}));
}
