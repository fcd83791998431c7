#include "report/Goals.h"

#include <map>

namespace bench {

namespace {

std::map<std::string, Goal> makeGoals()
{
    // Instructions.
    std::map<std::string, Goal> goals = {
        {"receive/16", {"floor", 0.80}},      {"receive/1024", {"floor", 0.80}},
        {"receive/16x10", {"floor", 0.85}},   {"receive/16x100", {"floor", 0.85}},
        {"receive/16x1000", {"floor", 0.85}}, {"send/16", {"raw", 1.03}},
        {"send/1024", {"raw", 1.03}},         {"send/65536", {"raw", 1.03}},
        {"trip/16", {"floor", 1.00}},         {"trip/1024", {"floor", 1.00}},
    };
    // Times.
    for (const std::string transport : {" ipc ", " tcp "}) {
        for (const std::string size : {"16 B", "1 KiB"}) {
            goals["round trip" + transport + size] = {"raw", 1.05};
        }
        for (const std::string size : {"64 KiB", "1 MiB"}) {
            goals["round trip" + transport + size] = {"raw", 1.15};
        }
        for (const std::string size : {"16 B", "1 KiB", "64 KiB", "1 MiB"}) {
            goals["publish" + transport + size] = {"floor", 1.00};
        }
        goals["worker pool" + transport + "16 B"] = {"raw", 1.25};
        goals["worker pool" + transport + "1 KiB"] = {"raw", 1.12};
    }
    return goals;
}

} // namespace

std::optional<Goal> goalOf(const std::string& row)
{
    static const std::map<std::string, Goal> goals = makeGoals();
    const auto entry = goals.find(row);
    return entry == goals.end() ? std::nullopt : std::optional<Goal>(entry->second);
}

std::string verdict(bool reached)
{
    return reached ? "reached" : "missed";
}

} // namespace bench
