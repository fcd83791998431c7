#ifndef OSTREL_BENCH_CHECK_ZMQCALLS_H
#define OSTREL_BENCH_CHECK_ZMQCALLS_H

#include <functional>
#include <string>

namespace bench {

/// The calls to ZeroMQ that move frames, made by this thread during `operation`: a line each, with
/// flags and sent bytes. The program defines those functions, so that it sees the calls of the
/// library too. The empty frames that zmq_msg_init() makes do not count, and receiving has two
/// names that are one.
std::string zmqCallsOf(const std::function<void()>& operation);

} // namespace bench

#endif
