#include "faults/Walk.h"

#include "faults/Calls.h"
#include "faults/Experiment.h"
#include "faults/Leaks.h"
#include "faults/Peer.h"
#include "support/Stdout.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace faults {

namespace {

/// What must come of an experiment.
struct Expected {
    Ending ending;
    int openSockets = 0;
    bool closesTwice = false; ///< Whether a frame is.
    int contexts = 0;
};

Lines functionsOf(const Steps& steps)
{
    Lines functions;
    for (const Call& call : steps.calls) {
        functions.push_back(call.function);
    }
    return functions;
}

/// "std::runtime_error: it broke", and the lines of the layers that saw it.
Ending thrown(const Call& call, const std::string& type, const std::string& text)
{
    Ending ending = {call.swallowed ? "returned 0" : "std::" + type + ": " + text, {}, call.lost};
    for (const std::string& prefix : call.prefixes) {
        ending.lines.push_back(prefix + text);
    }
    return ending;
}

/// How `operation` ends when `call` fails with `error`.
Ending endingOf(const Operation& operation, const Call& call, const Fault& fault)
{
    if (call.consequence == Consequence::ignored) {
        return operation.normal;
    }
    if (call.consequence == Consequence::logged) {
        Ending ending = operation.normal;
        ending.lines.insert(ending.lines.begin() + static_cast<std::ptrdiff_t>(call.position),
                            call.text + (fault.nthText != 0 ? "" : textOf(fault.error)));
        return ending;
    }
    if (call.function == "zmq_recvmsg" && fault.error == EAGAIN) {
        return operation.endingWithout(call.frame);
    }
    if (!call.detailed) {
        return thrown(call, "runtime_error", call.text);
    }
    if (fault.nthText != 0) {
        return thrown(call, "logic_error", "basic_string::_M_construct null not valid");
    }
    return thrown(call, "runtime_error", call.text + textOf(fault.error) + call.after);
}

/// How many more sockets are open after a failure behind the first `made` calls.
int keptAt(const Steps& steps, std::size_t made)
{
    return made < steps.calls.size() ? steps.calls[made].kept : steps.opens;
}

std::string messages(const Lines& first, const Lines& second)
{
    return first.empty() ? shown(second) : shown(first) + " " + shown(second);
}

/// What the peer of a send has in the end that stopped after `sent` frames and was then made once
/// more. An unfinished message goes on with the next one.
std::string heard(const Lines& frames, std::size_t sent)
{
    Lines first(frames.begin(), frames.begin() + static_cast<std::ptrdiff_t>(sent));
    if (sent == frames.size()) {
        return messages(first, frames);
    }
    first.insert(first.end(), frames.begin(), frames.end());
    return shown(first);
}

/// What a receive finds after one that stopped behind `got` frames: what is left of the message,
/// or else the next message.
std::string found(const Lines& frames, std::size_t got)
{
    return got == frames.size()
               ? shown(frames)
               : shown({frames.begin() + static_cast<std::ptrdiff_t>(got), frames.end()});
}

void expectWorksAgain(const Operation& operation, const Seen& seen)
{
    if (seen.hasSocket) {
        EXPECT_TRUE(seen.keepsSocket);
        EXPECT_THAT(seen.callsOfConnecting, testing::IsEmpty()) << "there is no second attempt";
    }
    if (!seen.ranAgain) {
        return;
    }
    if (!operation.sends.empty()) {
        EXPECT_EQ(seen.endingAgain, operation.normal);
        EXPECT_EQ(seen.shownAgain, heard(operation.sends, seen.sent));
    } else if (!operation.receives.empty()) {
        EXPECT_EQ(seen.shownAgain, found(operation.receives, seen.got));
    } else {
        EXPECT_EQ(seen.endingAgain, operation.normal);
        EXPECT_EQ(seen.shownAgain, operation.shown);
    }
}

/// What holds after every experiment, whatever failed.
void expectOrder(const Operation& operation, const Seen& seen, const Expected& expected)
{
    EXPECT_EQ(seen.openSockets, expected.openSockets);
    EXPECT_EQ(seen.hasSocket, seen.hasPattern && seen.openBefore + expected.openSockets > 0);
    EXPECT_EQ(seen.contexts, expected.contexts);
    EXPECT_EQ(seen.leftSockets, leaks::socketsOfABroker * seen.brokers);
    EXPECT_EQ(seen.closedFrames, seen.madeFrames + (expected.closesTwice ? 1 : 0));
    EXPECT_TRUE(seen.mutexFree);
    EXPECT_EQ(seen.recorded, seen.recordedBefore || expected.openSockets >= leaks::socketsOfABroker)
        << "a broker is recorded when it runs";
    expectWorksAgain(operation, seen);
}

Expected expectedSuccess(const Operation& operation)
{
    Expected expected = {operation.normal, operation.steps.opens};
    for (const Call& call : operation.steps.calls) {
        expected.contexts += call.function == "zmq_ctx_new" ? 1 : 0;
    }
    return expected;
}

void expectSuccess(const Operation& operation, const Seen& seen)
{
    EXPECT_FALSE(seen.happened);
    EXPECT_EQ(seen.ending, operation.normal);
    EXPECT_EQ(seen.calls, functionsOf(operation.steps));
    EXPECT_EQ(seen.shown, operation.shown);
    expectOrder(operation, seen, expectedSuccess(operation));
}

void expectFailure(const Operation& operation, const Seen& seen, const Expected& expected)
{
    EXPECT_TRUE(seen.happened);
    EXPECT_EQ(seen.ending, expected.ending);
    if (operation.unchanged) {
        EXPECT_EQ(seen.shown,
                  expected.ending == operation.normal ? operation.shown : seen.shownBefore);
    }
    expectOrder(operation, seen, expected);
}

/// A new object is not troubled by what an earlier one went through.
void expectFreshWorks(const Operation& operation)
{
    if (!operation.once) {
        SCOPED_TRACE("afterwards, anew");
        expectSuccess(operation, experiment(operation, {}));
    }
}

/// The faults that the nth call is tried with.
std::vector<Fault> faultsOf(const Call& call, int nth)
{
    std::vector<Fault> faults;
    for (const int error : errorsOf(call.function)) {
        Fault fault;
        fault.call = nth;
        fault.error = error;
        faults.push_back(fault);
    }
    if (call.detailed && call.consequence != Consequence::ignored) {
        Fault fault = faults.back();                         // Not EAGAIN, which asks for no text.
        fault.nthText = 1 + static_cast<int>(call.position); // Each line before has asked for one.
        faults.push_back(fault);
    }
    return faults;
}

Expected expectedOf(const Operation& operation, const Call& call, const Fault& fault)
{
    Expected expected = {endingOf(operation, call, fault), call.kept, call.closesTwice};
    if (call.function == "zmq_ctx_set") {
        expected.contexts = leaks::contexts;
    }
    if (call.consequence == Consequence::ignored) {
        expected.openSockets = operation.steps.opens;
    }
    return expected;
}

int walkCalls(const Operation& operation)
{
    int injected = 0;
    int nth = 1;
    for (const Call& call : operation.steps.calls) {
        for (const Fault& fault : faultsOf(call, nth)) {
            SCOPED_TRACE("call " + std::to_string(nth) + ", " + call.function + ": " +
                         (fault.nthText != 0 ? "no text" : textOf(fault.error)));
            const Seen seen = experiment(operation, fault);
            expectFailure(operation, seen, expectedOf(operation, call, fault));
            EXPECT_EQ(seen.callsBefore, nth - 1);
            injected += seen.happened ? 1 : 0;
        }
        SCOPED_TRACE("call " + std::to_string(nth) + ", " + call.function);
        expectFreshWorks(operation);
        ++nth;
    }
    SCOPED_TRACE("no call");
    Fault none;
    none.call = nth;
    none.error = EIO;
    if (!operation.once) {
        expectSuccess(operation, experiment(operation, none));
    }
    return injected;
}

/// A frame that cannot be made empty is used all the same, one without data is not.
int walkFrames(const Operation& operation)
{
    int injected = 0;
    for (const char* function : {"zmq_msg_init", "zmq_msg_data"}) {
        for (int nth = 1; !operation.once; ++nth) {
            SCOPED_TRACE(function + (" " + std::to_string(nth)));
            Fault fault;
            fault.look = function;
            fault.nthLook = nth;
            const Seen seen = experiment(operation, fault);
            if (!seen.happened) {
                expectSuccess(operation, seen);
                break;
            }
            ++injected;
            if (fault.look == "zmq_msg_init") {
                expectFailure(operation, seen, expectedSuccess(operation));
                continue;
            }
            Call call = operation.steps.calls.at(static_cast<std::size_t>(seen.callsBefore) - 1);
            call.lost = call.lostWithoutData;
            expectFailure(operation, seen,
                          {thrown(call, "logic_error", call.withoutData), call.kept});
        }
    }
    return injected;
}

std::size_t inCommon(const Lines& one, const Lines& other)
{
    const auto ends = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
    return static_cast<std::size_t>(ends.first - one.begin());
}

int walkAllocations(const Operation& operation)
{
    const Lines calls = functionsOf(operation.steps);
    std::vector<Ending> endings;
    for (int nth = 1;; ++nth) {
        SCOPED_TRACE("allocation " + std::to_string(nth));
        Fault fault;
        fault.allocation = nth;
        const Seen seen = experiment(operation, fault);
        if (!seen.happened) {
            expectSuccess(operation, seen);
            EXPECT_EQ(endings, operation.endingsWithoutMemory);
            return nth - 1;
        }
        endings = endings + std::vector<Ending>{seen.ending};
        const int kept = keptAt(operation.steps, inCommon(calls, seen.calls));
        expectFailure(operation, seen, {seen.ending, kept});
        expectFreshWorks(operation);
        if (nth == 1000) {
            ADD_FAILURE() << "it never ends";
            return nth;
        }
    }
}

/// How an operation can end that ends with `ending` because of `call`, when memory runs out while
/// it does: see endingsOfFailing(). Where the failure is only logged there is no exception to make,
/// and what was logged before is safe.
std::vector<Ending> endingsOfBoth(const Call& call, const Ending& ending)
{
    std::vector<Ending> endings = endingsOfFailing(ending, call.prefixes);
    if (call.consequence == Consequence::logged) {
        endings.erase(endings.begin(),
                      endings.begin() + 2 + static_cast<std::ptrdiff_t>(call.position));
    } else if (call.swallowed) {
        endings[1].what = ending.what;
    }
    return endings;
}

/// Memory runs out while a failed call is dealt with. Each time something is given up, but never
/// more than one thing: see endingsOfFailing().
int walkBoth(const Operation& operation)
{
    int injected = 0;
    int number = 0;
    for (const Call& call : operation.steps.calls) {
        ++number;
        if (call.consequence == Consequence::ignored) {
            continue;
        }
        Fault fault;
        fault.call = number;
        fault.error = errorsOf(call.function).back();
        Expected expected = expectedOf(operation, call, fault);
        const std::vector<Ending> wanted = endingsOfBoth(call, expected.ending);
        std::vector<Ending> endings;
        for (fault.allocation = 1;; ++fault.allocation) {
            SCOPED_TRACE("call " + std::to_string(number) + ", " + call.function +
                         ", then allocation " + std::to_string(fault.allocation));
            const Seen seen = experiment(operation, fault);
            if (!seen.happened) {
                break;
            }
            ++injected;
            expected.ending = seen.ending;
            expectFailure(operation, seen, expected);
            if (std::find(endings.begin(), endings.end(), seen.ending) == endings.end()) {
                endings.push_back(seen.ending);
            }
        }
        SCOPED_TRACE("call " + std::to_string(number) + ", " + call.function + ", then memory");
        EXPECT_THAT(endings, testing::UnorderedElementsAreArray(wanted));
    }
    return injected;
}

} // namespace

Count walk(const Operation& operation)
{
    {
        support::Stdout out;
        std::puts(""); // The stream takes its buffer here and not in an operation.
    }
    Count count = {};
    count.frames = walkFrames(operation);
    count.both = walkBoth(operation);
    count.calls = walkCalls(operation);
    count.allocations = walkAllocations(operation);
    return count;
}

} // namespace faults
