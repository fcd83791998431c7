#ifndef OSTREL_TESTS_RECOVERY_LEDGER_H
#define OSTREL_TESTS_RECOVERY_LEDGER_H

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>

/// What the processes of a recovery test note down about each message, in memory that they share.
/// It stays when a process is killed, whatever that was doing.
namespace recovery {

constexpr unsigned int maxClients = 16;
constexpr unsigned int maxServers = 64;
constexpr unsigned int maxSubscribers = 4;
constexpr unsigned int maxEpochs = 32;

/// A client that has sent so many times asks nothing new: an endless test is no use.
constexpr unsigned int maxSendings = 60000;

/// One sending of a request. A request that is asked again is sent again, under a number of its
/// own.
///
/// The moments are kept as 1 + the epoch in which they came; 0: never.
struct Sending {
    std::atomic<std::uint32_t> request{0};
    std::atomic<std::uint8_t> asked{0};    ///< The client is about to send it.
    std::atomic<std::uint8_t> taken{0};    ///< A server or a worker has received it,
    std::atomic<std::uint8_t> by{0};       ///< this one,
    std::atomic<std::uint8_t> answered{0}; ///< and its send of the answer has returned.
    std::atomic<std::uint8_t> arrived{0};  ///< The client has the answer.
};

struct Client {
    std::atomic<std::uint32_t> requests{0};
    std::atomic<std::uint32_t> settled{0}; ///< Requests that have an answer.
    std::atomic<std::uint32_t> sendings{0};
    std::atomic<std::uint32_t> held{0};    ///< The last Ledger::hold that it has obeyed.
    std::atomic<std::uint32_t> allowed{0}; ///< The sendings that a sender of big requests may make.
    std::atomic<std::uint32_t> stuck{0};   ///< How often it saw its bytes queue in the system.
    Sending log[maxSendings];
};

/// A reply server or a worker; each process has a number of its own, a restarted one a new one.
struct Server {
    std::atomic<std::uint32_t> taken{0};
    std::atomic<std::uint32_t> arrived{0}; ///< Its answers that clients and the test's probe have.
    std::atomic<bool> living{false};       ///< Started and not killed; the test's entry.
};

struct Subscriber {
    std::atomic<std::uint32_t> first[maxEpochs];    ///< 1 + the first line of each publisher.
    std::atomic<std::uint32_t> received[maxEpochs]; ///< The lines of each publisher.
    std::atomic<std::uint64_t> last{0};             ///< Publisher and line: see placeOf().
};

struct Ledger {
    std::atomic<bool> stop{false};        ///< Clients ask nothing new.
    std::atomic<std::uint32_t> epoch{0};  ///< Counts restarts.
    std::atomic<std::uint32_t> keeper{0}; ///< 1 + the server that is to keep what it has in hands.
    std::atomic<std::uint32_t> hold{0};   ///< Not 0: dealer clients send nothing.
    std::atomic<std::uint32_t> drain{0};  ///< 1 + the dealer client that is to empty the pipes.
    std::atomic<bool> failed{false};      ///< A program has seen something wrong and ended.
    std::atomic<std::uint32_t> broken{0}; ///< Requests that did not come as they were asked.
    std::atomic<std::uint32_t> twice{0};  ///< Sendings that were taken before.
    std::atomic<std::uint32_t> published[maxEpochs];
    Client clients[maxClients];
    Server servers[maxServers];
    Subscriber subscribers[maxSubscribers];
};

/// The place of a line in all that is published: later ones are greater. 0 is before all of them.
constexpr std::uint64_t placeOf(std::uint32_t publisher, std::uint32_t line)
{
    return (std::uint64_t{publisher} << 32U) + line + 1;
}

/// The ledger behind an open file.
inline Ledger& mapLedger(int file)
{
    void* memory = mmap(nullptr, sizeof(Ledger), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) {
        std::perror("ledger");
        std::abort();
    }
    return *static_cast<Ledger*>(memory);
}

/// Now, as a Sending keeps it.
inline std::uint8_t momentOf(const Ledger& ledger)
{
    return static_cast<std::uint8_t>(ledger.epoch + 1);
}

/// Notes a new sending of a request and returns its number.
inline unsigned int noteSending(Ledger& ledger, unsigned int client, unsigned int request)
{
    Client& own = ledger.clients[client];
    const unsigned int sending = own.sendings;
    own.log[sending].request = request;
    own.log[sending].asked = momentOf(ledger);
    ++own.sendings;
    return sending;
}

} // namespace recovery

#endif
