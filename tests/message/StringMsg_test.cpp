#include "ostrel/StringMsg.h"

#include "message/Failing.h"
#include "message/Messages.h"
#include "support/Stdout.h"
#include "support/SyslogSpy.h"

#include <climits>
#include <csignal>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <type_traits>
#include <utility>

using ostrel::StringMsg;
using support::describe;
using support::failEachAllocation;
using support::messageOf;
using support::partsOf;
using support::Stdout;
using support::SyslogSpy;
using support::TestHandle;
using support::Texts;
using support::thrownBy;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::KilledBySignal;

namespace {

const std::string zeros("a\0b\0", 4);

/// Longer than a string keeps without an allocation, and longer than oldText() keeps at all.
std::string newText(int number)
{
    return "new " + std::to_string(number) + std::string(100, '.');
}

std::string oldText(int number)
{
    return "old " + std::to_string(number) + std::string(50, '.');
}

struct IndexCase {
    Texts parts;
    unsigned int index;
};

/// Indices that name no part.
const IndexCase noSuchPart[] = {
    {{}, 0}, {{}, 1}, {{"a"}, 1}, {{"a"}, UINT_MAX}, {{"a", "b"}, 2}, {{"a", "b"}, 0x10000},
};

void limitProcessorTime()
{
    // One second is a thousand times what the longest possible copy takes.
    const rlimit processor = {1, 60};
    setrlimit(RLIMIT_CPU, &processor);
    const rlimit core = {0, 0};
    setrlimit(RLIMIT_CORE, &core);
}

void copy(const StringMsg& source)
{
    const StringMsg made(source);
}

void assign(const StringMsg& source)
{
    StringMsg made;
    made = source;
}

[[noreturn]] void endAfter(void (*operation)(const StringMsg&), const StringMsg& source)
{
    limitProcessorTime();
    operation(source);
    std::_Exit(0);
}

} // namespace

TEST(StringMsg, IsAPlainClass)
{
    EXPECT_FALSE(std::is_polymorphic<StringMsg>::value);
}

TEST(StringMsg, StartsWithAsManyEmptyPartsAsAskedFor)
{
    StringMsg none(0);
    EXPECT_THAT(partsOf(none), IsEmpty());
    EXPECT_EQ(none.getNumParts(), 0);
    StringMsg three(3);
    EXPECT_EQ(three.getNumParts(), 3);
    EXPECT_THAT(partsOf(three), ElementsAre("", "", ""));
    EXPECT_EQ(three.getHandle(), nullptr);
    StringMsg byDefault;
    EXPECT_EQ(byDefault.getNumParts(), 0);
    EXPECT_EQ(byDefault.getHandle(), nullptr);
}

TEST(StringMsg, GivesThePartItselfToWrite)
{
    StringMsg msg(2);
    std::string& part = msg[1];
    part = "written";
    EXPECT_EQ(&msg[1], &part);
    EXPECT_THAT(partsOf(msg), ElementsAre("", "written"));
}

TEST(StringMsg, RefusesAnIndexThatNamesNoPart)
{
    SyslogSpy log;
    for (const IndexCase& is : noSuchPart) {
        SCOPED_TRACE(std::to_string(is.index) + " of " + std::to_string(is.parts.size()));
        StringMsg msg = messageOf<StringMsg>(is.parts);
        EXPECT_EQ(thrownBy([&] { msg[is.index]; }),
                  "std::logic_error: StringMsg part index out of bounds");
        EXPECT_THAT(log.takeCalls(),
                    ElementsAre("openlog(\"Ostrel\", 1, 136)",
                                "syslog(3, \"%s\") = Error : Ostrel::StringMsg::operator []() : "
                                "StringMsg part index out of bounds",
                                "closelog()"));
        EXPECT_THAT(partsOf(msg), ElementsAreArray(is.parts));
    }
}

TEST(StringMsg, RemovesAPartAndMovesTheLaterOnesDown)
{
    struct Case {
        unsigned int index;
        Texts left;
    };
    const Case cases[] = {{0, {"b", zeros}}, {1, {"a", zeros}}, {2, {"a", "b"}}};
    for (const Case& is : cases) {
        SCOPED_TRACE(is.index);
        StringMsg msg = messageOf<StringMsg>({"a", "b", zeros});
        EXPECT_EQ(msg.removePart(is.index), 0);
        EXPECT_THAT(partsOf(msg), ElementsAreArray(is.left));
    }
    StringMsg single = messageOf<StringMsg>({"a"});
    EXPECT_EQ(single.removePart(0), 0);
    EXPECT_EQ(single.getNumParts(), 0);
}

TEST(StringMsg, RefusesToRemoveAPartThatItDoesNotHave)
{
    SyslogSpy log;
    for (const IndexCase& is : noSuchPart) {
        SCOPED_TRACE(std::to_string(is.index) + " of " + std::to_string(is.parts.size()));
        StringMsg msg = messageOf<StringMsg>(is.parts);
        EXPECT_EQ(thrownBy([&] { msg.removePart(is.index); }),
                  "std::logic_error: Invalid part number");
        EXPECT_THAT(log.takeLines(),
                    ElementsAre("Error : Ostrel::StringMsg::removePart() : Invalid part number"));
        EXPECT_THAT(partsOf(msg), ElementsAreArray(is.parts));
    }
}

TEST(StringMsg, InsertsBeforeAPartAndAppendsAtTheCount)
{
    struct Case {
        Texts parts;
        unsigned int index;
        Texts made;
    };
    const Case cases[] = {
        {{}, 0, {zeros}},
        {{"a"}, 0, {zeros, "a"}},
        {{"a"}, 1, {"a", zeros}},
        {{"a", "b"}, 1, {"a", zeros, "b"}},
        {{"a", "b"}, 2, {"a", "b", zeros}},
    };
    for (const Case& is : cases) {
        SCOPED_TRACE(std::to_string(is.index) + " of " + std::to_string(is.parts.size()));
        StringMsg msg = messageOf<StringMsg>(is.parts);
        EXPECT_EQ(msg.insertPart(is.index, zeros), 0);
        EXPECT_THAT(partsOf(msg), ElementsAreArray(is.made));
    }
}

TEST(StringMsg, InsertsACopy)
{
    std::string part = newText(0);
    StringMsg msg;
    msg.insertPart(0, part);
    part[0] = 'z';
    EXPECT_EQ(msg[0], newText(0));
}

TEST(StringMsg, InsertsAPartOfItsOwn)
{
    StringMsg msg = messageOf<StringMsg>({oldText(0), oldText(1)});
    msg.insertPart(0, msg[1]);
    EXPECT_THAT(partsOf(msg), ElementsAre(oldText(1), oldText(0), oldText(1)));
}

TEST(StringMsg, RefusesToInsertBehindTheCount)
{
    SyslogSpy log;
    const IndexCase cases[] = {
        {{}, 1}, {{"a"}, 2}, {{"a"}, UINT_MAX}, {{"a", "b"}, 3}, {{"a", "b"}, 0x10000}};
    for (const IndexCase& is : cases) {
        SCOPED_TRACE(std::to_string(is.index) + " of " + std::to_string(is.parts.size()));
        StringMsg msg = messageOf<StringMsg>(is.parts);
        EXPECT_EQ(thrownBy([&] { msg.insertPart(is.index, "x"); }),
                  "std::logic_error: Invalid part number");
        EXPECT_THAT(log.takeLines(),
                    ElementsAre("Error : Ostrel::StringMsg::insertPart() : Invalid part number"));
        EXPECT_THAT(partsOf(msg), ElementsAreArray(is.parts));
    }
}

TEST(StringMsg, MovesTheFollowingPartsInsteadOfCopyingThem)
{
    StringMsg msg = messageOf<StringMsg>({oldText(0), oldText(1), oldText(2)});
    const char* first = msg[1].data();
    const char* second = msg[2].data();
    msg.removePart(0);
    EXPECT_EQ(msg[0].data(), first);
    EXPECT_EQ(msg[1].data(), second);
    msg.insertPart(0, newText(0));
    msg.insertPart(0, newText(1)); // one of the two makes the list grow
    EXPECT_EQ(msg[2].data(), first);
    EXPECT_EQ(msg[3].data(), second);
    EXPECT_THAT(partsOf(msg), ElementsAre(newText(1), newText(0), oldText(1), oldText(2)));
}

TEST(StringMsg, AppendsEmptyPartsOrDropsTheLastOnes)
{
    struct Case {
        unsigned int count;
        Texts parts;
    };
    const Case cases[] = {{0, {}},
                          {1, {"a"}},
                          {2, {"a", zeros}},
                          {3, {"a", zeros, ""}},
                          {5, {"a", zeros, "", "", ""}}};
    for (const Case& is : cases) {
        SCOPED_TRACE(is.count);
        StringMsg msg = messageOf<StringMsg>({"a", zeros}, "sender");
        EXPECT_EQ(msg.setNumParts(is.count), 0);
        EXPECT_EQ(msg.getNumParts(), static_cast<int>(is.count));
        EXPECT_THAT(partsOf(msg), ElementsAreArray(is.parts));
        EXPECT_NE(msg.getHandle(), nullptr);
    }
}

TEST(StringMsg, HasRoomForMorePartsThanCanBeCopied)
{
    StringMsg msg(70000);
    EXPECT_EQ(msg.getNumParts(), 70000);
    msg[69999] = "last";
    msg.insertPart(70000, "behind");
    msg.setNumParts(140000);
    EXPECT_EQ(msg.getNumParts(), 140000);
    msg.removePart(65536);
    EXPECT_EQ(msg[69998], "last");
    EXPECT_EQ(msg[69999], "behind");
}

TEST(StringMsg, CopiesEveryPart)
{
    StringMsg source = messageOf<StringMsg>({zeros, "", newText(2)});
    StringMsg copy(source);
    EXPECT_THAT(partsOf(copy), ElementsAre(zeros, "", newText(2)));
    source[2][0] = 'z';
    copy[0] = "changed";
    EXPECT_EQ(copy[2], newText(2));
    EXPECT_EQ(source[0], zeros);
}

TEST(StringMsg, IsAssignedEveryPartWhateverItHadBefore)
{
    const Texts lists[] = {{}, {"a"}, {zeros, newText(1)}, {"", "b", zeros, newText(3)}};
    for (const Texts& from : lists) {
        for (const Texts& before : lists) {
            SCOPED_TRACE(std::to_string(from.size()) + " over " + std::to_string(before.size()));
            StringMsg source = messageOf<StringMsg>(from);
            StringMsg msg = messageOf<StringMsg>(before);
            EXPECT_EQ(&(msg = source), &msg);
            EXPECT_THAT(partsOf(msg), ElementsAreArray(from));
            EXPECT_THAT(partsOf(source), ElementsAreArray(from));
        }
    }
}

TEST(StringMsg, KeepsItsPartsAndLosesItsHandleWhenItIsAssignedToItself)
{
    StringMsg msg = messageOf<StringMsg>({zeros, newText(1)}, "sender");
    const StringMsg& same = msg;
    EXPECT_EQ(&(msg = same), &msg);
    EXPECT_THAT(partsOf(msg), ElementsAre(zeros, newText(1)));
    EXPECT_EQ(msg.getHandle(), nullptr);
    EXPECT_EQ(TestHandle::live, 0);
}

TEST(StringMsg, CopiesAsManyPartsAsItsCounterReaches)
{
    StringMsg source(65535);
    source[65534] = "last";
    StringMsg copied(source);
    EXPECT_EQ(copied.getNumParts(), 65535);
    EXPECT_EQ(copied[65534], "last");
    StringMsg assigned;
    assigned = source;
    EXPECT_EQ(assigned.getNumParts(), 65535);
    EXPECT_EQ(assigned[65534], "last");
}

TEST(StringMsgDeathTest, NeverEndsCopyingMorePartsThanItsCounterReaches)
{
    const StringMsg longest(65535);
    const StringMsg oneMore(65536);
    // So that a copy that does not end is seen to be the message's fault, not the limit's.
    EXPECT_EXIT(endAfter(&copy, longest), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(endAfter(&assign, longest), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(endAfter(&copy, oneMore), KilledBySignal(SIGXCPU), "");
    EXPECT_EXIT(endAfter(&assign, oneMore), KilledBySignal(SIGXCPU), "");
}

TEST(StringMsg, LogsThatItsConstructorFoundNoMemory)
{
    EXPECT_THAT(failEachAllocation([] { return 3U; },
                                   [](unsigned int count) { const StringMsg made(count); },
                                   [](unsigned int /*count*/) { return ""; }),
                ElementsAre("; Error : Ostrel::StringMsg::StringMsg() : std::bad_alloc"));
}

TEST(StringMsg, LogsThatItsCopyFoundNoMemory)
{
    EXPECT_THAT(failEachAllocation(
                    [] {
                        return messageOf<StringMsg>({newText(0), newText(1)}, "sender");
                    },
                    &copy, &describe<StringMsg>),
                ElementsAre("[" + newText(0) + "][" + newText(1) + "] sender" +
                            "; Error : Ostrel::StringMsg::StringMsg() : std::bad_alloc"));
    EXPECT_EQ(TestHandle::live, 0);
}

TEST(StringMsg, KeepsTheStateItHadReachedWhenAnAssignmentFindsNoMemory)
{
    const StringMsg source = messageOf<StringMsg>({newText(0), newText(1), newText(2)}, "new");
    const std::string line = "; Error : Ostrel::StringMsg::Opearator=() : std::bad_alloc";
    const std::string olds[] = {"[" + oldText(0) + "]", "[" + oldText(1) + "]"};
    const std::string news[] = {"[" + newText(0) + "]", "[" + newText(1) + "]",
                                "[" + newText(2) + "]"};
    EXPECT_THAT(failEachAllocation(
                    [] {
                        return messageOf<StringMsg>({oldText(0), oldText(1)}, "old");
                    },
                    [&](StringMsg& msg) { msg = source; }, &describe<StringMsg>),
                ElementsAre(olds[0] + olds[1] + " old" + line,                   // making room
                            olds[0] + olds[1] + "[] old" + line,                 // the first part
                            news[0] + olds[1] + "[] old" + line,                 // the second
                            news[0] + news[1] + "[] old" + line,                 // the third
                            news[0] + news[1] + news[2] + " no handle" + line)); // the clone
    EXPECT_EQ(TestHandle::live, 1);
}

TEST(StringMsg, KeepsTheShorterListWhenAnAssignmentThatShrinksItFindsNoMemory)
{
    const StringMsg source = messageOf<StringMsg>({newText(0)});
    EXPECT_THAT(failEachAllocation(
                    [] {
                        return messageOf<StringMsg>({oldText(0), oldText(1)}, "old");
                    },
                    [&](StringMsg& msg) { msg = source; }, &describe<StringMsg>),
                ElementsAre("[" + oldText(0) + "] old" +
                            "; Error : Ostrel::StringMsg::Opearator=() : std::bad_alloc"));
}

TEST(StringMsg, IsUnchangedWhenAnInsertionFindsNoMemory)
{
    // The part is moved into the argument, so that what allocates is the insertion.
    struct Inserting {
        StringMsg msg;
        std::string part;
    };
    for (const unsigned int index : {0U, 1U, 2U}) {
        for (const unsigned int room : {0U, 9U}) {
            SCOPED_TRACE(std::to_string(index) + ", room for " + std::to_string(room));
            EXPECT_THAT(failEachAllocation(
                            [&] {
                                auto is = std::make_unique<Inserting>();
                                is->msg = messageOf<StringMsg>({"a", "b"}, "sender");
                                is->msg.setNumParts(2 + room);
                                is->msg.setNumParts(2);
                                is->part = newText(0);
                                return is;
                            },
                            [&](std::unique_ptr<Inserting>& is) {
                                is->msg.insertPart(index, std::move(is->part));
                            },
                            [](std::unique_ptr<Inserting>& is) { return describe(is->msg); }),
                        ElementsAre("[a][b] sender; Error : Ostrel::StringMsg::insertPart() : "
                                    "std::bad_alloc"));
        }
    }
}

TEST(StringMsg, IsUnchangedWhenGrowingFindsNoMemory)
{
    EXPECT_THAT(failEachAllocation(
                    [] {
                        return messageOf<StringMsg>({"a", newText(1)}, "sender");
                    },
                    [](StringMsg& msg) { msg.setNumParts(100); }, &describe<StringMsg>),
                ElementsAre("[a][" + newText(1) +
                            "] sender; Error : Ostrel::StringMsg::setNumParts() : std::bad_alloc"));
}

TEST(StringMsg, PrintsAndLogsNothingWhileNothingFails)
{
    SyslogSpy log;
    std::string printed;
    {
        Stdout out;
        StringMsg msg = messageOf<StringMsg>({"a", "b"}, "sender");
        StringMsg copied(msg);
        copied = msg;
        copied.setNumParts(5);
        copied.removePart(4);
        copied[0] = "c";
        printed = out.take();
    }
    EXPECT_EQ(printed, "");
    EXPECT_THAT(log.takeCalls(), IsEmpty());
}
