#ifndef OSTREL_TRANSPORT_FRAME_H
#define OSTREL_TRANSPORT_FRAME_H

#include "message/Bounds.h"
#include "transport/ZmqError.h"

#include <cstddef>
#include <cstring>
#include <zmq.h>

namespace ostrel::detail {

/// One ZeroMQ frame, open from construction. Whatever leaves it open, an exception above all, the
/// destructor closes it and ignores the result.
///
/// In the header, so that what a message costs on top of ZeroMQ is not spent on calls.
class Frame {
public:
    Frame() : mOpen(true)
    {
        zmq_msg_init(&mMsg);
    }

    ~Frame()
    {
        if (mOpen) {
            zmq_msg_close(&mMsg);
        }
    }

    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;

    /// Makes this a frame of `size` bytes, copied from `bytes`.
    void fill(const void* bytes, std::size_t size)
    {
        if (zmq_msg_init_size(&mMsg, size) == -1) {
            throwUnfilled();
        }
        void* target = zmq_msg_data(&mMsg);
        if (size > 0) {
            require(bytes != nullptr, "DataPart without data");
            require(target != nullptr, "ZeroMQ frame without data");
            std::memcpy(target, bytes, size);
        }
    }

    /// Queues the frame; ZeroMQ takes its content over.
    void send(void* socket, int flags)
    {
        check(zmq_msg_send(&mMsg, socket, flags), "Failed to send messagepart : ");
    }

    /// Closes a frame that was sent. When that fails it is still open, so the destructor tries once
    /// more.
    void closeSent()
    {
        check(zmq_msg_close(&mMsg), "Failed to close ZeroMQ messagepart : ");
        mOpen = false;
    }

    /// One receive attempt; ZeroMQ's result, with errno set for -1.
    int receive(void* socket, int flags)
    {
        return zmq_recvmsg(socket, &mMsg, flags);
    }

    /// Closes a frame that a receive was tried with. It is done with even when that fails.
    void closeReceived(const char* failureText)
    {
        mOpen = false;
        check(zmq_msg_close(&mMsg), failureText);
    }

    /// The content, as ZeroMQ gives it.
    const void* data()
    {
        return zmq_msg_data(&mMsg);
    }
    std::size_t size() const
    {
        return zmq_msg_size(&mMsg);
    }

private:
    [[noreturn]] void throwUnfilled();

    zmq_msg_t mMsg;
    bool mOpen;
};

} // namespace ostrel::detail

#endif
