// What every send does, whatever kind of message it moves.

#include "Kinds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ostrel::StringMsg;
using ostrel::ZMQWrapper;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace transport;

namespace {

/// The messages that a peer gets when the first `count` of `frames` were sent and then "next".
std::vector<Frames> messagesOf(const std::vector<SentFrame>& frames, int count)
{
    std::vector<Frames> messages(1);
    for (int i = 0; i < count; ++i) {
        const SentFrame& frame = frames[static_cast<std::size_t>(i)];
        messages.back().push_back(frame.bytes);
        if ((frame.flags & ZMQ_SNDMORE) == 0) {
            messages.emplace_back();
        }
    }
    messages.back().push_back("next");
    return messages;
}

template <typename T> class Send : public testing::Test {
protected:
    using Kind = T;
    using Msg = typename Kind::Msg;

    Send()
    {
        Kind::prepare(*ZMQWrapper::getInstance());
    }

    static Outcome sendOn(Linked& link, Msg& msg, const std::vector<Fault>& faults = {},
                          int failingAlloc = 0)
    {
        return observe([&] { return link.wrapper->send(link.socket, &msg); }, faults, failingAlloc);
    }

    /// The socket can still send; what it had queued of `frames` comes first.
    static void expectUsable(Linked& link, const std::vector<SentFrame>& frames, int queued)
    {
        StringMsg next = text({"next"});
        EXPECT_EQ(link.wrapper->send(link.socket, &next), 1);
        for (const Frames& message : messagesOf(frames, queued)) {
            EXPECT_EQ(link.peer.receive(), message);
        }
    }
};

TYPED_TEST_SUITE(Send, Kinds, KindNames);

} // namespace

TYPED_TEST(Send, MakesOneFrameAfterTheOtherAndNeverWaits)
{
    Linked link;
    auto msg = TypeParam::make();
    const Outcome outcome = this->sendOn(link, msg);
    EXPECT_EQ(outcome.end, "returned 2");
    EXPECT_EQ(outcome.calls, sendWalk(TypeParam::sent()).calls);
    EXPECT_THAT(outcome.lines, IsEmpty());
    EXPECT_EQ(outcome.printed, "");
    EXPECT_EQ(link.peer.receive(), wireOf<TypeParam>());
    EXPECT_EQ(partsOf(msg), Frames({shortPart, longPart}));
}

TYPED_TEST(Send, RefusesNullSilently)
{
    Linked link;
    auto msg = TypeParam::make();
    typename TypeParam::Msg* const none = nullptr;
    for (const Outcome& outcome : {observe([&] { return link.wrapper->send(nullptr, &msg); }),
                                   observe([&] { return link.wrapper->send(link.socket, none); }),
                                   observe([&] { return link.wrapper->send(nullptr, none); })}) {
        EXPECT_EQ(outcome.end, "returned -1");
        EXPECT_THAT(outcome.calls, IsEmpty());
        EXPECT_THAT(outcome.lines, IsEmpty());
        EXPECT_EQ(outcome.printed, "");
    }
    this->expectUsable(link, {}, 0);
}

TYPED_TEST(Send, ReportsTheFailureOfEachOfItsCalls)
{
    const std::vector<SentFrame> frames = TypeParam::sent();
    const Walk walk = sendWalk(frames);
    const int places = failingPlaces(walk);
    ASSERT_EQ(places, static_cast<int>(frames.size()) * 3);
    for (const ErrorText& error : {tryAgain, wrongState, notASocket, interrupted}) {
        for (int nth = 1; nth <= places; ++nth) {
            SCOPED_TRACE(std::to_string(nth) + ": " + error.text);
            Linked link;
            auto msg = TypeParam::make();
            const Outcome outcome = this->sendOn(link, msg, {{"", nth, error.error}});
            expectSame(outcome, expectedFailure(walk, nth, error));
            EXPECT_EQ(outcome.printed, "");
            EXPECT_EQ(partsOf(msg), Frames({shortPart, longPart}));
            this->expectUsable(link, frames, countGood(outcome.calls, "zmq_msg_send"));
        }
    }
}

TYPED_TEST(Send, ThrowsALogicErrorWhenAFailureHasNoText)
{
    const std::vector<SentFrame> frames = TypeParam::sent();
    const Walk walk = sendWalk(frames);
    for (int nth = 1; nth <= failingPlaces(walk); ++nth) {
        if (nth % 3 == 1) {
            continue; // A frame that cannot be made: ZeroMQ's text is not asked for.
        }
        SCOPED_TRACE(nth);
        Linked link;
        auto msg = TypeParam::make();
        const Outcome outcome = this->sendOn(link, msg, {{"", nth, EINTR}, {"zmq_strerror", 1, 1}});
        const Outcome expected = expectedFailure(walk, nth, interrupted, true);
        EXPECT_EQ(expected.end, noTextEnd);
        expectSame(outcome, expected);
        this->expectUsable(link, frames, countGood(outcome.calls, "zmq_msg_send"));
    }
}

TYPED_TEST(Send, ClosesTheFrameAgainWhenClosingFailsAndIgnoresHowThatEnds)
{
    Linked link;
    auto msg = TypeParam::make();
    const Outcome outcome =
        this->sendOn(link, msg, {{"zmq_msg_close", 1, EINTR}, {"zmq_msg_close", 2, ENOMEM}});
    EXPECT_EQ(outcome.end, "std::runtime_error: Failed to close ZeroMQ messagepart : "
                           "Interrupted system call");
    ASSERT_EQ(outcome.calls.size(), 6U);
    EXPECT_THAT(Lines(outcome.calls.begin() + 3, outcome.calls.end()),
                ElementsAre("zmq_msg_close() !", "zmq_strerror(4)", "zmq_msg_close() !"));
}

TYPED_TEST(Send, IgnoresHowClosingEndsAfterAnotherFailure)
{
    for (const char* function : {"zmq_msg_init_size", "zmq_msg_send"}) {
        Linked link;
        auto msg = TypeParam::make();
        const Outcome outcome =
            this->sendOn(link, msg, {{function, 2, EINTR}, {"zmq_msg_close", 2, ENOMEM}});
        EXPECT_EQ(outcome.end, function == std::string("zmq_msg_send")
                                   ? "std::runtime_error: Failed to send messagepart : "
                                     "Interrupted system call"
                                   : "std::runtime_error: Failed to initialize ZeroMQ "
                                     "messagepart : ");
        EXPECT_EQ(outcome.calls.back(), "zmq_msg_close() !");
        EXPECT_THAT(outcome.lines, ElementsAre(lineFor(sendPrefix, outcome)));
        this->expectUsable(link, TypeParam::sent(), 1);
    }
}

TYPED_TEST(Send, ThrowsInsteadOfCrashingWhenAFrameHasNoRoom)
{
    const std::vector<SentFrame> frames = TypeParam::sent();
    for (int nth = 1; nth <= static_cast<int>(frames.size()); ++nth) {
        SCOPED_TRACE(nth);
        Linked link;
        auto msg = TypeParam::make();
        const Outcome outcome = this->sendOn(link, msg, {{"zmq_msg_data", nth, 1}});
        EXPECT_THAT(outcome.end, testing::StartsWith("std::logic_error: "));
        EXPECT_THAT(outcome.lines, ElementsAre(lineFor(sendPrefix, outcome)));
        EXPECT_EQ(countGood(outcome.calls, "zmq_msg_send"), nth - 1);
        EXPECT_EQ(countGood(outcome.calls, "zmq_msg_close"), nth);
        EXPECT_EQ(countGood(outcome.calls, "zmq_msg_init"), nth);
        this->expectUsable(link, frames, nth - 1);
    }
}

TYPED_TEST(Send, NeedsNoMemoryOfItsOwn)
{
    Linked link;
    auto msg = TypeParam::make();
    const Outcome outcome = this->sendOn(link, msg, {}, 1);
    EXPECT_FALSE(outcome.allocFailed);
    EXPECT_EQ(outcome.end, "returned 2");
    EXPECT_EQ(link.peer.receive(), wireOf<TypeParam>());
}

TYPED_TEST(Send, SurvivesRunningOutOfMemoryWhileItReportsAFailure)
{
    const char* failure = "std::runtime_error: Failed to send messagepart : "
                          "Operation cannot be accomplished in current state";
    int nth = 1;
    for (; nth < 100; ++nth) {
        SCOPED_TRACE(nth);
        Linked link;
        auto msg = TypeParam::make();
        const Outcome outcome = this->sendOn(link, msg, {{"zmq_msg_send", 2, EFSM}}, nth);
        EXPECT_EQ(countGood(outcome.calls, "zmq_msg_init"), 2);
        EXPECT_EQ(countGood(outcome.calls, "zmq_msg_close"), 2);
        if (!outcome.allocFailed) {
            EXPECT_EQ(outcome.end, failure);
            break;
        }
        EXPECT_THAT(outcome.end, AnyOf(failure, "std::bad_alloc: std::bad_alloc"));
        if (!outcome.lines.empty() || outcome.end != failure) {
            EXPECT_THAT(outcome.lines, ElementsAre(lineFor(sendPrefix, outcome)));
        }
        this->expectUsable(link, TypeParam::sent(), 1);
    }
    EXPECT_GT(nth, 1);
    EXPECT_LT(nth, 100);
}

TYPED_TEST(Send, ThrowsInsteadOfWaitingWhenTheQueueIsFull)
{
    ZMQWrapper& wrapper = *ZMQWrapper::getInstance();
    const support::IpcEndpoint nobodyYet;
    void* socket = wrapper.createEndpt(ZMQ_DEALER);
    const int one = 1;
    ASSERT_EQ(zmq_setsockopt(socket, ZMQ_SNDHWM, &one, sizeof one), 0);
    wrapper.registerReceiver(socket, nobodyYet.text());
    auto msg = TypeParam::make();
    EXPECT_EQ(wrapper.send(socket, &msg), 2);

    const Outcome outcome = observe([&] { return wrapper.send(socket, &msg); });
    const Outcome expected = expectedFailure(sendWalk(TypeParam::sent()), 2, tryAgain);
    EXPECT_EQ(outcome.end, expected.end);
    EXPECT_EQ(outcome.lines, expected.lines);
    EXPECT_EQ(countGood(outcome.calls, "zmq_msg_close"), 1);

    // Once there is room again, the socket goes on.
    support::RawSocket peer(ZMQ_DEALER);
    peer.bind(nobodyYet.text());
    EXPECT_EQ(peer.receive(), wireOf<TypeParam>());
    EXPECT_TRUE(await(socket, ZMQ_POLLOUT));
    EXPECT_EQ(wrapper.send(socket, &msg), 2);
    EXPECT_EQ(peer.receive(), wireOf<TypeParam>());
    wrapper.deleteEndpt(socket);
}

TYPED_TEST(Send, ThrowsWhenTheSocketIsNotInTheStateToSend)
{
    ZMQWrapper& wrapper = *ZMQWrapper::getInstance();
    void* socket = wrapper.createEndpt(ZMQ_REP);
    auto msg = TypeParam::make();
    const Outcome outcome = observe([&] { return wrapper.send(socket, &msg); });
    EXPECT_EQ(outcome.end, "std::runtime_error: Failed to send messagepart : "
                           "Operation cannot be accomplished in current state");
    EXPECT_THAT(outcome.lines, ElementsAre(lineFor(sendPrefix, outcome)));
    wrapper.deleteEndpt(socket);
}

TYPED_TEST(Send, ThrowsWhenThereIsNobodyToSendTo)
{
    ZMQWrapper& wrapper = *ZMQWrapper::getInstance();
    void* socket = wrapper.createEndpt(ZMQ_DEALER);
    auto msg = TypeParam::make();
    const Outcome outcome = observe([&] { return wrapper.send(socket, &msg); });
    EXPECT_EQ(outcome.end, "std::runtime_error: Failed to send messagepart : "
                           "Resource temporarily unavailable");
    wrapper.deleteEndpt(socket);
}

TYPED_TEST(Send, ContinuesAMessageThatAFailureLeftUnfinished)
{
    Linked link;
    auto msg = TypeParam::make();
    EXPECT_THROW(
        {
            support::ZmqSpy spy;
            spy.fail("zmq_msg_send", 2, EINTR);
            link.wrapper->send(link.socket, &msg);
        },
        std::runtime_error);
    EXPECT_EQ(link.wrapper->send(link.socket, &msg), 2);
    Frames expected = wireOf<TypeParam>();
    expected.insert(expected.begin(), expected.front());
    EXPECT_EQ(link.peer.receive(), expected);
}
