#ifndef OSTREL_MSGPUBLISHPATTERN_H
#define OSTREL_MSGPUBLISHPATTERN_H

#include "ostrel/MsgPattern.h"

#include <string>
#include <vector>

namespace ostrel {

/// The publisher: a PUB socket that binds the publisher's endpoint and only sends.
///
/// The only property is PROP_PUBLISHER_ENDPOINT. Setting it binds at once; it can be set once.
/// A send before that binds the empty endpoint, which fails for good.
///
/// Threads: a pattern is used by one thread at a time.
class MsgPublishPattern : public MsgPattern {
public:
    /// Keeps the name and obtains the transport; there is no socket yet.
    ///
    /// @param name  The name, not empty.
    /// @throw std::logic_error "Invalid Channel name specified" for an empty name.
    /// @throw std::runtime_error what MsgPattern::MsgPattern() throws, which also logs.
    MsgPublishPattern(const std::string& name);

    // Slot order is ABI: append only.
    /// Closes the socket, if there is one; messages still queued are dropped.
    ~MsgPublishPattern() override;

    /// Keeps the publisher's endpoint and binds it.
    ///
    /// An endpoint that could not be bound is set all the same: there is a socket then, and no
    /// second try.
    ///
    /// @param prop   PROP_PUBLISHER_ENDPOINT.
    /// @param value  The endpoint.
    /// @return 0.
    /// @throw std::logic_error in this order: "Invalid property - cannot be set : " + `value` for
    ///     another `prop`; "Invalid Endpoint : " + `value` for an endpoint with a "*";
    ///     "Publisher Endpoint already set : " + the stored endpoint once there is a socket.
    /// @throw std::runtime_error what connectEndpoint() throws.
    /// @par Logged
    /// "Error : Ostrel::MsgPublishPattern::setProperty() : " + what().
    int setProperty(channel_prop_t prop, const std::string& value) override;

    /// The publisher's endpoint.
    ///
    /// @param prop  PROP_PUBLISHER_ENDPOINT.
    /// @return A copy of the endpoint; the empty text when it was never set.
    /// @throw std::logic_error "Invalid property queried" for another `prop`.
    /// @par Logged
    /// "Error : Ostrel::MsgPublishPattern::getProperty() : " + what().
    std::string getProperty(channel_prop_t prop) override;

    /// Publishes a text message. It never waits; with no subscriber there, it is dropped.
    ///
    /// @param msg  The message; it stays the caller's. Its part 0 is what filters look at.
    /// @return The number of parts, or -1 when there was nothing to send.
    /// @throw std::runtime_error what connectEndpoint() and
    ///     ZMQWrapper::send(void*, StringMsg*) const throw.
    /// @par Logged
    /// "Error : Ostrel::MsgPublishPattern::send() : " + what().
    int send(StringMsg* msg) override;

    /// Never permitted: always throws, and makes no socket.
    ///
    /// @param msg      Not looked at.
    /// @param timeout  Not looked at.
    /// @return Nothing: it throws.
    /// @throw std::logic_error "receive() Operation NOT permitted for PUBLISHER".
    /// @par Logged
    /// "Error : Ostrel:: MsgPublishPattern::receive() : " + what() (kept, blank and all).
    int receive(StringMsg* msg, long timeout) override;

    /// Publishes a binary message. It never waits; with no subscriber there, it is dropped.
    ///
    /// @param msg  The message; it stays the caller's. Its header, type first, is what filters look
    ///     at.
    /// @return The number of parts, or -1 for null, before any socket is made.
    /// @throw std::runtime_error what connectEndpoint() and
    ///     ZMQWrapper::send(void*, IpcMsg*) const throw.
    /// @throw std::logic_error as ZMQWrapper::send(void*, IpcMsg*) const.
    /// @par Printed
    /// "MsgPublishPattern::send: inMsg is null" for a null `msg`. Without a transport, which the
    /// constructor rules out, it would be "MsgPublishPattern::send: mpMsgQ is null", and -1.
    /// @par Logged
    /// "Error : Ostrel::MsgPublishPattern::send() : " + what().
    int send(IpcMsg* msg) override;

    /// Never permitted: always throws, and makes no socket.
    ///
    /// @param msg      Not looked at.
    /// @param timeout  Not looked at.
    /// @return Nothing: it throws.
    /// @throw std::logic_error "receive() Operation NOT permitted for PUBLISHER".
    /// @par Logged
    /// "Error : Ostrel:: MsgPublishPattern::receive() : " + what() (kept, blank and all).
    int receive(IpcMsg* msg, long timeout) override;

    /// Makes the PUB socket and binds it, once.
    ///
    /// @throw std::runtime_error what ZMQWrapper::createEndpt() and ZMQWrapper::registerSender()
    ///     throw; the empty endpoint, where none was set, fails there. The socket stays.
    /// @par Logged
    /// Nothing of its own.
    void connectEndpoint() override;

private:
    std::vector<std::string> mFilters; // Unused; it gives publisher and subscriber one shape.
};

} // namespace ostrel

#endif
