#ifndef OSTREL_BENCH_REPORT_GOALS_H
#define OSTREL_BENCH_REPORT_GOALS_H

#include <optional>
#include <string>

namespace bench {

/// What a measured row is meant to be at most, as a ratio to another contender.
struct Goal {
    std::string against;
    double ratio;
};

std::optional<Goal> goalOf(const std::string& row);

/// How a table says it.
std::string verdict(bool reached);

/// What the instructions of a receive may grow with, as a power of the number of parts.
constexpr double growthGoal = 1.05;

} // namespace bench

#endif
