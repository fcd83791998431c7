#ifndef OSTREL_MSGREQUESTCLIENTCHANNEL_H
#define OSTREL_MSGREQUESTCLIENTCHANNEL_H

#include "ostrel/MsgChannel.h"

#include <string>

namespace ostrel {

/// A client of request/reply: sends a request, then receives its answer, in turn.
///
/// Errors: what MsgRequestPattern throws passes through.
class MsgRequestClientChannel : public MsgChannel {
public:
    /// Throws std::logic_error "Invalid Channel name specified" for an empty `name`.
    MsgRequestClientChannel(std::string name);

    // Slot order is ABI: append only.
    ~MsgRequestClientChannel() override;
    std::string getChannelName() override;

    /// Names the server to connect to at the first send or receive. Returns 0; -1 once the socket
    /// exists or for more than 255 characters. Throws for an endpoint with a "*".
    int setServerEndPoint(std::string endpoint);

    /// Sends the `size` bytes at `data`, copied, as a one-part message of `type`; returns 1, or the
    /// send's failure. The caller keeps `data`.
    int ipcSend(int type, char* data, int size);

    /// Receives the answer, appending to `msg`: pass an empty one. Same as MsgChannel::receive().
    int ipcReceive(IpcMsg* msg, long timeout);
};

} // namespace ostrel

#endif
