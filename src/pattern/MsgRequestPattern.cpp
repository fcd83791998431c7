#include "ostrel/MsgRequestPattern.h"

#include "log/Logged.h"
#include "ostrel/ZMQWrapper.h"
#include "pattern/Properties.h"
#include "pattern/TracedReceive.h"

#include <zmq.h>

namespace ostrel {

using detail::logged;
using detail::tracedReceive;

namespace {

constexpr auto accepted = {PROP_SERVER_ENDPOINT};

} // namespace

MsgRequestPattern::MsgRequestPattern(const std::string& name) : MsgPattern(name) {}

MsgRequestPattern::~MsgRequestPattern() = default;

int MsgRequestPattern::setProperty(channel_prop_t prop, const std::string& value)
{
    return logged("Error : Ostrel::MsgRequestPattern::setProperty() : ", [&] {
        return detail::keepEndpoint(mpSocket, accepted, isValidEndpt(value), mProperties, prop,
                                    value);
    });
}

std::string MsgRequestPattern::getProperty(channel_prop_t prop)
{
    return logged("Error : Ostrel::MsgRequestPattern::getProperty() : ", [&] {
        detail::requireQueryable(accepted, prop);
        return mProperties[prop];
    });
}

int MsgRequestPattern::send(StringMsg* msg)
{
    if (mpSocket == nullptr) {
        connectEndpoint();
    }
    return mpMsgQ->send(mpSocket, msg);
}

int MsgRequestPattern::receive(StringMsg* msg, long timeout)
{
    return tracedReceive(
        mpSocket, [&] { connectEndpoint(); },
        [&] { return mpMsgQ->receive(mpSocket, msg, timeout); });
}

int MsgRequestPattern::send(IpcMsg* msg)
{
    if (mpSocket == nullptr) {
        connectEndpoint();
    }
    return mpMsgQ->send(mpSocket, msg);
}

int MsgRequestPattern::receive(IpcMsg* msg, long timeout)
{
    return tracedReceive(
        mpSocket, [&] { connectEndpoint(); },
        [&] { return mpMsgQ->receive(mpSocket, msg, timeout); });
}

void MsgRequestPattern::connectEndpoint()
{
    if (mpSocket != nullptr) {
        return;
    }
    // Kept before the endpoint is tried: a pattern whose endpoint failed keeps its socket.
    mpSocket = mpMsgQ->createEndpt(ZMQ_REQ);
    mpMsgQ->registerReceiver(mpSocket, mProperties[PROP_SERVER_ENDPOINT]);
}

} // namespace ostrel
