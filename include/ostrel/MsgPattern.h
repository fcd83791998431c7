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
/// Operations that log do so with "Error : Ostrel::<class>::<operation>() : " + what(), unless the
/// class says otherwise.
///
/// Threads: a pattern is used by one thread at a time.
class MsgPattern {
public:
    /// Keeps `name` and obtains the transport.
    ///
    /// Throws std::logic_error "Invalid Channel name specified" for an empty name, or what building
    /// the transport throws. Prefix: "Error : Ostrel::MsgPattern::MsgPattern() : ".
    MsgPattern(const std::string& name);

    MsgPattern(const MsgPattern&) = delete;
    MsgPattern& operator=(const MsgPattern&) = delete;

    // Slot order is ABI: append only.

    /// Closes the socket, if there is one.
    virtual ~MsgPattern();

    /// Sets a property.
    ///
    /// Returns 0; -1, silently, where the pattern refuses because its socket already exists.
    /// Throws std::logic_error "Invalid property - cannot be set : " + `value` for a property that
    /// the pattern does not have, "Invalid Endpoint : " + `value` for an endpoint with a "*".
    virtual int setProperty(channel_prop_t prop, const std::string& value) = 0;

    /// A copy of a property's value.
    /// Throws std::logic_error "Invalid property queried" for one that cannot be read.
    virtual std::string getProperty(channel_prop_t prop) = 0;

    /// Sends a text message; connects first where that has not happened. Results: ZMQWrapper.
    virtual int send(StringMsg* msg) = 0;

    /// Receives a text message; connects first where that has not happened. Results and the
    /// meaning of `timeout`: ZMQWrapper.
    virtual int receive(StringMsg* msg, long timeout) = 0;

    /// Sends a binary message; connects first where that has not happened. Results: ZMQWrapper.
    virtual int send(IpcMsg* msg) = 0;

    /// Receives a binary message; connects first where that has not happened. Results and the
    /// meaning of `timeout`: ZMQWrapper.
    virtual int receive(IpcMsg* msg, long timeout) = 0;

    /// Creates the socket and binds or connects it; does nothing once there is a socket.
    virtual void connectEndpoint() = 0;

    /// Whether `endpoint` holds no "*". Nothing else is looked at: wildcards are refused for
    /// binding patterns too, so that an endpoint always names one address.
    bool isValidEndpt(const std::string& endpoint) const;

protected:
    // Member order is ABI.
    std::string mChannelName;
    std::map<channel_prop_t, std::string> mProperties; // Reading a property makes its entry.
    ZMQWrapper* mpMsgQ;                                // Not owned; never null after construction.
    void* mpSocket;                                    // Owned; null until connectEndpoint().
};

} // namespace ostrel

#endif
