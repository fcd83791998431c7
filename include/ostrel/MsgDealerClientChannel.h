#ifndef OSTREL_MSGDEALERCLIENTCHANNEL_H
#define OSTREL_MSGDEALERCLIENTCHANNEL_H

#include "ostrel/MsgChannel.h"

#include <string>

namespace ostrel {

/// An asynchronous client of a worker pool: sends requests and receives replies when it chooses,
/// in any order.
///
/// Errors: what MsgDealerClientPattern throws passes through.
class MsgDealerClientChannel : public MsgChannel {
public:
    /// Throws std::logic_error "Invalid Channel name specified" for an empty `name`.
    MsgDealerClientChannel(std::string name);

    // Slot order is ABI: append only.
    ~MsgDealerClientChannel() override;
    std::string getChannelName() override;

    /// Names the broker to connect to at the first send or receive. Returns 0; -1 once the socket
    /// exists or for more than 255 characters. Throws for an endpoint with a "*".
    int setServerEndPoint(std::string endpoint);

    /// Sends the `size` bytes at `data`, copied, as a one-part message of `msgType`; returns 1, or
    /// the send's failure. The caller keeps `data`.
    int ipcSend(int msgType, char* data, int size);

    /// Receives the next reply, appending to `msg`: pass an empty one. Same as
    /// MsgChannel::receive().
    int ipcReceive(IpcMsg* msg, long timeoutMs);
};

} // namespace ostrel

#endif
