#include "ostrel/MsgSubscribePattern.h"

#include "log/Logged.h"
#include "message/Bounds.h"
#include "ostrel/ZMQWrapper.h"
#include "pattern/Properties.h"

#include <algorithm>
#include <stdexcept>
#include <zmq.h>

namespace ostrel {

using detail::logged;
using detail::require;

namespace {

constexpr auto settable = {PROP_PUBLISHER_ENDPOINT, PROP_SUBSCRIBE, PROP_UNSUBSCRIBE};
constexpr auto queryable = {PROP_PUBLISHER_ENDPOINT};

int throwNotPermitted()
{
    throw std::logic_error("send() Operation NOT permitted for SUBSCRIBER");
}

int refuseSend()
{
    return logged("Error : Ostrel::MsgSubscribePattern::send() : ", throwNotPermitted);
}

} // namespace

MsgSubscribePattern::MsgSubscribePattern(const std::string& name) : MsgPattern(name) {}

MsgSubscribePattern::~MsgSubscribePattern() = default;

int MsgSubscribePattern::setProperty(channel_prop_t prop, const std::string& value)
{
    return logged("Error : Ostrel::MsgSubscribePattern::setProperty() : ", [&] {
        detail::requireSettable(settable, prop, value);
        if (prop == PROP_PUBLISHER_ENDPOINT) {
            detail::requireEndpoint(isValidEndpt(value), value);
            detail::requireNoSocket(mpSocket, mProperties[prop]);
            mProperties[prop] = value;
            connectEndpoint();
            return 0;
        }
        // The list alone: the socket takes its filters when it is made. Kept: applications rely on
        // later changes having no effect.
        const auto filter = std::find(mFilters.begin(), mFilters.end(), value);
        if (prop == PROP_SUBSCRIBE) {
            require(filter == mFilters.end(), "Filter already exists");
            mFilters.push_back(value);
        } else {
            require(filter != mFilters.end(), "Cannot remove unset filter");
            mFilters.erase(filter);
        }
        return 0;
    });
}

std::string MsgSubscribePattern::getProperty(channel_prop_t prop)
{
    return logged("Error : Ostrel::MsgSubscribePattern::getProperty() : ", [&] {
        detail::requireQueryable(queryable, prop);
        return mProperties[prop];
    });
}

int MsgSubscribePattern::send(StringMsg* /*msg*/)
{
    return refuseSend();
}

int MsgSubscribePattern::receive(StringMsg* msg, long timeout)
{
    // The blank in the prefix is kept: log filters rely on it.
    return logged("Error : Ostrel:: MsgSubscribePattern::receive() : ", [&] {
        if (mpSocket == nullptr) {
            connectEndpoint();
        }
        return mpMsgQ->receive(mpSocket, msg, timeout);
    });
}

int MsgSubscribePattern::send(IpcMsg* /*msg*/)
{
    return refuseSend();
}

int MsgSubscribePattern::receive(IpcMsg* msg, long timeout)
{
    return logged("Error : Ostrel:: MsgSubscribePattern::receive() : ", [&] {
        if (mpSocket == nullptr) {
            connectEndpoint();
        }
        return mpMsgQ->receive(mpSocket, msg, timeout);
    });
}

void MsgSubscribePattern::connectEndpoint()
{
    if (mpSocket != nullptr) {
        return;
    }
    // Kept before the endpoint is tried: a pattern whose endpoint failed keeps its socket.
    mpSocket = mpMsgQ->createEndpt(ZMQ_SUB);
    for (const std::string& filter : mFilters) {
        mpMsgQ->setOption(mpSocket, OPT_SUBSCRIBE, filter);
    }
    if (mFilters.empty()) {
        mpMsgQ->setOption(mpSocket, OPT_SUBSCRIBE, ""); // Everything.
    }
    mpMsgQ->registerReceiver(mpSocket, mProperties[PROP_PUBLISHER_ENDPOINT]);
}

} // namespace ostrel
