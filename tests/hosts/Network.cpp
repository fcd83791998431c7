#include "hosts/Network.h"

#include "hosts/Await.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace hosts {

namespace {

/// No call of the library but a receive that waits without limit may last. Calls take microseconds;
/// this tells one that hangs.
constexpr double longestCall = 5; // seconds

/// After a failure the rest would mostly wait for what cannot come any more.
bool isPointless()
{
    return testing::Test::HasFailure();
}

bool isIdeal(Quality quality)
{
    return quality.delay.count() == 0 && quality.lossPercent == 0;
}

} // namespace

Network::Network(Kind kind) : mKind(kind) {}

Network::Network(Quality quality) : mQuality(quality), mKind(Kind::veth) {}

void Network::SetUp()
{
    try {
        mNear = std::make_unique<Host>();
        mMiddle = std::make_unique<Host>();
        mFar = std::make_unique<Host>();
        if (!isIdeal(mQuality)) {
            mKind = kindForQuality(*mNear);
        }
        layLinks();
    } catch (const Unavailable& lack) {
        GTEST_SKIP() << "several hosts on one machine take " << lack.what();
    }
}

void Network::TearDown()
{
    if (IsSkipped()) {
        return;
    }
    endPrograms();
    long calls = 0;
    double slowest = 0;
    for (const auto& entry : mPrograms) {
        const RemoteProgram::Calls made = entry.second->calls();
        EXPECT_LT(made.slowest, longestCall) << entry.second->name();
        calls += made.count;
        slowest = std::max(slowest, made.slowest);
    }
    EXPECT_GT(calls, 0);
    std::printf("figures: %ld calls of the library, the slowest %.1f ms; first link: %s; second "
                "link: %s\n",
                calls, slowest * 1000, mFirst->figures().c_str(), mSecond->figures().c_str());
}

RemoteProgram& Network::start(const std::unique_ptr<Host>& host,
                              const std::vector<std::string>& command)
{
    mPrograms.emplace_back(host.get(), std::make_unique<RemoteProgram>(*host, command));
    return *mPrograms.back().second;
}

void Network::startBroker()
{
    start(mMiddle, {"hosts_server", "broker", mClients, mWorkers}).tell("calls");
    EXPECT_TRUE(await([this] { return mMiddle->connections().empty(); })) << "no lone broker";
}

void Network::replace(std::unique_ptr<Host>& host)
{
    mFirst->cut();
    mSecond->cut();
    for (const auto& [place, program] : mPrograms) {
        if (place == host.get()) {
            program->kill();
        }
    }
    mFirst.reset();
    mSecond.reset();
    host = std::make_unique<Host>();
    layLinks();
}

void Network::layLinks()
{
    mFirst = connect(*mNear, *mMiddle, 1, mKind, mQuality);
    mSecond = connect(*mMiddle, *mFar, 2, mKind, mQuality);
}

void Network::endPrograms()
{
    for (const auto& entry : mPrograms) {
        EXPECT_EQ(entry.second->end(), 0) << entry.second->name();
    }
}

void exchange(RemoteProgram& client, int number, const std::string& sizes)
{
    if (isPointless()) {
        return;
    }
    EXPECT_EQ(client.tell("ask " + std::to_string(number) + " 1 " + sizes), "1 sent");
    EXPECT_EQ(client.tell("collect 60000"), "1 right");
}

int reachAll(RemoteProgram& client, const std::vector<RemoteProgram*>& workers, int number)
{
    for (RemoteProgram* worker : workers) {
        const std::string before = worker->tell("answered");
        EXPECT_TRUE(await([&] {
            exchange(client, number++);
            return isPointless() || worker->tell("answered") != before;
        })) << "a worker gets no requests";
    }
    return number;
}

void join(RemoteProgram& publisher, RemoteProgram& subscriber)
{
    if (isPointless()) {
        return;
    }
    const int first = std::atoi(publisher.tell("mark").c_str());
    EXPECT_TRUE(await([&] {
        publisher.tell("mark");
        return std::atoi(subscriber.tell("mark").c_str()) >= first;
    })) << "a subscriber does not join";
}

void publish(RemoteProgram& publisher, int first, int count, const std::string& sizes)
{
    const std::string number = std::to_string(count);
    EXPECT_EQ(publisher.tell("publish " + std::to_string(first) + ' ' + number + ' ' + sizes),
              number + " published");
}

void expectSeen(RemoteProgram& subscriber, const std::string& numbers)
{
    if (isPointless()) {
        return;
    }
    await([&] { return subscriber.tell("seen") == numbers; }, std::chrono::seconds(60));
    EXPECT_EQ(subscriber.tell("seen"), numbers);
}

void awaitNextSecond()
{
    const std::time_t now = std::time(nullptr);
    await([now] { return std::time(nullptr) > now; });
}

} // namespace hosts
