#include "contender/ZmqSocket.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <zmq.h>

namespace bench {

void demand(bool good, const char* what)
{
    if (!good) {
        std::fprintf(stderr, "bench: %s: %s\n", what, zmq_strerror(errno));
        std::abort();
    }
}

ZmqContext::ZmqContext() : mContext(zmq_ctx_new())
{
    demand(mContext != nullptr && zmq_ctx_set(mContext, ZMQ_IO_THREADS, 1) == 0, "zmq_ctx_new");
}

ZmqContext::~ZmqContext()
{
    zmq_ctx_term(mContext);
}

void* ZmqContext::handle() const
{
    return mContext;
}

ZmqSocket::ZmqSocket(const ZmqContext& context, int type)
    : mSocket(zmq_socket(context.handle(), type))
{
    const int linger = 0;
    demand(mSocket != nullptr && zmq_setsockopt(mSocket, ZMQ_LINGER, &linger, sizeof linger) == 0,
           "zmq_socket");
}

ZmqSocket::~ZmqSocket()
{
    zmq_close(mSocket);
}

void ZmqSocket::bind(const std::string& endpoint)
{
    demand(zmq_bind(mSocket, endpoint.c_str()) == 0, "zmq_bind");
}

void ZmqSocket::connect(const std::string& endpoint)
{
    demand(zmq_connect(mSocket, endpoint.c_str()) == 0, "zmq_connect");
}

void ZmqSocket::setOption(int option, const std::string& bytes)
{
    demand(zmq_setsockopt(mSocket, option, bytes.data(), bytes.size()) == 0, "zmq_setsockopt");
}

void* ZmqSocket::handle() const
{
    return mSocket;
}

void noticeReads(void* socket)
{
    int events = 0;
    std::size_t size = sizeof events;
    demand(zmq_getsockopt(socket, ZMQ_EVENTS, &events, &size) == 0, "zmq_getsockopt");
}

void awaitReadable(void* socket)
{
    zmq_pollitem_t item = {socket, 0, ZMQ_POLLIN, 0};
    demand(zmq_poll(&item, 1, -1) == 1, "zmq_poll");
}

} // namespace bench
