#include "ostrel/MsgDealerClientChannel.h"

#include "ostrel/IpcMsg.h"
#include "ostrel/MsgDealerClientPattern.h"

namespace ostrel {

MsgDealerClientChannel::MsgDealerClientChannel(std::string name) : MsgChannel(name)
{
    mChannelType = 2;
    pvthandle = new MsgDealerClientPattern(name);
}

MsgDealerClientChannel::~MsgDealerClientChannel() = default;

std::string MsgDealerClientChannel::getChannelName()
{
    return mChannelName;
}

int MsgDealerClientChannel::setServerEndPoint(std::string endpoint)
{
    return setProperty(PROP_DEALER_SERVER_ENDPOINT, endpoint);
}

int MsgDealerClientChannel::ipcSend(int msgType, char* data, int size)
{
    IpcMsg msg(msgType, data, size, nullptr);
    return send(&msg);
}

int MsgDealerClientChannel::ipcReceive(IpcMsg* msg, long timeoutMs)
{
    return receive(msg, timeoutMs);
}

} // namespace ostrel
