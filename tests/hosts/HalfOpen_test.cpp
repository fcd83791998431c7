// Peers that vanish without a word, behind a link that is cut: whoever is left has a connection
// that only looks open.
//
// TCP notices when it sends something: a machine that has taken the peer's place refuses it. Who
// only waits for something to come never sends anything, and its connection looks open until the
// keep-alive has looked, after two hours.

#include "hosts/Await.h"
#include "hosts/Network.h"

#include <algorithm>
#include <chrono>
#include <sstream>

using hosts::Kind;
using hosts::RemoteProgram;
using std::chrono::milliseconds;

namespace {

class HalfOpen : public hosts::Network {
protected:
    HalfOpen() : Network(Kind::forwarder) {}

    void serve()
    {
        mReplyServer = &start(mMiddle, {"hosts_server", "reply", mServer});
    }

    /// Clients whose server vanishes, as `vanish` has it, while they wait for an answer.
    template <typename Vanish> void expectToNeedNewChannels(const Vanish& vanish)
    {
        serve();
        RemoteProgram& client = start(mNear, {"hosts_client", "request", mServer});
        RemoteProgram& patient = start(mNear, {"hosts_client", "request", mServer});
        for (RemoteProgram* asking : {&client, &patient}) {
            exchange(*asking, 0);
        }
        mFirst->cut();
        for (RemoteProgram* asking : {&client, &patient}) {
            EXPECT_EQ(asking->tell("ask 1 1 10"), "1 sent");
        }
        patient.begin("receive -1");
        vanish();
        mFirst->heal();
        EXPECT_EQ(client.tell("collect 1500"), "0 right, 1 missing");
        EXPECT_EQ(client.tell("receive 0"), "-1");
        EXPECT_EQ(client.tell("ask 2 1 10"), hosts::outOfTurn);
        EXPECT_EQ(client.tell("renew"), "renewed");
        exchange(client, 2);
        EXPECT_TRUE(patient.lasts(milliseconds(500)));
    }

    RemoteProgram* mReplyServer = nullptr;
};

/// Asks again what has no answer, until all has.
void insist(RemoteProgram& client)
{
    EXPECT_TRUE(hosts::await([&] {
        client.tell("repeat");
        return client.tell("collect 300").find("missing") == std::string::npos;
    })) << "some requests are never answered";
}

/// Waits until all that a host has sent is confirmed. What is not would be sent again, and so be
/// noticed, after all.
void awaitQuiet(const hosts::Host& host)
{
    EXPECT_TRUE(hosts::await([&] {
        const std::vector<std::string> connections = host.connections();
        return std::all_of(connections.begin(), connections.end(), [](const std::string& line) {
            std::istringstream columns(line);
            std::string state;
            int received = -1;
            int sent = -1;
            columns >> state >> received >> sent;
            return sent == 0;
        });
    })) << "a connection does not come to rest";
}

} // namespace

TEST_F(HalfOpen, AClientNeedsANewChannelWhenItsServerWasKilledBehindACut)
{
    expectToNeedNewChannels([this] {
        mReplyServer->kill();
        serve();
    });
}

TEST_F(HalfOpen, AClientNeedsANewChannelWhenTheMachineOfItsServerWasReplaced)
{
    expectToNeedNewChannels([this] {
        replace(mMiddle);
        serve();
    });
}

TEST_F(HalfOpen, AServerServesOnWhenTheMachineOfAClientWasReplaced)
{
    serve();
    RemoteProgram& client = start(mNear, {"hosts_client", "request", mServer});
    EXPECT_EQ(mReplyServer->tell("hold"), "holding");
    EXPECT_EQ(client.tell("ask 0 1 10"), "1 sent");
    EXPECT_TRUE(hosts::await([&] { return mReplyServer->tell("held") == "yes"; }));
    mFirst->cut();
    client.kill();
    EXPECT_EQ(mReplyServer->tell("release"), "2"); // The parts, as ever.
    replace(mNear);
    exchange(start(mNear, {"hosts_client", "request", mServer}), 1);
}

TEST_F(HalfOpen, ASubscriberIsDeafWhenTheMachineOfItsPublisherWasReplaced)
{
    RemoteProgram& old = start(mMiddle, {"hosts_publisher", mPublisher});
    RemoteProgram& deaf = start(mNear, {"hosts_subscriber", mPublisher});
    RemoteProgram& patient = start(mNear, {"hosts_subscriber", mPublisher});
    join(old, deaf);
    join(old, patient);
    publish(old, 0, 10);
    expectSeen(deaf, "0-9");
    expectSeen(patient, "0-9");
    patient.begin("receive -1");

    awaitQuiet(*mNear);
    replace(mMiddle);
    RemoteProgram& publisher = start(mMiddle, {"hosts_publisher", mPublisher});
    RemoteProgram& fresh = start(mNear, {"hosts_subscriber", mPublisher});
    join(publisher, fresh);
    publish(publisher, 10, 10);
    expectSeen(fresh, "10-19");
    EXPECT_EQ(deaf.tell("receive 0"), "-1");
    EXPECT_EQ(deaf.tell("seen"), "0-9");
    EXPECT_TRUE(patient.lasts(milliseconds(500)));
    // Three subscribers look connected, and will be looked at in two hours; one is.
    const std::vector<std::string> connections = mNear->connections();
    EXPECT_EQ(connections.size(), 3U);
    EXPECT_EQ(mMiddle->connections().size(), 1U);
    for (const std::string& connection : connections) {
        EXPECT_NE(connection.find("timer:(keepalive,11"), std::string::npos) << connection;
    }

    EXPECT_EQ(deaf.tell("renew"), "renewed");
    join(publisher, deaf);
    publish(publisher, 20, 10);
    expectSeen(deaf, "0-9 20-29");
}

TEST_F(HalfOpen, APublisherNeverWaitsForASubscriberThatVanished)
{
    RemoteProgram& publisher = start(mMiddle, {"hosts_publisher", mPublisher});
    RemoteProgram& vanishing = start(mNear, {"hosts_subscriber", mPublisher});
    join(publisher, vanishing);
    mFirst->cut();
    vanishing.kill();
    publish(publisher, 0, 3000, "10000"); // More than there is room for.
    replace(mNear);
    RemoteProgram& fresh = start(mNear, {"hosts_subscriber", mPublisher});
    join(publisher, fresh);
    publish(publisher, 5000, 100);
    expectSeen(fresh, "5000-5099");
}

TEST_F(HalfOpen, AWorkerIsForgottenUntilItSendsOrIsRenewedWhenTheMachineOfItsBrokerWasReplaced)
{
    startBroker();
    RemoteProgram& busy = start(mFar, {"hosts_server", "worker", mWorkers});
    RemoteProgram& idle = start(mFar, {"hosts_server", "worker", mWorkers});
    RemoteProgram& client = start(mNear, {"hosts_client", "dealer", mClients});
    int number = reachAll(client, {&busy, &idle}, 0);
    EXPECT_EQ(busy.tell("hold"), "holding");
    EXPECT_EQ(client.tell("ask " + std::to_string(number) + " 2 10"), "2 sent");
    EXPECT_EQ(client.tell("collect 20000 1"), "1 right, 1 missing");
    EXPECT_TRUE(hosts::await([&] { return busy.tell("held") == "yes"; }));
    const std::string answeredByIdle = idle.tell("answered");
    number += 2;

    awaitQuiet(*mNear);
    awaitQuiet(*mFar);
    replace(mMiddle);
    startBroker();
    // The client's first request is refused and lost; its channel connects again by that.
    EXPECT_EQ(client.tell("ask " + std::to_string(number) + " 1 10"), "1 sent");
    EXPECT_EQ(client.tell("collect 1000"), "0 right, 2 missing");
    // Asked again, requests get to the broker, which knows no workers.
    EXPECT_EQ(client.tell("repeat"), "2 sent");
    EXPECT_EQ(client.tell("collect 1000"), "0 right, 2 missing");
    // So it is with the answer of a worker.
    EXPECT_EQ(busy.tell("release"), "2");
    EXPECT_EQ(client.tell("collect 20000"), "2 right");
    for (int i = 0; i < 10; ++i) {
        exchange(client, ++number);
    }
    EXPECT_EQ(idle.tell("answered"), answeredByIdle);
    EXPECT_EQ(idle.tell("renew"), "renewed");
    reachAll(client, {&idle}, ++number);
}

TEST_F(HalfOpen, AskingAgainHelpsWhenAWorkerVanished)
{
    startBroker();
    RemoteProgram& local = start(mMiddle, {"hosts_server", "worker", mWorkers});
    RemoteProgram& vanishing = start(mFar, {"hosts_server", "worker", mWorkers});
    RemoteProgram& client = start(mNear, {"hosts_client", "dealer", mClients});
    int number = reachAll(client, {&local, &vanishing}, 0);

    mSecond->cut();
    vanishing.kill();
    EXPECT_EQ(client.tell("ask " + std::to_string(number) + " 10 10"), "10 sent");
    EXPECT_EQ(client.tell("collect 20000 5"), "5 right, 5 missing"); // Dealt out in turn.
    EXPECT_EQ(client.tell("collect 300"), "0 right, 5 missing");
    insist(client);

    // A machine in its place refuses what comes for it, and the broker deals nothing more to it.
    replace(mFar);
    EXPECT_TRUE(hosts::await([&] {
        number += 10;
        client.tell("ask " + std::to_string(number) + " 10 10");
        const bool whole = client.tell("collect 300") == "10 right";
        insist(client);
        return whole;
    })) << "the broker does not notice";
}

TEST_F(HalfOpen, AClientWhoseConnectionTimedOutIsNotServedUntilItHasANewChannel)
{
    startBroker();
    start(mFar, {"hosts_server", "worker", mWorkers});
    RemoteProgram& client = start(mNear, {"hosts_client", "dealer", mClients});
    exchange(client, 0);

    // TCP gives up after a quarter of an hour of sending again; here sooner.
    awaitQuiet(*mMiddle);
    mNear->run("echo 1 >/proc/sys/net/ipv4/tcp_retries2");
    mFirst->cut();
    EXPECT_EQ(client.tell("ask 1 1 10"), "1 sent");
    EXPECT_TRUE(hosts::await([&] { return mNear->connections().empty(); }));
    mFirst->heal();
    // The channel connects again by itself. But the broker has a client of that name already: it
    // never heard that the connection has gone.
    EXPECT_TRUE(hosts::await([&] { return !mNear->connections().empty(); }));
    EXPECT_EQ(client.tell("repeat"), "1 sent");
    EXPECT_EQ(client.tell("collect 1500"), "0 right, 1 missing");
    EXPECT_EQ(client.tell("renew"), "renewed");
    exchange(client, 2);
}
