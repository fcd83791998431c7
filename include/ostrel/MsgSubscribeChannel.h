#ifndef OSTREL_MSGSUBSCRIBECHANNEL_H
#define OSTREL_MSGSUBSCRIBECHANNEL_H

#include "ostrel/MsgChannel.h"

#include <atomic>
#include <map>
#include <string>

namespace ostrel {

/// A subscriber: receives what its filters let through, in a loop that calls the callback
/// registered for each message's type, or one by one with MsgChannel::receive(). Sending on it
/// throws.
///
/// Subscribe first, set the endpoint last: it connects with the filters of that moment.
///
/// Errors: what MsgSubscribePattern throws passes through, except from the constructor.
///
/// Threads: callbacks run on the thread that is inside ipcReceive(long). terminate() is the only
/// operation that another thread may call meanwhile.
class MsgSubscribeChannel : public MsgChannel {
public:
    /// Never throws for a bad `name`: when the pattern cannot be made, prints
    /// "failed to create the object" and leaves a channel without one (kept). On such a channel
    /// only the name may be used.
    MsgSubscribeChannel(std::string name);

    // Slot order is ABI: append only.
    ~MsgSubscribeChannel() override;
    std::string getChannelName() override;

    /// Connects to the publisher at once, with the filters subscribed so far; with none, to
    /// everything. Returns 0; -1 for more than 255 characters. Throws for an endpoint with a "*",
    /// a second endpoint, or one that cannot be connected to.
    int setPublisherEndPoint(std::string endpoint);

    /// Adds a filter: the prefix of the first frame, which is a text message's topic or a binary
    /// message's header. Returns 0; -1 for more than 255 characters. Throws std::logic_error
    /// "Filter already exists". Without effect on what is received once the endpoint is set.
    int subscribe(std::string topic);

    /// Removes a filter again, before the endpoint is set. Throws std::logic_error
    /// "Cannot remove unset filter".
    int unsubscribe(std::string topic);

    /// Has messages of `msgType` handled by `callback`, given the first part's bytes and size and
    /// this channel; the bytes are valid during the call only.
    ///
    /// Returns 1; 0 when the type has a callback already, which stays. The pointer is not examined;
    /// messages for a null callback are dropped. Register before the loop starts.
    int registerCallBack(int msgType, void (*callback)(const char* data, int size,
                                                       MsgSubscribeChannel* channel));

    /// Receives and dispatches until terminate() is called; returns 0.
    ///
    /// The loop keeps one working message and receives append to it: from the second message on, a
    /// callback gets the new message's type but the first message's bytes (kept: applications rely
    /// on it). To read many different messages, receive each into a fresh one with
    /// MsgChannel::receive(); or, where every type that may arrive has a callback, terminate() in
    /// each callback and call this again.
    int ipcReceive(long timeout);

    /// Makes the loop end after the receive in progress and the callback of what it brought.
    /// Nothing is woken: a loop that waits without limit ends after its next message. Without
    /// effect on a loop that has not started.
    void terminate();

private:
    // Member order is ABI.
    std::map<int, void (*)(const char*, int, MsgSubscribeChannel*)> mCallbacks;
    std::atomic<bool> mRunning;
};

} // namespace ostrel

#endif
