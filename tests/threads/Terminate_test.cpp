// terminate() from another thread, for the loops of all three channels that have one.

#include "ostrel/MsgDealerWorkerChannel.h"
#include "ostrel/MsgHandle.h"
#include "ostrel/MsgReplyServerChannel.h"
#include "ostrel/MsgSubscribeChannel.h"
#include "pattern/Feed.h"
#include "pattern/Messages.h"
#include "pattern/WorkerTesting.h"
#include "support/RawSocket.h"
#include "support/ZmqSpy.h"
#include "threads/Quiet.h"
#include "threads/Together.h"

#include <atomic>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>
#include <vector>
#include <zmq.h>

using namespace threads;
using ostrel::MsgDealerWorkerChannel;
using ostrel::MsgHandle;
using ostrel::MsgReplyServerChannel;
using ostrel::MsgSubscribeChannel;
using support::headerOf;
using support::RawSocket;
using support::ZmqSpy;
using testing::ElementsAre;

namespace {

constexpr int messages = 200;
constexpr int types = 4;

std::atomic<long> terminations(0);
thread_local std::vector<int> handled; // The types of the messages, by the loop's thread.

/// A message of `type` was handed to a callback. It does not return before the other thread has
/// called terminate(), from beginning to end, so no further message is in this loop.
void handle(int type)
{
    handled.push_back(type);
    const long seen = terminations;
    while (terminations < seen + 2) {
        std::this_thread::yield();
    }
}

template <int type> void answer(const char* /*data*/, int /*size*/, MsgReplyServerChannel* channel)
{
    char yes[] = "yes";
    EXPECT_EQ(channel->ipcSend(type, yes, 3), 1);
    handle(type);
}

template <int type> void take(const char* /*data*/, int /*size*/, MsgSubscribeChannel* /*channel*/)
{
    handle(type);
}

template <int type>
void work(int /*arg*/, const char* /*data*/, int /*size*/, MsgDealerWorkerChannel* /*channel*/,
          MsgHandle* /*client*/)
{
    handle(type);
}

template <typename Channel, typename Callback>
void registerAll(Channel& channel, Callback zero, Callback one, Callback two, Callback three)
{
    int type = 0;
    for (const Callback callback : {zero, one, two, three}) {
        EXPECT_EQ(channel.registerCallBack(type++, callback), 1);
    }
}

/// Enters the loop of `channel` until it has handled all messages, while another thread calls
/// terminate() all the time. `enter()` is one loop.
template <typename Channel, typename Enter>
void expectOneMessagePerLoop(Channel& channel, Enter enter)
{
    std::atomic<bool> over(false);
    std::thread other([&] {
        while (!over) {
            channel.terminate();
            ++terminations;
            std::this_thread::yield();
        }
    });
    std::vector<int> expected;
    for (int number = 0; number < messages; ++number) {
        expected.push_back(number % types);
        EXPECT_EQ(enter(), 0);
        // Between the flag and the receive it may have been ended without any.
        while (handled.size() < expected.size()) {
            EXPECT_EQ(enter(), 0);
        }
        EXPECT_EQ(handled, expected);
        if (testing::Test::HasFailure()) {
            break;
        }
    }
    over = true;
    other.join();
}

} // namespace

TEST(Terminate, EndsAServersLoopAfterEveryRequest)
{
    const Quiet quiet;
    const support::IpcEndpoint endpoint;
    MsgReplyServerChannel channel("server");
    channel.setServerEndPoint(endpoint.text());
    registerAll(channel, answer<0>, answer<1>, answer<2>, answer<3>);
    std::thread asking([&] {
        RawSocket client(ZMQ_REQ);
        client.connect(endpoint.text());
        for (int number = 0; number < messages; ++number) {
            client.send({headerOf(number % types, 0), std::to_string(number)});
            ASSERT_THAT(client.receive(), ElementsAre(headerOf(number % types, 0), "yes"));
        }
    });
    expectOneMessagePerLoop(channel, [&] { return channel.ipcReceive(-1); });
    asking.join();
}

TEST(Terminate, EndsASubscribersLoopAfterEveryMessage)
{
    const Quiet quiet;
    watch::Feed feed;
    MsgSubscribeChannel channel("subscriber");
    registerAll(channel, take<0>, take<1>, take<2>, take<3>);
    channel.setPublisherEndPoint(feed.at());
    feed.awaitFilters(1);
    for (int number = 0; number < messages; ++number) {
        feed.send({headerOf(number % types, 0), std::to_string(number)});
    }
    expectOneMessagePerLoop(channel, [&] { return channel.ipcReceive(-1); });
}

TEST(Terminate, EndsAWorkersLoopAfterEveryRequest)
{
    const Quiet quiet;
    const workertest::Endpoints endpoints;
    MsgDealerWorkerChannel channel("pool");
    channel.setServerEndPoint(endpoints.clients.text());
    channel.setWorkerEndPoint(endpoints.workers.text());
    registerAll(channel, work<0>, work<1>, work<2>, work<3>);
    workertest::NamedClient client("client", endpoints.clients.text());
    for (int number = 0; number < messages; ++number) {
        client.send({headerOf(number % types, 0), std::to_string(number)});
    }
    expectOneMessagePerLoop(channel, [&] { return channel.ipcReceive(1, -1); });
}

TEST(Terminate, LetsASubscribersLoopWaitForItsNextMessageAndHandleIt)
{
    const Quiet quiet;
    watch::Feed feed;
    MsgSubscribeChannel channel("subscriber");
    static std::vector<std::string> heard;
    heard.clear();
    channel.registerCallBack(7, [](const char* data, int size, MsgSubscribeChannel* /*channel*/) {
        heard.emplace_back(data, static_cast<std::size_t>(size));
    });
    channel.setPublisherEndPoint(feed.at());
    feed.awaitFilters(1);
    ZmqSpy spy;
    spy.watchAllThreads();
    std::promise<void> waits;
    bool said = false;
    spy.onCall([&](const std::string& call) {
        if (!said && call.rfind("zmq_recvmsg(", 0) == 0) {
            said = true;
            waits.set_value();
        }
    });
    std::atomic<bool> ended(false);
    std::thread loop([&] {
        EXPECT_EQ(channel.ipcReceive(-1), 0);
        ended = true;
    });
    waits.get_future().get();
    channel.terminate();
    // Nothing is woken, so it cannot have ended; what it waits for is still handed out.
    EXPECT_FALSE(ended);
    feed.send({headerOf(7, 0), "last"});
    feed.send({headerOf(7, 0), "too late"});
    loop.join();
    EXPECT_THAT(heard, ElementsAre("last"));
    spy.onCall(nullptr);
}
