#ifndef OSTREL_TESTS_SUPPORT_REALZMQ_H
#define OSTREL_TESTS_SUPPORT_REALZMQ_H

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>

namespace support {

/// The next definition of a function behind the test program's own.
template <typename Function> Function* realFunction(const char* name, Function* /*ours*/)
{
    void* found = dlsym(RTLD_NEXT, name);
    if (found == nullptr) {
        std::fprintf(stderr, "no real %s\n", name);
        std::abort();
    }
    return reinterpret_cast<Function*>(found);
}

} // namespace support

/// ZeroMQ's own `function`, whatever the test program defines by that name.
#define REAL(function)                                                                             \
    ([] {                                                                                          \
        static const auto real = support::realFunction(#function, &::function);                    \
        return real;                                                                               \
    }())

#endif
