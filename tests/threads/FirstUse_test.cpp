// The first channels of a process, made on several threads at the same time.

#include "ostrel/MsgDealerClientChannel.h"
#include "ostrel/MsgDealerWorkerChannel.h"
#include "support/SyslogSpy.h"
#include "support/Thrown.h"
#include "support/ZmqSpy.h"
#include "threads/Quiet.h"
#include "threads/Talk.h"
#include "threads/Together.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <vector>

using namespace threads;
using support::SyslogSpy;
using support::thrownBy;
using support::ZmqSpy;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// The calls about the context.
std::vector<std::string> contextCalls(ZmqSpy& spy)
{
    std::vector<std::string> calls = spy.takeCalls();
    calls.erase(
        std::remove_if(calls.begin(), calls.end(),
                       [](const std::string& call) { return call.rfind("zmq_ctx", 0) != 0; }),
        calls.end());
    return calls;
}

/// One question and its answer inside the process, which only channels of one context can exchange.
void exchangeInside(ostrel::MsgRequestClientChannel& client, ostrel::MsgReplyServerChannel& server)
{
    const std::string endpoint = "inproc://inside";
    client.setServerEndPoint(endpoint);
    server.setServerEndPoint(endpoint);
    const Message question = wordOf(Kind::text, 1, 1);
    say(client, Kind::text, question);
    EXPECT_EQ(hear(server, Kind::text), question);
    say(server, Kind::text, answerTo(question));
    EXPECT_EQ(hear(client, Kind::text), answerTo(question));
}

} // namespace

TEST(FirstChannels, OfAllKindsShareOneContext)
{
    const Quiet quiet;
    SyslogSpy log;
    std::unique_ptr<ostrel::MsgRequestClientChannel> client;
    std::unique_ptr<ostrel::MsgReplyServerChannel> server;
    Together all;
    all.add([&] { client = std::make_unique<ostrel::MsgRequestClientChannel>("1"); });
    all.add([&] { server = std::make_unique<ostrel::MsgReplyServerChannel>("2"); });
    all.add([] { const ostrel::MsgPublishChannel channel("3"); });
    all.add([] { const ostrel::MsgSubscribeChannel channel("4"); });
    all.add([] { const ostrel::MsgDealerClientChannel channel("5"); });
    // These switch the framing of binary messages on, and so does each of them.
    all.add([] { const ostrel::MsgDealerWorkerChannel channel("6"); });
    all.add([] { const ostrel::MsgDealerWorkerChannel channel("7"); });
    ZmqSpy spy;
    spy.watchAllThreads();
    all.run();
    ASSERT_THAT(contextCalls(spy), ElementsAre("zmq_ctx_new()", "zmq_ctx_set(1, 1)"));
    exchangeInside(*client, *server);
    EXPECT_THAT(contextCalls(spy), IsEmpty());
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

// The thread sanitizer's runtime never wakes those that wait for a static object whose construction
// then fails.
#ifndef __SANITIZE_THREAD__

TEST(FirstChannels, FailOneByOneWhileThereIsNoContext)
{
    constexpr int count = 8;
    constexpr int failures = 3;
    SyslogSpy log;
    std::mutex mutex;
    std::vector<std::string> thrown;
    Together all;
    for (int i = 0; i < count; ++i) {
        all.add([&] {
            const std::string mine =
                thrownBy([] { const ostrel::MsgRequestClientChannel channel("name"); });
            const std::lock_guard<std::mutex> lock(mutex);
            thrown.push_back(mine);
        });
    }
    ZmqSpy spy;
    spy.watchAllThreads();
    for (int nth = 1; nth <= failures; ++nth) {
        spy.fail("zmq_ctx_new", nth, EMFILE);
    }
    all.run();
    // Whoever comes while there is none tries to make it, and only one at a time.
    EXPECT_THAT(contextCalls(spy),
                ElementsAre("zmq_ctx_new() !", "zmq_ctx_new() !", "zmq_ctx_new() !",
                            "zmq_ctx_new()", "zmq_ctx_set(1, 1)"));
    const std::string text = "Failed to create ZeroMQ Context";
    EXPECT_EQ(std::count(thrown.begin(), thrown.end(), "std::runtime_error: " + text), failures);
    EXPECT_EQ(std::count(thrown.begin(), thrown.end(), "nothing"), count - failures);
    const std::vector<std::string> lines = log.takeLines();
    EXPECT_EQ(lines.size(), 2U * failures);
    for (const char* prefix : {"Error : Ostrel::ZMQWrapper::ZMQWrapper() : ",
                               "Error : Ostrel::MsgPattern::MsgPattern() : "}) {
        EXPECT_EQ(std::count(lines.begin(), lines.end(), prefix + text), failures);
    }
}

#endif
