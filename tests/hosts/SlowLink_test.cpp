// The patterns between hosts whose links are slow and lose frames. TCP makes up for that: all
// arrives, whole and in order, only later.

#include "hosts/Network.h"

#include <chrono>

using hosts::RemoteProgram;

namespace {

constexpr std::chrono::milliseconds delay(20);

class SlowLink : public hosts::Network {
protected:
    SlowLink() : Network(hosts::Quality{delay, 5}) {}

    void TearDown() override
    {
        if (!IsSkipped()) {
            EXPECT_GT(mFirst->lost(), 0U);
        }
        Network::TearDown();
    }
};

} // namespace

TEST_F(SlowLink, BringsRequestsAndRepliesOfAllSizes)
{
    start(mMiddle, {"hosts_server", "reply", mServer});
    RemoteProgram& client = start(mNear, {"hosts_client", "request", mServer});
    int number = 0;
    for (; number < 20; ++number) {
        const auto begun = std::chrono::steady_clock::now();
        exchange(client, number);
        const std::chrono::duration<double, std::milli> time =
            std::chrono::steady_clock::now() - begun;
        EXPECT_GE(time.count(), 2 * delay.count());
    }
    for (; number < 24; ++number) {
        exchange(client, number, "65536 0 1");
    }
    for (; number < 26; ++number) {
        exchange(client, number, "1048576 65536 0 7");
    }
}

TEST_F(SlowLink, BringsWhatIsPublishedWholeAndInOrder)
{
    RemoteProgram& publisher = start(mMiddle, {"hosts_publisher", mPublisher});
    RemoteProgram& one = start(mNear, {"hosts_subscriber", mPublisher});
    RemoteProgram& other = start(mNear, {"hosts_subscriber", mPublisher});
    join(publisher, one);
    join(publisher, other);
    // Each burst is confirmed before the next one, so that no queue overflows.
    int published = 0;
    for (const char* sizes : {"10", "1000 0 200", "5000", "65536"}) {
        const int count = sizes == std::string("65536") ? 10 : 100;
        publish(publisher, published, count, sizes);
        published += count;
        expectSeen(one, "0-" + std::to_string(published - 1));
        expectSeen(other, "0-" + std::to_string(published - 1));
    }
}

TEST_F(SlowLink, JoinsClientsBrokerAndWorkers)
{
    startBroker();
    const std::vector<RemoteProgram*> workers = {
        &start(mMiddle, {"hosts_server", "worker", mWorkers}),
        &start(mFar, {"hosts_server", "worker", mWorkers}),
        &start(mFar, {"hosts_server", "worker", mWorkers})};
    RemoteProgram& one = start(mNear, {"hosts_client", "dealer", mClients});
    RemoteProgram& other = start(mNear, {"hosts_client", "dealer", mClients});
    int number = hosts::reachAll(one, workers, 0);
    hosts::awaitNextSecond();
    for (const char* sizes : {"10", "1000", "10000 0 7"}) {
        for (RemoteProgram* client : {&one, &other}) {
            EXPECT_EQ(client->tell("ask " + std::to_string(number) + " 30 " + sizes), "30 sent");
            number += 30;
        }
        EXPECT_EQ(one.tell("collect 60000"), "30 right");
        EXPECT_EQ(other.tell("collect 60000"), "30 right");
    }
}
