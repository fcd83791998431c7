#ifndef OSTREL_PATTERN_TRACEDRECEIVE_H
#define OSTREL_PATTERN_TRACEDRECEIVE_H

#include <cstdio>

namespace ostrel::detail {

/// The lines that both request/reply patterns print around a receive, text or binary.
template <typename Connect, typename Receive>
int tracedReceive(const void* socket, Connect connect, Receive receive)
{
    std::puts("in RequestReplayMsgPattern receive");
    if (socket == nullptr) {
        std::puts("try to connect to endpoint");
        connect();
    }
    std::puts("in the receive ...");
    return receive();
}

} // namespace ostrel::detail

#endif
