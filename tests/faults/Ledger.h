#ifndef OSTREL_TESTS_FAULTS_LEDGER_H
#define OSTREL_TESTS_FAULTS_LEDGER_H

#include <cstddef>
#include <vector>

namespace faults {

/// The sizes of blocks of memory, smallest first.
using Sizes = std::vector<std::size_t>;

/// The memory that this thread takes while the ledger writes, from malloc() or operator new, and
/// that nobody has given back, on whatever thread. The test program defines free() for it. There is
/// one at a time.
class Ledger {
public:
    Ledger();

    /// Gives back what is left, so that a leak that was meant is none for a leak checker.
    ~Ledger();

    Ledger(const Ledger&) = delete;
    Ledger& operator=(const Ledger&) = delete;

    /// Writes while it lives.
    class Writing {
    public:
        Writing();
        ~Writing();
        Writing(const Writing&) = delete;
        Writing& operator=(const Writing&) = delete;
    };

    /// What has not been given back.
    Sizes left() const;

    /// Leaves it where it is.
    void forget();
};

} // namespace faults

#endif
