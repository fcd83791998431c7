#include "contender/Contender.h"

#include <stdexcept>

namespace bench {

namespace {

struct Entry {
    const char* name;
    std::unique_ptr<Contender> (*make)();
    bool hasWorkerPool;
};

constexpr Entry entries[] = {
    {"ostrel", makeOstrel, true}, {"raw", makeRaw, true},   {"floor", makeFloor, true},
    {"cppzmq", makeCppzmq, true}, {"czmq", makeCzmq, true}, {"nng", makeNng, false},
};

} // namespace

std::vector<std::string> contendersFor(Pattern pattern)
{
    std::vector<std::string> names;
    for (const Entry& entry : entries) {
        if (entry.hasWorkerPool || pattern != Pattern::workerPool) {
            names.emplace_back(entry.name);
        }
    }
    return names;
}

std::unique_ptr<Contender> makeContender(const std::string& wanted)
{
    for (const Entry& entry : entries) {
        if (wanted == entry.name) {
            return entry.make();
        }
    }
    throw std::invalid_argument("no contender is called " + wanted);
}

} // namespace bench
