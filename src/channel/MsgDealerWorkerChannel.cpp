#include "ostrel/MsgDealerWorkerChannel.h"

#include "channel/Dispatch.h"
#include "log/Trace.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgDealerWorkerPattern.h"

namespace ostrel {

namespace {

/// What the worker's loop prints: before it waits, and before the callback may print something
/// itself.
class PrintedTrace {
public:
    void beforeReceive()
    {
        mLines.add("MsgDealerWorkerChannel::ipcReceive before receive");
        mLines.print();
    }

    void afterReceive(int result)
    {
        mLines.add("MsgDealerWorkerChannel::ipcReceive got the msg retCode = ", result);
    }

    template <typename Callbacks>
    void beforeLookup(int result, int type, const Callbacks& callbacks)
    {
        mLines.add("MsgDealerWorkerChannel::ipcReceive got the msg retCode = ", result, " type ",
                   type);
        for (const auto& entry : callbacks) {
            mLines.add("--> msgType ", entry.first, " - pointer ",
                       reinterpret_cast<const void*>(entry.second));
        }
    }

    void found()
    {
        mLines.add("MsgDealerWorkerChannel::ipcReceive found call back");
        mLines.print();
    }

    void notFound()
    {
        mLines.add("MsgDealerWorkerChannel::ipcReceive could not find it");
    }

private:
    detail::TraceLines<400> mLines; // Those of a message with a handful of callbacks.
};

} // namespace

MsgDealerWorkerChannel::MsgDealerWorkerChannel(std::string name) : MsgChannel(name), mRunning(false)
{
    mChannelType = 2;
    pvthandle = new MsgDealerWorkerPattern(name);
}

MsgDealerWorkerChannel::~MsgDealerWorkerChannel() = default;

std::string MsgDealerWorkerChannel::getChannelName()
{
    return mChannelName;
}

int MsgDealerWorkerChannel::setServerEndPoint(std::string endpoint)
{
    return setProperty(PROP_DEALER_SERVER_ENDPOINT, endpoint);
}

int MsgDealerWorkerChannel::setWorkerEndPoint(std::string endpoint)
{
    return setProperty(PROP_DEALER_WORKER_ENDPOINT, endpoint);
}

int MsgDealerWorkerChannel::registerCallBack(int msgType,
                                             void (*callback)(int, const char*, int,
                                                              MsgDealerWorkerChannel*, MsgHandle*))
{
    return mCallbacks.emplace(msgType, callback).second ? 1 : 0;
}

int MsgDealerWorkerChannel::ipcReceive(int arg, long timeoutMs)
{
    mRunning.store(true, std::memory_order_relaxed);
    // Not on the stack: after a throw it is not released. Kept: applications rely on the handle
    // that a callback was lent staying good then.
    auto* working = new IpcMsg();
    PrintedTrace trace;
    detail::dispatch(
        mRunning, mCallbacks, *working, trace,
        [&](IpcMsg& msg) { return receive(&msg, timeoutMs); },
        [&](auto callback) {
            callback(arg, working->getMsgData(), working->getMsgSize(), this, working->getHandle());
        });
    delete working;
    return 0;
}

void MsgDealerWorkerChannel::terminate()
{
    mRunning.store(false, std::memory_order_relaxed);
}

int MsgDealerWorkerChannel::ipcSend(int msgType, char* data, int size, MsgHandle* handle)
{
    // Not on the stack: after a throw neither message nor handle is released. Kept: applications
    // rely on still having the handle of an answer that could not be sent.
    auto* msg = new IpcMsg(msgType, data, size, handle);
    const int sent = send(msg);
    delete msg;
    return sent;
}

} // namespace ostrel
