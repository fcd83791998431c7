#ifndef OSTREL_TESTS_HOSTS_NETWORK_H
#define OSTREL_TESTS_HOSTS_NETWORK_H

#include "hosts/Host.h"
#include "hosts/Link.h"
#include "hosts/RemoteProgram.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace hosts {

/// Three hosts in a row, joined by two links, and the programs that run in them. At the end every
/// program must have ended well, and no call of the library may have hung.
class Network : public testing::Test {
protected:
    /// Links of a kind, neither slow nor lossy.
    explicit Network(Kind kind);

    /// Slow and lossy links, of what this system has for them.
    explicit Network(Quality quality);

    /// Skips the test where this system has no such network.
    void SetUp() override;
    void TearDown() override;

    RemoteProgram& start(const std::unique_ptr<Host>& host,
                         const std::vector<std::string>& command);

    /// A broker in the middle, without workers. Returns when its own channel, which has started it,
    /// is gone: what that were dealt would be lost.
    void startBroker();

    /// A power cut and a new machine: a host goes while nothing can leave it, so that its peers are
    /// not told, and another one without programs takes its place and its addresses.
    void replace(std::unique_ptr<Host>& host);

    // Where the middle host is found by the other two, and the endpoints that programs bind there.
    const std::string mServer = "tcp://10.77.1.2:5555";
    const std::string mPublisher = "tcp://10.77.1.2:5556";
    const std::string mClients = "tcp://10.77.1.2:5557";
    const std::string mWorkers = "tcp://10.77.2.1:5558";

    std::unique_ptr<Host> mNear;
    std::unique_ptr<Host> mMiddle;
    std::unique_ptr<Host> mFar;
    std::unique_ptr<Link> mFirst;  // Near to middle.
    std::unique_ptr<Link> mSecond; // Middle to far.

private:
    void layLinks();
    void endPrograms();

    const Quality mQuality;
    Kind mKind;
    std::vector<std::pair<const Host*, std::unique_ptr<RemoteProgram>>> mPrograms;
};

/// What a second request gets that is sent before the answer to the first one.
constexpr auto outOfTurn = "0 sent, then std::runtime_error: Failed to send messagepart : "
                           "Operation cannot be accomplished in current state";

/// What requests get for which a queue has no room, behind the number of those that it took.
constexpr auto queueFull = " sent, then std::runtime_error: Failed to send messagepart : Resource "
                           "temporarily unavailable";

/// One request, numbered and with parts of these sizes, and its answer.
void exchange(RemoteProgram& client, int number, const std::string& sizes = "10");

/// Has `client` exchange until each worker has answered something; the next number.
int reachAll(RemoteProgram& client, const std::vector<RemoteProgram*>& workers, int number);

/// Publishes marks until one of them has come to the subscriber. All that was published before has
/// come too then, or has been dropped.
void join(RemoteProgram& publisher, RemoteProgram& subscriber);

/// Has so many messages published, numbered from `first` on.
void publish(RemoteProgram& publisher, int first, int count, const std::string& sizes = "10");

/// Waits until what a subscriber has seen is `numbers`.
void expectSeen(RemoteProgram& subscriber, const std::string& numbers);

/// Dealer clients are named by the second: waits for the next one.
void awaitNextSecond();

} // namespace hosts

#endif
