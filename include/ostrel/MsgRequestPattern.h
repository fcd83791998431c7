#ifndef OSTREL_MSGREQUESTPATTERN_H
#define OSTREL_MSGREQUESTPATTERN_H

#include "ostrel/MsgPattern.h"

namespace ostrel {

/// The client of request/reply: a REQ socket that connects to the server's endpoint.
///
/// The only property is PROP_SERVER_ENDPOINT. It can be set, and set again, until there is a
/// socket: the first send or receive makes and connects it. From then on setProperty() returns -1.
/// ZeroMQ wants a send and a receive in turn; an operation out of turn fails in the transport.
///
/// Threads: a pattern is used by one thread at a time.
class MsgRequestPattern : public MsgPattern {
public:
    /// Keeps the name and obtains the transport; there is no socket yet.
    ///
    /// @param name  The name, not empty.
    /// @throw std::logic_error "Invalid Channel name specified" for an empty name.
    /// @throw std::runtime_error what MsgPattern::MsgPattern() throws, which also logs.
    MsgRequestPattern(const std::string& name);

    // Slot order is ABI: append only.
    /// Closes the socket, if there is one; messages still queued are dropped.
    ~MsgRequestPattern() override;

    /// Keeps the server's endpoint, as long as there is no socket. Nothing is connected yet.
    ///
    /// @param prop   PROP_SERVER_ENDPOINT.
    /// @param value  The endpoint; it replaces an earlier one.
    /// @return 0; once there is a socket -1, silently, whatever the arguments.
    /// @throw std::logic_error "Invalid property - cannot be set : " + `value` for another `prop`;
    ///     "Invalid Endpoint : " + `value` for an endpoint with a "*".
    /// @par Logged
    /// "Error : Ostrel::MsgRequestPattern::setProperty() : " + what().
    int setProperty(channel_prop_t prop, const std::string& value) override;

    /// The server's endpoint.
    ///
    /// @param prop  PROP_SERVER_ENDPOINT.
    /// @return A copy of the endpoint; the empty text when it was never set.
    /// @throw std::logic_error "Invalid property queried" for another `prop`.
    /// @par Logged
    /// "Error : Ostrel::MsgRequestPattern::getProperty() : " + what().
    std::string getProperty(channel_prop_t prop) override;

    /// Sends a text message; connects first where that has not happened. It never waits.
    ///
    /// @param msg  The message; it stays the caller's.
    /// @return The number of parts, or -1 when there was nothing to send.
    /// @throw std::runtime_error what connectEndpoint() and
    ///     ZMQWrapper::send(void*, StringMsg*) const throw. That is
    ///     "Failed to send messagepart : " + ZeroMQ's text for a request before its answer was
    ///     received, too.
    /// @par Logged
    /// Nothing of its own.
    int send(StringMsg* msg) override;

    /// Receives a text message; connects first where that has not happened.
    ///
    /// @param msg      The message to fill; it stays the caller's. Its parts are replaced.
    /// @param timeout  -1 waits without limit; 0 and more do not wait.
    /// @return The number of parts, or 0 or -1 when nothing arrived: see
    ///     ZMQWrapper::receive(void*, StringMsg*, long) const.
    /// @throw std::runtime_error what connectEndpoint() and that throw:
    ///     "Failed to get messagepart: " + ZeroMQ's text for a receive before a request was sent,
    ///     too.
    /// @par Printed
    /// "in RequestReplayMsgPattern receive", then "try to connect to endpoint" when there is no
    /// socket yet, then "in the receive ...", whatever arrives. Then what the transport prints.
    /// @par Logged
    /// Nothing of its own.
    int receive(StringMsg* msg, long timeout) override;

    /// Sends a binary message; connects first where that has not happened. It never waits.
    ///
    /// @param msg  The message; it stays the caller's.
    /// @return The number of parts, or -1 for null.
    /// @throw std::runtime_error what connectEndpoint() and
    ///     ZMQWrapper::send(void*, IpcMsg*) const throw. That is
    ///     "Failed to send messagepart : " + ZeroMQ's text for a request before its answer was
    ///     received, too.
    /// @throw std::logic_error as ZMQWrapper::send(void*, IpcMsg*) const.
    /// @par Logged
    /// Nothing of its own.
    int send(IpcMsg* msg) override;

    /// Receives a binary message; connects first where that has not happened.
    ///
    /// @param msg      The message to fill; it stays the caller's. Parts are appended to its own.
    /// @param timeout  -1 waits without limit; 0 and more do not wait.
    /// @return The number of parts that it then has, or 0 or -1 when nothing arrived: see
    ///     ZMQWrapper::receive(void*, IpcMsg*&, long) const.
    /// @throw std::runtime_error what connectEndpoint() and that throw:
    ///     "Failed to get messagepart: " + ZeroMQ's text for a receive before a request was sent,
    ///     too.
    /// @par Printed
    /// "in RequestReplayMsgPattern receive", then "try to connect to endpoint" when there is no
    /// socket yet, then "in the receive ...", whatever arrives. Then what the transport prints.
    /// @par Logged
    /// Nothing of its own.
    int receive(IpcMsg* msg, long timeout) override;

    /// Makes the REQ socket and connects it, once.
    ///
    /// @throw std::runtime_error what ZMQWrapper::createEndpt() and ZMQWrapper::registerReceiver()
    ///     throw; the empty endpoint, where none was set, fails there. The socket stays.
    /// @par Logged
    /// Nothing of its own.
    void connectEndpoint() override;
};

} // namespace ostrel

#endif
