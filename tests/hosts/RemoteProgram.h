#ifndef OSTREL_TESTS_HOSTS_REMOTEPROGRAM_H
#define OSTREL_TESTS_HOSTS_REMOTEPROGRAM_H

#include "hosts/Host.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace hosts {

/// A program in a host, and the test's line to it (CommandLoop.h).
class RemoteProgram {
public:
    /// `command` is a helper program and its arguments; the line comes before the latter.
    RemoteProgram(const Host& host, std::vector<std::string> command);
    ~RemoteProgram();
    RemoteProgram(const RemoteProgram&) = delete;
    RemoteProgram& operator=(const RemoteProgram&) = delete;

    /// Has a command done; the answer.
    std::string tell(const std::string& command);

    /// Has a command begun that may last.
    void begin(const std::string& command);

    /// Whether the begun command still lasts after `limit`.
    bool lasts(std::chrono::milliseconds limit);

    /// The answer to the begun command.
    std::string answer();

    /// Ends it at once, as a crash does.
    void kill();

    /// Hangs up; the exit code of the program, or 0 when it was killed or does not listen.
    int end();

    /// Of its calls of the library, except what it still does.
    struct Calls {
        long count;
        double slowest; // seconds
    };
    Calls calls();

    const std::string& name() const;

private:
    bool listens() const;
    void noteCalls();

    std::string mName;
    int mLine;
    std::unique_ptr<support::Process> mProcess;
    bool mKilled;
    bool mBegun;
    Calls mCalls;
};

} // namespace hosts

#endif
