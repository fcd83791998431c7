#ifndef OSTREL_BENCH_REPORT_PICTURES_H
#define OSTREL_BENCH_REPORT_PICTURES_H

#include <nlohmann/json.hpp>
#include <string>

namespace bench {

/// Writes what the pictures show, for gnuplot, to files of `folder`: times.dat, instructions.dat,
/// growth-instructions.dat and growth-time.dat.
void writePictureData(const nlohmann::ordered_json& results, const std::string& folder);

} // namespace bench

#endif
