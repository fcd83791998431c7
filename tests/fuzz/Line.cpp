#include "fuzz/Line.h"

#include "fuzz/Check.h"
#include "fuzz/Sockets.h"
#include "ostrel/MsgDealerWorkerChannel.h"
#include "ostrel/MsgDealerWorkerPattern.h"

#include <zmq.h>

namespace fuzz {

namespace {

/// The transport hands out every frame, and each filter of the harnesses lets this one through.
const std::string greeting = "k";

void meetClient(void* peer, void* own)
{
    sendMessage(own, {greeting});
    awaitMessage(peer);
    drain(peer);
    sendMessage(peer, {"", greeting});
    awaitMessage(own);
    drain(own);
}

Line joinTo(void* own, const std::string& endpoint)
{
    const int type = typeOf(own);
    void* peer = makeSocket(type == ZMQ_SUB ? ZMQ_PUB : ZMQ_DEALER);
    if (type == ZMQ_REP) {
        connect(peer, endpoint);
    } else {
        bind(peer, endpoint);
    }
    if (type == ZMQ_REQ) {
        meetClient(peer, own);
    } else {
        meet(peer, own, type == ZMQ_REP ? Frames{"", greeting} : Frames{greeting});
    }
    return {peer, own, nullptr};
}

} // namespace

void* open(ostrel::MsgChannel& channel, ostrel::channel_prop_t endpointProperty,
           const std::string& endpoint)
{
    expectEqual(channel.setProperty(endpointProperty, endpoint), 0, "the result of setProperty()");
    channel.pvthandle->connectEndpoint();
    return channel.pvthandle->mpSocket;
}

Line join(ostrel::MsgChannel& channel, ostrel::channel_prop_t endpointProperty)
{
    const std::string endpoint = "inproc://" + channel.getChannelName();
    Line line = joinTo(open(channel, endpointProperty, endpoint), endpoint);
    line.pattern = channel.pvthandle;
    return line;
}

Line joinTransport()
{
    void* own = makeSocket(ZMQ_DEALER);
    connect(own, "inproc://transport");
    return joinTo(own, "inproc://transport");
}

std::unique_ptr<ostrel::MsgDealerWorkerChannel> makePoolWorker()
{
    const std::string name = "pool";
    ostrel::MsgDealerWorkerPattern first(name);
    first.setProperty(ostrel::PROP_DEALER_SERVER_ENDPOINT, "inproc://elsewhere.clients");
    first.setProperty(ostrel::PROP_DEALER_WORKER_ENDPOINT, "inproc://elsewhere.workers");
    first.connectEndpoint();
    return std::make_unique<ostrel::MsgDealerWorkerChannel>(name);
}

} // namespace fuzz
