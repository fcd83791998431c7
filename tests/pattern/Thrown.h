#ifndef OSTREL_TESTS_PATTERN_THROWN_H
#define OSTREL_TESTS_PATTERN_THROWN_H

#include <cstdlib>
#include <cxxabi.h>
#include <exception>
#include <memory>
#include <string>
#include <typeinfo>

namespace support {

/// What `action` throws: the exact type and the text, such as "std::logic_error: no such part";
/// "nothing" when it returns. What is not a std::exception passes.
template <typename Action> std::string thrownBy(Action action)
{
    try {
        action();
    } catch (const std::exception& failure) {
        const std::unique_ptr<char, decltype(&std::free)> type(
            abi::__cxa_demangle(typeid(failure).name(), nullptr, nullptr, nullptr), &std::free);
        return std::string(type.get()) + ": " + failure.what();
    }
    return "nothing";
}

} // namespace support

#endif
