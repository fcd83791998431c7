#ifndef OSTREL_TESTS_THREADS_POOLTALK_H
#define OSTREL_TESTS_THREADS_POOLTALK_H

#include "ostrel/MsgDealerWorkerChannel.h"
#include "ostrel/MsgHandle.h"
#include "pattern/Messages.h"
#include "pattern/WorkerTesting.h"
#include "threads/Talk.h"

#include <atomic>
#include <gtest/gtest.h>
#include <set>
#include <string>

/// What workers and their clients say to each other, each on a thread of its own.
namespace threads {

using workertest::Endpoints;
using workertest::NamedClient;

/// A request that ends a worker.
constexpr int stopType = 999999;
inline const std::string stopTopic = "stop";

/// The worker that a thread makes.
inline std::unique_ptr<ostrel::MsgDealerWorkerChannel> newWorker(const std::string& name,
                                                                 const Endpoints& endpoints)
{
    auto channel = std::make_unique<ostrel::MsgDealerWorkerChannel>(name);
    channel->setServerEndPoint(endpoints.clients.text());
    channel->setWorkerEndPoint(endpoints.workers.text());
    return channel;
}

inline void answer(ostrel::MsgDealerWorkerChannel& channel, const Message& question,
                   const ostrel::MsgHandle& client)
{
    Message reply = answerTo(question);
    EXPECT_EQ(channel.ipcSend(reply.type, reply.bytes.data(), static_cast<int>(reply.bytes.size()),
                              client.clone()),
              1);
}

/// Answers binary requests until it is to stop; how many. Counts itself among `answering` with the
/// first.
inline int work(ostrel::MsgDealerWorkerChannel& channel, std::atomic<int>& answering)
{
    for (int answered = 0;; ++answered) {
        answering += answered == 1 ? 1 : 0;
        ostrel::IpcMsg request;
        EXPECT_EQ(channel.receive(&request, -1), 1);
        if (request.getMsgType() == stopType || request.getHandle() == nullptr) {
            return answered;
        }
        const std::string bytes(request.getMsgData(),
                                static_cast<std::size_t>(request.getMsgSize()));
        answer(channel, {request.getMsgType(), bytes}, *request.getHandle());
    }
}

/// The same with texts, answered by the request's own message.
inline int workOnTexts(ostrel::MsgDealerWorkerChannel& channel)
{
    for (int answered = 0;; ++answered) {
        std::string topic;
        ostrel::StringMsg msg;
        EXPECT_EQ(channel.receive(topic, &msg, -1), 1);
        if (topic == stopTopic || msg.getNumParts() != 1) {
            return answered;
        }
        msg[0] = answerTo({0, msg[0]}).bytes;
        EXPECT_EQ(channel.send(topic.c_str(), &msg), 1);
    }
}

/// Ends the workers of a pool, one by one: a request that is dealt out to one that has just gone is
/// lost, and so has to be asked again.
inline void stopWorkers(const Endpoints& endpoints, Kind kind, const std::atomic<int>& running)
{
    NamedClient client("last", endpoints.clients.text());
    const auto end = std::chrono::steady_clock::now() + hangLimit;
    while (running > 0 && std::chrono::steady_clock::now() < end) {
        const int before = running;
        client.send({kind == Kind::text ? stopTopic : support::headerOf(stopType, 0), "stop"});
        await([&] { return running < before; }, std::chrono::milliseconds(50));
    }
    EXPECT_EQ(running, 0);
}

/// Asks `count` questions of a pool, several at a time, through `put(question)` and `take()`. The
/// answers come in any order.
template <typename Put, typename Take>
void askPool(Kind kind, int client, int count, Put put, Take take)
{
    constexpr int window = 10;
    for (int first = 0; first < count; first += window) {
        std::set<std::string> expected;
        std::set<std::string> came;
        for (int number = first; number < first + window; ++number) {
            const Message question = wordOf(kind, client, number);
            put(question);
            expected.insert(answerTo(question).bytes);
        }
        for (int i = 0; i < window; ++i) {
            came.insert(take().bytes);
        }
        ASSERT_EQ(came, expected);
    }
}

/// Asks binary questions. Not with a channel: those of a process with workers frame differently.
inline void askRaw(const Endpoints& endpoints, int client, int count)
{
    NamedClient socket("client " + std::to_string(client), endpoints.clients.text());
    askPool(
        Kind::binary, client, count,
        [&](const Message& question) {
            socket.send({support::headerOf(question.type, 0), question.bytes});
        },
        [&] {
            const support::Frames frames = socket.receive();
            EXPECT_EQ(frames.size(), 2U);
            return frames.size() == 2 ? Message{0, frames[1]} : Message{0, "no answer"};
        });
}

} // namespace threads

#endif
