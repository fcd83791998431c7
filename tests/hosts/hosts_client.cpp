// hosts_client LINE request|dealer ENDPOINT: asks what the test tells it to ask, and checks every
// answer.
//
//   ask FIRST COUNT SIZE...   sends so many requests, numbered from FIRST on, without waiting
//   repeat                    sends every request again that has no answer yet
//   collect MILLISECONDS [N]  looks and naps until only N requests (0) have no answer, or so long
//   receive TIMEOUT           one call; an answer that it brings does not count
//   renew                     a new channel in place of the old one; open requests are forgotten

#include "hosts/Await.h"
#include "hosts/CommandLoop.h"
#include "hosts/Traffic.h"
#include "ostrel/MsgDealerClientChannel.h"
#include "ostrel/MsgRequestClientChannel.h"

#include <memory>
#include <set>

using hosts::CommandLoop;
using ostrel::IpcMsg;
using Words = CommandLoop::Words;

namespace {

template <typename Channel> class Client {
public:
    Client(CommandLoop& loop, const std::string& endpoint) : mLoop(loop), mEndpoint(endpoint)
    {
        renew();
        loop.on("ask", [this](const Words& words) { return sendAll(hosts::headsOf(words)); });
        loop.on("repeat", [this](const Words&) { return repeat(); });
        loop.on("collect", [this](const Words& words) {
            return collect(std::stol(words.at(1)), words.size() > 2 ? std::stoul(words[2]) : 0);
        });
        loop.on("receive",
                [this](const Words& words) { return hosts::receive(mLoop, *mChannel, words); });
        loop.on("renew", [this](const Words&) { return renew(); });
    }

private:
    std::string renew()
    {
        mLoop.times().take([this] { mChannel.reset(); });
        mChannel = std::make_unique<Channel>("client");
        mChannel->setServerEndPoint(mEndpoint);
        mOpen.clear();
        return "renewed";
    }

    std::string repeat()
    {
        mRepeated.insert(mOpen.begin(), mOpen.end());
        return sendAll({mOpen.begin(), mOpen.end()});
    }

    std::string sendAll(const std::vector<std::string>& heads)
    {
        int sent = 0;
        std::string failed;
        try {
            for (const std::string& head : heads) {
                hosts::send(mLoop, *mChannel, hosts::messageOf(head));
                mOpen.insert(head);
                ++sent;
            }
        } catch (const std::exception& failure) {
            failed = ", then " + hosts::describe(failure);
        }
        return std::to_string(sent) + " sent" + failed;
    }

    std::string collect(long milliseconds, std::size_t mayBeMissing)
    {
        int right = 0;
        std::string wrong;
        const auto finished = [&] {
            while (wrong.empty() && mOpen.size() > mayBeMissing && take(right, wrong)) {
            }
            return !wrong.empty() || mOpen.size() <= mayBeMissing;
        };
        hosts::await(finished, std::chrono::milliseconds(milliseconds));
        const std::string missing =
            mOpen.empty() ? "" : ", " + std::to_string(mOpen.size()) + " missing";
        return std::to_string(right) + " right" + missing + wrong;
    }

    /// Whether there was an answer.
    bool take(int& right, std::string& wrong)
    {
        IpcMsg msg;
        if (hosts::receive(mLoop, *mChannel, msg, 0) == -1) {
            return false;
        }
        const traffic::Message answer = hosts::unwrap(msg);
        const std::string head =
            answer.parts.empty() ? "" : traffic::reversed(answer.parts.front());
        if (!hosts::areSame(answer, traffic::answerTo(hosts::messageOf(head)))) {
            wrong = ", a wrong answer to " + head;
        } else if (mOpen.erase(head) == 1) {
            ++right;
        } else if (mRepeated.count(head) == 0) {
            wrong = ", an answer that nobody waits for: " + head;
        }
        return true;
    }

    CommandLoop& mLoop;
    const std::string mEndpoint;
    std::unique_ptr<Channel> mChannel;
    std::set<std::string> mOpen;     // The heads of the requests without an answer.
    std::set<std::string> mRepeated; // Of those that may be answered twice.
};

template <typename Channel> int run(CommandLoop& loop, const std::string& endpoint)
{
    const Client<Channel> client(loop, endpoint);
    return loop.run();
}

} // namespace

int main(int argc, char** argv)
{
    return hosts::runProgram(argc, argv, [](CommandLoop& loop, const Words& words) {
        return words.at(0) == "dealer" ? run<ostrel::MsgDealerClientChannel>(loop, words.at(1))
                                       : run<ostrel::MsgRequestClientChannel>(loop, words.at(1));
    });
}
