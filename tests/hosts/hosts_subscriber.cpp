// hosts_subscriber LINE ENDPOINT: takes whatever is published, and ends when it is not whole.
//
//   mark               the number of the last mark that the channel has got, or 0
//   seen               the numbers of the messages that have come, in their order: "0-99 105-107"
//   receive TIMEOUT    one call; a message that it brings does not count
//   renew              a new channel in place of the old one

#include "hosts/CommandLoop.h"
#include "hosts/Traffic.h"
#include "ostrel/MsgSubscribeChannel.h"

#include <memory>
#include <stdexcept>
#include <utility>

using hosts::CommandLoop;
using ostrel::IpcMsg;
using Words = CommandLoop::Words;

namespace {

class Subscriber {
public:
    Subscriber(CommandLoop& loop, const std::string& endpoint) : mLoop(loop), mEndpoint(endpoint)
    {
        renew();
        loop.on("mark", [this](const Words&) { return mMark; });
        loop.on("seen", [this](const Words&) { return seen(); });
        loop.on("receive",
                [this](const Words& words) { return hosts::receive(mLoop, *mChannel, words); });
        loop.on("renew", [this](const Words&) { return renew(); });
    }

    /// Whether there was a message to take.
    bool takeTurn()
    {
        IpcMsg msg;
        if (hosts::receive(mLoop, *mChannel, msg, 0) == -1) {
            return false;
        }
        if (msg.getMsgType() == hosts::markType) {
            mMark = hosts::unwrap(msg).parts.at(0);
        } else {
            note(hosts::unwrap(msg));
        }
        return true;
    }

private:
    std::string renew()
    {
        mLoop.times().take([this] { mChannel.reset(); });
        mChannel = std::make_unique<ostrel::MsgSubscribeChannel>("subscriber");
        mLoop.times().take([this] { return mChannel->setPublisherEndPoint(mEndpoint); });
        mMark = "0";
        return "renewed";
    }

    void note(const traffic::Message& message)
    {
        const std::string head = message.parts.empty() ? "none" : message.parts.front();
        if (!hosts::areSame(message, hosts::messageOf(head))) {
            throw std::logic_error("not whole: " + head);
        }
        const unsigned int number = hosts::numberOf(head);
        if (!mSeen.empty() && mSeen.back().second + 1 == number) {
            mSeen.back().second = number;
        } else {
            mSeen.emplace_back(number, number);
        }
    }

    std::string seen() const
    {
        std::string text;
        for (const auto& [first, last] : mSeen) {
            text += (text.empty() ? "" : " ") + std::to_string(first) + '-' + std::to_string(last);
        }
        return text.empty() ? "nothing" : text;
    }

    CommandLoop& mLoop;
    const std::string mEndpoint;
    std::unique_ptr<ostrel::MsgSubscribeChannel> mChannel;
    std::string mMark;
    std::vector<std::pair<unsigned int, unsigned int>> mSeen; // Ranges.
};

int run(CommandLoop& loop, const Words& arguments)
{
    Subscriber subscriber(loop, arguments.at(0));
    return loop.run([&] { return subscriber.takeTurn(); });
}

} // namespace

int main(int argc, char** argv)
{
    return hosts::runProgram(argc, argv, run);
}
