#ifndef OSTREL_TESTS_RECOVERY_RECOVERY_H
#define OSTREL_TESTS_RECOVERY_RECOVERY_H

#include "recovery/Ledger.h"
#include "support/Process.h"

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace recovery {

/// What a test counted, by name.
using Figures = std::vector<std::pair<std::string, unsigned long>>;

/// A test that kills processes at random moments and watches the others recover. The parameter is
/// the transport, "tcp" or "ipc".
///
/// OSTREL_TEST_SEED=<number> repeats the random choices of a run; each run prints its own.
class Recovery : public testing::TestWithParam<std::string> {
protected:
    Recovery();
    ~Recovery() override;

    /// An address that is this test's alone.
    std::string endpoint(const std::string& name);

    /// Starts recovery_<program> with the ledger and `arguments`.
    std::unique_ptr<support::Process> start(const std::string& program,
                                            const std::vector<std::string>& arguments) const;

    /// Waits for `happened`, looking again and again; false when it does not happen for long, or a
    /// program has failed.
    bool await(const std::function<bool()>& happened) const;

    unsigned int random(unsigned int least, unsigned int most);

    /// Kills a process at a random moment of the next few milliseconds, and waits for its end.
    void killAtRandom(support::Process& process);

    /// Forgets what a client has noted and that it has failed, for the next process of its number.
    void forget(unsigned int client);

    /// The requests of the first `clients`, and how often they were asked again, in all.
    Figures askedBy(unsigned int clients) const;

    /// Prints figures in a line, and has them in the test's report.
    static void tell(const std::vector<Figures>& figures);

    const std::string mFolder; ///< A new one of the test's own.

private:
    const int mFile;

protected:
    Ledger& mLedger;

private:
    std::mt19937 mRandom;
    std::vector<int> mPorts; ///< Sockets that keep the tcp ports.
};

/// The sendings of a client that fulfil `condition`, from number `first` up to `end`.
unsigned int countSendings(const Client& client, unsigned int first, unsigned int end,
                           const std::function<bool(const Sending&)>& condition);

/// All of a client's sendings that fulfil `condition`.
unsigned int countSendings(const Client& client,
                           const std::function<bool(const Sending&)>& condition);

inline bool isLost(const Sending& sending)
{
    return sending.arrived == 0;
}

/// For INSTANTIATE_TEST_SUITE_P.
inline std::string transportOf(const testing::TestParamInfo<std::string>& info)
{
    return info.param;
}

} // namespace recovery

#endif
