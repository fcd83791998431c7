#include "report/Instructions.h"

#include "contender/Contender.h"
#include "report/CallgrindDump.h"
#include "report/Goals.h"
#include "statistics/Statistics.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <utility>
#include <vector>

namespace bench {

using nlohmann::ordered_json;

namespace {

/// The dumps of one contender, in the order in which they were made.
std::vector<CallgrindDump> readDumps(const std::string& folder, const std::string& contender)
{
    std::vector<CallgrindDump> dumps;
    // The numbers have no gaps; the file without one is that of the program's end.
    for (int i = 1;; ++i) {
        const std::string file = folder + '/' + contender + '.' + std::to_string(i);
        CallgrindDump dump;
        if (!std::filesystem::exists(file)) {
            return dumps;
        }
        if (readCallgrindDump(file, dump)) {
            dumps.push_back(std::move(dump));
        }
    }
}

struct RowCounts {
    std::string row;
    std::vector<double> batches; // Instructions per message.
};

std::vector<RowCounts> countsOf(const std::vector<CallgrindDump>& dumps)
{
    double nothing = 0;
    std::vector<RowCounts> rows;
    for (const CallgrindDump& dump : dumps) {
        const double perMessage = dump.instructions / dump.messages;
        if (dump.row == "nothing") {
            nothing = perMessage;
            continue;
        }
        if (rows.empty() || rows.back().row != dump.row) {
            rows.push_back({dump.row, {}});
        }
        rows.back().batches.push_back(perMessage - nothing);
    }
    return rows;
}

double medianOf(const ordered_json& row, const std::string& contender)
{
    return row.at(contender).at("median");
}

ordered_json growthOf(const ordered_json& rows)
{
    ordered_json growth = ordered_json::object();
    for (const std::string contender : {"ostrel", "raw", "floor"}) {
        std::vector<std::pair<double, double>> points;
        for (const int parts : {100, 1000, 10000}) {
            const auto row = rows.find("receive/16x" + std::to_string(parts));
            if (row == rows.end()) {
                return growth;
            }
            points.emplace_back(parts, medianOf(*row, contender));
        }
        growth[contender] = growthExponent(points);
    }
    return growth;
}

} // namespace

ordered_json collectInstructions(const std::string& folder)
{
    ordered_json rows = ordered_json::object();
    for (const std::string contender : {"ostrel", "raw", "floor"}) {
        for (const RowCounts& counts : countsOf(readDumps(folder, contender))) {
            const auto [lowest, highest] =
                std::minmax_element(counts.batches.begin(), counts.batches.end());
            rows[counts.row][contender] = {
                {"median", median(counts.batches)}, {"lowest", *lowest}, {"highest", *highest}};
        }
    }
    if (rows.empty()) {
        throw std::runtime_error("there are no dumps in " + folder);
    }
    for (auto& row : rows) {
        for (const std::string other : {"raw", "floor"}) {
            row["ratios"][other] = medianOf(row, "ostrel") / medianOf(row, other);
        }
    }
    const ordered_json growth = growthOf(rows);
    return {{"rows", rows}, {"growth", growth}};
}

Table instructionsTable(const ordered_json& instructions)
{
    Table table({"instructions per message", "ostrel", "raw", "floor", "ostrel/raw", "ostrel/floor",
                 "goal", ""});
    for (const auto& [name, row] : instructions.at("rows").items()) {
        std::vector<std::string> cells = {name};
        for (const std::string contender : {"ostrel", "raw", "floor"}) {
            cells.push_back(number(medianOf(row, contender), 0));
        }
        for (const std::string other : {"raw", "floor"}) {
            cells.push_back(number(row.at("ratios").at(other), 3));
        }
        if (const auto goal = goalOf(name)) {
            cells.push_back(goal->against + " <= " + number(goal->ratio, 2));
            cells.push_back(verdict(row.at("ratios").at(goal->against) <= goal->ratio));
        }
        table.add(std::move(cells));
    }
    return table;
}

std::string growthLine(const ordered_json& instructions)
{
    const ordered_json& growth = instructions.at("growth");
    if (growth.empty()) {
        return {};
    }
    const double ours = growth.at("ostrel");
    return "Instructions of a receive grow with parts^" + number(ours, 3) + " (raw " +
           number(growth.at("raw"), 3) + ", floor " + number(growth.at("floor"), 3) +
           "); goal <= " + number(growthGoal, 2) + ": " + verdict(ours <= growthGoal) + ".\n";
}

Table profileTable(const std::string& folder, const std::string& row)
{
    std::map<std::pair<std::string, std::string>, double> own;
    double messages = 0;
    double total = 0;
    for (const CallgrindDump& dump : readDumps(folder, "ostrel")) {
        if (dump.row == row) {
            messages += dump.messages;
            for (const auto& [place, cost] : dump.own) {
                // libzmq comes without the names of its own functions: they are one.
                const std::string object = std::filesystem::path(place.first).filename();
                const bool isZmq = object.rfind("libzmq", 0) == 0;
                own[{object, isZmq ? "" : place.second}] += cost;
                total += cost;
            }
        }
    }
    std::vector<std::pair<double, std::pair<std::string, std::string>>> sorted;
    for (const auto& [place, cost] : own) {
        sorted.emplace_back(cost, place);
    }
    std::sort(sorted.rbegin(), sorted.rend());
    Table table({row, "in", "per message", "share"});
    for (const auto& [cost, place] : sorted) {
        if (cost < 0.01 * total) {
            break;
        }
        table.add({place.second.empty() ? "(all of it)" : place.second, place.first,
                   number(cost / messages, 0), number(100 * cost / total, 1) + " %"});
    }
    return table;
}

} // namespace bench
