// Channels and messages that go from thread to thread. Whatever hands them over (here a mutex, and
// the end of a thread) makes them the next thread's own.

#include "ostrel/MsgReplyServerChannel.h"
#include "support/Endpoint.h"
#include "threads/Quiet.h"
#include "threads/Talk.h"
#include "threads/Together.h"

#include <condition_variable>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

using namespace threads;
using ostrel::IpcMsg;
using ostrel::MsgReplyServerChannel;
using ostrel::MsgRequestClientChannel;
using support::IpcEndpoint;

namespace {

/// Goes round among threads: one of them has it at a time.
class Baton {
public:
    explicit Baton(int holders) : mHolders(holders) {}

    /// Waits until it comes to `holder`, runs `body`, and passes it on.
    template <typename Body> void hold(int holder, Body body)
    {
        std::unique_lock<std::mutex> lock(mMutex);
        mPassed.wait(lock, [&] { return mHolder == holder; });
        body();
        mHolder = (mHolder + 1) % mHolders;
        mPassed.notify_all();
    }

private:
    const int mHolders;
    int mHolder = 0;
    std::mutex mMutex;
    std::condition_variable mPassed;
};

thread_local std::vector<std::string> heard;

void answerAndEnd(const char* data, int size, MsgReplyServerChannel* channel)
{
    heard.emplace_back(data, static_cast<std::size_t>(size));
    std::string answer = "re: " + heard.back();
    EXPECT_EQ(channel->ipcSend(-7, answer.data(), static_cast<int>(answer.size())), 1);
    channel->terminate();
}

} // namespace

TEST(HandOver, LetsEveryThreadUseAChannelInItsTurn)
{
    constexpr int holders = 4;
    constexpr int rounds = 25;
    const Quiet quiet;
    const IpcEndpoint endpoint;
    MsgRequestClientChannel client("client");
    client.setServerEndPoint(endpoint.text());
    MsgReplyServerChannel server("server");
    server.setServerEndPoint(endpoint.text());
    Baton clients(holders);
    Baton servers(holders);
    Together all;
    for (int holder = 0; holder < holders; ++holder) {
        // The first use, which connects and binds, is on one thread, the next on another.
        all.add([&, holder] {
            for (int round = 0; round < rounds; ++round) {
                clients.hold(holder, [&] {
                    const Message question = wordOf(Kind::binary, holder, round);
                    say(client, Kind::binary, question);
                    ASSERT_EQ(hear(client, Kind::binary), answerTo(question));
                });
            }
        });
        all.add([&, holder] {
            for (int round = 0; round < rounds; ++round) {
                servers.hold(holder, [&] {
                    const Message question = hear(server, Kind::binary);
                    EXPECT_EQ(question, wordOf(Kind::binary, holder, round));
                    say(server, Kind::binary, answerTo(question));
                });
            }
        });
    }
    all.run();
}

TEST(HandOver, LetsALoopGoOnInAnotherThread)
{
    constexpr int loops = 5;
    const Quiet quiet;
    const IpcEndpoint endpoint;
    auto server = std::make_unique<MsgReplyServerChannel>("server");
    server->setServerEndPoint(endpoint.text());
    server->registerCallBack(7, answerAndEnd);
    MsgRequestClientChannel client("client");
    client.setServerEndPoint(endpoint.text());
    for (int i = 0; i < loops; ++i) {
        const std::string word = wordOf(Kind::binary, 1, i).bytes;
        std::vector<std::string> handled;
        std::thread looping([&] {
            EXPECT_EQ(server->ipcReceive(-1), 0);
            handled = heard; // The callback ran here, on this thread.
        });
        say(client, Kind::binary, {7, word});
        EXPECT_EQ(hear(client, Kind::binary), (Message{-7, "re: " + word}));
        looping.join();
        EXPECT_THAT(handled, testing::ElementsAre(word));
    }
    std::thread([&] { server.reset(); }).join(); // The last thread destroys it.
}

TEST(HandOver, LetsOtherThreadsWorkOnTheMessagesOfAChannel)
{
    // The thread of the server receives and answers, the others prepare the answers.
    constexpr int count = 60;
    const Quiet quiet;
    const IpcEndpoint endpoint;
    std::mutex mutex;
    std::condition_variable changed;
    std::unique_ptr<IpcMsg> question;
    std::unique_ptr<IpcMsg> answer;
    std::multiset<std::thread::id> workers;
    bool over = false;
    Together all;
    for (int i = 0; i < 3; ++i) {
        all.add([&] {
            std::unique_lock<std::mutex> lock(mutex);
            for (;;) {
                changed.wait(lock, [&] { return over || question != nullptr; });
                if (over) {
                    return;
                }
                const std::unique_ptr<IpcMsg> mine = std::move(question);
                const std::string bytes =
                    "re: " +
                    std::string(mine->getMsgData(), static_cast<std::size_t>(mine->getMsgSize()));
                answer = std::make_unique<IpcMsg>(*mine);
                answer->setMsgType(-mine->getMsgType());
                answer->removePart(0);
                answer->insertPart(0, bytes.data(), static_cast<int>(bytes.size()));
                workers.insert(std::this_thread::get_id());
                changed.notify_all();
            }
        });
    }
    std::atomic<int> waiting(1);
    all.add([&] {
        MsgReplyServerChannel server("server");
        server.setServerEndPoint(endpoint.text());
        for (int i = 0; i < count; ++i) {
            auto received = std::make_unique<IpcMsg>();
            EXPECT_EQ(server.ipcReceive(received.get(), -1), 1);
            std::unique_lock<std::mutex> lock(mutex);
            question = std::move(received);
            changed.notify_all();
            changed.wait(lock, [&] { return answer != nullptr; });
            EXPECT_EQ(server.send(answer.get()), 1);
            answer.reset();
        }
        EXPECT_TRUE(await([&] { return waiting == 0; }, hangLimit));
        const std::lock_guard<std::mutex> lock(mutex);
        over = true;
        changed.notify_all();
    });
    all.add([&] {
        ask(endpoint.text(), Kind::binary, 5, count);
        --waiting;
    });
    all.run();
    EXPECT_EQ(workers.size(), static_cast<std::size_t>(count));
}
