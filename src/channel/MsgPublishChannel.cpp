#include "ostrel/MsgPublishChannel.h"

#include "log/Trace.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgPublishPattern.h"

namespace ostrel {

using detail::trace;

MsgPublishChannel::MsgPublishChannel(std::string name) : MsgChannel(name)
{
    mChannelType = 1;
    // Unlike the other channels, a failure leaves a channel without a pattern. Kept: applications
    // construct first and look at the results of their sends.
    try {
        pvthandle = new MsgPublishPattern(name);
    } catch (...) {
        trace("failed to create the object");
    }
}

MsgPublishChannel::~MsgPublishChannel() = default;

std::string MsgPublishChannel::getChannelName()
{
    return mChannelName;
}

int MsgPublishChannel::setPublisherEndPoint(std::string endpoint)
{
    return setProperty(PROP_PUBLISHER_ENDPOINT, endpoint);
}

int MsgPublishChannel::ipcSend(int type, char* data, int size)
{
    IpcMsg msg(type, data, size, nullptr);
    return send(&msg);
}

} // namespace ostrel
