#include "Transport.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <new>
#include <stdexcept>
#include <typeinfo>

using ostrel::IpcMsg;
using ostrel::StringMsg;
using ostrel::ZMQWrapper;
using support::NotWatched;

namespace transport {

namespace {

constexpr int patience = 20000; // milliseconds

bool isCallOf(const std::string& call, const std::string& function)
{
    return call.compare(0, function.size() + 1, function + "(") == 0;
}

bool canFail(const std::string& call)
{
    return !isCallOf(call, "zmq_msg_init") && !isCallOf(call, "zmq_strerror");
}

const FailureRule& ruleFor(const Walk& walk, const std::string& call)
{
    for (const FailureRule& rule : walk.rules) {
        if (isCallOf(call, rule.function)) {
            return rule;
        }
    }
    std::fprintf(stderr, "no rule for %s\n", call.c_str());
    std::abort();
}

std::string shown(const std::string& bytes)
{
    std::string result;
    for (const char c : bytes) {
        char escape[5] = {c, '\0'};
        if (c < 0x20 || c == 0x7f || c == '"' || c == '\\') {
            std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned char>(c));
        }
        result += escape;
    }
    return result;
}

} // namespace

std::string describe(const std::exception_ptr& error)
{
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& failure) {
        const std::string text = std::string(": ") + failure.what();
        if (typeid(failure) == typeid(std::runtime_error)) {
            return "std::runtime_error" + text;
        }
        if (typeid(failure) == typeid(std::logic_error)) {
            return "std::logic_error" + text;
        }
        if (typeid(failure) == typeid(std::bad_alloc)) {
            return "std::bad_alloc" + text;
        }
        return typeid(failure).name() + text;
    } catch (...) {
        return "something that is not a std::exception";
    }
}

void expectAllMet(const support::ZmqSpy& spy)
{
    EXPECT_TRUE(spy.failed()) << "a call that was to fail was never made";
}

int failingPlaces(const Walk& walk)
{
    int places = 0;
    for (const std::string& call : walk.calls) {
        places += canFail(call) ? 1 : 0;
    }
    return places;
}

Outcome expectedFailure(const Walk& walk, int nth, const ErrorText& error, bool textMissing)
{
    Outcome expected = {};
    for (const std::string& call : walk.calls) {
        expected.calls.push_back(call);
        if (!canFail(call) || --nth > 0) {
            continue;
        }
        expected.calls.back() += " !";
        const FailureRule& rule = ruleFor(walk, call);
        const bool noTextHere = textMissing && rule.withZmqText;
        const std::string what =
            noTextHere ? noText : rule.text + (rule.withZmqText ? error.text : "");
        for (const std::string& step : rule.after) {
            expected.calls.push_back(step != "strerror"
                                         ? step
                                         : "zmq_strerror(" + std::to_string(error.error) + ")" +
                                               (noTextHere ? " !" : ""));
        }
        expected.end = (noTextHere ? "std::logic_error: " : "std::runtime_error: ") + what;
        expected.lines = {walk.prefix + what};
        return expected;
    }
    std::fprintf(stderr, "the walk is over\n");
    std::abort();
}

int countGood(const Lines& calls, const std::string& function)
{
    int count = 0;
    for (const std::string& call : calls) {
        count += isCallOf(call, function) && call.back() != '!' ? 1 : 0;
    }
    return count;
}

Walk sendWalk(const std::vector<SentFrame>& frames)
{
    Walk walk;
    walk.prefix = sendPrefix;
    for (const SentFrame& frame : frames) {
        walk.calls.insert(walk.calls.end(),
                          {"zmq_msg_init()",
                           "zmq_msg_init_size(" + std::to_string(frame.bytes.size()) + ")",
                           "zmq_msg_send(s1, " + std::to_string(frame.flags) + ", \"" +
                               shown(frame.bytes) + "\")",
                           "zmq_msg_close()"});
    }
    const Lines after = {"strerror", "zmq_msg_close()"};
    walk.rules = {
        {"zmq_msg_init_size",
         "Failed to initialize ZeroMQ messagepart : ",
         false,
         {"zmq_msg_close()"}},
        {"zmq_msg_send", "Failed to send messagepart : ", true, after},
        {"zmq_msg_close", "Failed to close ZeroMQ messagepart : ", true, after},
    };
    return walk;
}

Walk receiveWalk(int frames, int flags)
{
    Walk walk;
    walk.prefix = receivePrefix;
    for (int i = 0; i < frames; ++i) {
        walk.calls.insert(walk.calls.end(),
                          {"zmq_msg_init()", "zmq_recvmsg(s1, " + std::to_string(flags) + ")",
                           "zmq_msg_close()", "zmq_getsockopt(s1, 13)"});
    }
    walk.rules = {
        {"zmq_recvmsg", "Failed to get messagepart: ", true, {"zmq_msg_close()", "strerror"}},
        {"zmq_msg_close", "recv: Failed to close ZeroMQ messagepart:", true, {"strerror"}},
        {"zmq_getsockopt", "Failed to get ZMQ_RCVMORE Option:", true, {"strerror"}},
    };
    return walk;
}

void expectSame(const Outcome& outcome, const Outcome& expected)
{
    EXPECT_EQ(outcome.end, expected.end);
    EXPECT_EQ(outcome.calls, expected.calls);
    EXPECT_EQ(outcome.lines, expected.lines);
}

std::string lineFor(const std::string& prefix, const Outcome& outcome)
{
    // The type ends at the first ": "; "std::" has no blank.
    return prefix + outcome.end.substr(outcome.end.find(": ") + 2);
}

bool await(void* socket, short event)
{
    const NotWatched notWatched;
    zmq_pollitem_t item = {socket, 0, event, 0};
    return zmq_poll(&item, 1, patience) == 1;
}

Frames readFrames(void* socket)
{
    const NotWatched notWatched;
    Frames frames;
    EXPECT_TRUE(await(socket, ZMQ_POLLIN)) << "no message";
    int more = 1;
    while (more != 0) {
        zmq_msg_t msg;
        zmq_msg_init(&msg);
        if (zmq_msg_recv(&msg, socket, ZMQ_DONTWAIT) == -1) {
            zmq_msg_close(&msg);
            ADD_FAILURE() << "no frame";
            return frames;
        }
        frames.emplace_back(static_cast<const char*>(zmq_msg_data(&msg)), zmq_msg_size(&msg));
        more = zmq_msg_more(&msg);
        zmq_msg_close(&msg);
    }
    return frames;
}

int optionOf(void* socket, int option)
{
    const NotWatched notWatched;
    int value = 0;
    std::size_t size = sizeof value;
    EXPECT_EQ(zmq_getsockopt(socket, option, &value, &size), 0);
    return value;
}

std::string boundEndpointOf(void* socket)
{
    const NotWatched notWatched;
    char bound[256] = "";
    std::size_t size = sizeof bound;
    EXPECT_EQ(zmq_getsockopt(socket, ZMQ_LAST_ENDPOINT, bound, &size), 0);
    return bound;
}

Linked::Linked(const std::string& transport)
    : wrapper(ZMQWrapper::getInstance()), peer(ZMQ_DEALER), socket(wrapper->createEndpt(ZMQ_DEALER))
{
    wrapper->registerReceiver(socket,
                              peer.bind(transport == "ipc" ? mIpc.text() : "tcp://127.0.0.1:*"));
}

Linked::~Linked()
{
    wrapper->deleteEndpt(socket);
}

void Linked::deliver(const Frames& frames)
{
    peer.send(frames);
    EXPECT_TRUE(await(socket, ZMQ_POLLIN)) << "the message did not arrive";
}

StringMsg text(const Frames& parts)
{
    StringMsg msg(0);
    for (const std::string& part : parts) {
        msg.insertPart(static_cast<unsigned int>(msg.getNumParts()), part);
    }
    return msg;
}

Frames partsOf(StringMsg& msg)
{
    Frames parts;
    for (int i = 0; i < msg.getNumParts(); ++i) {
        parts.push_back(msg[static_cast<unsigned int>(i)]);
    }
    return parts;
}

IpcMsg binary(int type, int subType, const Frames& parts)
{
    IpcMsg msg(type, subType);
    for (const std::string& part : parts) {
        msg.insertPart(static_cast<unsigned int>(msg.getNumParts()), part.data(),
                       static_cast<int>(part.size()));
    }
    return msg;
}

Frames partsOf(IpcMsg& msg)
{
    Frames parts;
    for (int i = 0; i < msg.getNumParts(); ++i) {
        const ostrel::DataPart& part = msg[static_cast<unsigned int>(i)];
        EXPECT_EQ(part.mData == nullptr, part.mSize <= 0) << "part " << i;
        parts.emplace_back(part.mData == nullptr ? "" : part.mData,
                           static_cast<std::size_t>(part.mData == nullptr ? 0 : part.mSize));
    }
    return parts;
}

} // namespace transport
