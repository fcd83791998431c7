#include "ostrel/IpcMsg.h"
#include "ostrel/MsgDealerWorkerChannel.h"
#include "ostrel/MsgDealerWorkerHandle.h"
#include "ostrel/StringMsg.h"
#include "pattern/WorkerTesting.h"

#include <cerrno>
#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

using namespace ostrel;
using namespace workertest;
using support::IpcEndpoint;
using support::Stdout;
using support::SyslogSpy;
using testing::ElementsAre;
using testing::IsEmpty;
using watch::binary;
using watch::header;
using watch::Outcome;
using watch::partsOf;
using watch::Watch;

namespace {

using Callback = void (*)(int, const char*, int, MsgDealerWorkerChannel*, MsgHandle*);

/// What a callback was called with.
struct Request {
    int arg;
    std::string data;
    int size;
    MsgDealerWorkerChannel* channel;
    std::string client;
};

bool operator==(const Request& one, const Request& other)
{
    return one.arg == other.arg && one.data == other.data && one.size == other.size &&
           one.channel == other.channel && one.client == other.client;
}

std::ostream& operator<<(std::ostream& out, const Request& request)
{
    return out << request.arg << " \"" << request.data << "\" " << request.size << " from "
               << request.client;
}

std::vector<Request> requests;

/// After how many requests the callbacks end the loop.
std::size_t enough = 1;

/// What the callbacks do besides.
std::function<void(MsgDealerWorkerChannel&, MsgHandle*)> also;

void onRequest(int arg, const char* data, int size, MsgDealerWorkerChannel* channel,
               MsgHandle* handle)
{
    requests.push_back(
        {arg, data == nullptr ? "null" : std::string(data, static_cast<std::size_t>(size)), size,
         channel, clientOf(handle)});
    if (also) {
        also(*channel, handle);
    }
    if (requests.size() >= enough) {
        channel->terminate();
    }
}

void onAnother(int arg, const char* data, int size, MsgDealerWorkerChannel* channel,
               MsgHandle* handle)
{
    onRequest(-arg, data, size, channel, handle);
}

/// A connected channel whose peer is a raw socket in the broker's place.
struct Joined {
    Joined() : channel(RawBroker::name)
    {
        EXPECT_EQ(channel.setWorkerEndPoint(broker.endpoint()), 0);
        channel.pvthandle->connectEndpoint();
    }

    /// A request of one part.
    void ask(const std::string& client, int type, const std::string& data)
    {
        broker.send({client, header(type, 0), data});
    }

    RawBroker broker;
    MsgDealerWorkerChannel channel;
};

std::string pointerLine(int type, Callback callback)
{
    char line[100];
    const int length = std::snprintf(line, sizeof line, "--> msgType %d - pointer %p\n", type,
                                     reinterpret_cast<void*>(callback));
    return {line, static_cast<std::size_t>(length)};
}

const std::string line = "MsgDealerWorkerChannel::ipcReceive ";
const std::string before = line + "before receive\n";
const std::string found = line + "found call back\n";
const std::string notFound = line + "could not find it\n";

std::string after(int result)
{
    return line + "got the msg retCode = " + std::to_string(result) + "\n";
}

std::string after(int result, int type)
{
    return after(result) + line + "got the msg retCode = " + std::to_string(result) + " type " +
           std::to_string(type) + "\n";
}

/// What the pattern prints for a request of one part: how many parts the message then has, and what
/// it takes for the client.
std::string receiving(const std::string& client, int type, const std::string& data, int parts,
                      const std::string& taken)
{
    return beforeLine + frameLine("identity", client.size()) + frameLine("msg hdr", 8) +
           frameLine("msg", data.size()) + resultLine(parts, type) + partsLine(parts) +
           "===> identity = " + taken + " \n";
}

std::string receiving(const std::string& client, int type, const std::string& data)
{
    return receiving(client, type, data, 2, client);
}

} // namespace

// Making.

TEST(WorkerChannel, HoldsAWorkerPatternOfItsName)
{
    Watch watch;
    EXPECT_EQ(watch([] {
                  MsgDealerWorkerChannel channel("pool");
                  EXPECT_EQ(channel.getChannelName(), "pool");
                  EXPECT_EQ(channel.mChannelType, 2);
                  const auto* pattern = dynamic_cast<MsgDealerWorkerPattern*>(channel.pvthandle);
                  ASSERT_NE(pattern, nullptr);
                  EXPECT_EQ(pattern->mChannelName, "pool");
              }),
              (Outcome{"done", "", {}, {}}));
}

TEST(WorkerChannel, SwitchesIdentityFramingOn)
{
    Joined joined;
    IpcMsg msg = binary(7, 0, {"first", "second"});
    const Stdout out;
    EXPECT_EQ(joined.channel.send(&msg), 2);
    EXPECT_THAT(joined.broker.receive(), ElementsAre("first", header(7, 0), "second"));
}

TEST(WorkerChannel, CannotBeMadeWithoutAName)
{
    Watch watch;
    const std::string what = "Invalid Channel name specified";
    EXPECT_EQ(watch([] { const MsgDealerWorkerChannel channel(""); }),
              (Outcome{"logic_error: " + what,
                       "",
                       {"Error : Ostrel::MsgPattern::MsgPattern() : " + what},
                       {}}));
}

TEST(WorkerChannel, ClosesItsSocketAtItsEndAndLeavesTheBroker)
{
    const Endpoints endpoints;
    Watch watch;
    auto channel = std::make_unique<MsgDealerWorkerChannel>("pool");
    EXPECT_EQ(channel->setServerEndPoint(endpoints.clients.text()), 0);
    EXPECT_EQ(channel->setWorkerEndPoint(endpoints.workers.text()), 0);
    channel->pvthandle->connectEndpoint(); // s1; the broker has s2 and s3
    EXPECT_EQ(watch([&] { channel.reset(); }), (Outcome{"done", "", {}, watch::closed("s1")}));
}

// Endpoints.

namespace {

struct Setter {
    int (MsgDealerWorkerChannel::*set)(std::string);
    channel_prop_t prop;
};

const Setter setters[] = {
    {&MsgDealerWorkerChannel::setServerEndPoint, PROP_DEALER_SERVER_ENDPOINT},
    {&MsgDealerWorkerChannel::setWorkerEndPoint, PROP_DEALER_WORKER_ENDPOINT},
};

} // namespace

TEST(WorkerChannelEndpoints, ArePropertiesOfThePattern)
{
    for (const Setter& setter : setters) {
        MsgDealerWorkerChannel channel("pool");
        EXPECT_EQ((channel.*setter.set)("tcp://127.0.0.1:5555"), 0);
        for (const channel_prop_t prop :
             {PROP_DEALER_SERVER_ENDPOINT, PROP_DEALER_WORKER_ENDPOINT}) {
            EXPECT_EQ(channel.getProperty(prop), prop == setter.prop ? "tcp://127.0.0.1:5555" : "");
        }
    }
}

TEST(WorkerChannelEndpoints, HaveAtMost255Characters)
{
    const std::string longest = "ipc://" + std::string(249, 'x');
    for (const Setter& setter : setters) {
        MsgDealerWorkerChannel channel("pool");
        EXPECT_EQ((channel.*setter.set)(longest), 0);
        Watch watch;
        EXPECT_EQ(watch([&] { return (channel.*setter.set)(longest + "*"); }),
                  (Outcome{"-1", "", {}, {}}));
        EXPECT_EQ(channel.getProperty(setter.prop), longest);
    }
}

TEST(WorkerChannelEndpoints, HaveNoWildcard)
{
    for (const Setter& setter : setters) {
        MsgDealerWorkerChannel channel("pool");
        const std::string what = "Invalid Endpoint : tcp://*:5555";
        Watch watch;
        EXPECT_EQ(watch([&] { return (channel.*setter.set)("tcp://*:5555"); }),
                  (Outcome{"logic_error: " + what,
                           "",
                           {"Error : Ostrel::MsgDealerWorkerPattern::setProperty() : " + what},
                           {}}));
    }
}

TEST(WorkerChannelEndpoints, AreFrozenOnceThereIsASocket)
{
    Joined joined;
    for (const Setter& setter : setters) {
        for (const char* endpoint : {"tcp://127.0.0.1:5555", "tcp://*:5555"}) {
            Watch watch;
            EXPECT_EQ(watch([&] { return (joined.channel.*setter.set)(endpoint); }),
                      (Outcome{"-1", "", {}, {}}));
        }
    }
    EXPECT_EQ(joined.channel.getProperty(PROP_DEALER_WORKER_ENDPOINT), joined.broker.endpoint());
}

// Registering.

TEST(WorkerCallbacks, AreOneForEachType)
{
    Joined joined;
    Watch watch;
    EXPECT_EQ(watch([&] { return joined.channel.registerCallBack(7, onRequest); }),
              (Outcome{"1", "", {}, {}}));
    EXPECT_EQ(watch([&] { return joined.channel.registerCallBack(7, onAnother); }),
              (Outcome{"0", "", {}, {}}));
    EXPECT_EQ(joined.channel.registerCallBack(7, nullptr), 0);
    EXPECT_EQ(joined.channel.registerCallBack(8, onAnother), 1);
    enough = 2;
    joined.ask("client", 7, "one");
    joined.ask("client", 8, "two");
    const Outcome outcome = watch([&] { return joined.channel.ipcReceive(5, -1); });
    EXPECT_EQ(outcome.result, "0");
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].arg, 5); // The first that was registered stays.
    EXPECT_EQ(requests[1].arg, -5);
}

// The loop.

TEST(WorkerLoop, CallsTheCallbackOfTheType)
{
    Joined joined;
    joined.channel.registerCallBack(7, onRequest);
    joined.ask("client", 7, "data");
    Watch watch;
    EXPECT_EQ(watch([&] { return joined.channel.ipcReceive(42, -1); }),
              (Outcome{"0",
                       before + receiving("client", 7, "data") + after(1, 7) +
                           pointerLine(7, onRequest) + found,
                       {},
                       watch::joined({watch::received("s1", 0), watch::received("s1", 0),
                                      watch::received("s1", 0)})}));
    EXPECT_THAT(requests, ElementsAre(Request{42, "data", 4, &joined.channel, "client"}));
}

TEST(WorkerLoop, PassesItsArgumentThrough)
{
    for (const int arg : {0, -1, 7, 2147483647}) {
        requests.clear();
        Joined joined;
        joined.channel.registerCallBack(3, onRequest);
        joined.ask("client", 3, "data");
        const Stdout out;
        EXPECT_EQ(joined.channel.ipcReceive(arg, -1), 0);
        EXPECT_THAT(requests, ElementsAre(Request{arg, "data", 4, &joined.channel, "client"}));
    }
}

TEST(WorkerLoop, GivesTheFirstPartOfARequestWithSeveral)
{
    Joined joined;
    joined.channel.registerCallBack(7, onRequest);
    joined.broker.send({"client", header(7, 0), "first", "second", "third"});
    Watch watch;
    const Outcome outcome = watch([&] { return joined.channel.ipcReceive(1, -1); });
    EXPECT_THAT(outcome.printed, testing::HasSubstr(after(3, 7)));
    EXPECT_THAT(requests, ElementsAre(Request{1, "first", 5, &joined.channel, "client"}));
}

TEST(WorkerLoop, GivesNullForAPartWithoutBytes)
{
    Joined joined;
    joined.channel.registerCallBack(7, onRequest);
    joined.ask("client", 7, "");
    const Stdout out;
    EXPECT_EQ(joined.channel.ipcReceive(1, -1), 0);
    EXPECT_THAT(requests, ElementsAre(Request{1, "null", 0, &joined.channel, "client"}));
}

TEST(WorkerLoop, ListsAllTypesInAscendingOrderForEachRequest)
{
    Joined joined;
    joined.channel.registerCallBack(9, onRequest);
    joined.channel.registerCallBack(-3, onAnother);
    joined.channel.registerCallBack(7, nullptr);
    joined.ask("client", 9, "data");
    Watch watch;
    EXPECT_EQ(watch([&] { return joined.channel.ipcReceive(1, -1); }).printed,
              before + receiving("client", 9, "data") + after(1, 9) + pointerLine(-3, onAnother) +
                  pointerLine(7, nullptr) + pointerLine(9, onRequest) + found);
}

TEST(WorkerLoop, DropsARequestOfAnUnknownTypeAndGoesOn)
{
    Joined joined;
    joined.channel.registerCallBack(7, onRequest);
    joined.ask("client", 8, "dropped");
    joined.ask("client", 7, "data");
    Watch watch;
    const Outcome outcome = watch([&] { return joined.channel.ipcReceive(1, -1); });
    EXPECT_EQ(outcome.result, "0");
    EXPECT_EQ(outcome.printed, before + receiving("client", 8, "dropped") + after(1, 8) +
                                   pointerLine(7, onRequest) + notFound + before +
                                   receiving("client", 7, "data", 3, "dropped") + after(2, 7) +
                                   pointerLine(7, onRequest) + found);
    // What was dropped stays in the working message all the same.
    EXPECT_THAT(requests, ElementsAre(Request{1, "client", 6, &joined.channel, "dropped"}));
}

TEST(WorkerLoop, DropsARequestForANullCallback)
{
    Joined joined;
    EXPECT_EQ(joined.channel.registerCallBack(8, nullptr), 1);
    joined.channel.registerCallBack(7, onRequest);
    joined.ask("client", 8, "dropped");
    joined.ask("client", 7, "data");
    Watch watch;
    const std::string pointers = pointerLine(7, onRequest) + pointerLine(8, nullptr);
    EXPECT_EQ(watch([&] { return joined.channel.ipcReceive(1, -1); }).printed,
              before + receiving("client", 8, "dropped") + after(1, 8) + pointers + found + before +
                  receiving("client", 7, "data", 3, "dropped") + after(2, 7) + pointers + found);
    EXPECT_EQ(requests.size(), 1U);
}

TEST(WorkerLoop, DropsARequestWithoutData)
{
    Joined joined;
    joined.channel.registerCallBack(7, onRequest);
    joined.broker.send({"client", header(7, 0)});
    joined.ask("client", 7, "data");
    Watch watch;
    EXPECT_EQ(watch([&] { return joined.channel.ipcReceive(1, -1); }).printed,
              before + beforeLine + frameLine("identity", 6) + frameLine("msg hdr", 8) +
                  resultLine(1, 7) + partsLine(1) + "===> identity = client \n" + after(0) +
                  before + receiving("client", 7, "data") + after(1, 7) +
                  pointerLine(7, onRequest) + found);
    EXPECT_THAT(requests, ElementsAre(Request{1, "data", 4, &joined.channel, "client"}));
}

TEST(WorkerLoop, TakesOldPartsForIdentitiesFromTheSecondRequestOn)
{
    Joined joined;
    joined.channel.registerCallBack(7, onRequest);
    joined.channel.registerCallBack(8, onRequest);
    enough = 3;
    joined.ask("red", 7, "A");
    joined.ask("blue", 8, "BB");
    joined.ask("green", 7, "CCC");
    Watch watch;
    const std::string pointers = pointerLine(7, onRequest) + pointerLine(8, onRequest);
    EXPECT_EQ(watch([&] { return joined.channel.ipcReceive(1, -1); }).printed,
              before + receiving("red", 7, "A") + after(1, 7) + pointers + found + before +
                  receiving("blue", 8, "BB", 3, "A") + after(2, 8) + pointers + found + before +
                  receiving("green", 7, "CCC", 4, "blue") + after(3, 7) + pointers + found);
    EXPECT_THAT(requests, ElementsAre(Request{1, "A", 1, &joined.channel, "red"},
                                      Request{1, "blue", 4, &joined.channel, "A"},
                                      Request{1, "BB", 2, &joined.channel, "blue"}));
}

TEST(WorkerLoop, StartsWithAFreshMessageEachTimeItIsEntered)
{
    Joined joined;
    joined.channel.registerCallBack(7, onRequest);
    const Stdout out;
    for (const char* client : {"red", "blue", "green"}) {
        joined.ask(client, 7, client);
        EXPECT_EQ(joined.channel.ipcReceive(1, -1), 0);
        EXPECT_EQ(requests.back().client, client);
        EXPECT_EQ(requests.back().data, client);
    }
    EXPECT_EQ(requests.size(), 3U);
}

TEST(WorkerLoop, GoesOnAfterATimeout)
{
    struct Case {
        long timeout;
        int result;
        std::string printed;
    };
    const Case cases[] = {
        {-1, -1, attemptLine + "receive: timeout\n"},
        {0, -1, attemptLine + "receive: timeout\n"},
        {5000, 0, attemptLine + "nothing to received\n"},
    };
    for (const Case& one : cases) {
        requests.clear();
        Joined joined;
        joined.channel.registerCallBack(7, onRequest);
        joined.ask("client", 7, "data");
        ASSERT_EQ(readableOf({joined.channel.pvthandle->mpSocket}, 20000), 0);
        Watch watch;
        // It is there, but the first look does not find it.
        watch.zmq.fail("zmq_recvmsg", 1, EAGAIN);
        watch.zmq.fail("zmq_poll", 1, EINTR);
        EXPECT_EQ(watch([&] { return joined.channel.ipcReceive(1, one.timeout); }).printed,
                  before + beforeLine + one.printed + resultLine(one.result, 0) +
                      after(one.result) + before + receiving("client", 7, "data") + after(1, 7) +
                      pointerLine(7, onRequest) + found);
        EXPECT_EQ(requests.size(), 1U);
    }
}

TEST(WorkerLoop, ConnectsWithItsFirstReceive)
{
    const Endpoints endpoints;
    MsgDealerWorkerChannel channel("pool");
    channel.setServerEndPoint(endpoints.clients.text());
    channel.setWorkerEndPoint(endpoints.workers.text());
    channel.registerCallBack(7, onRequest);
    NamedClient client("client", endpoints.clients.text());
    client.send({header(7, 0), "data"});
    const Stdout out;
    EXPECT_EQ(channel.ipcReceive(1, -1), 0);
    EXPECT_THAT(requests, ElementsAre(Request{1, "data", 4, &channel, "client"}));
}

// Ending the loop.

TEST(WorkerTerminate, EndsTheLoopWhenTheCallbackReturns)
{
    Joined joined;
    joined.channel.registerCallBack(7, onRequest);
    joined.ask("client", 7, "one");
    joined.ask("client", 7, "two");
    EXPECT_FALSE(joined.channel.mRunning);
    also = [](MsgDealerWorkerChannel& channel, MsgHandle* /*handle*/) {
        EXPECT_TRUE(channel.mRunning);
    };
    const Stdout out;
    EXPECT_EQ(joined.channel.ipcReceive(1, -1), 0);
    EXPECT_FALSE(joined.channel.mRunning);
    EXPECT_EQ(requests.size(), 1U);
    // The next one waits for the next loop.
    EXPECT_EQ(joined.channel.ipcReceive(1, -1), 0);
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[1].data, "two");
}

TEST(WorkerTerminate, DoesNothingToALoopThatIsEnteredLater)
{
    Joined joined;
    joined.channel.registerCallBack(7, onRequest);
    joined.channel.terminate();
    joined.ask("client", 7, "data");
    const Stdout out;
    EXPECT_EQ(joined.channel.ipcReceive(1, -1), 0);
    EXPECT_EQ(requests.size(), 1U);
}

TEST(WorkerTerminate, LetsTheLoopOfAnotherThreadWaitForItsNextRequestAndHandleIt)
{
    Joined joined;
    joined.channel.registerCallBack(7, onRequest);
    enough = 1000; // It is not the callback that ends the loop.
    support::ZmqSpy spy;
    spy.watchAllThreads();
    std::promise<void> waits;
    bool said = false;
    spy.onCall([&](const std::string& call) {
        if (!said && call.rfind("zmq_recvmsg(", 0) == 0) {
            said = true;
            waits.set_value();
        }
    });
    const Stdout out;
    auto loop = std::async(std::launch::async, [&] { return joined.channel.ipcReceive(1, -1); });
    waits.get_future().get();
    joined.channel.terminate();
    joined.ask("client", 7, "last");
    EXPECT_EQ(loop.get(), 0);
    EXPECT_THAT(requests, ElementsAre(Request{1, "last", 4, &joined.channel, "client"}));
    spy.onCall(nullptr);
}

TEST(WorkerTerminate, EndsALoopThatSpinsOnAnInvalidTimeout)
{
    Joined joined;
    joined.channel.registerCallBack(7, onRequest);
    joined.ask("client", 7, "never asked for");
    Watch watch;
    auto ending = std::async(std::launch::async, [&] {
        while (!joined.channel.mRunning) {
            std::this_thread::yield();
        }
        joined.channel.terminate();
    });
    const Outcome outcome = watch([&] { return joined.channel.ipcReceive(1, -2); });
    EXPECT_EQ(outcome.result, "0");
    EXPECT_THAT(outcome.calls, IsEmpty());
    // As often as it came round, and nothing else.
    const std::string round = before + "receive: invalid input\n" + after(-1);
    std::string expected;
    while (expected.size() < outcome.printed.size()) {
        expected += round;
    }
    EXPECT_EQ(outcome.printed, expected);
}

// The handle that callbacks are lent.

TEST(WorkerAnswers, GoToTheClientThatAsked)
{
    const Endpoints endpoints;
    MsgDealerWorkerChannel channel("pool");
    channel.setServerEndPoint(endpoints.clients.text());
    channel.setWorkerEndPoint(endpoints.workers.text());
    channel.registerCallBack(7, onRequest);
    int sent = 0;
    also = [&](MsgDealerWorkerChannel& own, MsgHandle* handle) {
        char data[] = "answer to client0";
        data[16] = clientOf(handle)[6];
        sent += own.ipcSend(8, data, 17, handle->clone());
    };
    std::vector<std::unique_ptr<NamedClient>> clients;
    const Stdout out;
    for (const char* name : {"client1", "client2", "client3"}) {
        clients.push_back(std::make_unique<NamedClient>(name, endpoints.clients.text()));
        clients.back()->send({header(7, 0), "question"});
        requests.clear();
        EXPECT_EQ(channel.ipcReceive(1, -1), 0);
    }
    EXPECT_EQ(sent, 3);
    EXPECT_THAT(clients[2]->receive(), ElementsAre(header(8, 0), "answer to client3"));
    EXPECT_THAT(clients[1]->receive(), ElementsAre(header(8, 0), "answer to client2"));
    EXPECT_THAT(clients[0]->receive(), ElementsAre(header(8, 0), "answer to client1"));
}

TEST(WorkerAnswers, CanBeGivenLaterWithAClone)
{
    Joined joined;
    joined.channel.registerCallBack(7, onRequest);
    joined.ask("client", 7, "question");
    MsgHandle* kept = nullptr;
    also = [&](MsgDealerWorkerChannel& /*channel*/, MsgHandle* handle) { kept = handle->clone(); };
    const Stdout out;
    EXPECT_EQ(joined.channel.ipcReceive(1, -1), 0);
    char data[] = "answer";
    EXPECT_EQ(joined.channel.ipcSend(8, data, 6, kept), 1);
    EXPECT_THAT(joined.broker.receive(), ElementsAre("client", header(8, 0), "answer"));
}

TEST(WorkerAnswers, ConsumeTheirHandle)
{
    Joined joined;
    char data[] = "answer";
    auto* handle = new CountedHandle("client");
    Watch watch;
    EXPECT_EQ(
        watch([&] { return joined.channel.ipcSend(8, data, 6, handle); }),
        (Outcome{"1",
                 "MsgDealerWorkerPattern::send insert the identity\n"
                 "MsgDealerWorkerPattern::send client - 6\n"
                 "MsgDealerWorkerPattern::send sending to worker ???\n",
                 {},
                 watch::joined({watch::sent("s1", false, 6, "client"),
                                watch::sent("s1", false, 8, R"(\x00\x00\x00\x08\x00\x00\x00\x00)"),
                                watch::sent("s1", true, 6, "answer")})}));
    EXPECT_EQ(CountedHandle::alive(), 0);
    EXPECT_THAT(joined.broker.receive(), ElementsAre("client", header(8, 0), "answer"));
}

TEST(WorkerAnswers, CopyTheirData)
{
    Joined joined;
    char data[] = "answer";
    const Stdout out;
    EXPECT_EQ(joined.channel.ipcSend(8, data, 3, new CountedHandle("client")), 1);
    EXPECT_STREQ(data, "answer");
    EXPECT_THAT(joined.broker.receive(), ElementsAre("client", header(8, 0), "ans"));
    EXPECT_EQ(joined.channel.ipcSend(8, nullptr, 0, new CountedHandle("client")), 1);
    EXPECT_THAT(joined.broker.receive(), ElementsAre("client", header(8, 0), ""));
    EXPECT_EQ(CountedHandle::alive(), 0);
}

TEST(WorkerAnswers, LeaveTheirHandleToTheCallerWhenTheyCannotBeSent)
{
    char data[] = "answer";
    const std::string printed = "MsgDealerWorkerPattern::send insert the identity\n"
                                "MsgDealerWorkerPattern::send client - 6\n"
                                "MsgDealerWorkerPattern::send sending to worker ???\n";
    CountedHandle* handle = nullptr;
    watch::throughFailures(
        watch::printedFirst(printed, watch::sendFailures(3)),
        watch::joined({watch::sent("s1", false, 6, "client"),
                       watch::sent("s1", false, 8, R"(\x00\x00\x00\x08\x00\x00\x00\x00)"),
                       watch::sent("s1", true, 6, "answer")}),
        [&](Watch& /*watch*/) {
            handle = new CountedHandle("client");
            return std::make_unique<Joined>();
        },
        [&](Joined& joined) {
            const LostOnPurpose theMessage;
            return joined.channel.ipcSend(8, data, 6, handle);
        },
        [&](Watch& /*watch*/, Joined& /*joined*/, std::size_t /*nth*/) {
            ASSERT_EQ(CountedHandle::alive(), 1);
            EXPECT_EQ(handle->getIdentity(), "client");
            delete handle;
        });
    EXPECT_EQ(CountedHandle::alive(), 0);
}

TEST(WorkerAnswers, LeaveTheirHandleToTheCallerWhenTheChannelCannotConnect)
{
    Joined other; // The broker of the name stands; this channel has no endpoint.
    MsgDealerWorkerChannel channel(RawBroker::name);
    char data[] = "answer";
    auto handle = std::make_unique<CountedHandle>("client");
    const std::string what = "Failed to connect ZeroMQ Socket : Invalid argument : End Point : ";
    Watch watch;
    const LostOnPurpose theMessage;
    const Outcome outcome = watch([&] { return channel.ipcSend(8, data, 6, handle.get()); });
    EXPECT_EQ(outcome.result, "runtime_error: " + what);
    EXPECT_THAT(outcome.logged,
                ElementsAre("Error : Ostrel::ZMQWrapper::registerReceiver() : " + what,
                            "Error : Ostrel::MsgDealerWorkerPattern::connectEndpoint() : " + what));
    EXPECT_EQ(CountedHandle::alive(), 1);
    EXPECT_EQ(handle->getIdentity(), "client");
}

TEST(WorkerAnswers, GoOutWithoutIdentityForANullHandle)
{
    Joined joined;
    char data[] = "answer";
    Watch watch;
    // The data is taken for the identity, and the header is left unfinished.
    EXPECT_EQ(watch([&] { return joined.channel.ipcSend(8, data, 6, nullptr); }),
              (Outcome{"1",
                       "MsgDealerWorkerPattern::send handle is null - send msg\n",
                       {},
                       watch::joined(
                           {watch::sent("s1", true, 6, "answer"),
                            watch::sent("s1", false, 8, R"(\x00\x00\x00\x08\x00\x00\x00\x00)")})}));
    EXPECT_THAT(joined.broker.receive(), ElementsAre("answer"));
}

// Exceptions.

TEST(WorkerLoopFailure, LeavesTheLoopAndTheLentHandle)
{
    Joined joined;
    joined.channel.registerCallBack(7, onRequest);
    joined.ask("client", 7, "data");
    MsgHandle* lent = nullptr;
    also = [&](MsgDealerWorkerChannel& /*channel*/, MsgHandle* handle) {
        lent = handle;
        throw std::runtime_error("the application's own");
    };
    Watch watch;
    const Outcome outcome = [&] {
        const LostOnPurpose theWorkingMessage;
        return watch([&] { return joined.channel.ipcReceive(1, -1); });
    }();
    EXPECT_EQ(outcome.result, "runtime_error: the application's own");
    EXPECT_THAT(outcome.logged, IsEmpty());
    EXPECT_TRUE(joined.channel.mRunning);
    // The working message still holds the handle.
    EXPECT_EQ(clientOf(lent), "client");
    char data[] = "sorry";
    const Stdout out;
    EXPECT_EQ(joined.channel.ipcSend(8, data, 5, lent->clone()), 1);
    EXPECT_THAT(joined.broker.receive(), ElementsAre("client", header(8, 0), "sorry"));
    // The loop can be entered again.
    also = nullptr;
    joined.ask("another", 7, "data");
    EXPECT_EQ(joined.channel.ipcReceive(1, -1), 0);
    EXPECT_EQ(requests.back().client, "another");
    EXPECT_FALSE(joined.channel.mRunning);
}

TEST(WorkerLoopFailure, OfAnotherKindPassesToo)
{
    Joined joined;
    joined.channel.registerCallBack(7, onRequest);
    joined.ask("client", 7, "data");
    also = [](MsgDealerWorkerChannel& /*channel*/, MsgHandle* /*handle*/) {
        throw watch::Foreign();
    };
    Watch watch;
    const LostOnPurpose theWorkingMessage;
    const Outcome outcome = watch([&] { return joined.channel.ipcReceive(1, -1); });
    EXPECT_EQ(outcome.result, "foreign");
    EXPECT_THAT(outcome.logged, IsEmpty());
    EXPECT_TRUE(joined.channel.mRunning);
    joined.channel.terminate();
    EXPECT_FALSE(joined.channel.mRunning);
}

TEST(WorkerLoopFailure, OfTheReceiveIsLoggedByThePattern)
{
    const watch::Failures failures = watch::loggedWith(
        "Error : Ostrel::MsgDealerWorkerPattern::MsgDealerWorkerPattern() : ",
        watch::printedFirst(before + beforeLine,
                            watch::receiveFailures({{attemptLine, "get the identity size 6\n"},
                                                    {attemptLine, "get the msg hdr size 8\n"},
                                                    {attemptLine, "get the msg size 4\n"}})));
    watch::throughFailures(
        failures,
        watch::joined(
            {watch::received("s1", 0), watch::received("s1", 0), watch::received("s1", 0)}),
        [](Watch& /*watch*/) {
            auto joined = std::make_unique<Joined>();
            joined->channel.registerCallBack(7, onRequest);
            joined->ask("client", 7, "data");
            return joined;
        },
        [](Joined& joined) {
            const LostOnPurpose theWorkingMessage;
            return joined.channel.ipcReceive(1, -1);
        },
        [](Watch& /*watch*/, Joined& joined, std::size_t /*nth*/) {
            EXPECT_TRUE(joined.channel.mRunning);
            EXPECT_THAT(requests, IsEmpty());
        });
    EXPECT_EQ(requests.size(), 1U);
}

// One by one, without the loop.

TEST(WorkerChannelReceive, FillsAFreshMessagePerRequestAsItShould)
{
    Joined joined;
    const Stdout out;
    for (const char* client : {"red", "blue"}) {
        joined.ask(client, 7, client);
        IpcMsg request;
        EXPECT_EQ(joined.channel.receive(&request, -1), 1);
        EXPECT_THAT(partsOf(request), ElementsAre(client));
        char data[] = "answer";
        EXPECT_EQ(joined.channel.ipcSend(8, data, 6, request.getHandle()->clone()), 1);
        EXPECT_THAT(joined.broker.receive(), ElementsAre(client, header(8, 0), "answer"));
    }
}

TEST(WorkerChannelReceive, HandsTheTopicOfATextOutBesideTheHandle)
{
    Joined joined;
    joined.broker.send({"client", "topic", "one", "two"});
    const Stdout out;
    StringMsg request(0);
    std::string topic;
    EXPECT_EQ(joined.channel.receive(topic, &request, -1), 2);
    EXPECT_EQ(topic, "topic");
    EXPECT_THAT(partsOf(request), ElementsAre("one", "two"));
    EXPECT_EQ(clientOf(request.getHandle()), "client");
    StringMsg answer = addressed(watch::text({"yes"}), "client");
    EXPECT_EQ(joined.channel.send("reply", &answer), 1);
    EXPECT_THAT(joined.broker.receive(), ElementsAre("client", "reply", "yes"));
    EXPECT_THAT(partsOf(answer), ElementsAre("yes"));
}
