#ifndef OSTREL_TESTS_FUZZ_CHECK_H
#define OSTREL_TESTS_FUZZ_CHECK_H

#include "fuzz/Frames.h"

#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

namespace fuzz {

/// Prints `what` on standard error and aborts: libFuzzer then keeps the input.
[[noreturn]] void fail(const std::string& what);

inline void expect(bool holds, const char* what)
{
    if (!holds) {
        fail(what);
    }
}

std::string show(int value);
std::string show(const std::string& bytes);
std::string show(const std::optional<std::string>& bytes);

template <typename Value> std::string show(const std::vector<Value>& values)
{
    std::string text = "[";
    for (const Value& value : values) {
        text += " " + show(value);
    }
    return text + " ]";
}

template <typename Value>
void expectEqual(const Value& actual, const Value& expected, const char* what)
{
    if (!(actual == expected)) {
        fail(std::string(what) + " is " + show(actual) + ", not " + show(expected));
    }
}

/// "logic_error: the text" or "runtime_error: the text" for exceptions of just these types; ""
/// when nothing leaves `operation`.
template <typename Operation> std::string thrownBy(Operation operation)
{
    try {
        operation();
    } catch (const std::exception& failure) {
        if (typeid(failure) == typeid(std::logic_error)) {
            return std::string("logic_error: ") + failure.what();
        }
        if (typeid(failure) == typeid(std::runtime_error)) {
            return std::string("runtime_error: ") + failure.what();
        }
        throw;
    }
    return "";
}

/// Expects these lines in syslog since the last call, and no others.
void expectLogged(const std::vector<std::string>& lines);

} // namespace fuzz

#endif
