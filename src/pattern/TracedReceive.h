#ifndef OSTREL_PATTERN_TRACEDRECEIVE_H
#define OSTREL_PATTERN_TRACEDRECEIVE_H

#include "log/Trace.h"

namespace ostrel::detail {

/// The lines that both request/reply patterns print around a receive, text or binary.
template <typename Connect, typename Receive>
int tracedReceive(const void* socket, Connect connect, Receive receive)
{
    {
        TraceLines<96> lines;
        lines.add("in RequestReplayMsgPattern receive");
        if (socket == nullptr) {
            lines.add("try to connect to endpoint");
            lines.print();
            connect();
        }
        lines.add("in the receive ...");
    }
    return receive();
}

} // namespace ostrel::detail

#endif
