// Buffers of large parts are kept for the next one, so that the heap neither shrinks nor grows
// while large messages are exchanged.

#include "ostrel/IpcMsg.h"
#include "support/AllocFault.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <list>
#include <string>

using ostrel::IpcMsg;
using support::AllocFault;

namespace {

constexpr std::size_t KiB = 1024;
constexpr std::size_t MiB = 1024 * KiB;

std::size_t wanted = 0;
int count = 0;

void countWanted(void* /*memory*/, std::size_t size)
{
    count += size == wanted ? 1 : 0;
}

/// The allocations of just that many bytes since the last question.
class Allocations {
public:
    explicit Allocations(std::size_t size)
    {
        wanted = size;
        count = 0;
        AllocFault::watch(countWanted);
    }
    ~Allocations()
    {
        AllocFault::watch(nullptr);
    }
    Allocations(const Allocations&) = delete;
    Allocations& operator=(const Allocations&) = delete;

    int take()
    {
        const int taken = count;
        count = 0;
        return taken;
    }
};

void makeAndDestroy(std::string bytes)
{
    const int size = static_cast<int>(bytes.size());
    IpcMsg msg(1, bytes.data(), size, nullptr);
    EXPECT_EQ(std::string(msg.getMsgData(), static_cast<std::size_t>(msg.getMsgSize())), bytes);
}

/// So many messages that live at the same time.
void makeTogether(int messages, std::size_t size)
{
    std::string bytes(size, 'a');
    std::list<IpcMsg> together;
    for (int i = 0; i < messages; ++i) {
        together.emplace_back(1, bytes.data(), static_cast<int>(size), nullptr);
    }
}

} // namespace

TEST(LargeParts, TakeTheBufferOfTheOneBefore)
{
    for (const std::size_t size : {32 * KiB, 64 * KiB, MiB, 2 * MiB}) {
        SCOPED_TRACE(size);
        Allocations allocations(size);
        makeAndDestroy(std::string(size, 'a'));
        EXPECT_EQ(allocations.take(), 1);
        makeAndDestroy(std::string(size, 'b'));
        EXPECT_EQ(allocations.take(), 0);
    }
}

TEST(LargeParts, AreThoseBetweenThirtyTwoKibibytesAndFourMebibytes)
{
    for (const std::size_t size : {32 * KiB - 1, 4 * MiB}) {
        SCOPED_TRACE(size);
        Allocations allocations(size);
        makeAndDestroy(std::string(size, 'a'));
        makeAndDestroy(std::string(size, 'b'));
        EXPECT_EQ(allocations.take(), 2);
    }
}

TEST(LargeParts, LeaveThreeBuffersAtMost)
{
    makeTogether(10, MiB);
    Allocations allocations(MiB);
    makeTogether(10, MiB);
    EXPECT_EQ(allocations.take(), 7);
}

TEST(LargeParts, FreeBuffersOfAnotherSize)
{
    for (const std::size_t other : {64 * KiB - 1, 64 * KiB + 1}) {
        SCOPED_TRACE(other);
        makeTogether(3, other);
        Allocations allocations(64 * KiB);
        makeAndDestroy(std::string(64 * KiB, 'b'));
        EXPECT_EQ(allocations.take(), 1);
        Allocations others(other);
        makeTogether(3, other);
        EXPECT_EQ(others.take(), 3);
    }
}

TEST(LargeParts, LeaveNothingWhenTheySayMoreThanTheyHave)
{
    {
        const ostrel::DataPart part(std::malloc(100), 64 * KiB);
    }
    Allocations allocations(64 * KiB);
    makeAndDestroy(std::string(64 * KiB, 'a'));
    EXPECT_EQ(allocations.take(), 1);
}

TEST(LargeParts, GiveTheirBufferToWhatIsAssignedToThem)
{
    std::string bytes(64 * KiB, 'a');
    IpcMsg source(1, bytes.data(), static_cast<int>(bytes.size()), nullptr);
    IpcMsg target = source;
    Allocations allocations(64 * KiB);
    target = source;
    EXPECT_EQ(allocations.take(), 0);
    EXPECT_EQ(std::string(target.getMsgData(), bytes.size()), bytes);
    EXPECT_NE(target.getMsgData(), source.getMsgData());
}
