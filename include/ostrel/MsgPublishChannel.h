#ifndef OSTREL_MSGPUBLISHCHANNEL_H
#define OSTREL_MSGPUBLISHCHANNEL_H

#include "ostrel/MsgChannel.h"

#include <string>

namespace ostrel {

/// A publisher: sends each message to whoever subscribes to it at that moment. Receiving on it
/// throws.
///
/// Errors: what MsgPublishPattern throws passes through, except from the constructor.
///
/// Threads: a channel is used by one thread at a time.
///
/// @code
/// ostrel::MsgPublishChannel publisher("weather");
/// publisher.setPublisherEndPoint("tcp://127.0.0.1:5556");
/// char reading[] = "21.5";
/// publisher.ipcSend(7, reading, 4);
/// @endcode
class MsgPublishChannel : public MsgChannel {
public:
    /// A channel with a MsgPublishPattern of the same name; there is no socket yet.
    ///
    /// Never throws for a bad name: when the pattern cannot be made, it leaves a channel without
    /// one (kept: applications construct first and look at the results). On such a channel only the
    /// name and binary sends may be used.
    ///
    /// @param name  The name, not empty.
    /// @par Printed
    /// "failed to create the object" when there is no pattern.
    /// @par Logged
    /// What MsgPattern::MsgPattern() logs, such as
    /// "Error : Ostrel::MsgPattern::MsgPattern() : Invalid Channel name specified".
    MsgPublishChannel(std::string name);

    // Slot order is ABI: append only.
    /// Closes the socket, if there is one; messages still queued are dropped.
    ~MsgPublishChannel() override;

    /// The name that the channel was made with.
    ///
    /// @return A copy of it.
    std::string getChannelName() override;

    /// Names the publisher's address and binds it at once.
    ///
    /// @param endpoint  A ZeroMQ endpoint without a "*", of at most 255 characters.
    /// @return 0; -1, silently, for more than 255 characters.
    /// @throw std::logic_error "Invalid Endpoint : " + `endpoint` for one with a "*";
    ///     "Publisher Endpoint already set : " + the first endpoint for a second one, also when the
    ///     first could not be bound.
    /// @throw std::runtime_error what MsgPublishPattern::connectEndpoint() throws.
    /// @par Logged
    /// "Error : Ostrel::MsgPublishPattern::setProperty() : " + what().
    int setPublisherEndPoint(std::string endpoint);

    /// Publishes a message of one part. It never waits; with no subscriber there, it is dropped.
    ///
    /// @param type  The message type, by which subscribers find their callback.
    /// @param data  The bytes, which are copied; the caller keeps its buffer. Null only where
    ///     `size` is not positive.
    /// @param size  The number of bytes.
    /// @return 1; -1 for a channel without a pattern.
    /// @throw std::logic_error "DataPart without data" for a null `data` with a positive `size`.
    /// @throw std::runtime_error what MsgPublishPattern::send(IpcMsg*) throws.
    /// @par Printed
    /// "MsgChannel::send: pvthandle is null ..." for a channel without a pattern.
    int ipcSend(int type, char* data, int size);
};

} // namespace ostrel

#endif
