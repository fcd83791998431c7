#include "check/ZmqCalls.h"

#include "support/RealZmq.h"

#include <cstdio>
#include <zmq.h>

namespace {

thread_local std::string* record = nullptr;

/// Notes a call, and keeps out those that ZeroMQ makes to itself while it is under way.
class Call {
public:
    explicit Call(const std::string& text) : mRecord(record)
    {
        if (mRecord != nullptr) {
            *mRecord += text + '\n';
        }
        record = nullptr;
    }

    ~Call()
    {
        record = mRecord;
    }

    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

private:
    std::string* mRecord;
};

std::string contentOf(zmq_msg_t* frame)
{
    const auto* bytes = static_cast<const unsigned char*>(zmq_msg_data(frame));
    std::string text;
    for (std::size_t i = 0; i < zmq_msg_size(frame); ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", bytes[i]);
        text += digits;
    }
    return text;
}

} // namespace

extern "C" {

int zmq_msg_init_size(zmq_msg_t* frame, size_t size)
{
    const Call call("make " + std::to_string(size));
    return REAL(zmq_msg_init_size)(frame, size);
}

int zmq_msg_send(zmq_msg_t* frame, void* socket, int flags)
{
    const Call call("send " + std::to_string(flags) + ' ' + contentOf(frame));
    return REAL(zmq_msg_send)(frame, socket, flags);
}

int zmq_msg_recv(zmq_msg_t* frame, void* socket, int flags)
{
    const Call call("receive " + std::to_string(flags));
    return REAL(zmq_msg_recv)(frame, socket, flags);
}

int zmq_recvmsg(void* socket, zmq_msg_t* frame, int flags)
{
    const Call call("receive " + std::to_string(flags));
    return REAL(zmq_recvmsg)(socket, frame, flags);
}

int zmq_msg_close(zmq_msg_t* frame)
{
    const Call call("close");
    return REAL(zmq_msg_close)(frame);
}

int zmq_getsockopt(void* socket, int option, void* value, size_t* size)
{
    const Call call("getsockopt " + std::to_string(option));
    return REAL(zmq_getsockopt)(socket, option, value, size);
}

int zmq_poll(zmq_pollitem_t* items, int count, long timeout)
{
    const Call call("poll");
    return REAL(zmq_poll)(items, count, timeout);
}

int zmq_send(void* socket, const void* bytes, size_t size, int flags)
{
    const Call call("zmq_send");
    return REAL(zmq_send)(socket, bytes, size, flags);
}

int zmq_recv(void* socket, void* bytes, size_t size, int flags)
{
    const Call call("zmq_recv");
    return REAL(zmq_recv)(socket, bytes, size, flags);
}

} // extern "C"

std::string bench::zmqCallsOf(const std::function<void()>& operation)
{
    std::string calls;
    record = &calls;
    operation();
    record = nullptr;
    return calls;
}
