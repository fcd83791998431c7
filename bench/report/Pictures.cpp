#include "report/Pictures.h"

#include "statistics/Statistics.h"

#include <fstream>
#include <stdexcept>
#include <vector>

namespace bench {

using nlohmann::ordered_json;

namespace {

/// A file of `folder`, checked when it is complete.
class DataFile {
public:
    DataFile(const std::string& folder, const std::string& name)
        : mName(folder + '/' + name), mOut(mName)
    {
    }

    ~DataFile() = default;
    DataFile(const DataFile&) = delete;
    DataFile& operator=(const DataFile&) = delete;

    std::ofstream& out()
    {
        return mOut;
    }

    void finish()
    {
        if (!mOut.flush()) {
            throw std::runtime_error("cannot write " + mName);
        }
    }

private:
    std::string mName;
    std::ofstream mOut;
};

/// "name" and, to raw and to floor each: lower quartile, median, upper quartile.
void writeTimes(const ordered_json& workloads, const std::string& folder)
{
    DataFile file(folder, "times.dat");
    for (const auto& [name, workload] : workloads.items()) {
        file.out() << '"' << name << '"';
        for (const std::string ratio : {"ostrel/raw", "ostrel/floor"}) {
            for (const std::string quartile : {"lower", "median", "upper"}) {
                file.out() << ' ' << workload.at("ratios").at(ratio).at(quartile);
            }
        }
        file.out() << '\n';
    }
    file.finish();
}

/// As above; the counts have no spread worth showing.
void writeInstructions(const ordered_json& rows, const std::string& folder)
{
    DataFile file(folder, "instructions.dat");
    for (const auto& [name, row] : rows.items()) {
        file.out() << '"' << name << '"';
        for (const std::string other : {"raw", "floor"}) {
            const double ratio = row.at("ratios").at(other);
            file.out() << ' ' << ratio << ' ' << ratio << ' ' << ratio;
        }
        file.out() << '\n';
    }
    file.finish();
}

constexpr int partCounts[] = {1, 10, 100, 1000, 10000};
const std::vector<std::string> growing = {"ostrel", "floor", "raw"};

void writeGrowthOfInstructions(const ordered_json& rows, const std::string& folder)
{
    DataFile file(folder, "growth-instructions.dat");
    for (const int parts : partCounts) {
        const std::string row =
            "receive/16" + (parts == 1 ? std::string() : 'x' + std::to_string(parts));
        file.out() << parts;
        for (const std::string& contender : growing) {
            file.out() << ' ' << rows.at(row).at(contender).at("median");
        }
        file.out() << '\n';
    }
    file.finish();
}

/// In units of raw's time for one part: only ratios say anything about another machine.
void writeGrowthOfTime(const ordered_json& groups, const std::string& folder)
{
    DataFile file(folder, "growth-time.dat");
    const auto timeOf = [&](int parts, const std::string& contender) {
        const ordered_json& times = groups.at("receive " + std::to_string(parts)).at(contender);
        return median(times.get<std::vector<double>>());
    };
    const double unit = timeOf(1, "raw");
    for (const int parts : partCounts) {
        file.out() << parts;
        for (const std::string& contender : growing) {
            file.out() << ' ' << timeOf(parts, contender) / unit;
        }
        file.out() << '\n';
    }
    file.finish();
}

} // namespace

void writePictureData(const ordered_json& results, const std::string& folder)
{
    const ordered_json& rows = results.at("instructions").at("rows");
    writeTimes(results.at("workloads"), folder);
    writeInstructions(rows, folder);
    writeGrowthOfInstructions(rows, folder);
    writeGrowthOfTime(results.at("inprocess"), folder);
}

} // namespace bench
