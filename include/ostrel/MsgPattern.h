#ifndef OSTREL_MSGPATTERN_H
#define OSTREL_MSGPATTERN_H

#include <map>
#include <string>

namespace ostrel {

class IpcMsg;
class StringMsg;
class ZMQWrapper;

/// The properties that channels and patterns accept. None has a default: one that was never set
/// reads as the empty text.
enum channel_prop_t : int {
    PROP_SERVER_ENDPOINT = 0,        ///< Endpoint of a request/reply server.
    PROP_PUBLISHER_ENDPOINT = 1,     ///< Endpoint of a publisher.
    PROP_SUBSCRIBE = 2,              ///< Add a topic filter; not stored, cannot be queried.
    PROP_UNSUBSCRIBE = 3,            ///< Remove a topic filter; not stored, cannot be queried.
    PROP_DEALER_SERVER_ENDPOINT = 4, ///< The broker's endpoint for clients.
    PROP_DEALER_WORKER_ENDPOINT = 5  ///< The broker's endpoint for workers.
};

/// One messaging pattern over one socket. Channels own a pattern each; it can also be used alone.
///
/// The socket is created when it is first needed and then stays until the pattern is destroyed,
/// even when binding or connecting it failed: such a pattern cannot be given another endpoint, and
/// there is no retry. Make a new one.
///
/// Errors: std::logic_error for misuse, std::runtime_error for failures of ZeroMQ (see ZMQWrapper).
/// An operation that logs writes its line after the lines of the transport, so that one failure
/// gives several lines, the innermost first. Any operation that keeps or copies a text may also
/// throw std::bad_alloc.
///
/// Threads: a pattern is used by one thread at a time.
class MsgPattern {
public:
    /// Keeps the name and obtains the transport.
    ///
    /// The transport comes first: it is there even after a refused name.
    ///
    /// @param name  The name, not empty. Only workers give it a meaning: see
    ///     MsgDealerWorkerPattern.
    /// @throw std::logic_error "Invalid Channel name specified" for an empty name.
    /// @throw std::runtime_error "Failed to instantiate ZMQWrapper Object" when there is no
    ///     transport, or what building it throws: see ZMQWrapper::ZMQWrapper().
    /// @par Logged
    /// "Error : Ostrel::MsgPattern::MsgPattern() : " + what().
    MsgPattern(const std::string& name);

    /// Never copied: a pattern owns its socket.
    MsgPattern(const MsgPattern&) = delete;

    /// Never assigned.
    MsgPattern& operator=(const MsgPattern&) = delete;

    // Slot order is ABI: append only.

    /// Closes the socket, if there is one; messages still queued are dropped.
    virtual ~MsgPattern();

    /// Sets a property.
    ///
    /// @param prop   One that the pattern has.
    /// @param value  Its new value.
    /// @return 0; -1, silently, where the pattern refuses because its socket already exists.
    /// @throw std::logic_error "Invalid property - cannot be set : " + `value` for a property that
    ///     the pattern does not have; "Invalid Endpoint : " + `value` for an endpoint with a "*".
    virtual int setProperty(channel_prop_t prop, const std::string& value) = 0;

    /// A property's value.
    ///
    /// @param prop  One that can be read.
    /// @return A copy of the value; the empty text when it was never set.
    /// @throw std::logic_error "Invalid property queried" for another one.
    virtual std::string getProperty(channel_prop_t prop) = 0;

    /// Sends a text message; connects first where that has not happened. It never waits.
    ///
    /// @param msg  The message; it stays the caller's.
    /// @return The number of parts, or -1 when there was nothing to send.
    /// @throw std::runtime_error what connectEndpoint() and
    ///     ZMQWrapper::send(void*, StringMsg*) const throw.
    virtual int send(StringMsg* msg) = 0;

    /// Receives a text message; connects first where that has not happened.
    ///
    /// @param msg      The message to fill; it stays the caller's. Its parts are replaced.
    /// @param timeout  -1 waits without limit; 0 and more do not wait.
    /// @return The number of parts, or 0 or -1 when nothing arrived.
    /// @throw std::runtime_error what connectEndpoint() and
    ///     ZMQWrapper::receive(void*, StringMsg*, long) const throw.
    virtual int receive(StringMsg* msg, long timeout) = 0;

    /// Sends a binary message; connects first where that has not happened. It never waits.
    ///
    /// @param msg  The message; it stays the caller's.
    /// @return The number of parts, or -1 for null.
    /// @throw std::runtime_error what connectEndpoint() and
    ///     ZMQWrapper::send(void*, IpcMsg*) const throw.
    virtual int send(IpcMsg* msg) = 0;

    /// Receives a binary message; connects first where that has not happened.
    ///
    /// @param msg      The message to fill; it stays the caller's. Parts are appended to its own.
    /// @param timeout  -1 waits without limit; 0 and more do not wait.
    /// @return The number of parts that it then has, or 0 or -1 when nothing arrived.
    /// @throw std::runtime_error what connectEndpoint() and
    ///     ZMQWrapper::receive(void*, IpcMsg*&, long) const throw.
    virtual int receive(IpcMsg* msg, long timeout) = 0;

    /// Creates the socket and binds or connects it; does nothing once there is a socket.
    ///
    /// @throw std::runtime_error what ZMQWrapper::createEndpt(), ZMQWrapper::registerSender() and
    ///     ZMQWrapper::registerReceiver() throw. After a failed bind or connect the pattern keeps
    ///     its socket, without an endpoint.
    virtual void connectEndpoint() = 0;

    /// Whether a text may be an endpoint: whether it holds no "*".
    ///
    /// Nothing else is looked at: wildcards are refused for binding patterns too, so that an
    /// endpoint always names one address (kept).
    ///
    /// @param endpoint  The text.
    /// @return True without a "*".
    bool isValidEndpt(const std::string& endpoint) const;

protected:
    // Member order is ABI.
    /// The name; never empty.
    std::string mChannelName;
    /// The values by property; reading a property makes its entry.
    std::map<channel_prop_t, std::string> mProperties;
    /// The transport. Not owned; never null after construction.
    ZMQWrapper* mpMsgQ;
    /// The socket. Owned; null until connectEndpoint(), which sets it before it binds or connects.
    void* mpSocket;
};

} // namespace ostrel

#endif
