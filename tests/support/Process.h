#ifndef OSTREL_TESTS_SUPPORT_PROCESS_H
#define OSTREL_TESTS_SUPPORT_PROCESS_H

#include <string>
#include <sys/types.h>
#include <vector>

namespace support {

/// A child process with its standard output taken; killed at destruction when it still runs.
class Process {
public:
    explicit Process(const std::vector<std::string>& command);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /// Waits up to `seconds` for the end; the exit code, 128 + signal, or -1 when it still runs.
    int wait(int seconds = 30);

    void kill(int signal);

    /// What it has printed so far.
    std::string output() const;

    pid_t pid() const;

private:
    pid_t mPid;
    int mOutput;
    int mStatus;
    bool mEnded;
};

/// The folder of the running test program, where its helper programs lie too.
std::string programFolder();

} // namespace support

#endif
