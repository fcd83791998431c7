#include "message/Failing.h"
#include "message/Messages.h"
#include "ostrel/IpcMsg.h"
#include "support/SyslogSpy.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <string>
#include <utility>

using ostrel::DataPart;
using support::bytesOf;
using support::failEachAllocation;
using support::SyslogSpy;
using support::thrownBy;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string bytes("a\0b\0", 4);

void* allocated(const std::string& content)
{
    void* memory = std::malloc(content.size());
    return std::memcpy(memory, content.data(), content.size());
}

DataPart partOf(const std::string& content)
{
    return DataPart(allocated(content), static_cast<int>(content.size()));
}

/// Without a buffer a part may claim any size; with one, a test wants no more than is there.
struct WithoutBytes {
    const char* name;
    bool buffer;
    int size;
};

const WithoutBytes withoutBytes[] = {
    {"nothing", false, 0},
    {"a negative size", false, -1},
    {"the smallest size", false, INT_MIN},
    {"a buffer and size 0", true, 0},
    {"a buffer and a negative size", true, -7},
};

class CountedPart : public DataPart {
public:
    ~CountedPart() override
    {
        ++destroyed;
    }
    inline static int destroyed = 0;
};

} // namespace

TEST(DataPart, StartsWithoutBytes)
{
    const DataPart part;
    EXPECT_EQ(part.mData, nullptr);
    EXPECT_EQ(part.mSize, 0);
}

TEST(DataPart, AdoptsABufferWithoutCopyingIt)
{
    void* buffer = allocated(bytes);
    const DataPart part(buffer, 4);
    EXPECT_EQ(part.mData, buffer);
    EXPECT_EQ(part.mSize, 4);
}

TEST(DataPart, AdoptsAnySizeAsItIs)
{
    const DataPart negative(nullptr, -3);
    EXPECT_EQ(bytesOf(negative), "null -3");
    const DataPart claimed(nullptr, 3);
    EXPECT_EQ(bytesOf(claimed), "null 3");
    void* buffer = std::malloc(1);
    const DataPart empty(buffer, 0);
    EXPECT_EQ(empty.mData, buffer);
    EXPECT_EQ(empty.mSize, 0);
}

TEST(DataPart, CopiesItsBytesToABufferOfItsOwn)
{
    const DataPart part = partOf(bytes);
    const DataPart copy(part);
    EXPECT_NE(copy.mData, part.mData);
    EXPECT_EQ(bytesOf(copy), bytes);
    EXPECT_EQ(copy.mSize, 4);
    part.mData[0] = 'z';
    EXPECT_EQ(bytesOf(copy), bytes);
}

TEST(DataPart, AssignsTheBytesToABufferOfItsOwn)
{
    const DataPart part = partOf(bytes);
    DataPart other = partOf("what was there before");
    EXPECT_EQ(&(other = part), &other);
    EXPECT_NE(other.mData, part.mData);
    EXPECT_EQ(bytesOf(other), bytes);
    EXPECT_EQ(other.mSize, 4);
    part.mData[0] = 'z';
    EXPECT_EQ(bytesOf(other), bytes);
}

TEST(DataPart, CopiesASizeOfZeroOrLessWithoutABuffer)
{
    for (const WithoutBytes& is : withoutBytes) {
        SCOPED_TRACE(is.name);
        const DataPart part(is.buffer ? std::malloc(1) : nullptr, is.size);
        const DataPart copy(part);
        EXPECT_EQ(copy.mData, nullptr);
        EXPECT_EQ(copy.mSize, is.size);
        DataPart assigned = partOf(bytes);
        assigned = part;
        EXPECT_EQ(assigned.mData, nullptr);
        EXPECT_EQ(assigned.mSize, is.size);
    }
}

TEST(DataPart, CopiesToABufferOfExactlyItsSize)
{
    // A size that the C library does not round up.
    const DataPart part = partOf(std::string(24, 'x'));
    const DataPart copy(part);
    EXPECT_EQ(malloc_usable_size(copy.mData), malloc_usable_size(part.mData));
}

TEST(DataPart, CopiesInsteadOfMoving)
{
    DataPart part = partOf(bytes);
    const char* buffer = part.mData;
    const DataPart constructed(std::move(part));
    DataPart assigned;
    assigned = std::move(part);
    EXPECT_EQ(part.mData, buffer);
    EXPECT_EQ(bytesOf(part), bytes);
    EXPECT_EQ(bytesOf(constructed), bytes);
    EXPECT_EQ(bytesOf(assigned), bytes);
}

TEST(DataPart, RefusesToCopyASizeWithoutABuffer)
{
    SyslogSpy log;
    const DataPart claimed(nullptr, 3);
    EXPECT_EQ(thrownBy([&] { const DataPart copy(claimed); }),
              "std::logic_error: DataPart without data");
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST(DataPart, LosesItsBytesWhenItIsAssignedASizeWithoutABuffer)
{
    SyslogSpy log;
    const DataPart claimed(nullptr, 3);
    DataPart part = partOf(bytes);
    EXPECT_EQ(thrownBy([&] { part = claimed; }), "std::logic_error: DataPart without data");
    EXPECT_EQ(bytesOf(part), "null 0");
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST(DataPart, PassesAFailedAllocationOfACopyOn)
{
    EXPECT_THAT(failEachAllocation([] { return partOf(bytes); },
                                   [](const DataPart& part) { const DataPart copy(part); },
                                   [](const DataPart& part) { return bytesOf(part); }),
                ElementsAre(bytes));
}

TEST(DataPart, IsLeftWithoutBytesByAnAssignmentThatFindsNoMemory)
{
    const DataPart source = partOf(bytes);
    EXPECT_THAT(failEachAllocation([] { return partOf("what was there before"); },
                                   [&](DataPart& part) { part = source; },
                                   [](const DataPart& part) { return bytesOf(part); }),
                ElementsAre("null 0"));
    EXPECT_EQ(bytesOf(source), bytes);
}

TEST(DataPart, AsksForNoMemoryWhenItHasNoBytes)
{
    EXPECT_THAT(failEachAllocation([] { return DataPart(nullptr, -1); },
                                   [](DataPart& part) {
                                       const DataPart copy(part);
                                       part = copy;
                                   },
                                   [](const DataPart& part) { return bytesOf(part); }),
                IsEmpty());
}

TEST(DataPart, LosesItsBytesWhenItIsAssignedToItself)
{
    DataPart part = partOf(bytes);
    const DataPart& same = part;
    part = same;
    EXPECT_EQ(bytesOf(part), "null 0");
}

TEST(DataPart, IsDestroyedWholeThroughItsBase)
{
    DataPart* part = new CountedPart;
    part->mData = static_cast<char*>(allocated(bytes));
    part->mSize = 4;
    delete part;
    EXPECT_EQ(CountedPart::destroyed, 1);
}
