#ifndef OSTREL_BENCH_TIMING_PAIRING_H
#define OSTREL_BENCH_TIMING_PAIRING_H

#include "support/Endpoint.h"
#include "timing/Child.h"
#include "timing/Workload.h"

#include <optional>
#include <string>

namespace bench {

/// A contender at a workload: two processes that wait for rounds. One has the first core and
/// measures, the other, which answers or subscribes, has the second.
class Pairing {
public:
    Pairing(const Workload& workload, const std::string& contender);

    /// A round of `messages`, with every byte that arrives compared.
    void verify(int messages);

    /// A round of `messages`; nanoseconds per message, from its start until the last one has
    /// arrived.
    double measure(int messages);

    struct Flood {
        double sentPerSecond;
        double receivedPerSecond;
        double dropped; ///< The share that did not arrive.
    };

    /// Publishes `messages` as fast as it can be done.
    Flood flood(int messages);

private:
    enum class Kind : int { verify, measure, flood };
    struct Order {
        Kind kind;
        int messages;
    };
    struct Outcome {
        double sendSeconds;
        double seconds;
        long received;
    };

    Outcome run(Order order);

    void lead(const Workload& workload, Contender& contender);
    void serve(const Workload& workload, Contender& contender);
    Outcome exchange(const Workload& workload, Asker& asker, Order order);
    Outcome publish(const Workload& workload, Sender& publisher, Order order);
    Outcome publishAtOnce(Sender& publisher, Bytes bytes, int messages);
    Outcome publishPaced(const Workload& workload, Sender& publisher, Bytes bytes, int messages);
    void join(Sender& publisher, const std::string& payload);
    [[noreturn]] void subscribe(const Workload& workload, Receiver& subscriber);

    std::string mName;
    support::IpcEndpoint mService;
    support::IpcEndpoint mWorkers;
    Endpoints mEndpoints;
    Pipe mOrders;
    Pipe mOutcomes;
    Pipe mCredits; // From the subscriber to the publisher.
    std::optional<Pipe> mOutput;
    std::optional<Child> mDrain;
    std::optional<Child> mServer;
    std::optional<Child> mLeader;
};

} // namespace bench

#endif
