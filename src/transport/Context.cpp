// The transport's context, endpoints and options.

#include "log/Logged.h"
#include "ostrel/ZMQWrapper.h"
#include "transport/ZmqError.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <zmq.h>

namespace ostrel {

using detail::check;
using detail::logged;
using detail::throwZmq;
using detail::zmqText;

namespace {

struct KeepAlive {
    int option;
    int value;
    const char* failureText;
};

// Applied to every socket, in this order.
constexpr KeepAlive keepAlives[] = {
    {ZMQ_TCP_KEEPALIVE, 1, "Failed to configure TCP Keepalive mode on socket : "},
    {ZMQ_TCP_KEEPALIVE_IDLE, 7200, "Failed to configure TCP Keepalive idle value on socket : "},
    {ZMQ_TCP_KEEPALIVE_INTVL, 75, "Failed to configure TCP Keepalive interval value on socket : "},
    {ZMQ_TCP_KEEPALIVE_CNT, 9, "Failed to configure TCP Keepalive count on socket : "},
};

// Closing goes on, and its caller is a destructor: a failure without a text of ZeroMQ's is logged
// with the fixed text alone, and one whose line cannot be built is given up.
void logCloseFailure(const char* text, int error)
{
    const char* detail = zmq_strerror(error);
    detail::logFailure(text, detail == nullptr ? "" : detail);
}

} // namespace

ZMQWrapper* ZMQWrapper::getInstance()
{
    static ZMQWrapper instance;
    return &instance;
}

// The table comes first: running out of memory for it must not leave a context behind.
ZMQWrapper::ZMQWrapper()
    : mOptionMap{{OPT_SUBSCRIBE, ZMQ_SUBSCRIBE},
                 {OPT_UNSUBSCRIBE, ZMQ_UNSUBSCRIBE},
                 {OPT_IDENTITY, ZMQ_IDENTITY}},
      mContext(nullptr), mIdentityEnabled(false), mIdentity()
{
    logged("Error : Ostrel::ZMQWrapper::ZMQWrapper() : ", [&] {
        mContext = zmq_ctx_new();
        if (mContext == nullptr) {
            throw std::runtime_error("Failed to create ZeroMQ Context");
        }
        // A context that refuses its thread count is left behind; there is none to put in its
        // place.
        check(zmq_ctx_set(mContext, ZMQ_IO_THREADS, 1), "Failed to set ZMQ_IO_THREADS : ");
    });
}

ZMQWrapper::~ZMQWrapper() = default;

void ZMQWrapper::enableIdentity()
{
    // Relaxed: several worker patterns may be made at the same time, and all of them write true.
    __atomic_store_n(&mIdentityEnabled, true, __ATOMIC_RELAXED);
}

void* ZMQWrapper::createEndpt(int type) const
{
    return logged("Error : Ostrel::ZMQWrapper::createEndpt() : ", [&] {
        void* socket = zmq_socket(mContext, type);
        if (socket == nullptr) {
            throwZmq("Failed to create ZeroMQ Socket : ", errno);
        }
        for (const KeepAlive& setting : keepAlives) {
            if (zmq_setsockopt(socket, setting.option, &setting.value, sizeof setting.value) ==
                -1) {
                const int error = errno;
                zmq_close(socket);
                throwZmq(setting.failureText, error);
            }
        }
        return socket;
    });
}

void ZMQWrapper::deleteEndpt(void* socket) const
{
    if (socket == nullptr) {
        return;
    }
    const int linger = 0;
    if (zmq_setsockopt(socket, ZMQ_LINGER, &linger, sizeof linger) == -1) {
        logCloseFailure("Failed to set ZeroMQ Socket Linger Period : ", errno);
    }
    if (zmq_close(socket) == -1) {
        logCloseFailure("Failed to close ZeroMQ Socket : ", errno);
    }
}

void ZMQWrapper::registerSender(void* socket, const std::string& endpoint) const
{
    logged("Error : Ostrel::ZMQWrapper::registerSender() : ", [&] {
        if (zmq_bind(socket, endpoint.c_str()) == -1) {
            const int error = errno; // The exception is allocated before its text is built.
            throw std::runtime_error(zmqText("Failed to bind ZeroMQ Socket : ", error) +
                                     " : End Point : " + endpoint);
        }
    });
}

void ZMQWrapper::registerReceiver(void* socket, const std::string& endpoint) const
{
    logged("Error : Ostrel::ZMQWrapper::registerReceiver() : ", [&] {
        if (zmq_connect(socket, endpoint.c_str()) == -1) {
            const int error = errno; // The exception is allocated before its text is built.
            throw std::runtime_error(zmqText("Failed to connect ZeroMQ Socket : ", error) +
                                     " : End Point : " + endpoint);
        }
    });
}

void ZMQWrapper::setOption(void* socket, option_t option, const std::string& value)
{
    logged("Error : Ostrel::ZMQWrapper::setOption() : ", [&] {
        // An option that is not in the table enters it with number 0, which ZeroMQ refuses.
        const int number = mOptionMap[option];
        check(zmq_setsockopt(socket, number, value.data(), value.size()),
              "Failed to set ZeroMQ Socket Option : ");
        if (option == OPT_IDENTITY) {
            // Up to the first zero byte and at most the whole array, then without a terminator.
            std::memset(mIdentity, 0, sizeof mIdentity);
            std::memcpy(mIdentity, value.c_str(), strnlen(value.c_str(), sizeof mIdentity));
        }
    });
}

} // namespace ostrel
