#include "ostrel/MsgDealerWorkerPattern.h"

#include "log/Logged.h"
#include "log/Trace.h"
#include "message/LeadingPart.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgDealerWorkerHandle.h"
#include "ostrel/StringMsg.h"
#include "ostrel/ZMQWrapper.h"
#include "pattern/Broker.h"
#include "pattern/Properties.h"
#include "pattern/PthreadLock.h"

#include <cstring>
#include <zmq.h>

namespace ostrel {

using detail::logged;
using detail::sendWithLeadingPart;
using detail::trace;

namespace {

constexpr auto accepted = {PROP_DEALER_SERVER_ENDPOINT, PROP_DEALER_WORKER_ENDPOINT};

// Both receives log under the constructor's name. Kept: log filters rely on it.
constexpr auto receivePrefix =
    "Error : Ostrel::MsgDealerWorkerPattern::MsgDealerWorkerPattern() : ";

/// The longest identity that is kept whole, and what is kept of a longer one. Kept: applications
/// rely on the shorter cut.
constexpr int wholeIdentity = 64;
constexpr int cutIdentity = 60;

/// A message's handle names a client; nobody gives it another kind.
std::string identityOf(const MsgHandle* handle)
{
    return static_cast<const MsgDealerWorkerHandle*>(handle)->getIdentity();
}

/// Gives a received message the handle that was made of the identity in front of it.
template <typename Msg> void replaceIdentity(Msg& msg, const MsgDealerWorkerHandle& handle)
{
    msg.removePart(0);
    msg.setHandle(&handle);
}

/// The identity in the first part of a binary message: cut as above. The text ends at its first
/// zero byte.
class BinaryIdentity {
public:
    explicit BinaryIdentity(const DataPart& part) : mText{}, mLength(0)
    {
        if (part.mData != nullptr && part.mSize > 0) {
            mLength = part.mSize <= wholeIdentity ? part.mSize : cutIdentity;
            std::memcpy(mText, part.mData, static_cast<std::size_t>(mLength));
        }
    }

    const char* text() const
    {
        return mText;
    }
    int length() const
    {
        return mLength;
    }

private:
    char mText[wholeIdentity + 1];
    int mLength;
};

} // namespace

pthread_mutex_t MsgDealerWorkerPattern::mProxyMutex = PTHREAD_MUTEX_INITIALIZER;
std::map<std::string, unsigned long> MsgDealerWorkerPattern::mProxyThreads;

MsgDealerWorkerPattern::MsgDealerWorkerPattern(const std::string& name) : MsgPattern(name)
{
    mpMsgQ->enableIdentity();
}

MsgDealerWorkerPattern::~MsgDealerWorkerPattern() = default;

int MsgDealerWorkerPattern::setProperty(channel_prop_t prop, const std::string& value)
{
    return logged("Error : Ostrel::MsgDealerWorkerPattern::setProperty() : ", [&] {
        return detail::keepEndpoint(mpSocket, accepted, isValidEndpt(value), mProperties, prop,
                                    value);
    });
}

std::string MsgDealerWorkerPattern::getProperty(channel_prop_t prop)
{
    return logged("Error : Ostrel::MsgDealerWorkerPattern::getProperty() : ", [&] {
        detail::requireQueryable(accepted, prop);
        return mProperties[prop];
    });
}

int MsgDealerWorkerPattern::send(StringMsg* msg)
{
    if (mpSocket == nullptr) {
        connectEndpoint();
    }
    if (msg == nullptr || msg->getHandle() == nullptr) {
        return mpMsgQ->send(mpSocket, msg);
    }
    return sendWithLeadingPart(
        *msg, [&] { msg->insertPart(0, identityOf(msg->getHandle())); },
        [&] {
            trace("MsgDealerWorkerPattern::send");
            return mpMsgQ->send(mpSocket, msg);
        });
}

int MsgDealerWorkerPattern::receive(StringMsg* msg, long timeoutMs)
{
    return logged(receivePrefix, [&] {
        if (mpSocket == nullptr) {
            connectEndpoint();
        }
        const int received = mpMsgQ->receive(mpSocket, msg, timeoutMs);
        trace("MsgDealerWorkerPattern:receive ret=", received);
        if (msg == nullptr || received <= 0 || msg->getNumParts() == 0) {
            return received;
        }
        trace("MsgDealerWorkerPattern:receive numParts=", msg->getNumParts());
        MsgDealerWorkerHandle handle;
        handle.setIdentity((*msg)[0]);
        replaceIdentity(*msg, handle);
        return received - 1;
    });
}

int MsgDealerWorkerPattern::send(IpcMsg* msg)
{
    if (mpSocket == nullptr) {
        connectEndpoint();
    }
    if (msg == nullptr) {
        trace("MsgDealerWorkerPattern::send inMsg is null");
        return -1;
    }
    if (msg->getHandle() == nullptr) {
        trace("MsgDealerWorkerPattern::send handle is null - send msg");
        return mpMsgQ->send(mpSocket, msg);
    }
    return sendWithLeadingPart(
        *msg,
        [&] {
            const std::string identity = identityOf(msg->getHandle());
            const int length = static_cast<int>(identity.size());
            detail::TraceLines<200> lines;
            lines.add("MsgDealerWorkerPattern::send insert the identity");
            lines.addWithText("MsgDealerWorkerPattern::send ", identity.c_str(), " - ", length);
            msg->insertPart(0, identity.data(), length);
            lines.add("MsgDealerWorkerPattern::send sending to worker ???");
        },
        [&] { return mpMsgQ->send(mpSocket, msg); });
}

int MsgDealerWorkerPattern::receive(IpcMsg* msg, long timeoutMs)
{
    return logged(receivePrefix, [&] {
        if (mpSocket == nullptr) {
            connectEndpoint();
        }
        trace("MsgDealerWorkerPattern:receive before receive");
        const int received = mpMsgQ->receive(mpSocket, msg, timeoutMs);
        const int type = msg == nullptr ? 0 : msg->getMsgType();
        detail::TraceLines<200> lines;
        lines.add("MsgDealerWorkerPattern:receive ret=", received, " type=", type);
        if (received <= 0 || msg == nullptr || msg->getNumParts() == 0) {
            return received;
        }
        lines.add("MsgDealerWorkerPattern:receive numParts=", msg->getNumParts());
        const BinaryIdentity identity((*msg)[0]);
        lines.addWithText("===> identity = ", identity.text(), " ");
        lines.print(); // The handle that the message had may be the application's, and print too.
        MsgDealerWorkerHandle handle;
        handle.setIdentity(identity.text(), identity.length());
        replaceIdentity(*msg, handle);
        return received - 1;
    });
}

void MsgDealerWorkerPattern::connectEndpoint()
{
    if (mpSocket != nullptr) {
        return;
    }
    // The lock is inside: it is free again before a failure is logged.
    logged("Error : Ostrel::MsgDealerWorkerPattern::connectEndpoint() : ", [&] {
        // Kept before anything else is tried: a pattern where that failed keeps its socket.
        mpSocket = mpMsgQ->createEndpt(ZMQ_DEALER);
        const detail::PthreadLock lock(mProxyMutex);
        if (mProxyThreads.find(mChannelName) == mProxyThreads.end()) {
            // The record is made before the thread: nothing may fail once that runs.
            std::map<std::string, unsigned long> record = {{mChannelName, 0}};
            record[mChannelName] =
                detail::startBroker(*mpMsgQ, mProperties[PROP_DEALER_SERVER_ENDPOINT],
                                    mProperties[PROP_DEALER_WORKER_ENDPOINT]);
            mProxyThreads.merge(record);
        }
        mpMsgQ->registerReceiver(mpSocket, mProperties[PROP_DEALER_WORKER_ENDPOINT]);
    });
}

} // namespace ostrel
