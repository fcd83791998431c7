// A reply server: answers counts and transformations of texts through callbacks, and requests of
// any other type with an error, until it is told to stop.
//
// The library prints trace lines on standard output, so the server's own words go to standard
// error.

#include "texts/TextTypes.h"
#include "texts/Texts.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstddef>
#include <exception>
#include <iostream>
#include <map>
#include <ostrel/IpcMsg.h>
#include <ostrel/MsgReplyServerChannel.h>
#include <string>
#include <string_view>
#include <thread>

namespace {

using ostrel::IpcMsg;
using ostrel::MsgReplyServerChannel;

using Callback = void (*)(const char* data, int size, MsgReplyServerChannel* channel);

// An empty request has no bytes at all: `data` is null.
std::string_view textOf(const char* data, int size)
{
    return {data, static_cast<std::size_t>(size)};
}

void answer(MsgReplyServerChannel& channel, int type, std::string text)
{
    channel.ipcSend(type, text.data(), static_cast<int>(text.size()));
}

void count(const char* data, int size, MsgReplyServerChannel* channel)
{
    answer(*channel, countType, countOf(textOf(data, size)));
}

void transform(const char* data, int size, MsgReplyServerChannel* channel)
{
    answer(*channel, transformType, capitalsOf(textOf(data, size)));
}

void stop(const char* /*data*/, int /*size*/, MsgReplyServerChannel* channel)
{
    answer(*channel, stopType, "");
}

// A loop of its own over single receives. The channel's loop, ipcReceive(long), is not for this
// server: it keeps one working message, to which receives append, so that callbacks would see the
// first request's bytes again and again; and it drops requests of unknown types, but a reply socket
// that left a request unanswered is out of turn, and its next receive throws.
std::map<int, int> serve(MsgReplyServerChannel& channel)
{
    const std::map<int, Callback> callbacks = {
        {countType, count},
        {transformType, transform},
        {stopType, stop},
    };
    std::map<int, int> answered;
    int type = 0;
    while (type != stopType) {
        IpcMsg request; // A fresh one each time.
        channel.ipcReceive(&request, -1);
        type = request.getMsgType();
        const auto entry = callbacks.find(type);
        if (entry != callbacks.end()) {
            entry->second(request.getMsgData(), request.getMsgSize(), &channel);
            ++answered[type];
        } else {
            answer(channel, errorType, "unknown type " + std::to_string(type));
            ++answered[errorType];
        }
    }
    return answered;
}

// Destroying a channel drops what it has not sent yet, the answer to the stop included. The client
// says goodbye when it has that answer; should its goodbye be lost, all that is lost is two
// seconds.
void awaitGoodbye(MsgReplyServerChannel& channel)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    IpcMsg goodbye;
    while (channel.ipcReceive(&goodbye, 0) == -1 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

int run(int argc, char** argv)
{
    std::string endpoint;
    CLI::App app("Counts and transforms texts for request_reply_client.");
    app.add_option("endpoint", endpoint, "where to listen, such as tcp://127.0.0.1:5555")
        ->required();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        return app.exit(end, std::cerr, std::cerr);
    }

    MsgReplyServerChannel channel("request_reply_server");
    channel.setServerEndPoint(endpoint);
    std::map<int, int> answered = serve(channel);
    awaitGoodbye(channel);
    std::cerr << "answered count=" << answered[countType]
              << " transform=" << answered[transformType] << " unknown=" << answered[errorType]
              << '\n';
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& failure) {
        std::cerr << "request_reply_server: " << failure.what() << '\n';
        return 1;
    }
}
