// A link that is cut and heals: TCP holds what is under way, and all goes on.

#include "hosts/Await.h"
#include "hosts/Network.h"

#include <cstdlib>
#include <ostream>

using hosts::Kind;
using hosts::RemoteProgram;

namespace hosts {

/// What a cut looks like to the near host.
void PrintTo(Kind kind, std::ostream* out)
{
    *out << (kind == Kind::veth ? "Down" : "Silent");
}

} // namespace hosts

namespace {

class CutLink : public hosts::Network, public testing::WithParamInterface<Kind> {
protected:
    CutLink() : Network(GetParam()) {}
};

std::string nameOf(const testing::TestParamInfo<Kind>& info)
{
    return testing::PrintToString(info.param);
}

} // namespace

TEST_P(CutLink, HoldsARequestUntilItHeals)
{
    start(mMiddle, {"hosts_server", "reply", mServer});
    RemoteProgram& client = start(mNear, {"hosts_client", "request", mServer});
    exchange(client, 0);

    mFirst->cut();
    EXPECT_EQ(client.tell("ask 1 1 10"), "1 sent");
    EXPECT_EQ(client.tell("collect 1000"), "0 right, 1 missing");
    EXPECT_EQ(client.tell("receive 0"), "-1");
    EXPECT_EQ(client.tell("receive 60000"), "0"); // At once: see the limit of all calls.
    mFirst->heal();
    EXPECT_EQ(client.tell("collect 20000"), "1 right");
    exchange(client, 2);
}

TEST_P(CutLink, LetsAClientThatGaveUpAskAgainOverANewChannel)
{
    start(mMiddle, {"hosts_server", "reply", mServer});
    RemoteProgram& client = start(mNear, {"hosts_client", "request", mServer});
    exchange(client, 0);

    mFirst->cut();
    EXPECT_EQ(client.tell("ask 1 1 10"), "1 sent");
    EXPECT_EQ(client.tell("collect 300"), "0 right, 1 missing");
    EXPECT_EQ(client.tell("ask 2 1 10"), hosts::outOfTurn);
    EXPECT_EQ(client.tell("renew"), "renewed");
    EXPECT_EQ(client.tell("ask 2 1 10"), "1 sent");
    EXPECT_EQ(client.tell("collect 300"), "0 right, 1 missing");
    mFirst->heal();
    EXPECT_EQ(client.tell("collect 20000"), "1 right");
    exchange(client, 3);
}

TEST_P(CutLink, HoldsWhatIsPublishedUpToTheHighWaterMark)
{
    RemoteProgram& publisher = start(mMiddle, {"hosts_publisher", mPublisher});
    RemoteProgram& subscriber = start(mNear, {"hosts_subscriber", mPublisher});
    join(publisher, subscriber);
    publish(publisher, 0, 100);
    expectSeen(subscriber, "0-99");

    mFirst->cut();
    publish(publisher, 100, 100);
    EXPECT_EQ(subscriber.tell("receive 0"), "-1");
    EXPECT_EQ(subscriber.tell("seen"), "0-99");
    mFirst->heal();
    expectSeen(subscriber, "0-199");

    // Of more than there is room for, the oldest come, then a gap, then what is published once
    // there is room again. There is room for 1,000 less what has been taken but not reported yet,
    // which is below 500, and for what the system's buffers hold.
    mFirst->cut();
    publish(publisher, 200, 3000, "10000");
    mFirst->heal();
    join(publisher, subscriber);
    publish(publisher, 9000, 100);
    const std::string kept = subscriber.tell("seen").substr(2);
    const int last = std::atoi(kept.c_str());
    EXPECT_GE(last, 200 + 499);
    EXPECT_LT(last, 200 + 2999);
    expectSeen(subscriber, "0-" + std::to_string(last) + " 9000-9099");
}

TEST_P(CutLink, HoldsRequestsToAPoolAndTheirAnswers)
{
    startBroker();
    start(mFar, {"hosts_server", "worker", mWorkers});
    RemoteProgram& client = start(mNear, {"hosts_client", "dealer", mClients});
    exchange(client, 0);

    int number = 1;
    for (hosts::Link* link : {mFirst.get(), mSecond.get()}) {
        link->cut();
        EXPECT_EQ(client.tell("ask " + std::to_string(number) + " 10 10"), "10 sent");
        EXPECT_EQ(client.tell("collect 700"), "0 right, 10 missing");
        EXPECT_EQ(client.tell("receive 0"), "-1");
        link->heal();
        EXPECT_EQ(client.tell("collect 20000"), "10 right");
        number += 10;
    }
}

TEST_P(CutLink, RefusesRequestsToAPoolWhenTheQueueIsFull)
{
    startBroker();
    start(mFar, {"hosts_server", "worker", mWorkers});
    RemoteProgram& client = start(mNear, {"hosts_client", "dealer", mClients});
    exchange(client, 0);

    mFirst->cut();
    const std::string asked = client.tell("ask 1 3000 10000");
    EXPECT_NE(asked.find(hosts::queueFull), std::string::npos) << asked;
    EXPECT_GE(std::atoi(asked.c_str()), 500);
    mFirst->heal();
    EXPECT_TRUE(hosts::await([&] { return client.tell("ask 5000 1 10") == "1 sent"; }));
}

INSTANTIATE_TEST_SUITE_P(, CutLink, testing::Values(Kind::veth, Kind::forwarder), nameOf);
