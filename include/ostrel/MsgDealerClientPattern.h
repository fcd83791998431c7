#ifndef OSTREL_MSGDEALERCLIENTPATTERN_H
#define OSTREL_MSGDEALERCLIENTPATTERN_H

#include "ostrel/MsgPattern.h"

namespace ostrel {

/// The asynchronous client of a worker pool: a DEALER socket that names itself and connects to the
/// broker's endpoint for clients. Sends and receives need not alternate, and replies come in the
/// order in which workers finish.
///
/// The only property is PROP_DEALER_SERVER_ENDPOINT; it can be set until the socket exists.
///
/// The name is "IDENTITY_" and the hexadecimal form of one rand() after srand(time(nullptr)).
/// Clients that connect within the same second therefore get the same name, and the broker serves
/// only one of them (kept: applications expect the format and the seeding). Connecting reseeds
/// rand() for the whole process.
///
/// Threads: a pattern is used by one thread at a time.
class MsgDealerClientPattern : public MsgPattern {
public:
    /// Keeps the name and obtains the transport; there is no socket yet.
    ///
    /// @param name  The pattern's name, not empty. It is not the name that the broker sees.
    /// @throw std::logic_error "Invalid Channel name specified" for an empty name.
    /// @throw std::runtime_error what MsgPattern::MsgPattern() throws, which also logs.
    MsgDealerClientPattern(const std::string& name);

    // Slot order is ABI: append only.
    /// Closes the socket, if there is one; messages still queued are dropped.
    ~MsgDealerClientPattern() override;

    /// Keeps the broker's endpoint, as long as there is no socket. Nothing is connected yet.
    ///
    /// @param prop   PROP_DEALER_SERVER_ENDPOINT.
    /// @param value  The endpoint; it replaces an earlier one.
    /// @return 0; once there is a socket -1, silently, whatever the arguments.
    /// @throw std::logic_error "Invalid property - cannot be set : " + `value` for another `prop`;
    ///     "Invalid Endpoint : " + `value` for an endpoint with a "*".
    /// @par Logged
    /// "Error : Ostrel::MsgDealerClientPattern::setProperty() : " + what().
    int setProperty(channel_prop_t prop, const std::string& value) override;

    /// The broker's endpoint.
    ///
    /// @param prop  PROP_DEALER_SERVER_ENDPOINT.
    /// @return A copy of the endpoint; the empty text when it was never set.
    /// @throw std::logic_error "Invalid property queried" for another `prop`.
    /// @par Logged
    /// "Error : Ostrel::MsgDealerClientPattern::getProperty() : " + what().
    std::string getProperty(channel_prop_t prop) override;

    /// Sends a text message; connects first where that has not happened. It never waits.
    ///
    /// @param msg  The message; it stays the caller's.
    /// @return The number of parts, or -1 when there was nothing to send.
    /// @throw std::runtime_error what connectEndpoint() and
    ///     ZMQWrapper::send(void*, StringMsg*) const throw.
    /// @par Logged
    /// Nothing of its own.
    int send(StringMsg* msg) override;

    /// Receives a text message; connects first where that has not happened.
    ///
    /// @param msg        The message to fill; it stays the caller's. Its parts are replaced.
    /// @param timeoutMs  -1 waits without limit; 0 and more do not wait.
    /// @return The number of parts, or 0 or -1 when nothing arrived: see
    ///     ZMQWrapper::receive(void*, StringMsg*, long) const.
    /// @throw std::runtime_error what connectEndpoint() and that throw.
    /// @par Printed
    /// "MsgDealerClientPattern:receive ret=" and the result.
    /// @par Logged
    /// "Error : Ostrel::MsgDealerClientPattern::MsgDealerClientPattern() : " + what() (kept: log
    /// filters know the constructor's name).
    int receive(StringMsg* msg, long timeoutMs) override;

    /// Sends a binary message; connects first where that has not happened. It never waits.
    ///
    /// @param msg  The message; it stays the caller's.
    /// @return The number of parts, or -1 for null.
    /// @throw std::runtime_error what connectEndpoint() and
    ///     ZMQWrapper::send(void*, IpcMsg*) const throw.
    /// @throw std::logic_error as ZMQWrapper::send(void*, IpcMsg*) const.
    /// @par Printed
    /// "MsgDealerClientPattern::send".
    /// @par Logged
    /// Nothing of its own.
    int send(IpcMsg* msg) override;

    /// Receives a binary message; connects first where that has not happened.
    ///
    /// @param msg        The message to fill; it stays the caller's. Parts are appended to its own.
    /// @param timeoutMs  -1 waits without limit; 0 and more do not wait.
    /// @return The number of parts that it then has, or 0 or -1 when nothing arrived: see
    ///     ZMQWrapper::receive(void*, IpcMsg*&, long) const.
    /// @throw std::runtime_error what connectEndpoint() and that throw.
    /// @par Printed
    /// "MsgDealerClientPattern:receive ret=" and the result, after the transport's lines.
    /// @par Logged
    /// "Error : Ostrel::MsgDealerClientPattern::MsgDealerClientPattern() : " + what() (kept: log
    /// filters know the constructor's name).
    int receive(IpcMsg* msg, long timeoutMs) override;

    /// Makes the DEALER socket, names it and connects it, once.
    ///
    /// @throw std::runtime_error what ZMQWrapper::createEndpt(), ZMQWrapper::setOption() and
    ///     ZMQWrapper::registerReceiver() throw; the empty endpoint, where none was set, fails
    ///     there. The socket stays, unless making it was what failed.
    /// @par Printed
    /// "MsgDealerClientPattern::connectEndpoint IDENTITY = " and the name.
    /// @par Logged
    /// "Error : Ostrel::MsgDealerClientPattern::connectEndpoint() : " + what().
    void connectEndpoint() override;
};

} // namespace ostrel

#endif
