#ifndef OSTREL_TESTS_THREADS_QUIET_H
#define OSTREL_TESTS_THREADS_QUIET_H

#include "support/Stdout.h"
#include "threads/Together.h"

#include <string>

namespace threads {

/// Takes standard output while many channels print, and says on standard error at its end what has
/// failed in the meantime.
class Quiet {
public:
    Quiet() = default;

    ~Quiet()
    {
        printFailures();
    }

    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

    /// Everything printed since construction or the last call.
    std::string take()
    {
        return mOut.take();
    }

private:
    support::Stdout mOut;
};

} // namespace threads

#endif
