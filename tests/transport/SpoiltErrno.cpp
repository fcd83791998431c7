// Stands between the test program and ZeroMQ: every call that succeeds leaves an error number that
// means nothing, as ZeroMQ and the C library are free to.

#include <cerrno>
#include <dlfcn.h>
#include <zmq.h>

#define REAL(function)                                                                             \
    ([] {                                                                                          \
        static const auto real = next(#function, &::function);                                     \
        return real;                                                                               \
    }())

namespace {

constexpr int nonsense = EXDEV;

/// The next definition of a function behind ours. Not the test program's helper for the same: what
/// comes next depends on who asks.
template <typename Function> Function* next(const char* name, Function* /*ours*/)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// Nobody may take the number for the reason of a failure that happened before.
template <typename Result> Result spoilt(Result result, bool failed)
{
    if (!failed) {
        errno = nonsense;
    }
    return result;
}

} // namespace

extern "C" {

int zmq_close(void* socket)
{
    const int result = REAL(zmq_close)(socket);
    return spoilt(result, result == -1);
}

int zmq_msg_init(zmq_msg_t* msg)
{
    return spoilt(REAL(zmq_msg_init)(msg), false);
}

int zmq_msg_init_size(zmq_msg_t* msg, size_t size)
{
    const int result = REAL(zmq_msg_init_size)(msg, size);
    return spoilt(result, result == -1);
}

int zmq_msg_close(zmq_msg_t* msg)
{
    const int result = REAL(zmq_msg_close)(msg);
    return spoilt(result, result == -1);
}

void* zmq_msg_data(zmq_msg_t* msg)
{
    return spoilt(REAL(zmq_msg_data)(msg), false);
}

size_t zmq_msg_size(const zmq_msg_t* msg)
{
    return spoilt(REAL(zmq_msg_size)(msg), false);
}

const char* zmq_strerror(int number)
{
    return spoilt(REAL(zmq_strerror)(number), false);
}

int zmq_setsockopt(void* socket, int option, const void* value, size_t size)
{
    const int result = REAL(zmq_setsockopt)(socket, option, value, size);
    return spoilt(result, result == -1);
}

} // extern "C"
