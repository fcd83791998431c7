// A request client: has a server count and transform files, and checks every answer against what
// the standard tools say. Among the requests are some of a type that nobody registered.
//
// The library prints trace lines on standard output, so the client's own words go to standard
// error.

#include "texts/StandardTools.h"
#include "texts/TextTypes.h"
#include "texts/Texts.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <exception>
#include <iostream>
#include <map>
#include <ostrel/IpcMsg.h>
#include <ostrel/MsgRequestClientChannel.h>
#include <string>
#include <string_view>
#include <vector>

namespace {

using ostrel::IpcMsg;
using ostrel::MsgRequestClientChannel;

constexpr int unregisteredType = 99;

struct Totals {
    int files = 0;
    std::map<int, int> requests; // By type.
    std::size_t sent = 0;
    std::size_t received = 0;
    int verified = 0;
    int wrong = 0;
};

// Sends one request and checks its answer: its type, that it is one part, and that part's bytes.
void ask(MsgRequestClientChannel& channel, Totals& totals, const std::string& path, int type,
         std::string request, int expectedType, const std::string& expected)
{
    channel.ipcSend(type, request.data(), static_cast<int>(request.size()));
    IpcMsg answer; // A fresh one each time: a receive appends to the message that it is given.
    // Waits, however long it takes. A positive time-out would not wait at all.
    const int parts = channel.ipcReceive(&answer, -1);

    // An empty answer is one part of size 0, without bytes.
    const std::string_view text(answer.getMsgData(), static_cast<std::size_t>(answer.getMsgSize()));
    ++totals.requests[type];
    totals.sent += request.size();
    totals.received += text.size();
    if (parts == 1 && answer.getMsgType() == expectedType && text == expected) {
        ++totals.verified;
    } else {
        ++totals.wrong;
        const auto common =
            std::mismatch(text.begin(), text.end(), expected.begin(), expected.end());
        std::cerr << "wrong answer to type " << type << " for " << path << ": type "
                  << answer.getMsgType() << ", " << parts << " parts, " << text.size()
                  << " bytes; expected type " << expectedType << ", 1 part, " << expected.size()
                  << " bytes; the first " << common.first - text.begin() << " bytes are right\n";
    }
}

void askAbout(MsgRequestClientChannel& channel, Totals& totals, const std::string& path)
{
    const std::string text = contentOf(path);
    ++totals.files;
    ask(channel, totals, path, countType, text, countType, countByWc(path));
    // Neither stops the server nor spoils the answer that follows.
    ask(channel, totals, path, unregisteredType, text, errorType,
        "unknown type " + std::to_string(unregisteredType));
    ask(channel, totals, path, transformType, text, transformType, capitalsByTr(path));
}

void stopServer(MsgRequestClientChannel& channel)
{
    IpcMsg answer;
    channel.ipcSend(stopType, nullptr, 0);
    channel.ipcReceive(&answer, -1);
    channel.ipcSend(goodbyeType, nullptr, 0);
}

int run(int argc, char** argv)
{
    std::string endpoint;
    std::vector<std::string> paths;
    bool null = false;
    bool stop = false;
    CLI::App app("Has request_reply_server count and transform files, and checks its answers.");
    app.add_option("endpoint", endpoint, "the server's, such as tcp://127.0.0.1:5555")->required();
    app.add_option("files", paths, "default: the paths on standard input, one in each line");
    app.add_flag("-0,--null", null, "paths on standard input end with a zero byte");
    app.add_flag("--stop", stop, "stop the server at the end");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        return app.exit(end, std::cerr, std::cerr);
    }
    if (paths.empty()) {
        paths = readPaths(std::cin, null ? '\0' : '\n');
    }

    MsgRequestClientChannel channel("request_reply_client");
    channel.setServerEndPoint(endpoint);
    Totals totals;
    for (const std::string& path : paths) {
        askAbout(channel, totals, path);
    }
    if (stop) {
        stopServer(channel);
    }
    std::cerr << "asked files=" << totals.files << " count=" << totals.requests[countType]
              << " transform=" << totals.requests[transformType]
              << " unknown=" << totals.requests[unregisteredType] << " sent=" << totals.sent
              << " received=" << totals.received << " verified=" << totals.verified
              << " wrong=" << totals.wrong << '\n';
    return totals.wrong == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& failure) {
        std::cerr << "request_reply_client: " << failure.what() << '\n';
        return 1;
    }
}
