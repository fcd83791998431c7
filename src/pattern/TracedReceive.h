#ifndef OSTREL_PATTERN_TRACEDRECEIVE_H
#define OSTREL_PATTERN_TRACEDRECEIVE_H

#include "log/Trace.h"

namespace ostrel::detail {

/// The lines that both request/reply patterns print around a receive, text or binary.
template <typename Connect, typename Receive>
int tracedReceive(const void* socket, Connect connect, Receive receive)
{
    trace("in RequestReplayMsgPattern receive");
    if (socket == nullptr) {
        trace("try to connect to endpoint");
        connect();
    }
    trace("in the receive ...");
    return receive();
}

} // namespace ostrel::detail

#endif
