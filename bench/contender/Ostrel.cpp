// The library: channels for the patterns, the transport for links. Every receive is into a fresh
// message.

#include "contender/Contender.h"
#include "contender/Endpoint.h"
#include "contender/ZmqSocket.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgDealerClientChannel.h"
#include "ostrel/MsgDealerWorkerChannel.h"
#include "ostrel/MsgHandle.h"
#include "ostrel/MsgPublishChannel.h"
#include "ostrel/MsgReplyServerChannel.h"
#include "ostrel/MsgRequestClientChannel.h"
#include "ostrel/MsgSubscribeChannel.h"
#include "ostrel/ZMQWrapper.h"

#include <optional>
#include <zmq.h>

namespace bench {

namespace {

using ostrel::IpcMsg;

/// The operations take what they only read by a pointer to non-const.
char* bytesOf(Bytes bytes)
{
    return const_cast<char*>(bytes.data);
}

int sizeOf(Bytes bytes)
{
    return static_cast<int>(bytes.size);
}

Bytes firstPart(IpcMsg& msg)
{
    return {msg.getMsgData(), static_cast<std::size_t>(msg.getMsgSize())};
}

class Publisher : public Sender {
public:
    explicit Publisher(const std::string& endpoint) : mChannel("bench")
    {
        demand(mChannel.setPublisherEndPoint(endpoint) == 0, "endpoint");
    }

    void send(Bytes bytes) override
    {
        demand(mChannel.ipcSend(messageType, bytesOf(bytes), sizeOf(bytes)) == 1, "ipcSend");
    }

private:
    ostrel::MsgPublishChannel mChannel;
};

class Subscriber : public Receiver {
public:
    explicit Subscriber(const std::string& endpoint) : mChannel("bench")
    {
        demand(mChannel.setPublisherEndPoint(endpoint) == 0, "endpoint");
    }

    Bytes receive() override
    {
        demand(mChannel.receive(&mMsg.emplace(), -1) == 1, "receive");
        return firstPart(*mMsg);
    }

private:
    ostrel::MsgSubscribeChannel mChannel;
    std::optional<IpcMsg> mMsg;
};

template <typename Channel> class Client : public Asker {
public:
    explicit Client(const std::string& endpoint) : mChannel("bench")
    {
        demand(mChannel.setServerEndPoint(endpoint) == 0, "endpoint");
    }

    void send(Bytes bytes) override
    {
        demand(mChannel.ipcSend(messageType, bytesOf(bytes), sizeOf(bytes)) == 1, "ipcSend");
    }

    Bytes receive() override
    {
        demand(mChannel.ipcReceive(&mMsg.emplace(), -1) == 1, "ipcReceive");
        return firstPart(*mMsg);
    }

private:
    Channel mChannel;
    std::optional<IpcMsg> mMsg;
};

class Server : public Answerer {
public:
    explicit Server(const std::string& endpoint) : mChannel("bench")
    {
        demand(mChannel.setServerEndPoint(endpoint) == 0, "endpoint");
    }

    void accept() override
    {
        demand(mChannel.ipcReceive(&mMsg.emplace(), -1) == 1, "ipcReceive");
    }

    void reply() override
    {
        demand(mChannel.ipcSend(mMsg->getMsgType(), mMsg->getMsgData(), mMsg->getMsgSize()) == 1,
               "ipcSend");
    }

private:
    ostrel::MsgReplyServerChannel mChannel;
    std::optional<IpcMsg> mMsg;
};

class Worker : public Answerer {
public:
    // The first worker of a name starts the broker.
    explicit Worker(const Endpoints& endpoints) : mChannel(endpoints.service)
    {
        demand(mChannel.setServerEndPoint(endpoints.service) == 0 &&
                   mChannel.setWorkerEndPoint(endpoints.workers) == 0,
               "endpoint");
    }

    void accept() override
    {
        demand(mChannel.receive(&mMsg.emplace(), -1) == 1, "receive");
    }

    void reply() override
    {
        demand(mChannel.ipcSend(mMsg->getMsgType(), mMsg->getMsgData(), mMsg->getMsgSize(),
                                mMsg->getHandle()->clone()) == 1,
               "ipcSend");
    }

private:
    ostrel::MsgDealerWorkerChannel mChannel;
    std::optional<IpcMsg> mMsg;
};

class OstrelLink : public Link {
public:
    OstrelLink()
        : mTransport(*ostrel::ZMQWrapper::getInstance()), mFrom(mTransport.createEndpt(ZMQ_DEALER)),
          mTo(mTransport.createEndpt(ZMQ_DEALER)), mPrepared(messageType, 0)
    {
        const std::string endpoint = freshInproc();
        mTransport.registerSender(mTo, endpoint);
        mTransport.registerReceiver(mFrom, endpoint);
    }

    ~OstrelLink() override
    {
        mTransport.deleteEndpt(mFrom);
        mTransport.deleteEndpt(mTo);
    }

    OstrelLink(const OstrelLink&) = delete;
    OstrelLink& operator=(const OstrelLink&) = delete;

    void prepare(const Parts& parts) override
    {
        mPrepared.setNumParts(0);
        for (const Bytes& part : parts) {
            mPrepared.insertPart(static_cast<unsigned int>(mPrepared.getNumParts()), part.data,
                                 sizeOf(part));
        }
    }

    void send() override
    {
        demand(mTransport.send(mFrom, &mPrepared) > 0, "send");
    }

    void makeAndSend(Bytes bytes) override
    {
        IpcMsg msg(messageType, bytesOf(bytes), sizeOf(bytes), nullptr);
        demand(mTransport.send(mFrom, &msg) == 1, "send");
    }

    void awaitArrival() override
    {
        noticeReads(mFrom);
        awaitReadable(mTo);
    }

    void receive() override
    {
        IpcMsg* msg = &mReceived.emplace();
        demand(mTransport.receive(mTo, msg, -1) > 0, "receive");
    }

    Parts received() const override
    {
        Parts parts;
        for (int i = 0; i < mReceived->getNumParts(); ++i) {
            const ostrel::DataPart& part = (*mReceived)[static_cast<unsigned int>(i)];
            parts.push_back({part.mData, static_cast<std::size_t>(part.mSize)});
        }
        return parts;
    }

private:
    const ostrel::ZMQWrapper& mTransport;
    void* mFrom;
    void* mTo;
    IpcMsg mPrepared;
    mutable std::optional<IpcMsg> mReceived; // Its parts can be read through non-const ways only.
};

class Ostrel : public Contender {
public:
    std::unique_ptr<Asker> asker(Pattern pattern, const Endpoints& endpoints) override
    {
        if (pattern == Pattern::requestReply) {
            return std::make_unique<Client<ostrel::MsgRequestClientChannel>>(endpoints.service);
        }
        return std::make_unique<Client<ostrel::MsgDealerClientChannel>>(endpoints.service);
    }

    std::unique_ptr<Answerer> answerer(Pattern pattern, const Endpoints& endpoints) override
    {
        if (pattern == Pattern::requestReply) {
            return std::make_unique<Server>(endpoints.service);
        }
        return std::make_unique<Worker>(endpoints);
    }

    std::unique_ptr<Sender> publisher(const std::string& endpoint) override
    {
        return std::make_unique<Publisher>(endpoint);
    }

    std::unique_ptr<Receiver> subscriber(const std::string& endpoint) override
    {
        return std::make_unique<Subscriber>(endpoint);
    }

    std::unique_ptr<Link> link() override
    {
        return std::make_unique<OstrelLink>();
    }
};

} // namespace

std::unique_ptr<Contender> makeOstrel()
{
    return std::make_unique<Ostrel>();
}

} // namespace bench
