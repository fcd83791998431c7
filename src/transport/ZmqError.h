#ifndef OSTREL_TRANSPORT_ZMQERROR_H
#define OSTREL_TRANSPORT_ZMQERROR_H

#include <cerrno>
#include <string>

namespace ostrel::detail {

/// `text` followed by ZeroMQ's text for `error`.
/// Throws std::logic_error when ZeroMQ has none.
std::string zmqText(const char* text, int error);

/// Throws std::runtime_error(zmqText(text, error)).
[[noreturn]] void throwZmq(const char* text, int error);

/// Throws for the current errno when `result` is ZeroMQ's -1.
inline void check(int result, const char* text)
{
    if (result == -1) {
        throwZmq(text, errno);
    }
}

} // namespace ostrel::detail

#endif
