#include "recovery/Pool.h"

namespace recovery {

std::unique_ptr<support::Process> Pool::startBroker() const
{
    return start("broker", {mClientEnd, mWorkerEnd});
}

void Pool::startWorker()
{
    const std::string number = std::to_string(mWorkers.size());
    mLedger.servers[mWorkers.size()].living = true;
    mWorkers.push_back(
        start("worker", {mWorkerEnd, "ipc://" + mFolder + "/unused" + number, number}));
}

void Pool::killWorker(unsigned int number)
{
    killAtRandom(*mWorkers[number]);
    mLedger.servers[number].living = false;
}

void Pool::startClients()
{
    for (unsigned int i = 0; i < clients; ++i) {
        mClients.push_back(start("pool_client", {mClientEnd, std::to_string(i)}));
    }
}

bool Pool::awaitProgress(unsigned int answers)
{
    unsigned int goals[clients];
    for (unsigned int i = 0; i < clients; ++i) {
        goals[i] = mLedger.clients[i].settled + answers;
    }
    return await([&] {
        bool all = true;
        for (unsigned int i = 0; i < clients; ++i) {
            all = all && mLedger.clients[i].settled >= goals[i];
        }
        return all;
    });
}

void Pool::finishClients()
{
    mLedger.stop = true;
    for (unsigned int i = 0; i < clients; ++i) {
        const Client& client = mLedger.clients[i];
        EXPECT_TRUE(await([&] { return client.settled == client.requests; }));
    }
    for (unsigned int i = 0; i < clients; ++i) {
        mLedger.drain = i + 1;
        EXPECT_EQ(mClients[i]->wait(), 0);
        const Client& client = mLedger.clients[i];
        EXPECT_EQ(client.settled, client.requests);
        EXPECT_GT(client.requests, 0U);
    }
    EXPECT_EQ(mLedger.broken, 0U);
    EXPECT_EQ(mLedger.twice, 0U);
}

bool Pool::isUnderLoad() const
{
    bool all = true;
    for (unsigned int i = 0; i < clients; ++i) {
        const Client& client = mLedger.clients[i];
        all = all && client.requests > client.settled;
    }
    return all;
}

unsigned int Pool::count(const std::function<bool(const Sending&)>& condition) const
{
    unsigned int sum = 0;
    for (unsigned int i = 0; i < clients; ++i) {
        sum += countSendings(mLedger.clients[i], condition);
    }
    return sum;
}

} // namespace recovery
