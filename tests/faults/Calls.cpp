#include "faults/Calls.h"

#include "faults/Leaks.h"
#include "support/RealZmq.h"
#include "support/ZmqSpy.h"

#include <cerrno>
#include <map>
#include <utility>
#include <zmq.h>

namespace faults {

namespace {

const char* const noText = "basic_string::_M_construct null not valid";

std::string transportPrefix(const std::string& operation)
{
    return prefix("ZMQWrapper::" + operation);
}

Call failing(const std::string& function, const std::string& text, const std::string& operation)
{
    Call call;
    call.function = function;
    call.text = text;
    call.prefixes = {transportPrefix(operation)};
    return call;
}

Call undetailed(Call call)
{
    call.detailed = false;
    return call;
}

Call without(Call call, const std::string& text)
{
    call.withoutData = text;
    return call;
}

Call ofFrame(Call call, std::size_t frame)
{
    call.frame = frame;
    return call;
}

Call logging(const std::string& function, const std::string& text)
{
    Call call;
    call.function = function;
    call.text = text;
    call.consequence = Consequence::logged;
    return call;
}

Call ignoring(const std::string& function)
{
    Call call;
    call.function = function;
    call.consequence = Consequence::ignored;
    return call;
}

Steps attaches(const std::string& function, const std::string& verb, const std::string& operation,
               const std::string& endpoint)
{
    Call call = failing(function, "Failed to " + verb + " ZeroMQ Socket : ", operation);
    call.after = " : End Point : " + endpoint;
    return {{call}};
}

Call getsFrame()
{
    return failing("zmq_recvmsg", "Failed to get messagepart: ", "receive");
}

const char* textWithoutData(Use use)
{
    switch (use) {
    case Use::text:
        return noText;
    case Use::header:
        return "ZeroMQ frame without data";
    case Use::identity:
    case Use::part:
        break;
    }
    return "DataPart without data";
}

Call closesEmptyFrame()
{
    return failing("zmq_msg_close", "recv: Failed to close ZeroMQ messagepart: ", "receive");
}

} // namespace

std::string prefix(const std::string& operation)
{
    return "Error : Ostrel::" + operation + "() : ";
}

std::string binaryPrefix(const std::string& operation)
{
    return "Error : ostrel::" + operation + "() : ";
}

Steps makesContext()
{
    return {{undetailed(failing("zmq_ctx_new", "Failed to create ZeroMQ Context", "ZMQWrapper")),
             failing("zmq_ctx_set", "Failed to set ZMQ_IO_THREADS : ", "ZMQWrapper")}};
}

Steps makesSocket()
{
    Steps steps;
    steps.calls = {failing("zmq_socket", "Failed to create ZeroMQ Socket : ", "createEndpt")};
    for (const char* setting : {"mode", "idle value", "interval value", "count"}) {
        const std::string text = std::string("Failed to configure TCP Keepalive ") + setting;
        steps.calls.push_back(failing("zmq_setsockopt", text + " on socket : ", "createEndpt"));
    }
    steps.opens = 1;
    return steps;
}

Steps binds(const std::string& endpoint)
{
    return attaches("zmq_bind", "bind", "registerSender", endpoint);
}

Steps connects(const std::string& endpoint)
{
    return attaches("zmq_connect", "connect", "registerReceiver", endpoint);
}

Steps setsOption()
{
    return {{failing("zmq_setsockopt", "Failed to set ZeroMQ Socket Option : ", "setOption")}};
}

Steps sendsFrames(std::size_t count)
{
    Steps steps;
    const Call makes = makesFrame().calls.front();
    const Call sends = failing("zmq_msg_send", "Failed to send messagepart : ", "send");
    Call closes = failing("zmq_msg_close", "Failed to close ZeroMQ messagepart : ", "send");
    closes.closesTwice = true;
    for (std::size_t i = 0; i < count; ++i) {
        steps.calls.insert(steps.calls.end(), {makes, sends, closes});
    }
    return steps;
}

Steps receivesFrames(const std::vector<Use>& frames)
{
    Steps steps;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        steps.calls.push_back(ofFrame(without(getsFrame(), textWithoutData(frames[i])), i));
        steps.calls.push_back(
            failing("zmq_msg_close", "recv: Failed to close ZeroMQ messagepart:", "receive"));
        steps.calls.push_back(
            failing("zmq_getsockopt", "Failed to get ZMQ_RCVMORE Option:", "receive"));
    }
    return steps;
}

Steps findsNothing()
{
    return {{getsFrame(), closesEmptyFrame()}};
}

Steps isOutOfTurn()
{
    return findsNothing();
}

Steps makesFrame(const std::string& withoutData)
{
    return {{without(undetailed(failing("zmq_msg_init_size",
                                        "Failed to initialize ZeroMQ messagepart : ", "send")),
                     withoutData)}};
}

Steps givesUpFrame()
{
    return {{ignoring("zmq_msg_close")}};
}

Steps isRefused()
{
    Steps steps = sendsFrames(1);
    steps.calls.pop_back();
    return steps + givesUpFrame();
}

Steps polls()
{
    return {{ignoring("zmq_poll")}};
}

Steps closesSocket()
{
    Steps steps;
    steps.calls = {logging("zmq_setsockopt", "Failed to set ZeroMQ Socket Linger Period : "),
                   logging("zmq_close", "Failed to close ZeroMQ Socket : ")};
    steps.opens = -1;
    for (Call& call : steps.calls) {
        call.kept = -1; // It is gone either way.
    }
    return steps;
}

Steps startsBroker(const std::string& clients, const std::string& workers)
{
    Call starts;
    starts.function = "pthread_create";
    starts.text = "Proxy thread creation failed";
    starts.detailed = false;
    starts.lost = leaks::blockForTheThread;
    Steps steps = makesSocket() + makesSocket() + binds(clients) + binds(workers) + Steps{{starts}};
    for (Call& call : steps.calls) {
        call.kept = 0; // Until the thread has them, both are closed again.
    }
    return steps;
}

Steps startsNoBroker()
{
    Steps steps = makesSocket() + makesSocket() + binds("") + closesSocket() + closesSocket();
    for (Call& call : steps.calls) {
        call.kept = 0;
        // What is logged while they are closed follows the transport's line.
        call.position = call.consequence == Consequence::logged ? 1 : 0;
    }
    return steps;
}

Steps runsProxy()
{
    return {{ignoring("zmq_proxy"), ignoring("zmq_poll")}}; // The latter inside of the former.
}

Steps within(const std::string& prefix, Steps steps)
{
    for (Call& call : steps.calls) {
        if (call.consequence == Consequence::thrown) {
            call.prefixes.push_back(prefix);
        }
    }
    return steps;
}

Steps within(const Lines& prefixes, Steps steps)
{
    for (const std::string& one : prefixes) {
        steps = within(one, std::move(steps));
    }
    return steps;
}

Steps swallowed(Steps steps)
{
    for (Call& call : steps.calls) {
        call.swallowed = true;
    }
    return steps;
}

Steps losing(const Sizes& lost, Steps steps)
{
    for (Call& call : steps.calls) {
        call.lost = leaks::both(call.lost, lost);
        call.lostWithoutData = leaks::both(call.lostWithoutData, lost);
    }
    return steps;
}

Ending returns(long result)
{
    return {"returned " + std::to_string(result), {}, {}};
}

namespace {

Ending ends(const std::string& type, const std::string& text, const Lines& prefixes)
{
    Ending ending = {"std::" + type + ": " + text, {}, {}};
    for (const std::string& one : prefixes) {
        ending.lines.push_back(one + text);
    }
    return ending;
}

} // namespace

Ending withoutMemory(const Lines& prefixes, const Sizes& lost)
{
    Ending ending = ends("bad_alloc", "std::bad_alloc", prefixes);
    ending.lost = lost;
    return ending;
}

Ending refused(const std::string& text, const Lines& prefixes)
{
    return ends("logic_error", text, prefixes);
}

Ending fails(const std::string& text, const Lines& prefixes)
{
    return ends("runtime_error", text, prefixes);
}

std::vector<Ending> endingsOfFailing(const Ending& ending, const Lines& prefixes)
{
    std::vector<Ending> endings = {ending, withoutMemory(prefixes, ending.lost)};
    for (std::size_t i = 0; i < ending.lines.size(); ++i) {
        endings.push_back(ending);
        Lines& lines = endings.back().lines;
        lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(i));
    }
    return endings;
}

std::vector<Ending> receivingTexts(std::size_t count)
{
    const std::string receiving = transportPrefix("receive");
    return times(count, {withoutMemory({prefix("StringMsg::setNumParts"), receiving}),
                         withoutMemory({receiving})});
}

std::vector<Ending> receivingParts(std::size_t count)
{
    const std::string receiving = transportPrefix("receive");
    return times(count, {withoutMemory({binaryPrefix("IpcMsg::setNumParts"), receiving}),
                         withoutMemory({receiving})});
}

std::vector<Ending> within(const Lines& prefixes, std::vector<Ending> endings)
{
    for (Ending& ending : endings) {
        const std::string text = ending.what.substr(ending.what.find(": ") + 2);
        for (const std::string& one : prefixes) {
            ending.lines.push_back(one + text);
        }
    }
    return endings;
}

std::vector<Ending> losing(const Sizes& lost, std::vector<Ending> endings)
{
    for (Ending& ending : endings) {
        ending.lost = leaks::both(ending.lost, lost);
    }
    return endings;
}

std::vector<Ending> operator+(std::vector<Ending> first, const std::vector<Ending>& second)
{
    for (const Ending& ending : second) {
        if (first.empty() || !(first.back() == ending)) {
            first.push_back(ending);
        }
    }
    return first;
}

std::vector<Ending> times(std::size_t count, const std::vector<Ending>& endings)
{
    std::vector<Ending> all;
    for (std::size_t i = 0; i < count; ++i) {
        all = std::move(all) + endings;
    }
    return all;
}

std::vector<int> errorsOf(const std::string& function)
{
    static const std::map<std::string, std::vector<int>> errors = {
        {"zmq_ctx_new", {EMFILE, ENOMEM}},
        {"zmq_ctx_set", {EINVAL, EFAULT}},
        {"zmq_socket", {EMFILE, ETERM, EFAULT}},
        {"zmq_close", {ENOTSOCK}},
        {"zmq_setsockopt", {EINVAL, ETERM, ENOTSOCK, EINTR}},
        {"zmq_getsockopt", {EINVAL, ETERM, ENOTSOCK, EINTR}},
        {"zmq_bind", {EADDRINUSE, EACCES, ETERM, EMTHREAD}},
        {"zmq_connect", {EINVAL, ECONNREFUSED, ETERM, EMTHREAD}},
        {"zmq_msg_init_size", {ENOMEM}},
        {"zmq_msg_send", {EAGAIN, EINTR, ETERM, ENOTSOCK, EFSM, EHOSTUNREACH, ENOMEM}},
        {"zmq_msg_close", {EFAULT}},
        {"zmq_recvmsg", {EAGAIN, EINTR, ETERM, ENOTSOCK, EFSM, ENOMEM}},
        {"zmq_poll", {EINTR, ETERM}},
        {"zmq_proxy", {ETERM, EINTR}},
        {"pthread_create", {EAGAIN, EPERM}},
    };
    return errors.at(function);
}

std::string textOf(int error)
{
    const support::NotWatched notWatched;
    return REAL(zmq_strerror)(error);
}

Steps operator+(Steps first, const Steps& second)
{
    for (Call call : second.calls) {
        call.kept += first.opens;
        first.calls.push_back(std::move(call));
    }
    first.opens += second.opens;
    return first;
}

bool operator==(const Ending& one, const Ending& other)
{
    return one.what == other.what && one.lines == other.lines && one.lost == other.lost;
}

std::ostream& operator<<(std::ostream& out, const Ending& ending)
{
    out << ending.what;
    for (const std::string& line : ending.lines) {
        out << "\n  logged: " << line;
    }
    for (const std::size_t size : ending.lost) {
        out << "\n  lost: " << size << " bytes";
    }
    return out << '\n';
}

std::ostream& operator<<(std::ostream& out, const Operation& operation)
{
    return out << operation.name;
}

} // namespace faults
