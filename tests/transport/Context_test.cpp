// The wrapper itself: its one instance, its context, and what is left when it goes.

#include "Transport.h"
#include "support/LostOnPurpose.h"

#include <atomic>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <set>
#include <thread>

using ostrel::ZMQWrapper;
using support::NotWatched;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace transport;

namespace {

constexpr const char* prefix = "Error : Ostrel::ZMQWrapper::ZMQWrapper() : ";

struct FailingConstruction {
    const char* what;
    std::vector<Fault> faults;
    const char* type;
    const char* text;
    Lines calls;
};

const FailingConstruction failingConstructions[] = {
    {"no context",
     {{"zmq_ctx_new", 1, ENOMEM}},
     "std::runtime_error: ",
     "Failed to create ZeroMQ Context",
     {"zmq_ctx_new() !"}},
    {"no context, and ZeroMQ out of files",
     {{"zmq_ctx_new", 1, EMFILE}},
     "std::runtime_error: ",
     "Failed to create ZeroMQ Context",
     {"zmq_ctx_new() !"}},
    {"thread count refused",
     {{"zmq_ctx_set", 1, EINVAL}},
     "std::runtime_error: ",
     "Failed to set ZMQ_IO_THREADS : Invalid argument",
     {"zmq_ctx_new()", "zmq_ctx_set(1, 1) !", "zmq_strerror(22)"}},
    {"thread count refused, for another reason",
     {{"zmq_ctx_set", 1, ETERM}},
     "std::runtime_error: ",
     "Failed to set ZMQ_IO_THREADS : Context was terminated",
     {"zmq_ctx_new()", "zmq_ctx_set(1, 1) !", "zmq_strerror(156384765)"}},
    {"thread count refused without a text",
     {{"zmq_ctx_set", 1, EINVAL}, {"zmq_strerror", 1, 1}},
     "std::logic_error: ",
     noText,
     {"zmq_ctx_new()", "zmq_ctx_set(1, 1) !", "zmq_strerror(22) !"}},
};

void expectFailure(const Outcome& outcome, const FailingConstruction& failing)
{
    EXPECT_EQ(outcome.end, std::string(failing.type) + failing.text);
    EXPECT_THAT(outcome.lines, ElementsAre(std::string(prefix) + failing.text));
    EXPECT_EQ(outcome.calls, failing.calls);
    EXPECT_EQ(outcome.printed, "");
}

} // namespace

TEST(Wrapper, IsTheSameForEveryCaller)
{
    ZMQWrapper* const first = ZMQWrapper::getInstance();
    ASSERT_NE(first, nullptr);
    const Outcome second = observe([&] { EXPECT_EQ(ZMQWrapper::getInstance(), first); });
    EXPECT_THAT(second.calls, IsEmpty());
}

TEST(Wrapper, IsMadeWithAContextOfOneThreadAndNothingElse)
{
    const Outcome outcome = observe([] { ZMQWrapper::getInstance(); });
    EXPECT_EQ(outcome.end, "returned");
    EXPECT_THAT(outcome.calls, ElementsAre("zmq_ctx_new()", "zmq_ctx_set(1, 1)"));
    EXPECT_THAT(outcome.lines, IsEmpty());
    EXPECT_EQ(outcome.printed, "");
}

TEST(Wrapper, StartsWithItsThreeOptionsWithoutIdentity)
{
    const ZMQWrapper& wrapper = *ZMQWrapper::getInstance();
    const std::map<ostrel::option_t, int> options = {
        {ostrel::OPT_SUBSCRIBE, 6}, {ostrel::OPT_UNSUBSCRIBE, 7}, {ostrel::OPT_IDENTITY, 5}};
    EXPECT_EQ(wrapper.mOptionMap, options);
    EXPECT_FALSE(wrapper.mIdentityEnabled);
    EXPECT_STREQ(wrapper.mIdentity, "");
    ASSERT_NE(wrapper.mContext, nullptr);
    EXPECT_EQ(zmq_ctx_get(wrapper.mContext, ZMQ_IO_THREADS), 1);
}

TEST(Wrapper, KeepsIdentityFramingOnceItIsOn)
{
    ZMQWrapper& wrapper = *ZMQWrapper::getInstance();
    const Outcome outcome = observe([&] { wrapper.enableIdentity(); });
    EXPECT_TRUE(wrapper.mIdentityEnabled);
    EXPECT_THAT(outcome.calls, IsEmpty());
    wrapper.enableIdentity();
    EXPECT_TRUE(wrapper.mIdentityEnabled);
    EXPECT_TRUE(ZMQWrapper::getInstance()->mIdentityEnabled);
}

TEST(Wrapper, IsMadeOnceByConcurrentFirstCallers)
{
    constexpr int count = 8;
    std::atomic<int> ready(0);
    std::atomic<bool> go(false);
    std::vector<ZMQWrapper*> seen(count);
    std::vector<std::thread> callers;
    for (std::size_t i = 0; i < count; ++i) {
        callers.emplace_back([&, i] {
            ++ready;
            while (!go) {
                std::this_thread::yield();
            }
            seen[i] = ZMQWrapper::getInstance();
        });
    }
    while (ready < count) {
        std::this_thread::yield();
    }
    support::ZmqSpy spy;
    spy.watchAllThreads();
    go = true;
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_THAT(spy.takeCalls(), ElementsAre("zmq_ctx_new()", "zmq_ctx_set(1, 1)"));
    EXPECT_EQ(std::set<ZMQWrapper*>(seen.begin(), seen.end()),
              std::set<ZMQWrapper*>({ZMQWrapper::getInstance()}));
}

TEST(Wrapper, IsTriedAgainAfterEveryFailureToMakeIt)
{
    const support::LostOnPurpose leftBehind;
    for (const FailingConstruction& failing : failingConstructions) {
        SCOPED_TRACE(failing.what);
        expectFailure(observe([] { ZMQWrapper::getInstance(); }, failing.faults), failing);
    }
    const Outcome success = observe([] { ZMQWrapper::getInstance(); });
    EXPECT_EQ(success.end, "returned");
    EXPECT_THAT(success.calls, ElementsAre("zmq_ctx_new()", "zmq_ctx_set(1, 1)"));
    EXPECT_THAT(success.lines, IsEmpty());
    EXPECT_EQ(ZMQWrapper::getInstance()->mOptionMap.size(), 3U);
    EXPECT_THAT(observe([] { ZMQWrapper::getInstance(); }).calls, IsEmpty());
}

TEST(Wrapper, ReportsEveryFailureOfItsConstructor)
{
    const support::LostOnPurpose leftBehind;
    for (const FailingConstruction& failing : failingConstructions) {
        SCOPED_TRACE(failing.what);
        expectFailure(observe([] { const ZMQWrapper wrapper; }, failing.faults), failing);
    }
}

TEST(Wrapper, IsTriedAgainAfterRunningOutOfMemory)
{
    int failures = 0;
    Outcome outcome = {};
    do {
        outcome = observe([] { ZMQWrapper::getInstance(); }, {}, failures + 1);
        if (outcome.allocFailed) {
            ++failures;
            EXPECT_EQ(outcome.end, "std::bad_alloc: std::bad_alloc");
            // The options are entered outside of what is logged, and before there is a context to
            // leave behind.
            EXPECT_THAT(outcome.lines, IsEmpty());
            EXPECT_THAT(outcome.calls, IsEmpty());
        } else {
            EXPECT_THAT(outcome.calls, ElementsAre("zmq_ctx_new()", "zmq_ctx_set(1, 1)"));
        }
    } while (outcome.allocFailed);
    EXPECT_EQ(outcome.end, "returned");
    EXPECT_EQ(failures, 3) << "one for each option";
}

TEST(Wrapper, SurvivesRunningOutOfMemoryWhileItReportsAFailure)
{
    const support::LostOnPurpose leftBehind;
    const FailingConstruction& failing = failingConstructions[2];
    int nth = 4; // The first three are for the options.
    for (; nth < 100; ++nth) {
        SCOPED_TRACE(nth);
        const Outcome outcome = observe([] { ZMQWrapper::getInstance(); }, failing.faults, nth);
        if (!outcome.allocFailed) {
            break;
        }
        EXPECT_THAT(outcome.end, testing::AnyOf(std::string(failing.type) + failing.text,
                                                "std::bad_alloc: std::bad_alloc"));
        if (!outcome.lines.empty() || outcome.end == "std::bad_alloc: std::bad_alloc") {
            EXPECT_THAT(outcome.lines, ElementsAre(lineFor(prefix, outcome)));
        }
    }
    EXPECT_GT(nth, 4);
    EXPECT_LT(nth, 100);
    EXPECT_EQ(observe([] { ZMQWrapper::getInstance(); }).end, "returned");
}

TEST(Wrapper, LeavesItsContextAndSocketsToLiveOn)
{
    support::RawSocket peer(ZMQ_DEALER);
    const std::string endpoint = peer.bind("tcp://127.0.0.1:*");
    void* context = nullptr;
    void* socket = nullptr;
    auto wrapper = std::make_unique<ZMQWrapper>();
    context = wrapper->mContext;
    socket = wrapper->createEndpt(ZMQ_DEALER);
    wrapper->registerReceiver(socket, endpoint);

    const Outcome outcome = observe([&] { wrapper.reset(); });
    EXPECT_THAT(outcome.calls, IsEmpty());
    EXPECT_THAT(outcome.lines, IsEmpty());

    EXPECT_EQ(zmq_send(socket, "still", 5, 0), 5);
    EXPECT_THAT(peer.receive(), ElementsAre("still"));
    void* another = zmq_socket(context, ZMQ_DEALER);
    EXPECT_NE(another, nullptr);

    EXPECT_EQ(zmq_close(another), 0);
    EXPECT_EQ(zmq_close(socket), 0);
    EXPECT_EQ(zmq_ctx_term(context), 0);
}

namespace {

void* exitContext = nullptr;
void* exitSocket = nullptr;

void tryContextAtExit()
{
    void* another = zmq_socket(exitContext, ZMQ_PAIR);
    const bool alive = another != nullptr && zmq_bind(another, "inproc://exit") == 0 &&
                       zmq_connect(exitSocket, "inproc://exit") == 0 &&
                       zmq_send(exitSocket, "x", 1, 0) == 1;
    std::_Exit(alive ? 77 : 1);
}

} // namespace

TEST(WrapperDeathTest, LeavesItsContextAndSocketsToLiveOnWhenTheProcessExits)
{
    EXPECT_EXIT(
        {
            // Registered before the instance is made, so it runs after the instance is gone.
            std::atexit(tryContextAtExit);
            const ZMQWrapper& wrapper = *ZMQWrapper::getInstance();
            exitContext = wrapper.mContext;
            exitSocket = wrapper.createEndpt(ZMQ_PAIR);
            std::exit(0);
        },
        testing::ExitedWithCode(77), "");
}

TEST(Endpoints, AreClosedWithoutWaitingForWhatIsQueued)
{
    const ZMQWrapper wrapper;
    const support::IpcEndpoint nobody;
    void* socket = wrapper.createEndpt(ZMQ_DEALER);
    wrapper.registerReceiver(socket, nobody.text());
    EXPECT_EQ(zmq_send(socket, "lost", 4, 0), 4);
    wrapper.deleteEndpt(socket);
    // Comes back only when nothing is waited for any more; otherwise the test's limit ends it.
    EXPECT_EQ(zmq_ctx_term(wrapper.mContext), 0);
}
