#ifndef OSTREL_TESTS_CHANNEL_WITHOUTPATTERN_H
#define OSTREL_TESTS_CHANNEL_WITHOUTPATTERN_H

#include "ostrel/MsgChannel.h"
#include "pattern/Watch.h"
#include "support/AllocFault.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <string>
#include <utility>

/// The channels that are made even when their pattern is not. `Channel` shows its pvthandle.
namespace watch {

const std::string notMade = "failed to create the object\n";

template <typename Channel> void expectMadeWithoutAName(Watch& watch)
{
    std::unique_ptr<Channel> made;
    EXPECT_EQ(
        watch([&] { made = std::make_unique<Channel>(""); }),
        (Outcome{"done",
                 notMade,
                 {"Error : Ostrel::MsgPattern::MsgPattern() : Invalid Channel name specified"},
                 {}}));
    EXPECT_EQ(made->pvthandle, nullptr);
    EXPECT_EQ(made->mChannelType, 1);
    EXPECT_EQ(made->getChannelName(), "");
    ostrel::IpcMsg msg = binary(7, 258, {"a"});
    const Outcome none = {"-1", "MsgChannel::send: pvthandle is null ...\n", {}, {}};
    ostrel::MsgChannel& base = *made;
    EXPECT_EQ(watch([&] { return base.send(&msg); }), none);
    EXPECT_EQ(watch([&] { return base.sendWaitResponse(&msg, &msg, 0); }), none);
    // The message is looked at first.
    EXPECT_EQ(watch([&] { return base.send(static_cast<ostrel::IpcMsg*>(nullptr)); }),
              (Outcome{"-1", "MsgChannel::send: problem with send ...\n", {}, {}}));
    EXPECT_EQ(watch([&] { made.reset(); }), (Outcome{"done", "", {}, {}}));
}

/// In a process that has no transport yet.
template <typename Channel> void expectMadeWithoutATransport()
{
    const std::string what = "Failed to create ZeroMQ Context";
    support::SyslogSpy log;
    std::unique_ptr<Channel> made;
    {
        support::ZmqSpy zmq;
        zmq.fail("zmq_ctx_new", 1, ENOMEM);
        support::Stdout out;
        made = std::make_unique<Channel>("news");
        EXPECT_EQ(out.take(), notMade);
    }
    EXPECT_THAT(log.takeLines(),
                testing::ElementsAre("Error : Ostrel::ZMQWrapper::ZMQWrapper() : " + what,
                                     "Error : Ostrel::MsgPattern::MsgPattern() : " + what));
    EXPECT_EQ(made->pvthandle, nullptr);
    EXPECT_EQ(made->getChannelName(), "news");
    // The next one tries the transport again.
    const Channel next("news");
    EXPECT_NE(next.pvthandle, nullptr);
}

/// In a process that has no transport yet.
template <typename Channel> void expectMadeWhenAForeignFailureEndsThePattern()
{
    support::SyslogSpy log;
    support::ZmqSpy zmq;
    zmq.onCall([](const std::string&) { throw Foreign(); });
    support::Stdout out;
    const Channel made("news");
    EXPECT_EQ(out.take(), notMade);
    EXPECT_THAT(log.takeLines(), testing::IsEmpty());
    EXPECT_EQ(made.pvthandle, nullptr);
}

template <typename Channel> void expectMadeWithoutMemoryForThePattern(Watch& watch)
{
    const std::string name(100, 'n'); // Too long to be kept without memory.
    int thrown = 0;
    int swallowed = 0;
    bool happened = true;
    for (int nth = 1; happened; ++nth) {
        ASSERT_LT(nth, 20);
        std::string copy = name;
        alignas(Channel) unsigned char place[sizeof(Channel)];
        Channel* made = nullptr;
        const Outcome outcome = watch([&] {
            const support::AllocFault fault(nth);
            try {
                made = new (place) Channel(std::move(copy));
            } catch (...) {
                happened = fault.happened();
                throw;
            }
            happened = fault.happened();
        });
        if (made == nullptr) {
            // The channel's own name, before the pattern is tried.
            EXPECT_EQ(outcome, (Outcome{"bad_alloc: std::bad_alloc", "", {}, {}}));
            EXPECT_EQ(swallowed, 0);
            ++thrown;
            continue;
        }
        EXPECT_EQ(outcome, (Outcome{"done", happened ? notMade : "", {}, {}}));
        EXPECT_EQ(made->pvthandle == nullptr, happened);
        EXPECT_EQ(made->getChannelName(), name);
        swallowed += happened ? 1 : 0;
        made->~Channel();
    }
    EXPECT_GE(thrown, 1);
    EXPECT_GE(swallowed, 2); // The pattern and its name.
}

} // namespace watch

#endif
