#ifndef OSTREL_BENCH_REPORT_MACHINE_H
#define OSTREL_BENCH_REPORT_MACHINE_H

#include <nlohmann/json.hpp>

namespace bench {

/// What the figures depend on: processor, cores, system, compiler, libraries.
nlohmann::ordered_json describeMachine();

} // namespace bench

#endif
