#include "ostrel/MsgPublishPattern.h"

#include "log/Logged.h"
#include "log/Trace.h"
#include "ostrel/ZMQWrapper.h"
#include "pattern/Properties.h"

#include <stdexcept>
#include <zmq.h>

namespace ostrel {

using detail::logged;
using detail::trace;

namespace {

constexpr auto accepted = {PROP_PUBLISHER_ENDPOINT};

int throwNotPermitted()
{
    throw std::logic_error("receive() Operation NOT permitted for PUBLISHER");
}

int refuseReceive()
{
    // The blank in the prefix is kept: log filters rely on it.
    return logged("Error : Ostrel:: MsgPublishPattern::receive() : ", throwNotPermitted);
}

} // namespace

MsgPublishPattern::MsgPublishPattern(const std::string& name) : MsgPattern(name) {}

MsgPublishPattern::~MsgPublishPattern() = default;

int MsgPublishPattern::setProperty(channel_prop_t prop, const std::string& value)
{
    return logged("Error : Ostrel::MsgPublishPattern::setProperty() : ", [&] {
        detail::requireSettable(accepted, prop, value);
        detail::requireEndpoint(isValidEndpt(value), value);
        detail::requireNoSocket(mpSocket, mProperties[prop]);
        mProperties[prop] = value;
        connectEndpoint();
        return 0;
    });
}

std::string MsgPublishPattern::getProperty(channel_prop_t prop)
{
    return logged("Error : Ostrel::MsgPublishPattern::getProperty() : ", [&] {
        detail::requireQueryable(accepted, prop);
        return mProperties[prop];
    });
}

int MsgPublishPattern::send(StringMsg* msg)
{
    return logged("Error : Ostrel::MsgPublishPattern::send() : ", [&] {
        if (mpSocket == nullptr) {
            connectEndpoint();
        }
        return mpMsgQ->send(mpSocket, msg);
    });
}

int MsgPublishPattern::receive(StringMsg* /*msg*/, long /*timeout*/)
{
    return refuseReceive();
}

int MsgPublishPattern::send(IpcMsg* msg)
{
    return logged("Error : Ostrel::MsgPublishPattern::send() : ", [&] {
        if (msg == nullptr) {
            trace("MsgPublishPattern::send: inMsg is null");
            return -1;
        }
        if (mpSocket == nullptr) {
            connectEndpoint();
        }
        if (mpMsgQ == nullptr) {
            trace("MsgPublishPattern::send: mpMsgQ is null");
            return -1;
        }
        return mpMsgQ->send(mpSocket, msg);
    });
}

int MsgPublishPattern::receive(IpcMsg* /*msg*/, long /*timeout*/)
{
    return refuseReceive();
}

void MsgPublishPattern::connectEndpoint()
{
    if (mpSocket != nullptr) {
        return;
    }
    // Kept before the endpoint is tried: a pattern whose endpoint failed keeps its socket.
    mpSocket = mpMsgQ->createEndpt(ZMQ_PUB);
    mpMsgQ->registerSender(mpSocket, mProperties[PROP_PUBLISHER_ENDPOINT]);
}

} // namespace ostrel
