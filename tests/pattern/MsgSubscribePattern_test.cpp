#include "ostrel/MsgSubscribePattern.h"

#include "pattern/Feed.h"
#include "pattern/Watch.h"
#include "support/Endpoint.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <zmq.h>

using namespace watch;
using ostrel::channel_prop_t;
using ostrel::IpcMsg;
using ostrel::MsgSubscribePattern;
using ostrel::PROP_PUBLISHER_ENDPOINT;
using ostrel::PROP_SUBSCRIBE;
using ostrel::PROP_UNSUBSCRIBE;
using ostrel::StringMsg;
using ostrel::ZMQWrapper;
using support::RawSocket;
using testing::ElementsAre;

namespace {

const std::string setting = "Error : Ostrel::MsgSubscribePattern::setProperty() : ";
const std::string getting = "Error : Ostrel::MsgSubscribePattern::getProperty() : ";
const std::string sending = "Error : Ostrel::MsgSubscribePattern::send() : ";
const std::string receiving = "Error : Ostrel:: MsgSubscribePattern::receive() : ";

const Outcome accepted = {"0", "", {}, {}};

/// Texts that look like another one up to their first zero byte.
const std::string aZero("a\0", 2);
const std::string aZeroB("a\0b", 3);

Outcome refused(const std::string& prefix, const std::string& what)
{
    return {"logic_error: " + what, "", {prefix + what}, {}};
}

/// With the connecting, and what a derived pattern can reach, in the hands of the test.
class OwnSubscriber : public MsgSubscribePattern {
public:
    using MsgSubscribePattern::mpSocket;
    using MsgSubscribePattern::MsgSubscribePattern;

    void connectEndpoint() override
    {
        ++connects;
        if (foreign) {
            throw Foreign();
        }
        MsgSubscribePattern::connectEndpoint();
    }

    int connects = 0;
    bool foreign = false; ///< Connecting throws what is no std::exception.
};

class SubscribePattern : public testing::Test {
protected:
    Outcome set(channel_prop_t property, const std::string& value)
    {
        return watch([&] { return pattern.setProperty(property, value); });
    }

    Outcome set(const std::string& to)
    {
        return set(PROP_PUBLISHER_ENDPOINT, to);
    }

    Outcome add(const std::string& filter)
    {
        return set(PROP_SUBSCRIBE, filter);
    }

    Outcome remove(const std::string& filter)
    {
        return set(PROP_UNSUBSCRIBE, filter);
    }

    Outcome get()
    {
        return watch([&] { return pattern.getProperty(PROP_PUBLISHER_ENDPOINT); });
    }

    Outcome receiveText(long timeout)
    {
        return watch([&] { return pattern.receive(&words, timeout); });
    }

    Outcome receiveBinary(long timeout)
    {
        return watch([&] { return pattern.receive(&bytes, timeout); });
    }

    Outcome receiveAny(bool asText, long timeout)
    {
        return asText ? receiveText(timeout) : receiveBinary(timeout);
    }

    /// Connects and waits until the feed knows the filters.
    void connect(int filters)
    {
        ASSERT_EQ(set(feed.at()).result, "0");
        feed.awaitFilters(filters);
    }

    /// The parts of the next text message.
    Frames next()
    {
        receiveText(-1);
        return partsOf(words);
    }

    Watch watch;
    Feed feed;
    StringMsg words{0};
    IpcMsg bytes;
    OwnSubscriber pattern{"news"};
};

/// Every call of connecting with `filters`.
Lines connecting(const std::vector<std::string>& filters, const std::string& endpoint)
{
    Lines calls = created("s1", ZMQ_SUB);
    for (const std::string& filter : filters) {
        calls = joined({calls, subscribed("s1", filter)});
    }
    return joined({calls, connected("s1", endpoint)});
}

/// A subscriber and a message that waits for it.
struct Fed {
    Fed(Watch& watch, const Frames& message) : pattern("news")
    {
        watch([&] { return pattern.setProperty(PROP_PUBLISHER_ENDPOINT, feed.at()); });
        feed.awaitFilters(1);
        feed.send(message);
    }

    Feed feed;
    OwnSubscriber pattern;
};

} // namespace

TEST_F(SubscribePattern, StartsWithoutASocketAndEndsQuietlyWithoutOne)
{
    std::unique_ptr<MsgSubscribePattern> made;
    EXPECT_EQ(watch([&] { made = std::make_unique<MsgSubscribePattern>("more news"); }),
              (Outcome{"done", "", {}, {}}));
    EXPECT_EQ(watch([&] { made.reset(); }), (Outcome{"done", "", {}, {}}));
}

TEST_F(SubscribePattern, NeedsAName)
{
    EXPECT_EQ(
        watch([] { const MsgSubscribePattern nameless(""); }),
        refused("Error : Ostrel::MsgPattern::MsgPattern() : ", "Invalid Channel name specified"));
}

TEST_F(SubscribePattern, ClosesItsSocketAtTheEnd)
{
    auto made = std::make_unique<MsgSubscribePattern>("more news");
    watch([&] { return made->setProperty(PROP_PUBLISHER_ENDPOINT, feed.at()); });
    EXPECT_EQ(watch([&] { made.reset(); }), (Outcome{"done", "", {}, closed("s1")}));
}

TEST_F(SubscribePattern, SetsThreePropertiesAndReadsOneWithAndWithoutASocket)
{
    for (const bool connected : {false, true}) {
        if (connected) {
            ASSERT_EQ(set(feed.at()).result, "0");
        }
        for (int property = firstProperty; property <= lastProperty; ++property) {
            SCOPED_TRACE(property);
            const auto prop = asProperty(property);
            if (property < 1 || property > 3) {
                EXPECT_EQ(set(prop, "tcp://*:1"),
                          refused(setting, "Invalid property - cannot be set : tcp://*:1"));
            }
            EXPECT_EQ(watch([&] { return pattern.getProperty(prop); }),
                      property == 1 ? (Outcome{connected ? feed.at() : "", "", {}, {}})
                                    : refused(getting, "Invalid property queried"));
        }
        EXPECT_EQ(add("a"), accepted);
        EXPECT_EQ(remove("a"), accepted);
    }
}

TEST_F(SubscribePattern, DoesNotHoldFiltersAsProperties)
{
    ASSERT_EQ(add("a"), accepted);
    for (const channel_prop_t property : {PROP_SUBSCRIBE, PROP_UNSUBSCRIBE}) {
        EXPECT_EQ(watch([&] { return pattern.getProperty(property); }),
                  refused(getting, "Invalid property queried"));
    }
    EXPECT_EQ(get().result, "");
}

TEST_F(SubscribePattern, SubscribesToEverythingOnceWhenItHasNoFilters)
{
    EXPECT_EQ(set(feed.at()), (Outcome{"0", "", {}, connecting({""}, feed.at())}));
    EXPECT_EQ(get(), (Outcome{feed.at(), "", {}, {}}));
    EXPECT_THAT(feed.awaitFilters(1), ElementsAre(""));
    EXPECT_EQ(pattern.connects, 1);
    for (const std::string& topic : {std::string(), std::string("a"), std::string("\0\0", 2)}) {
        feed.send({topic, "to all"});
        EXPECT_EQ(next(), (Frames{topic.c_str(), "to all"}));
    }
}

TEST_F(SubscribePattern, AppliesItsFiltersInTheirOrderBeforeItConnects)
{
    for (const std::string filter : {"b", "a", "ccc", "ab"}) {
        EXPECT_EQ(add(filter), accepted);
    }
    EXPECT_EQ(set(feed.at()),
              (Outcome{"0", "", {}, connecting({"b", "a", "ccc", "ab"}, feed.at())}));
    EXPECT_THAT(feed.awaitFilters(4), ElementsAre("a", "ab", "b", "ccc"));
}

TEST_F(SubscribePattern, RemovesFiltersWithoutChangingTheOrderOfTheOthers)
{
    for (const std::string filter : {"b", "a", "d", "c", "e"}) {
        ASSERT_EQ(add(filter), accepted);
    }
    EXPECT_EQ(remove("a"), accepted);
    EXPECT_EQ(remove("b"), accepted);
    EXPECT_EQ(remove("e"), accepted);
    // Back again it is the last.
    EXPECT_EQ(add("b"), accepted);
    EXPECT_EQ(set(feed.at()).calls, connecting({"d", "c", "b"}, feed.at()));
}

TEST_F(SubscribePattern, SubscribesToEverythingAgainWhenItsLastFilterIsRemoved)
{
    ASSERT_EQ(add("a"), accepted);
    ASSERT_EQ(remove("a"), accepted);
    EXPECT_EQ(set(feed.at()).calls, connecting({""}, feed.at()));
}

TEST_F(SubscribePattern, HoldsEveryFilterOnce)
{
    const std::string zero(1, '\0');
    for (const std::string& filter : {std::string("a"), aZero, aZeroB, zero, std::string(),
                                      std::string("tcp://*:1"), std::string(1000, 'x')}) {
        SCOPED_TRACE(filter);
        const Outcome unset = refused(setting, "Cannot remove unset filter");
        EXPECT_EQ(remove(filter), unset);
        EXPECT_EQ(add(filter), accepted);
        EXPECT_EQ(add(filter), refused(setting, "Filter already exists"));
        EXPECT_EQ(remove(filter), accepted);
        EXPECT_EQ(remove(filter), unset);
        EXPECT_EQ(add(filter), accepted);
    }
    EXPECT_EQ(set(feed.at()).calls, connecting({"a", R"(a\x00)", R"(a\x00b)", R"(\x00)", "",
                                                "tcp://*:1", std::string(1000, 'x')},
                                               feed.at()));
}

TEST_F(SubscribePattern, KeepsTheOtherFiltersWhenOneIsRefused)
{
    ASSERT_EQ(add("a"), accepted);
    ASSERT_EQ(add("b"), accepted);
    add("a");
    remove("c");
    EXPECT_EQ(set(feed.at()).calls, connecting({"a", "b"}, feed.at()));
}

TEST_F(SubscribePattern, ChangesItsListButNotItsSocketOnceItHasOne)
{
    ASSERT_EQ(add("a"), accepted);
    connect(1);
    // No call of ZeroMQ in any of them.
    EXPECT_EQ(add("b"), accepted);
    EXPECT_EQ(add("b"), refused(setting, "Filter already exists"));
    EXPECT_EQ(remove("a"), accepted);
    EXPECT_EQ(remove("a"), refused(setting, "Cannot remove unset filter"));

    feed.send({"b", "not heard"});
    feed.send({"a", "heard"});
    EXPECT_EQ(next(), (Frames{"a", "heard"}));
}

TEST_F(SubscribePattern, HearsWhatBeginsWithOneOfItsFilters)
{
    ASSERT_EQ(add("a"), accepted);
    ASSERT_EQ(add("bc"), accepted);
    connect(2);
    for (const char* topic : {"", "b", "ca", "A", " a", "a", "bb", "abc", "bc", "c", "bcd"}) {
        feed.send({topic, "a"});
    }
    for (const char* topic : {"a", "abc", "bc", "bcd"}) {
        EXPECT_EQ(next(), (Frames{topic, "a"}));
    }
    EXPECT_EQ(receiveText(0).printed, "receive: timeout\n");
}

TEST_F(SubscribePattern, HearsAMessageOnceWhenSeveralFiltersMatch)
{
    ASSERT_EQ(add("a"), accepted);
    ASSERT_EQ(add("ab"), accepted);
    ASSERT_EQ(add(""), accepted);
    connect(3);
    feed.send({"abc", "1"});
    feed.send({"x", "2"});
    EXPECT_EQ(next(), (Frames{"abc", "1"}));
    EXPECT_EQ(next(), (Frames{"x", "2"}));
}

TEST_F(SubscribePattern, FiltersByEveryByteZeroBytesToo)
{
    ASSERT_EQ(add(aZeroB), accepted);
    ASSERT_EQ(set(feed.at()).result, "0");
    EXPECT_THAT(feed.awaitFilters(1), ElementsAre(aZeroB));
    feed.send({"a", "not heard"});
    feed.send({aZero, "not heard"});
    feed.send({aZero + "c", "not heard"});
    feed.send({aZeroB + "c", "heard"});
    EXPECT_EQ(next(), (Frames{"a", "heard"}));
}

TEST_F(SubscribePattern, FiltersBinaryMessagesByTheBytesOfTheirHeader)
{
    ASSERT_EQ(add(header(7, 0).substr(0, 4)), accepted);
    ASSERT_EQ(add(header(8, 258)), accepted);
    connect(2);
    feed.send({header(9, 0), "not heard"});
    feed.send({header(8, 257), "not heard"});
    feed.send({header(0x0700, 0), "not heard"});
    feed.send({header(8, 258), "first"});
    feed.send({header(7, 99), "second"});
    EXPECT_EQ(receiveBinary(-1).result, "1");
    EXPECT_EQ(bytes.getMsgType(), 8);
    EXPECT_EQ(receiveBinary(-1).result, "2");
    EXPECT_EQ(bytes.getMsgType(), 7);
    EXPECT_EQ(partsOf(bytes), (Frames{"first", "second"}));
}

TEST_F(SubscribePattern, RefusesEveryEndpointWithAnAsteriskAndStaysFree)
{
    for (const std::string bad : {"*", "tcp://*:5555", "tcp://127.0.0.1:*", "*/x", "ipc://x*y**"}) {
        EXPECT_EQ(set(bad), refused(setting, "Invalid Endpoint : " + bad));
        EXPECT_EQ(get(), (Outcome{"", "", {}, {}}));
    }
    EXPECT_EQ(pattern.mpSocket, nullptr);
    EXPECT_EQ(set(feed.at()).result, "0");
}

TEST_F(SubscribePattern, TakesOneEndpointAndNamesItWhenGivenAnother)
{
    ASSERT_EQ(set(feed.at()).result, "0");
    for (const std::string& other : {feed.at(), std::string("tcp://127.0.0.1:1"), std::string()}) {
        EXPECT_EQ(set(other), refused(setting, "Publisher Endpoint already set : " + feed.at()));
    }
    EXPECT_EQ(get().result, feed.at());
}

TEST_F(SubscribePattern, LooksAtTheEndpointBeforeItLooksWhetherThereIsOne)
{
    ASSERT_EQ(set(feed.at()).result, "0");
    EXPECT_EQ(set("tcp://*:1"), refused(setting, "Invalid Endpoint : tcp://*:1"));
    EXPECT_EQ(get().result, feed.at());
}

TEST_F(SubscribePattern, KeepsTheEndpointThatItCouldNotConnectTo)
{
    const std::string bad = "nowhere://x";
    ASSERT_EQ(add("a"), accepted);
    const Outcome outcome = set(bad);
    EXPECT_EQ(outcome,
              failed(loggedWith(setting, connectFailure(bad, "Protocol not supported")), outcome));
    EXPECT_EQ(outcome.calls, joined({connecting({"a"}, bad), {"zmq_strerror(93)"}}));

    EXPECT_EQ(get().result, bad);
    EXPECT_EQ(set(feed.at()), refused(setting, "Publisher Endpoint already set : " + bad));
    // The socket is there, connected to nothing, and stays so.
    EXPECT_EQ(add("b"), accepted);
    EXPECT_EQ(receiveText(0), (Outcome{"-1", "receive: timeout\n", {}, missed("s1")}));
    EXPECT_EQ(watch([&] { pattern.connectEndpoint(); }), (Outcome{"done", "", {}, {}}));
}

TEST_F(SubscribePattern, ReportsEveryFailureOfConnecting)
{
    const Failures failures = [&] {
        Failures all = creationFailures();
        all.insert(all.end(), 3, optionFailure());
        all.push_back(connectFailure(feed.at()));
        return loggedWith(setting, all);
    }();
    throughFailures(
        failures, connecting({"b", "a", "c"}, feed.at()),
        [](Watch&) {
            auto own = std::make_unique<OwnSubscriber>("news");
            for (const char* filter : {"b", "a", "c"}) {
                own->setProperty(PROP_SUBSCRIBE, filter);
            }
            return own;
        },
        [&](OwnSubscriber& own) { return own.setProperty(PROP_PUBLISHER_ENDPOINT, feed.at()); },
        [&](Watch& seen, OwnSubscriber& own, std::size_t nth) {
            EXPECT_EQ(own.getProperty(PROP_PUBLISHER_ENDPOINT), feed.at());
            const bool hasSocket = nth > creationFailures().size();
            EXPECT_EQ(own.mpSocket != nullptr, hasSocket);
            // The filters are all still in the list.
            for (const char* filter : {"b", "a", "c"}) {
                EXPECT_EQ(seen([&] { return own.setProperty(PROP_SUBSCRIBE, filter); }),
                          refused(setting, "Filter already exists"));
            }
            const Outcome again =
                seen([&] { return own.setProperty(PROP_PUBLISHER_ENDPOINT, "tcp://127.0.0.1:1"); });
            if (hasSocket) {
                EXPECT_EQ(again, refused(setting, "Publisher Endpoint already set : " + feed.at()));
            } else {
                EXPECT_EQ(again.result, "0");
                EXPECT_EQ(own.getProperty(PROP_PUBLISHER_ENDPOINT), "tcp://127.0.0.1:1");
            }
        });
}

TEST_F(SubscribePattern, ReportsTheFailureOfSubscribingToEverything)
{
    watch.zmq.fail("zmq_setsockopt", 5, EIO);
    const Outcome outcome = set(feed.at());
    EXPECT_EQ(outcome, failed(loggedWith(setting, optionFailure()), outcome));
    EXPECT_EQ(outcome.calls, joined({created("s1", ZMQ_SUB),
                                     {R"(zmq_setsockopt(s1, 6, "") !)", "zmq_strerror(5)"}}));
    EXPECT_EQ(set(feed.at()), refused(setting, "Publisher Endpoint already set : " + feed.at()));
}

TEST_F(SubscribePattern, TakesTheFiltersOfTheMomentWhenNoSocketCouldBeMadeBefore)
{
    ASSERT_EQ(add("a"), accepted);
    ASSERT_EQ(add("b"), accepted);
    watch.zmq.fail("zmq_socket", 1, EMFILE);
    EXPECT_EQ(set(feed.at()).result,
              "runtime_error: Failed to create ZeroMQ Socket : Too many open files");
    ASSERT_EQ(remove("a"), accepted);
    ASSERT_EQ(add("c"), accepted);
    // A receive tries again, with the endpoint that was kept.
    EXPECT_EQ(receiveText(0), (Outcome{"-1",
                                       "receive: timeout\n",
                                       {},
                                       joined({connecting({"b", "c"}, feed.at()), missed("s1")})}));
}

TEST_F(SubscribePattern, ConnectsToTheEmptyEndpointForGoodWhenItReceivesBeforeItHasOne)
{
    for (const bool asText : {true, false}) {
        Watch own;
        MsgSubscribePattern subscriber("news");
        subscriber.setProperty(PROP_SUBSCRIBE, "a");
        const auto operation = [&] {
            return asText ? subscriber.receive(&words, 0) : subscriber.receive(&bytes, 0);
        };
        const Outcome outcome = own(operation);
        EXPECT_EQ(outcome,
                  failed(loggedWith(receiving, connectFailure("", "Invalid argument")), outcome));
        EXPECT_EQ(outcome.calls, joined({connecting({"a"}, ""), {"zmq_strerror(22)"}}));

        EXPECT_EQ(
            own(operation),
            (Outcome{"-1", (asText ? "" : attempt) + "receive: timeout\n", {}, missed("s1")}));
        EXPECT_EQ(own([&] { return subscriber.setProperty(PROP_PUBLISHER_ENDPOINT, feed.at()); }),
                  refused(setting, "Publisher Endpoint already set : "));
    }
}

TEST_F(SubscribePattern, ConnectsOnceWhenAskedDirectlyAndLogsNothingOfItsOwn)
{
    const Outcome outcome = watch([&] { pattern.connectEndpoint(); });
    EXPECT_EQ(outcome, failed(connectFailure("", "Invalid argument"), outcome));
    EXPECT_EQ(watch([&] { pattern.connectEndpoint(); }), (Outcome{"done", "", {}, {}}));
}

TEST_F(SubscribePattern, ConnectsThroughTheSlotThatADerivedPatternMayTake)
{
    pattern.foreign = true;
    // What is no std::exception passes without a line.
    EXPECT_EQ(set(feed.at()), (Outcome{"foreign", "", {}, {}}));
    EXPECT_EQ(get().result, feed.at());
    EXPECT_EQ(receiveText(0), (Outcome{"foreign", "", {}, {}}));
    EXPECT_EQ(receiveBinary(0), (Outcome{"foreign", "", {}, {}}));
    EXPECT_EQ(pattern.connects, 3);
    // With a socket it is not asked again.
    pattern.foreign = false;
    ASSERT_EQ(receiveText(0).result, "-1");
    ASSERT_EQ(receiveText(0).result, "-1");
    ASSERT_EQ(receiveBinary(0).result, "-1");
    EXPECT_EQ(pattern.connects, 4);
}

TEST_F(SubscribePattern, ReturnsWhatTheTransportReturns)
{
    ASSERT_EQ(set(feed.at()).result, "0");
    const struct {
        long timeout;
        const char* result;
        const char* printed;
        Lines calls;
    } rows[] = {
        {-2, "-1", "invalid input\n", {}},
        {0, "-1", "receive: timeout\n", missed("s1")},
        {5000, "0", "nothing to received\n", joined({missed("s1"), {"zmq_poll(s1, 1, 0)"}})},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.timeout);
        EXPECT_EQ(receiveText(row.timeout), (Outcome{row.result, row.printed, {}, row.calls}));
        const std::string tried = row.calls.empty() ? "" : attempt;
        EXPECT_EQ(receiveBinary(row.timeout),
                  (Outcome{row.result, tried + row.printed, {}, row.calls}));
    }
}

TEST_F(SubscribePattern, LeavesAMessageThatIsNoneToTheTransport)
{
    // Connecting comes first.
    const Outcome first =
        watch([&] { return pattern.receive(static_cast<StringMsg*>(nullptr), -2); });
    EXPECT_EQ(first, failed(loggedWith(receiving, connectFailure("", "Invalid argument")), first));
    const Outcome none = {"-1", "invalid input\n", {}, {}};
    EXPECT_EQ(watch([&] { return pattern.receive(static_cast<StringMsg*>(nullptr), 0); }), none);
    EXPECT_EQ(watch([&] { return pattern.receive(static_cast<IpcMsg*>(nullptr), 0); }), none);
}

TEST_F(SubscribePattern, ReceivesATextMessageInPlaceOfTheOneBefore)
{
    connect(1);
    words = text({"1", "2", "3"});
    feed.send({"a", "", aZeroB});
    EXPECT_EQ(
        receiveText(-1),
        (Outcome{"3", "", {}, joined({received("s1", 0), received("s1", 0), received("s1", 0)})}));
    EXPECT_EQ(partsOf(words), (Frames{"a", "", "a"}));
}

TEST_F(SubscribePattern, ReceivesABinaryMessageBehindTheOneBefore)
{
    connect(1);
    bytes = binary(1, 2, {"kept"});
    feed.send({header(-7, 258), aZeroB, ""});
    EXPECT_EQ(receiveBinary(-1),
              (Outcome{"3",
                       attempt + gotHeader() + attempt + gotPart(3) + attempt + gotPart(0),
                       {},
                       joined({received("s1", 0), received("s1", 0), received("s1", 0)})}));
    EXPECT_EQ(partsOf(bytes), (Frames{"kept", aZeroB, ""}));
    EXPECT_EQ(bytes.getMsgType(), -7);
    EXPECT_EQ(bytes.getMsgSubType(), 2);
}

TEST_F(SubscribePattern, ReportsEveryFailureOfReceiving)
{
    for (const bool asText : {true, false}) {
        SCOPED_TRACE(asText);
        const Failures failures =
            asText ? receiveFailures({{"", ""}, {"", ""}})
                   : receiveFailures({{attempt, gotHeader()}, {attempt, gotPart(1)}});
        throughFailures(
            loggedWith(receiving, failures), joined({received("s1", 0), received("s1", 0)}),
            [&](Watch& seen) {
                return std::make_unique<Fed>(seen, Frames{header(7, 258), "a"});
            },
            [&](Fed& fed) {
                return asText ? fed.pattern.receive(&words, -1) : fed.pattern.receive(&bytes, -1);
            },
            [&](Watch& seen, Fed& fed, std::size_t) {
                // Nothing but this call was lost.
                const Outcome null =
                    seen([&] { return fed.pattern.receive(static_cast<StringMsg*>(nullptr), 0); });
                EXPECT_EQ(null, (Outcome{"-1", "invalid input\n", {}, {}}));
                EXPECT_EQ(fed.pattern.connects, 1);
            });
    }
}

TEST_F(SubscribePattern, NeverSendsAndChangesNothingByTrying)
{
    const Outcome never = refused(sending, "send() Operation NOT permitted for SUBSCRIBER");
    words = text({"kept"});
    bytes = binary(7, 258, {"kept"});
    for (const bool connected : {false, true}) {
        if (connected) {
            ASSERT_EQ(set(feed.at()).result, "0");
        }
        EXPECT_EQ(watch([&] { return pattern.send(&words); }), never);
        EXPECT_EQ(watch([&] { return pattern.send(&bytes); }), never);
        EXPECT_EQ(watch([&] { return pattern.send(static_cast<StringMsg*>(nullptr)); }), never);
        EXPECT_EQ(watch([&] { return pattern.send(static_cast<IpcMsg*>(nullptr)); }), never);
        EXPECT_EQ(pattern.mpSocket != nullptr, connected);
    }
    EXPECT_EQ(partsOf(words), Frames{"kept"});
    EXPECT_EQ(partsOf(bytes), Frames{"kept"});
    EXPECT_EQ(pattern.connects, 1);
}

TEST_F(SubscribePattern, HearsAPlainPublisherByteForByte)
{
    RawSocket publisher(ZMQ_PUB);
    const std::string at = publisher.bind("tcp://127.0.0.1:*");
    ASSERT_EQ(set(at).result, "0");
    // A plain publisher does not know when it is heard.
    int tries = 0;
    do {
        ASSERT_LT(++tries, 1000000) << "the publisher is not heard";
        publisher.send({"hello"});
    } while (receiveText(0).result != "1");
    const std::string all("\0\xff\n*", 4);
    publisher.send({"now"});
    while (partsOf(words) != Frames{"now"}) {
        ASSERT_EQ(receiveText(-1).result, "1");
    }
    publisher.send({header(7, 258), all, "", "last"});
    EXPECT_EQ(receiveBinary(-1).result, "3");
    EXPECT_EQ(partsOf(bytes), (Frames{all, "", "last"}));
    EXPECT_EQ(bytes.getMsgType(), 7);
}

TEST_F(SubscribePattern, TakesTheFirstFrameAsAPartOnceTheProcessFramesIdentities)
{
    ZMQWrapper::getInstance()->enableIdentity();
    connect(1);
    feed.send({"topic", header(7, 258), "abc"});
    EXPECT_EQ(receiveBinary(-1).printed,
              attempt + gotIdentity(5) + attempt + gotHeader() + attempt + gotPart(3));
    EXPECT_EQ(partsOf(bytes), (Frames{"topic", "abc"}));
    EXPECT_EQ(bytes.getMsgType(), 7);
    feed.send({"a", "b"});
    EXPECT_EQ(next(), (Frames{"a", "b"}));
}
