#ifndef OSTREL_MSGDEALERCLIENTCHANNEL_H
#define OSTREL_MSGDEALERCLIENTCHANNEL_H

#include "ostrel/MsgChannel.h"

#include <string>

namespace ostrel {

/// An asynchronous client of a worker pool: sends requests and receives replies when it chooses,
/// in any order.
///
/// Errors: what MsgDealerClientPattern throws passes through.
///
/// Threads: a channel is used by one thread at a time.
///
/// @code
/// ostrel::MsgDealerClientChannel client("weather");
/// client.setServerEndPoint("tcp://127.0.0.1:5557");
/// char north[] = "north";
/// char south[] = "south";
/// client.ipcSend(7, north, 5);
/// client.ipcSend(7, south, 5);
/// for (int i = 0; i < 2; ++i) {
///     ostrel::IpcMsg reply; // A fresh one each time: receives append.
///     client.ipcReceive(&reply, -1);
/// }
/// @endcode
class MsgDealerClientChannel : public MsgChannel {
public:
    /// A channel with a MsgDealerClientPattern of the same name; there is no socket yet.
    ///
    /// @param name  The name, not empty.
    /// @throw std::logic_error "Invalid Channel name specified" for an empty name.
    /// @throw std::runtime_error what MsgDealerClientPattern::MsgDealerClientPattern() throws. It
    /// also logs.
    MsgDealerClientChannel(std::string name);

    // Slot order is ABI: append only.
    /// Closes the socket, if there is one; messages still queued are dropped.
    ~MsgDealerClientChannel() override;

    /// The name that the channel was made with.
    ///
    /// @return A copy of it.
    std::string getChannelName() override;

    /// Names the broker to connect to at the first send or receive.
    ///
    /// @param endpoint  A ZeroMQ endpoint without a "*", of at most 255 characters.
    /// @return 0; -1, silently, once the socket exists or for more than 255 characters.
    /// @throw std::logic_error "Invalid Endpoint : " + `endpoint` for one with a "*".
    /// @par Logged
    /// "Error : Ostrel::MsgDealerClientPattern::setProperty() : " + what().
    int setServerEndPoint(std::string endpoint);

    /// Sends a request of one part. It never waits.
    ///
    /// @param msgType  The message type, by which workers find their callback.
    /// @param data  The bytes, which are copied; the caller keeps its buffer. Null only where
    ///     `size` is not positive.
    /// @param size  The number of bytes.
    /// @return 1, the number of parts.
    /// @throw std::logic_error "DataPart without data" for a null `data` with a positive `size`.
    /// @throw std::runtime_error what MsgDealerClientPattern::send(IpcMsg*) throws.
    int ipcSend(int msgType, char* data, int size);

    /// Receives the next reply. The same as MsgChannel::receive(IpcMsg*, long).
    ///
    /// @param msg        The message to fill; it stays the caller's. Parts are appended: pass an
    ///     empty one.
    /// @param timeoutMs  -1 waits without limit; 0 and more do not wait.
    /// @return The number of parts that the message then has, or 0 or -1 when nothing arrived; -1
    ///     for null or a `timeoutMs` below -1.
    /// @throw std::runtime_error what MsgDealerClientPattern::receive(IpcMsg*, long) throws.
    /// @par Printed
    /// "receive: invalid input" for an argument that cannot be used; otherwise the pattern's lines.
    int ipcReceive(IpcMsg* msg, long timeoutMs);
};

} // namespace ostrel

#endif
