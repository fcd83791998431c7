#ifndef OSTREL_BENCH_CONTENDER_ZMQCONTENDER_H
#define OSTREL_BENCH_CONTENDER_ZMQCONTENDER_H

#include "contender/Contender.h"
#include "contender/ZmqSocket.h"

#include <string>
#include <thread>
#include <utility>
#include <zmq.h>

namespace bench {

/// What a role prints besides the lines of its frames: nothing.
struct SilentRole {
    static void beforeSend() {}
    static void beforeReceive() {}
    static void afterReceive(int /*parts*/) {}
};

struct SilentWorker {
    static void beforeReceive() {}
    static void afterReceive(int /*parts*/, int /*type*/, Bytes /*identity*/) {}
    static void beforeReply(Bytes /*identity*/) {}
};

struct SilentRoles {
    using Requester = SilentRole;
    using Replier = SilentRole;
    using Publisher = SilentRole;
    using Subscriber = SilentRole;
    using Client = SilentRole;
    using Worker = SilentWorker;
};

/// The patterns over plain ZeroMQ sockets, for every contender that has them. `Messages` moves the
/// frames of one message:
///
///     void send(void* socket, Bytes bytes);                .
///     void reply(void* socket, Bytes identity, Bytes bytes);
///     void receive(void* socket);
///     void receiveRequest(void* socket);                     // With an identity in front.
///     Bytes identity() const;
///     int type() const;
///     Bytes first() const;                                   // The identity is not a part.
///     int count() const;
///
/// `Roles` says what is printed around that.
template <typename Messages, typename Roles> class ZmqContender : public Contender {
public:
    std::unique_ptr<Asker> asker(Pattern pattern, const Endpoints& endpoints) override
    {
        if (pattern == Pattern::requestReply) {
            auto requester = std::make_unique<Peer<typename Roles::Requester>>(mContext, ZMQ_REQ);
            requester->socket.connect(endpoints.service);
            return requester;
        }
        auto client = std::make_unique<Peer<typename Roles::Client>>(mContext, ZMQ_DEALER);
        client->socket.setOption(ZMQ_ROUTING_ID, clientName());
        client->socket.connect(endpoints.service);
        return client;
    }

    std::unique_ptr<Answerer> answerer(Pattern pattern, const Endpoints& endpoints) override
    {
        if (pattern == Pattern::requestReply) {
            return std::make_unique<Replier>(mContext, endpoints.service);
        }
        return std::make_unique<Worker>(mContext, endpoints);
    }

    std::unique_ptr<Sender> publisher(const std::string& endpoint) override
    {
        auto publisher = std::make_unique<Peer<typename Roles::Publisher>>(mContext, ZMQ_PUB);
        publisher->socket.bind(endpoint);
        return publisher;
    }

    std::unique_ptr<Receiver> subscriber(const std::string& endpoint) override
    {
        auto subscriber = std::make_unique<Peer<typename Roles::Subscriber>>(mContext, ZMQ_SUB);
        subscriber->socket.setOption(ZMQ_SUBSCRIBE, "");
        subscriber->socket.connect(endpoint);
        return subscriber;
    }

    std::unique_ptr<Link> link() override
    {
        return nullptr;
    }

protected:
    const ZmqContext& context() const
    {
        return mContext;
    }

private:
    template <typename Role> struct Peer : public Asker {
        Peer(const ZmqContext& context, int type) : socket(context, type) {}

        void send(Bytes bytes) override
        {
            Role::beforeSend();
            messages.send(socket.handle(), bytes);
        }

        Bytes receive() override
        {
            Role::beforeReceive();
            messages.receive(socket.handle());
            Role::afterReceive(messages.count());
            return messages.first();
        }

        ZmqSocket socket;
        Messages messages;
    };

    class Replier : public Answerer {
    public:
        Replier(const ZmqContext& context, const std::string& endpoint) : mPeer(context, ZMQ_REP)
        {
            mPeer.socket.bind(endpoint);
        }

        void accept() override
        {
            mRequest = mPeer.receive();
        }

        void reply() override
        {
            mPeer.send(mRequest);
        }

    private:
        Bytes mRequest;
        Peer<typename Roles::Replier> mPeer;
    };

    /// A worker, with a broker on a thread of its own that runs until the context ends.
    class Worker : public Answerer {
    public:
        Worker(const ZmqContext& context, const Endpoints& endpoints) : mSocket(context, ZMQ_DEALER)
        {
            auto clients = std::make_unique<ZmqSocket>(context, ZMQ_ROUTER);
            auto workers = std::make_unique<ZmqSocket>(context, ZMQ_DEALER);
            clients->bind(endpoints.service);
            workers->bind(endpoints.workers);
            std::thread([clients = std::move(clients), workers = std::move(workers)] {
                zmq_proxy(clients->handle(), workers->handle(), nullptr);
            }).detach();
            mSocket.connect(endpoints.workers);
        }

        void accept() override
        {
            Roles::Worker::beforeReceive();
            mMessages.receiveRequest(mSocket.handle());
            Roles::Worker::afterReceive(mMessages.count() + 1, mMessages.type(),
                                        mMessages.identity());
        }

        void reply() override
        {
            Roles::Worker::beforeReply(mMessages.identity());
            mMessages.reply(mSocket.handle(), mMessages.identity(), mMessages.first());
        }

    private:
        ZmqSocket mSocket;
        Messages mMessages;
    };

    /// As long as a name that our clients give themselves.
    static std::string clientName()
    {
        return "IDENTITY_1f93718f";
    }

    ZmqContext mContext;
};

} // namespace bench

#endif
