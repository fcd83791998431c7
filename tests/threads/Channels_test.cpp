// Channels of every pattern but the worker pool at work on many threads of one process, at the same
// time. Each channel is used by one thread.

#include "ostrel/MsgDealerClientChannel.h"
#include "pattern/Messages.h"
#include "support/Endpoint.h"
#include "support/RawSocket.h"
#include "support/SyslogSpy.h"
#include "threads/Quiet.h"
#include "threads/Talk.h"
#include "threads/Together.h"

#include <array>
#include <deque>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <zmq.h>

using namespace threads;
using ostrel::MsgDealerClientChannel;
using ostrel::MsgReplyServerChannel;
using support::headerOf;
using support::IpcEndpoint;
using support::RawSocket;
using support::SyslogSpy;
using testing::IsEmpty;

namespace {

constexpr int questions = 100; // Of each client.
constexpr int words = 300;     // Of each publisher: they fit into ZeroMQ's queues.

thread_local int served = 0;

template <int type> void answerOnce(const char* data, int size, MsgReplyServerChannel* channel)
{
    std::string answer = "re: " + std::string(data, static_cast<std::size_t>(size));
    EXPECT_EQ(channel->ipcSend(-type, answer.data(), static_cast<int>(answer.size())), 1);
    ++served;
    channel->terminate(); // The next request is to find an empty message.
}

/// A server that uses the channel's loop, with one type.
void serveInLoops(const std::string& endpoint, int count, const std::atomic<int>& left)
{
    MsgReplyServerChannel channel("looping");
    channel.setServerEndPoint(endpoint);
    channel.registerCallBack(7, answerOnce<7>);
    while (served < count) {
        EXPECT_EQ(channel.ipcReceive(-1), 0);
    }
    EXPECT_TRUE(await([&] { return left == 0; }, hangLimit));
}

void askForType7(const std::string& endpoint, int client)
{
    ostrel::MsgRequestClientChannel channel("client");
    channel.setServerEndPoint(endpoint);
    for (int number = 0; number < questions; ++number) {
        const Message question = {7, wordOf(Kind::binary, client, number).bytes};
        say(channel, Kind::binary, question);
        ASSERT_EQ(hear(channel, Kind::binary), answerTo(question));
    }
}

/// A ROUTER socket in the place of a broker and its workers.
void answerAsABroker(RawSocket& router, int count)
{
    for (int i = 0; i < count; ++i) {
        support::Frames frames = router.receive();
        ASSERT_EQ(frames.size(), 3U);
        frames[2] = "re: " + frames[2];
        router.send(frames);
    }
}

/// Several requests are under way at the same time.
void askAhead(MsgDealerClientChannel& channel, int client)
{
    constexpr int window = 10;
    static_assert(questions % window == 0);
    for (int first = 0; first < questions; first += window) {
        for (int number = first; number < first + window; ++number) {
            say(channel, Kind::binary, wordOf(Kind::binary, client, number));
        }
        for (int number = first; number < first + window; ++number) {
            const Message question = wordOf(Kind::binary, client, number);
            ASSERT_EQ(hear(channel, Kind::binary),
                      (Message{question.type, "re: " + question.bytes}));
        }
    }
}

} // namespace

TEST(Channels, OfEveryPatternAreAtWorkOnManyThreads)
{
    const SyslogSpy log;
    Quiet quiet;
    Together all;

    // Three servers and eight clients.
    const std::array<IpcEndpoint, 3> servers;
    const auto at = [&](std::size_t server) { return servers[server].text(); };
    std::array<std::atomic<int>, 3> waiting = {3, 3, 2};
    all.add([&] { serve(at(0), Kind::binary, 3 * questions, waiting[0]); });
    all.add([&] { serve(at(1), Kind::text, 3 * questions, waiting[1]); });
    all.add([&] { serveInLoops(at(2), 2 * questions, waiting[2]); });
    for (int client = 0; client < 8; ++client) {
        all.add([&, client] {
            const auto server = static_cast<std::size_t>(client % 3);
            if (server == 2) {
                askForType7(at(server), client);
            } else {
                ask(at(server), server == 0 ? Kind::binary : Kind::text, client, questions);
            }
            --waiting[server];
        });
    }

    // Two publishers and six subscribers.
    const std::array<IpcEndpoint, 2> publishers;
    std::array<std::atomic<int>, 2> joined = {0, 0};
    std::array<std::atomic<int>, 2> left = {0, 0};
    for (std::size_t i = 0; i < publishers.size(); ++i) {
        const Kind kind = i == 0 ? Kind::binary : Kind::text;
        const int speaker = 20 + static_cast<int>(i);
        all.add([&, i, kind, speaker] {
            publish(publishers[i].text(), kind, speaker, words, joined[i], 3, left[i]);
        });
        for (int listener = 0; listener < 3; ++listener) {
            all.add([&, i, kind, speaker] {
                listen(publishers[i].text(), kind, speaker, words, joined[i], left[i]);
            });
        }
    }

    // Three dealer clients of a broker each: they are named alike when they connect together.
    std::deque<RawSocket> routers;
    std::deque<MsgDealerClientChannel> dealers;
    for (int i = 0; i < 3; ++i) {
        RawSocket& router = routers.emplace_back(ZMQ_ROUTER);
        MsgDealerClientChannel& dealer = dealers.emplace_back("dealer");
        dealer.setServerEndPoint(router.bind("tcp://127.0.0.1:*"));
        all.add([&router] { answerAsABroker(router, questions); });
        all.add([&dealer, i] { askAhead(dealer, 30 + i); });
    }

    all.run();
    EXPECT_THAT(quiet.take(), testing::HasSubstr("get the msg hdr size 8\n"));
}

TEST(Channels, ComeAndGoWhileOthersAreAtWork)
{
    constexpr int threads = 6;
    constexpr int rounds = 30;
    SyslogSpy log;
    const Quiet quiet;
    const IpcEndpoint server;
    std::atomic<int> waiting(threads);
    Together all;
    all.add([&] { serve(server.text(), Kind::binary, threads * rounds, waiting); });
    for (int client = 0; client < threads; ++client) {
        all.add([&, client] {
            for (int round = 0; round < rounds; ++round) {
                // One that is destroyed when it has done its work, and one that has nothing to do.
                ask(server.text(), Kind::binary, client, 1);
                const IpcEndpoint nobodys;
                ostrel::MsgPublishChannel unheard("unheard");
                unheard.setPublisherEndPoint(nobodys.text());
                say(unheard, Kind::text, {0, "hello?"});
            }
            --waiting;
        });
    }
    all.run();
    EXPECT_THAT(log.takeLines(), IsEmpty());
}
