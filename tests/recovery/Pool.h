#ifndef OSTREL_TESTS_RECOVERY_POOL_H
#define OSTREL_TESTS_RECOVERY_POOL_H

#include "recovery/Recovery.h"

#include <memory>
#include <string>
#include <vector>

namespace recovery {

/// A pool over several processes: a broker, workers, and two clients with many requests under way.
class Pool : public Recovery {
protected:
    static constexpr unsigned int clients = 2;

    std::unique_ptr<support::Process> startBroker() const;

    /// Starts a worker; the number is the next one.
    void startWorker();

    /// Kills a worker at a random moment.
    void killWorker(unsigned int number);

    void startClients();

    /// Waits until every client has got so many answers more.
    bool awaitProgress(unsigned int answers);

    /// Lets the clients come to their end: all requests are answered, and of each sending it is
    /// certain whether its answer arrives.
    void finishClients();

    /// Whether every client has requests under way.
    bool isUnderLoad() const;

    /// The sendings of all clients that fulfil `condition`.
    unsigned int count(const std::function<bool(const Sending&)>& condition) const;

    const std::string mClientEnd = endpoint("clients");
    const std::string mWorkerEnd = endpoint("workers");
    std::vector<std::unique_ptr<support::Process>> mWorkers;
    std::vector<std::unique_ptr<support::Process>> mClients;
};

} // namespace recovery

#endif
