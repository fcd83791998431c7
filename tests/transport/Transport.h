#ifndef OSTREL_TESTS_TRANSPORT_TRANSPORT_H
#define OSTREL_TESTS_TRANSPORT_TRANSPORT_H

#include "ostrel/IpcMsg.h"
#include "ostrel/StringMsg.h"
#include "ostrel/ZMQWrapper.h"
#include "support/AllocFault.h"
#include "support/Endpoint.h"
#include "support/RawSocket.h"
#include "support/Stdout.h"
#include "support/SyslogSpy.h"
#include "support/ZmqSpy.h"

#include <cstdio>
#include <exception>
#include <string>
#include <type_traits>
#include <vector>
#include <zmq.h>

namespace transport {

using support::Frames;
using Lines = std::vector<std::string>;

/// A call to ZeroMQ that is to fail; without a name it is the nth of those that can. See ZmqSpy.
struct Fault {
    std::string function;
    int nth;
    int error;
};

/// Everything that an operation shows to the outside.
struct Outcome {
    std::string end;     ///< "returned 3", "returned", or "std::runtime_error: " and the text.
    Lines calls;         ///< What it did with ZeroMQ; see ZmqSpy::takeActions().
    Lines lines;         ///< What it wrote to syslog.
    std::string printed; ///< What it printed.
    bool allocFailed;    ///< Whether the allocation that was to fail was asked for.
};

/// Such as "std::runtime_error: it broke"; only the exact standard types are known.
std::string describe(const std::exception_ptr& error);

/// Fails the running test when a planned fault was never met.
void expectAllMet(const support::ZmqSpy& spy);

/// Runs `operation` and tells what came of it. The first socket that it uses is called s1.
/// `failingAlloc`: the allocation that is to fail, 0 for none.
template <typename Operation>
Outcome observe(Operation operation, const std::vector<Fault>& faults = {}, int failingAlloc = 0)
{
    Outcome outcome = {};
    std::exception_ptr error;
    {
        support::Stdout output;
        std::puts(""); // The stream gets its buffer here and not from an allocation that counts.
        output.take();
        support::SyslogSpy log;
        support::ZmqSpy spy;
        for (const Fault& fault : faults) {
            spy.fail(fault.function, fault.nth, fault.error);
        }
        using Result = decltype(operation());
        long result = 0;
        {
            const support::AllocFault allocFault(failingAlloc);
            try {
                if constexpr (std::is_void_v<Result>) {
                    operation();
                } else {
                    result = operation();
                }
            } catch (...) {
                error = std::current_exception();
            }
            outcome.allocFailed = allocFault.happened();
        }
        outcome.end = std::is_void_v<Result> ? "returned" : "returned " + std::to_string(result);
        outcome.calls = spy.takeActions();
        outcome.lines = log.takeLines();
        outcome.printed = output.take();
        expectAllMet(spy);
    }
    if (error) {
        outcome.end = describe(error);
    }
    return outcome;
}

/// What operations append for these errors.
struct ErrorText {
    int error;
    const char* text;
};

constexpr ErrorText notASocket = {ENOTSOCK, "Socket operation on non-socket"};
constexpr ErrorText wrongState = {EFSM, "Operation cannot be accomplished in current state"};
constexpr ErrorText terminated = {ETERM, "Context was terminated"};
constexpr ErrorText interrupted = {EINTR, "Interrupted system call"};
constexpr ErrorText tryAgain = {EAGAIN, "Resource temporarily unavailable"};
constexpr ErrorText noMemory = {ENOMEM, "Cannot allocate memory"};
constexpr ErrorText invalid = {EINVAL, "Invalid argument"};

/// What comes of ZeroMQ having no text for its error.
constexpr const char* noTextEnd = "std::logic_error: basic_string::_M_construct null not valid";
constexpr const char* noText = "basic_string::_M_construct null not valid";

/// What an operation does when one of its calls fails.
struct FailureRule {
    std::string function; ///< The call, by its name.
    std::string text;     ///< What the exception says,
    bool withZmqText;     ///< and whether ZeroMQ's text follows.
    /// What is still done afterwards; "strerror" stands for asking for ZeroMQ's text.
    Lines after;
};

/// One walk through an operation: its calls when all goes well, and what its failures do.
struct Walk {
    Lines calls;
    std::string prefix;
    std::vector<FailureRule> rules;
};

/// The number of calls of a walk that can fail.
int failingPlaces(const Walk& walk);

/// What is expected when the `nth` call that can fail does so; `textMissing` when ZeroMQ has no
/// text then. `printed` is left empty.
Outcome expectedFailure(const Walk& walk, int nth, const ErrorText& error,
                        bool textMissing = false);

/// The number of `calls` that begin with `function` and did not fail.
int countGood(const Lines& calls, const std::string& function);

/// The walks of the transfers. A frame to send is given with its flags.
struct SentFrame {
    std::string bytes;
    int flags;
};
Walk sendWalk(const std::vector<SentFrame>& frames);
Walk receiveWalk(int frames, int flags);

/// All that a failed operation shows, but for what it prints.
void expectSame(const Outcome& outcome, const Outcome& expected);

/// The same as what `end` of the outcome tells, as the one syslog line with `prefix`.
std::string lineFor(const std::string& prefix, const Outcome& outcome);

constexpr const char* sendPrefix = "Error : Ostrel::ZMQWrapper::send() : ";
constexpr const char* receivePrefix = "Error : Ostrel::ZMQWrapper::receive() : ";

/// Waits until `socket`, one of the library's, is ready for `event`; false when it never is.
bool await(void* socket, short event);

/// What ZeroMQ itself reads from `socket`, one of the library's: the rest of a message, or the
/// next.
Frames readFrames(void* socket);

/// The value of an option of one of the library's sockets.
int optionOf(void* socket, int option);
std::string boundEndpointOf(void* socket);

/// A DEALER of the library, connected to one that is bare ZeroMQ.
class Linked {
public:
    explicit Linked(const std::string& transport = "ipc");
    ~Linked();
    Linked(const Linked&) = delete;
    Linked& operator=(const Linked&) = delete;

    /// The peer sends, and the message is there when this returns.
    void deliver(const Frames& frames);

private:
    support::IpcEndpoint mIpc;

public:
    ostrel::ZMQWrapper* const wrapper;
    support::RawSocket peer;
    void* const socket;
};

/// A message with these parts, and the parts of a message.
ostrel::StringMsg text(const Frames& parts);
Frames partsOf(ostrel::StringMsg& msg);
ostrel::IpcMsg binary(int type, int subType, const Frames& parts);
Frames partsOf(ostrel::IpcMsg& msg);

} // namespace transport

#endif
