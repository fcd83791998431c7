#ifndef OSTREL_TESTS_FUZZ_SOCKETS_H
#define OSTREL_TESTS_FUZZ_SOCKETS_H

#include "fuzz/Frames.h"

#include <string>

/// Bare ZeroMQ sockets in the library's context, so that an inproc endpoint joins them to a socket
/// of the library. What one thread sends over inproc it can receive at once.
namespace fuzz {

/// A socket that never has a full queue.
void* makeSocket(int type);

/// Gives a socket that is not connected yet the name by which a ROUTER socket knows it.
void setName(void* socket, const std::string& name);

void bind(void* socket, const std::string& endpoint);
void connect(void* socket, const std::string& endpoint);

/// Such as ZMQ_REP.
int typeOf(void* socket);

/// What a frame's bytes lie in.
enum class Memory {
    exact, ///< A heap block of just that size: reading behind it is seen.
    zeroMQ ///< What ZeroMQ chooses; small frames lie inside of its zmq_msg_t.
};

/// Sends the frames as one message.
void sendMessage(void* socket, const Frames& frames, Memory memory = Memory::exact);

/// How an attempt to receive ended.
enum class Taken { message, nothing, notItsTurn };

/// Receives a message if there is one.
Taken takeMessage(void* socket, Frames& frames);

/// Receives whatever there is. A REP socket that owes an answer gives one before, and to each
/// request.
void drain(void* socket);

/// Waits, up to a limit that ends the fuzzer, until `socket` has something to receive.
void awaitMessage(void* socket);

/// Sends `frames` from `peer` until one arrives at `socket`: connected sockets get to know each
/// other a moment after the calls. Leaves both sockets empty.
void meet(void* peer, void* socket, const Frames& frames);

} // namespace fuzz

#endif
