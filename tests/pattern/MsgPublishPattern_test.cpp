#include "ostrel/MsgPublishPattern.h"

#include "pattern/Watch.h"
#include "support/Endpoint.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <zmq.h>

using namespace watch;
using ostrel::IpcMsg;
using ostrel::MsgPublishPattern;
using ostrel::PROP_PUBLISHER_ENDPOINT;
using ostrel::StringMsg;
using ostrel::ZMQWrapper;
using support::IpcEndpoint;
using support::RawSocket;

namespace {

const std::string setting = "Error : Ostrel::MsgPublishPattern::setProperty() : ";
const std::string getting = "Error : Ostrel::MsgPublishPattern::getProperty() : ";
const std::string sending = "Error : Ostrel::MsgPublishPattern::send() : ";
const std::string receiving = "Error : Ostrel:: MsgPublishPattern::receive() : ";

Outcome refused(const std::string& prefix, const std::string& what)
{
    return {"logic_error: " + what, "", {prefix + what}, {}};
}

/// With the connecting, and what a derived pattern can reach, in the hands of the test.
class OwnPublisher : public MsgPublishPattern {
public:
    using MsgPublishPattern::mpMsgQ;
    using MsgPublishPattern::mpSocket;
    using MsgPublishPattern::MsgPublishPattern;

    void connectEndpoint() override
    {
        ++connects;
        if (foreign) {
            throw Foreign();
        }
        if (!idle) {
            MsgPublishPattern::connectEndpoint();
        }
    }

    int connects = 0;
    bool foreign = false; ///< Connecting throws what is no std::exception.
    bool idle = false;    ///< Connecting does nothing.
};

class PublishPattern : public testing::Test {
protected:
    Outcome set(const std::string& to)
    {
        return watch([&] { return pattern.setProperty(PROP_PUBLISHER_ENDPOINT, to); });
    }

    Outcome get()
    {
        return watch([&] { return pattern.getProperty(PROP_PUBLISHER_ENDPOINT); });
    }

    Outcome send(const Frames& parts)
    {
        StringMsg msg = text(parts);
        return watch([&] { return pattern.send(&msg); });
    }

    Outcome send(int type, int subType, const Frames& parts)
    {
        IpcMsg msg = binary(type, subType, parts);
        return watch([&] { return pattern.send(&msg); });
    }

    /// Both kinds of message, for what holds for both.
    Outcome sendAny(bool asText)
    {
        return asText ? send({"a"}) : send(7, 258, {"a"});
    }

    Watch watch;
    IpcEndpoint endpoint;
    const std::string at = endpoint.text();
    OwnPublisher pattern{"news"};
};

Lines sentAny(bool asText)
{
    return asText ? sent("s1", true, 1, "a")
                  : joined({sent("s1", false, 8, R"(\x00\x00\x00\x07\x00\x00\x01\x02)"),
                            sent("s1", true, 1, "a")});
}

} // namespace

TEST_F(PublishPattern, StartsWithoutASocketAndEndsQuietlyWithoutOne)
{
    std::unique_ptr<MsgPublishPattern> made;
    EXPECT_EQ(watch([&] { made = std::make_unique<MsgPublishPattern>("more news"); }),
              (Outcome{"done", "", {}, {}}));
    EXPECT_EQ(watch([&] { made.reset(); }), (Outcome{"done", "", {}, {}}));
}

TEST_F(PublishPattern, NeedsAName)
{
    EXPECT_EQ(
        watch([] { const MsgPublishPattern nameless(""); }),
        refused("Error : Ostrel::MsgPattern::MsgPattern() : ", "Invalid Channel name specified"));
}

TEST_F(PublishPattern, ClosesItsSocketAtTheEnd)
{
    auto made = std::make_unique<MsgPublishPattern>("more news");
    watch([&] { return made->setProperty(PROP_PUBLISHER_ENDPOINT, at); });
    EXPECT_EQ(watch([&] { made.reset(); }), (Outcome{"done", "", {}, closed("s1")}));
}

TEST_F(PublishPattern, HasOnePropertyWithAndWithoutASocket)
{
    for (const bool connected : {false, true}) {
        if (connected) {
            ASSERT_EQ(set(at).result, "0");
        }
        for (int property = firstProperty; property <= lastProperty; ++property) {
            SCOPED_TRACE(property);
            const auto prop = asProperty(property);
            const bool own = property == 1;
            if (!own) {
                EXPECT_EQ(watch([&] { return pattern.setProperty(prop, "tcp://*:1"); }),
                          refused(setting, "Invalid property - cannot be set : tcp://*:1"));
            }
            EXPECT_EQ(watch([&] { return pattern.getProperty(prop); }),
                      own ? (Outcome{connected ? at : "", "", {}, {}})
                          : refused(getting, "Invalid property queried"));
        }
    }
}

TEST_F(PublishPattern, BindsAtTheMomentItsEndpointIsSet)
{
    EXPECT_EQ(set(at), (Outcome{"0", "", {}, joined({created("s1", ZMQ_PUB), bound("s1", at)})}));
    EXPECT_EQ(get(), (Outcome{at, "", {}, {}}));
    EXPECT_EQ(pattern.connects, 1);
}

TEST_F(PublishPattern, RefusesEveryEndpointWithAnAsteriskAndStaysFree)
{
    for (const std::string bad : {"*", "tcp://*:5555", "tcp://127.0.0.1:*", "*/x", "ipc://x*y**"}) {
        EXPECT_EQ(set(bad), refused(setting, "Invalid Endpoint : " + bad));
        EXPECT_EQ(get(), (Outcome{"", "", {}, {}}));
    }
    EXPECT_EQ(pattern.mpSocket, nullptr);
    EXPECT_EQ(set(at).result, "0");
}

TEST_F(PublishPattern, TakesOneEndpointAndNamesItWhenGivenAnother)
{
    ASSERT_EQ(set(at).result, "0");
    for (const std::string& other : {at, std::string("tcp://127.0.0.1:1"), std::string()}) {
        EXPECT_EQ(set(other), refused(setting, "Publisher Endpoint already set : " + at));
    }
    EXPECT_EQ(get().result, at);
}

TEST_F(PublishPattern, LooksAtTheEndpointBeforeItLooksWhetherThereIsOne)
{
    ASSERT_EQ(set(at).result, "0");
    EXPECT_EQ(set("tcp://*:1"), refused(setting, "Invalid Endpoint : tcp://*:1"));
    EXPECT_EQ(get().result, at);
}

TEST_F(PublishPattern, KeepsTheEndpointThatItCouldNotBind)
{
    RawSocket first(ZMQ_PUB);
    const std::string taken = first.bind("tcp://127.0.0.1:*");
    const Failure failure = loggedWith(setting, bindFailure(taken, "Address already in use"));
    const Outcome outcome = set(taken);
    EXPECT_EQ(outcome, failed(failure, outcome));
    EXPECT_EQ(outcome.calls,
              joined({created("s1", ZMQ_PUB), bound("s1", taken), {"zmq_strerror(98)"}}));

    EXPECT_EQ(get().result, taken);
    EXPECT_EQ(set("tcp://127.0.0.1:1"),
              refused(setting, "Publisher Endpoint already set : " + taken));
    // The socket is there, bound to nothing, and stays so.
    EXPECT_EQ(send({"a"}), (Outcome{"1", "", {}, sentAny(true)}));
    EXPECT_EQ(watch([&] { pattern.connectEndpoint(); }), (Outcome{"done", "", {}, {}}));
}

TEST_F(PublishPattern, ReportsEveryFailureOfBinding)
{
    const Failures failures = [&] {
        Failures all = creationFailures();
        all.push_back(bindFailure(at));
        return loggedWith(setting, all);
    }();
    throughFailures(
        failures, joined({created("s1", ZMQ_PUB), bound("s1", at)}),
        [](Watch&) { return std::make_unique<OwnPublisher>("news"); },
        [&](OwnPublisher& own) { return own.setProperty(PROP_PUBLISHER_ENDPOINT, at); },
        [&](Watch& seen, OwnPublisher& own, std::size_t nth) {
            EXPECT_EQ(own.getProperty(PROP_PUBLISHER_ENDPOINT), at);
            const bool hasSocket = nth == failures.size();
            EXPECT_EQ(own.mpSocket != nullptr, hasSocket);
            const IpcEndpoint second;
            const auto& other = second.text();
            const Outcome again =
                seen([&] { return own.setProperty(PROP_PUBLISHER_ENDPOINT, other); });
            if (hasSocket) {
                EXPECT_EQ(again, refused(setting, "Publisher Endpoint already set : " + at));
            } else {
                EXPECT_EQ(again.result, "0");
                EXPECT_EQ(own.getProperty(PROP_PUBLISHER_ENDPOINT), other);
            }
        });
}

TEST_F(PublishPattern, BindsTheEmptyEndpointForGoodWhenItSendsBeforeItHasOne)
{
    for (const bool asText : {true, false}) {
        Watch own;
        MsgPublishPattern publisher("news");
        StringMsg words = text({"a"});
        IpcMsg bytes = binary(7, 258, {"a"});
        const auto operation = [&] {
            return asText ? publisher.send(&words) : publisher.send(&bytes);
        };
        const Outcome outcome = own(operation);
        EXPECT_EQ(outcome,
                  failed(loggedWith(sending, bindFailure("", "Invalid argument")), outcome));
        EXPECT_EQ(outcome.calls,
                  joined({created("s1", ZMQ_PUB), bound("s1", ""), {"zmq_strerror(22)"}}));

        EXPECT_EQ(own(operation), (Outcome{"1", "", {}, sentAny(asText)}));
        EXPECT_EQ(own([&] { return publisher.setProperty(PROP_PUBLISHER_ENDPOINT, at); }),
                  refused(setting, "Publisher Endpoint already set : "));
    }
}

TEST_F(PublishPattern, BindsAtASendWhenNoSocketCouldBeMadeBefore)
{
    for (const bool asText : {true, false}) {
        Watch own;
        const IpcEndpoint place;
        MsgPublishPattern publisher("news");
        own.zmq.fail("zmq_socket", 1, EMFILE);
        EXPECT_EQ(own([&] {
                      return publisher.setProperty(PROP_PUBLISHER_ENDPOINT, place.text());
                  }).result,
                  "runtime_error: Failed to create ZeroMQ Socket : Too many open files");
        StringMsg words = text({"a"});
        IpcMsg bytes = binary(7, 258, {"a"});
        EXPECT_EQ(own([&] { return asText ? publisher.send(&words) : publisher.send(&bytes); }),
                  (Outcome{"1",
                           "",
                           {},
                           joined({created("s1", ZMQ_PUB), bound("s1", place.text()),
                                   sentAny(asText)})}));
    }
}

TEST_F(PublishPattern, ConnectsOnceWhenAskedDirectlyAndLogsNothingOfItsOwn)
{
    const Outcome outcome = watch([&] { pattern.connectEndpoint(); });
    EXPECT_EQ(outcome, failed(bindFailure("", "Invalid argument"), outcome));
    EXPECT_EQ(watch([&] { pattern.connectEndpoint(); }), (Outcome{"done", "", {}, {}}));
}

TEST_F(PublishPattern, ConnectsThroughTheSlotThatADerivedPatternMayTake)
{
    pattern.foreign = true;
    // What is no std::exception passes without a line.
    EXPECT_EQ(set(at), (Outcome{"foreign", "", {}, {}}));
    EXPECT_EQ(get().result, at);
    EXPECT_EQ(sendAny(true), (Outcome{"foreign", "", {}, {}}));
    EXPECT_EQ(sendAny(false), (Outcome{"foreign", "", {}, {}}));
    EXPECT_EQ(pattern.connects, 3);
    // With a socket it is not asked again.
    pattern.foreign = false;
    ASSERT_EQ(sendAny(true).result, "1");
    ASSERT_EQ(sendAny(true).result, "1");
    ASSERT_EQ(sendAny(false).result, "1");
    EXPECT_EQ(pattern.connects, 4);
}

TEST_F(PublishPattern, SendsATextMessageFrameByFrameAndReturnsItsParts)
{
    ASSERT_EQ(set(at).result, "0");
    EXPECT_EQ(send({"a", "", std::string("b\0c", 3)}),
              (Outcome{"3",
                       "",
                       {},
                       joined({sent("s1", false, 1, "a"), sent("s1", false, 0, ""),
                               sent("s1", true, 3, R"(b\x00c)")})}));
}

TEST_F(PublishPattern, SendsABinaryMessageWithItsHeaderAndReturnsItsParts)
{
    ASSERT_EQ(set(at).result, "0");
    EXPECT_EQ(send(-2, 258, {"abc", ""}),
              (Outcome{"2",
                       "",
                       {},
                       joined({sent("s1", false, 8, R"(\xff\xff\xff\xfe\x00\x00\x01\x02)"),
                               sent("s1", false, 3, "abc"), sent("s1", true, 0, "")})}));
}

TEST_F(PublishPattern, LeavesATextMessageThatIsNoneToTheTransport)
{
    // Connecting comes first.
    const Outcome first = watch([&] { return pattern.send(static_cast<StringMsg*>(nullptr)); });
    EXPECT_EQ(first, failed(loggedWith(sending, bindFailure("", "Invalid argument")), first));
    EXPECT_EQ(watch([&] { return pattern.send(static_cast<StringMsg*>(nullptr)); }),
              (Outcome{"-1", "", {}, {}}));
    EXPECT_EQ(send(Frames()), (Outcome{"-1", "nothing to send - return\n", {}, {}}));
}

TEST_F(PublishPattern, RefusesABinaryMessageThatIsNoneBeforeItConnects)
{
    const Outcome none = {"-1", "MsgPublishPattern::send: inMsg is null\n", {}, {}};
    const auto sendNull = [&] { return pattern.send(static_cast<IpcMsg*>(nullptr)); };
    EXPECT_EQ(watch(sendNull), none);
    EXPECT_EQ(pattern.connects, 0);
    ASSERT_EQ(set(at).result, "0");
    EXPECT_EQ(watch(sendNull), none);
    ZMQWrapper* const transport = pattern.mpMsgQ;
    pattern.mpMsgQ = nullptr;
    EXPECT_EQ(watch(sendNull), none);
    pattern.mpMsgQ = transport;
}

TEST_F(PublishPattern, RefusesABinaryMessageWithoutATransport)
{
    const Outcome none = {"-1", "MsgPublishPattern::send: mpMsgQ is null\n", {}, {}};
    ZMQWrapper* const transport = pattern.mpMsgQ;
    pattern.mpMsgQ = nullptr;
    // It connects before it looks.
    pattern.idle = true;
    EXPECT_EQ(send(7, 0, {"a"}), none);
    EXPECT_EQ(pattern.connects, 1);
    pattern.mpMsgQ = transport;

    pattern.idle = false;
    ASSERT_EQ(set(at).result, "0");
    pattern.mpMsgQ = nullptr;
    EXPECT_EQ(send(7, 0, {"a"}), none);
    EXPECT_EQ(pattern.connects, 2);
    pattern.mpMsgQ = transport;
    EXPECT_EQ(send(7, 258, {"a"}), (Outcome{"1", "", {}, sentAny(false)}));
}

TEST_F(PublishPattern, ReportsEveryFailureOfSending)
{
    for (const bool asText : {true, false}) {
        SCOPED_TRACE(asText);
        throughFailures(
            loggedWith(sending, sendFailures(asText ? 1 : 2)), sentAny(asText),
            [](Watch& seen) {
                const IpcEndpoint place;
                auto own = std::make_unique<OwnPublisher>("news");
                seen([&] { return own->setProperty(PROP_PUBLISHER_ENDPOINT, place.text()); });
                return own;
            },
            [&](OwnPublisher& own) {
                StringMsg words = text({"a"});
                IpcMsg bytes = binary(7, 258, {"a"});
                return asText ? own.send(&words) : own.send(&bytes);
            },
            [](Watch& seen, OwnPublisher& own, std::size_t) {
                StringMsg words = text({"a"});
                EXPECT_EQ(seen([&] { return own.send(&words); }),
                          (Outcome{"1", "", {}, sentAny(true)}));
            });
    }
}

TEST_F(PublishPattern, NeverReceivesAndChangesNothingByTrying)
{
    const Outcome never = refused(receiving, "receive() Operation NOT permitted for PUBLISHER");
    StringMsg words = text({"kept"});
    IpcMsg bytes = binary(7, 258, {"kept"});
    for (const bool connected : {false, true}) {
        if (connected) {
            ASSERT_EQ(set(at).result, "0");
        }
        for (const long timeout : {-2L, -1L, 0L, 5000L}) {
            EXPECT_EQ(watch([&] { return pattern.receive(&words, timeout); }), never);
            EXPECT_EQ(watch([&] { return pattern.receive(&bytes, timeout); }), never);
        }
        EXPECT_EQ(watch([&] { return pattern.receive(static_cast<StringMsg*>(nullptr), 0); }),
                  never);
        EXPECT_EQ(watch([&] { return pattern.receive(static_cast<IpcMsg*>(nullptr), 0); }), never);
        EXPECT_EQ(pattern.mpSocket != nullptr, connected);
    }
    EXPECT_EQ(partsOf(words), Frames{"kept"});
    EXPECT_EQ(partsOf(bytes), Frames{"kept"});
    EXPECT_EQ(pattern.connects, 1);
}

TEST_F(PublishPattern, DropsMessagesThatNobodyHears)
{
    ASSERT_EQ(set(at).result, "0");
    for (int i = 0; i < 3000; ++i) {
        ASSERT_EQ(send({"a", "b"}).result, "2");
    }
}

TEST_F(PublishPattern, IsHeardByteForByte)
{
    ASSERT_EQ(set(at).result, "0");
    RawSocket subscriber(ZMQ_SUB);
    subscriber.setOption(ZMQ_SUBSCRIBE, "");
    subscriber.connect(at);
    untilHeard(
        subscriber, [&] { send({"hello"}); }, {"now"}, [&] { send({"now"}); });

    const std::string bytes("\0\xff\n*", 4);
    send({"", bytes, "", "last"});
    EXPECT_EQ(subscriber.receive(), (Frames{"", bytes, "", "last"}));
    send(7, 258, {"abc", "", bytes});
    EXPECT_EQ(subscriber.receive(), (Frames{header(7, 258), "abc", "", bytes}));
    send(-2147483647 - 1, -1, {"x"});
    EXPECT_EQ(subscriber.receive(), (Frames{std::string("\x80\0\0\0\xff\xff\xff\xff", 8), "x"}));
}

TEST_F(PublishPattern, IsFilteredByTheFirstFrameOfBothKindsOfMessage)
{
    ASSERT_EQ(set(at).result, "0");
    RawSocket texts(ZMQ_SUB);
    texts.setOption(ZMQ_SUBSCRIBE, "al");
    texts.connect(at);
    RawSocket sevens(ZMQ_SUB);
    sevens.setOption(ZMQ_SUBSCRIBE, header(7, 0).substr(0, 4));
    sevens.connect(at);
    untilHeard(
        texts, [&] { send({"al"}); }, {"al", "now"},
        [&] {
            send({"al", "now"});
        });
    untilHeard(
        sevens, [&] { send(7, 0, {"hello"}); }, {header(7, 0), "now"},
        [&] { send(7, 0, {"now"}); });

    send({"a", "alpha"});
    send({"Alpha"});
    send(8, 7, {"not this"});
    send({"alphabet", "this"});
    send(7, 8, {"this"});
    EXPECT_EQ(texts.receive(), (Frames{"alphabet", "this"}));
    EXPECT_EQ(sevens.receive(), (Frames{header(7, 8), "this"}));
}

TEST_F(PublishPattern, PutsTheFirstPartInFrontOfTheHeaderOnceTheProcessFramesIdentities)
{
    ZMQWrapper::getInstance()->enableIdentity();
    ASSERT_EQ(set(at).result, "0");
    EXPECT_EQ(send(7, 258, {"topic", "abc"}),
              (Outcome{"2",
                       "",
                       {},
                       joined({sent("s1", false, 5, "topic"),
                               sent("s1", false, 8, R"(\x00\x00\x00\x07\x00\x00\x01\x02)"),
                               sent("s1", true, 3, "abc")})}));
    EXPECT_EQ(send({"a"}), (Outcome{"1", "", {}, sentAny(true)}));
}
