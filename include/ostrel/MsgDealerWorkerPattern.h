#ifndef OSTREL_MSGDEALERWORKERPATTERN_H
#define OSTREL_MSGDEALERWORKERPATTERN_H

#include "ostrel/MsgPattern.h"

#include <map>
#include <pthread.h>
#include <string>

namespace ostrel {

/// A worker of a pool, and the starter of the pool's broker.
///
/// The broker is a thread between two bound sockets: a ROUTER for clients
/// (PROP_DEALER_SERVER_ENDPOINT) and a DEALER for workers (PROP_DEALER_WORKER_ENDPOINT). The first
/// pattern of a name in the process starts it when it connects; it then runs until the process
/// ends, whatever becomes of the patterns. Later patterns of the name start none. The worker's own
/// socket is a DEALER that connects to the pattern's own endpoint for workers, which has to be its
/// broker's.
///
/// A received request carries its client as a MsgDealerWorkerHandle; a message with that handle is
/// sent to that client.
///
/// Making a worker pattern switches identity framing of binary messages on for the whole process,
/// for good: keep everything else that sends or receives binary messages, publishers and dealer
/// clients included, in other processes.
///
/// Failures of receive() are logged with
/// "Error : Ostrel::MsgDealerWorkerPattern::MsgDealerWorkerPattern() : " (kept), those of
/// connectEndpoint() with its own name; send() logs nothing of its own.
///
/// Threads: patterns may be connected on different threads at the same time; each pattern is used
/// by one thread at a time.
class MsgDealerWorkerPattern : public MsgPattern {
public:
    MsgDealerWorkerPattern(const std::string& name);

    // Slot order is ABI: append only.

    /// Closes the worker's own socket. The broker stays.
    ~MsgDealerWorkerPattern() override;
    int setProperty(channel_prop_t prop, const std::string& value) override;
    std::string getProperty(channel_prop_t prop) override;

    /// Sends to the client that the message's handle names; without a handle, or for null, as the
    /// transport does. Returns the number of the message's own parts and gives it back as it was;
    /// when the transport throws, the identity stays in the message as part 0.
    int send(StringMsg* msg) override;

    /// Receives a request; its handle names the client by the whole first frame. Returns the number
    /// of parts without that frame.
    int receive(StringMsg* msg, long timeoutMs) override;

    /// As for text messages; for a null `msg` prints "MsgDealerWorkerPattern::send inMsg is null"
    /// and returns -1. The handle must be a MsgDealerWorkerHandle; it is not checked. Without a
    /// handle the message's own part 0 goes out as the identity.
    int send(IpcMsg* msg) override;

    /// Receives a request, appending to `msg`: pass an empty one, since part 0 is taken as the
    /// client's identity. Of an identity of more than 64 bytes the first 60 are kept, and it ends
    /// at its first zero byte; clients of this library name themselves to suit. Returns the number
    /// of parts without the identity.
    int receive(IpcMsg* msg, long timeoutMs) override;

    /// Starts the broker of this name if there is none, and connects.
    ///
    /// Throws std::runtime_error "Proxy thread creation failed" when its thread cannot be started,
    /// or what the transport throws, after logging. The pattern then keeps an unconnected socket,
    /// unless making that was what failed.
    void connectEndpoint() override;

private:
    static pthread_mutex_t mProxyMutex; // Held while a pattern finds or starts its broker.
    static std::map<std::string, unsigned long> mProxyThreads; // By name; entries stay.
};

/// A broker's thread: takes a malloc()ed block of two socket pointers, for clients and for workers,
/// frees it and runs until ZeroMQ's context ends. For null returns at once. Returns null.
void* proxyThreadMain(void* arg);

} // namespace ostrel

#endif
