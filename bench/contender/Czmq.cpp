// czmq's zmsg. Received bytes stay in its frames; its sends wait where ours would throw.

#include "contender/Wire.h"
#include "contender/ZmqContender.h"

#include <czmq.h>

namespace bench {

namespace {

class CzmqMessages {
public:
    CzmqMessages() = default;
    CzmqMessages(const CzmqMessages&) = delete;
    CzmqMessages& operator=(const CzmqMessages&) = delete;

    ~CzmqMessages()
    {
        zmsg_destroy(&mReceived);
    }

    void send(void* socket, Bytes bytes)
    {
        sendBehind(zmsg_new(), socket, bytes);
    }

    void reply(void* socket, Bytes identity, Bytes bytes)
    {
        zmsg_t* msg = zmsg_new();
        zmsg_addmem(msg, identity.data, identity.size);
        sendBehind(msg, socket, bytes);
    }

    void receive(void* socket)
    {
        next(socket);
        mIdentity = {};
        take(zmsg_first(mReceived));
    }

    void receiveRequest(void* socket)
    {
        next(socket);
        mIdentity = bytesOf(zmsg_first(mReceived));
        take(zmsg_next(mReceived));
    }

    Bytes identity() const
    {
        return mIdentity;
    }

    int type() const
    {
        return mType;
    }

    Bytes first() const
    {
        return mFirst;
    }

    int count() const
    {
        return static_cast<int>(zmsg_size(mReceived)) - (mIdentity.data == nullptr ? 1 : 2);
    }

private:
    void next(void* socket)
    {
        zmsg_destroy(&mReceived);
        mReceived = zmsg_recv(socket);
        demand(mReceived != nullptr, "zmsg_recv");
    }

    void take(zframe_t* header)
    {
        mType = decodeType(zframe_data(header));
        mFirst = bytesOf(zmsg_next(mReceived));
    }

    static Bytes bytesOf(zframe_t* frame)
    {
        return {reinterpret_cast<const char*>(zframe_data(frame)), zframe_size(frame)};
    }

    static void sendBehind(zmsg_t* msg, void* socket, Bytes bytes)
    {
        const Header header = encodeHeader(messageType);
        zmsg_addmem(msg, header.data(), header.size());
        zmsg_addmem(msg, bytes.data, bytes.size);
        demand(zmsg_send(&msg, socket) == 0, "zmsg_send");
    }

    zmsg_t* mReceived = nullptr;
    Bytes mIdentity;
    Bytes mFirst;
    int mType = 0;
};

} // namespace

std::unique_ptr<Contender> makeCzmq()
{
    return std::make_unique<ZmqContender<CzmqMessages, SilentRoles>>();
}

} // namespace bench
