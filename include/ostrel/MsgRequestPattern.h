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
/// send() and receive() log nothing of their own. receive() prints
/// "in RequestReplayMsgPattern receive", then "try to connect to endpoint" when it has to connect
/// first, then "in the receive ...".
class MsgRequestPattern : public MsgPattern {
public:
    MsgRequestPattern(const std::string& name);

    // Slot order is ABI: append only.
    ~MsgRequestPattern() override;
    int setProperty(channel_prop_t prop, const std::string& value) override;
    std::string getProperty(channel_prop_t prop) override;
    int send(StringMsg* msg) override;
    int receive(StringMsg* msg, long timeout) override;
    int send(IpcMsg* msg) override;
    int receive(IpcMsg* msg, long timeout) override;
    void connectEndpoint() override;
};

} // namespace ostrel

#endif
