#ifndef OSTREL_TESTS_MULTIPROCESS_PUBLISH_SUBSCRIBE_PLAN_H
#define OSTREL_TESTS_MULTIPROCESS_PUBLISH_SUBSCRIBE_PLAN_H

#include <string>
#include <vector>

/// What the publisher and the subscribers of the test agree on.
///
/// Everything published carries, behind its topic or header, the stage, a number and the name of
/// its subject. First comes "early", before anyone can hear it; then a "hello" on each subject
/// whenever a subscriber asks for one; then, once all are ready, the numbered "count" and an "end".
namespace plan {

struct Subject {
    const char* name;
    bool isText;       ///< A text message with the name as its topic.
    int type, subType; ///< Otherwise the header.
};

const std::vector<Subject> subjects = {
    {"alpha", true, 0, 0}, {"alphabet", true, 0, 0}, {"beta", true, 0, 0}, {"", true, 0, 0},
    {"7/1", false, 7, 1},  {"7/2", false, 7, 2},     {"8/1", false, 8, 1},
};

// For a subscriber that dispatches by type and cannot tell stages apart.
constexpr Subject loopHello = {"loop hello", false, 50, 0};
constexpr Subject loopCount = {"loop count", false, 51, 0};
constexpr Subject loopEnd = {"loop end", false, 99, 0};

/// The counted messages of each subject. All together stay below 500: a subscriber's queue has room
/// for 1,000, but the publisher learns only by the 500 that it has drained.
constexpr int counted = 50;

// What a subscriber (or the test) tells the publisher; it answers each but the last.
constexpr auto ask = "ask";
constexpr auto ready = "ready";
constexpr auto quit = "quit";

} // namespace plan

#endif
