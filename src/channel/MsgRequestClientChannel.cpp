#include "ostrel/MsgRequestClientChannel.h"

#include "ostrel/IpcMsg.h"
#include "ostrel/MsgRequestPattern.h"

namespace ostrel {

MsgRequestClientChannel::MsgRequestClientChannel(std::string name) : MsgChannel(name)
{
    mChannelType = 0;
    pvthandle = new MsgRequestPattern(name);
}

MsgRequestClientChannel::~MsgRequestClientChannel() = default;

std::string MsgRequestClientChannel::getChannelName()
{
    return mChannelName;
}

int MsgRequestClientChannel::setServerEndPoint(std::string endpoint)
{
    return setProperty(PROP_SERVER_ENDPOINT, endpoint);
}

int MsgRequestClientChannel::ipcSend(int type, char* data, int size)
{
    IpcMsg msg(type, data, size, nullptr);
    return send(&msg);
}

int MsgRequestClientChannel::ipcReceive(IpcMsg* msg, long timeout)
{
    return receive(msg, timeout);
}

} // namespace ostrel
