#include "ostrel/MsgSubscribeChannel.h"

#include "channel/Dispatch.h"
#include "log/Trace.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgSubscribePattern.h"

namespace ostrel {

using detail::trace;

MsgSubscribeChannel::MsgSubscribeChannel(std::string name) : MsgChannel(name), mRunning(false)
{
    mChannelType = 1;
    // Unlike the other channels, a failure leaves a channel without a pattern. Kept, as for the
    // publisher.
    try {
        pvthandle = new MsgSubscribePattern(name);
    } catch (...) {
        trace("failed to create the object");
    }
}

MsgSubscribeChannel::~MsgSubscribeChannel() = default;

std::string MsgSubscribeChannel::getChannelName()
{
    return mChannelName;
}

int MsgSubscribeChannel::setPublisherEndPoint(std::string endpoint)
{
    return setProperty(PROP_PUBLISHER_ENDPOINT, endpoint);
}

int MsgSubscribeChannel::subscribe(std::string topic)
{
    return setProperty(PROP_SUBSCRIBE, topic);
}

int MsgSubscribeChannel::unsubscribe(std::string topic)
{
    return setProperty(PROP_UNSUBSCRIBE, topic);
}

int MsgSubscribeChannel::registerCallBack(int msgType,
                                          void (*callback)(const char*, int, MsgSubscribeChannel*))
{
    return mCallbacks.emplace(msgType, callback).second ? 1 : 0;
}

int MsgSubscribeChannel::ipcReceive(long timeout)
{
    mRunning.store(true, std::memory_order_relaxed);
    IpcMsg working;
    detail::dispatch(
        mRunning, mCallbacks, working, detail::SilentTrace(),
        [&](IpcMsg& msg) { return receive(&msg, timeout); },
        [&](auto callback) { callback(working.getMsgData(), working.getMsgSize(), this); });
    return 0;
}

void MsgSubscribeChannel::terminate()
{
    mRunning.store(false, std::memory_order_relaxed);
}

} // namespace ostrel
