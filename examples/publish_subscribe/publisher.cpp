// A publisher: sends every line of many files, each under its file's path as the topic.
//
// A publisher does not wait for anybody: what it sends before a subscriber's connection stands is
// lost to that subscriber, and so is what finds the queue to a slow one full. Where every message
// counts, the application has to pace itself. This one publishes a mark now and then and goes on
// when every subscriber has confirmed it.
//
// The library prints trace lines on standard output, so the publisher's own words go to standard
// error.

#include "Agreement.h"
#include "texts/Texts.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstddef>
#include <exception>
#include <iostream>
#include <ostrel/IpcMsg.h>
#include <ostrel/MsgPublishChannel.h>
#include <ostrel/MsgReplyServerChannel.h>
#include <ostrel/StringMsg.h>
#include <set>
#include <sstream>
#include <string>
#include <thread>

namespace {

/// ZeroMQ queues 1,000 messages for a subscriber and then drops. It learns that messages have left
/// the queue only by the 500, and looks for that at most once a millisecond. So a burst must stay
/// below 500, and the pause after it must be longer than a millisecond.
constexpr std::size_t linesPerMark = 200;
constexpr auto pause = std::chrono::milliseconds(2);

class Publisher {
public:
    Publisher(const std::string& endpoint, const std::string& confirmations,
              std::size_t subscribers)
        : mLines("publisher"), mConfirmations("confirmations"), mSubscribers(subscribers)
    {
        mConfirmations.setServerEndPoint(confirmations);
        mLines.setPublisherEndPoint(endpoint); // Binds at once.
    }

    void publishLine(const std::string& path, const std::string& line)
    {
        publish(path, line);
        if (++mPublished % linesPerMark == 0) {
            agreeOn(std::to_string(mPublished));
        }
    }

    /// Publishes a mark again and again until every subscriber has confirmed it. The first ones are
    /// likely lost: the subscribers are still joining.
    void agreeOn(const std::string& mark)
    {
        std::set<std::string> confirmed;
        while (confirmed.size() < mSubscribers) {
            publish(markTopic, mark);
            takeConfirmations(mark, confirmed);
        }
    }

    /// Destroying a channel drops what it has not sent yet, the last answers included. Should a
    /// goodbye be lost, all that is lost is two seconds.
    void awaitGoodbyes()
    {
        std::set<std::string> gone;
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        while (gone.size() < mSubscribers && std::chrono::steady_clock::now() < end) {
            takeConfirmations(goodbyeMark, gone);
        }
    }

    std::size_t published() const
    {
        return mPublished;
    }

private:
    void publish(const std::string& topic, const std::string& text)
    {
        ostrel::StringMsg msg(1);
        msg[0] = text;
        mLines.send(topic.c_str(), &msg);
    }

    // For a moment. A receive with a positive time-out does not wait, so the waiting is ours.
    void takeConfirmations(const std::string& mark, std::set<std::string>& confirmed)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
        std::this_thread::sleep_for(pause);
        while (confirmed.size() < mSubscribers && std::chrono::steady_clock::now() < end) {
            ostrel::IpcMsg request;
            if (mConfirmations.ipcReceive(&request, 0) < 1) {
                std::this_thread::sleep_for(pause);
                continue;
            }
            mConfirmations.ipcSend(markType, nullptr, 0);
            std::string name;
            std::string confirmedMark;
            std::istringstream(std::string(request.getMsgData(),
                                           static_cast<std::size_t>(request.getMsgSize()))) >>
                name >> confirmedMark;
            if (confirmedMark == mark) {
                confirmed.insert(name);
            }
        }
    }

    ostrel::MsgPublishChannel mLines;
    ostrel::MsgReplyServerChannel mConfirmations;
    std::size_t mSubscribers;
    std::size_t mPublished = 0;
};

int run(int argc, char** argv)
{
    std::string endpoint;
    std::string confirmations;
    std::size_t subscribers = 1;
    CLI::App app("Publishes the lines of files; their paths stand on standard input, each with a "
                 "zero byte at its end.");
    app.add_option("endpoint", endpoint, "where to publish")->required();
    app.add_option("confirmations", confirmations, "where to take confirmations")->required();
    app.add_option("subscribers", subscribers, "how many there will be")->required();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        return app.exit(end, std::cerr, std::cerr);
    }

    const auto paths = readPaths(std::cin, '\0');
    Publisher publisher(endpoint, confirmations, subscribers);
    publisher.agreeOn("0"); // Everybody has joined.
    for (const std::string& path : paths) {
        for (const std::string& line : linesOf(path)) {
            publisher.publishLine(path, line);
        }
    }
    publisher.agreeOn(endMark);
    publisher.awaitGoodbyes();
    std::cerr << "published files=" << paths.size() << " lines=" << publisher.published() << '\n';
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& failure) {
        std::cerr << "publisher: " << failure.what() << '\n';
        return 1;
    }
}
