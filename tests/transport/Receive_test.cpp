// What every receive does, whatever kind of message it moves.

#include "Kinds.h"

#include <atomic>
#include <chrono>
#include <climits>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

using ostrel::ZMQWrapper;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace transport;

namespace {

template <typename T> class Receive : public testing::Test {
protected:
    using Kind = T;
    using Msg = typename Kind::Msg;

    Receive()
    {
        Kind::prepare(*ZMQWrapper::getInstance());
    }

    static Outcome receiveOn(Linked& link, Msg& msg, long timeout,
                             const std::vector<Fault>& faults = {}, int failingAlloc = 0)
    {
        return observe([&] { return receiveAs(*link.wrapper, link.socket, &msg, timeout); }, faults,
                       failingAlloc);
    }

    static constexpr int frames = static_cast<int>(std::is_same_v<Kind, Text> ? 2 : 3);

    /// Of a message that was delivered, the frames from the `taken`-th on are still there, and the
    /// socket can still receive.
    static void expectUsable(Linked& link, int taken)
    {
        const Frames wire = wireOf<Kind>();
        if (taken < frames) {
            EXPECT_EQ(readFrames(link.socket), Frames(wire.begin() + taken, wire.end()));
        }
        link.deliver(wire);
        Msg msg = Kind::old();
        const Outcome outcome = receiveOn(link, msg, 0);
        EXPECT_EQ(outcome.end, "returned " + std::to_string(Kind::oldParts + 2));
        Kind::expectReceived(msg, frames, true);
    }
};

TYPED_TEST_SUITE(Receive, Kinds, KindNames);

int flagsFor(long timeout)
{
    return timeout == -1 ? 0 : 1;
}

} // namespace

TYPED_TEST(Receive, TakesOneFrameAfterTheOther)
{
    for (const long timeout : {-1L, 0L, 1L, 5000L, LONG_MAX}) {
        SCOPED_TRACE(timeout);
        Linked link;
        link.deliver(wireOf<TypeParam>());
        auto msg = TypeParam::old();
        const Outcome outcome = this->receiveOn(link, msg, timeout);
        EXPECT_EQ(outcome.end, "returned " + std::to_string(TypeParam::oldParts + 2));
        EXPECT_EQ(outcome.calls, receiveWalk(this->frames, flagsFor(timeout)).calls);
        EXPECT_THAT(outcome.lines, IsEmpty());
        EXPECT_EQ(outcome.printed, printedFor<TypeParam>(this->frames));
        TypeParam::expectReceived(msg, this->frames, true);
    }
}

TYPED_TEST(Receive, RefusesInvalidInputWithoutTouchingAnything)
{
    Linked link;
    link.deliver(wireOf<TypeParam>());
    auto msg = TypeParam::old();
    typename TypeParam::Msg* const none = nullptr;
    struct Case {
        void* socket;
        typename TypeParam::Msg* msg;
        long timeout;
    };
    const Case cases[] = {
        {nullptr, &msg, 0},      {nullptr, &msg, -1},        {nullptr, &msg, 5000},
        {link.socket, none, 0},  {link.socket, none, -1},    {link.socket, none, 5000},
        {link.socket, &msg, -2}, {link.socket, &msg, -1000}, {link.socket, &msg, LONG_MIN},
        {nullptr, none, 0},      {nullptr, none, -2},        {nullptr, &msg, -2},
        {link.socket, none, -2},
    };
    for (const Case& invalidInput : cases) {
        const Outcome outcome = observe([&] {
            return receiveAs(*link.wrapper, invalidInput.socket, invalidInput.msg,
                             invalidInput.timeout);
        });
        EXPECT_EQ(outcome.end, "returned -1");
        EXPECT_EQ(outcome.printed, "invalid input\n");
        EXPECT_THAT(outcome.calls, IsEmpty());
        EXPECT_THAT(outcome.lines, IsEmpty());
        TypeParam::expectUntouched(msg);
    }
    this->expectUsable(link, 0);
}

TYPED_TEST(Receive, ReturnsAtOnceWhenNothingWaits)
{
    const Lines attempt = {"zmq_msg_init()", "zmq_recvmsg(s1, 1)", "zmq_msg_close()"};
    Lines twoLooks = attempt;
    twoLooks.emplace_back("zmq_poll(s1, 1, 0)");
    struct Case {
        long timeout;
        const char* end;
        const char* printed;
        Lines calls;
    };
    const Case cases[] = {
        {0, "returned -1", "receive: timeout\n", attempt},
        {1, "returned 0", "nothing to received\n", twoLooks},
        {5000, "returned 0", "nothing to received\n", twoLooks},
        {LONG_MAX, "returned 0", "nothing to received\n", twoLooks},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.timeout);
        Linked link;
        auto msg = TypeParam::old();
        const Outcome outcome = this->receiveOn(link, msg, expected.timeout);
        EXPECT_EQ(outcome.end, expected.end);
        EXPECT_EQ(outcome.printed, std::string(TypeParam::attempt) + expected.printed);
        EXPECT_EQ(outcome.calls, expected.calls);
        EXPECT_THAT(outcome.lines, IsEmpty());
        TypeParam::expectReceived(msg, 0, false);
        link.deliver(wireOf<TypeParam>());
        this->expectUsable(link, 0);
    }
}

TYPED_TEST(Receive, TakesAnEmptyAttemptAsATimeoutAlsoWhenItWaits)
{
    Linked link;
    auto msg = TypeParam::old();
    const Outcome outcome = this->receiveOn(link, msg, -1, {{"zmq_recvmsg", 1, EAGAIN}});
    EXPECT_EQ(outcome.end, "returned -1");
    EXPECT_EQ(outcome.printed, std::string(TypeParam::attempt) + "receive: timeout\n");
    EXPECT_THAT(outcome.calls,
                ElementsAre("zmq_msg_init()", "zmq_recvmsg(s1, 0) !", "zmq_msg_close()"));
    EXPECT_THAT(outcome.lines, IsEmpty());
    TypeParam::expectReceived(msg, 0, false);
}

TYPED_TEST(Receive, WaitsWithoutLimitUntilAMessageArrives)
{
    Linked link;
    auto msg = TypeParam::old();
    support::Stdout output;
    support::ZmqSpy spy;
    spy.watchAllThreads();
    std::atomic<int> result(-1000);
    std::thread receiver([&] { result = receiveAs(*link.wrapper, link.socket, &msg, -1); });
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    Lines calls;
    while (calls.empty() || calls.back() != "zmq_recvmsg(s1, 0)") {
        if (std::chrono::steady_clock::now() > limit) {
            break;
        }
        std::this_thread::yield();
        for (const std::string& call : spy.takeActions()) {
            calls.push_back(call);
        }
    }
    const int before = result;
    link.peer.send(wireOf<TypeParam>());
    receiver.join();
    EXPECT_EQ(before, -1000) << "it came back before there was a message";
    EXPECT_EQ(result, TypeParam::oldParts + 2);
    EXPECT_THAT(calls, Contains("zmq_recvmsg(s1, 0)"));
    EXPECT_EQ(output.take(), printedFor<TypeParam>(this->frames));
    TypeParam::expectReceived(msg, this->frames, true);
}

TYPED_TEST(Receive, LooksAgainWithANewFrameWhenAMessageCameMeanwhile)
{
    for (const long timeout : {1L, 5000L}) {
        for (const int misses : {1, 2, 5}) {
            Linked link;
            link.deliver(wireOf<TypeParam>());
            auto msg = TypeParam::old();
            std::vector<Fault> faults;
            Lines calls;
            std::string printed;
            for (int i = 1; i <= misses; ++i) {
                faults.push_back({"zmq_recvmsg", i, EAGAIN});
                calls.insert(calls.end(), {"zmq_msg_init()", "zmq_recvmsg(s1, 1) !",
                                           "zmq_msg_close()", "zmq_poll(s1, 1, 0)"});
                printed += TypeParam::attempt;
            }
            for (const std::string& call : receiveWalk(this->frames, 1).calls) {
                calls.push_back(call);
            }
            const Outcome outcome = this->receiveOn(link, msg, timeout, faults);
            EXPECT_EQ(outcome.end, "returned " + std::to_string(TypeParam::oldParts + 2));
            EXPECT_EQ(outcome.calls, calls);
            EXPECT_THAT(outcome.lines, IsEmpty());
            EXPECT_EQ(outcome.printed, printed + printedFor<TypeParam>(this->frames));
            TypeParam::expectReceived(msg, this->frames, true);
        }
    }
}

TYPED_TEST(Receive, DoesNotLookAgainWithoutATimeout)
{
    for (const long timeout : {0L, -1L}) {
        Linked link;
        link.deliver(wireOf<TypeParam>());
        auto msg = TypeParam::old();
        const Outcome outcome = this->receiveOn(link, msg, timeout, {{"zmq_recvmsg", 1, EAGAIN}});
        EXPECT_EQ(outcome.end, "returned -1");
        EXPECT_THAT(outcome.calls, testing::SizeIs(3));
        this->expectUsable(link, 0);
    }
}

TYPED_TEST(Receive, TakesAFailureToLookAsNothing)
{
    Linked link;
    link.deliver(wireOf<TypeParam>());
    auto msg = TypeParam::old();
    const Outcome outcome =
        this->receiveOn(link, msg, 5000, {{"zmq_recvmsg", 1, EAGAIN}, {"zmq_poll", 1, EINTR}});
    EXPECT_EQ(outcome.end, "returned 0");
    EXPECT_EQ(outcome.printed, std::string(TypeParam::attempt) + "nothing to received\n");
    EXPECT_THAT(outcome.lines, IsEmpty());
    TypeParam::expectReceived(msg, 0, false);
    this->expectUsable(link, 0);
}

TYPED_TEST(Receive, MayRunDryInTheMiddleOfAMessage)
{
    for (int arrived = 1; arrived < this->frames; ++arrived) {
        for (const long timeout : {0L, -1L}) {
            SCOPED_TRACE(arrived);
            Linked link;
            link.deliver(wireOf<TypeParam>());
            auto msg = TypeParam::old();
            const Outcome outcome =
                this->receiveOn(link, msg, timeout, {{"zmq_recvmsg", arrived + 1, EAGAIN}});
            EXPECT_EQ(outcome.end, "returned -1");
            EXPECT_EQ(outcome.printed,
                      printedFor<TypeParam>(arrived) + TypeParam::attempt + "receive: timeout\n");
            EXPECT_THAT(outcome.lines, IsEmpty());
            TypeParam::expectReceived(msg, arrived, false);
            this->expectUsable(link, arrived);
        }
        Linked link;
        link.deliver(wireOf<TypeParam>());
        auto msg = TypeParam::old();
        const Outcome nothing = this->receiveOn(
            link, msg, 5000, {{"zmq_recvmsg", arrived + 1, EAGAIN}, {"zmq_poll", 1, EINTR}});
        EXPECT_EQ(nothing.end, "returned 0");
        EXPECT_EQ(nothing.printed,
                  printedFor<TypeParam>(arrived) + TypeParam::attempt + "nothing to received\n");
        TypeParam::expectReceived(msg, arrived, false);
        this->expectUsable(link, arrived);
    }
}

TYPED_TEST(Receive, LooksAgainInTheMiddleOfAMessageToo)
{
    for (int arrived = 1; arrived < this->frames; ++arrived) {
        Linked link;
        link.deliver(wireOf<TypeParam>());
        auto msg = TypeParam::old();
        const Outcome outcome =
            this->receiveOn(link, msg, 5000, {{"zmq_recvmsg", arrived + 1, EAGAIN}});
        EXPECT_EQ(outcome.end, "returned " + std::to_string(TypeParam::oldParts + 2));
        std::string printed = printedFor<TypeParam>(this->frames);
        EXPECT_EQ(outcome.printed,
                  printed.insert(printedFor<TypeParam>(arrived).size(), TypeParam::attempt));
        TypeParam::expectReceived(msg, this->frames, true);
    }
}

TYPED_TEST(Receive, ReportsTheFailureOfEachOfItsCalls)
{
    for (const long timeout : {-1L, 0L, 5000L}) {
        const Walk walk = receiveWalk(this->frames, flagsFor(timeout));
        const int places = failingPlaces(walk);
        ASSERT_EQ(places, this->frames * 3);
        for (const ErrorText& error : {wrongState, notASocket, interrupted, terminated}) {
            for (int nth = 1; nth <= places; ++nth) {
                SCOPED_TRACE(std::to_string(nth) + ": " + error.text);
                Linked link;
                link.deliver(wireOf<TypeParam>());
                auto msg = TypeParam::old();
                const Outcome outcome =
                    this->receiveOn(link, msg, timeout, {{"", nth, error.error}});
                expectSame(outcome, expectedFailure(walk, nth, error));
                const int arrived = countGood(outcome.calls, "zmq_recvmsg");
                EXPECT_EQ(outcome.printed, printedFor<TypeParam>(arrived) +
                                               (nth % 3 == 1 ? TypeParam::attempt : ""));
                TypeParam::expectReceived(msg, arrived, false);
                this->expectUsable(link, arrived);
            }
        }
    }
}

TYPED_TEST(Receive, ThrowsALogicErrorWhenAFailureHasNoText)
{
    const Walk walk = receiveWalk(this->frames, 1);
    for (int nth = 1; nth <= failingPlaces(walk); ++nth) {
        SCOPED_TRACE(nth);
        Linked link;
        link.deliver(wireOf<TypeParam>());
        auto msg = TypeParam::old();
        const Outcome outcome =
            this->receiveOn(link, msg, 0, {{"", nth, EINTR}, {"zmq_strerror", 1, 1}});
        const Outcome expected = expectedFailure(walk, nth, interrupted, true);
        EXPECT_EQ(expected.end, noTextEnd);
        expectSame(outcome, expected);
        const int arrived = countGood(outcome.calls, "zmq_recvmsg");
        TypeParam::expectReceived(msg, arrived, false);
        this->expectUsable(link, arrived);
    }
}

TYPED_TEST(Receive, NamesTheFailureToCloseAFrameThatNothingCameIn)
{
    for (const long timeout : {-1L, 0L, 5000L}) {
        // Whatever the attempt itself said, closing is what is reported, and not tried again.
        for (const int attemptError : {EAGAIN, EFSM}) {
            for (int arrived = 0; arrived < this->frames; ++arrived) {
                Linked link;
                link.deliver(wireOf<TypeParam>());
                auto msg = TypeParam::old();
                const Outcome outcome = this->receiveOn(link, msg, timeout,
                                                        {{"zmq_recvmsg", arrived + 1, attemptError},
                                                         {"zmq_msg_close", arrived + 1, EINTR}});
                EXPECT_EQ(outcome.end, "std::runtime_error: recv: Failed to close ZeroMQ "
                                       "messagepart: Interrupted system call");
                EXPECT_THAT(outcome.lines, ElementsAre(lineFor(receivePrefix, outcome)));
                Lines calls = receiveWalk(arrived, flagsFor(timeout)).calls;
                calls.insert(calls.end(),
                             {"zmq_msg_init()",
                              "zmq_recvmsg(s1, " + std::to_string(flagsFor(timeout)) + ") !",
                              "zmq_msg_close() !", "zmq_strerror(4)"});
                EXPECT_EQ(outcome.calls, calls);
                EXPECT_EQ(outcome.printed, printedFor<TypeParam>(arrived) + TypeParam::attempt);
                TypeParam::expectReceived(msg, arrived, false);
                this->expectUsable(link, arrived);
            }
        }
    }
}

TYPED_TEST(Receive, ClosesEveryFrameWhenMemoryRunsOut)
{
    int failures = 0;
    for (;; ++failures) {
        SCOPED_TRACE(failures);
        ASSERT_LT(failures, 100);
        Linked link;
        link.deliver(wireOf<TypeParam>());
        typename TypeParam::Msg msg;
        const Outcome outcome = this->receiveOn(link, msg, 0, {}, failures + 1);
        const int arrived = countGood(outcome.calls, "zmq_recvmsg");
        EXPECT_EQ(countGood(outcome.calls, "zmq_msg_init"), arrived);
        EXPECT_EQ(countGood(outcome.calls, "zmq_msg_close"), arrived);
        if (!outcome.allocFailed) {
            EXPECT_EQ(outcome.end, "returned 2");
            break;
        }
        EXPECT_EQ(outcome.end, "std::bad_alloc: std::bad_alloc");
        EXPECT_EQ(outcome.printed, printedFor<TypeParam>(arrived));
        // Either the message could not grow, which it reports first, or the new part stays empty.
        Frames expected = TypeParam::parts(arrived - 1);
        if (outcome.lines.size() == 1) {
            expected.emplace_back("");
        } else {
            EXPECT_EQ(outcome.lines.front(),
                      TypeParam::growthPrefix + std::string("std::bad_alloc"));
            EXPECT_EQ(outcome.lines.size(), 2U);
        }
        EXPECT_EQ(outcome.lines.back(), receivePrefix + std::string("std::bad_alloc"));
        EXPECT_EQ(partsOf(msg), expected);
        this->expectUsable(link, arrived);
    }
    // The message grows twice, and its long part at least has bytes of its own.
    EXPECT_GE(failures, 3);
}

TYPED_TEST(Receive, SurvivesRunningOutOfMemoryWhileItReportsAFailure)
{
    const char* failure = "std::runtime_error: Failed to get messagepart: "
                          "Operation cannot be accomplished in current state";
    int nth = 1;
    for (; nth < 100; ++nth) {
        SCOPED_TRACE(nth);
        Linked link;
        auto msg = TypeParam::old();
        const Outcome outcome = this->receiveOn(link, msg, 0, {{"zmq_recvmsg", 1, EFSM}}, nth);
        EXPECT_EQ(countGood(outcome.calls, "zmq_msg_init"), 1);
        EXPECT_EQ(countGood(outcome.calls, "zmq_msg_close"), 1);
        if (!outcome.allocFailed) {
            EXPECT_EQ(outcome.end, failure);
            break;
        }
        EXPECT_THAT(outcome.end, testing::AnyOf(failure, "std::bad_alloc: std::bad_alloc"));
        if (!outcome.lines.empty() || outcome.end != failure) {
            EXPECT_THAT(outcome.lines, ElementsAre(lineFor(receivePrefix, outcome)));
        }
    }
    EXPECT_GT(nth, 1);
    EXPECT_LT(nth, 100);
}

TYPED_TEST(Receive, ThrowsWhenTheSocketIsNotInTheStateToReceive)
{
    ZMQWrapper& wrapper = *ZMQWrapper::getInstance();
    void* socket = wrapper.createEndpt(ZMQ_REQ);
    auto msg = TypeParam::old();
    for (const long timeout : {-1L, 0L, 5000L}) {
        const Outcome outcome = observe([&] { return receiveAs(wrapper, socket, &msg, timeout); });
        EXPECT_EQ(outcome.end, "std::runtime_error: Failed to get messagepart: "
                               "Operation cannot be accomplished in current state");
        EXPECT_THAT(outcome.lines, ElementsAre(lineFor(receivePrefix, outcome)));
    }
    TypeParam::expectReceived(msg, 0, false);
    wrapper.deleteEndpt(socket);
}

TYPED_TEST(Receive, WorksOnDifferentSocketsAtTheSameTime)
{
    constexpr int rounds = 100;
    const support::Stdout output;
    const auto exchange = [](std::atomic<int>& good) {
        Linked link;
        for (int i = 0; i < rounds; ++i) {
            auto sent = TypeParam::make();
            if (link.wrapper->send(link.socket, &sent) != 2) {
                return;
            }
            link.peer.send(link.peer.receive());
            typename TypeParam::Msg received;
            if (receiveAs(*link.wrapper, link.socket, &received, -1) != 2 ||
                partsOf(received) != partsOf(sent)) {
                return;
            }
            ++good;
        }
    };
    std::atomic<int> first(0);
    std::atomic<int> second(0);
    std::thread other([&] { exchange(second); });
    exchange(first);
    other.join();
    EXPECT_EQ(first, rounds);
    EXPECT_EQ(second, rounds);
}
