#ifndef OSTREL_MSGREQUESTCLIENTCHANNEL_H
#define OSTREL_MSGREQUESTCLIENTCHANNEL_H

#include "ostrel/MsgChannel.h"

#include <string>

namespace ostrel {

/// A client of request/reply: sends a request, then receives its answer, in turn.
///
/// Errors: what MsgRequestPattern throws passes through.
///
/// Threads: a channel is used by one thread at a time.
///
/// @code
/// ostrel::MsgRequestClientChannel client("weather");
/// client.setServerEndPoint("tcp://127.0.0.1:5555");
/// char question[] = "north";
/// client.ipcSend(7, question, 5);
/// ostrel::IpcMsg answer;
/// client.ipcReceive(&answer, -1);
/// std::fwrite(answer.getMsgData(), 1, static_cast<std::size_t>(answer.getMsgSize()), stdout);
/// @endcode
class MsgRequestClientChannel : public MsgChannel {
public:
    /// A channel with a MsgRequestPattern of the same name; there is no socket yet.
    ///
    /// @param name  The name, not empty.
    /// @throw std::logic_error "Invalid Channel name specified" for an empty name.
    /// @throw std::runtime_error what MsgRequestPattern::MsgRequestPattern() throws. It also logs.
    MsgRequestClientChannel(std::string name);

    // Slot order is ABI: append only.
    /// Closes the socket, if there is one; messages still queued are dropped.
    ~MsgRequestClientChannel() override;

    /// The name that the channel was made with.
    ///
    /// @return A copy of it.
    std::string getChannelName() override;

    /// Names the server to connect to at the first send or receive.
    ///
    /// @param endpoint  A ZeroMQ endpoint without a "*", of at most 255 characters.
    /// @return 0; -1, silently, once the socket exists or for more than 255 characters.
    /// @throw std::logic_error "Invalid Endpoint : " + `endpoint` for one with a "*".
    /// @par Logged
    /// "Error : Ostrel::MsgRequestPattern::setProperty() : " + what().
    int setServerEndPoint(std::string endpoint);

    /// Sends a request of one part. It never waits.
    ///
    /// @param type  The message type, by which the server finds its callback.
    /// @param data  The bytes, which are copied; the caller keeps its buffer. Null only where
    ///     `size` is not positive.
    /// @param size  The number of bytes.
    /// @return 1, the number of parts.
    /// @throw std::logic_error "DataPart without data" for a null `data` with a positive `size`.
    /// @throw std::runtime_error what MsgRequestPattern::send(IpcMsg*) throws.
    int ipcSend(int type, char* data, int size);

    /// Receives the answer. The same as MsgChannel::receive(IpcMsg*, long).
    ///
    /// @param msg      The message to fill; it stays the caller's. Parts are appended:
    ///     pass an empty one.
    /// @param timeout  -1 waits without limit; 0 and more do not wait.
    /// @return The number of parts that the message then has, or 0 or -1 when nothing arrived; -1
    ///     for null or a `timeout` below -1.
    /// @throw std::runtime_error what MsgRequestPattern::receive(IpcMsg*, long) throws.
    /// @par Printed
    /// "receive: invalid input" for an argument that cannot be used; otherwise the pattern's lines.
    int ipcReceive(IpcMsg* msg, long timeout);
};

} // namespace ostrel

#endif
