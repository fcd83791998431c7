#ifndef OSTREL_BENCH_REPORT_CALLGRINDDUMP_H
#define OSTREL_BENCH_REPORT_CALLGRINDDUMP_H

#include <map>
#include <string>
#include <utility>

namespace bench {

/// One dump of bench_count: a batch of a row.
struct CallgrindDump {
    std::string row;
    int messages = 0;
    double instructions = 0;

    /// What each function, by the file it is in, executed itself.
    std::map<std::pair<std::string, std::string>, double> own;
};

/// Whether `file` is such a dump, and what it holds.
bool readCallgrindDump(const std::string& file, CallgrindDump& dump);

} // namespace bench

#endif
