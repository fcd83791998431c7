#include "report/Times.h"

#include "report/Goals.h"
#include "statistics/Statistics.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace bench {

using nlohmann::ordered_json;

namespace {

std::vector<double> values(const ordered_json& list)
{
    return list.get<std::vector<double>>();
}

ordered_json ratioOf(const ordered_json& ours, const ordered_json& theirs)
{
    const Quartiles ratio = quartiles(pairwiseRatios(values(ours), values(theirs)));
    return {{"lower", ratio.lower}, {"median", ratio.median}, {"upper", ratio.upper}};
}

std::string withQuartiles(const ordered_json& ratio)
{
    return number(ratio.at("median"), 3) + " (" + number(ratio.at("lower"), 2) + "-" +
           number(ratio.at("upper"), 2) + ")";
}

std::string medianOrNothing(const ordered_json& ratios, const std::string& name)
{
    return ratios.contains(name) ? number(ratios.at(name).at("median"), 2) : "";
}

} // namespace

ordered_json addRatios(ordered_json workloads)
{
    for (auto& workload : workloads) {
        const ordered_json& times = workload.at("nanoseconds");
        ordered_json ratios;
        for (const std::string other : {"raw", "floor"}) {
            ratios["ostrel/" + other] = ratioOf(times.at("ostrel"), times.at(other));
        }
        for (const std::string other : {"floor", "cppzmq", "czmq", "nng"}) {
            if (times.contains(other)) {
                ratios[other + "/raw"] = ratioOf(times.at(other), times.at("raw"));
            }
        }
        workload["ratios"] = std::move(ratios);
    }
    return workloads;
}

Table workloadsTable(const ordered_json& workloads)
{
    Table table({"time, ratio of medians (quartiles)", "ostrel/raw", "ostrel/floor", "floor/raw",
                 "cppzmq/raw", "czmq/raw", "nng/raw", "goal", ""});
    for (const auto& [name, workload] : workloads.items()) {
        const ordered_json& ratios = workload.at("ratios");
        std::vector<std::string> cells = {name, withQuartiles(ratios.at("ostrel/raw")),
                                          withQuartiles(ratios.at("ostrel/floor"))};
        for (const std::string other : {"floor", "cppzmq", "czmq", "nng"}) {
            cells.push_back(medianOrNothing(ratios, other + "/raw"));
        }
        if (const auto goal = goalOf(name)) {
            const double reached = ratios.at("ostrel/" + goal->against).at("median");
            cells.push_back(goal->against + " <= " + number(goal->ratio, 2));
            cells.push_back(verdict(reached <= goal->ratio));
        }
        table.add(std::move(cells));
    }
    return table;
}

Table floodTable(const ordered_json& workloads)
{
    Table table({"published at full speed", "contender", "rate of sending, to raw",
                 "rate of arrival, to raw", "dropped"});
    for (const auto& [name, workload] : workloads.items()) {
        if (!workload.contains("flood")) {
            continue;
        }
        const ordered_json& raw = workload.at("flood").at("raw");
        const auto toRaw = [&](const ordered_json& flood, const std::string& rate) {
            return number(flood.at(rate).get<double>() / raw.at(rate).get<double>(), 2);
        };
        for (const auto& [contender, flood] : workload.at("flood").items()) {
            table.add({name, contender, toRaw(flood, "sentPerSecond"),
                       toRaw(flood, "receivedPerSecond"),
                       number(100 * flood.at("dropped").get<double>(), 0) + " %"});
        }
    }
    return table;
}

ordered_json groupBenchmarks(const ordered_json& written)
{
    // They ran in any order.
    std::map<std::pair<std::string, long>, ordered_json> sorted;
    for (const auto& run : written.at("benchmarks")) {
        // "receive/ostrel/16/manual_time"
        const std::string name = run.at("run_name");
        const std::size_t first = name.find('/');
        const std::size_t second = name.find('/', first + 1);
        if (run.at("run_type") == "iteration") {
            const long argument = std::stol(name.substr(second + 1));
            sorted[{name.substr(0, first), argument}][name.substr(first + 1, second - first - 1)]
                .push_back(run.at("real_time"));
        }
    }
    ordered_json groups = ordered_json::object();
    for (auto& [key, times] : sorted) {
        groups[key.first + ' ' + std::to_string(key.second)] = std::move(times);
    }
    return groups;
}

Table inprocessTable(const ordered_json& groups)
{
    Table table(
        {"time within a process, ratio (quartiles)", "ostrel/raw", "ostrel/floor", "ostrel/plain"});
    for (const auto& [name, times] : groups.items()) {
        std::vector<std::string> cells = {name};
        bool compared = false;
        for (const std::string other : {"raw", "floor", "plain"}) {
            const bool known = times.contains(other);
            cells.push_back(known ? withQuartiles(ratioOf(times.at("ostrel"), times.at(other)))
                                  : "");
            compared |= known;
        }
        if (compared) {
            table.add(std::move(cells));
        }
    }
    return table;
}

Table loopsTable(const ordered_json& loops)
{
    Table table({"dispatch loop", "messages", "bytes per message beyond the payload",
                 "time per message, the first row of a loop being 1"});
    for (const auto& [name, counts] : loops.items()) {
        const double first = counts.front().at("nanoseconds");
        for (const auto& [count, cost] : counts.items()) {
            table.add({name, count, number(cost.at("bytesBeyondPayload"), 0),
                       number(cost.at("nanoseconds").get<double>() / first, 2)});
        }
    }
    return table;
}

} // namespace bench
