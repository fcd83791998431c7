// hosts_server LINE ROLE ENDPOINT...: answers whatever it is asked. ROLE is one of
//   reply ENDPOINT           a request/reply server
//   broker CLIENTS WORKERS   the broker of a worker pool, and nothing else
//   worker WORKERS           a worker of a broker in another process
//
//   answered   how many requests it has answered
//   hold       keeps the next request instead of answering it, and takes no other one
//   held       whether it has got one to keep: "yes" or "no"
//   release    answers what is held; the result of the send
//   renew      a new channel in place of the old one

#include "hosts/CommandLoop.h"
#include "hosts/Traffic.h"
#include "ostrel/MsgDealerWorkerChannel.h"
#include "ostrel/MsgReplyServerChannel.h"
#include "support/Endpoint.h"

#include <functional>
#include <memory>

using hosts::CommandLoop;
using ostrel::IpcMsg;
using ostrel::MsgChannel;
using ostrel::MsgDealerWorkerChannel;
using Words = CommandLoop::Words;

namespace {

/// The first worker channel of a name in a process starts a broker, which then stays.
void startBroker(const std::string& clients, const std::string& workers)
{
    MsgDealerWorkerChannel channel("pool");
    channel.setServerEndPoint(clients);
    channel.setWorkerEndPoint(workers);
    IpcMsg nothing;
    channel.receive(&nothing, 0);
}

std::unique_ptr<MsgChannel> makeServer(const std::string& endpoint)
{
    auto channel = std::make_unique<ostrel::MsgReplyServerChannel>("server");
    channel->setServerEndPoint(endpoint);
    return channel;
}

std::unique_ptr<MsgChannel> makeWorker(const std::string& endpoint)
{
    auto channel = std::make_unique<MsgDealerWorkerChannel>("pool");
    channel->setWorkerEndPoint(endpoint);
    return channel;
}

/// Turns a request into its answer, which keeps the request's handle.
void turnIntoAnswer(IpcMsg& msg)
{
    const traffic::Message answer = traffic::answerTo(hosts::unwrap(msg));
    msg.setNumParts(0);
    for (const std::string& part : answer.parts) {
        support::append(msg, part);
    }
    msg.setMsgType(answer.type);
}

class Server {
public:
    using Make = std::function<std::unique_ptr<MsgChannel>()>;

    Server(CommandLoop& loop, Make make) : mLoop(loop), mMake(std::move(make)), mChannel(mMake())
    {
        loop.on("answered", [this](const Words&) { return std::to_string(mAnswered); });
        loop.on("hold", [this](const Words&) { return hold(); });
        loop.on("held", [this](const Words&) { return mHeld == nullptr ? "no" : "yes"; });
        loop.on("release", [this](const Words&) { return release(); });
        loop.on("renew", [this](const Words&) { return renew(); });
    }

    /// Whether there was a request to take.
    bool takeTurn()
    {
        if (mHeld != nullptr) {
            return false;
        }
        auto request = std::make_unique<IpcMsg>();
        if (hosts::receive(mLoop, *mChannel, *request, 0) == -1) {
            return false;
        }
        if (mHolding) {
            mHeld = std::move(request);
        } else {
            answer(*request);
        }
        return true;
    }

private:
    int answer(IpcMsg& request)
    {
        turnIntoAnswer(request);
        const int result = mLoop.times().take([&] { return mChannel->send(&request); });
        ++mAnswered;
        return result;
    }

    std::string hold()
    {
        mHolding = true;
        return "holding";
    }

    std::string release()
    {
        const int result = answer(*mHeld);
        mHeld.reset();
        mHolding = false;
        return std::to_string(result);
    }

    std::string renew()
    {
        mLoop.times().take([this] { mChannel.reset(); });
        mChannel = mMake();
        return "renewed";
    }

    CommandLoop& mLoop;
    const Make mMake;
    std::unique_ptr<MsgChannel> mChannel;
    std::unique_ptr<IpcMsg> mHeld;
    bool mHolding = false;
    int mAnswered = 0;
};

int serve(CommandLoop& loop, const Server::Make& make)
{
    Server server(loop, make);
    return loop.run([&] { return server.takeTurn(); });
}

int run(CommandLoop& loop, const Words& words)
{
    const std::string& role = words.at(0);
    const std::string& endpoint = words.at(1);
    if (role == "reply") {
        return serve(loop, [&] { return makeServer(endpoint); });
    }
    if (role == "broker") {
        startBroker(endpoint, words.at(2));
        return loop.run();
    }
    // A broker that is for nobody takes the name; a later channel of the name just connects.
    const support::IpcEndpoint unusedClients;
    const support::IpcEndpoint unusedWorkers;
    startBroker(unusedClients.text(), unusedWorkers.text());
    return serve(loop, [&] { return makeWorker(endpoint); });
}

} // namespace

int main(int argc, char** argv)
{
    return hosts::runProgram(argc, argv, run);
}
