#include "Reading.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

namespace soak {

namespace {

/// From smaps_rollup: the counters in statm are up to 64 pages behind for every thread.
long residentBytes()
{
    std::ifstream rollup("/proc/self/smaps_rollup");
    std::string word;
    while (rollup >> word) {
        long kilobytes = 0;
        if (word == "Rss:" && rollup >> kilobytes) {
            return kilobytes * 1024;
        }
    }
    throw std::runtime_error("cannot read /proc/self/smaps_rollup");
}

} // namespace

Reading settledReading()
{
    constexpr auto pause = std::chrono::milliseconds(2);
    constexpr int alike = 3; // Readings in a row.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    Heap last = heapNow();
    for (int seen = 1; seen < alike && std::chrono::steady_clock::now() < end;) {
        std::this_thread::sleep_for(pause);
        const Heap now = heapNow();
        seen = now.bytes == last.bytes && now.allocations == last.allocations ? seen + 1 : 1;
        last = now;
    }
    return {last, residentBytes()};
}

long heapCostOf(std::size_t size)
{
    const long before = heapNow().bytes;
    // Through a volatile pointer: a block that nobody uses would not be allocated.
    void* volatile block = std::malloc(size);
    const long after = heapNow().bytes;
    std::free(block);
    return after - before;
}

} // namespace soak
