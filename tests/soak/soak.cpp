// Moves very many messages through every pattern, in every way of taking them, and looks at the
// memory of each process: it has to stay flat, except for what a dispatch loop holds on purpose.
//
// Prints one table; ends with 0 only when every bound was kept.

#include "Exchange.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace soak {

namespace {

/// How far the heap of a process may be from where it was after the warm-up. ZeroMQ keeps messages
/// that are under way in chunks of 16 KiB, and each of the up to four queues of a process (both
/// directions of two sockets) may have one more or less at any moment. A single byte that is lost
/// with each message is a block of 32, so it shows from some 2,000 messages on; by the blocks it
/// shows with each 300th of 10,000.
constexpr long flatBytes = 64L * 1024;
constexpr long flatBlocks = 32;

/// The same for what a process occupies. malloc() keeps what it has got from the system, so besides
/// ZeroMQ's own memory the bursts that were under way at once are in it, the one that is sent and
/// the one that is read.
long flatResident(const Plan& plan)
{
    return 2L * 1024 * 1024 + 2 * burst * static_cast<long>(plan.payload);
}

/// What a part of a message takes besides its bytes: a table pointer, a data pointer, a size.
constexpr double partSize = 24;

/// What is under way while the messages in a loop are measured: ZeroMQ's read buffers, of 8 KiB.
constexpr double heldSlack = 16 * 1024;

struct Options {
    long messages = 1000000;
    std::size_t payload = 100;
    long workerLoop = 2000;
    std::string only;
};

struct Pattern {
    const char* name;
    std::vector<Role> (*roles)(const Plan& plan);
    bool isPool;
};

const Pattern patterns[] = {
    {"request/reply", requestReply, false},
    {"publish/subscribe", publishSubscribe, false},
    {"worker pool", workerPool, true},
};

struct NamedWay {
    const char* name;
    Way way;
};

const NamedWay ways[] = {
    {"single", Way::single},
    {"turns", Way::turns},
    {"loop", Way::loop},
    {"text", Way::text},
};

/// A folder of its own, removed at destruction.
class Folder {
public:
    Folder()
    {
        char path[] = "/tmp/ostrel-soak.XXXXXX";
        if (mkdtemp(path) == nullptr) {
            throw std::runtime_error("cannot make a folder in /tmp");
        }
        mPath = path;
    }

    ~Folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }

    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::string& path() const
    {
        return mPath;
    }

private:
    std::string mPath;
};

/// The least and the most that a loop may hold for each message. The list of the parts doubles when
/// it is full, so there is room for one to two of them for each. A worker's loop keeps one part of
/// each request, by turns the data and the client's name, which has 10 to 17 characters.
Held expectedHeld(bool isPool, const Plan& plan)
{
    const auto data = static_cast<double>(heapCostOf(plan.payload));
    const double least = isPool ? (data + static_cast<double>(heapCostOf(10))) / 2 : data;
    const double most = isPool ? (data + static_cast<double>(heapCostOf(17))) / 2 : data;
    const double slack = heldSlack / (static_cast<double>(plan.loop) / 2);
    return {least + partSize - slack, most + 2 * partSize + slack};
}

/// The first bound that a process has broken, or nothing.
std::string brokenBound(const Figures& figures, const Plan& plan, const Held& expected)
{
    const Heap& before = figures.before.heap;
    const Heap& after = figures.after.heap;
    if (std::abs(after.bytes - before.bytes) > flatBytes) {
        return "heap";
    }
    if (std::abs(after.blocks - before.blocks) > flatBlocks) {
        return "blocks";
    }
    // A heap that was large for a while stays so. The sanitizer keeps what was freed, to find uses.
    const bool givesBack = !figures.holds && before.blocks != 0;
    if (givesBack && figures.after.resident - figures.before.resident > flatResident(plan)) {
        return "resident";
    }
    if (figures.holds && figures.held.least < expected.least) {
        return "holds too little";
    }
    if (figures.holds && figures.held.most > expected.most) {
        return "holds too much";
    }
    return "";
}

constexpr char headings[] =
    "heap, peak: bytes that malloc() has given out; blocks: how many; rss: KiB that the process\n"
    "occupies; each before and after. B/msg: growth of the heap for a message; in a loop while it\n"
    "holds all of them, the least and the most seen. allocs, us: for a message.\n";

constexpr char rowFormat[] =
    "%-17s %-6s %-10s %9s %7s %7s %7s %6s %6s %7s %7s %10s %12s %8s %7s  %s\n";

void printHeadings()
{
    std::puts(headings);
    std::printf(rowFormat, "pattern", "way", "process", "messages", "payload", "heap", "after",
                "blocks", "after", "rss", "after", "peak", "B/msg", "allocs", "us", "verdict");
}

std::string number(double value, int digits)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

std::string growthOf(const Figures& figures, double messages)
{
    if (figures.holds) {
        return number(figures.held.least, 1) + '-' + number(figures.held.most, 1);
    }
    const long growth = figures.after.heap.bytes - figures.before.heap.bytes;
    return number(static_cast<double>(growth) / messages, 3);
}

void printRow(const char* pattern, const char* way, const std::string& role, const Plan& plan,
              const Figures& figures, const std::string& broken)
{
    const Reading& before = figures.before;
    const Reading& after = figures.after;
    const auto messages = static_cast<double>(plan.messages);
    const auto allocations = static_cast<double>(after.heap.allocations - before.heap.allocations);
    const std::string cells[] = {std::to_string(plan.messages),
                                 std::to_string(plan.payload),
                                 std::to_string(before.heap.bytes),
                                 std::to_string(after.heap.bytes),
                                 std::to_string(before.heap.blocks),
                                 std::to_string(after.heap.blocks),
                                 std::to_string(before.resident / 1024),
                                 std::to_string(after.resident / 1024),
                                 std::to_string(figures.peak),
                                 growthOf(figures, messages),
                                 number(allocations / messages, 2),
                                 number(figures.seconds * 1e6 / messages, 1),
                                 broken.empty() ? "fine" : "BROKEN: " + broken};
    const auto cell = [&cells](std::size_t i) { return cells[i].c_str(); };
    std::printf(rowFormat, pattern, way, role.c_str(), cell(0), cell(1), cell(2), cell(3), cell(4),
                cell(5), cell(6), cell(7), cell(8), cell(9), cell(10), cell(11), cell(12));
    std::fflush(stdout);
}

/// Whether every process of an exchange kept its bounds.
bool runExchange(const Pattern& pattern, const NamedWay& way, const Options& options)
{
    // No loop holds more than a million messages, or a long run would take all of the memory. A
    // worker's loop moves all that it holds by a copy for every request, so its loops are short.
    constexpr long mostHeld = 1000000;
    const Folder folder;
    const long loop = pattern.isPool ? options.workerLoop : std::min(options.messages, mostHeld);
    const long loops = (options.messages + loop - 1) / loop;
    const Plan plan = {way.way, options.payload, 8 * burst, loops * loop, loop, folder.path()};
    const std::vector<Role> roles = pattern.roles(plan);
    // Many times what it takes, the copies that a worker's loop makes included.
    const std::chrono::seconds limit(60 + plan.messages / 1000 * (1 + options.workerLoop / 1000));
    const std::vector<Figures> all = runCrew(roles, limit);
    const Held expected = expectedHeld(pattern.isPool, plan);
    bool fine = true;
    for (std::size_t i = 0; i < roles.size(); ++i) {
        const std::string broken = brokenBound(all[i], plan, expected);
        printRow(pattern.name, way.name, roles[i].name, plan, all[i], broken);
        fine = fine && broken.empty();
    }
    return fine;
}

int run(int argc, char** argv)
{
    Options options;
    CLI::App app("Moves messages through every pattern and looks at the memory of each process.");
    app.add_option("messages", options.messages,
                   "for each pattern and way; rounded up to whole loops")
        ->capture_default_str()
        ->check(CLI::Range(2000L, 1000000000L));
    app.add_option("--payload", options.payload, "bytes of a message")
        ->capture_default_str()
        ->check(CLI::Range(16, 1000000));
    app.add_option("--worker-loop", options.workerLoop, "messages that a worker's loop holds")
        ->capture_default_str()
        ->check(CLI::Range(500L, 100000L));
    app.add_option("--only", options.only, "a pattern, a way, or both: \"request/reply loop\"");
    CLI11_PARSE(app, argc, argv);
    // Bursts have to come out even, at half a loop too.
    const auto even = [](long messages) {
        constexpr long unit = 2 * burst;
        return (messages + unit - 1) / unit * unit;
    };
    options.messages = even(options.messages);
    options.workerLoop = even(options.workerLoop);

    bool any = false;
    bool fine = true;
    printHeadings();
    for (const Pattern& pattern : patterns) {
        for (const NamedWay& way : ways) {
            const std::string both = std::string(pattern.name) + ' ' + way.name;
            if (both.find(options.only) != std::string::npos) {
                any = true;
                fine = runExchange(pattern, way, options) && fine;
            }
        }
    }
    require(any, "there is no \"" + options.only + "\"");
    std::printf("\nsoak: %s\n", fine ? "all bounds were kept" : "A BOUND WAS BROKEN");
    return fine ? 0 : 1;
}

} // namespace

} // namespace soak

int main(int argc, char** argv)
{
    try {
        return soak::run(argc, argv);
    } catch (const std::exception& failure) {
        std::cerr << "soak: " << failure.what() << '\n';
        return 1;
    }
}
