// A subscriber: receives the lines of the files whose path begins with one of its filters, and
// checks them against the files themselves: every line of its share, in order, and no other.
//
// The library prints trace lines on standard output, so the subscriber's own words go to standard
// error.

#include "Agreement.h"
#include "texts/Texts.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <exception>
#include <iostream>
#include <ostrel/IpcMsg.h>
#include <ostrel/MsgRequestClientChannel.h>
#include <ostrel/MsgSubscribeChannel.h>
#include <ostrel/StringMsg.h>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Line = std::pair<std::string, std::string>; // Path and text.

/// The share of `filters`, read from the files.
std::vector<Line> shareOf(const std::vector<std::string>& filters,
                          const std::vector<std::string>& paths)
{
    std::vector<Line> share;
    for (const std::string& path : paths) {
        const bool wanted =
            std::any_of(filters.begin(), filters.end(), [&](const std::string& filter) {
                return path.compare(0, filter.size(), filter) == 0;
            });
        if (wanted) {
            for (std::string& line : linesOf(path)) {
                share.emplace_back(path, std::move(line));
            }
        }
    }
    return share;
}

void confirm(ostrel::MsgRequestClientChannel& confirmations, const std::string& name,
             const std::string& mark)
{
    std::string text = name + ' ' + mark;
    confirmations.ipcSend(markType, text.data(), static_cast<int>(text.size()));
    ostrel::IpcMsg answer;
    if (mark != goodbyeMark) {
        confirmations.ipcReceive(&answer, -1);
        return;
    }
    // The publisher may be gone already. Gives the goodbye itself time to leave.
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(200);
    while (confirmations.ipcReceive(&answer, 0) == -1 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// Everything up to the end mark. Not the channel's loop: that one is for binary messages, and it
/// keeps its first message.
std::vector<Line> receiveLines(ostrel::MsgSubscribeChannel& lines,
                               ostrel::MsgRequestClientChannel& confirmations,
                               const std::string& name)
{
    std::vector<Line> received;
    std::string lastMark;
    while (lastMark != endMark) {
        std::string topic;
        ostrel::StringMsg msg(0);
        lines.receive(topic, &msg, -1);
        if (topic != markTopic) {
            received.emplace_back(std::move(topic), std::move(msg[0]));
        } else if (msg[0] != lastMark) { // A mark comes more than once.
            lastMark = msg[0];
            confirm(confirmations, name, lastMark);
        }
    }
    confirm(confirmations, name, goodbyeMark);
    return received;
}

int run(int argc, char** argv)
{
    std::string name;
    std::string endpoint;
    std::string confirmationsEndpoint;
    std::vector<std::string> filters;
    CLI::App app("Checks the lines that publish_subscribe_publisher sends of files; their paths "
                 "stand on standard input, each with a zero byte at its end.");
    app.add_option("name", name, "this subscriber's, a word")->required();
    app.add_option("endpoint", endpoint, "the publisher's")->required();
    app.add_option("confirmations", confirmationsEndpoint, "the publisher's")->required();
    app.add_option("filters", filters, "what the wanted paths begin with")->required();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        return app.exit(end, std::cerr, std::cerr);
    }

    ostrel::MsgRequestClientChannel confirmations(name);
    confirmations.setServerEndPoint(confirmationsEndpoint);
    // First the filters, then the endpoint: it connects with the filters of that moment.
    ostrel::MsgSubscribeChannel lines(name);
    lines.subscribe(markTopic);
    for (const std::string& filter : filters) {
        lines.subscribe(filter);
    }
    lines.setPublisherEndPoint(endpoint);

    const std::vector<Line> expected = shareOf(filters, readPaths(std::cin, '\0'));
    const std::vector<Line> received = receiveLines(lines, confirmations, name);
    const auto wrong =
        std::mismatch(received.begin(), received.end(), expected.begin(), expected.end());
    const bool right = wrong.first == received.end() && wrong.second == expected.end();
    if (!right) {
        std::cerr << "line " << wrong.first - received.begin() << " differs\n";
    }
    std::cerr << "subscribed received=" << received.size() << " expected=" << expected.size()
              << " wrong=" << (right ? 0 : 1) << '\n';
    return right ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& failure) {
        std::cerr << "subscriber: " << failure.what() << '\n';
        return 1;
    }
}
