#ifndef OSTREL_TESTS_FAULTS_OPERATION_H
#define OSTREL_TESTS_FAULTS_OPERATION_H

#include "faults/Ledger.h"
#include "ostrel/MsgPattern.h"

#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

/// The table of the fault walk: what every operation of the library does that can fail, and how it
/// must end when one of these things does.
namespace faults {

using Lines = std::vector<std::string>;

/// How an operation ends.
struct Ending {
    std::string what; ///< "returned 2", or "std::runtime_error: " and the text.
    Lines lines;      ///< What it has written to syslog, the innermost layer's line first.
    Sizes lost;       ///< The memory that is never given back, by design; see Leaks.h.
};

bool operator==(const Ending& one, const Ending& other);
std::ostream& operator<<(std::ostream& out, const Ending& ending);

/// What becomes of an operation in which a call fails.
enum class Consequence {
    thrown,  ///< It ends with an exception.
    logged,  ///< It writes a line and goes on.
    ignored, ///< It goes on.
};

/// A call to ZeroMQ, or to pthread_create, that can fail.
struct Call {
    std::string function;
    std::string text;             ///< What the exception, or the line, begins with.
    bool detailed = true;         ///< Whether ZeroMQ's text for the error follows,
    std::string after = "";       ///< and what follows that.
    std::string withoutData = ""; ///< What is thrown when the frame then has no data.
    std::size_t frame = 0;        ///< Which frame of a message it receives.
    Consequence consequence = Consequence::thrown;
    std::size_t position = 0; ///< Where among the operation's lines its own line is.
    bool swallowed = false;   ///< Whether the exception is caught for good further up.
    Lines prefixes = {};      ///< Of the layers that log it, innermost first.
    int kept = 0;             ///< How many more sockets than before are open afterwards.
    Sizes lost = {};          ///< See Ending.
    Sizes lostWithoutData = {};
    bool closesTwice = false; ///< Whether its frame is closed once more.
};

/// Calls in the order in which they are made, and how many more sockets are open when all of them
/// have succeeded.
struct Steps {
    std::vector<Call> calls;
    int opens = 0;
};

Steps operator+(Steps first, const Steps& second);

/// An operation that is about to be run, once or more, on what was made for it.
struct Trial {
    std::function<long()> run;
    std::function<std::string()> show;           ///< The state of what it was run on.
    const ostrel::MsgPattern* pattern = nullptr; ///< What owns the socket, if there is one.
    std::string recordedName;                    ///< Under which a broker may be recorded.
};

/// A row of the table.
struct Operation {
    std::string name;
    Lines covers; ///< The exported operations that it stands for, as the linker names them.
    std::function<Trial()> make;

    /// What it does that can fail: the calls, and how each allocation's failure ends it, runs of
    /// equal endings given once.
    Steps steps = {};
    std::vector<Ending> endingsWithoutMemory = {};

    /// How it ends when nothing is made to fail, and what its trial shows then.
    Ending normal = {"returned 0", {}, {}};
    std::string shown = "";

    /// How it ends when there is nothing to receive in the place of the given frame.
    std::function<Ending(std::size_t frame)> endingWithout = [](std::size_t) {
        return Ending{"returned -1", {}, {}};
    };

    bool unchanged = false; ///< After a failure the trial shows what it showed before.
    bool repeats = false;   ///< After a failure the same trial can be run, and ends as it should.
    bool once = false;      ///< Only the first success of the process does it.
    bool leavesContext = false; ///< It may leave one that nobody holds.

    // The frames of the message that it sends or receives, for those that can be told to go on
    // where they stopped.
    Lines sends = {};
    Lines receives = {};
};

std::ostream& operator<<(std::ostream& out, const Operation& operation);

} // namespace faults

#endif
