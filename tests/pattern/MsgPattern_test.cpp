#include "ostrel/MsgPattern.h"
#include "ostrel/ZMQWrapper.h"
#include "pattern/Opened.h"
#include "support/AllocFault.h"
#include "support/LostOnPurpose.h"
#include "support/Stdout.h"
#include "support/SyslogSpy.h"
#include "support/Thrown.h"
#include "support/ZmqSpy.h"

#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <type_traits>
#include <zmq.h>

using ostrel::ZMQWrapper;
using support::AllocFault;
using support::BarePattern;
using support::Stdout;
using support::SyslogSpy;
using support::thrownBy;
using support::ZmqSpy;
using testing::ElementsAre;
using testing::IsEmpty;

using Bare = support::Opened<BarePattern>;

namespace {

const char constructing[] = "Error : Ostrel::MsgPattern::MsgPattern() : ";

} // namespace

TEST(ChannelProperties, HaveTheirNumbers)
{
    EXPECT_EQ(static_cast<int>(ostrel::PROP_SERVER_ENDPOINT), 0);
    EXPECT_EQ(static_cast<int>(ostrel::PROP_PUBLISHER_ENDPOINT), 1);
    EXPECT_EQ(static_cast<int>(ostrel::PROP_SUBSCRIBE), 2);
    EXPECT_EQ(static_cast<int>(ostrel::PROP_UNSUBSCRIBE), 3);
    EXPECT_EQ(static_cast<int>(ostrel::PROP_DEALER_SERVER_ENDPOINT), 4);
    EXPECT_EQ(static_cast<int>(ostrel::PROP_DEALER_WORKER_ENDPOINT), 5);
}

TEST(MsgPattern, StartsWithItsNameTheTransportAndNothingElse)
{
    Stdout out;
    SyslogSpy log;
    std::string name("billing\0x", 9);
    const Bare pattern(name);
    name = "changed";
    EXPECT_EQ(pattern.mChannelName, std::string("billing\0x", 9));
    EXPECT_THAT(pattern.mProperties, IsEmpty());
    EXPECT_EQ(pattern.mpMsgQ, ZMQWrapper::getInstance());
    EXPECT_EQ(pattern.mpSocket, nullptr);
    EXPECT_EQ(out.take(), "");
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST(MsgPattern, MakesTheTransportOnceForAll)
{
    ZmqSpy zmq;
    const Bare first("first");
    EXPECT_THAT(zmq.takeCalls(), ElementsAre("zmq_ctx_new()", "zmq_ctx_set(1, 1)"));
    const Bare second("second");
    EXPECT_THAT(zmq.takeCalls(), IsEmpty());
    EXPECT_EQ(first.mpMsgQ, second.mpMsgQ);
}

TEST(MsgPattern, RefusesAnEmptyNameAfterMakingTheTransport)
{
    Stdout out;
    SyslogSpy log;
    ZmqSpy zmq;
    EXPECT_EQ(thrownBy([] { const Bare pattern(""); }),
              "std::logic_error: Invalid Channel name specified");
    EXPECT_THAT(log.takeLines(),
                ElementsAre(std::string(constructing) + "Invalid Channel name specified"));
    EXPECT_THAT(zmq.takeCalls(), ElementsAre("zmq_ctx_new()", "zmq_ctx_set(1, 1)"));
    EXPECT_EQ(out.take(), "");
}

TEST(MsgPattern, AcceptsANameThatBeginsWithAZeroByte)
{
    const Bare pattern(std::string(1, '\0'));
    EXPECT_EQ(pattern.mChannelName, std::string(1, '\0'));
}

TEST(MsgPattern, CannotBeMadeWithoutAContextAndTheNextOneTriesAgain)
{
    struct Case {
        const char* function;
        std::string text;
    };
    const Case cases[] = {
        {"zmq_ctx_new", "Failed to create ZeroMQ Context"},
        {"zmq_ctx_set", std::string("Failed to set ZMQ_IO_THREADS : ") + std::strerror(EMFILE)},
    };
    // The name is looked at only after the transport is there.
    for (const char* name : {"name", ""}) {
        for (const Case& c : cases) {
            SCOPED_TRACE(std::string(c.function) + " for \"" + name + "\"");
            Stdout out;
            SyslogSpy log;
            ZmqSpy zmq;
            zmq.fail(c.function, 1, EMFILE);
            const support::LostOnPurpose leftBehind; // A context that refused its thread count.
            EXPECT_EQ(thrownBy([&] { const Bare pattern(name); }), "std::runtime_error: " + c.text);
            EXPECT_TRUE(zmq.failed());
            EXPECT_THAT(log.takeLines(),
                        ElementsAre("Error : Ostrel::ZMQWrapper::ZMQWrapper() : " + c.text,
                                    constructing + c.text));
            EXPECT_EQ(out.take(), "");
        }
    }
    ZmqSpy zmq;
    const Bare pattern("name");
    EXPECT_THAT(zmq.takeCalls(), ElementsAre("zmq_ctx_new()", "zmq_ctx_set(1, 1)"));
    EXPECT_NE(pattern.mpMsgQ, nullptr);
}

TEST(MsgPattern, CopiesTheNameBeforeAnythingIsLogged)
{
    const std::string name(100, 'n');
    SyslogSpy log;
    ZmqSpy zmq;
    std::string thrown;
    {
        const AllocFault fault(1);
        thrown = thrownBy([&] { const Bare pattern(name); });
        EXPECT_TRUE(fault.happened());
    }
    EXPECT_EQ(thrown, "std::bad_alloc: std::bad_alloc");
    EXPECT_THAT(log.takeLines(), IsEmpty());
    EXPECT_THAT(zmq.takeCalls(), IsEmpty());
}

TEST(MsgPattern, LogsThatThereIsNoMemoryForTheTransport)
{
    SyslogSpy log;
    std::string thrown;
    {
        const AllocFault fault(1); // The short name needs none; the transport's table does.
        thrown = thrownBy([] { const Bare pattern("short"); });
        EXPECT_TRUE(fault.happened());
    }
    EXPECT_EQ(thrown, "std::bad_alloc: std::bad_alloc");
    EXPECT_THAT(log.takeLines(), ElementsAre(std::string(constructing) + "std::bad_alloc"));
}

TEST(MsgPattern, AcceptsEveryEndpointWithoutAnAsterisk)
{
    const BarePattern pattern("name");
    const std::string good[] = {"",
                                " ",
                                "tcp://127.0.0.1:5555",
                                "ipc:///tmp/somewhere",
                                "inproc://here",
                                "not an endpoint at all",
                                "tcp://0.0.0.0:?",
                                "+.#",
                                std::string(1000, 'x'),
                                std::string("a\0b", 3)};
    for (const std::string& endpoint : good) {
        EXPECT_TRUE(pattern.isValidEndpt(endpoint)) << endpoint;
    }
    const std::string bad[] = {
        "*",  "tcp://*:5555", "tcp://127.0.0.1:*",          "*x",
        "x*", "**",           std::string(1000, 'x') + "*", std::string("a\0*", 3)};
    for (const std::string& endpoint : bad) {
        EXPECT_FALSE(pattern.isValidEndpt(endpoint)) << endpoint;
    }
}

TEST(MsgPattern, CallsNothingWhenItIsDestroyedWithoutASocket)
{
    SyslogSpy log;
    {
        const Bare first("makes the transport");
    }
    ZmqSpy zmq;
    {
        const Bare pattern("name");
    }
    EXPECT_THAT(zmq.takeCalls(), IsEmpty());
    EXPECT_THAT(log.takeCalls(), IsEmpty());
}

TEST(MsgPattern, ClosesItsSocketWhenItIsDestroyed)
{
    SyslogSpy log;
    ZmqSpy zmq;
    {
        Bare pattern("name");
        pattern.mpSocket = pattern.mpMsgQ->createEndpt(ZMQ_REQ);
        zmq.takeCalls();
    }
    EXPECT_THAT(zmq.takeCalls(), ElementsAre("zmq_setsockopt(s1, 17, 0)", "zmq_close(s1)"));
    EXPECT_THAT(log.takeCalls(), IsEmpty());
}

TEST(MsgPattern, ClosesItsSocketThroughAPointerToTheBase)
{
    ZmqSpy zmq;
    auto* pattern = new Bare("name");
    pattern->mpSocket = pattern->mpMsgQ->createEndpt(ZMQ_REP);
    zmq.takeCalls();
    const ostrel::MsgPattern* base = pattern;
    delete base;
    EXPECT_THAT(zmq.takeCalls(), ElementsAre("zmq_setsockopt(s1, 17, 0)", "zmq_close(s1)"));
}

TEST(MsgPattern, LeavesASocketAloneThatItHasNoTransportFor)
{
    ZmqSpy zmq;
    void* socket = nullptr;
    {
        Bare pattern("name");
        socket = pattern.mpMsgQ->createEndpt(ZMQ_REQ);
        pattern.mpSocket = socket;
        pattern.mpMsgQ = nullptr;
        zmq.takeCalls();
    }
    EXPECT_THAT(zmq.takeCalls(), IsEmpty());
    EXPECT_EQ(zmq_close(socket), 0);
}

TEST(MsgPattern, OnlyLogsWhenClosingItsSocketFails)
{
    SyslogSpy log;
    ZmqSpy zmq;
    {
        Bare pattern("name");
        pattern.mpSocket = pattern.mpMsgQ->createEndpt(ZMQ_REQ);
        zmq.fail("zmq_setsockopt", 1, EINVAL);
        zmq.fail("zmq_close", 1, ENOTSOCK);
    }
    EXPECT_TRUE(zmq.failed());
    EXPECT_THAT(
        log.takeLines(),
        ElementsAre(std::string("Failed to set ZeroMQ Socket Linger Period : ") +
                        std::strerror(EINVAL),
                    std::string("Failed to close ZeroMQ Socket : ") + std::strerror(ENOTSOCK)));
}

TEST(MsgPattern, HasADestructorThatLetsNothingOut)
{
    EXPECT_TRUE(std::is_nothrow_destructible<BarePattern>::value);
    EXPECT_TRUE(std::has_virtual_destructor<ostrel::MsgPattern>::value);
}
