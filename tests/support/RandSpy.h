#ifndef OSTREL_TESTS_SUPPORT_RANDSPY_H
#define OSTREL_TESTS_SUPPORT_RANDSPY_H

#include <ctime>
#include <string>
#include <vector>

namespace support {

/// Watches and steers time(), srand() and rand() of the thread that made the spy, from construction
/// to destruction. The test program defines all three.
class RandSpy {
public:
    RandSpy();
    ~RandSpy();
    RandSpy(const RandSpy&) = delete;
    RandSpy& operator=(const RandSpy&) = delete;

    /// What time() gives from now on; without it, the time.
    void setTime(std::time_t now);

    /// What rand() gives from now on; without it, what the C library's generator gives.
    void setRand(int value);

    /// The calls since construction or the last take: `time(null)`, `srand(7)`, `rand()`.
    std::vector<std::string> takeCalls();
};

} // namespace support

#endif
