#ifndef OSTREL_TESTS_HOSTS_HOST_H
#define OSTREL_TESTS_HOSTS_HOST_H

#include "support/Process.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace hosts {

/// What this system lacks or forbids, in one line. Tests that need it are skipped.
class Unavailable : public std::runtime_error {
public:
    explicit Unavailable(const std::string& lack);
};

struct Outcome {
    int status;
    std::string output; // Of both kinds.
};

/// One host of several on this machine: a network namespace without a name. A process that sleeps
/// holds it and ends with the test, also when the test is killed, so nothing is left behind.
class Host {
public:
    /// Throws Unavailable where there may be no namespaces.
    Host();

    /// Runs a shell command in it.
    Outcome attempt(const std::string& command) const;

    /// Runs a shell command in it that must succeed; its output.
    std::string run(const std::string& command) const;

    /// Its open TCP connections, a line each: state, bytes that are received and not read, bytes
    /// that are sent and not confirmed, both addresses, timer.
    std::vector<std::string> connections() const;

    /// The command line that runs a program in it.
    std::vector<std::string> inside(const std::vector<std::string>& command) const;

    /// The file that stands for its network.
    std::string network() const;

    pid_t pid() const;

private:
    support::Process mHolder;
};

} // namespace hosts

#endif
