#ifndef OSTREL_LOG_LOGGED_H
#define OSTREL_LOG_LOGGED_H

#include <exception>

namespace ostrel::detail {

/// Writes the line `prefix + what`. A line that cannot be built is given up: the failure that it
/// would have reported matters more.
void logFailure(const char* prefix, const char* what);

/// Runs `body`; a std::exception that leaves it is logged with `prefix` and passed on as it is.
/// Each layer that does so adds a line of its own, the innermost first.
template <typename Body> auto logged(const char* prefix, Body body) -> decltype(body())
{
    try {
        return body();
    } catch (const std::exception& failure) {
        logFailure(prefix, failure.what());
        throw;
    }
}

} // namespace ostrel::detail

#endif
