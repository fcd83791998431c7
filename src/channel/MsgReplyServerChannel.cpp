#include "ostrel/MsgReplyServerChannel.h"

#include "channel/Dispatch.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgReplyPattern.h"

namespace ostrel {

MsgReplyServerChannel::MsgReplyServerChannel(std::string name) : MsgChannel(name), mRunning(false)
{
    mChannelType = 0;
    pvthandle = new MsgReplyPattern(name);
}

MsgReplyServerChannel::~MsgReplyServerChannel() = default;

std::string MsgReplyServerChannel::getChannelName()
{
    return mChannelName;
}

int MsgReplyServerChannel::setServerEndPoint(std::string endpoint)
{
    return setProperty(PROP_SERVER_ENDPOINT, endpoint);
}

int MsgReplyServerChannel::registerCallBack(int msgType, void (*callback)(const char*, int,
                                                                          MsgReplyServerChannel*))
{
    return mCallbacks.emplace(msgType, callback).second ? 1 : 0;
}

int MsgReplyServerChannel::ipcReceive(long timeout)
{
    mRunning.store(true, std::memory_order_relaxed);
    IpcMsg working;
    detail::dispatch(
        mRunning, mCallbacks, working, detail::SilentTrace(),
        [&](IpcMsg& msg) { return receive(&msg, timeout); },
        [&](auto callback) { callback(working.getMsgData(), working.getMsgSize(), this); });
    return 0;
}

int MsgReplyServerChannel::ipcReceive(IpcMsg* msg, long timeout)
{
    return receive(msg, timeout);
}

int MsgReplyServerChannel::ipcSend(int type, char* data, int size)
{
    IpcMsg msg(type, data, size, nullptr);
    return send(&msg);
}

void MsgReplyServerChannel::terminate()
{
    mRunning.store(false, std::memory_order_relaxed);
}

} // namespace ostrel
