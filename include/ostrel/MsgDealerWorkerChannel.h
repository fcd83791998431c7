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
///
/// @code
/// ostrel::MsgDealerWorkerChannel worker("weather");
/// worker.setServerEndPoint("tcp://127.0.0.1:5557"); // For clients.
/// worker.setWorkerEndPoint("tcp://127.0.0.1:5558"); // For workers.
/// for (;;) {
///     ostrel::IpcMsg request; // A fresh one each time: receives append.
///     if (worker.receive(&request, -1) > 0) {
///         worker.ipcSend(request.getMsgType(), request.getMsgData(), request.getMsgSize(),
///                        request.getHandle()->clone());
///     }
/// }
/// @endcode
class MsgDealerWorkerChannel : public MsgChannel {
public:
    /// A channel with a MsgDealerWorkerPattern of the same name; there is no socket yet.
    ///
    /// @param name  The name, not empty.
    /// @throw std::logic_error "Invalid Channel name specified" for an empty name.
    /// @throw std::runtime_error what MsgDealerWorkerPattern::MsgDealerWorkerPattern() throws. It
    /// also logs.
    MsgDealerWorkerChannel(std::string name);

    // Slot order is ABI: append only.
    /// Closes the socket, if there is one; messages still queued are dropped.
    ~MsgDealerWorkerChannel() override;

    /// The name that the channel was made with.
    ///
    /// @return A copy of it.
    std::string getChannelName() override;

    /// Names the address that the broker binds for clients.
    ///
    /// @param endpoint  A ZeroMQ endpoint without a "*", of at most 255 characters.
    /// @return 0; -1, silently, once the socket exists or for more than 255 characters.
    /// @throw std::logic_error "Invalid Endpoint : " + `endpoint` for one with a "*".
    /// @par Logged
    /// "Error : Ostrel::MsgDealerWorkerPattern::setProperty() : " + what().
    int setServerEndPoint(std::string endpoint);

    /// Names the address that the broker binds for workers and that this worker connects to.
    ///
    /// @param endpoint  A ZeroMQ endpoint without a "*", of at most 255 characters.
    /// @return 0; -1, silently, once the socket exists or for more than 255 characters.
    /// @throw std::logic_error "Invalid Endpoint : " + `endpoint` for one with a "*".
    /// @par Logged
    /// "Error : Ostrel::MsgDealerWorkerPattern::setProperty() : " + what().
    int setWorkerEndPoint(std::string endpoint);

    /// Has requests of one type handled by a callback.
    ///
    /// Register before the loop starts.
    ///
    /// @param msgType   The type; exactly that, and one callback for each.
    /// @param callback  Gets the `arg` of ipcReceive(), the first part's bytes and their number,
    ///     this channel, and the client's handle. Bytes and handle are lent for the call: pass
    ///     clone() of the handle to ipcSend(). The pointer is not examined:
    ///     requests for a null callback are dropped.
    /// @return 1; 0 when the type has a callback already, which stays.
    int registerCallBack(int msgType,
                         void (*callback)(int arg, const char* data, int size,
                                          MsgDealerWorkerChannel* channel, MsgHandle* handle));

    /// Receives and dispatches until terminate() is called.
    ///
    /// The loop keeps one working message and receives append to it: from the second request on,
    /// what earlier requests left in front is taken for the identity, and the part behind that for
    /// the data. The second request's callback gets that request's identity as its data, the
    /// third's the second's client as its handle (kept: applications rely on it). To answer many
    /// different requests, receive each into a fresh message with MsgChannel::receive(); or, where
    /// every type that may arrive has a callback, terminate() in each callback and call this again.
    ///
    /// A request without a callback is dropped. Exceptions from the receive or a callback end the
    /// loop, and the working message is then not released (kept: the handle that a callback was
    /// lent stays good); a result of 0 or -1 does not end it.
    ///
    /// @param arg        Goes to every callback as it is.
    /// @param timeoutMs  Each receive's. -1 waits; anything else makes the loop spin, a refused one
    ///     below -1 too.
    /// @return 0.
    /// @throw std::runtime_error what MsgDealerWorkerPattern::receive(IpcMsg*, long) throws, and
    ///     whatever a callback throws.
    /// @par Printed
    /// On every turn "MsgDealerWorkerChannel::ipcReceive before receive", the pattern's lines, and
    /// "MsgDealerWorkerChannel::ipcReceive got the msg retCode = " with the result. When a request
    /// arrived, `MsgDealerWorkerChannel::ipcReceive got the msg retCode = RESULT type TYPE`; for
    /// each callback, in the order of the types, `--> msgType TYPE - pointer ADDRESS`, where the
    /// address of null is "(nil)"; and "MsgDealerWorkerChannel::ipcReceive found call back" or
    /// "MsgDealerWorkerChannel::ipcReceive could not find it".
    int ipcReceive(int arg, long timeoutMs);

    /// Makes the loop end after the receive in progress and the callback of what it brought.
    ///
    /// Nothing is woken: a loop that waits without limit ends after its next message. Without
    /// effect on a loop that has not started. Any thread may call it, and any callback.
    void terminate();

    /// Sends a message of one part to a client. It never waits.
    ///
    /// @param msgType  The message type of the answer.
    /// @param data     The bytes, which are copied; the caller keeps its buffer. Null only where
    ///     `size` is not positive.
    /// @param size     The number of bytes.
    /// @param handle   The client's MsgDealerWorkerHandle. It is consumed: pass clone() of one that
    ///     is lent. When the send throws it is not released, and neither is the message (kept:
    ///     applications still have the handle of an answer that could not be sent). With null the
    ///     bytes go out in the place of the identity: they reach nobody and spoil the next send,
    ///     and the result is 1 all the same.
    /// @return 1, the number of parts.
    /// @throw std::logic_error "DataPart without data" for a null `data` with a positive `size`;
    ///     the handle is then still the caller's.
    /// @throw std::runtime_error what MsgDealerWorkerPattern::send(IpcMsg*) throws.
    /// @par Printed
    /// The lines of MsgDealerWorkerPattern::send(IpcMsg*).
    int ipcSend(int msgType, char* data, int size, MsgHandle* handle);

private:
    // Member order is ABI.
    std::map<int, void (*)(int, const char*, int, MsgDealerWorkerChannel*, MsgHandle*)> mCallbacks;
    std::atomic<bool> mRunning;
};

} // namespace ostrel

#endif
