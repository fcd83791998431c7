#include "transport/Transfer.h"

namespace ostrel::detail {

bool isReadable(void* socket)
{
    zmq_pollitem_t item = {socket, 0, ZMQ_POLLIN, 0};
    zmq_poll(&item, 1, 0);
    return (item.revents & ZMQ_POLLIN) != 0;
}

} // namespace ostrel::detail
