#ifndef OSTREL_TESTS_SUPPORT_THROWN_H
#define OSTREL_TESTS_SUPPORT_THROWN_H

#include "support/AllocFault.h"

#include <cstdlib>
#include <cxxabi.h>
#include <exception>
#include <memory>
#include <string>
#include <typeinfo>

namespace support {

/// What leaves `operation`: "std::logic_error: the text", "something else" for what is no
/// std::exception, or "nothing". The type is that of the thrown object itself.
template <typename Operation> std::string thrownBy(Operation operation)
{
    std::string thrown = "nothing";
    try {
        operation();
    } catch (const std::exception& failure) {
        AllocFault::pause();
        int status = 0;
        const std::unique_ptr<char, void (*)(void*)> type(
            abi::__cxa_demangle(typeid(failure).name(), nullptr, nullptr, &status), std::free);
        thrown = (status == 0 ? type.get() : typeid(failure).name());
        thrown += std::string(": ") + failure.what();
        AllocFault::resume();
    } catch (...) {
        thrown = "something else";
    }
    return thrown;
}

} // namespace support

#endif
