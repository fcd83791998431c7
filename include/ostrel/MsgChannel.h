#ifndef OSTREL_MSGCHANNEL_H
#define OSTREL_MSGCHANNEL_H

#include "ostrel/MsgPattern.h"

#include <string>

/// Messaging patterns over ZeroMQ.
///
/// Applications use channels (MsgChannel and the classes derived from it) and messages (IpcMsg,
/// StringMsg). Each channel owns a pattern (MsgPattern), and patterns use the transport
/// (ZMQWrapper). What is the same everywhere stands here.
///
/// **Failures** are exceptions of the standard library: std::logic_error for misuse,
/// std::runtime_error for a call of ZeroMQ that failed, std::bad_alloc where there is no memory.
/// An operation with a paragraph "Logged" first writes that line to syslog, through
/// Logger::error(); several layers may each add one, the innermost first. The prefix is only in the
/// log: what() is the text given with the exception. A line that there is no memory for is given
/// up. Exceptions that do not derive from std::exception pass through unlogged.
///
/// **Results** of a send are the number of parts that went out, those of a receive the number that
/// the message then has; 0 or -1 when nothing moved. Arguments that cannot be used, and messages
/// that are not there, are results and not exceptions.
///
/// **Timeouts** are milliseconds by their name: -1 waits without limit; 0 does not wait; a positive
/// one does not wait either, but looks twice (kept: applications rely on the prompt return). Less
/// than -1 is refused.
///
/// **Printed lines** go to standard output, each with a line feed behind it, always: there is no
/// switch (kept: applications read them). Where a paragraph "Printed" names an operation's lines,
/// those of the operations that it uses come on top.
///
/// **Threads:** a channel, with its pattern and socket, and a message are used by one thread at a
/// time. What may be done at the same time says so.
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
/// A publisher's or subscriber's channel whose pattern could not be made has none. Of the
/// operations here, only send(IpcMsg*) looks for it: the others must not be called then.
///
/// Threads: a channel is used by one thread at a time.
class MsgChannel {
public:
    /// Keeps the name; the derived channel adds its pattern.
    ///
    /// @param name  The name, which the pattern gets too.
    MsgChannel(std::string name);

    /// Never copied: a channel owns its pattern.
    MsgChannel(const MsgChannel&) = delete;

    /// Never assigned.
    MsgChannel& operator=(const MsgChannel&) = delete;

    // Slot order is ABI: append only.

    /// Deletes the pattern and with it closes the socket; messages still queued are dropped.
    virtual ~MsgChannel();

    /// The name that the channel was made with.
    ///
    /// @return A copy of it.
    virtual std::string getChannelName() = 0;

    /// Sets a property of the pattern.
    ///
    /// The channels' own operations, setServerEndPoint() and the like, do it by name.
    ///
    /// @param prop   One that the pattern has.
    /// @param value  Its new value, of at most 255 characters.
    /// @return The pattern's result: see its setProperty(). For a longer `value` -1, silently, and
    ///     the pattern does not see it.
    /// @throw std::logic_error what the pattern's setProperty() throws, such as
    ///     "Invalid property - cannot be set : " + `value` and "Invalid Endpoint : " + `value`.
    /// @throw std::runtime_error what a pattern throws that binds or connects at once.
    int setProperty(channel_prop_t prop, std::string value);

    /// A property of the pattern.
    ///
    /// @param prop  One that can be read.
    /// @return A copy of its value; the empty text when it was never set.
    /// @throw std::logic_error "Invalid property queried" for another one.
    std::string getProperty(channel_prop_t prop);

    /// Sends a text message with a topic in front of it. It never waits.
    ///
    /// The message is given back as it was, unless the pattern throws: then the topic stays in it
    /// as part 0 (kept).
    ///
    /// @param topic  A text of at most 255 characters. It travels as the first part, which is what
    ///     a subscriber's filters look at.
    /// @param msg    The message; it stays the caller's. It may have no parts.
    /// @return The number of the message's own parts, so 0 for a topic alone; or the pattern's 0 or
    ///     -1; -1 for a null `topic`, a longer one or a null `msg`.
    /// @throw std::runtime_error what the pattern's send(StringMsg*) throws.
    /// @throw std::logic_error what that throws where sending is not permitted.
    /// @par Printed
    /// "MsgChannel::send: problem with send ..." for an argument that cannot be used.
    int send(const char* topic, StringMsg* msg);

    /// Receives a text message and takes the topic off it.
    ///
    /// @param topic    Gets the first part, up to its first zero byte; it stays as it was when
    ///     nothing arrives.
    /// @param msg      The message to fill; it stays the caller's. Its parts are replaced.
    /// @param timeout  -1 waits without limit; 0 and more do not wait.
    /// @return The number of parts that remain, so 0 for a topic alone too; or the pattern's 0 or
    ///     -1 when nothing arrived; -1 for a null `msg` or a `timeout` below -1.
    /// @throw std::runtime_error what the pattern's receive(StringMsg*, long) throws.
    /// @throw std::logic_error what that throws where receiving is not permitted.
    /// @par Printed
    /// "receive: invalid input" for an argument that cannot be used.
    int receive(std::string& topic, StringMsg* msg, long timeout);

    /// Sends a text message and receives the answer.
    ///
    /// It receives only when the send moved at least one part of the message's own.
    ///
    /// @param topic       The request's topic, as for send(const char*, StringMsg*).
    /// @param request     The message to send; it stays the caller's.
    /// @param replyTopic  Gets the answer's topic.
    /// @param reply       The message to fill; it stays the caller's.
    /// @param timeout     The receive's.
    /// @return The receive's result; the send's when that is 0 or less.
    /// @throw std::runtime_error what send(const char*, StringMsg*) and
    ///     receive(std::string&, StringMsg*, long) throw.
    /// @throw std::logic_error as those.
    int sendWaitResponse(const char* topic, StringMsg* request, std::string& replyTopic,
                         StringMsg* reply, long timeout);

    /// Sends a binary message. It never waits.
    ///
    /// @param msg  The message; it stays the caller's.
    /// @return The pattern's result, the number of parts; -1 for null, and for a channel without a
    ///     pattern.
    /// @throw std::runtime_error what the pattern's send(IpcMsg*) throws.
    /// @throw std::logic_error what that throws, also where sending is not permitted.
    /// @par Printed
    /// "MsgChannel::send: problem with send ..." for null,
    /// "MsgChannel::send: pvthandle is null ..." for a channel without a pattern.
    int send(IpcMsg* msg);

    /// Receives a binary message.
    ///
    /// @param msg      The message to fill; it stays the caller's. Parts are appended to its own:
    ///     pass a fresh one unless that is wanted.
    /// @param timeout  -1 waits without limit; 0 and more do not wait.
    /// @return The pattern's result: the number of parts that the message then has, or 0 or -1 when
    ///     nothing arrived; -1 for null or a `timeout` below -1.
    /// @throw std::runtime_error what the pattern's receive(IpcMsg*, long) throws.
    /// @throw std::logic_error what that throws where receiving is not permitted.
    /// @par Printed
    /// "receive: invalid input" for an argument that cannot be used.
    int receive(IpcMsg* msg, long timeout);

    /// Sends a binary message and receives the answer.
    ///
    /// It receives only when the send moved at least one part.
    ///
    /// @param request  The message to send; it stays the caller's.
    /// @param reply    The message to fill; it stays the caller's.
    /// @param timeout  The receive's.
    /// @return The receive's result; the send's when that is 0 or less.
    /// @throw std::runtime_error what send(IpcMsg*) and receive(IpcMsg*, long) throw.
    /// @throw std::logic_error as those.
    int sendWaitResponse(IpcMsg* request, IpcMsg* reply, long timeout);

protected:
    // Member order is ABI.
    std::string mChannelName; ///< The name that the channel was made with.
    int mChannelType;         ///< 0 request/reply, 1 publish/subscribe, 2 dealer; read by nothing.
    MsgPattern* pvthandle;    ///< Owned; null until the derived constructor sets it.
};

} // namespace ostrel

#endif
