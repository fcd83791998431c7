// A worker of a pool: answers counts and transformations of texts, in any order and for any client.
// The first process of a pool has the broker too; the others join it.
//
// The library prints trace lines on standard output, so the worker's own words go to standard
// error.

#include "texts/TextTypes.h"
#include "texts/Texts.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <exception>
#include <iostream>
#include <map>
#include <memory>
#include <ostrel/IpcMsg.h>
#include <ostrel/MsgDealerWorkerChannel.h>
#include <ostrel/MsgHandle.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

namespace {

using ostrel::IpcMsg;
using ostrel::MsgDealerWorkerChannel;
using ostrel::MsgHandle;

using Callback = void (*)(int arg, const char* data, int size, MsgDealerWorkerChannel* channel,
                          MsgHandle* client);

volatile std::sig_atomic_t stopped = 0;

void stop(int /*signal*/)
{
    stopped = 1;
}

// A request is "<number>\n<text>", and its answer "<number>\n<answer>": answers come back in any
// order, and the client has to tell them apart.
void answer(std::string (*work)(std::string_view), int type, const char* data, int size,
            MsgDealerWorkerChannel& channel, const MsgHandle& client)
{
    const std::string_view request(data, static_cast<std::size_t>(size));
    const std::size_t text = request.find('\n') + 1;
    std::string reply = std::string(request.substr(0, text)) + work(request.substr(text));
    // The handle is lent; a send consumes the one that it is given.
    channel.ipcSend(type, reply.data(), static_cast<int>(reply.size()), client.clone());
}

void count(int /*arg*/, const char* data, int size, MsgDealerWorkerChannel* channel,
           MsgHandle* client)
{
    answer(countOf, countType, data, size, *channel, *client);
}

void transform(int /*arg*/, const char* data, int size, MsgDealerWorkerChannel* channel,
               MsgHandle* client)
{
    answer(capitalsOf, transformType, data, size, *channel, *client);
}

// A loop of its own over single receives, each into a fresh message. The channel's loop,
// ipcReceive(int, long), keeps one working message, to which receives append: from the second
// request on its callbacks would see an identity in the place of the data.
int serve(MsgDealerWorkerChannel& channel)
{
    const std::map<int, Callback> callbacks = {{countType, count}, {transformType, transform}};
    int answered = 0;
    while (stopped == 0) {
        IpcMsg request;
        // Looks and naps: a receive that waits without limit would not see the flag, and one with a
        // positive time-out does not wait.
        if (channel.receive(&request, 0) < 1) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            continue;
        }
        const auto entry = callbacks.find(request.getMsgType());
        if (entry != callbacks.end()) {
            entry->second(0, request.getMsgData(), request.getMsgSize(), &channel,
                          request.getHandle());
            ++answered;
        }
    }
    return answered;
}

// Every process of a pool has a broker of its own as soon as its first worker of a name connects,
// at the endpoints of that worker. One that is to join another process's pool therefore lets a
// first worker take the name at endpoints that nobody uses; later workers of the name start no
// broker and just connect where they are told.
std::unique_ptr<MsgDealerWorkerChannel> takeName(const std::string& name,
                                                 const std::string& unusedEndpoint)
{
    auto channel = std::make_unique<MsgDealerWorkerChannel>(name);
    channel->setServerEndPoint(unusedEndpoint + ".clients");
    channel->setWorkerEndPoint(unusedEndpoint + ".workers");
    IpcMsg nothing;
    channel->receive(&nothing, 0);
    return channel;
}

int run(int argc, char** argv)
{
    std::string clients;
    std::string workers;
    std::string unused;
    CLI::App app("Answers worker_pool_client until it gets a SIGTERM.");
    app.add_option("clients", clients, "where the broker listens for clients")->required();
    app.add_option("workers", workers, "where the broker listens for workers")->required();
    app.add_option("--join", unused,
                   "join the broker of another process; an ipc endpoint of one's own to start at");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        return app.exit(end, std::cerr, std::cerr);
    }
    if (std::signal(SIGTERM, stop) == SIG_ERR) {
        throw std::runtime_error("cannot handle SIGTERM");
    }

    std::unique_ptr<MsgDealerWorkerChannel> first;
    if (!unused.empty()) {
        first = takeName("pool", unused);
    }
    MsgDealerWorkerChannel channel("pool");
    channel.setServerEndPoint(clients);
    channel.setWorkerEndPoint(workers);
    const int answered = serve(channel);
    std::cerr << "worked answered=" << answered << '\n';
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& failure) {
        std::cerr << "worker: " << failure.what() << '\n';
        return 1;
    }
}
