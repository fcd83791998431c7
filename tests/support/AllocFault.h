#ifndef OSTREL_TESTS_SUPPORT_ALLOCFAULT_H
#define OSTREL_TESTS_SUPPORT_ALLOCFAULT_H

#include <cstddef>

namespace support {

/// Makes one allocation of this thread fail: the `nth` (from 1) call of malloc() or operator new
/// after construction, until destruction. The test program defines both.
///
/// ZeroMQ's own allocations do not count; it aborts when one fails.
class AllocFault {
public:
    explicit AllocFault(int nth);
    ~AllocFault();
    AllocFault(const AllocFault&) = delete;
    AllocFault& operator=(const AllocFault&) = delete;

    /// Plans it anew: the `nth` from now on, on this thread.
    void failFromNow(int nth);

    /// Whether the allocation was asked for, and so failed.
    bool happened() const;

    /// Has `look` called with each allocation of this thread that counts and does not fail, whether
    /// one is to fail or not; null ends that. `look` must not allocate.
    static void watch(void (*look)(void* memory, std::size_t size));

    /// Stops counting, until as many calls of resume(), on this thread.
    static void pause();
    static void resume();
};

} // namespace support

#endif
