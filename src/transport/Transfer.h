#ifndef OSTREL_TRANSPORT_TRANSFER_H
#define OSTREL_TRANSPORT_TRANSFER_H

#include "log/Trace.h"
#include "transport/Frame.h"
#include "transport/ZmqError.h"

#include <cerrno>
#include <cstddef>
#include <zmq.h>

namespace ostrel::detail {

/// No send ever waits.
constexpr int lastFrame = ZMQ_DONTWAIT;
constexpr int moreFrames = ZMQ_SNDMORE | ZMQ_DONTWAIT;

/// Sends `size` bytes as one frame. `frame` is opened by the caller, before it looks at what it is
/// about to send.
inline void sendFrame(Frame& frame, void* socket, const void* bytes, std::size_t size, int flags)
{
    frame.fill(bytes, size);
    frame.send(socket, flags);
    frame.closeSent();
}

/// Whether `socket` has a message to read right now.
bool isReadable(void* socket);

/// How a receive ended.
enum class Arrival { message, timedOut, nothing };

/// The integer result of a receive that `arrival` ended, where `parts` is that of a whole message.
constexpr int receiveResult(Arrival arrival, int parts)
{
    switch (arrival) {
    case Arrival::message:
        return parts;
    case Arrival::nothing:
        return 0;
    case Arrival::timedOut:
        break;
    }
    return -1;
}

/// Receives one message, frame by frame: `beforeAttempt()` runs before each try, `onFrame(frame)`
/// with each frame that arrived. What a frame means is the caller's business.
///
/// `timeout` -1 waits, 0 does not, and a positive one does not either: its length is not waited
/// for, it buys one more look. Kept: applications rely on the prompt return.
template <typename BeforeAttempt, typename OnFrame>
Arrival receiveFrames(void* socket, long timeout, BeforeAttempt beforeAttempt, OnFrame onFrame)
{
    const int flags = timeout == -1 ? 0 : ZMQ_DONTWAIT;
    int more = 1;
    std::size_t moreSize = sizeof more;
    while (more != 0) {
        Frame frame;
        beforeAttempt();
        if (frame.receive(socket, flags) == -1) {
            const int error = errno;
            frame.closeReceived("recv: Failed to close ZeroMQ messagepart: ");
            if (error != EAGAIN) {
                throwZmq("Failed to get messagepart: ", error);
            }
            if (timeout <= 0) {
                trace("receive: timeout");
                return Arrival::timedOut;
            }
            if (!isReadable(socket)) {
                trace("nothing to received");
                return Arrival::nothing;
            }
            continue;
        }
        onFrame(frame);
        // Not the text of above: this one has no blank at its end. Kept as it is.
        frame.closeReceived("recv: Failed to close ZeroMQ messagepart:");
        check(zmq_getsockopt(socket, ZMQ_RCVMORE, &more, &moreSize),
              "Failed to get ZMQ_RCVMORE Option:");
    }
    return Arrival::message;
}

} // namespace ostrel::detail

#endif
