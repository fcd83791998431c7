#include "fuzz/Sockets.h"

#include "fuzz/Check.h"
#include "ostrel/ZMQWrapper.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <zmq.h>

namespace fuzz {

namespace {

constexpr long limitMs = 20000;

void require(int result, const char* call)
{
    if (result == -1) {
        fail(std::string(call) + ": " + zmq_strerror(errno));
    }
}

void releaseBytes(void* bytes, void* /*hint*/)
{
    std::free(bytes);
}

void fill(zmq_msg_t& frame, const std::string& bytes, Memory memory)
{
    if (memory == Memory::zeroMQ) {
        require(zmq_msg_init_size(&frame, bytes.size()), "zmq_msg_init_size");
        std::memcpy(zmq_msg_data(&frame), bytes.data(), bytes.size());
        return;
    }
    void* copy = std::malloc(bytes.size());
    std::memcpy(copy, bytes.data(), bytes.size());
    require(zmq_msg_init_data(&frame, copy, bytes.size(), releaseBytes, nullptr),
            "zmq_msg_init_data");
}

/// A moment so far ahead.
class Deadline {
public:
    explicit Deadline(long milliseconds)
        : mEnd(Clock::now() + std::chrono::milliseconds(milliseconds))
    {
    }

    long left() const
    {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(mEnd - Clock::now());
        return std::max(0L, static_cast<long>(left.count()));
    }

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point mEnd;
};

bool hasMessage(void* socket, long milliseconds)
{
    const Deadline deadline(milliseconds);
    zmq_pollitem_t item = {socket, 0, ZMQ_POLLIN, 0};
    int ready = 0;
    do { // libFuzzer's clock ticks by signals.
        ready = zmq_poll(&item, 1, deadline.left());
    } while (ready == -1 && errno == EINTR);
    require(ready, "zmq_poll");
    return ready > 0;
}

} // namespace

void* makeSocket(int type)
{
    void* socket = ostrel::ZMQWrapper::getInstance()->createEndpt(type);
    const int unlimited = 0;
    require(zmq_setsockopt(socket, ZMQ_SNDHWM, &unlimited, sizeof unlimited), "zmq_setsockopt");
    require(zmq_setsockopt(socket, ZMQ_RCVHWM, &unlimited, sizeof unlimited), "zmq_setsockopt");
    return socket;
}

void setName(void* socket, const std::string& name)
{
    require(zmq_setsockopt(socket, ZMQ_ROUTING_ID, name.data(), name.size()), "zmq_setsockopt");
}

void bind(void* socket, const std::string& endpoint)
{
    require(zmq_bind(socket, endpoint.c_str()), "zmq_bind");
}

void connect(void* socket, const std::string& endpoint)
{
    require(zmq_connect(socket, endpoint.c_str()), "zmq_connect");
}

int typeOf(void* socket)
{
    int type = 0;
    std::size_t size = sizeof type;
    require(zmq_getsockopt(socket, ZMQ_TYPE, &type, &size), "zmq_getsockopt");
    return type;
}

void sendMessage(void* socket, const Frames& frames, Memory memory)
{
    for (std::size_t i = 0; i < frames.size(); ++i) {
        zmq_msg_t frame;
        fill(frame, frames[i], memory);
        require(zmq_msg_send(&frame, socket, i + 1 < frames.size() ? ZMQ_SNDMORE : 0),
                "zmq_msg_send");
    }
}

Taken takeMessage(void* socket, Frames& frames)
{
    frames.clear();
    int more = 1;
    while (more != 0) {
        zmq_msg_t frame;
        zmq_msg_init(&frame);
        if (zmq_msg_recv(&frame, socket, ZMQ_DONTWAIT) == -1) {
            const int error = errno;
            zmq_msg_close(&frame);
            expect(error == EAGAIN || error == EFSM, "zmq_msg_recv fails");
            return error == EAGAIN ? Taken::nothing : Taken::notItsTurn;
        }
        frames.emplace_back(static_cast<const char*>(zmq_msg_data(&frame)), zmq_msg_size(&frame));
        more = zmq_msg_more(&frame);
        zmq_msg_close(&frame);
    }
    return Taken::message;
}

void drain(void* socket)
{
    const bool answers = typeOf(socket) == ZMQ_REP;
    Frames frames;
    Taken taken = takeMessage(socket, frames);
    while (taken == Taken::message || (answers && taken == Taken::notItsTurn)) {
        if (answers) {
            sendMessage(socket, {"taken"});
        }
        taken = takeMessage(socket, frames);
    }
}

void awaitMessage(void* socket)
{
    expect(hasMessage(socket, limitMs), "a message that has to come does not");
}

void meet(void* peer, void* socket, const Frames& frames)
{
    const Deadline deadline(limitMs);
    do {
        expect(deadline.left() > 0, "two sockets do not get connected");
        sendMessage(peer, frames);
    } while (!hasMessage(socket, 1));
    drain(socket);
    if (typeOf(peer) != ZMQ_PUB) {
        drain(peer);
    }
}

} // namespace fuzz
