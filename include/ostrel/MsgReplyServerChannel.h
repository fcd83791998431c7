#ifndef OSTREL_MSGREPLYSERVERCHANNEL_H
#define OSTREL_MSGREPLYSERVERCHANNEL_H

#include "ostrel/MsgChannel.h"

#include <atomic>
#include <map>
#include <string>

namespace ostrel {

/// A server of request/reply: receives requests one by one, or in a loop that calls the callback
/// registered for each request's type, and answers with ipcSend() before the next receive.
///
/// Errors: what MsgReplyPattern throws passes through.
///
/// Threads: callbacks run on the thread that is inside ipcReceive(long). terminate() is the only
/// operation that another thread may call meanwhile.
///
/// @code
/// ostrel::MsgReplyServerChannel server("weather");
/// server.setServerEndPoint("tcp://127.0.0.1:5555");
/// for (;;) {
///     ostrel::IpcMsg request; // A fresh one each time: receives append.
///     if (server.ipcReceive(&request, -1) > 0) {
///         server.ipcSend(request.getMsgType(), request.getMsgData(), request.getMsgSize());
///     }
/// }
/// @endcode
class MsgReplyServerChannel : public MsgChannel {
public:
    /// A channel with a MsgReplyPattern of the same name; there is no socket yet.
    ///
    /// @param name  The name, not empty.
    /// @throw std::logic_error "Invalid Channel name specified" for an empty name.
    /// @throw std::runtime_error what MsgReplyPattern::MsgReplyPattern() throws. It also logs.
    MsgReplyServerChannel(std::string name);

    // Slot order is ABI: append only.
    /// Closes the socket, if there is one; messages still queued are dropped.
    ~MsgReplyServerChannel() override;

    /// The name that the channel was made with.
    ///
    /// @return A copy of it.
    std::string getChannelName() override;

    /// Names the address to bind at the first send or receive.
    ///
    /// @param endpoint  A ZeroMQ endpoint without a "*", of at most 255 characters.
    /// @return 0; -1, silently, once the socket exists or for more than 255 characters.
    /// @throw std::logic_error "Invalid Endpoint : " + `endpoint` for one with a "*".
    /// @par Logged
    /// "Error : Ostrel::MsgReplyPattern::setProperty() : " + what().
    int setServerEndPoint(std::string endpoint);

    /// Has messages of one type handled by a callback.
    ///
    /// Register before the loop starts.
    ///
    /// @param msgType   The type; exactly that, and one callback for each.
    /// @param callback  Gets the first part's bytes, valid during the call only, their number, and
    ///     this channel, to answer on. The pointer is not examined: messages for a null
    ///     callback are dropped.
    /// @return 1; 0 when the type has a callback already, which stays.
    int registerCallBack(int msgType, void (*callback)(const char* data, int size,
                                                       MsgReplyServerChannel* channel));

    /// Receives and dispatches until terminate() is called.
    ///
    /// The loop keeps one working message and receives append to it: from the second request on, a
    /// callback gets the new request's type but the first request's bytes (kept: applications rely
    /// on it). To serve many different requests, receive each into a fresh message with
    /// ipcReceive(IpcMsg*, long), or terminate() in every callback and call this again.
    ///
    /// A request without a callback is dropped and so never answered: the next receive is then out
    /// of turn and throws. Exceptions from the receive or a callback end the loop; a result of 0 or
    /// -1 does not.
    ///
    /// @param timeout  Each receive's. -1 waits; anything else makes the loop spin, a refused one
    ///     below -1 too.
    /// @return 0.
    /// @throw std::runtime_error what MsgReplyPattern::receive(IpcMsg*, long) throws, and whatever
    ///     a callback throws.
    /// @par Printed
    /// The pattern's lines on every turn, whatever arrives; "receive: invalid input" on every turn
    /// for a `timeout` below -1.
    int ipcReceive(long timeout);

    /// Receives one request. The same as MsgChannel::receive(IpcMsg*, long).
    ///
    /// @param msg      The message to fill; it stays the caller's. Parts are appended: pass a fresh
    ///     one.
    /// @param timeout  -1 waits without limit; 0 and more do not wait.
    /// @return The number of parts that the message then has, or 0 or -1 when nothing arrived; -1
    ///     for null or a `timeout` below -1.
    /// @throw std::runtime_error what MsgReplyPattern::receive(IpcMsg*, long) throws.
    /// @par Printed
    /// "receive: invalid input" for an argument that cannot be used; otherwise the pattern's lines.
    int ipcReceive(IpcMsg* msg, long timeout);

    /// Answers the current request with a message of one part. It never waits.
    ///
    /// @param type  The message type of the answer.
    /// @param data  The bytes, which are copied; the caller keeps its buffer. Null only where
    ///     `size` is not positive.
    /// @param size  The number of bytes.
    /// @return 1, the number of parts.
    /// @throw std::logic_error "DataPart without data" for a null `data` with a positive `size`.
    /// @throw std::runtime_error what MsgReplyPattern::send(IpcMsg*) throws.
    int ipcSend(int type, char* data, int size);

    /// Makes the loop end after the receive in progress and the callback of what it brought.
    ///
    /// Nothing is woken: a loop that waits without limit ends after its next message. Without
    /// effect on a loop that has not started. Any thread may call it, and any callback.
    void terminate();

private:
    // Member order is ABI.
    std::map<int, void (*)(const char*, int, MsgReplyServerChannel*)> mCallbacks;
    std::atomic<bool> mRunning;
};

} // namespace ostrel

#endif
