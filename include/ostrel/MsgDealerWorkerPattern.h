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
/// Threads: patterns may be connected on different threads at the same time; each pattern is used
/// by one thread at a time.
class MsgDealerWorkerPattern : public MsgPattern {
public:
    /// Keeps the name, obtains the transport and calls ZMQWrapper::enableIdentity(); there is no
    /// socket yet, and no broker.
    ///
    /// @param name  The name, not empty. Patterns of one name in a process share a broker.
    /// @throw std::logic_error "Invalid Channel name specified" for an empty name.
    /// @throw std::runtime_error what MsgPattern::MsgPattern() throws, which also logs.
    MsgDealerWorkerPattern(const std::string& name);

    // Slot order is ABI: append only.
    /// Closes the worker's own socket; messages still queued are dropped. The broker stays.
    ~MsgDealerWorkerPattern() override;

    /// Keeps an endpoint, as long as there is no socket. Nothing is bound or connected yet.
    ///
    /// @param prop   PROP_DEALER_SERVER_ENDPOINT or PROP_DEALER_WORKER_ENDPOINT.
    /// @param value  The endpoint; it replaces an earlier one.
    /// @return 0; once there is a socket -1, silently, whatever the arguments.
    /// @throw std::logic_error "Invalid property - cannot be set : " + `value` for another `prop`;
    ///     "Invalid Endpoint : " + `value` for an endpoint with a "*".
    /// @par Logged
    /// "Error : Ostrel::MsgDealerWorkerPattern::setProperty() : " + what().
    int setProperty(channel_prop_t prop, const std::string& value) override;

    /// One of the two endpoints.
    ///
    /// @param prop  PROP_DEALER_SERVER_ENDPOINT or PROP_DEALER_WORKER_ENDPOINT.
    /// @return A copy of the endpoint; the empty text when it was never set.
    /// @throw std::logic_error "Invalid property queried" for another `prop`.
    /// @par Logged
    /// "Error : Ostrel::MsgDealerWorkerPattern::getProperty() : " + what().
    std::string getProperty(channel_prop_t prop) override;

    /// Sends a text message to the client that its handle names; connects first where that has not
    /// happened. It never waits.
    ///
    /// The identity travels as an extra part in front. It is taken off again, unless the transport
    /// throws: then it stays in the message as part 0 (kept).
    ///
    /// @param msg  The message; it stays the caller's, as it was. Its handle must be a
    ///     MsgDealerWorkerHandle, which is not checked. Without a handle its own part 0 goes out in
    ///     the place of the identity.
    /// @return The number of the message's own parts; without a handle, or for null, the
    ///     transport's result.
    /// @throw std::runtime_error what connectEndpoint() and
    ///     ZMQWrapper::send(void*, StringMsg*) const throw.
    /// @par Printed
    /// "MsgDealerWorkerPattern::send" where there is a handle.
    /// @par Logged
    /// Nothing of its own.
    int send(StringMsg* msg) override;

    /// Receives a request in text; connects first where that has not happened.
    ///
    /// The message's handle then names the client, by the whole first part, which is taken off.
    ///
    /// @param msg        The message to fill; it stays the caller's. Its parts are replaced.
    /// @param timeoutMs  -1 waits without limit; 0 and more do not wait.
    /// @return The number of parts without the identity, or 0 or -1 when nothing arrived: see
    ///     ZMQWrapper::receive(void*, StringMsg*, long) const.
    /// @throw std::runtime_error what connectEndpoint() and that throw.
    /// @par Printed
    /// "MsgDealerWorkerPattern:receive ret=" and the transport's result; when something arrived
    /// "MsgDealerWorkerPattern:receive numParts=" and the parts, with the identity.
    /// @par Logged
    /// "Error : Ostrel::MsgDealerWorkerPattern::MsgDealerWorkerPattern() : " + what() (kept: log
    /// filters know the constructor's name).
    int receive(StringMsg* msg, long timeoutMs) override;

    /// Sends a binary message to the client that its handle names; connects first where that has
    /// not happened. It never waits.
    ///
    /// The identity travels as an extra part in front. It is taken off again, unless the transport
    /// throws: then it stays in the message as part 0 (kept).
    ///
    /// @param msg  The message; it stays the caller's, as it was. Its handle must be a
    ///     MsgDealerWorkerHandle, which is not checked. Without a handle its own part 0 goes out in
    ///     the place of the identity.
    /// @return The number of the message's own parts; without a handle the transport's result; -1
    ///     for null.
    /// @throw std::runtime_error what connectEndpoint() and
    ///     ZMQWrapper::send(void*, IpcMsg*) const throw.
    /// @throw std::logic_error as ZMQWrapper::send(void*, IpcMsg*) const.
    /// @par Printed
    /// "MsgDealerWorkerPattern::send inMsg is null" for null, or
    /// "MsgDealerWorkerPattern::send handle is null - send msg" without a handle. Otherwise
    /// "MsgDealerWorkerPattern::send insert the identity", then
    /// `MsgDealerWorkerPattern::send IDENTITY - LENGTH` with the identity up to its first zero byte
    /// and its whole length, then "MsgDealerWorkerPattern::send sending to worker ???".
    /// @par Logged
    /// Nothing of its own.
    int send(IpcMsg* msg) override;

    /// Receives a binary request; connects first where that has not happened.
    ///
    /// The message's handle then names the client, by part 0, which is taken off. Of an identity of
    /// more than 64 bytes the first 60 are kept, and it ends at its first zero byte (kept); clients
    /// of this library name themselves to suit.
    ///
    /// @param msg        The message to fill; it stays the caller's. Parts are appended: pass an
    ///     empty one, since part 0 is taken as the identity, whichever message it came with.
    /// @param timeoutMs  -1 waits without limit; 0 and more do not wait.
    /// @return The number of parts that it then has, or 0 or -1 when nothing arrived: see
    ///     ZMQWrapper::receive(void*, IpcMsg*&, long) const.
    /// @throw std::runtime_error what connectEndpoint() and that throw.
    /// @par Printed
    /// "MsgDealerWorkerPattern:receive before receive". After the transport's lines
    /// `MsgDealerWorkerPattern:receive ret=RESULT type=TYPE` with the transport's result and the
    /// message's type, 0 for null. When something arrived
    /// "MsgDealerWorkerPattern:receive numParts=" and the parts, with the identity, and
    /// `===> identity = IDENTITY`, which ends in a blank.
    /// @par Logged
    /// "Error : Ostrel::MsgDealerWorkerPattern::MsgDealerWorkerPattern() : " + what() (kept: log
    /// filters know the constructor's name).
    int receive(IpcMsg* msg, long timeoutMs) override;

    /// Makes the worker's socket, starts the broker of this name if there is none, and connects to
    /// the endpoint for workers, once.
    ///
    /// A broker that could not be started leaves no sockets behind. The pattern keeps its own,
    /// unconnected, unless making that was what failed.
    ///
    /// @throw std::runtime_error "Proxy thread creation failed" when the broker's thread cannot be
    ///     started; what ZMQWrapper::createEndpt(), ZMQWrapper::registerSender() and
    ///     ZMQWrapper::registerReceiver() throw.
    /// @par Logged
    /// "Error : Ostrel::MsgDealerWorkerPattern::connectEndpoint() : " + what().
    void connectEndpoint() override;

private:
    static pthread_mutex_t mProxyMutex; // Held while a pattern finds or starts its broker.
    static std::map<std::string, unsigned long> mProxyThreads; // By name; entries stay.
};

/// A broker's thread: MsgDealerWorkerPattern starts it; applications do not call it.
///
/// It runs until ZeroMQ's context ends, which the library never makes it do, or until a signal's
/// handler runs on its thread. Then the broker is gone, and its name in the process with it.
///
/// @param arg  A malloc()ed block of two socket pointers, for clients and for workers, which it
///     frees. For null it returns at once.
/// @return Null.
void* proxyThreadMain(void* arg);

} // namespace ostrel

#endif
