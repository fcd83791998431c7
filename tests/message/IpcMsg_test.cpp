#include "ostrel/IpcMsg.h"

#include "message/Failing.h"
#include "message/Messages.h"
#include "support/Stdout.h"
#include "support/SyslogSpy.h"

#include <climits>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using ostrel::DataPart;
using ostrel::IpcMsg;
using support::bytesOf;
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

namespace {

const std::string zeros("\0a\0", 3);
const char* const withoutData = "std::logic_error: DataPart without data";
const char* const invalidNumber = "std::logic_error: Invalid part number";

/// A message whose type and subtype tell it from another's, with a handle named like it.
IpcMsg typed(int type, int subType, const Texts& parts, const std::string& handle)
{
    IpcMsg msg(type, subType);
    for (const std::string& part : parts) {
        support::append(msg, part);
    }
    const TestHandle given(handle);
    msg.setHandle(&given);
    return msg;
}

IpcMsg oldMessage()
{
    return typed(1, 2, {"old0", "old1"}, "old");
}

/// "7/8 [one][two] sender"
std::string describe(IpcMsg& msg)
{
    return std::to_string(msg.getMsgType()) + "/" + std::to_string(msg.getMsgSubType()) + " " +
           support::describe(msg);
}

/// Where the bytes of each part lie.
std::vector<const char*> addressesOf(IpcMsg& msg)
{
    std::vector<const char*> addresses;
    for (int i = 0; i < msg.getNumParts(); ++i) {
        addresses.push_back(msg[static_cast<unsigned int>(i)].mData);
    }
    return addresses;
}

struct IndexCase {
    Texts parts;
    unsigned int index;
};

/// Indices that name no part.
const IndexCase noSuchPart[] = {
    {{}, 0}, {{}, 1}, {{"a"}, 1}, {{"a"}, UINT_MAX}, {{"a", "b"}, 2}, {{"a", "b"}, 0x10000},
};

/// Indices at which no part can be inserted.
const IndexCase noSuchPlace[] = {
    {{}, 1}, {{"a"}, 2}, {{"a"}, UINT_MAX}, {{"a", "b"}, 3}, {{"a", "b"}, 0x10000},
};

struct Insertion {
    Texts parts;
    unsigned int index;
    Texts made;
};

/// What becomes of inserting a part of `zeros`.
const Insertion insertions[] = {
    {{}, 0, {zeros}},
    {{"a"}, 0, {zeros, "a"}},
    {{"a"}, 1, {"a", zeros}},
    {{"a", "b"}, 1, {"a", zeros, "b"}},
    {{"a", "b"}, 2, {"a", "b", zeros}},
    {{"a", "b", "c", "d"}, 1, {"a", zeros, "b", "c", "d"}},
};

std::string indexText(unsigned int index, const Texts& parts)
{
    return std::to_string(index) + " of " + std::to_string(parts.size());
}

class CountedMsg : public IpcMsg {
public:
    ~CountedMsg() override
    {
        ++destroyed;
    }
    inline static int destroyed = 0;
};

} // namespace

TEST(IpcMsg, StartsEmpty)
{
    IpcMsg msg;
    EXPECT_EQ(describe(msg), "0/0  no handle");
    EXPECT_EQ(msg.getNumParts(), 0);
    EXPECT_EQ(msg.getHandle(), nullptr);
}

TEST(IpcMsg, StartsWithTheGivenTypes)
{
    IpcMsg msg(INT_MIN, INT_MAX);
    EXPECT_EQ(msg.getMsgType(), INT_MIN);
    EXPECT_EQ(msg.getMsgSubType(), INT_MAX);
    EXPECT_EQ(msg.getNumParts(), 0);
    EXPECT_EQ(msg.getHandle(), nullptr);
}

TEST(IpcMsg, StartsWithACopyOfTheGivenBytes)
{
    char data[] = {'a', '\0', 'b', '\0', 'c'};
    IpcMsg msg(7, data, 5, nullptr);
    EXPECT_EQ(msg.getMsgType(), 7);
    EXPECT_EQ(msg.getMsgSubType(), 0);
    EXPECT_EQ(msg.getNumParts(), 1);
    EXPECT_EQ(msg.getHandle(), nullptr);
    EXPECT_NE(msg[0].mData, data);
    const std::string bytes(data, 5);
    data[0] = 'z';
    EXPECT_EQ(bytesOf(msg[0]), bytes);
    EXPECT_EQ(msg.getMsgData(), msg[0].mData);
    EXPECT_EQ(msg.getMsgSize(), 5);
}

TEST(IpcMsg, StartsWithAPartWithoutABufferForASizeOfZeroOrLess)
{
    char data[] = "abc";
    for (const int size : {0, -1, INT_MIN}) {
        for (char* given : {data, static_cast<char*>(nullptr)}) {
            SCOPED_TRACE(std::to_string(size) + (given == nullptr ? ", null" : ""));
            IpcMsg msg(7, given, size, nullptr);
            ASSERT_EQ(msg.getNumParts(), 1);
            EXPECT_EQ(msg[0].mData, nullptr);
            EXPECT_EQ(msg[0].mSize, size);
            EXPECT_EQ(msg.getMsgData(), nullptr);
            EXPECT_EQ(msg.getMsgSize(), size);
        }
    }
}

TEST(IpcMsg, AdoptsTheHandleItIsConstructedWith)
{
    char data[] = "abc";
    auto* handle = new TestHandle("sender");
    {
        const IpcMsg msg(7, data, 3, handle);
        EXPECT_EQ(msg.getHandle(), handle);
        EXPECT_EQ(TestHandle::live, 1);
    }
    EXPECT_EQ(TestHandle::live, 0);
}

TEST(IpcMsg, LeavesTheHandleToTheCallerWhenItCannotBeConstructed)
{
    SyslogSpy log;
    TestHandle handle("sender");
    EXPECT_EQ(thrownBy([&] { const IpcMsg msg(7, nullptr, 3, &handle); }), withoutData);
    EXPECT_THAT(log.takeLines(), IsEmpty());
    EXPECT_EQ(TestHandle::live, 1);

    char data[] = "abc";
    EXPECT_THAT(failEachAllocation([] { return std::make_unique<TestHandle>("sender"); },
                                   [&](std::unique_ptr<TestHandle>& own) {
                                       const IpcMsg msg(7, data, 3, own.get());
                                       own.release();
                                   },
                                   [](std::unique_ptr<TestHandle>& own) { return own->name; }),
                ElementsAre("sender"));
    EXPECT_EQ(TestHandle::live, 1);
}

TEST(IpcMsg, ChangesItsType)
{
    IpcMsg msg(1, 2);
    msg.setMsgType(-5);
    EXPECT_EQ(msg.getMsgType(), -5);
    EXPECT_EQ(msg.getMsgSubType(), 2);
}

TEST(IpcMsg, ChangesItsTypeInPlaceOfTheSubtype)
{
    IpcMsg msg(1, 2);
    msg.setMsgSubType(9);
    EXPECT_EQ(msg.getMsgSubType(), 2);
    EXPECT_EQ(msg.getMsgType(), 9);
}

TEST(IpcMsg, GivesTheFirstPartsBytesAndIgnoresTheOthers)
{
    IpcMsg none;
    EXPECT_EQ(none.getMsgData(), nullptr);
    EXPECT_EQ(none.getMsgSize(), 0);
    IpcMsg msg = messageOf<IpcMsg>({zeros, "longer than that"});
    EXPECT_EQ(msg.getMsgData(), msg[0].mData);
    EXPECT_EQ(msg.getMsgSize(), 3);
    msg.removePart(0);
    EXPECT_EQ(msg.getMsgData(), msg[0].mData);
    EXPECT_EQ(msg.getMsgSize(), 16);
}

TEST(IpcMsg, GivesThePartItselfToWrite)
{
    IpcMsg msg;
    msg.setNumParts(2);
    DataPart& part = msg[1];
    part.mData = static_cast<char*>(std::malloc(2));
    part.mData[0] = 'h';
    part.mData[1] = 'i';
    part.mSize = 2;
    EXPECT_EQ(&msg[1], &part);
    EXPECT_THAT(partsOf(msg), ElementsAre("null 0", "hi"));
}

TEST(IpcMsg, KeepsItsBytesWhereTheCallerMayTakeThemAndFreeThem)
{
    IpcMsg msg = messageOf<IpcMsg>({"abc"});
    const std::unique_ptr<char, void (*)(void*)> taken(msg[0].mData, std::free);
    msg[0].mData = nullptr;
    msg[0].mSize = 0;
    EXPECT_EQ(std::string(taken.get(), 3), "abc");
    EXPECT_THAT(partsOf(msg), ElementsAre("null 0"));
}

TEST(IpcMsg, RefusesAnIndexThatNamesNoPartInTheTextMessagesWords)
{
    SyslogSpy log;
    for (const IndexCase& is : noSuchPart) {
        SCOPED_TRACE(indexText(is.index, is.parts));
        IpcMsg msg = messageOf<IpcMsg>(is.parts);
        EXPECT_EQ(thrownBy([&] { msg[is.index]; }),
                  "std::logic_error: StringMsg part index out of bounds");
        EXPECT_THAT(log.takeCalls(),
                    ElementsAre("openlog(\"Ostrel\", 1, 136)",
                                "syslog(3, \"%s\") = Error : ostrel::StringMsg::operator []() : "
                                "StringMsg part index out of bounds",
                                "closelog()"));
        EXPECT_THAT(partsOf(msg), ElementsAreArray(is.parts));
    }
}

TEST(IpcMsg, InsertsACopyOfAPart)
{
    for (const Insertion& is : insertions) {
        SCOPED_TRACE(indexText(is.index, is.parts));
        IpcMsg donor = messageOf<IpcMsg>({zeros});
        IpcMsg msg = messageOf<IpcMsg>(is.parts);
        EXPECT_EQ(msg.insertPart(is.index, donor[0]), 0);
        EXPECT_THAT(partsOf(msg), ElementsAreArray(is.made));
        EXPECT_NE(msg[is.index].mData, donor[0].mData);
        donor[0].mData[0] = 'z';
        EXPECT_EQ(bytesOf(msg[is.index]), zeros);
    }
}

TEST(IpcMsg, InsertsACopyOfBytes)
{
    for (const Insertion& is : insertions) {
        SCOPED_TRACE(indexText(is.index, is.parts));
        std::string bytes = zeros;
        IpcMsg msg = messageOf<IpcMsg>(is.parts);
        EXPECT_EQ(msg.insertPart(is.index, bytes.data(), 3), 0);
        EXPECT_THAT(partsOf(msg), ElementsAreArray(is.made));
        EXPECT_NE(msg[is.index].mData, bytes.data());
        bytes[0] = 'z';
        EXPECT_EQ(bytesOf(msg[is.index]), zeros);
    }
}

TEST(IpcMsg, InsertsASizeOfZeroOrLessWithoutABuffer)
{
    for (const unsigned int index : {0U, 1U}) {
        SCOPED_TRACE(index);
        IpcMsg msg = messageOf<IpcMsg>({"last"});
        if (index == 1) {
            msg.insertPart(0, "first", 5);
        }
        EXPECT_EQ(msg.insertPart(index, "abc", 0), 0);
        EXPECT_EQ(msg.insertPart(index, nullptr, 0), 0);
        EXPECT_EQ(msg.insertPart(index, "abc", -4), 0);
        EXPECT_EQ(msg.insertPart(index, nullptr, INT_MIN), 0);
        EXPECT_EQ(msg.insertPart(index, DataPart(nullptr, -5)), 0);
        Texts made = {"null -5", "null " + std::to_string(INT_MIN), "null -4", "null 0", "null 0",
                      "last"};
        if (index == 1) {
            made.insert(made.begin(), "first");
        }
        EXPECT_THAT(partsOf(msg), ElementsAreArray(made));
    }
}

TEST(IpcMsg, InsertsAPartOrBytesOfItsOwn)
{
    IpcMsg msg = messageOf<IpcMsg>({"a", "bc"});
    msg.insertPart(0, msg[1]);
    EXPECT_THAT(partsOf(msg), ElementsAre("bc", "a", "bc"));
    msg.insertPart(1, msg.getMsgData(), msg.getMsgSize());
    EXPECT_THAT(partsOf(msg), ElementsAre("bc", "bc", "a", "bc"));
    msg.insertPart(4, msg[2].mData, msg[2].mSize);
    EXPECT_THAT(partsOf(msg), ElementsAre("bc", "bc", "a", "bc", "a"));
}

TEST(IpcMsg, RefusesToInsertBehindTheCountWithoutALine)
{
    SyslogSpy log;
    for (const IndexCase& is : noSuchPlace) {
        SCOPED_TRACE(indexText(is.index, is.parts));
        IpcMsg msg = messageOf<IpcMsg>(is.parts);
        EXPECT_EQ(thrownBy([&] { msg.insertPart(is.index, DataPart()); }), invalidNumber);
        EXPECT_EQ(thrownBy([&] { msg.insertPart(is.index, "x", 1); }), invalidNumber);
        EXPECT_THAT(partsOf(msg), ElementsAreArray(is.parts));
    }
    EXPECT_THAT(log.takeCalls(), IsEmpty());
}

TEST(IpcMsg, RefusesToInsertASizeWithoutDataAndIsUnchanged)
{
    SyslogSpy log;
    for (const unsigned int index : {0U, 1U, 2U}) {
        SCOPED_TRACE(index);
        IpcMsg msg = oldMessage();
        EXPECT_EQ(thrownBy([&] { msg.insertPart(index, nullptr, 3); }), withoutData);
        EXPECT_EQ(thrownBy([&] { msg.insertPart(index, DataPart(nullptr, 3)); }), withoutData);
        EXPECT_EQ(describe(msg), "1/2 [old0][old1] old");
    }
    EXPECT_THAT(log.takeCalls(), IsEmpty());
}

TEST(IpcMsg, RemovesAPartAndMovesTheLaterOnesDown)
{
    struct Case {
        unsigned int index;
        Texts left;
    };
    const Case cases[] = {{0, {"b", zeros, "d"}},
                          {1, {"a", zeros, "d"}},
                          {2, {"a", "b", "d"}},
                          {3, {"a", "b", zeros}}};
    for (const Case& is : cases) {
        SCOPED_TRACE(is.index);
        IpcMsg msg = messageOf<IpcMsg>({"a", "b", zeros, "d"});
        EXPECT_EQ(msg.removePart(is.index), 0);
        EXPECT_EQ(msg.getNumParts(), 3);
        EXPECT_THAT(partsOf(msg), ElementsAreArray(is.left));
    }
    IpcMsg single = messageOf<IpcMsg>({"a"});
    EXPECT_EQ(single.removePart(0), 0);
    EXPECT_EQ(single.getNumParts(), 0);
}

TEST(IpcMsg, RemovesPartsWithoutABufferToo)
{
    IpcMsg msg;
    msg.insertPart(0, nullptr, -1);
    msg.insertPart(1, "b", 1);
    msg.insertPart(2, nullptr, -3);
    msg.removePart(1);
    EXPECT_THAT(partsOf(msg), ElementsAre("null -1", "null -3"));
    msg.removePart(0);
    EXPECT_THAT(partsOf(msg), ElementsAre("null -3"));
}

TEST(IpcMsg, RefusesToRemoveAPartThatItDoesNotHaveWithoutALine)
{
    SyslogSpy log;
    for (const IndexCase& is : noSuchPart) {
        SCOPED_TRACE(indexText(is.index, is.parts));
        IpcMsg msg = messageOf<IpcMsg>(is.parts);
        EXPECT_EQ(thrownBy([&] { msg.removePart(is.index); }), invalidNumber);
        EXPECT_THAT(partsOf(msg), ElementsAreArray(is.parts));
    }
    EXPECT_THAT(log.takeCalls(), IsEmpty());
}

TEST(IpcMsg, CopiesThePartsThatChangeTheirPlace)
{
    // A part that changed its place without a copy would bring its buffer along.
    IpcMsg msg = messageOf<IpcMsg>({"a", "b", "c"});
    const std::vector<const char*> first = addressesOf(msg);
    msg.removePart(0);
    EXPECT_NE(msg[0].mData, first[1]);
    EXPECT_NE(msg[1].mData, first[2]);
    EXPECT_THAT(partsOf(msg), ElementsAre("b", "c"));

    IpcMsg single = messageOf<IpcMsg>({"a"});
    const char* alone = single[0].mData;
    single.setNumParts(100);
    EXPECT_NE(single[0].mData, alone);
    EXPECT_EQ(bytesOf(single[0]), "a");
}

TEST(IpcMsg, AppendsEmptyPartsOrDestroysTheLastOnes)
{
    struct Case {
        unsigned int count;
        const char* parts;
    };
    const Case cases[] = {{0, "1/2  old"},
                          {1, "1/2 [old0] old"},
                          {2, "1/2 [old0][old1] old"},
                          {3, "1/2 [old0][old1][null 0] old"},
                          {5, "1/2 [old0][old1][null 0][null 0][null 0] old"}};
    for (const Case& is : cases) {
        SCOPED_TRACE(is.count);
        IpcMsg msg = oldMessage();
        EXPECT_EQ(msg.setNumParts(is.count), 0);
        EXPECT_EQ(msg.getNumParts(), static_cast<int>(is.count));
        EXPECT_EQ(describe(msg), is.parts);
    }
    IpcMsg empty;
    empty.setNumParts(3);
    EXPECT_THAT(partsOf(empty), ElementsAre("null 0", "null 0", "null 0"));
}

TEST(IpcMsg, CopiesTypesAndPartsDeeply)
{
    IpcMsg source = typed(7, -8, {zeros, "", "c"}, "sender");
    source[1].mSize = -2;
    IpcMsg copy(source);
    EXPECT_EQ(describe(copy), "7/-8 [" + zeros + "][null -2][c] sender");
    EXPECT_NE(copy[0].mData, source[0].mData);
    EXPECT_NE(copy[2].mData, source[2].mData);
    source[2].mData[0] = 'z';
    EXPECT_EQ(bytesOf(copy[2]), "c");
    EXPECT_EQ(describe(source), "7/-8 [" + zeros + "][null -2][z] sender");
}

TEST(IpcMsg, IsAssignedTypesAndPartsWhateverItHadBefore)
{
    const Texts lists[] = {{}, {"a"}, {zeros, "bc"}, {"d", "ef", zeros, "g"}};
    for (const Texts& from : lists) {
        for (const Texts& before : lists) {
            SCOPED_TRACE(std::to_string(from.size()) + " over " + std::to_string(before.size()));
            IpcMsg source = typed(7, -8, from, "new");
            IpcMsg msg = typed(1, 2, before, "old");
            EXPECT_EQ(&(msg = source), &msg);
            EXPECT_EQ(describe(msg), describe(source));
            EXPECT_THAT(partsOf(msg), ElementsAreArray(from));
            EXPECT_EQ(msg.getMsgType(), 7);
            EXPECT_EQ(msg.getMsgSubType(), -8);
            for (unsigned int i = 0; i < from.size(); ++i) {
                EXPECT_NE(msg[i].mData, source[i].mData);
            }
        }
    }
    EXPECT_EQ(TestHandle::live, 0);
}

TEST(IpcMsg, HasAndCopiesAnyNumberOfParts)
{
    IpcMsg msg;
    msg.setNumParts(70000);
    EXPECT_EQ(msg.getNumParts(), 70000);
    msg.insertPart(70000, "last", 4);
    IpcMsg copied(msg);
    IpcMsg assigned;
    assigned = msg;
    for (IpcMsg* is : {&msg, &copied, &assigned}) {
        EXPECT_EQ(is->getNumParts(), 70001);
        EXPECT_EQ(bytesOf((*is)[70000]), "last");
        is->removePart(65536);
        EXPECT_EQ(bytesOf((*is)[69999]), "last");
    }
}

TEST(IpcMsg, LosesItsBytesAndItsHandleWhenItIsAssignedToItself)
{
    IpcMsg msg = oldMessage();
    const IpcMsg& same = msg;
    EXPECT_EQ(&(msg = same), &msg);
    EXPECT_EQ(describe(msg), "1/2 [null 0][null 0] no handle");
    EXPECT_EQ(TestHandle::live, 0);
}

TEST(IpcMsg, IsDestroyedWholeThroughItsBase)
{
    IpcMsg* msg = new CountedMsg;
    msg->insertPart(0, "abc", 3);
    delete msg;
    EXPECT_EQ(CountedMsg::destroyed, 1);
}

TEST(IpcMsg, LogsThatItsCopyFoundNoMemory)
{
    EXPECT_THAT(failEachAllocation(
                    &oldMessage, [](const IpcMsg& msg) { const IpcMsg copy(msg); }, &describe),
                ElementsAre("1/2 [old0][old1] old"
                            "; Error : ostrel::IpcMsg::IpcMsg() : std::bad_alloc"));
    EXPECT_EQ(TestHandle::live, 0);
}

TEST(IpcMsg, LogsThatItCannotCopyASizeWithoutData)
{
    SyslogSpy log;
    IpcMsg source = typed(7, 8, {"new0", "new1", "new2"}, "new");
    const DataPart original(source[1]);
    std::free(source[1].mData);
    source[1].mData = nullptr;
    EXPECT_EQ(thrownBy([&] { const IpcMsg copy(source); }), withoutData);
    EXPECT_THAT(log.takeLines(),
                ElementsAre("Error : ostrel::IpcMsg::IpcMsg() : DataPart without data"));
    EXPECT_EQ(TestHandle::live, 1);

    IpcMsg msg = oldMessage();
    EXPECT_EQ(thrownBy([&] { msg = source; }), withoutData);
    EXPECT_THAT(log.takeLines(),
                ElementsAre("Error : ostrel::IpcMsg::Opearator=() : DataPart without data"));
    EXPECT_EQ(describe(msg), "7/8 [new0][null 0][null 0] old");

    source[1] = original;
    msg = source;
    EXPECT_EQ(describe(msg), "7/8 [new0][new1][new2] new");
}

TEST(IpcMsg, KeepsTheStateItHadReachedWhenAnAssignmentFindsNoMemory)
{
    const IpcMsg source = typed(7, 8, {"new0", "new1", "new2"}, "new");
    const std::string line = "; Error : ostrel::IpcMsg::Opearator=() : std::bad_alloc";
    EXPECT_THAT(failEachAllocation(
                    &oldMessage, [&](IpcMsg& msg) { msg = source; }, &describe),
                ElementsAre("7/8 [old0][old1] old" + line,               // making room
                            "7/8 [null 0][old1][null 0] old" + line,     // the first part
                            "7/8 [new0][null 0][null 0] old" + line,     // the second
                            "7/8 [new0][new1][null 0] old" + line,       // the third
                            "7/8 [new0][new1][new2] no handle" + line)); // the clone
    EXPECT_EQ(TestHandle::live, 1);
}

TEST(IpcMsg, KeepsTheShorterListWhenAnAssignmentThatShrinksItFindsNoMemory)
{
    const IpcMsg source = typed(7, 8, {"new0"}, "new");
    const std::string line = "; Error : ostrel::IpcMsg::Opearator=() : std::bad_alloc";
    EXPECT_THAT(failEachAllocation(
                    &oldMessage, [&](IpcMsg& msg) { msg = source; }, &describe),
                ElementsAre("7/8 [null 0] old" + line, "7/8 [new0] no handle" + line));
}

TEST(IpcMsg, IsUnchangedWhenAnInsertionFindsNoMemory)
{
    const DataPart part = messageOf<IpcMsg>({"part"})[0];
    for (const unsigned int index : {0U, 1U, 2U}) {
        for (const unsigned int room : {0U, 9U}) {
            SCOPED_TRACE(std::to_string(index) + ", room for " + std::to_string(room));
            const auto make = [&] {
                IpcMsg msg = oldMessage();
                msg.setNumParts(2 + room);
                msg.setNumParts(2);
                return msg;
            };
            EXPECT_THAT(failEachAllocation(
                            make, [&](IpcMsg& msg) { msg.insertPart(index, part); }, &describe),
                        ElementsAre("1/2 [old0][old1] old"));
            EXPECT_THAT(
                failEachAllocation(
                    make, [&](IpcMsg& msg) { msg.insertPart(index, "part", 4); }, &describe),
                ElementsAre("1/2 [old0][old1] old"));
        }
    }
}

TEST(IpcMsg, IsUnchangedWhenARemovalFindsNoMemory)
{
    for (const unsigned int index : {0U, 1U, 2U}) {
        SCOPED_TRACE(index);
        EXPECT_THAT(failEachAllocation(
                        [] {
                            return typed(1, 2, {"a", "b", "c", "d"}, "sender");
                        },
                        [&](IpcMsg& msg) { msg.removePart(index); }, &describe),
                    ElementsAre("1/2 [a][b][c][d] sender"));
    }
}

TEST(IpcMsg, IsUnchangedWhenARemovalMeetsASizeWithoutData)
{
    SyslogSpy log;
    IpcMsg msg;
    msg.setNumParts(3);
    msg[2].mSize = 3;
    EXPECT_EQ(thrownBy([&] { msg.removePart(0); }), withoutData);
    EXPECT_THAT(partsOf(msg), ElementsAre("null 0", "null 0", "null 3"));
    EXPECT_EQ(msg.removePart(2), 0);
    EXPECT_THAT(partsOf(msg), ElementsAre("null 0", "null 0"));
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST(IpcMsg, IsUnchangedWhenGrowingFindsNoMemory)
{
    EXPECT_THAT(failEachAllocation(
                    &oldMessage, [](IpcMsg& msg) { msg.setNumParts(100); }, &describe),
                ElementsAre("1/2 [old0][old1] old"
                            "; Error : ostrel::IpcMsg::setNumParts() : std::bad_alloc"));
}

TEST(IpcMsg, PrintsAndLogsNothingWhileNothingFails)
{
    SyslogSpy log;
    std::string printed;
    {
        Stdout out;
        IpcMsg msg = oldMessage();
        IpcMsg copied(msg);
        copied = msg;
        copied.setNumParts(5);
        copied.removePart(0);
        copied.setMsgType(3);
        copied[0] = DataPart();
        printed = out.take();
    }
    EXPECT_EQ(printed, "");
    EXPECT_THAT(log.takeCalls(), IsEmpty());
}
