// Worker channels on many threads of a process, next to channels of the other patterns, which
// exchange texts: a worker in the process changes how their binary messages are framed.

#include "ostrel/MsgDealerClientChannel.h"
#include "support/RandSpy.h"
#include "support/SyslogSpy.h"
#include "threads/PoolTalk.h"
#include "threads/Quiet.h"

#include <deque>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <mutex>

using namespace threads;
using ostrel::MsgDealerClientChannel;
using ostrel::MsgDealerWorkerChannel;
using ostrel::MsgHandle;
using support::SyslogSpy;
using testing::IsEmpty;

namespace {

constexpr int questions = 100; // Of each client.

thread_local int answered = 0;
thread_local bool stopped = false;

template <int kind>
void onRequest(int type, const char* data, int size, MsgDealerWorkerChannel* channel,
               MsgHandle* client)
{
    stopped = kind == stopType;
    if (!stopped) {
        answer(*channel, {type, std::string(data, static_cast<std::size_t>(size))}, *client);
        ++answered;
    }
    channel->terminate(); // The next request is to find an empty message.
}

/// Answers requests of one type in the channel's loop.
int workInLoops(MsgDealerWorkerChannel& channel)
{
    constexpr int type = 7;
    channel.registerCallBack(type, onRequest<type>);
    channel.registerCallBack(stopType, onRequest<stopType>);
    while (!stopped) {
        EXPECT_EQ(channel.ipcReceive(type, -1), 0);
    }
    return answered;
}

void askForType7(const Endpoints& endpoints, int client)
{
    NamedClient socket("client " + std::to_string(client), endpoints.clients.text());
    for (int number = 0; number < questions; ++number) {
        const std::string bytes = wordOf(Kind::binary, client, number).bytes;
        socket.send({support::headerOf(7, 0), bytes});
        ASSERT_THAT(socket.receive(),
                    testing::ElementsAre(support::headerOf(-7, 0), "re: " + bytes));
    }
}

/// A pool whose workers and clients are threads of this process.
struct Pool {
    explicit Pool(std::string itsName, Kind itsKind) : name(std::move(itsName)), kind(itsKind) {}

    void addWorkers(Together& all, int count,
                    const std::function<int(MsgDealerWorkerChannel&)>& workOf)
    {
        running = count;
        for (int i = 0; i < count; ++i) {
            all.add([this, workOf] {
                total += workOf(*newWorker(name, endpoints));
                --running;
            });
        }
    }

    void addClients(Together& all, int count, const std::function<void(int)>& askAs)
    {
        asked = count * questions;
        asking = count;
        for (int client = 0; client < count; ++client) {
            all.add([this, askAs, client] {
                askAs(client);
                if (--asking == 0) { // The last one out.
                    stopWorkers(endpoints, kind, running);
                }
            });
        }
    }

    const std::string name;
    const Kind kind;
    const Endpoints endpoints;
    int asked = 0;
    std::atomic<int> asking{0};
    std::atomic<int> running{0};
    std::atomic<int> total{0};
};

} // namespace

TEST(Pools, AndTextsOfAllPatternsAreAtWorkOnManyThreads)
{
    Quiet quiet;
    SyslogSpy log;
    Together all;

    Pool binary("binary", Kind::binary);
    std::atomic<int> answering(0);
    binary.addWorkers(all, 3,
                      [&](MsgDealerWorkerChannel& channel) { return work(channel, answering); });
    binary.addClients(all, 3, [&](int client) { askRaw(binary.endpoints, client, questions); });

    Pool loops("loops", Kind::binary);
    loops.addWorkers(all, 2, workInLoops);
    loops.addClients(all, 2, [&](int client) { askForType7(loops.endpoints, client); });

    Pool texts("texts", Kind::text);
    std::deque<MsgDealerClientChannel> dealers;
    for (int i = 0; i < 3; ++i) {
        // Clients that connect within a second would be named alike.
        support::RandSpy random;
        random.setRand(i + 1);
        MsgDealerClientChannel& dealer = dealers.emplace_back("dealer");
        dealer.setServerEndPoint(texts.endpoints.clients.text());
        std::string topic;
        ostrel::StringMsg nothing;
        EXPECT_EQ(dealer.receive(topic, &nothing, 0), -1); // Connects.
    }
    texts.addWorkers(all, 3, workOnTexts);
    texts.addClients(all, 3, [&](int client) {
        MsgDealerClientChannel& dealer = dealers[static_cast<std::size_t>(client)];
        askPool(
            Kind::text, client, questions,
            [&](const Message& question) { say(dealer, Kind::text, question); },
            [&] { return hear(dealer, Kind::text); });
    });

    const support::IpcEndpoint server;
    std::atomic<int> waiting(2);
    all.add([&] { serve(server.text(), Kind::text, 2 * questions, waiting); });
    for (int client = 10; client < 12; ++client) {
        all.add([&, client] {
            ask(server.text(), Kind::text, client, questions);
            --waiting;
        });
    }

    const support::IpcEndpoint publisher;
    std::atomic<int> joined(0);
    std::atomic<int> left(0);
    constexpr int speaker = 20;
    all.add(
        [&] { publish(publisher.text(), Kind::text, speaker, 3 * questions, joined, 2, left); });
    for (int listener = 0; listener < 2; ++listener) {
        all.add(
            [&] { listen(publisher.text(), Kind::text, speaker, 3 * questions, joined, left); });
    }

    all.run();
    for (const Pool* pool : {&binary, &loops, &texts}) {
        EXPECT_EQ(pool->total, pool->asked) << pool->name;
        EXPECT_GT(pool->asked, 0);
    }
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST(Pools, LetOtherThreadsAnswerThroughTheThreadOfTheChannel)
{
    // The worker's thread receives and sends; others find the answers, whose handles they keep.
    constexpr int count = 60;
    struct Job {
        Message question;
        std::unique_ptr<MsgHandle> client;
    };
    const Quiet quiet;
    const Endpoints endpoints;
    std::mutex mutex;
    std::deque<Job> toDo;
    std::deque<Job> done;
    std::atomic<bool> over(false);
    const auto takeFrom = [&mutex](std::deque<Job>& jobs) {
        const std::lock_guard<std::mutex> lock(mutex);
        Job job = {};
        if (!jobs.empty()) {
            // The last one first: answers need not keep any order.
            job = std::move(jobs.back());
            jobs.pop_back();
        }
        return job;
    };
    const auto putInto = [&mutex](std::deque<Job>& jobs, Job job) {
        const std::lock_guard<std::mutex> lock(mutex);
        jobs.push_back(std::move(job));
    };
    Together all;
    for (int i = 0; i < 3; ++i) {
        all.add([&] {
            while (!over) {
                Job job = takeFrom(toDo);
                if (job.client != nullptr) {
                    putInto(done, {job.question, std::unique_ptr<MsgHandle>(job.client->clone())});
                } else {
                    std::this_thread::yield();
                }
            }
        });
    }
    std::atomic<int> asking(2);
    all.add([&] {
        const auto channel = newWorker("pool", endpoints);
        int answers = 0;
        while (asking > 0) {
            ostrel::IpcMsg request;
            if (channel->receive(&request, 0) == 1) {
                const std::string bytes(request.getMsgData(),
                                        static_cast<std::size_t>(request.getMsgSize()));
                putInto(toDo, {{request.getMsgType(), bytes},
                               std::unique_ptr<MsgHandle>(request.getHandle()->clone())});
            }
            for (Job job = takeFrom(done); job.client != nullptr; job = takeFrom(done)) {
                answer(*channel, job.question, *job.client);
                ++answers;
            }
            std::this_thread::yield();
        }
        EXPECT_EQ(answers, 2 * count);
        over = true;
    });
    for (int client = 0; client < 2; ++client) {
        all.add([&, client] {
            askRaw(endpoints, client, count);
            --asking;
        });
    }
    all.run();
}
