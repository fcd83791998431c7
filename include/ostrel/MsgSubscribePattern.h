#ifndef OSTREL_MSGSUBSCRIBEPATTERN_H
#define OSTREL_MSGSUBSCRIBEPATTERN_H

#include "ostrel/MsgPattern.h"

#include <string>
#include <vector>

namespace ostrel {

/// The subscriber: a SUB socket that connects to the publisher's endpoint and only receives.
///
/// Filters come first, the endpoint last: setting the endpoint connects at once and gives the
/// socket the filters of that moment, or everything when there are none. Filters that are added or
/// removed later change the list and nothing else (kept: applications rely on it). A filter is a
/// prefix of the first frame's bytes.
///
/// Threads: a pattern is used by one thread at a time.
class MsgSubscribePattern : public MsgPattern {
public:
    /// Keeps the name and obtains the transport; there is no socket yet, and no filter.
    ///
    /// @param name  The name, not empty.
    /// @throw std::logic_error "Invalid Channel name specified" for an empty name.
    /// @throw std::runtime_error what MsgPattern::MsgPattern() throws, which also logs.
    MsgSubscribePattern(const std::string& name);

    // Slot order is ABI: append only.
    /// Closes the socket, if there is one; messages not yet received are dropped.
    ~MsgSubscribePattern() override;

    /// Keeps the publisher's endpoint and connects, or edits the list of filters.
    ///
    /// An endpoint that could not be connected to is set all the same: there is a socket then, and
    /// no second try.
    ///
    /// @param prop   PROP_PUBLISHER_ENDPOINT keeps the endpoint and connects; PROP_SUBSCRIBE adds a
    ///     filter; PROP_UNSUBSCRIBE removes one.
    /// @param value  The endpoint, or the filter's bytes.
    /// @return 0.
    /// @throw std::logic_error "Invalid property - cannot be set : " + `value` for another `prop`;
    ///     for the endpoint "Invalid Endpoint : " + `value` where it has a "*", and
    ///     "Publisher Endpoint already set : " + the stored endpoint once there is a socket; for a
    ///     filter "Filter already exists" and "Cannot remove unset filter".
    /// @throw std::runtime_error what connectEndpoint() throws.
    /// @par Logged
    /// "Error : Ostrel::MsgSubscribePattern::setProperty() : " + what().
    int setProperty(channel_prop_t prop, const std::string& value) override;

    /// The publisher's endpoint. The filters cannot be read.
    ///
    /// @param prop  PROP_PUBLISHER_ENDPOINT.
    /// @return A copy of the endpoint; the empty text when it was never set.
    /// @throw std::logic_error "Invalid property queried" for another `prop`.
    /// @par Logged
    /// "Error : Ostrel::MsgSubscribePattern::getProperty() : " + what().
    std::string getProperty(channel_prop_t prop) override;

    /// Never permitted: always throws, and makes no socket.
    ///
    /// @param msg  Not looked at.
    /// @return Nothing: it throws.
    /// @throw std::logic_error "send() Operation NOT permitted for SUBSCRIBER".
    /// @par Logged
    /// "Error : Ostrel::MsgSubscribePattern::send() : " + what().
    int send(StringMsg* msg) override;

    /// Receives a text message; connects first where that has not happened.
    ///
    /// @param msg      The message to fill; it stays the caller's. Its parts are replaced.
    /// @param timeout  -1 waits without limit; 0 and more do not wait.
    /// @return The number of parts, or 0 or -1 when nothing arrived: see
    ///     ZMQWrapper::receive(void*, StringMsg*, long) const.
    /// @throw std::runtime_error what connectEndpoint() and that throw.
    /// @par Logged
    /// "Error : Ostrel:: MsgSubscribePattern::receive() : " + what() (kept, blank and all).
    int receive(StringMsg* msg, long timeout) override;

    /// Never permitted: always throws, and makes no socket.
    ///
    /// @param msg  Not looked at.
    /// @return Nothing: it throws.
    /// @throw std::logic_error "send() Operation NOT permitted for SUBSCRIBER".
    /// @par Logged
    /// "Error : Ostrel::MsgSubscribePattern::send() : " + what().
    int send(IpcMsg* msg) override;

    /// Receives a binary message; connects first where that has not happened.
    ///
    /// @param msg      The message to fill; it stays the caller's. Parts are appended to its own.
    /// @param timeout  -1 waits without limit; 0 and more do not wait.
    /// @return The number of parts that it then has, or 0 or -1 when nothing arrived: see
    ///     ZMQWrapper::receive(void*, IpcMsg*&, long) const.
    /// @throw std::runtime_error what connectEndpoint() and that throw.
    /// @par Logged
    /// "Error : Ostrel:: MsgSubscribePattern::receive() : " + what() (kept, blank and all).
    int receive(IpcMsg* msg, long timeout) override;

    /// Makes the SUB socket, gives it the filters in the order in which they were added, or the
    /// empty one when there are none, and connects it, once.
    ///
    /// @throw std::runtime_error what ZMQWrapper::createEndpt(), ZMQWrapper::setOption() and
    ///     ZMQWrapper::registerReceiver() throw; the empty endpoint, where none was set, fails
    ///     there. The socket stays.
    /// @par Logged
    /// Nothing of its own.
    void connectEndpoint() override;

private:
    std::vector<std::string> mFilters; // In the order in which they were added, each once.
};

} // namespace ostrel

#endif
