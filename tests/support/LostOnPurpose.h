#ifndef OSTREL_TESTS_SUPPORT_LOSTONPURPOSE_H
#define OSTREL_TESTS_SUPPORT_LOSTONPURPOSE_H

#if defined(__SANITIZE_ADDRESS__)
#define OSTREL_ADDRESS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define OSTREL_ADDRESS_SANITIZER
#endif
#endif
#ifdef OSTREL_ADDRESS_SANITIZER
#include <sanitizer/lsan_interface.h>
#endif

namespace support {

/// While it lives, what this thread allocates and loses is lost on purpose.
class LostOnPurpose {
public:
    LostOnPurpose()
    {
#ifdef OSTREL_ADDRESS_SANITIZER
        __lsan_disable();
#endif
    }
    ~LostOnPurpose()
    {
#ifdef OSTREL_ADDRESS_SANITIZER
        __lsan_enable();
#endif
    }
    LostOnPurpose(const LostOnPurpose&) = delete;
    LostOnPurpose& operator=(const LostOnPurpose&) = delete;
};

} // namespace support

#endif
