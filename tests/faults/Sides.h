#ifndef OSTREL_TESTS_FAULTS_SIDES_H
#define OSTREL_TESTS_FAULTS_SIDES_H

#include "faults/Table.h"

#include <string>
#include <vector>

/// What the six patterns differ in, and so the channels over them.
namespace faults {

struct Side {
    std::string pattern; ///< The names of the classes.
    std::string channel;
    ostrel::channel_prop_t endpoint; ///< The property that names it.

    Steps connecting; ///< What connectEndpoint() does, with the lines of its own layer.
    std::vector<Ending> connectingMemory;
    Lines sending; ///< The prefixes of its own layers around a send and around a receive.
    Lines receiving;

    void (*getReady)(ostrel::MsgPattern&, Stage&); ///< Nothing but the socket is missing.
    void (*connect)(ostrel::MsgPattern&, Stage&);  ///< There is a socket, and a peer.
    void (*offer)(ostrel::MsgPattern&, Stage&, const Frames&); ///< There is a message to receive.
    void (*giveTurn)(ostrel::MsgPattern&, Stage&);             ///< It may send.

    bool isWorker() const;
    bool sends() const; ///< What it permits.
    bool receives() const;
    bool attachesAtOnce() const; ///< Setting the endpoint makes the socket; or else first use does.
};

extern const Side request;
extern const Side reply;
extern const Side publish;
extern const Side subscribe;
extern const Side dealerClient;
extern const Side dealerWorker;

/// The parts of every message, text or binary.
extern const Lines parts;

/// The message that `side` sends: to a client where it is a worker.
void writeText(const Side& side, Stage& stage);
void writeBinary(const Side& side, Stage& stage);

/// What its send and its receive come to on `side`, with a socket.
Steps sendingText(const Side& side);
Steps sendingBinary(const Side& side);
std::vector<Ending> sendingTextMemory(const Side& side);
std::vector<Ending> sendingBinaryMemory(const Side& side);

Steps receivingText(const Side& side);
Steps receivingBinary(const Side& side);
std::vector<Ending> receivingTextMemory(const Side& side);
std::vector<Ending> receivingBinaryMemory(const Side& side);

/// A message to receive, as it is on the wire without a client.
Frames textFrames();
Frames binaryFrames();

/// What ZeroMQ's refusal of an operation out of turn comes to.
Ending sendOutOfTurn();
Ending receiveOutOfTurn();

} // namespace faults

#endif
