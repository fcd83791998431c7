// cppzmq's multipart_t. Received bytes stay in its messages.

#include "contender/Wire.h"
#include "contender/ZmqContender.h"

#include <zmq.hpp>
#include <zmq_addon.hpp>

namespace bench {

namespace {

class CppzmqMessages {
public:
    void send(void* socket, Bytes bytes)
    {
        zmq::multipart_t msg;
        sendBehind(msg, socket, bytes);
    }

    void reply(void* socket, Bytes identity, Bytes bytes)
    {
        zmq::multipart_t msg;
        msg.addmem(identity.data, identity.size);
        sendBehind(msg, socket, bytes);
    }

    void receive(void* socket)
    {
        demand(mReceived.recv(zmq::socket_ref(zmq::from_handle, socket)), "recv");
        mHeaderAt = 0;
    }

    void receiveRequest(void* socket)
    {
        receive(socket);
        mHeaderAt = 1;
    }

    Bytes identity() const
    {
        return frame(0);
    }

    int type() const
    {
        return decodeType(frame(mHeaderAt).data);
    }

    Bytes first() const
    {
        return frame(mHeaderAt + 1);
    }

    int count() const
    {
        return static_cast<int>(mReceived.size() - mHeaderAt - 1);
    }

private:
    static void sendBehind(zmq::multipart_t& msg, void* socket, Bytes bytes)
    {
        const Header header = encodeHeader(messageType);
        msg.addmem(header.data(), header.size());
        msg.addmem(bytes.data, bytes.size);
        demand(msg.send(zmq::socket_ref(zmq::from_handle, socket), ZMQ_DONTWAIT), "send");
    }

    Bytes frame(std::size_t index) const
    {
        const zmq::message_t& message = mReceived.at(index);
        return {static_cast<const char*>(message.data()), message.size()};
    }

    zmq::multipart_t mReceived;
    std::size_t mHeaderAt = 0;
};

} // namespace

std::unique_ptr<Contender> makeCppzmq()
{
    return std::make_unique<ZmqContender<CppzmqMessages, SilentRoles>>();
}

} // namespace bench
