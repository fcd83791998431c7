// bench_loops JSON: what the channels' dispatch loops cost as messages come in. A loop appends all
// that it receives to one message, so memory grows by every message; how much it is besides the
// bytes that arrived, and whether a message takes longer the more there were, is measured here.

#include "contender/Contender.h"
#include "contender/Endpoint.h"
#include "contender/Wire.h"
#include "contender/ZmqSocket.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgDealerWorkerChannel.h"
#include "ostrel/MsgReplyServerChannel.h"
#include "ostrel/MsgRequestClientChannel.h"
#include "ostrel/MsgSubscribeChannel.h"
#include "ostrel/ZMQWrapper.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iostream>
#include <malloc.h>
#include <nlohmann/json.hpp>
#include <string>
#include <zmq.h>

namespace {

using bench::demand;
using nlohmann::ordered_json;

constexpr int partSize = 16;
std::string payload(partSize, 'x');

/// What a callback does with a message: it has the next one sent, so that the loop never waits for
/// another thread. Callbacks are plain functions, so that their state is the program's.
struct Course {
    int wanted = 0;
    int seen = 0;
    std::function<void()> next;
    std::function<void()> terminate;
    std::size_t heapBefore = 0;
    std::size_t heapAfter = 0;
    std::chrono::steady_clock::time_point started;
    double seconds = 0;
};

Course course;

std::size_t heapInUse()
{
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

/// The first message is not counted: the loop settles with it.
void onMessage()
{
    if (course.seen == 0) {
        course.heapBefore = heapInUse();
        course.started = std::chrono::steady_clock::now();
    }
    if (course.seen == course.wanted) {
        course.seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - course.started)
                .count();
        course.heapAfter = heapInUse();
        course.terminate();
        return;
    }
    ++course.seen;
    course.next();
}

ordered_json runCourse(int messages, const std::function<void()>& next,
                       const std::function<void()>& terminate, const std::function<void()>& loop)
{
    course = {};
    course.wanted = messages;
    course.next = next;
    course.terminate = terminate;
    loop();
    const double count = messages;
    const auto grown =
        static_cast<double>(course.heapAfter) - static_cast<double>(course.heapBefore);
    return {{"bytesBeyondPayload", grown / count - partSize},
            {"nanoseconds", course.seconds * 1e9 / count}};
}

/// A bare socket that sends to a loop. Our own channels would not do: beside a worker they frame
/// messages as workers do, and a publisher drops what it believes to be unread.
class BareSender {
public:
    explicit BareSender(int type)
        : mTransport(*ostrel::ZMQWrapper::getInstance()), mSocket(mTransport.createEndpt(type))
    {
    }

    ~BareSender()
    {
        mTransport.deleteEndpt(mSocket);
    }

    BareSender(const BareSender&) = delete;
    BareSender& operator=(const BareSender&) = delete;

    void bind(const std::string& endpoint)
    {
        mTransport.registerSender(mSocket, endpoint);
    }

    void connect(const std::string& endpoint)
    {
        mTransport.registerReceiver(mSocket, endpoint);
    }

    void send()
    {
        bench::noticeReads(mSocket);
        const bench::Header header = bench::encodeHeader(bench::messageType);
        demand(zmq_send(mSocket, header.data(), header.size(), ZMQ_SNDMORE) != -1 &&
                   zmq_send(mSocket, payload.data(), payload.size(), 0) != -1,
               "zmq_send");
    }

private:
    const ostrel::ZMQWrapper& mTransport;
    void* mSocket;
};

// --- The loops
// ------------------------------------------------------------------------------------

ordered_json replyServer(int messages)
{
    ostrel::MsgReplyServerChannel server("bench");
    ostrel::MsgRequestClientChannel client("bench");
    const std::string endpoint = bench::freshInproc();
    server.setServerEndPoint(endpoint);
    client.setServerEndPoint(endpoint);
    server.registerCallBack(bench::messageType,
                            [](const char*, int, ostrel::MsgReplyServerChannel* channel) {
                                channel->ipcSend(bench::messageType, payload.data(), partSize);
                                onMessage();
                            });
    client.ipcSend(bench::messageType, payload.data(), partSize);
    return runCourse(
        messages,
        [&] {
            ostrel::IpcMsg answer;
            client.ipcReceive(&answer, -1);
            client.ipcSend(bench::messageType, payload.data(), partSize);
        },
        [&] { server.terminate(); }, [&] { server.ipcReceive(-1); });
}

ordered_json subscriber(int messages)
{
    BareSender publisher(ZMQ_PUB);
    ostrel::MsgSubscribeChannel subscriber("bench");
    const std::string endpoint = bench::freshInproc();
    publisher.bind(endpoint);
    subscriber.setPublisherEndPoint(endpoint);
    const auto publish = [&] { publisher.send(); };
    subscriber.registerCallBack(
        bench::messageType, [](const char*, int, ostrel::MsgSubscribeChannel*) { onMessage(); });
    // What is published before the subscription has come through is dropped.
    ostrel::IpcMsg first;
    while (subscriber.receive(&first, 0) < 1) {
        publish();
    }
    publish();
    return runCourse(
        messages, publish, [&] { subscriber.terminate(); }, [&] { subscriber.ipcReceive(-1); });
}

ordered_json worker(int messages)
{
    // A broker of its own for each: its name is that of the channel.
    ostrel::MsgDealerWorkerChannel channel("bench " + std::to_string(messages));
    const std::string endpoint = bench::freshInproc();
    channel.setServerEndPoint(endpoint);
    channel.setWorkerEndPoint(bench::freshInproc());
    ostrel::IpcMsg nothing;
    channel.receive(&nothing, 0); // Starts the broker.
    BareSender client(ZMQ_DEALER);
    client.connect(endpoint);
    channel.registerCallBack(bench::messageType,
                             [](int, const char*, int, ostrel::MsgDealerWorkerChannel*,
                                ostrel::MsgHandle*) { onMessage(); });
    client.send();
    return runCourse(
        messages, [&] { client.send(); }, [&] { channel.terminate(); },
        [&] { channel.ipcReceive(0, -1); });
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2 || std::freopen("/dev/null", "w", stdout) == nullptr) {
        std::cerr << "usage: bench_loops JSON\n";
        return 2;
    }
    ordered_json results;
    for (const int messages : {1000, 10000}) {
        const std::string count = std::to_string(messages);
        results["reply server"][count] = replyServer(messages);
        results["subscriber"][count] = subscriber(messages);
    }
    // Last: a worker changes the framing of the whole process.
    for (const int messages : {1000, 3000}) {
        results["worker"][std::to_string(messages)] = worker(messages);
    }
    std::ofstream out(argv[1]);
    out << results.dump(1) << '\n';
    return out.flush() ? 0 : 1;
}
