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
///
/// @code
/// ostrel::MsgSubscribeChannel subscriber("weather");
/// subscriber.subscribe("north"); // Text messages whose topic begins so.
/// subscriber.setPublisherEndPoint("tcp://127.0.0.1:5556");
/// std::string topic;
/// ostrel::StringMsg message;
/// if (subscriber.receive(topic, &message, -1) > 0) {
///     std::puts((topic + ": " + message[0]).c_str());
/// }
/// @endcode
class MsgSubscribeChannel : public MsgChannel {
public:
    /// A channel with a MsgSubscribePattern of the same name; there is no socket yet.
    ///
    /// Never throws for a bad name: when the pattern cannot be made, it leaves a channel without
    /// one (kept: applications construct first and look at the results). On such a channel only the
    /// name may be used.
    ///
    /// @param name  The name, not empty.
    /// @par Printed
    /// "failed to create the object" when there is no pattern.
    /// @par Logged
    /// What MsgPattern::MsgPattern() logs, such as
    /// "Error : Ostrel::MsgPattern::MsgPattern() : Invalid Channel name specified".
    MsgSubscribeChannel(std::string name);

    // Slot order is ABI: append only.
    /// Closes the socket, if there is one; messages not yet received are dropped.
    ~MsgSubscribeChannel() override;

    /// The name that the channel was made with.
    ///
    /// @return A copy of it.
    std::string getChannelName() override;

    /// Names the publisher and connects at once, with the filters subscribed so far; with none, to
    /// everything.
    ///
    /// @param endpoint  A ZeroMQ endpoint without a "*", of at most 255 characters.
    /// @return 0; -1, silently, for more than 255 characters.
    /// @throw std::logic_error "Invalid Endpoint : " + `endpoint` for one with a "*";
    ///     "Publisher Endpoint already set : " + the first endpoint for a second one, also when the
    ///     first could not be connected to.
    /// @throw std::runtime_error what MsgSubscribePattern::connectEndpoint() throws.
    /// @par Logged
    /// "Error : Ostrel::MsgSubscribePattern::setProperty() : " + what().
    int setPublisherEndPoint(std::string endpoint);

    /// Adds a filter. Without effect on what is received once the endpoint is set (kept).
    ///
    /// @param topic  The first bytes of the first frame, which is a text message's topic or a
    ///     binary message's header; at most 255. The empty one lets everything through.
    /// @return 0; -1, silently, for more than 255 characters.
    /// @throw std::logic_error "Filter already exists".
    /// @par Logged
    /// "Error : Ostrel::MsgSubscribePattern::setProperty() : " + what().
    int subscribe(std::string topic);

    /// Removes a filter again, before the endpoint is set. Later it has no effect on what is
    /// received (kept).
    ///
    /// @param topic  The filter, exactly as it was added.
    /// @return 0; -1, silently, for more than 255 characters.
    /// @throw std::logic_error "Cannot remove unset filter".
    /// @par Logged
    /// "Error : Ostrel::MsgSubscribePattern::setProperty() : " + what().
    int unsubscribe(std::string topic);

    /// Has messages of one type handled by a callback.
    ///
    /// Register before the loop starts.
    ///
    /// @param msgType   The type; exactly that, and one callback for each.
    /// @param callback  Gets the first part's bytes, valid during the call only, their number, and
    ///     this channel. The pointer is not examined: messages for a null callback are dropped.
    /// @return 1; 0 when the type has a callback already, which stays.
    int registerCallBack(int msgType, void (*callback)(const char* data, int size,
                                                       MsgSubscribeChannel* channel));

    /// Receives and dispatches until terminate() is called.
    ///
    /// The loop keeps one working message and receives append to it: from the second message on, a
    /// callback gets the new message's type but the first message's bytes (kept: applications rely
    /// on it). To read many different messages, receive each into a fresh one with
    /// MsgChannel::receive(); or, where every type that may arrive has a callback, terminate() in
    /// each callback and call this again.
    ///
    /// A message without a callback is dropped. Exceptions from the receive or a callback end the
    /// loop; a result of 0 or -1 does not.
    ///
    /// @param timeout  Each receive's. -1 waits; anything else makes the loop spin, a refused one
    ///     below -1 too.
    /// @return 0.
    /// @throw std::runtime_error what MsgSubscribePattern::receive(IpcMsg*, long) throws, and
    ///     whatever a callback throws.
    /// @par Printed
    /// The transport's lines on every turn, whatever arrives; "receive: invalid input" on every
    /// turn for a `timeout` below -1.
    int ipcReceive(long timeout);

    /// Makes the loop end after the receive in progress and the callback of what it brought.
    ///
    /// Nothing is woken: a loop that waits without limit ends after its next message. Without
    /// effect on a loop that has not started. Any thread may call it, and any callback.
    void terminate();

private:
    // Member order is ABI.
    std::map<int, void (*)(const char*, int, MsgSubscribeChannel*)> mCallbacks;
    std::atomic<bool> mRunning;
};

} // namespace ostrel

#endif
