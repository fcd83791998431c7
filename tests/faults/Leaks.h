#ifndef OSTREL_TESTS_FAULTS_LEAKS_H
#define OSTREL_TESTS_FAULTS_LEAKS_H

#include "faults/Ledger.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/ZMQWrapper.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

/// Everything that the library keeps for good, by design; nothing else may be lost. Memory is
/// counted block by block, smallest first.
///
/// A running broker's thread, which is never joined, is not counted.
namespace faults::leaks {

/// Sizes put in order.
inline Sizes both(Sizes one, const Sizes& other)
{
    one.insert(one.end(), other.begin(), other.end());
    std::sort(one.begin(), one.end());
    return one;
}

inline Sizes sorted(const Sizes& sizes)
{
    return both(sizes, {});
}

/// The transport, which lives as long as the process: its table of options has three entries, each
/// a pair behind the four words of a tree's node.
constexpr std::size_t optionSize =
    4 * sizeof(void*) + sizeof(std::pair<const ostrel::option_t, int>);
inline const Sizes transport = {optionSize, optionSize, optionSize};

/// The context, which is kept also when it refuses its number of threads.
constexpr int contexts = 1;

/// The block that a broker's thread would have freed, had it started: two socket pointers.
inline const Sizes blockForTheThread = {2 * sizeof(void*)};

/// A running broker's sockets, open until the process ends.
constexpr int socketsOfABroker = 2;

/// The message of a worker's answer that throws: of one part, to begin with.
inline Sizes answer(const std::string& part)
{
    return sorted({sizeof(ostrel::IpcMsg), sizeof(ostrel::DataPart), part.size()});
}

/// The same with the client's identity in front.
inline Sizes answer(const std::string& identity, const std::string& part)
{
    return sorted(
        {sizeof(ostrel::IpcMsg), 2 * sizeof(ostrel::DataPart), identity.size(), part.size()});
}

/// The working message of a worker's loop that ends with an exception: its list has room for so
/// many parts and holds these, some perhaps without their bytes yet.
inline Sizes working(const Sizes& parts, std::size_t room)
{
    Sizes sizes = both(parts, {sizeof(ostrel::IpcMsg)});
    if (room > 0) {
        sizes.push_back(room * sizeof(ostrel::DataPart));
    }
    return sorted(sizes);
}

} // namespace faults::leaks

#endif
