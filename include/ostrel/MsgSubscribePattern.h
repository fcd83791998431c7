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
/// Failures of receive() are logged with "Error : Ostrel:: MsgSubscribePattern::receive() : "
/// (kept, blank and all).
class MsgSubscribePattern : public MsgPattern {
public:
    MsgSubscribePattern(const std::string& name);

    // Slot order is ABI: append only.
    ~MsgSubscribePattern() override;

    /// PROP_PUBLISHER_ENDPOINT keeps the endpoint and connects; PROP_SUBSCRIBE adds a filter;
    /// PROP_UNSUBSCRIBE removes one. Returns 0.
    ///
    /// Besides MsgPattern's, throws std::logic_error "Publisher Endpoint already set : " + the
    /// stored endpoint once there is a socket, "Filter already exists", "Cannot remove unset
    /// filter".
    int setProperty(channel_prop_t prop, const std::string& value) override;

    /// Only PROP_PUBLISHER_ENDPOINT can be read.
    std::string getProperty(channel_prop_t prop) override;

    /// Never permitted: throws std::logic_error "send() Operation NOT permitted for SUBSCRIBER",
    /// logged with "Error : Ostrel::MsgSubscribePattern::send() : ".
    int send(StringMsg* msg) override;
    int receive(StringMsg* msg, long timeout) override;

    /// Never permitted, as above.
    int send(IpcMsg* msg) override;
    int receive(IpcMsg* msg, long timeout) override;
    void connectEndpoint() override;

private:
    std::vector<std::string> mFilters; // In the order in which they were added, each once.
};

} // namespace ostrel

#endif
