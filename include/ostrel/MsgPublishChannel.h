#ifndef OSTREL_MSGPUBLISHCHANNEL_H
#define OSTREL_MSGPUBLISHCHANNEL_H

#include "ostrel/MsgChannel.h"

#include <string>

namespace ostrel {

/// A publisher: sends each message to whoever subscribes to it at that moment. Receiving on it
/// throws.
///
/// Errors: what MsgPublishPattern throws passes through, except from the constructor.
class MsgPublishChannel : public MsgChannel {
public:
    /// Never throws for a bad `name`: when the pattern cannot be made, prints
    /// "failed to create the object" and leaves a channel without one (kept). On such a channel
    /// only the name and binary sends may be used.
    MsgPublishChannel(std::string name);

    // Slot order is ABI: append only.
    ~MsgPublishChannel() override;
    std::string getChannelName() override;

    /// Binds the address at once. Returns 0; -1 for more than 255 characters. Throws for an
    /// endpoint with a "*", a second endpoint, or one that cannot be bound.
    int setPublisherEndPoint(std::string endpoint);

    /// Publishes the `size` bytes at `data`, copied, as a one-part message of `type`; returns 1, or
    /// the send's failure. The caller keeps `data`.
    int ipcSend(int type, char* data, int size);
};

} // namespace ostrel

#endif
