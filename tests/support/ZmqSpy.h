#ifndef OSTREL_TESTS_SUPPORT_ZMQSPY_H
#define OSTREL_TESTS_SUPPORT_ZMQSPY_H

#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace support {

/// Watches the calls that the library makes to ZeroMQ (and to pthread_create), and makes chosen
/// ones fail, from construction to destruction.
///
/// The test program defines those functions: the library takes them from the process, so it calls
/// ours, and ours call ZeroMQ's. Only calls of the thread that made the spy count, until
/// watchAllThreads(). Calls that ZeroMQ makes to itself never count, and neither do those of
/// RawSocket.
class ZmqSpy {
public:
    ZmqSpy();
    ~ZmqSpy();
    ZmqSpy(const ZmqSpy&) = delete;
    ZmqSpy& operator=(const ZmqSpy&) = delete;

    void watchAllThreads();

    /// Has `look` called with each call that counts, before it is made: a test's look at the state
    /// at that moment. `look` must not use the spy.
    void onCall(std::function<void(const std::string&)> look);

    /// The calls since construction or the last take, oldest first. Sockets are named in the order
    /// in which they first appear since construction: s1, s2, ...; frames are not named. Examples:
    ///   zmq_ctx_new()               zmq_ctx_set(1, 1)            zmq_socket(3) = s1
    ///   zmq_setsockopt(s1, 34, 1)   zmq_setsockopt(s1, 6, "ab")  zmq_bind(s1, "ipc:///x")
    ///   zmq_msg_init()              zmq_msg_init_size(3)         zmq_msg_data()   zmq_msg_size()
    ///   zmq_msg_send(s1, 3, "abc")  zmq_recvmsg(s1, 1)           zmq_msg_close()
    ///   zmq_getsockopt(s1, 13)      zmq_poll(s1, 1, 0)           zmq_close(s1)
    ///   zmq_strerror(11)            zmq_proxy(s1, s2, null)
    ///   pthread_create(null, proxyThreadMain, {s1, s2})
    /// A call that was made to fail ends in " !".
    std::vector<std::string> takeCalls();

    /// As takeCalls(), without those that only look: zmq_msg_data and zmq_msg_size. How often the
    /// library looks at a frame is nobody's business.
    std::vector<std::string> takeActions();

    /// Makes the `nth` call (from 1, counted from now) of `function` fail with `error`. Functions
    /// that return a pointer give null, zmq_strerror and zmq_msg_data included; pthread_create
    /// returns `error`; the others give -1 and set errno. Several may be planned.
    void fail(const std::string& function, int nth, int error);

    /// Makes the `nth` call (from 1, counted from now) of any function that can fail, fail with
    /// `error`: for walking through an operation, n = 1, 2, ... Does not count zmq_msg_init,
    /// zmq_msg_data, zmq_msg_size, zmq_strerror.
    void failNth(int nth, int error);

    /// Whether every planned failure has happened; if not, the planned call was never made.
    bool failed() const;
};

/// While it lives, calls of this thread are a test's own, not the library's: neither watched nor
/// failed.
class NotWatched {
public:
    NotWatched();
    ~NotWatched();
    NotWatched(const NotWatched&) = delete;
    NotWatched& operator=(const NotWatched&) = delete;
};

} // namespace support

#endif
