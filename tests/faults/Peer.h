#ifndef OSTREL_TESTS_FAULTS_PEER_H
#define OSTREL_TESTS_FAULTS_PEER_H

#include "support/RawSocket.h"

#include <string>

namespace faults {

using support::Frames;

/// The other side of an operation: a raw socket in the library's own context, so that the two can
/// meet inside the process, which costs next to nothing. Its calls are not the library's. One that
/// fails ends the test program.
class Peer {
public:
    explicit Peer(int type);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void name(const std::string& identity);
    void bind(const std::string& endpoint);
    void connect(const std::string& endpoint);

    /// Sends the frames as one message, as soon as there is somebody to take it.
    void send(const Frames& frames);

    /// The next message; empty when there is none within a generous limit.
    Frames receive();

    /// All messages that are there: "[one][two] [another]".
    std::string received();

private:
    void* mSocket;
};

/// "[one][two]"
std::string shown(const Frames& frames);

} // namespace faults

#endif
