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
class MsgReplyServerChannel : public MsgChannel {
public:
    /// Throws std::logic_error "Invalid Channel name specified" for an empty `name`.
    MsgReplyServerChannel(std::string name);

    // Slot order is ABI: append only.
    ~MsgReplyServerChannel() override;
    std::string getChannelName() override;

    /// Names the address to bind at the first send or receive. Returns 0; -1 once the socket exists
    /// or for more than 255 characters. Throws for an endpoint with a "*".
    int setServerEndPoint(std::string endpoint);

    /// Has requests of `msgType` handled by `callback`, given the first part's bytes and size and
    /// this channel; the bytes are valid during the call only.
    ///
    /// Returns 1; 0 when the type has a callback already, which stays. The pointer is not examined;
    /// messages for a null callback are dropped. Register before the loop starts.
    int registerCallBack(int msgType, void (*callback)(const char* data, int size,
                                                       MsgReplyServerChannel* channel));

    /// Receives and dispatches until terminate() is called; returns 0.
    ///
    /// The loop keeps one working message and receives append to it: from the second request on, a
    /// callback gets the new request's type but the first request's bytes (kept: applications rely
    /// on it). To serve many different requests, receive each into a fresh message with
    /// ipcReceive(IpcMsg*, long), or terminate() in every callback and call this again.
    ///
    /// A request without a callback is dropped and so never answered: the next receive is then out
    /// of turn and throws. Exceptions from the receive or a callback end the loop.
    /// A `timeout` of 0 or more makes the loop spin; -1 waits.
    int ipcReceive(long timeout);

    /// Receives one request, appending to `msg`: pass a fresh one. Same as MsgChannel::receive().
    int ipcReceive(IpcMsg* msg, long timeout);

    /// Answers the current request with the `size` bytes at `data`, copied, as a one-part message
    /// of `type`; returns 1, or the send's failure. The caller keeps `data`.
    int ipcSend(int type, char* data, int size);

    /// Makes the loop end after the receive in progress and the callback of what it brought.
    /// Nothing is woken: a loop that waits without limit ends after its next message. Without
    /// effect on a loop that has not started.
    void terminate();

private:
    // Member order is ABI.
    std::map<int, void (*)(const char*, int, MsgReplyServerChannel*)> mCallbacks;
    std::atomic<bool> mRunning;
};

} // namespace ostrel

#endif
