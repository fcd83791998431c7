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
/// Errors: a ZeroMQ call that fails throws std::runtime_error, a fixed text followed by ZeroMQ's
/// own, after one syslog line made of the operation's prefix and that text. Should ZeroMQ have no
/// text for its error, the exception is std::logic_error
/// "basic_string::_M_construct null not valid" instead.
///
/// Threads: only getInstance() is guarded. Different threads may use different sockets at the same
/// time; setOption() and enableIdentity() belong to the time before that.
class ZMQWrapper {
public:
    /// The one instance, built by the first call, safely among threads. When building it throws,
    /// the next call tries again.
    static ZMQWrapper* getInstance();

    /// Creates the context (one I/O thread). For getInstance(); applications never make their own.
    ///
    /// Throws std::runtime_error "Failed to create ZeroMQ Context" or
    /// "Failed to set ZMQ_IO_THREADS : " + ZeroMQ's text.
    /// Prefix: "Error : Ostrel::ZMQWrapper::ZMQWrapper() : ".
    ZMQWrapper();

    /// Leaves the context and its sockets alone.
    ~ZMQWrapper();

    ZMQWrapper(const ZMQWrapper&) = delete;
    ZMQWrapper& operator=(const ZMQWrapper&) = delete;

    /// Switches identity framing of binary messages on, for every socket of the process and for
    /// good. It is off until the first worker pattern is made.
    void enableIdentity();

    /// A new socket of the ZeroMQ type `type`, with TCP keep-alive on (idle 7200 s, interval 75 s,
    /// 9 probes). Never null; the caller owns it.
    ///
    /// Texts: "Failed to create ZeroMQ Socket : ", "Failed to configure TCP Keepalive mode on
    /// socket : ", "... idle value on socket : ", "... interval value on socket : ",
    /// "... count on socket : ". Prefix: "Error : Ostrel::ZMQWrapper::createEndpt() : ".
    void* createEndpt(int type) const;

    /// Closes `socket` at once: messages that are still queued are dropped. Null is ignored.
    ///
    /// Never throws. Failures are logged as "Failed to set ZeroMQ Socket Linger Period : " and
    /// "Failed to close ZeroMQ Socket : ", each with ZeroMQ's text; the handle is gone either way.
    void deleteEndpt(void* socket) const;

    /// Binds `socket` to `endpoint`, whatever its pattern.
    ///
    /// Text: "Failed to bind ZeroMQ Socket : " + ZeroMQ's text + " : End Point : " + `endpoint`.
    /// Prefix: "Error : Ostrel::ZMQWrapper::registerSender() : ".
    void registerSender(void* socket, const std::string& endpoint) const;

    /// Connects `socket` to `endpoint`, whatever its pattern.
    ///
    /// Text: "Failed to connect ZeroMQ Socket : " + ZeroMQ's text + " : End Point : " + `endpoint`.
    /// Prefix: "Error : Ostrel::ZMQWrapper::registerReceiver() : ".
    void registerReceiver(void* socket, const std::string& endpoint) const;

    /// Sets one option of `socket` to the bytes of `value`, taken as they are.
    ///
    /// Text: "Failed to set ZeroMQ Socket Option : "; an option that is not in option_t ends there
    /// too. Prefix: "Error : Ostrel::ZMQWrapper::setOption() : ".
    void setOption(void* socket, option_t option, const std::string& value);

    /// Sends a text message, one frame per part, without ever waiting.
    ///
    /// Returns the number of parts; -1 when `socket` or `msg` is null (silently) or when the
    /// message has no parts (printing "nothing to send - return"). A full queue throws. A failure
    /// after the first frame leaves an unfinished message on the socket.
    ///
    /// Texts: "Failed to initialize ZeroMQ messagepart : " (nothing appended),
    /// "Failed to send messagepart : ", "Failed to close ZeroMQ messagepart : ".
    /// Prefix: "Error : Ostrel::ZMQWrapper::send() : ".
    int send(void* socket, StringMsg* msg) const;

    /// Replaces the parts of `msg` by those of the next message; each ends at its first zero byte.
    /// The old parts go even when nothing arrives; only invalid input leaves `msg` as it was.
    ///
    /// `timeout` is in milliseconds by its name only (kept: applications rely on the prompt
    /// return): -1 waits without limit, 0 does not wait, a positive value does not wait either but
    /// looks a second time before it gives up.
    ///
    /// Returns the number of parts. Prints "receive: timeout" and returns -1 when nothing waits and
    /// `timeout` is 0; prints "nothing to received" and returns 0 when nothing waits and it is
    /// positive; prints "invalid input" and returns -1 for a null argument or a `timeout` below -1.
    ///
    /// Texts: "Failed to get messagepart: ", "recv: Failed to close ZeroMQ messagepart: " (nothing
    /// arrived), "recv: Failed to close ZeroMQ messagepart:" (a frame arrived), "Failed to get
    /// ZMQ_RCVMORE Option:". Parts that arrived before the failure stay in `msg`.
    /// Prefix: "Error : Ostrel::ZMQWrapper::receive() : ".
    int receive(void* socket, StringMsg* msg, long timeout) const;

    /// Sends a binary message: an 8-byte header frame, then one frame per part, without ever
    /// waiting. With identity framing on, part 0 goes out in front of the header.
    ///
    /// Returns the number of parts, the identity included; -1 when `socket` or `msg` is null.
    /// A message without data parts leaves an unfinished message on the socket, which the next send
    /// continues; with identity framing on its identity has then left as a message of its own, and
    /// one without any part throws std::logic_error "StringMsg part index out of bounds".
    /// Texts and prefix as for text messages; a part with a negative size fails with
    /// "Failed to initialize ZeroMQ messagepart : ", one with a size and no buffer throws
    /// std::logic_error "DataPart without data".
    int send(void* socket, IpcMsg* msg) const;

    /// Appends the parts of the next message to those that `*msg` already holds and sets its type.
    ///
    /// The subtype on the wire is not read. `msg` itself is never replaced. With identity framing
    /// on, the first frame becomes a part. Frames before the header that are not 8 bytes long are
    /// dropped; without any header the type becomes 0. `timeout`, results, texts and prefix are
    /// those of text messages; besides it prints a line before every attempt and one per frame.
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
