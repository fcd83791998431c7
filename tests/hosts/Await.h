#ifndef OSTREL_TESTS_HOSTS_AWAIT_H
#define OSTREL_TESTS_HOSTS_AWAIT_H

#include <chrono>
#include <thread>

namespace hosts {

/// Looks and naps until `happened()`, or up to `limit`; whether it has happened.
template <typename Condition>
bool await(const Condition& happened, std::chrono::milliseconds limit = std::chrono::seconds(20))
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!happened()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace hosts

#endif
