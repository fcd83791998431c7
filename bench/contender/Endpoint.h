#ifndef OSTREL_BENCH_CONTENDER_ENDPOINT_H
#define OSTREL_BENCH_CONTENDER_ENDPOINT_H

#include <string>

namespace bench {

/// An inproc endpoint that this process has not used yet: ZeroMQ gives one free only some time
/// after its socket was closed.
inline std::string freshInproc()
{
    static int number = 0;
    return "inproc://" + std::to_string(number++);
}

} // namespace bench

#endif
