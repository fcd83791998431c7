#ifndef OSTREL_ZMQWRAPPER_H
#define OSTREL_ZMQWRAPPER_H

#include <map>
#include <string>

namespace ostrel {

class IpcMsg;
class StringMsg;

/// The socket options that the transport knows.
enum option_t : int {
    OPT_SUBSCRIBE = 0,   ///< Add a topic filter: the prefix bytes; the empty text takes everything.
    OPT_UNSUBSCRIBE = 1, ///< Remove a topic filter: the prefix bytes.
    OPT_IDENTITY = 2     ///< The socket's routing identity; to be set before connecting.
};

/// The transport: owner of the process's one ZeroMQ context, and the only place that talks to
/// ZeroMQ, a running broker apart.
///
/// Applications use channels; patterns use this class. It keeps no table of sockets: each handle
/// belongs to whoever asked for it, is used from one thread at a time, and is given back exactly
/// once with deleteEndpt(). The context lives until the process ends.
///
/// On the wire a text message is one frame per part. A binary message is a header frame of 8 bytes,
/// the type and the subtype, each a signed 32-bit number with its most significant byte first, and
/// then one frame per part. With identity framing on (see enableIdentity()) a binary message has
/// its part 0 in front of the header.
///
/// Errors: a ZeroMQ call that fails throws std::runtime_error, a fixed text followed by ZeroMQ's
/// own where the text ends in a colon and a blank or says so. Before that the operation writes the
/// syslog line that stands with it, followed by what(). Should ZeroMQ have no text for its error,
/// the exception is std::logic_error "basic_string::_M_construct null not valid" instead. Every
/// operation that builds a text or a part may also throw std::bad_alloc.
///
/// Threads: only getInstance() is guarded. Different threads may use different sockets at the same
/// time; setOption() and enableIdentity() belong to the time before that.
class ZMQWrapper {
public:
    /// The one instance, built by the first call, safely among threads.
    ///
    /// @return The instance; never null, and never to be deleted.
    /// @throw std::runtime_error what the constructor throws. The next call then tries again.
    static ZMQWrapper* getInstance();

    /// Creates the context (one I/O thread). For getInstance(); applications never make their own.
    ///
    /// @throw std::runtime_error "Failed to create ZeroMQ Context", or
    ///     "Failed to set ZMQ_IO_THREADS : " + ZeroMQ's text.
    /// @par Logged
    /// "Error : Ostrel::ZMQWrapper::ZMQWrapper() : " + what().
    ZMQWrapper();

    /// Leaves the context and its sockets alone.
    ~ZMQWrapper();

    /// Never copied: there is one context.
    ZMQWrapper(const ZMQWrapper&) = delete;

    /// Never assigned.
    ZMQWrapper& operator=(const ZMQWrapper&) = delete;

    /// Switches identity framing of binary messages on, for every socket of the process and for
    /// good.
    ///
    /// It is off until the first worker pattern is made. A message framed in one way and received
    /// in the other is misread, so everything else that sends or receives binary messages belongs
    /// in other processes.
    void enableIdentity();

    /// A new socket, with TCP keep-alive on (idle 7200 s, interval 75 s, 9 probes).
    ///
    /// @param type  ZeroMQ's number of the socket type, for example `ZMQ_REQ`.
    /// @return The socket. Never null; the caller owns it and gives it to deleteEndpt().
    /// @throw std::runtime_error "Failed to create ZeroMQ Socket : ",
    ///     "Failed to configure TCP Keepalive mode on socket : ",
    ///     "Failed to configure TCP Keepalive idle value on socket : ",
    ///     "Failed to configure TCP Keepalive interval value on socket : ", or
    ///     "Failed to configure TCP Keepalive count on socket : ", each + ZeroMQ's text.
    /// @par Logged
    /// "Error : Ostrel::ZMQWrapper::createEndpt() : " + what().
    void* createEndpt(int type) const;

    /// Closes a socket at once: messages that are still queued are dropped.
    ///
    /// Never throws, and the handle is gone either way.
    ///
    /// @param socket  The socket; null is ignored.
    /// @par Logged
    /// "Failed to set ZeroMQ Socket Linger Period : " and "Failed to close ZeroMQ Socket : ", each
    /// followed by ZeroMQ's text.
    void deleteEndpt(void* socket) const;

    /// Binds a socket, whatever its pattern.
    ///
    /// @param socket    A socket of createEndpt().
    /// @param endpoint  A ZeroMQ endpoint, handed on as it is.
    /// @throw std::runtime_error "Failed to bind ZeroMQ Socket : " + ZeroMQ's text +
    ///     " : End Point : " + `endpoint`.
    /// @par Logged
    /// "Error : Ostrel::ZMQWrapper::registerSender() : " + what().
    void registerSender(void* socket, const std::string& endpoint) const;

    /// Connects a socket, whatever its pattern.
    ///
    /// @param socket    A socket of createEndpt().
    /// @param endpoint  A ZeroMQ endpoint, handed on as it is.
    /// @throw std::runtime_error "Failed to connect ZeroMQ Socket : " + ZeroMQ's text +
    ///     " : End Point : " + `endpoint`.
    /// @par Logged
    /// "Error : Ostrel::ZMQWrapper::registerReceiver() : " + what().
    void registerReceiver(void* socket, const std::string& endpoint) const;

    /// Sets one option of a socket.
    ///
    /// @param socket  A socket of createEndpt().
    /// @param option  The option.
    /// @param value   Its bytes, taken as they are, never as a number.
    /// @throw std::runtime_error "Failed to set ZeroMQ Socket Option : " + ZeroMQ's text; an option
    ///     that is not in option_t ends there too.
    /// @par Logged
    /// "Error : Ostrel::ZMQWrapper::setOption() : " + what().
    void setOption(void* socket, option_t option, const std::string& value);

    /// Sends a text message, one frame per part, without ever waiting.
    ///
    /// A full queue, or a send out of turn, throws. A failure after the first frame leaves an
    /// unfinished message on the socket, which the next send continues.
    ///
    /// @param socket  A socket that is bound or connected.
    /// @param msg     The message; it stays the caller's, as it was.
    /// @return The number of parts; -1 when `socket` or `msg` is null, silently, or when the
    ///     message has no parts.
    /// @throw std::runtime_error "Failed to initialize ZeroMQ messagepart : " (nothing follows),
    ///     "Failed to send messagepart : " + ZeroMQ's text, or
    ///     "Failed to close ZeroMQ messagepart : " + ZeroMQ's text.
    /// @throw std::logic_error "ZeroMQ frame without data" should ZeroMQ give a frame no room for
    ///     its bytes.
    /// @par Printed
    /// "nothing to send - return" for a message without parts.
    /// @par Logged
    /// "Error : Ostrel::ZMQWrapper::send() : " + what().
    int send(void* socket, StringMsg* msg) const;

    /// Replaces the parts of a text message by those of the next message that arrives.
    ///
    /// Each part ends at its first zero byte. The old parts go even when nothing arrives; only
    /// invalid input leaves the message as it was. Its handle stays.
    ///
    /// @param socket   A socket that is bound or connected.
    /// @param msg      The message to fill; it stays the caller's.
    /// @param timeout  In milliseconds by its name only (kept: applications rely on the prompt
    ///     return): -1 waits without limit, 0 does not wait, a positive value does not wait either
    ///     but looks a second time before it gives up.
    /// @return The number of parts; -1 when nothing waits and `timeout` is 0; 0 when nothing waits
    ///     and it is positive; -1 for a null argument or a `timeout` below -1.
    /// @throw std::runtime_error "Failed to get messagepart: ", also when a signal ends the wait;
    ///     "recv: Failed to close ZeroMQ messagepart: " when nothing arrived;
    ///     "recv: Failed to close ZeroMQ messagepart:" when a frame did;
    ///     "Failed to get ZMQ_RCVMORE Option:"; each + ZeroMQ's text. Parts that arrived before
    ///     the failure stay in `msg`.
    /// @throw std::logic_error "basic_string::_M_construct null not valid" should ZeroMQ give a
    ///     frame without its bytes.
    /// @par Printed
    /// "receive: timeout" when nothing waits and `timeout` is 0, "nothing to received" when nothing
    /// waits and it is positive, "invalid input" for invalid input.
    /// @par Logged
    /// "Error : Ostrel::ZMQWrapper::receive() : " + what().
    int receive(void* socket, StringMsg* msg, long timeout) const;

    /// Sends a binary message, header first, then one frame per part, without ever waiting.
    ///
    /// With identity framing on, part 0 goes out in front of the header. The header always
    /// announces more: a message without data parts behind it leaves an unfinished message on the
    /// socket, which the next send continues. With identity framing on, the identity of such a
    /// message has then left as a message of its own. All of this is kept: patterns send at least
    /// one data part.
    ///
    /// @param socket  A socket that is bound or connected.
    /// @param msg     The message; it stays the caller's, as it was. Its handle is not looked at.
    /// @return The number of parts, the identity included; -1, silently, when `socket` or `msg` is
    ///     null.
    /// @throw std::runtime_error "Failed to initialize ZeroMQ messagepart : " (nothing follows; a
    ///     part with a negative size ends here), "Failed to send messagepart : " + ZeroMQ's text,
    ///     or "Failed to close ZeroMQ messagepart : " + ZeroMQ's text.
    /// @throw std::logic_error "DataPart without data" for a part with a size and no buffer;
    ///     "ZeroMQ frame without data" should ZeroMQ give a frame no room for its bytes;
    ///     "StringMsg part index out of bounds" for a message without any part while identity
    ///     framing is on, after IpcMsg has logged it too.
    /// @par Logged
    /// "Error : Ostrel::ZMQWrapper::send() : " + what().
    int send(void* socket, IpcMsg* msg) const;

    /// Appends the parts of the next message that arrives to those that a message already holds,
    /// and sets its type.
    ///
    /// The message is not emptied (kept: applications rely on it); its subtype and handle stay, as
    /// the subtype on the wire is not read. With identity framing on, the first frame becomes a
    /// part. Frames before the header that are not 8 bytes long are dropped; without any header the
    /// type becomes 0.
    ///
    /// @param socket   A socket that is bound or connected.
    /// @param msg      The message to add to. The pointer is never replaced.
    /// @param timeout  As for text messages: -1 waits, everything else does not.
    /// @return The number of parts that the message then has; -1 when nothing waits and `timeout`
    ///     is 0; 0 when nothing waits and it is positive; -1 for a null argument or a `timeout`
    ///     below -1.
    /// @throw std::runtime_error "Failed to get messagepart: ", also when a signal ends the wait;
    ///     "recv: Failed to close ZeroMQ messagepart: " when nothing arrived;
    ///     "recv: Failed to close ZeroMQ messagepart:" when a frame did;
    ///     "Failed to get ZMQ_RCVMORE Option:"; each + ZeroMQ's text. Parts that arrived before
    ///     the failure stay in `msg`.
    /// @throw std::logic_error "ZeroMQ frame without data" for a header, "DataPart without data"
    ///     for a part, should ZeroMQ give a frame without its bytes.
    /// @par Printed
    /// "ZMQWrapper::receive: about to receive the msg" before every attempt. Then, for each frame,
    /// with its size at the end: "get the identity size ", "get the msg hdr size ",
    /// "get the msg size ", or, for one that is dropped,
    /// "ZMQWrapper::receive: something is messed up ... size=". "receive: timeout",
    /// "nothing to received" and "invalid input" as for text messages.
    /// @par Logged
    /// "Error : Ostrel::ZMQWrapper::receive() : " + what().
    int receive(void* socket, IpcMsg*& msg, long timeout) const;

private:
    // Member order is ABI.
    std::map<option_t, int> mOptionMap;
    void* mContext;
    bool mIdentityEnabled;
    char mIdentity[64]; // What OPT_IDENTITY was last set to, cut to 64 bytes; read by nothing.
};

} // namespace ostrel

#endif
