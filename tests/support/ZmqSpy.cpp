#include "support/ZmqSpy.h"

#include "ostrel/MsgDealerWorkerPattern.h"
#include "support/AllocFault.h"
#include "support/RealZmq.h"

#include <cerrno>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <pthread.h>
#include <zmq.h>

namespace {

struct Plan {
    std::string function; // empty: any that can fail
    int nth;
    int error;
};

std::mutex mutex;
bool watching = false;
bool allThreads = false;
std::thread::id watched;
std::vector<std::string> calls;
std::map<const void*, std::string> sockets;
std::vector<Plan> plans;
std::function<void(const std::string&)> hook;

/// Depth of ours in the call stack: what ZeroMQ calls inside is not the library's doing, and its
/// allocations must not be failed: it aborts.
thread_local int depth = 0;

using Inside = support::NotWatched;

bool isWatched()
{
    return depth == 1 && watching && (allThreads || std::this_thread::get_id() == watched);
}

std::string nameOf(const void* socket)
{
    if (socket == nullptr) {
        return "null";
    }
    const auto entry = sockets.emplace(socket, "s" + std::to_string(sockets.size() + 1));
    return entry.first->second;
}

std::string quoted(const void* bytes, std::size_t size)
{
    std::string text = "\"";
    for (std::size_t i = 0; i < size; ++i) {
        const auto c = static_cast<const unsigned char*>(bytes)[i];
        if (c >= 0x20 && c < 0x7f && c != '"' && c != '\\') {
            text += static_cast<char>(c);
        } else {
            char escape[5];
            std::snprintf(escape, sizeof escape, "\\x%02x", c);
            text += escape;
        }
    }
    return text + "\"";
}

bool canFail(const std::string& function)
{
    return function != "zmq_msg_init" && function != "zmq_msg_data" && function != "zmq_msg_size" &&
           function != "zmq_strerror";
}

/// Records a call and says with which error it has to fail, 0 for none. `text` is asked for under
/// the lock.
template <typename Text> int planned(const char* function, Text text)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (!isWatched()) {
        return 0;
    }
    int error = 0;
    for (auto plan = plans.begin(); plan != plans.end();) {
        const bool counts = plan->function.empty() ? canFail(function) : plan->function == function;
        if (counts && --plan->nth == 0) {
            error = plan->error;
            plan = plans.erase(plan);
        } else {
            ++plan;
        }
    }
    calls.push_back(function + ("(" + text()) + ")" + (error != 0 ? " !" : ""));
    if (hook) {
        hook(calls.back());
    }
    return error;
}

void noteSocket(const void* socket)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (isWatched() && socket != nullptr) {
        // An address that ZeroMQ uses again is a new socket.
        sockets.erase(socket);
        sockets.emplace(socket, "s" + std::to_string(sockets.size() + 1));
        calls.back() += " = " + nameOf(socket);
    }
}

int failure(int error)
{
    errno = error;
    return -1;
}

std::string optionValue(int option, const void* value, std::size_t size)
{
    const bool isText =
        option == ZMQ_SUBSCRIBE || option == ZMQ_UNSUBSCRIBE || option == ZMQ_ROUTING_ID;
    if (!isText && size == sizeof(int)) {
        int number = 0;
        std::memcpy(&number, value, sizeof number);
        return std::to_string(number);
    }
    return quoted(value, size);
}

} // namespace

extern "C" {

void* zmq_ctx_new(void)
{
    const Inside inside;
    const int error = planned("zmq_ctx_new", [] { return std::string(); });
    if (error != 0) {
        errno = error;
        return nullptr;
    }
    return REAL(zmq_ctx_new)();
}

int zmq_ctx_set(void* context, int option, int value)
{
    const Inside inside;
    const int error = planned(
        "zmq_ctx_set", [&] { return std::to_string(option) + ", " + std::to_string(value); });
    return error != 0 ? failure(error) : REAL(zmq_ctx_set)(context, option, value);
}

void* zmq_socket(void* context, int type)
{
    const Inside inside;
    const int error = planned("zmq_socket", [&] { return std::to_string(type); });
    if (error != 0) {
        errno = error;
        return nullptr;
    }
    void* socket = REAL(zmq_socket)(context, type);
    noteSocket(socket);
    return socket;
}

int zmq_close(void* socket)
{
    const Inside inside;
    const int error = planned("zmq_close", [&] { return nameOf(socket); });
    const int result = REAL(zmq_close)(socket); // Also when it is to fail: nothing is to be lost.
    return error != 0 ? failure(error) : result;
}

int zmq_setsockopt(void* socket, int option, const void* value, size_t size)
{
    const Inside inside;
    const int error = planned("zmq_setsockopt", [&] {
        return nameOf(socket) + ", " + std::to_string(option) + ", " +
               optionValue(option, value, size);
    });
    return error != 0 ? failure(error) : REAL(zmq_setsockopt)(socket, option, value, size);
}

int zmq_getsockopt(void* socket, int option, void* value, size_t* size)
{
    const Inside inside;
    const int error =
        planned("zmq_getsockopt", [&] { return nameOf(socket) + ", " + std::to_string(option); });
    return error != 0 ? failure(error) : REAL(zmq_getsockopt)(socket, option, value, size);
}

int zmq_bind(void* socket, const char* endpoint)
{
    const Inside inside;
    const int error = planned("zmq_bind", [&] {
        return nameOf(socket) + ", " + quoted(endpoint, std::strlen(endpoint));
    });
    return error != 0 ? failure(error) : REAL(zmq_bind)(socket, endpoint);
}

int zmq_connect(void* socket, const char* endpoint)
{
    const Inside inside;
    const int error = planned("zmq_connect", [&] {
        return nameOf(socket) + ", " + quoted(endpoint, std::strlen(endpoint));
    });
    return error != 0 ? failure(error) : REAL(zmq_connect)(socket, endpoint);
}

int zmq_msg_init(zmq_msg_t* msg)
{
    const Inside inside;
    const int error = planned("zmq_msg_init", [] { return std::string(); });
    const int result = REAL(zmq_msg_init)(msg);
    return error != 0 ? failure(error) : result;
}

int zmq_msg_init_size(zmq_msg_t* msg, size_t size)
{
    const Inside inside;
    const int error = planned("zmq_msg_init_size", [&] { return std::to_string(size); });
    if (error != 0) {
        // As ZeroMQ itself fails: what it leaves in `msg` must not be closed.
        REAL(zmq_msg_init_size)(msg, static_cast<size_t>(-1));
        return failure(error);
    }
    return REAL(zmq_msg_init_size)(msg, size);
}

int zmq_msg_send(zmq_msg_t* msg, void* socket, int flags)
{
    const Inside inside;
    const int error = planned("zmq_msg_send", [&] {
        return nameOf(socket) + ", " + std::to_string(flags) + ", " +
               quoted(REAL(zmq_msg_data)(msg), REAL(zmq_msg_size)(msg));
    });
    return error != 0 ? failure(error) : REAL(zmq_msg_send)(msg, socket, flags);
}

int zmq_recvmsg(void* socket, zmq_msg_t* msg, int flags)
{
    const Inside inside;
    const int error =
        planned("zmq_recvmsg", [&] { return nameOf(socket) + ", " + std::to_string(flags); });
    return error != 0 ? failure(error) : REAL(zmq_recvmsg)(socket, msg, flags);
}

int zmq_msg_close(zmq_msg_t* msg)
{
    const Inside inside;
    const int error = planned("zmq_msg_close", [] { return std::string(); });
    const int result = REAL(zmq_msg_close)(msg); // Also when it is to fail: nothing is to be lost.
    return error != 0 ? failure(error) : result;
}

void* zmq_msg_data(zmq_msg_t* msg)
{
    const Inside inside;
    const int error = planned("zmq_msg_data", [] { return std::string(); });
    return error != 0 ? nullptr : REAL(zmq_msg_data)(msg);
}

size_t zmq_msg_size(const zmq_msg_t* msg)
{
    const Inside inside;
    planned("zmq_msg_size", [] { return std::string(); });
    return REAL(zmq_msg_size)(msg);
}

int zmq_poll(zmq_pollitem_t* items, int count, long timeout)
{
    const Inside inside;
    const int error = planned("zmq_poll", [&] {
        std::string text;
        for (int i = 0; i < count; ++i) {
            text += nameOf(items[i].socket) + ", " + std::to_string(items[i].events) + ", ";
        }
        return text + std::to_string(timeout);
    });
    return error != 0 ? failure(error) : REAL(zmq_poll)(items, count, timeout);
}

const char* zmq_strerror(int number)
{
    const Inside inside;
    const int error = planned("zmq_strerror", [&] { return std::to_string(number); });
    return error != 0 ? nullptr : REAL(zmq_strerror)(number);
}

int zmq_proxy(void* frontend, void* backend, void* capture)
{
    int error = 0;
    {
        const Inside inside;
        error = planned("zmq_proxy", [&] {
            return nameOf(frontend) + ", " + nameOf(backend) + ", " + nameOf(capture);
        });
    }
    // Not inside: it does not come back.
    return error != 0 ? failure(error) : REAL(zmq_proxy)(frontend, backend, capture);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument)
{
    const Inside inside;
    const int error = planned("pthread_create", [&] {
        std::string text = attributes == nullptr ? "null, " : "attributes, ";
        if (start != &ostrel::proxyThreadMain) {
            return text + "another function";
        }
        // The block that it is given: the clients' socket, then the workers'.
        const auto* block = static_cast<void* const*>(argument);
        return text + "proxyThreadMain, {" + nameOf(block[0]) + ", " + nameOf(block[1]) + "}";
    });
    return error != 0 ? error : REAL(pthread_create)(thread, attributes, start, argument);
}

} // extern "C"

namespace support {

NotWatched::NotWatched()
{
    ++depth;
    AllocFault::pause();
}

NotWatched::~NotWatched()
{
    const int saved = errno;
    AllocFault::resume();
    --depth;
    errno = saved;
}

ZmqSpy::ZmqSpy()
{
    const std::lock_guard<std::mutex> lock(mutex);
    watching = true;
    allThreads = false;
    watched = std::this_thread::get_id();
    calls.clear();
    sockets.clear();
    plans.clear();
}

ZmqSpy::~ZmqSpy()
{
    const std::lock_guard<std::mutex> lock(mutex);
    watching = false;
    hook = nullptr;
}

void ZmqSpy::onCall(std::function<void(const std::string&)> look)
{
    const std::lock_guard<std::mutex> lock(mutex);
    hook = std::move(look);
}

void ZmqSpy::watchAllThreads()
{
    const std::lock_guard<std::mutex> lock(mutex);
    allThreads = true;
}

std::vector<std::string> ZmqSpy::takeCalls()
{
    const std::lock_guard<std::mutex> lock(mutex);
    std::vector<std::string> taken;
    taken.swap(calls);
    return taken;
}

std::vector<std::string> ZmqSpy::takeActions()
{
    std::vector<std::string> actions;
    for (std::string& call : takeCalls()) {
        if (call != "zmq_msg_data()" && call != "zmq_msg_size()") {
            actions.push_back(std::move(call));
        }
    }
    return actions;
}

void ZmqSpy::fail(const std::string& function, int nth, int error)
{
    const std::lock_guard<std::mutex> lock(mutex);
    plans.push_back({function, nth, error});
}

void ZmqSpy::failNth(int nth, int error)
{
    fail("", nth, error);
}

bool ZmqSpy::failed() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return plans.empty();
}

} // namespace support
