#include "multiprocess/publish_subscribe_plan.h"
#include "pattern/Feed.h"
#include "pattern/Watch.h"
#include "support/Endpoint.h"
#include "support/Process.h"
#include "support/RawSocket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <vector>
#include <zmq.h>

using support::Frames;
using support::IpcEndpoint;
using support::Process;
using support::RawSocket;
using testing::ElementsAreArray;
using watch::Feed;
using watch::header;

namespace {

std::string hex(const std::string& bytes)
{
    std::string digits;
    for (const char byte : bytes) {
        char two[3];
        std::snprintf(two, sizeof two, "%02x", static_cast<unsigned char>(byte));
        digits += two;
    }
    return digits;
}

/// The lines of a subscriber's own, without what the library prints.
std::vector<std::string> reportOf(const Process& subscriber)
{
    std::vector<std::string> lines;
    std::istringstream output(subscriber.output());
    for (std::string line; std::getline(output, line);) {
        if (line.rfind("heard ", 0) == 0 || line.rfind("unexpected ", 0) == 0) {
            lines.push_back(line);
        }
    }
    return lines;
}

struct Share {
    std::string mode;
    std::vector<std::string> filters;
    std::vector<std::string> names; ///< The subjects that it hears, sorted.
};

std::vector<std::string> reportFor(const Share& share)
{
    std::vector<std::string> lines;
    for (const std::string& name : share.names) {
        lines.push_back("heard " + name + ": " + std::to_string(plan::counted));
    }
    return lines;
}

std::unique_ptr<Process> startSubscriber(const Share& share, const std::string& at,
                                         const std::string& control, std::size_t subjects)
{
    std::vector<std::string> command = {support::programFolder() + "/publish_subscribe_listener",
                                        at, control, share.mode, std::to_string(subjects)};
    for (const std::string& filter : share.filters) {
        command.push_back(hex(filter));
    }
    return std::make_unique<Process>(command);
}

/// The first four bytes of a binary message: its type.
std::string typeBytes(int type)
{
    return header(type, 0).substr(0, 4);
}

} // namespace

TEST(PublishSubscribeProcesses, HearExactlyTheirShares)
{
    const Share shares[] = {
        {"text", {"alpha"}, {"alpha", "alphabet"}},
        {"text", {"alphabet", "be"}, {"alphabet", "beta"}},
        {"binary", {typeBytes(7)}, {"7/1", "7/2"}},
        {"binary", {header(7, 2), header(8, 1)}, {"7/2", "8/1"}},
        // Everything, each way.
        {"text", {}, {"", "7/1", "7/2", "8/1", "alpha", "alphabet", "beta", "loop count"}},
        {"text", {""}, {"", "7/1", "7/2", "8/1", "alpha", "alphabet", "beta", "loop count"}},
        {"loop", {typeBytes(50), typeBytes(51), typeBytes(99)}, {"loop count"}},
    };
    const IpcEndpoint news;
    const IpcEndpoint control;
    Process publisher({support::programFolder() + "/publish_subscribe_speaker", news.text(),
                       control.text(), std::to_string(std::size(shares))});
    // Its answer says that what comes early has been published.
    RawSocket told(ZMQ_REQ);
    told.connect(control.text());
    told.send({plan::ask});
    ASSERT_EQ(told.receive(), Frames{plan::ask});

    std::vector<std::unique_ptr<Process>> subscribers;
    for (const Share& share : shares) {
        subscribers.push_back(
            startSubscriber(share, news.text(), control.text(), share.names.size()));
    }
    for (std::size_t i = 0; i < std::size(shares); ++i) {
        SCOPED_TRACE("subscriber " + std::to_string(i));
        EXPECT_EQ(subscribers[i]->wait(), 0);
        EXPECT_THAT(reportOf(*subscribers[i]), ElementsAreArray(reportFor(shares[i])));
    }

    // Who joins now hears nothing of all that, only what comes from here on, byte for byte.
    RawSocket late(ZMQ_SUB);
    late.setOption(ZMQ_SUBSCRIBE, "alphabet");
    late.setOption(ZMQ_SUBSCRIBE, header(7, 2));
    late.connect(news.text());
    Frames first;
    for (int tries = 0; first.empty(); ++tries) {
        ASSERT_LT(tries, 2000) << "the late subscriber hears nothing";
        told.send({plan::ask});
        ASSERT_EQ(told.receive(), Frames{plan::ask});
        first = late.receive(10);
    }
    const Frames greeting = {"alphabet", "hello", "0", "alphabet"};
    const Frames binaryGreeting = {header(7, 2), "hello", "0", "7/2"};
    EXPECT_TRUE(first == greeting || first == binaryGreeting);
    told.send({plan::ask});
    ASSERT_EQ(told.receive(), Frames{plan::ask});
    const Frames second = late.receive();
    EXPECT_EQ(second, first == greeting ? binaryGreeting : greeting);

    told.send({plan::quit});
    EXPECT_EQ(publisher.wait(), 0);
}

TEST(PublishSubscribeProcesses, HearAPublisherThatDoesNotUseTheLibrary)
{
    const Share shares[] = {
        {"text", {"alpha"}, {"alpha"}},
        {"binary", {header(7, 1)}, {"7/1"}},
        {"loop", {typeBytes(50), typeBytes(51), typeBytes(99)}, {"loop count"}},
    };
    for (const Share& share : shares) {
        SCOPED_TRACE(share.names[0]);
        Feed feed;
        const IpcEndpoint control;
        RawSocket listening(ZMQ_REP);
        listening.bind(control.text());
        const auto subscriber = startSubscriber(share, feed.at(), control.text(), 1);
        feed.awaitFilters(static_cast<int>(share.filters.size()));
        const auto publish = [&](const std::string& stage, int number, int loopType) {
            const std::string text = std::to_string(number);
            feed.send({"beta", stage, text, "not heard"});
            feed.send({"alpha", stage, text, "alpha"});
            feed.send({header(7, 2), stage, text, "not heard"});
            feed.send({header(7, 1), stage, text, "7/1"});
            feed.send({header(loopType, 1), stage, text, "loop"});
        };
        Frames told;
        while (told != Frames{plan::ready}) {
            told = listening.receive();
            ASSERT_FALSE(told.empty());
            if (told == Frames{plan::ask}) {
                publish("hello", 0, 50);
            }
            listening.send(told);
        }
        for (int i = 0; i < plan::counted; ++i) {
            publish("count", i, 51);
        }
        publish("end", 0, 99);
        EXPECT_EQ(subscriber->wait(), 0);
        EXPECT_THAT(reportOf(*subscriber), ElementsAreArray(reportFor(share)));
    }
}
