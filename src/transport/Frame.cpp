#include "transport/Frame.h"

#include "message/Bounds.h"
#include "transport/ZmqError.h"

#include <cstring>
#include <stdexcept>

namespace ostrel::detail {

Frame::Frame() : mMsg(), mOpen(true)
{
    zmq_msg_init(&mMsg);
}

Frame::~Frame()
{
    if (mOpen) {
        zmq_msg_close(&mMsg);
    }
}

void Frame::fill(const void* bytes, std::size_t size)
{
    const zmq_msg_t empty = mMsg;
    if (zmq_msg_init_size(&mMsg, size) == -1) {
        // What a failed init_size leaves crashes in zmq_msg_close(); the empty frame does not.
        mMsg = empty;
        throw std::runtime_error("Failed to initialize ZeroMQ messagepart : ");
    }
    void* target = zmq_msg_data(&mMsg);
    if (size > 0) {
        require(bytes != nullptr, "DataPart without data");
        require(target != nullptr, "ZeroMQ frame without data");
        std::memcpy(target, bytes, size);
    }
}

void Frame::send(void* socket, int flags)
{
    check(zmq_msg_send(&mMsg, socket, flags), "Failed to send messagepart : ");
}

void Frame::closeSent()
{
    check(zmq_msg_close(&mMsg), "Failed to close ZeroMQ messagepart : ");
    mOpen = false;
}

int Frame::receive(void* socket, int flags)
{
    return zmq_recvmsg(socket, &mMsg, flags);
}

void Frame::closeReceived(const char* failureText)
{
    mOpen = false;
    check(zmq_msg_close(&mMsg), failureText);
}

const void* Frame::data()
{
    return zmq_msg_data(&mMsg);
}

std::size_t Frame::size() const
{
    return zmq_msg_size(&mMsg);
}

} // namespace ostrel::detail
