#ifndef OSTREL_BENCH_TIMING_WORKLOAD_H
#define OSTREL_BENCH_TIMING_WORKLOAD_H

#include "contender/Contender.h"

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

enum class Transport { ipc, tcp };

/// Where the standard output of the measured processes goes.
enum class Output { null, drainedPipe };

/// What two processes do with each other again and again.
struct Workload {
    Pattern pattern;
    Transport transport;
    std::size_t size; ///< Bytes of a message.
    Output output;

    /// Such as "round trip ipc 16 B".
    std::string name() const;

    /// Messages under way at a time, at most.
    int window() const;
};

/// `all` adds what takes longer than it tells.
std::vector<Workload> workloads(bool all);

} // namespace bench

#endif
