// A publisher that is killed and started again while subscribers listen.

#include "recovery/Lines.h"
#include "recovery/Recovery.h"
#include "support/RawSocket.h"

#include <zmq.h>

using namespace recovery;
using support::Process;

namespace {

constexpr unsigned int kills = 5;
constexpr unsigned int subscribers = 3;

class PublisherKilled : public Recovery {
protected:
    void check(const std::string& kind);

    const std::string mEndpoint = endpoint("lines");

private:
    std::unique_ptr<Process> startPublisher(unsigned int number, const std::string& kind)
    {
        return start("publisher",
                     {mEndpoint, std::to_string(number), kind, std::to_string(subscribers)});
    }

    /// Waits until each subscriber has got so many lines of a publisher.
    bool awaitLines(unsigned int publisher, unsigned int count)
    {
        return await([&] {
            bool all = true;
            for (unsigned int i = 0; i < subscribers; ++i) {
                all = all && mLedger.subscribers[i].received[publisher] >= count;
            }
            return all;
        });
    }
};

void PublisherKilled::check(const std::string& kind)
{
    std::vector<std::unique_ptr<Process>> running;
    for (unsigned int i = 0; i < subscribers; ++i) {
        running.push_back(start("subscriber", {mEndpoint, std::to_string(i), kind}));
    }
    auto publisher = startPublisher(0, kind);
    for (unsigned int kill = 0; kill < kills; ++kill) {
        ASSERT_TRUE(awaitLines(kill, random(50, 300)));
        killAtRandom(*publisher);
        publisher = startPublisher(kill + 1, kind);
    }
    ASSERT_TRUE(awaitLines(kills, 100));
    killAtRandom(*publisher);
    mLedger.stop = true;
    for (const auto& subscriber : running) {
        EXPECT_EQ(subscriber->wait(), 0);
    }

    // Of each publisher a subscriber gets a stretch without a hole: what it misses comes before it
    // has joined, or was under way when the publisher died.
    unsigned long offered = 0; // To each subscriber.
    unsigned long received = 0;
    unsigned long beforeJoining = 0;
    unsigned long atDeath = 0;
    for (unsigned int i = 0; i < subscribers; ++i) {
        const Subscriber& subscriber = mLedger.subscribers[i];
        for (unsigned int number = 0; number <= kills; ++number) {
            const unsigned int end = subscriber.first[number] - 1 + subscriber.received[number];
            ASSERT_GT(subscriber.first[number], 0U);
            ASSERT_LE(end, mLedger.published[number]);
            offered += mLedger.published[number];
            received += subscriber.received[number];
            beforeJoining += subscriber.first[number] - 1;
            atDeath += mLedger.published[number] - end;
        }
    }
    tell({{{"kills", kills + 1},
           {"subscribers", subscribers},
           {"offered", offered},
           {"received", received},
           {"missed_before_joining", beforeJoining},
           {"missed_at_death", atDeath}}});
}

} // namespace

TEST_P(PublisherKilled, IsFollowedByTheNextForSubscribersToText)
{
    check("text");
}

TEST_P(PublisherKilled, IsFollowedByTheNextForSubscribersToBinaryMessages)
{
    check("binary");
}

TEST_P(PublisherKilled, IsWatchedBySubscribersThatNoticeAWrongLine)
{
    const auto line = [](unsigned int publisher, unsigned int number) {
        return lineOf(true, publisher, number);
    };
    Parts torn = line(1, 8);
    torn.pop_back();
    Parts altered = line(1, 8);
    altered.back() += "!";
    const std::vector<Parts> wrongLines = {torn,       altered,    line(1, 7), line(1, 6),
                                           line(1, 9), line(0, 8), {"1 8"},    {""}};
    for (const Parts& wrong : wrongLines) {
        support::RawSocket feed(ZMQ_XPUB);
        feed.bind(mEndpoint);
        const auto subscriber = start("subscriber", {mEndpoint, "0", "text"});
        ASSERT_EQ(feed.receive().size(), 1U); // It has joined.
        for (const Parts& parts : {line(0, 5), line(1, 7), wrong}) {
            support::Frames frames = parts;
            frames.insert(frames.begin(), lineTopic);
            feed.send(frames);
        }
        EXPECT_EQ(subscriber->wait(), 1);
        EXPECT_EQ(mLedger.subscribers[0].last, placeOf(1, 7)) << "these were right";
        mLedger.subscribers[0].last = 0;
    }
}

INSTANTIATE_TEST_SUITE_P(Over, PublisherKilled, testing::Values("tcp", "ipc"), transportOf);
