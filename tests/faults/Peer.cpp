#include "faults/Peer.h"

#include "ostrel/ZMQWrapper.h"
#include "support/RealZmq.h"
#include "support/ZmqSpy.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <zmq.h>

namespace faults {

namespace {

constexpr int limit = 20000;

void demand(bool good, const char* what)
{
    if (!good) {
        std::fprintf(stderr, "peer: %s: %s\n", what, REAL(zmq_strerror)(errno));
        std::abort();
    }
}

} // namespace

Peer::Peer(int type) : mSocket(nullptr)
{
    const support::NotWatched notWatched;
    mSocket = REAL(zmq_socket)(ostrel::ZMQWrapper::getInstance()->mContext, type);
    demand(mSocket != nullptr, "zmq_socket");
    const int linger = 0;
    REAL(zmq_setsockopt)(mSocket, ZMQ_LINGER, &linger, sizeof linger);
    REAL(zmq_setsockopt)(mSocket, ZMQ_SNDTIMEO, &limit, sizeof limit);
}

Peer::~Peer()
{
    const support::NotWatched notWatched;
    REAL(zmq_close)(mSocket);
}

void Peer::name(const std::string& identity)
{
    const support::NotWatched notWatched;
    demand(REAL(zmq_setsockopt)(mSocket, ZMQ_ROUTING_ID, identity.data(), identity.size()) == 0,
           "routing id");
}

void Peer::bind(const std::string& endpoint)
{
    const support::NotWatched notWatched;
    demand(REAL(zmq_bind)(mSocket, endpoint.c_str()) == 0, "zmq_bind");
}

void Peer::connect(const std::string& endpoint)
{
    const support::NotWatched notWatched;
    demand(REAL(zmq_connect)(mSocket, endpoint.c_str()) == 0, "zmq_connect");
}

void Peer::send(const Frames& frames)
{
    const support::NotWatched notWatched;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const int flags = i + 1 < frames.size() ? ZMQ_SNDMORE : 0;
        demand(REAL(zmq_send)(mSocket, frames[i].data(), frames[i].size(), flags) >= 0, "zmq_send");
    }
}

Frames Peer::receive()
{
    return support::receiveFrames(mSocket, limit);
}

std::string Peer::received()
{
    std::string text;
    for (Frames frames = support::receiveFrames(mSocket, 0); !frames.empty();
         frames = support::receiveFrames(mSocket, 0)) {
        text += (text.empty() ? "" : " ") + shown(frames);
    }
    return text;
}

std::string shown(const Frames& frames)
{
    std::string text;
    for (const std::string& frame : frames) {
        text += "[" + frame + "]";
    }
    return text;
}

} // namespace faults
