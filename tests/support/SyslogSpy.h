#ifndef OSTREL_TESTS_SUPPORT_SYSLOGSPY_H
#define OSTREL_TESTS_SUPPORT_SYSLOGSPY_H

#include <string>
#include <vector>

namespace support {

/// Takes what this process writes to syslog, from construction to destruction. The test program
/// defines openlog(), syslog() and closelog(); nothing reaches the system's log.
class SyslogSpy {
public:
    SyslogSpy();
    ~SyslogSpy();
    SyslogSpy(const SyslogSpy&) = delete;
    SyslogSpy& operator=(const SyslogSpy&) = delete;

    /// The texts of the lines since construction or the last take, oldest first.
    std::vector<std::string> takeLines();

    /// The calls since construction or the last take, such as
    /// `openlog("Ostrel", 1, 136)`, `syslog(3, "%s") = the text`, `closelog()`.
    std::vector<std::string> takeCalls();

    /// Runs inside every syslog() call when set: a test's look at the state at that moment.
    void (*duringLine)() = nullptr;
};

} // namespace support

#endif
