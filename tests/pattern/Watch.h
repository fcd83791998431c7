#ifndef OSTREL_TESTS_PATTERN_WATCH_H
#define OSTREL_TESTS_PATTERN_WATCH_H

#include "ostrel/IpcMsg.h"
#include "ostrel/MsgPattern.h"
#include "ostrel/StringMsg.h"
#include "ostrel/ZMQWrapper.h"
#include "support/RawSocket.h"
#include "support/Stdout.h"
#include "support/SyslogSpy.h"
#include "support/ZmqSpy.h"

#include <cerrno>
#include <cstddef>
#include <exception>
#include <gtest/gtest.h>
#include <initializer_list>
#include <ostream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

/// Everything that an operation of a pattern or a channel does and that can be seen from outside.
namespace watch {

using support::Frames;
using Lines = std::vector<std::string>;

/// What one operation came to.
struct Outcome {
    /// What it returned, such as "0", or what it threw, such as "logic_error: the text"; "done" for
    /// an operation without a result.
    std::string result;
    /// What it printed on standard output.
    std::string printed;
    /// Its lines in the system log.
    Lines logged;
    /// Its calls of ZeroMQ, without those that only look at a frame.
    Lines calls;
};

inline bool operator==(const Outcome& one, const Outcome& other)
{
    return one.result == other.result && one.printed == other.printed &&
           one.logged == other.logged && one.calls == other.calls;
}

inline std::ostream& operator<<(std::ostream& out, const Outcome& outcome)
{
    out << "\n  result: " << outcome.result << "\n  printed: " << outcome.printed;
    for (const std::string& line : outcome.logged) {
        out << "\n  logged: " << line;
    }
    for (const std::string& call : outcome.calls) {
        out << "\n  call: " << call;
    }
    return out << '\n';
}

/// A failure that is no std::exception.
struct Foreign {};

/// Watches what this thread has the library do, one operation after another:
/// `Outcome outcome = watch([&] { return pattern.send(&msg); });`. The transport is made before it
/// looks, so that its making is not part of what the first pattern does. Of several, the youngest
/// sees everything.
class Watch {
public:
    Watch()
    {
        ostrel::ZMQWrapper::getInstance();
        restart();
        log.duringLine = [] { atLine().push_back(std::current_exception()); };
    }

    template <typename Operation> Outcome operator()(Operation operation)
    {
        restart();
        Outcome outcome;
        {
            support::Stdout out;
            outcome.result = resultOf(operation);
            outcome.printed = out.take();
        }
        outcome.logged = log.takeLines();
        outcome.calls = zmq.takeActions();
        return outcome;
    }

    support::SyslogSpy log;
    support::ZmqSpy zmq;

private:
    void restart()
    {
        log.takeLines();
        zmq.takeCalls();
        atLine().clear();
    }

    /// What was being handled when a line was written.
    static std::vector<std::exception_ptr>& atLine()
    {
        thread_local std::vector<std::exception_ptr> handled;
        return handled;
    }

    template <typename Operation> static std::string resultOf(Operation& operation)
    {
        try {
            if constexpr (std::is_void_v<decltype(operation())>) {
                operation();
                return "done";
            } else {
                return textOf(operation());
            }
        } catch (const std::exception& failure) {
            std::string text = nameOf(failure) + ": " + failure.what();
            for (const std::exception_ptr& logged : atLine()) {
                if (logged != std::current_exception()) {
                    text += " (not the object that was logged)";
                }
            }
            return text;
        } catch (const Foreign&) {
            return "foreign";
        }
    }

    static std::string nameOf(const std::exception& failure)
    {
        const std::type_info& type = typeid(failure);
        return type == typeid(std::logic_error)     ? "logic_error"
               : type == typeid(std::runtime_error) ? "runtime_error"
               : type == typeid(std::bad_alloc)     ? "bad_alloc"
                                                    : type.name();
    }

    static std::string textOf(const std::string& text)
    {
        return text;
    }

    static std::string textOf(int number)
    {
        return std::to_string(number);
    }
};

inline Lines joined(std::initializer_list<Lines> lists)
{
    Lines all;
    for (const Lines& list : lists) {
        all.insert(all.end(), list.begin(), list.end());
    }
    return all;
}

// What ZeroMQ is called with. Sockets are named as by ZmqSpy.

/// A new socket of a ZeroMQ type.
inline Lines created(const std::string& socket, int type)
{
    const std::string option = "zmq_setsockopt(" + socket + ", ";
    return {"zmq_socket(" + std::to_string(type) + ") = " + socket, option + "34, 1)",
            option + "36, 7200)", option + "37, 75)", option + "35, 9)"};
}

inline Lines bound(const std::string& socket, const std::string& endpoint)
{
    return {"zmq_bind(" + socket + ", \"" + endpoint + "\")"};
}

inline Lines connected(const std::string& socket, const std::string& endpoint)
{
    return {"zmq_connect(" + socket + ", \"" + endpoint + "\")"};
}

inline Lines subscribed(const std::string& socket, const std::string& filter)
{
    return {"zmq_setsockopt(" + socket + ", 6, \"" + filter + "\")"};
}

inline Lines closed(const std::string& socket)
{
    return {"zmq_setsockopt(" + socket + ", 17, 0)", "zmq_close(" + socket + ")"};
}

/// One frame of `size` bytes, sent; `shown` is how ZmqSpy shows them.
inline Lines sent(const std::string& socket, bool last, std::size_t size, const std::string& shown)
{
    return {"zmq_msg_init()", "zmq_msg_init_size(" + std::to_string(size) + ")",
            "zmq_msg_send(" + socket + ", " + (last ? "1" : "3") + ", \"" + shown + "\")",
            "zmq_msg_close()"};
}

/// One frame, received by a call with `flags`.
inline Lines received(const std::string& socket, int flags)
{
    return {"zmq_msg_init()", "zmq_recvmsg(" + socket + ", " + std::to_string(flags) + ")",
            "zmq_msg_close()", "zmq_getsockopt(" + socket + ", 13)"};
}

/// A receive that finds nothing and does not wait.
inline Lines missed(const std::string& socket)
{
    return {"zmq_msg_init()", "zmq_recvmsg(" + socket + ", 1)", "zmq_msg_close()"};
}

// What fails inside an operation, call by call, always with EIO.

struct Failure {
    std::string what;
    /// The lines that it leaves in the system log, those of the innermost layer first.
    Lines logged;
    /// What the operation has printed by then.
    std::string printed;
};

using Failures = std::vector<Failure>;

inline Failure transportFailure(const std::string& operation, const std::string& what)
{
    return {what, {"Error : Ostrel::ZMQWrapper::" + operation + "() : " + what}, ""};
}

/// What can fail while a socket is made.
inline Failures creationFailures()
{
    Failures failures;
    for (const std::string what : {"Failed to create ZeroMQ Socket : ",
                                   "Failed to configure TCP Keepalive mode on socket : ",
                                   "Failed to configure TCP Keepalive idle value on socket : ",
                                   "Failed to configure TCP Keepalive interval value on socket : ",
                                   "Failed to configure TCP Keepalive count on socket : "}) {
        failures.push_back(transportFailure("createEndpt", what + "Input/output error"));
    }
    return failures;
}

inline Failure optionFailure()
{
    return transportFailure("setOption", "Failed to set ZeroMQ Socket Option : Input/output error");
}

inline Failure bindFailure(const std::string& endpoint,
                           const std::string& why = "Input/output error")
{
    return transportFailure("registerSender",
                            "Failed to bind ZeroMQ Socket : " + why + " : End Point : " + endpoint);
}

inline Failure connectFailure(const std::string& endpoint,
                              const std::string& why = "Input/output error")
{
    return transportFailure("registerReceiver", "Failed to connect ZeroMQ Socket : " + why +
                                                    " : End Point : " + endpoint);
}

/// What can fail while `frames` frames are sent.
inline Failures sendFailures(std::size_t frames)
{
    Failures failures;
    for (std::size_t i = 0; i < frames; ++i) {
        for (const char* what : {"Failed to initialize ZeroMQ messagepart : ",
                                 "Failed to send messagepart : Input/output error",
                                 "Failed to close ZeroMQ messagepart : Input/output error"}) {
            failures.push_back(transportFailure("send", what));
        }
    }
    return failures;
}

/// What can fail while frames that wait are received, where each of `printed` is what a frame has
/// printed before it can fail and what it has printed once it is there.
inline Failures receiveFailures(const std::vector<std::pair<std::string, std::string>>& printed)
{
    Failures failures;
    std::string before;
    for (const auto& [attempt, arrival] : printed) {
        before += attempt;
        failures.push_back(
            transportFailure("receive", "Failed to get messagepart: Input/output error"));
        failures.back().printed = before;
        before += arrival;
        for (const char* what : {"recv: Failed to close ZeroMQ messagepart:Input/output error",
                                 "Failed to get ZMQ_RCVMORE Option:Input/output error"}) {
            failures.push_back(transportFailure("receive", what));
            failures.back().printed = before;
        }
    }
    return failures;
}

inline Failure loggedWith(const std::string& prefix, Failure failure)
{
    failure.logged.push_back(prefix + failure.what);
    return failure;
}

/// The same failures inside a layer that logs them too.
inline Failures loggedWith(const std::string& prefix, const Failures& failures)
{
    Failures logged;
    for (const Failure& failure : failures) {
        logged.push_back(loggedWith(prefix, failure));
    }
    return logged;
}

/// The same failures inside an operation that has printed `printed` before.
inline Failures printedFirst(const std::string& printed, const Failures& failures)
{
    Failures later;
    for (const Failure& failure : failures) {
        later.push_back({failure.what, failure.logged, printed + failure.printed});
    }
    return later;
}

/// What an operation comes to in which `failure` happens; its calls are those that were `seen`.
inline Outcome failed(const Failure& failure, const Outcome& seen)
{
    return {"runtime_error: " + failure.what, failure.printed, failure.logged, seen.calls};
}

/// An operation whose nth call (from 1) fails makes the calls before it and that one; after it,
/// only those that ask for the error's text and give back what was begun.
inline void expectStopAt(std::size_t nth, const Lines& success, const Lines& calls)
{
    Lines expected;
    std::size_t count = 0;
    for (const std::string& call : success) {
        expected.push_back(call);
        if (call != "zmq_msg_init()" && ++count == nth) {
            break;
        }
    }
    std::string& last = expected.back();
    last = last.substr(0, last.rfind(')') + 1) + " !";
    ASSERT_LE(expected.size(), calls.size());
    const auto stop = calls.begin() + static_cast<std::ptrdiff_t>(expected.size());
    EXPECT_EQ(Lines(calls.begin(), stop), expected);
    for (auto call = stop; call != calls.end(); ++call) {
        EXPECT_TRUE(*call == "zmq_strerror(5)" || *call == "zmq_msg_close()" ||
                    *call == "zmq_close(s1)")
            << *call;
    }
}

/// Has `operate(pattern)` fail at its first call of ZeroMQ, then, with a new pattern from
/// `make(watch)`, at its second, and so on through `failures`; after each, `after(watch, pattern,
/// n)` looks at the state, n counting the failures from 1. Then it gets through, with the calls of
/// `success`.
template <typename Make, typename Operate, typename After>
void throughFailures(const Failures& failures, const Lines& success, Make make, Operate operate,
                     After after)
{
    for (std::size_t nth = 1; nth <= failures.size() + 1; ++nth) {
        SCOPED_TRACE("call " + std::to_string(nth));
        Watch watch;
        const auto pattern = make(watch);
        watch.zmq.failNth(static_cast<int>(nth), EIO);
        const Outcome outcome = watch([&] { return operate(*pattern); });
        if (nth > failures.size()) {
            EXPECT_FALSE(watch.zmq.failed());
            EXPECT_EQ(outcome.calls, success);
            return;
        }
        EXPECT_TRUE(watch.zmq.failed());
        EXPECT_EQ(outcome, failed(failures[nth - 1], outcome));
        expectStopAt(nth, success, outcome.calls);
        after(watch, *pattern, nth);
    }
}

// Messages.

/// The header frame of a binary message.
inline std::string header(int type, int subType)
{
    std::string bytes;
    for (const int number : {type, subType}) {
        for (const int shift : {24, 16, 8, 0}) {
            bytes += static_cast<char>(static_cast<unsigned int>(number) >> shift & 0xffU);
        }
    }
    return bytes;
}

inline ostrel::StringMsg text(const Frames& parts)
{
    ostrel::StringMsg msg(0);
    for (const std::string& part : parts) {
        msg.insertPart(static_cast<unsigned int>(msg.getNumParts()), part);
    }
    return msg;
}

inline ostrel::IpcMsg binary(int type, int subType, const Frames& parts)
{
    ostrel::IpcMsg msg(type, subType);
    for (const std::string& part : parts) {
        msg.insertPart(static_cast<unsigned int>(msg.getNumParts()), part.data(),
                       static_cast<int>(part.size()));
    }
    return msg;
}

inline Frames partsOf(ostrel::StringMsg& msg)
{
    Frames parts;
    for (int i = 0; i < msg.getNumParts(); ++i) {
        parts.push_back(msg[static_cast<unsigned int>(i)]);
    }
    return parts;
}

inline Frames partsOf(ostrel::IpcMsg& msg)
{
    Frames parts;
    for (int i = 0; i < msg.getNumParts(); ++i) {
        const ostrel::DataPart& part = msg[static_cast<unsigned int>(i)];
        parts.emplace_back(part.mData, part.mData + part.mSize);
    }
    return parts;
}

// What a binary receive prints.

const std::string attempt = "ZMQWrapper::receive: about to receive the msg\n";

inline std::string gotIdentity(int size)
{
    return "get the identity size " + std::to_string(size) + "\n";
}

inline std::string gotHeader()
{
    return "get the msg hdr size 8\n";
}

inline std::string gotPart(int size)
{
    return "get the msg size " + std::to_string(size) + "\n";
}

inline std::string gotNoHeader(int size)
{
    return "ZMQWrapper::receive: something is messed up ... size=" + std::to_string(size) + "\n";
}

/// Every property, and two numbers beside them.
constexpr int firstProperty = -1;
constexpr int lastProperty = 6;

/// `property` as a property, whether there is such a one or not.
inline ostrel::channel_prop_t asProperty(int property)
{
    return static_cast<ostrel::channel_prop_t>(property);
}

/// Has `publish()` called until `subscriber` hears something, and then until it hears nothing but
/// what comes later: a publisher does not know when its subscribers are there.
template <typename Publish, typename Mark>
void untilHeard(support::RawSocket& subscriber, Publish publish, const Frames& marked, Mark mark)
{
    int tries = 0;
    do {
        ASSERT_LT(++tries, 2000) << "the subscriber hears nothing";
        publish();
    } while (subscriber.receive(10).empty());
    mark();
    Frames heard;
    do {
        heard = subscriber.receive();
        ASSERT_FALSE(heard.empty()) << "the last of the first messages is missing";
    } while (heard != marked);
}

} // namespace watch

#endif
