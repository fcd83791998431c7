#ifndef OSTREL_BENCH_REPORT_TIMES_H
#define OSTREL_BENCH_REPORT_TIMES_H

#include "report/Table.h"

#include <nlohmann/json.hpp>

namespace bench {

/// What bench_timing wrote, with the quartiles of the pairwise ratios of each workload added:
///
///     "ratios": {"ostrel/raw": {"lower", "median", "upper"}, "ostrel/floor": ...,
///                "cppzmq/raw": ..., ...}
nlohmann::ordered_json addRatios(nlohmann::ordered_json workloads);

Table workloadsTable(const nlohmann::ordered_json& workloads);

/// Publishing as fast as it can be done, once for each contender: they lose different shares.
Table floodTable(const nlohmann::ordered_json& workloads);

/// What Google Benchmark wrote, as {"receive 16": {"ostrel": [...], "raw": [...]}} with the
/// nanoseconds of each repetition.
nlohmann::ordered_json groupBenchmarks(const nlohmann::ordered_json& written);

Table inprocessTable(const nlohmann::ordered_json& groups);

Table loopsTable(const nlohmann::ordered_json& loops);

} // namespace bench

#endif
