#include "ostrel/MsgDealerClientChannel.h"

#include "pattern/Watch.h"
#include "support/Endpoint.h"
#include "support/RandSpy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <zmq.h>

using namespace watch;
using ostrel::IpcMsg;
using ostrel::MsgChannel;
using ostrel::MsgDealerClientChannel;
using ostrel::PROP_DEALER_SERVER_ENDPOINT;
using ostrel::StringMsg;
using support::IpcEndpoint;
using support::RandSpy;
using support::RawSocket;
using support::Stdout;
using support::SyslogSpy;
using support::ZmqSpy;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string setting = "Error : Ostrel::MsgDealerClientPattern::setProperty() : ";
const std::string connecting = "Error : Ostrel::MsgDealerClientPattern::connectEndpoint() : ";
const std::string receiving = "Error : Ostrel::MsgDealerClientPattern::MsgDealerClientPattern() : ";

const std::string name = "IDENTITY_1f";
const std::string identityLine = "MsgDealerClientPattern::connectEndpoint IDENTITY = IDENTITY_1f\n";
const std::string sendLine = "MsgDealerClientPattern::send\n";

std::string resultLine(int result)
{
    return "MsgDealerClientPattern:receive ret=" + std::to_string(result) + "\n";
}

const Outcome accepted = {"0", "", {}, {}};
const Outcome ignored = {"-1", "", {}, {}};

Outcome refused(const std::string& prefix, const std::string& what)
{
    return {"logic_error: " + what, "", {prefix + what}, {}};
}

class OwnChannel : public MsgDealerClientChannel {
public:
    using MsgDealerClientChannel::mChannelType;
    using MsgDealerClientChannel::MsgDealerClientChannel;
    using MsgDealerClientChannel::pvthandle;
};

class DealerClientChannel : public testing::Test {
protected:
    DealerClientChannel()
    {
        random.setRand(0x1f);
    }

    Outcome set(const std::string& to)
    {
        return watch([&] { return channel.setServerEndPoint(to); });
    }

    Outcome ipcSend(int type, std::string data)
    {
        return watch(
            [&] { return channel.ipcSend(type, data.data(), static_cast<int>(data.size())); });
    }

    Lines connectingTo(const std::string& to)
    {
        return joined({created("s1", ZMQ_DEALER),
                       {"zmq_setsockopt(s1, 5, \"" + name + "\")"},
                       connected("s1", to)});
    }

    Watch watch;
    RandSpy random;
    IpcEndpoint endpoint;
    const std::string at = endpoint.text();
    OwnChannel channel{"client"};
};

Lines sentSeven(const std::string& data)
{
    return joined({sent("s1", false, 8, R"(\x00\x00\x00\x07\x00\x00\x00\x00)"),
                   sent("s1", true, data.size(), data)});
}

} // namespace

TEST_F(DealerClientChannel, IsMadeQuietlyWithItsPattern)
{
    std::unique_ptr<OwnChannel> made;
    EXPECT_EQ(watch([&] { made = std::make_unique<OwnChannel>("other"); }),
              (Outcome{"done", "", {}, {}}));
    EXPECT_NE(made->pvthandle, nullptr);
    EXPECT_EQ(made->mChannelType, 2);
    EXPECT_EQ(watch([&] { made.reset(); }), (Outcome{"done", "", {}, {}}));
}

TEST_F(DealerClientChannel, TellsItsNameThroughTheBaseToo)
{
    MsgChannel& base = channel;
    EXPECT_EQ(watch([&] { return base.getChannelName(); }), (Outcome{"client", "", {}, {}}));
}

TEST_F(DealerClientChannel, IsNotMadeWithoutAName)
{
    EXPECT_EQ(
        watch([] { const OwnChannel nameless(""); }),
        refused("Error : Ostrel::MsgPattern::MsgPattern() : ", "Invalid Channel name specified"));
}

TEST(DealerClientChannelWithoutTransport, IsNotMade)
{
    const std::string what = "Failed to create ZeroMQ Context";
    SyslogSpy log;
    ZmqSpy zmq;
    zmq.fail("zmq_ctx_new", 1, ENOMEM);
    std::string printed;
    std::string thrown;
    {
        Stdout out;
        try {
            const OwnChannel made("client");
        } catch (const std::runtime_error& failure) {
            thrown = failure.what();
        }
        printed = out.take();
    }
    EXPECT_EQ(thrown, what);
    EXPECT_EQ(printed, "");
    EXPECT_THAT(log.takeLines(), ElementsAre("Error : Ostrel::ZMQWrapper::ZMQWrapper() : " + what,
                                             "Error : Ostrel::MsgPattern::MsgPattern() : " + what));
}

TEST(DealerClientChannelWithoutTransport, LetsWhatIsNoStandardExceptionThrough)
{
    SyslogSpy log;
    ZmqSpy zmq;
    zmq.onCall([](const std::string&) { throw Foreign(); });
    EXPECT_THROW(OwnChannel("client"), Foreign);
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST_F(DealerClientChannel, KeepsItsEndpointUntilItIsNeeded)
{
    EXPECT_EQ(set("nowhere://x"), accepted);
    EXPECT_EQ(set(at), accepted);
    EXPECT_EQ(channel.getProperty(PROP_DEALER_SERVER_ENDPOINT), at);
    EXPECT_EQ(set("tcp://*:1"), refused(setting, "Invalid Endpoint : tcp://*:1"));
    EXPECT_EQ(
        ipcSend(7, "abc"),
        (Outcome{"1", identityLine + sendLine, {}, joined({connectingTo(at), sentSeven("abc")})}));
    EXPECT_EQ(set("tcp://127.0.0.1:1"), ignored);
    EXPECT_EQ(set("tcp://*:1"), ignored);
    EXPECT_EQ(channel.getProperty(PROP_DEALER_SERVER_ENDPOINT), at);
}

TEST_F(DealerClientChannel, RefusesEndpointsOfMoreThan255CharactersWithoutAskingThePattern)
{
    const std::string longest(255, '*');
    EXPECT_EQ(set(longest + "*"), ignored);
    EXPECT_EQ(set(longest), refused(setting, "Invalid Endpoint : " + longest));
    EXPECT_EQ(channel.getProperty(PROP_DEALER_SERVER_ENDPOINT), "");
}

TEST_F(DealerClientChannel, SendsACopyOfTheBytesAsOnePart)
{
    RawSocket router(ZMQ_ROUTER);
    router.bind(at);
    ASSERT_EQ(set(at), accepted);
    char data[] = {'a', '\0', 'b'};
    EXPECT_EQ(watch([&] { return channel.ipcSend(-7, data, 3); }).result, "1");
    EXPECT_EQ(router.receive(), (Frames{name, header(-7, 0), std::string("a\0b", 3)}));
    EXPECT_EQ(ipcSend(7, "abc"), (Outcome{"1", sendLine, {}, sentSeven("abc")}));
    EXPECT_EQ(router.receive(), (Frames{name, header(7, 0), "abc"}));
    EXPECT_EQ(watch([&] { return channel.ipcSend(7, nullptr, 0); }),
              (Outcome{"1", sendLine, {}, sentSeven("")}));
    EXPECT_EQ(router.receive(), (Frames{name, header(7, 0), ""}));
}

TEST_F(DealerClientChannel, PassesOnEveryFailureOfSending)
{
    char data[] = "a";
    Failures failures = creationFailures();
    failures.push_back(optionFailure());
    failures.push_back(connectFailure(at));
    failures = loggedWith(connecting, failures);
    for (const Failure& failure : printedFirst(identityLine + sendLine, sendFailures(2))) {
        failures.push_back(failure);
    }
    throughFailures(
        failures, joined({connectingTo(at), sentSeven("a")}),
        [&](Watch&) {
            auto own = std::make_unique<OwnChannel>("client");
            own->setServerEndPoint(at);
            return own;
        },
        [&](OwnChannel& own) { return own.ipcSend(7, data, 1); },
        [&](Watch& seen, OwnChannel& own, std::size_t nth) {
            EXPECT_EQ(seen([&] { return own.setServerEndPoint(at); }),
                      nth > creationFailures().size() ? ignored : accepted);
        });
}

TEST_F(DealerClientChannel, ReceivesIntoTheCallersMessage)
{
    RawSocket router(ZMQ_ROUTER);
    router.bind(at);
    ASSERT_EQ(set(at), accepted);
    ipcSend(7, "abc");
    router.receive();
    router.send({name, header(8, 258), "x", "yz"});
    IpcMsg reply(1, 2);
    EXPECT_EQ(watch([&] { return channel.ipcReceive(&reply, -1); }),
              (Outcome{"2",
                       attempt + gotHeader() + attempt + gotPart(1) + attempt + gotPart(2) +
                           resultLine(2),
                       {},
                       joined({received("s1", 0), received("s1", 0), received("s1", 0)})}));
    EXPECT_EQ(partsOf(reply), (Frames{"x", "yz"}));
    EXPECT_EQ(reply.getMsgType(), 8);
    EXPECT_EQ(reply.getMsgSubType(), 2);
    EXPECT_EQ(watch([&] { return channel.ipcReceive(&reply, 0); }),
              (Outcome{"-1", attempt + "receive: timeout\n" + resultLine(-1), {}, missed("s1")}));
    EXPECT_EQ(watch([&] { return channel.ipcReceive(&reply, 5000); }),
              (Outcome{"0",
                       attempt + "nothing to received\n" + resultLine(0),
                       {},
                       joined({missed("s1"), {"zmq_poll(s1, 1, 0)"}})}));
}

TEST_F(DealerClientChannel, RefusesToReceiveWithoutAMessageOrATimeout)
{
    const Outcome invalid = {"-1", "receive: invalid input\n", {}, {}};
    IpcMsg reply;
    EXPECT_EQ(watch([&] { return channel.ipcReceive(nullptr, -1); }), invalid);
    EXPECT_EQ(watch([&] { return channel.ipcReceive(&reply, -2); }), invalid);
    // The pattern has not been asked: it can still be given an endpoint.
    EXPECT_EQ(set(at), accepted);
}

TEST_F(DealerClientChannel, PassesOnThatItCannotConnectWhenItReceives)
{
    IpcMsg reply;
    const Outcome outcome = watch([&] { return channel.ipcReceive(&reply, 0); });
    EXPECT_EQ(outcome,
              failed(loggedWith(receiving,
                                loggedWith(connecting, connectFailure("", "Invalid argument"))),
                     outcome));
    EXPECT_EQ(set(at), ignored);
}

TEST_F(DealerClientChannel, ExchangesTextMessagesUnderATopic)
{
    RawSocket router(ZMQ_ROUTER);
    router.bind(at);
    ASSERT_EQ(set(at), accepted);
    StringMsg request = text({"a", "b"});
    EXPECT_EQ(watch([&] { return channel.send("topic", &request); }).printed, identityLine);
    EXPECT_EQ(router.receive(), (Frames{name, "topic", "a", "b"}));
    EXPECT_EQ(partsOf(request), (Frames{"a", "b"}));

    router.send({name, "answer", "c"});
    std::string topic;
    StringMsg reply(0);
    EXPECT_EQ(watch([&] { return channel.sendWaitResponse("again", &request, topic, &reply, -1); }),
              (Outcome{"1",
                       resultLine(2),
                       {},
                       joined({sent("s1", false, 5, "again"), sent("s1", false, 1, "a"),
                               sent("s1", true, 1, "b"), received("s1", 0), received("s1", 0)})}));
    EXPECT_EQ(topic, "answer");
    EXPECT_EQ(partsOf(reply), Frames{"c"});
}

TEST_F(DealerClientChannel, SendsSeveralRequestsAndTakesTheRepliesInAnyOrder)
{
    RawSocket router(ZMQ_ROUTER);
    router.bind(at);
    ASSERT_EQ(set(at), accepted);
    for (const int type : {1, 2, 3}) {
        ASSERT_EQ(ipcSend(type, "request").result, "1");
        EXPECT_EQ(router.receive(), (Frames{name, header(type, 0), "request"}));
    }
    for (const int type : {2, 3, 1}) {
        router.send({name, header(type, 0), "reply " + std::to_string(type)});
    }
    for (const int type : {2, 3, 1}) {
        IpcMsg reply;
        EXPECT_EQ(watch([&] { return channel.ipcReceive(&reply, -1); }).result, "1");
        EXPECT_EQ(reply.getMsgType(), type);
        EXPECT_EQ(partsOf(reply), Frames{"reply " + std::to_string(type)});
    }
}
