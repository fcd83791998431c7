#ifndef OSTREL_BENCH_CONTENDER_ZMQSOCKET_H
#define OSTREL_BENCH_CONTENDER_ZMQSOCKET_H

#include <string>

namespace bench {

/// Ends the program, with ZeroMQ's text, unless `good`. A benchmark that went wrong has no result.
void demand(bool good, const char* what);

/// A ZeroMQ context with one I/O thread, as ours has.
class ZmqContext {
public:
    ZmqContext();
    ~ZmqContext();
    ZmqContext(const ZmqContext&) = delete;
    ZmqContext& operator=(const ZmqContext&) = delete;

    void* handle() const;

private:
    void* mContext;
};

/// A socket that drops what is queued when it is closed, as ours do.
class ZmqSocket {
public:
    ZmqSocket(const ZmqContext& context, int type);
    ~ZmqSocket();
    ZmqSocket(const ZmqSocket&) = delete;
    ZmqSocket& operator=(const ZmqSocket&) = delete;

    void bind(const std::string& endpoint);
    void connect(const std::string& endpoint);
    void setOption(int option, const std::string& bytes);
    void* handle() const;

private:
    void* mSocket;
};

/// Has `socket` learn that messages of its were read. By itself it looks only every millisecond or
/// so, and what it believes to be unread fills its queue.
void noticeReads(void* socket);

/// Waits until `socket` has a message to read.
void awaitReadable(void* socket);

} // namespace bench

#endif
