#include "support/RandSpy.h"

#include "support/RealZmq.h"
#include "support/ZmqSpy.h"

#include <cstdlib>
#include <optional>
#include <stdlib.h>
#include <time.h>

namespace {

thread_local bool watching = false;
std::vector<std::string> calls;
std::optional<std::time_t> fixedTime;
std::optional<int> fixedRand;

void note(const char* call, const std::string& rest = "")
{
    calls.push_back(call + rest);
}

} // namespace

extern "C" {

time_t time(time_t* result) noexcept
{
    if (!watching) {
        return REAL(time)(result);
    }
    const support::NotWatched notWatched;
    note(result == nullptr ? "time(null)" : "time(pointer)");
    const time_t now = fixedTime ? *fixedTime : REAL(time)(nullptr);
    if (result != nullptr) {
        *result = now;
    }
    return now;
}

void srand(unsigned int seed) noexcept
{
    if (watching) {
        const support::NotWatched notWatched;
        note("srand(", std::to_string(seed) + ")");
    }
    REAL(srand)(seed);
}

int rand() noexcept
{
    if (watching) {
        const support::NotWatched notWatched;
        note("rand()");
        if (fixedRand) {
            return *fixedRand;
        }
    }
    return REAL(rand)();
}

} // extern "C"

namespace support {

RandSpy::RandSpy()
{
    calls.clear();
    fixedTime.reset();
    fixedRand.reset();
    watching = true;
}

RandSpy::~RandSpy()
{
    watching = false;
}

void RandSpy::setTime(std::time_t now)
{
    fixedTime = now;
}

void RandSpy::setRand(int value)
{
    fixedRand = value;
}

std::vector<std::string> RandSpy::takeCalls()
{
    std::vector<std::string> taken;
    taken.swap(calls);
    return taken;
}

} // namespace support
