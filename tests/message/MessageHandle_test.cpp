// What both kinds of message do with their handle.

#include "message/Failing.h"
#include "message/Messages.h"
#include "ostrel/MsgDealerWorkerHandle.h"
#include "support/SyslogSpy.h"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using ostrel::IpcMsg;
using ostrel::MsgDealerWorkerHandle;
using ostrel::StringMsg;
using support::describe;
using support::failEachAllocation;
using support::messageOf;
using support::SyslogSpy;
using support::TestHandle;
using support::testHandle;
using support::thrownBy;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

template <typename Msg> struct Lines;

template <> struct Lines<IpcMsg> {
    inline static const std::string copying = "Error : ostrel::IpcMsg::IpcMsg() : ";
    inline static const std::string assigning = "Error : ostrel::IpcMsg::Opearator=() : ";
};

template <> struct Lines<StringMsg> {
    inline static const std::string copying = "Error : Ostrel::StringMsg::StringMsg() : ";
    inline static const std::string assigning = "Error : Ostrel::StringMsg::Opearator=() : ";
};

/// An application's own error: not to be sliced, and not to be copied either.
class OwnError : public std::runtime_error {
public:
    OwnError() : std::runtime_error("no clone 100%s") {}

    const char* what() const noexcept override
    {
        logged = this;
        return std::runtime_error::what();
    }

    inline static const OwnError* logged = nullptr;
};

/// A message with one part and a handle whose clone() does `onClone`.
template <typename Msg> std::unique_ptr<Msg> sourceWith(void (*onClone)())
{
    auto source = std::make_unique<Msg>(messageOf<Msg>({"new"}, "new"));
    testHandle(*source)->onClone = onClone;
    return source;
}

void throwOwnError()
{
    throw OwnError();
}

void throwNumber()
{
    throw 5;
}

template <typename Msg> class HandleOf : public testing::Test {
public:
    HandleOf()
    {
        TestHandle::live = 0;
    }

protected:
    SyslogSpy log;
};

using Messages = testing::Types<IpcMsg, StringMsg>;
// The empty argument is for clang, which wants one.
TYPED_TEST_SUITE(HandleOf, Messages, );

} // namespace

TYPED_TEST(HandleOf, IsACloneOfTheOneThatTheCallerKeeps)
{
    const TestHandle given("sender");
    {
        TypeParam msg;
        msg.setHandle(&given);
        ASSERT_NE(testHandle(msg), nullptr);
        EXPECT_NE(msg.getHandle(), &given);
        EXPECT_EQ(msg.getHandle(), msg.getHandle());
        EXPECT_EQ(testHandle(msg)->name, "sender");
        EXPECT_EQ(TestHandle::live, 2);
    }
    EXPECT_EQ(TestHandle::live, 1);
    EXPECT_EQ(given.name, "sender");
}

TYPED_TEST(HandleOf, IsDeletedForANewOne)
{
    const TestHandle first("first");
    const TestHandle second("second");
    TypeParam msg;
    msg.setHandle(&first);
    msg.setHandle(&second);
    EXPECT_EQ(testHandle(msg)->name, "second");
    EXPECT_EQ(TestHandle::live, 3);
}

TYPED_TEST(HandleOf, IsDeletedForNull)
{
    TypeParam msg = messageOf<TypeParam>({"a"}, "sender");
    EXPECT_EQ(TestHandle::live, 1);
    msg.setHandle(nullptr);
    EXPECT_EQ(describe(msg), "[a] no handle");
    EXPECT_EQ(TestHandle::live, 0);
    msg.setHandle(nullptr);
    EXPECT_EQ(msg.getHandle(), nullptr);
}

TYPED_TEST(HandleOf, IsGoneBeforeTheNewOneIsCloned)
{
    TypeParam msg = messageOf<TypeParam>({}, "old");
    TestHandle given("new");
    int clones = 0;
    given.onClone = [&] {
        ++clones;
        EXPECT_EQ(msg.getHandle(), nullptr);
        EXPECT_EQ(TestHandle::live, 1);
    };
    msg.setHandle(&given);
    EXPECT_EQ(clones, 1);
    EXPECT_EQ(testHandle(msg)->name, "new");
}

TYPED_TEST(HandleOf, IsDeletedWhileThePartsStillExist)
{
    int destroyed = 0;
    {
        TypeParam msg = messageOf<TypeParam>({"a", "b"}, "sender");
        testHandle(msg)->onDestroy = [&] {
            ++destroyed;
            EXPECT_THAT(support::partsOf(msg), ElementsAre("a", "b"));
        };
    }
    EXPECT_EQ(destroyed, 1);
}

TYPED_TEST(HandleOf, IsClonedForACopyOfTheMessage)
{
    TypeParam msg = messageOf<TypeParam>({"a"}, "sender");
    {
        TypeParam copy(msg);
        EXPECT_NE(copy.getHandle(), msg.getHandle());
        EXPECT_EQ(describe(copy), "[a] sender");
        EXPECT_EQ(TestHandle::live, 2);
    }
    EXPECT_EQ(TestHandle::live, 1);
    EXPECT_EQ(describe(msg), "[a] sender");
}

TYPED_TEST(HandleOf, OfTheCopyOutlivesTheFirstMessage)
{
    auto msg = std::make_unique<TypeParam>(messageOf<TypeParam>({"a"}, "sender"));
    TypeParam copy(*msg);
    msg.reset();
    EXPECT_EQ(describe(copy), "[a] sender");
    EXPECT_EQ(TestHandle::live, 1);
}

TYPED_TEST(HandleOf, IsMissingInACopyOfAMessageWithoutOne)
{
    const TypeParam msg = messageOf<TypeParam>({"a"});
    const TypeParam copy(msg);
    EXPECT_EQ(copy.getHandle(), nullptr);
}

TYPED_TEST(HandleOf, GivesWayToACloneWhenTheMessageIsAssigned)
{
    const TypeParam source = messageOf<TypeParam>({"new"}, "new");
    TypeParam with = messageOf<TypeParam>({"old"}, "old");
    with = source;
    EXPECT_EQ(describe(with), "[new] new");
    EXPECT_NE(with.getHandle(), source.getHandle());
    TypeParam without = messageOf<TypeParam>({"old"});
    without = source;
    EXPECT_EQ(describe(without), "[new] new");
    EXPECT_EQ(TestHandle::live, 3);
}

TYPED_TEST(HandleOf, IsDeletedWhenTheMessageIsAssignedOneWithout)
{
    const TypeParam source = messageOf<TypeParam>({"new"});
    TypeParam msg = messageOf<TypeParam>({"old"}, "old");
    msg = source;
    EXPECT_EQ(describe(msg), "[new] no handle");
    EXPECT_EQ(TestHandle::live, 0);
}

TYPED_TEST(HandleOf, IsTheLastThingThatAnAssignmentTouches)
{
    const auto source = sourceWith<TypeParam>(nullptr);
    TypeParam msg = messageOf<TypeParam>({"old0", "old1"}, "old");
    std::vector<std::string> seen;
    testHandle(msg)->onDestroy = [&] {
        seen.push_back("deleted at " + support::partsOf(msg).front());
    };
    testHandle(*source)->onClone = [&] { seen.push_back("cloned at " + describe(msg)); };
    msg = *source;
    EXPECT_THAT(seen, ElementsAre("deleted at new", "cloned at [new] no handle"));
    EXPECT_EQ(describe(msg), "[new] new");
}

TYPED_TEST(HandleOf, IsLostWhenTheMessageIsAssignedToItself)
{
    TypeParam msg = messageOf<TypeParam>({"a"}, "sender");
    const TypeParam& same = msg;
    msg = same;
    EXPECT_EQ(msg.getHandle(), nullptr);
    EXPECT_EQ(msg.getNumParts(), 1);
    EXPECT_EQ(TestHandle::live, 0);
}

TYPED_TEST(HandleOf, ThatCannotBeClonedIsLoggedByACopy)
{
    const auto source = sourceWith<TypeParam>(&throwOwnError);
    EXPECT_THROW(const TypeParam copy(*source), OwnError);
    EXPECT_THAT(this->log.takeLines(), ElementsAre(Lines<TypeParam>::copying + "no clone 100%s"));
    EXPECT_EQ(describe(*source), "[new] new");
    EXPECT_EQ(TestHandle::live, 1);
}

TYPED_TEST(HandleOf, ThatCannotBeClonedIsLoggedByAnAssignmentWhichLeavesNone)
{
    const auto source = sourceWith<TypeParam>(&throwOwnError);
    TypeParam msg = messageOf<TypeParam>({"old", "older"}, "old");
    EXPECT_THROW(msg = *source, OwnError);
    EXPECT_THAT(this->log.takeLines(), ElementsAre(Lines<TypeParam>::assigning + "no clone 100%s"));
    EXPECT_EQ(describe(msg), "[new] no handle");
    EXPECT_EQ(describe(*source), "[new] new");
    EXPECT_EQ(TestHandle::live, 1);
}

TYPED_TEST(HandleOf, ThatCannotBeClonedLeavesNoneBehindAndNoLineWhenItIsSet)
{
    TestHandle given("new");
    given.onClone = &throwOwnError;
    TypeParam msg = messageOf<TypeParam>({"a"}, "old");
    EXPECT_THROW(msg.setHandle(&given), OwnError);
    EXPECT_EQ(describe(msg), "[a] no handle");
    EXPECT_THAT(this->log.takeCalls(), IsEmpty());
    EXPECT_EQ(TestHandle::live, 1);
}

TYPED_TEST(HandleOf, PassesItsVeryExceptionOn)
{
    const auto source = sourceWith<TypeParam>(&throwOwnError);
    TypeParam msg;
    const std::vector<std::function<void()>> operations = {[&] { const TypeParam copy(*source); },
                                                           [&] { msg = *source; }};
    for (const auto& operation : operations) {
        OwnError::logged = nullptr;
        const OwnError* caught = nullptr;
        try {
            operation();
        } catch (const OwnError& error) {
            caught = &error;
        }
        EXPECT_NE(caught, nullptr);
        EXPECT_EQ(caught, OwnError::logged);
    }
}

TYPED_TEST(HandleOf, MayThrowWhatIsNoStandardExceptionAndNothingIsLogged)
{
    const auto source = sourceWith<TypeParam>(&throwNumber);
    EXPECT_THROW(const TypeParam copy(*source), int);
    TypeParam msg = messageOf<TypeParam>({"old"}, "old");
    EXPECT_THROW(msg = *source, int);
    EXPECT_EQ(describe(msg), "[new] no handle");
    msg = messageOf<TypeParam>({"old"}, "old");
    EXPECT_THROW(msg.setHandle(source->getHandle()), int);
    EXPECT_EQ(describe(msg), "[old] no handle");
    EXPECT_THAT(this->log.takeCalls(), IsEmpty());
    EXPECT_EQ(TestHandle::live, 1);
}

TYPED_TEST(HandleOf, AddsItsOwnLineBeforeThatOfTheMessage)
{
    const std::string inner = "; Error : Ostrel::MsgDealerWorkerHandle::clone() : std::bad_alloc";
    const std::string outOfMemory = "std::bad_alloc";
    MsgDealerWorkerHandle handle;
    handle.setIdentity(std::string(100, 'i'));
    TypeParam empty;
    TypeParam source;
    source.setHandle(&handle);
    EXPECT_THAT(failEachAllocation([&] { return &source; },
                                   [](const TypeParam* msg) { const TypeParam copy(*msg); },
                                   [](const TypeParam* /*msg*/) { return ""; }),
                ElementsAre(inner + "; " + Lines<TypeParam>::copying + outOfMemory));
    EXPECT_THAT(
        failEachAllocation([] { return messageOf<TypeParam>({}, "old"); },
                           [&](TypeParam& msg) { msg = source; }, &describe<TypeParam>),
        ElementsAre(" no handle" + inner + "; " + Lines<TypeParam>::assigning + outOfMemory));
    EXPECT_THAT(failEachAllocation([] { return messageOf<TypeParam>({}, "old"); },
                                   [&](TypeParam& msg) { msg.setHandle(&handle); },
                                   &describe<TypeParam>),
                ElementsAre(" no handle" + inner));
}
