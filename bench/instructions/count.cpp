// bench_count CONTENDER [ROW...]: does what the rows of the table do, or those that are named.
//
// Under callgrind, started with --collect-atstart=no, it leaves one dump per batch, named after the
// row, with what the calling thread did in the counted part of its messages. Collecting is switched
// on per thread, so that ZeroMQ's own threads do not count.

#include "contender/Contender.h"
#include "instructions/Rows.h"
#include "instructions/UsedHeap.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <thread>
#include <valgrind/callgrind.h>
#include <vector>

namespace {

void run(const bench::Row& row, bench::Contender& contender)
{
    CALLGRIND_ZERO_STATS;
    for (int batch = 0; batch < row.batches; ++batch) {
        // A thread of ZeroMQ's frees what the batch before has closed, in its own time: not in
        // ours.
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        bench::UsedHeap heap(static_cast<unsigned int>(batch));
        const auto operation = row.make(contender);
        for (int message = 0; message < row.messages; ++message) {
            heap.stir();
            operation->before();
            CALLGRIND_TOGGLE_COLLECT;
            operation->counted();
            CALLGRIND_TOGGLE_COLLECT;
            operation->after();
        }
        const std::string label = row.name + ' ' + std::to_string(row.messages);
        CALLGRIND_DUMP_STATS_AT(label.c_str());
    }
}

std::vector<bench::Row> chooseRows(const std::vector<std::string>& names)
{
    if (names.empty()) {
        return bench::rows();
    }
    // The first row is what all others are compared with.
    std::vector<bench::Row> chosen = {bench::rows().front()};
    for (const std::string& name : names) {
        const auto row = std::find_if(bench::rows().begin(), bench::rows().end(),
                                      [&](const bench::Row& each) { return each.name == name; });
        if (row == bench::rows().end()) {
            throw std::invalid_argument("no row is called " + name);
        }
        chosen.push_back(*row);
    }
    return chosen;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_count CONTENDER [ROW...]\n");
        return 2;
    }
    try {
        const auto contender = bench::makeContender(argv[1]);
        for (const bench::Row& row : chooseRows({argv + 2, argv + argc})) {
            run(row, *contender);
        }
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench_count: %s\n", failure.what());
        return 1;
    }
}
