#include "transport/ZmqError.h"

#include "message/Text.h"

#include <stdexcept>
#include <zmq.h>

namespace ostrel::detail {

std::string zmqText(const char* text, int error)
{
    const char* detail = requireText(zmq_strerror(error));
    return std::string(text) + detail;
}

void throwZmq(const char* text, int error)
{
    throw std::runtime_error(zmqText(text, error));
}

} // namespace ostrel::detail
