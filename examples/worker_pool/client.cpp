// An asynchronous client: keeps many requests under way at a pool of workers, and checks every
// answer against what the standard tools say.
//
// The library prints trace lines on standard output, so the client's own words go to standard
// error.

#include "texts/StandardTools.h"
#include "texts/TextTypes.h"
#include "texts/Texts.h"

#include <CLI/CLI.hpp>
#include <cstddef>
#include <exception>
#include <iostream>
#include <map>
#include <ostrel/IpcMsg.h>
#include <ostrel/MsgDealerClientChannel.h>
#include <string>
#include <string_view>
#include <vector>

namespace {

using ostrel::IpcMsg;
using ostrel::MsgDealerClientChannel;

/// Well below the 1,000 messages that ZeroMQ queues, so that no send finds the queue full.
constexpr std::size_t underWay = 50;

struct Question {
    std::string path;
    int type;
};

class Client {
public:
    explicit Client(const std::string& endpoint) : mChannel("worker_pool_client")
    {
        mChannel.setServerEndPoint(endpoint);
    }

    // Answers come in any order: the number in front of the text says to which question.
    void ask(const Question& question)
    {
        std::string text = std::to_string(++mAsked) + '\n' + contentOf(question.path);
        mChannel.ipcSend(question.type, text.data(), static_cast<int>(text.size()));
        if (mAsked == 1) {
            // The send has connected and named this client. Another one had better be named in
            // another second: names come from the clock.
            std::cerr << "connected\n";
        }
        mOpen.emplace(std::to_string(mAsked), question);
        if (mOpen.size() == underWay) {
            takeAnswer();
        }
    }

    void takeRemaining()
    {
        while (!mOpen.empty()) {
            takeAnswer();
        }
    }

    void report() const
    {
        std::cerr << "asked requests=" << mAsked << " verified=" << mVerified << " wrong=" << mWrong
                  << '\n';
    }

    bool allRight() const
    {
        return mWrong == 0 && mVerified == mAsked;
    }

private:
    void takeAnswer()
    {
        IpcMsg answer; // A fresh one each time: a receive appends to the message that it is given.
        mChannel.ipcReceive(&answer, -1);
        const std::string_view text(answer.getMsgData(),
                                    static_cast<std::size_t>(answer.getMsgSize()));
        const std::size_t end = text.find('\n');
        const auto question = mOpen.find(std::string(text.substr(0, end)));
        if (question != mOpen.end() && answer.getNumParts() == 1 &&
            answer.getMsgType() == question->second.type &&
            text.substr(end + 1) == expected(question->second)) {
            ++mVerified;
            mOpen.erase(question);
            return;
        }
        ++mWrong;
        std::cerr << "wrong answer: type " << answer.getMsgType() << ", " << text.size()
                  << " bytes\n";
        if (question != mOpen.end()) {
            mOpen.erase(question);
        }
    }

    static std::string expected(const Question& question)
    {
        return question.type == countType ? countByWc(question.path) : capitalsByTr(question.path);
    }

    MsgDealerClientChannel mChannel;
    std::map<std::string, Question> mOpen; // By number.
    int mAsked = 0;
    int mVerified = 0;
    int mWrong = 0;
};

int run(int argc, char** argv)
{
    std::string endpoint;
    CLI::App app("Has worker_pool_worker count and transform files, and checks the answers; the "
                 "files' paths stand on standard input, each with a zero byte at its end.");
    app.add_option("endpoint", endpoint, "the broker's, for clients")->required();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        return app.exit(end, std::cerr, std::cerr);
    }

    Client client(endpoint);
    for (const std::string& path : readPaths(std::cin, '\0')) {
        client.ask({path, countType});
        client.ask({path, transformType});
    }
    client.takeRemaining();
    client.report();
    return client.allRight() ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& failure) {
        std::cerr << "client: " << failure.what() << '\n';
        return 1;
    }
}
