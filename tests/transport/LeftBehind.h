#ifndef OSTREL_TESTS_TRANSPORT_LEFTBEHIND_H
#define OSTREL_TESTS_TRANSPORT_LEFTBEHIND_H

#if defined(__SANITIZE_ADDRESS__)
#define OSTREL_LEAKS_ARE_FOUND 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define OSTREL_LEAKS_ARE_FOUND 1
#endif
#endif

#ifdef OSTREL_LEAKS_ARE_FOUND
#include <sanitizer/lsan_interface.h>
#endif

namespace transport {

/// While it lives, memory that is allocated may be left behind: a context that no wrapper holds is
/// kept on purpose.
class LeftBehind {
public:
    LeftBehind()
    {
#ifdef OSTREL_LEAKS_ARE_FOUND
        __lsan_disable();
#endif
    }
    ~LeftBehind()
    {
#ifdef OSTREL_LEAKS_ARE_FOUND
        __lsan_enable();
#endif
    }
    LeftBehind(const LeftBehind&) = delete;
    LeftBehind& operator=(const LeftBehind&) = delete;
};

} // namespace transport

#endif
