// This program is its own transport, as far as patterns reach for it without one of its sockets.

#include "ostrel/MsgReplyPattern.h"
#include "ostrel/MsgReplyServerChannel.h"
#include "ostrel/MsgRequestClientChannel.h"
#include "ostrel/MsgRequestPattern.h"
#include "ostrel/ZMQWrapper.h"
#include "pattern/Opened.h"
#include "support/Stdout.h"
#include "support/SyslogSpy.h"
#include "support/Thrown.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <vector>

using support::BarePattern;
using support::Stdout;
using support::SyslogSpy;
using support::thrownBy;
using testing::ElementsAre;
using testing::IsEmpty;

using Bare = support::Opened<BarePattern>;

namespace {

/// A failure with something that a copy of its text would lose.
class Numbered : public std::runtime_error {
public:
    Numbered() : std::runtime_error("out of stock"), number(42) {}
    int number;
};

ostrel::ZMQWrapper* (*giveInstance)() = nullptr;
void (*whileDeleting)() = nullptr;
std::vector<const void*> deleted;

ostrel::ZMQWrapper* none()
{
    return nullptr;
}

/// An address to be kept; there is no object.
ostrel::ZMQWrapper* somewhere()
{
    alignas(ostrel::ZMQWrapper) static unsigned char place[sizeof(ostrel::ZMQWrapper)];
    return reinterpret_cast<ostrel::ZMQWrapper*>(place);
}

template <typename Made> void make(const std::string& name)
{
    const Made made(name);
}

} // namespace

namespace ostrel {

ZMQWrapper* ZMQWrapper::getInstance()
{
    return giveInstance();
}

void ZMQWrapper::deleteEndpt(void* socket) const
{
    deleted.push_back(socket);
    if (whileDeleting != nullptr) {
        whileDeleting();
    }
}

} // namespace ostrel

TEST(PatternWithoutTransport, CannotBeMadeWhateverItsName)
{
    const std::string text = "Failed to instantiate ZMQWrapper Object";
    const std::vector<void (*)(const std::string&)> makers = {
        make<BarePattern>, make<ostrel::MsgRequestPattern>, make<ostrel::MsgReplyPattern>,
        make<ostrel::MsgRequestClientChannel>, make<ostrel::MsgReplyServerChannel>};
    giveInstance = none;
    deleted.clear();
    for (const auto& maker : makers) {
        for (const char* name : {"name", ""}) {
            Stdout out;
            SyslogSpy log;
            EXPECT_EQ(thrownBy([&] { maker(name); }), "std::runtime_error: " + text);
            EXPECT_THAT(log.takeLines(),
                        ElementsAre("Error : Ostrel::MsgPattern::MsgPattern() : " + text));
            EXPECT_EQ(out.take(), "");
        }
    }
    EXPECT_THAT(deleted, IsEmpty());
}

TEST(PatternWithoutTransport, PassesTheFailureOnAsItIs)
{
    giveInstance = []() -> ostrel::ZMQWrapper* { throw Numbered(); };
    SyslogSpy log;
    int number = 0;
    try {
        const BarePattern pattern("name");
    } catch (const Numbered& failure) {
        number = failure.number;
    }
    EXPECT_EQ(number, 42);
    EXPECT_THAT(log.takeLines(),
                ElementsAre("Error : Ostrel::MsgPattern::MsgPattern() : out of stock"));
}

TEST(PatternWithoutTransport, DoesNotLogWhatIsNoStandardException)
{
    giveInstance = []() -> ostrel::ZMQWrapper* { throw 7; };
    SyslogSpy log;
    EXPECT_THROW(BarePattern("name"), int);
    EXPECT_THAT(log.takeCalls(), IsEmpty());
}

TEST(PatternWithTransport, GivesItsSocketBackOnce)
{
    giveInstance = somewhere;
    deleted.clear();
    int socket = 0;
    {
        Bare pattern("name");
        EXPECT_EQ(pattern.mpMsgQ, somewhere());
        pattern.mpSocket = &socket;
    }
    EXPECT_THAT(deleted, ElementsAre(&socket));
}

TEST(PatternWithTransport, GivesNothingBackWhenItNeverConnected)
{
    giveInstance = somewhere;
    deleted.clear();
    {
        const Bare pattern("name");
        const ostrel::MsgRequestPattern request("name");
        const ostrel::MsgReplyPattern reply("name");
        const ostrel::MsgRequestClientChannel client("name");
        const ostrel::MsgReplyServerChannel server("name");
    }
    EXPECT_THAT(deleted, IsEmpty());
}

TEST(PatternWithTransportDeathTest, EndsTheProcessWhenGivingTheSocketBackThrows)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    giveInstance = somewhere;
    EXPECT_EXIT(
        {
            whileDeleting = [] { throw std::runtime_error("not wanted"); };
            int socket = 0;
            Bare pattern("name");
            pattern.mpSocket = &socket;
        },
        testing::KilledBySignal(SIGABRT), "not wanted");
}
