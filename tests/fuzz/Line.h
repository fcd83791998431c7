#ifndef OSTREL_TESTS_FUZZ_LINE_H
#define OSTREL_TESTS_FUZZ_LINE_H

#include "ostrel/MsgChannel.h"

#include <memory>
#include <string>

namespace ostrel {
class MsgDealerWorkerChannel;
class MsgPattern;
} // namespace ostrel

namespace fuzz {

/// A receiver of the library and a bare socket that it is joined to, both without messages. They
/// stay as long as the program runs.
struct Line {
    void* peer; // A PUB socket for a subscriber, else a DEALER: it sends whatever it likes.
    void* own;  // The receiver's.
    ostrel::MsgPattern* pattern; // Null when there is only the transport.
};

/// Has `channel`, which is new, connect or bind, and returns its socket.
void* open(ostrel::MsgChannel& channel, ostrel::channel_prop_t endpointProperty,
           const std::string& endpoint);

/// Has `channel`, which is new, connect or bind at the endpoint "inproc://" + its name.
Line join(ostrel::MsgChannel& channel, ostrel::channel_prop_t endpointProperty);

/// Two bare sockets, for the transport alone.
Line joinTransport();

/// A new worker channel of a pool whose broker stands somewhere else: it starts none, and the peer
/// of its line takes the broker's place.
std::unique_ptr<ostrel::MsgDealerWorkerChannel> makePoolWorker();

} // namespace fuzz

#endif
