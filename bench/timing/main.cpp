// bench_timing MODE JSON: times of whole exchanges between two processes, contender beside
// contender, and a file of them.
//
// The rounds are short, and in each round all contenders have their turn one after the other, so
// that what slows the machine down for a while slows all of them. MODE is how much of it: smoke,
// quick or full.

#include "timing/Pairing.h"

#include <algorithm>
#include <exception>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using bench::Pairing;
using bench::Workload;
using nlohmann::ordered_json;

struct Mode {
    bool allWorkloads;
    int rounds;
    double roundSeconds; // Of one contender, about.
    int floodMessages;   // A tenth of large ones.
};

const std::map<std::string, Mode> modes = {
    {"smoke", {false, 1, 0, 4000}},
    {"quick", {false, 11, 0.012, 20000}},
    {"full", {true, 31, 0.05, 100000}},
};

using Pairings = std::vector<std::pair<std::string, std::unique_ptr<Pairing>>>;

Pairings startPairings(const Workload& workload)
{
    Pairings pairings;
    for (const std::string& name : bench::contendersFor(workload.pattern)) {
        pairings.emplace_back(name, std::make_unique<Pairing>(workload, name));
    }
    return pairings;
}

/// Between the windows of a publisher are pauses.
double mostWindows(const Workload& workload)
{
    return workload.pattern == bench::Pattern::publishSubscribe ? 10 : 1e9;
}

/// How many messages take about `seconds`; a whole number of windows.
int chooseMessages(const Workload& workload, Pairing& pairing, double seconds)
{
    const int window = workload.window();
    const int trial = std::max(20, 2 * window);
    pairing.measure(trial); // The first ones are slower.
    double fastest = pairing.measure(trial);
    for (int i = 0; i < 4; ++i) {
        fastest = std::min(fastest, pairing.measure(trial));
    }
    const double wanted = seconds * 1e9 / fastest;
    const double windows = std::min(wanted / window, mostWindows(workload));
    return std::max(1, static_cast<int>(windows)) * window;
}

ordered_json floodAll(const Pairings& pairings, const Workload& workload, const Mode& mode)
{
    ordered_json floods;
    const int messages = workload.size < 65536 ? mode.floodMessages : mode.floodMessages / 10;
    for (const auto& [name, pairing] : pairings) {
        const Pairing::Flood flood = pairing->flood(messages);
        floods[name] = {{"sentPerSecond", flood.sentPerSecond},
                        {"receivedPerSecond", flood.receivedPerSecond},
                        {"dropped", flood.dropped}};
    }
    return floods;
}

ordered_json measure(const Workload& workload, const Mode& mode)
{
    const Pairings pairings = startPairings(workload);
    for (const auto& [name, pairing] : pairings) {
        pairing->verify(2 * workload.window());
    }
    const int messages = chooseMessages(workload, *pairings.back().second, mode.roundSeconds);
    std::map<std::string, std::vector<double>> times;
    for (int round = 0; round < mode.rounds; ++round) {
        // Who comes first changes.
        for (std::size_t turn = 0; turn < pairings.size(); ++turn) {
            const auto& [name, pairing] =
                pairings[(turn + static_cast<std::size_t>(round)) % pairings.size()];
            times[name].push_back(pairing->measure(messages));
        }
    }
    ordered_json result = {{"bytes", workload.size},
                           {"messagesInRound", messages},
                           {"window", workload.window()},
                           {"nanoseconds", times}};
    // The queues have room for a thousand messages, which must fit into memory.
    if (workload.pattern == bench::Pattern::publishSubscribe && workload.size <= 65536) {
        result["flood"] = floodAll(pairings, workload, mode);
    }
    return result;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3 || modes.count(argv[1]) == 0) {
        std::cerr << "usage: bench_timing smoke|quick|full JSON [WORKLOAD...]\n";
        return 2;
    }
    const std::set<std::string> wanted(argv + 3, argv + argc); // All when there are none.
    try {
        const Mode& mode = modes.at(argv[1]);
        ordered_json results;
        for (const Workload& workload : bench::workloads(mode.allWorkloads)) {
            if (!wanted.empty() && wanted.count(workload.name()) == 0) {
                continue;
            }
            std::cerr << workload.name() << '\n';
            results[workload.name()] = measure(workload, mode);
        }
        std::ofstream out(argv[2]);
        out << results.dump(1) << '\n';
        if (!out.flush()) {
            throw std::runtime_error(std::string("cannot write ") + argv[2]);
        }
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << "bench_timing: " << failure.what() << '\n';
        return 1;
    }
}
