// Peers that cannot be reached from the start: sends queue and never wait.

#include "hosts/Network.h"

using hosts::Kind;
using hosts::RemoteProgram;

namespace {

class NoPeer : public hosts::Network {
protected:
    NoPeer() : Network(Kind::veth) {}

    void SetUp() override
    {
        Network::SetUp();
        if (!IsSkipped()) {
            mFirst->cut();
        }
    }
};

} // namespace

TEST_F(NoPeer, TakesOneRequestAndThenRefuses)
{
    RemoteProgram& client = start(mNear, {"hosts_client", "request", mServer});
    EXPECT_EQ(client.tell("ask 0 1 10"), "1 sent");
    EXPECT_EQ(client.tell("ask 1 1 10"), hosts::outOfTurn);
    EXPECT_EQ(client.tell("receive 0"), "-1");
    mFirst->heal();
    start(mMiddle, {"hosts_server", "reply", mServer});
    EXPECT_EQ(client.tell("collect 20000"), "1 right");
}

TEST_F(NoPeer, TakesAThousandRequestsToAPoolAndThenRefuses)
{
    RemoteProgram& client = start(mNear, {"hosts_client", "dealer", mClients});
    EXPECT_EQ(client.tell("ask 0 1500 10"), std::string("1000") + hosts::queueFull);
    EXPECT_EQ(client.tell("receive 0"), "-1");
    startBroker();
    mFirst->heal();
    start(mFar, {"hosts_server", "worker", mWorkers});
    EXPECT_EQ(client.tell("collect 20000"), "1000 right");
}

TEST_F(NoPeer, LetsASubscriberConnectLater)
{
    RemoteProgram& subscriber = start(mNear, {"hosts_subscriber", mPublisher});
    RemoteProgram& publisher = start(mMiddle, {"hosts_publisher", mPublisher});
    publish(publisher, 0, 100);
    EXPECT_EQ(subscriber.tell("receive 0"), "-1");
    mFirst->heal();
    join(publisher, subscriber);
    publish(publisher, 100, 100);
    expectSeen(subscriber, "100-199");
}
