// bench_report: what the measuring programs left, as tables and as JSON.
//
//   bench_report instructions DUMPS JSON   the table of the DUMPS of bench_count; JSON of it
//   bench_report profile DUMPS ROW...      where the instructions of our rows go
//   bench_report results FOLDER            the tables of all that is in FOLDER: instructions.json,
//                                          timing.json, inprocess.json, reply.json, loops.json;
//                                          results.json of them
//   bench_report page FOLDER               the generated part of the page, of results.json
//   bench_report pictures FOLDER           data for the pictures, of results.json

#include "report/Instructions.h"
#include "report/Machine.h"
#include "report/Pictures.h"
#include "report/Table.h"
#include "report/Times.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using nlohmann::ordered_json;

ordered_json readJson(const std::string& file)
{
    std::ifstream input(file);
    if (!input) {
        throw std::runtime_error("cannot read " + file);
    }
    return ordered_json::parse(input);
}

void writeJson(const std::string& file, const ordered_json& json)
{
    std::ofstream out(file);
    out << json.dump(1) << '\n';
    if (!out.flush()) {
        throw std::runtime_error("cannot write " + file);
    }
}

ordered_json collectResults(const std::string& folder)
{
    ordered_json results = {{"machine", bench::describeMachine()}};
    const auto take = [&](const std::string& name, const auto& use) {
        const std::string file = folder + '/' + name;
        if (std::filesystem::exists(file)) {
            use(readJson(file));
        }
    };
    take("instructions.json", [&](const ordered_json& json) { results["instructions"] = json; });
    take("timing.json",
         [&](const ordered_json& json) { results["workloads"] = bench::addRatios(json); });
    for (const std::string name : {"inprocess.json", "reply.json"}) {
        take(name, [&](const ordered_json& json) {
            results["inprocess"].update(bench::groupBenchmarks(json));
        });
    }
    take("loops.json", [&](const ordered_json& json) { results["loops"] = json; });
    return results;
}

/// Every table that there is something for.
std::vector<bench::Table> tablesOf(const ordered_json& results)
{
    std::vector<bench::Table> tables;
    if (results.contains("instructions")) {
        tables.push_back(bench::instructionsTable(results.at("instructions")));
    }
    if (results.contains("workloads")) {
        tables.push_back(bench::workloadsTable(results.at("workloads")));
        tables.push_back(bench::floodTable(results.at("workloads")));
    }
    if (results.contains("inprocess")) {
        tables.push_back(bench::inprocessTable(results.at("inprocess")));
    }
    if (results.contains("loops")) {
        tables.push_back(bench::loopsTable(results.at("loops")));
    }
    return tables;
}

void reportInstructions(const std::string& dumps, const std::string& file)
{
    const ordered_json instructions = bench::collectInstructions(dumps);
    bench::instructionsTable(instructions).print(std::cout);
    std::cout << bench::growthLine(instructions);
    writeJson(file, instructions);
}

void reportProfile(const std::string& dumps, const std::vector<std::string>& rows)
{
    for (const std::string& row : rows) {
        bench::profileTable(dumps, row).print(std::cout);
        std::cout << '\n';
    }
}

void reportResults(const std::string& folder)
{
    const ordered_json results = collectResults(folder);
    for (const bench::Table& table : tablesOf(results)) {
        table.print(std::cout);
        std::cout << '\n';
    }
    writeJson(folder + "/results.json", results);
}

void printPage(const std::string& folder)
{
    const ordered_json results = readJson(folder + "/results.json");
    for (const auto& [what, value] : results.at("machine").items()) {
        std::cout << "- " << what << ": "
                  << (value.is_string() ? value.get<std::string>() : value.dump()) << '\n';
    }
    for (const bench::Table& table : tablesOf(results)) {
        std::cout << '\n';
        table.printMarkdown(std::cout);
    }
    std::cout << '\n' << bench::growthLine(results.at("instructions"));
}

bool run(const std::vector<std::string>& arguments)
{
    const std::string command = arguments.empty() ? "" : arguments[0];
    if (command == "instructions" && arguments.size() == 3) {
        reportInstructions(arguments[1], arguments[2]);
    } else if (command == "profile" && arguments.size() >= 3) {
        reportProfile(arguments[1], {arguments.begin() + 2, arguments.end()});
    } else if (command == "results" && arguments.size() == 2) {
        reportResults(arguments[1]);
    } else if (command == "page" && arguments.size() == 2) {
        printPage(arguments[1]);
    } else if (command == "pictures" && arguments.size() == 2) {
        bench::writePictureData(readJson(arguments[1] + "/results.json"), arguments[1]);
    } else {
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        if (!run({argv + 1, argv + argc})) {
            std::cerr << "usage: bench_report instructions DUMPS JSON | profile DUMPS ROW... |\n"
                         "                    results FOLDER | page FOLDER | pictures FOLDER\n";
            return 2;
        }
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << "bench_report: " << failure.what() << '\n';
        return 1;
    }
}
