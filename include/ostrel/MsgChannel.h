#ifndef OSTREL_MSGCHANNEL_H
#define OSTREL_MSGCHANNEL_H

#include "ostrel/MsgPattern.h"

#include <string>

namespace ostrel {

class IpcMsg;
class StringMsg;

/// What an application holds: one role in one messaging pattern. The channel owns its pattern.
///
/// Text messages travel with a `topic`, a short text in front of the application's own parts: the
/// send puts it there and takes it off again, the receive hands it out separately.
///
/// Errors: bad arguments give -1 and a line on standard output; they are neither logged nor thrown.
/// What the pattern throws passes through unchanged. Timeouts: see ZMQWrapper; a positive one does
/// not wait.
///
/// Threads: a channel is used by one thread at a time.
class MsgChannel {
public:
    /// Keeps `name`; the derived channel adds its pattern.
    MsgChannel(std::string name);

    MsgChannel(const MsgChannel&) = delete;
    MsgChannel& operator=(const MsgChannel&) = delete;

    // Slot order is ABI: append only.

    /// Deletes the pattern and with it closes the socket; messages still queued are dropped.
    virtual ~MsgChannel();

    /// A copy of the name that the channel was made with.
    virtual std::string getChannelName() = 0;

    /// Sets a property of the pattern and returns its result; -1, silently, for a `value` of more
    /// than 255 characters.
    int setProperty(channel_prop_t prop, std::string value);

    /// A property of the pattern.
    std::string getProperty(channel_prop_t prop);

    /// Sends `msg` with `topic` in front of it and gives the caller its message back as it was.
    ///
    /// Returns the number of the message's own parts, so 0 for a topic alone, or the transport's 0
    /// or -1. For a null `topic`, one of more than 255 characters or a null `msg` it prints
    /// "MsgChannel::send: problem with send ..." and returns -1. When the pattern throws, the topic
    /// stays in the message as part 0.
    int send(const char* topic, StringMsg* msg);

    /// Receives into `msg` and moves the first part, up to its first zero byte, to `topic`.
    ///
    /// Returns the number of parts that remain, or the transport's 0 or -1. For a null `msg` or a
    /// `timeout` below -1 it prints "receive: invalid input" and returns -1.
    int receive(std::string& topic, StringMsg* msg, long timeout);

    /// Sends, and receives when the send moved at least one part of the message's own; otherwise
    /// returns what the send returned.
    int sendWaitResponse(const char* topic, StringMsg* request, std::string& replyTopic,
                         StringMsg* reply, long timeout);

    /// Sends a binary message; returns the number of parts.
    ///
    /// Prints "MsgChannel::send: problem with send ..." for a null `msg`,
    /// "MsgChannel::send: pvthandle is null ..." for a channel without a pattern, and returns -1.
    int send(IpcMsg* msg);

    /// Receives a binary message, appending to `msg`; returns the number of parts it then has, or
    /// the transport's 0 or -1. For a null `msg` or a `timeout` below -1 it prints
    /// "receive: invalid input" and returns -1.
    int receive(IpcMsg* msg, long timeout);

    /// Sends, and receives when the send moved at least one part; otherwise returns what the send
    /// returned.
    int sendWaitResponse(IpcMsg* request, IpcMsg* reply, long timeout);

protected:
    // Member order is ABI.
    std::string mChannelName;
    int mChannelType;      // 0 request/reply, 1 publish/subscribe, 2 dealer; read by nothing.
    MsgPattern* pvthandle; // Owned; null until the derived constructor sets it.
};

} // namespace ostrel

#endif
