// nng, for the two patterns that it shares with us. It has its own wire; header and bytes are one
// message there.

#include "contender/Contender.h"
#include "contender/Wire.h"

#include <cstdio>
#include <cstdlib>
#include <nng/nng.h>
#include <nng/protocol/pubsub0/pub.h>
#include <nng/protocol/pubsub0/sub.h>
#include <nng/protocol/reqrep0/rep.h>
#include <nng/protocol/reqrep0/req.h>
#include <tuple>

namespace bench {

namespace {

void demandNng(int result, const char* what)
{
    if (result != 0) {
        std::fprintf(stderr, "bench: %s: %s\n", what, nng_strerror(result));
        std::abort();
    }
}

class NngPeer : public Asker {
public:
    explicit NngPeer(int (*open)(nng_socket*)) : mSocket()
    {
        demandNng(open(&mSocket), "open");
        // Messages of any size, as with ZeroMQ.
        demandNng(nng_socket_set_size(mSocket, NNG_OPT_RECVMAXSZ, 0), "RECVMAXSZ");
    }

    ~NngPeer() override
    {
        nng_msg_free(mReceived);
        nng_close(mSocket);
    }

    NngPeer(const NngPeer&) = delete;
    NngPeer& operator=(const NngPeer&) = delete;

    void listen(const std::string& endpoint)
    {
        demandNng(nng_listen(mSocket, endpoint.c_str(), nullptr, 0), "listen");
    }

    void dial(const std::string& endpoint)
    {
        demandNng(nng_dial(mSocket, endpoint.c_str(), nullptr, NNG_FLAG_NONBLOCK), "dial");
    }

    /// As many messages as a ZeroMQ socket queues.
    void setQueue(const char* option)
    {
        demandNng(nng_socket_set_int(mSocket, option, 1000), option);
    }

    void subscribeAll()
    {
        demandNng(nng_socket_set(mSocket, NNG_OPT_SUB_SUBSCRIBE, "", 0), "subscribe");
    }

    void send(Bytes bytes) override
    {
        const Header header = encodeHeader(messageType);
        nng_msg* msg = nullptr;
        demandNng(nng_msg_alloc(&msg, 0), "nng_msg_alloc");
        demandNng(nng_msg_append(msg, header.data(), header.size()), "nng_msg_append");
        demandNng(nng_msg_append(msg, bytes.data, bytes.size), "nng_msg_append");
        demandNng(nng_sendmsg(mSocket, msg, 0), "nng_sendmsg");
    }

    Bytes receive() override
    {
        nng_msg_free(mReceived);
        mReceived = nullptr;
        demandNng(nng_recvmsg(mSocket, &mReceived, 0), "nng_recvmsg");
        const std::size_t headerSize = std::tuple_size<Header>::value;
        return {static_cast<const char*>(nng_msg_body(mReceived)) + headerSize,
                nng_msg_len(mReceived) - headerSize};
    }

private:
    nng_socket mSocket;
    nng_msg* mReceived = nullptr;
};

class NngReplier : public Answerer {
public:
    explicit NngReplier(const std::string& endpoint) : mPeer(nng_rep0_open)
    {
        mPeer.listen(endpoint);
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
    NngPeer mPeer;
};

class Nng : public Contender {
public:
    std::unique_ptr<Asker> asker(Pattern /*pattern*/, const Endpoints& endpoints) override
    {
        auto peer = std::make_unique<NngPeer>(nng_req0_open);
        peer->dial(endpoints.service);
        return peer;
    }

    std::unique_ptr<Answerer> answerer(Pattern /*pattern*/, const Endpoints& endpoints) override
    {
        return std::make_unique<NngReplier>(endpoints.service);
    }

    std::unique_ptr<Sender> publisher(const std::string& endpoint) override
    {
        auto peer = std::make_unique<NngPeer>(nng_pub0_open);
        peer->setQueue(NNG_OPT_SENDBUF);
        peer->listen(endpoint);
        return peer;
    }

    std::unique_ptr<Receiver> subscriber(const std::string& endpoint) override
    {
        auto peer = std::make_unique<NngPeer>(nng_sub0_open);
        peer->setQueue(NNG_OPT_RECVBUF);
        peer->subscribeAll();
        peer->dial(endpoint);
        return peer;
    }

    std::unique_ptr<Link> link() override
    {
        return nullptr;
    }
};

} // namespace

std::unique_ptr<Contender> makeNng()
{
    return std::make_unique<Nng>();
}

} // namespace bench
