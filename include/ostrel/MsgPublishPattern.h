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
/// Failures of send() are logged with "Error : Ostrel::MsgPublishPattern::send() : ".
class MsgPublishPattern : public MsgPattern {
public:
    MsgPublishPattern(const std::string& name);

    // Slot order is ABI: append only.
    ~MsgPublishPattern() override;

    /// Keeps the endpoint and binds it. Returns 0.
    ///
    /// Besides MsgPattern's, throws std::logic_error "Publisher Endpoint already set : " + the
    /// stored endpoint once there is a socket, also one that could not be bound.
    int setProperty(channel_prop_t prop, const std::string& value) override;
    std::string getProperty(channel_prop_t prop) override;
    int send(StringMsg* msg) override;

    /// Never permitted: throws std::logic_error "receive() Operation NOT permitted for PUBLISHER",
    /// logged with "Error : Ostrel:: MsgPublishPattern::receive() : " (kept, blank and all).
    int receive(StringMsg* msg, long timeout) override;

    /// For a null `msg` prints "MsgPublishPattern::send: inMsg is null" and returns -1.
    int send(IpcMsg* msg) override;

    /// Never permitted, as above.
    int receive(IpcMsg* msg, long timeout) override;
    void connectEndpoint() override;

private:
    std::vector<std::string> mFilters; // Unused; it gives publisher and subscriber one shape.
};

} // namespace ostrel

#endif
