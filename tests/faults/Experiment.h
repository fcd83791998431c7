#ifndef OSTREL_TESTS_FAULTS_EXPERIMENT_H
#define OSTREL_TESTS_FAULTS_EXPERIMENT_H

#include "faults/Operation.h"

#include <string>

namespace faults {

/// What is made to fail.
struct Fault {
    int call = 0;    ///< The nth call that can fail, from 1; 0 for none.
    int error = 0;   ///< Its error,
    int nthText = 0; ///< and whether ZeroMQ has no text for it: the nth text that is asked for.

    std::string look; ///< Or the nth call of a function that is not among these.
    int nthLook = 0;

    int allocation = 0; ///< The nth allocation, counted from the failing call if there is one.

    bool any() const
    {
        return call != 0 || !look.empty() || allocation != 0;
    }
};

/// What came of it.
struct Seen {
    bool happened; ///< Whether everything that was to fail was asked for.
    Ending ending;

    Lines calls;      ///< The calls that can fail, by their functions.
    int callsBefore;  ///< How many of them were made before the one that failed.
    int madeFrames;   ///< How many frames were made,
    int closedFrames; ///< and how often one was closed.
    std::size_t sent; ///< How many frames were sent,
    std::size_t got;  ///< and how many received.
    int openSockets;  ///< How many more are open than before,
    int openBefore;   ///< and how many that was; the peer's is not counted.
    int contexts;     ///< How many were made. Nothing in the library ends one.
    int brokers;      ///< How many were started.
    bool recorded;    ///< Whether the name is recorded as having one, and whether it was before.
    bool recordedBefore;
    bool mutexFree;

    std::string shownBefore; ///< The trial's state.
    std::string shown;

    bool hasPattern;         ///< Whether the trial is about one,
    bool hasSocket;          ///< whether that has a socket,
    bool keepsSocket;        ///< and whether it is the one that it had before, if any.
    Lines callsOfConnecting; ///< All calls of one more connectEndpoint() when it has.

    bool ranAgain; ///< Whether the same trial was run once more, and how that ended.
    Ending endingAgain;
    std::string shownAgain;

    int leftSockets; ///< How many are open when the trial is gone.
};

/// Makes a trial of `operation` and runs it with `fault`, then, if something failed, once more
/// without; gives back everything afterwards, what is lost by design too.
Seen experiment(const Operation& operation, const Fault& fault);

} // namespace faults

#endif
