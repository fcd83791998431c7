#ifndef OSTREL_MSGDEALERWORKERCHANNEL_H
#define OSTREL_MSGDEALERWORKERCHANNEL_H

#include "ostrel/MsgChannel.h"

#include <atomic>
#include <map>
#include <string>

namespace ostrel {

class MsgHandle;

/// A worker of a pool: receives requests, one by one with MsgChannel::receive() or in a loop that
/// calls the callback registered for each request's type, and answers the client that the
/// request's handle names. The first worker of a name in the process starts the broker.
///
/// Making one switches identity framing on for the whole process (see MsgDealerWorkerPattern).
///
/// Errors: what MsgDealerWorkerPattern throws passes through.
///
/// Threads: callbacks run on the thread that is inside ipcReceive(). terminate() is the only
/// operation that another thread may call meanwhile.
class MsgDealerWorkerChannel : public MsgChannel {
public:
    /// Throws std::logic_error "Invalid Channel name specified" for an empty `name`.
    MsgDealerWorkerChannel(std::string name);

    // Slot order is ABI: append only.
    ~MsgDealerWorkerChannel() override;
    std::string getChannelName() override;

    /// Names the address that the broker binds for clients. Returns 0; -1 once the socket exists or
    /// for more than 255 characters. Throws for an endpoint with a "*".
    int setServerEndPoint(std::string endpoint);

    /// Names the address that the broker binds for workers and that this worker connects to;
    /// otherwise as above.
    int setWorkerEndPoint(std::string endpoint);

    /// Has requests of `msgType` handled by `callback`, given the `arg` of ipcReceive(), the first
    /// part's bytes and size, this channel, and the client's handle. Bytes and handle are lent for
    /// the call.
    ///
    /// Returns 1; 0 when the type has a callback already, which stays. The pointer is not examined;
    /// requests for a null callback are dropped. Register before the loop starts.
    int registerCallBack(int msgType,
                         void (*callback)(int arg, const char* data, int size,
                                          MsgDealerWorkerChannel* channel, MsgHandle* handle));

    /// Receives and dispatches until terminate() is called; returns 0. `arg` goes to every
    /// callback as it is.
    ///
    /// The loop keeps one working message and receives append to it: from the second request on,
    /// what earlier requests left in front is taken for the identity, and the part behind that for
    /// the data. The second request's callback gets that request's identity as its data, the
    /// third's the second's client as its handle (kept: applications rely on it). To answer many
    /// different requests, receive each into a fresh message with MsgChannel::receive(); or, where
    /// every type that may arrive has a callback, terminate() in each callback and call this again.
    ///
    /// When the receive or a callback throws, the working message is not released.
    int ipcReceive(int arg, long timeoutMs);

    /// Makes the loop end after the receive in progress and the callback of what it brought.
    /// Nothing is woken: a loop that waits without limit ends after its next message. Without
    /// effect on a loop that has not started.
    void terminate();

    /// Sends the `size` bytes at `data`, copied, as a one-part message of `msgType` to the client
    /// that `handle` names; returns 1, or the send's failure.
    ///
    /// Consumes `handle`: pass clone() of one that is lent. When it throws, the handle is not
    /// released. With a null `handle` the bytes go out in the place of the identity: they reach
    /// nobody and spoil the next send, and the result is 1 all the same.
    int ipcSend(int msgType, char* data, int size, MsgHandle* handle);

private:
    // Member order is ABI.
    std::map<int, void (*)(int, const char*, int, MsgDealerWorkerChannel*, MsgHandle*)> mCallbacks;
    std::atomic<bool> mRunning;
};

} // namespace ostrel

#endif
