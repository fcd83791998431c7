#ifndef OSTREL_TESTS_SOAK_CREW_H
#define OSTREL_TESTS_SOAK_CREW_H

#include "Figures.h"

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace soak {

/// What a process of an exchange has to get along with the others. Everything goes through pipes:
/// besides the channels that are measured there are none.
class Mate {
public:
    /// The ends of the pipes: to and from the crew's gate, and of the credit of this exchange.
    Mate(int gate, int creditFrom, int creditTo);

    /// Waits until every process of the exchange has come here; each does so equally often.
    void gate();

    /// A consumer's word to its producer that a burst has arrived.
    void giveCredit();

    /// Waits for it; false when there is none within `limit`.
    bool awaitCredit(std::chrono::milliseconds limit);

    /// The last that a process has to say.
    void report(const Figures& figures);

private:
    int mGate;
    int mCreditFrom;
    int mCreditTo;
};

/// One process of an exchange.
struct Role {
    std::string name;
    std::function<Figures(Mate&)> run;
};

/// Runs each role in a process of its own and gives what they report, in the same order.
///
/// The processes' standard output goes to /dev/null: the library prints a lot. When one of them
/// fails, or when nothing has happened for `limit`, the others are killed, and std::runtime_error
/// is thrown.
std::vector<Figures> runCrew(const std::vector<Role>& roles, std::chrono::seconds limit);

} // namespace soak

#endif
