#ifndef OSTREL_BENCH_REPORT_INSTRUCTIONS_H
#define OSTREL_BENCH_REPORT_INSTRUCTIONS_H

#include "report/Table.h"

#include <nlohmann/json.hpp>
#include <string>

namespace bench {

/// The instructions per message from the dumps in `folder`, named <contender>.<number>:
///
///     {"rows": {"receive/16": {"ostrel": {"median", "lowest", "highest"}, "raw": ...,
///               "ratios": {"raw": ..., "floor": ...}}},
///      "growth": {"ostrel": ..., "raw": ..., "floor": ...}}
///
/// There is no growth where its rows were not counted.
nlohmann::ordered_json collectInstructions(const std::string& folder);

Table instructionsTable(const nlohmann::ordered_json& instructions);

/// The growth and whether it is within the goal; empty where there is none.
std::string growthLine(const nlohmann::ordered_json& instructions);

/// Where the instructions of our rows go.
Table profileTable(const std::string& folder, const std::string& row);

} // namespace bench

#endif
