#ifndef OSTREL_TRANSPORT_FRAME_H
#define OSTREL_TRANSPORT_FRAME_H

#include <cstddef>
#include <zmq.h>

namespace ostrel::detail {

/// One ZeroMQ frame, open from construction. Whatever leaves it open, an exception above all, the
/// destructor closes it and ignores the result.
class Frame {
public:
    Frame();
    ~Frame();
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;

    /// Makes this a frame of `size` bytes, copied from `bytes`.
    void fill(const void* bytes, std::size_t size);

    /// Queues the frame; ZeroMQ takes its content over.
    void send(void* socket, int flags);

    /// Closes a frame that was sent. When that fails it is still open, so the destructor tries once
    /// more.
    void closeSent();

    /// One receive attempt; ZeroMQ's result, with errno set for -1.
    int receive(void* socket, int flags);

    /// Closes a frame that a receive was tried with. It is done with even when that fails.
    void closeReceived(const char* failureText);

    /// The content, as ZeroMQ gives it.
    const void* data();
    std::size_t size() const;

private:
    zmq_msg_t mMsg;
    bool mOpen;
};

} // namespace ostrel::detail

#endif
