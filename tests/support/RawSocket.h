#ifndef OSTREL_TESTS_SUPPORT_RAWSOCKET_H
#define OSTREL_TESTS_SUPPORT_RAWSOCKET_H

#include <string>
#include <vector>

namespace support {

using Frames = std::vector<std::string>;

/// A libzmq socket without the library: the other side of a test. It has a context of its own, and
/// its calls are not seen by ZmqSpy. A call that fails ends the test program.
class RawSocket {
public:
    explicit RawSocket(int type);
    ~RawSocket();
    RawSocket(const RawSocket&) = delete;
    RawSocket& operator=(const RawSocket&) = delete;

    /// Binds and returns the endpoint that came of it: "tcp://127.0.0.1:*" gives a free port.
    std::string bind(const std::string& endpoint);
    void connect(const std::string& endpoint);
    void setOption(int option, const std::string& bytes);
    void setOption(int option, int value);

    /// Sends the frames as one message.
    void send(const Frames& frames);

    /// The next message; empty when none came within `milliseconds`.
    Frames receive(int milliseconds = 20000);

    void* handle() const;

private:
    void* mContext;
    void* mSocket;
};

/// The next message of any socket, as RawSocket::receive() takes it.
Frames receiveFrames(void* socket, int milliseconds);

} // namespace support

#endif
