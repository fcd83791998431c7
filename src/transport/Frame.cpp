#include "transport/Frame.h"

#include <stdexcept>

namespace ostrel::detail {

void Frame::throwUnfilled()
{
    // What a failed init_size leaves crashes in zmq_msg_close(). Zeroes are no frame, which it
    // says.
    mMsg = zmq_msg_t();
    throw std::runtime_error("Failed to initialize ZeroMQ messagepart : ");
}

} // namespace ostrel::detail
