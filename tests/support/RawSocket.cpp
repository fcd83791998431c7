#include "support/RawSocket.h"

#include "support/RealZmq.h"
#include "support/ZmqSpy.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <zmq.h>

namespace {

void demand(bool good, const char* what)
{
    if (!good) {
        const int error = errno;
        std::fprintf(stderr, "raw socket: %s: %s\n", what, REAL(zmq_strerror)(error));
        std::abort();
    }
}

} // namespace

namespace support {

RawSocket::RawSocket(int type) : mContext(nullptr), mSocket(nullptr)
{
    const NotWatched notWatched;
    mContext = REAL(zmq_ctx_new)();
    mSocket = REAL(zmq_socket)(mContext, type);
    demand(mSocket != nullptr, "zmq_socket");
    setOption(ZMQ_LINGER, 0);
}

RawSocket::~RawSocket()
{
    const NotWatched notWatched;
    REAL(zmq_close)(mSocket);
    REAL(zmq_ctx_term)(mContext);
}

std::string RawSocket::bind(const std::string& endpoint)
{
    const NotWatched notWatched;
    demand(REAL(zmq_bind)(mSocket, endpoint.c_str()) == 0, "zmq_bind");
    char bound[256];
    std::size_t size = sizeof bound;
    demand(REAL(zmq_getsockopt)(mSocket, ZMQ_LAST_ENDPOINT, bound, &size) == 0, "last endpoint");
    return bound;
}

void RawSocket::connect(const std::string& endpoint)
{
    const NotWatched notWatched;
    demand(REAL(zmq_connect)(mSocket, endpoint.c_str()) == 0, "zmq_connect");
}

void RawSocket::setOption(int option, const std::string& bytes)
{
    const NotWatched notWatched;
    demand(REAL(zmq_setsockopt)(mSocket, option, bytes.data(), bytes.size()) == 0, "option");
}

void RawSocket::setOption(int option, int value)
{
    const NotWatched notWatched;
    demand(REAL(zmq_setsockopt)(mSocket, option, &value, sizeof value) == 0, "option");
}

void RawSocket::send(const Frames& frames)
{
    const NotWatched notWatched;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const int flags = i + 1 < frames.size() ? ZMQ_SNDMORE : 0;
        demand(REAL(zmq_send)(mSocket, frames[i].data(), frames[i].size(), flags) >= 0, "zmq_send");
    }
}

Frames RawSocket::receive(int milliseconds)
{
    return receiveFrames(mSocket, milliseconds);
}

void* RawSocket::handle() const
{
    return mSocket;
}

Frames receiveFrames(void* socket, int milliseconds)
{
    const NotWatched notWatched;
    demand(REAL(zmq_setsockopt)(socket, ZMQ_RCVTIMEO, &milliseconds, sizeof milliseconds) == 0,
           "option");
    Frames frames;
    int more = 1;
    while (more != 0) {
        zmq_msg_t msg;
        REAL(zmq_msg_init)(&msg);
        const int size = REAL(zmq_msg_recv)(&msg, socket, 0);
        if (size == -1) {
            demand(errno == EAGAIN, "zmq_msg_recv");
            REAL(zmq_msg_close)(&msg);
            return frames;
        }
        frames.emplace_back(static_cast<const char*>(REAL(zmq_msg_data)(&msg)),
                            static_cast<std::size_t>(size));
        more = REAL(zmq_msg_more)(&msg);
        REAL(zmq_msg_close)(&msg);
    }
    return frames;
}

} // namespace support
