#include "ostrel/MsgReplyPattern.h"

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

MsgReplyPattern::MsgReplyPattern(const std::string& name) : MsgPattern(name) {}

MsgReplyPattern::~MsgReplyPattern() = default;

int MsgReplyPattern::setProperty(channel_prop_t prop, const std::string& value)
{
    return logged("Error : Ostrel::MsgReplyPattern::setProperty() : ", [&] {
        return detail::keepEndpoint(mpSocket, accepted, isValidEndpt(value), mProperties, prop,
                                    value);
    });
}

std::string MsgReplyPattern::getProperty(channel_prop_t prop)
{
    return logged("Error : Ostrel::MsgReplyPattern::getProperty() : ", [&] {
        detail::requireQueryable(accepted, prop);
        return mProperties[prop];
    });
}

int MsgReplyPattern::send(StringMsg* msg)
{
    if (mpSocket == nullptr) {
        connectEndpoint();
    }
    return mpMsgQ->send(mpSocket, msg);
}

int MsgReplyPattern::receive(StringMsg* msg, long timeout)
{
    return tracedReceive(
        mpSocket, [&] { connectEndpoint(); },
        [&] { return mpMsgQ->receive(mpSocket, msg, timeout); });
}

int MsgReplyPattern::send(IpcMsg* msg)
{
    if (mpSocket == nullptr) {
        connectEndpoint();
    }
    return mpMsgQ->send(mpSocket, msg);
}

int MsgReplyPattern::receive(IpcMsg* msg, long timeout)
{
    return tracedReceive(
        mpSocket, [&] { connectEndpoint(); },
        [&] { return mpMsgQ->receive(mpSocket, msg, timeout); });
}

void MsgReplyPattern::connectEndpoint()
{
    if (mpSocket != nullptr) {
        return;
    }
    // Kept before the endpoint is tried: a pattern whose endpoint failed keeps its socket.
    mpSocket = mpMsgQ->createEndpt(ZMQ_REP);
    mpMsgQ->registerSender(mpSocket, mProperties[PROP_SERVER_ENDPOINT]);
}

} // namespace ostrel
