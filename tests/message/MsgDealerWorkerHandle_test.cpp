#include "message/Failing.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgDealerWorkerHandle.h"
#include "ostrel/StringMsg.h"
#include "support/SyslogSpy.h"

#include <climits>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <type_traits>

using ostrel::IpcMsg;
using ostrel::MsgDealerWorkerHandle;
using ostrel::MsgHandle;
using ostrel::StringMsg;
using support::failEachAllocation;
using support::SyslogSpy;
using support::thrownBy;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Too long to be kept without an allocation.
const std::string longIdentity = "IDENTITY_0123456789abcdef0123456789abcdef";
const std::string longerIdentity = longIdentity + longIdentity;

MsgDealerWorkerHandle handleOf(const std::string& identity)
{
    MsgDealerWorkerHandle handle;
    handle.setIdentity(identity);
    return handle;
}

std::string identityOf(const MsgHandle* handle)
{
    const auto* worker = dynamic_cast<const MsgDealerWorkerHandle*>(handle);
    return worker == nullptr ? "no handle" : worker->getIdentity();
}

} // namespace

TEST(MsgHandle, IsAnInterfaceThatIsDeletedThroughItself)
{
    EXPECT_TRUE(std::is_abstract<MsgHandle>::value);
    EXPECT_TRUE(std::has_virtual_destructor<MsgHandle>::value);
    EXPECT_EQ(sizeof(MsgHandle), sizeof(void*));
    EXPECT_TRUE((std::is_convertible<MsgDealerWorkerHandle*, MsgHandle*>::value));
}

TEST(MsgDealerWorkerHandle, StartsWithTheEmptyIdentity)
{
    const MsgDealerWorkerHandle handle;
    EXPECT_EQ(handle.getIdentity(), "");
    const std::unique_ptr<MsgHandle> clone(handle.clone());
    EXPECT_EQ(identityOf(clone.get()), "");
}

TEST(MsgDealerWorkerHandle, KeepsEveryByteOfAString)
{
    const std::string identities[] = {
        std::string("\0ab", 3), std::string("a\0\0", 3), std::string(1, '\0'), "", "\xff\x80",
        longIdentity,           longerIdentity};
    MsgDealerWorkerHandle handle;
    for (const std::string& identity : identities) {
        SCOPED_TRACE(identity);
        handle.setIdentity(identity);
        EXPECT_EQ(handle.getIdentity(), identity);
    }
}

TEST(MsgDealerWorkerHandle, KeepsACopy)
{
    std::string identity = longIdentity;
    MsgDealerWorkerHandle handle;
    handle.setIdentity(identity);
    identity[0] = 'z';
    std::string got = handle.getIdentity();
    EXPECT_EQ(got, longIdentity);
    got[0] = 'z';
    EXPECT_EQ(handle.getIdentity(), longIdentity);
}

TEST(MsgDealerWorkerHandle, KeepsACTextUpToItsFirstZeroByteWhateverTheLength)
{
    struct Case {
        const char* text;
        int length;
        const char* kept;
    };
    const Case cases[] = {{"elevenchars", 4, "elevenchars"},
                          {"elevenchars", 11, "elevenchars"},
                          {"elevenchars", 0, "elevenchars"},
                          {"elevenchars", -1, "elevenchars"},
                          {"elevenchars", INT_MAX, "elevenchars"},
                          {"", 10, ""},
                          {"", 0, ""},
                          {"ab\0cd", 5, "ab"},
                          {"ab\0cd", 1, "ab"},
                          {"\0ab", 3, ""}};
    for (const Case& is : cases) {
        SCOPED_TRACE(std::string(is.text) + ", " + std::to_string(is.length));
        MsgDealerWorkerHandle handle = handleOf("before");
        handle.setIdentity(is.text, is.length);
        EXPECT_EQ(handle.getIdentity(), is.kept);
    }
}

TEST(MsgDealerWorkerHandle, RefusesANullTextAndKeepsItsIdentity)
{
    SyslogSpy log;
    for (const int length : {0, 4, -1}) {
        SCOPED_TRACE(length);
        MsgDealerWorkerHandle handle = handleOf("before");
        EXPECT_EQ(thrownBy([&] { handle.setIdentity(nullptr, length); }),
                  "std::logic_error: basic_string::_M_construct null not valid");
        EXPECT_EQ(handle.getIdentity(), "before");
    }
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST(MsgDealerWorkerHandle, ClonesItsIdentityIntoAHandleOfItsOwnKind)
{
    const std::string identity("\0ab", 3);
    MsgDealerWorkerHandle handle = handleOf(identity);
    MsgHandle* clone = handle.clone();
    EXPECT_NE(clone, &handle);
    EXPECT_EQ(identityOf(clone), identity);
    handle.setIdentity("after");
    EXPECT_EQ(identityOf(clone), identity);
    delete clone;
    EXPECT_EQ(handle.getIdentity(), "after");
}

TEST(MsgDealerWorkerHandle, ChangesNoMessageThatHasClonedIt)
{
    MsgDealerWorkerHandle handle = handleOf(longIdentity);
    IpcMsg binary;
    StringMsg text;
    binary.setHandle(&handle);
    text.setHandle(&handle);
    handle.setIdentity("after");
    EXPECT_EQ(identityOf(binary.getHandle()), longIdentity);
    EXPECT_EQ(identityOf(text.getHandle()), longIdentity);
}

TEST(MsgDealerWorkerHandle, LogsThatACloneFoundNoMemory)
{
    EXPECT_THAT(failEachAllocation(
                    [] { return handleOf(longIdentity); },
                    [](const MsgDealerWorkerHandle& handle) { delete handle.clone(); },
                    [](const MsgDealerWorkerHandle& handle) { return handle.getIdentity(); }),
                ElementsAre(longIdentity +
                            "; Error : Ostrel::MsgDealerWorkerHandle::clone() : std::bad_alloc"));
}

TEST(MsgDealerWorkerHandle, PassesAnyOtherFailedAllocationOnAndKeepsItsIdentity)
{
    const auto make = [] { return handleOf(longIdentity); };
    const auto describe = [](const MsgDealerWorkerHandle& handle) { return handle.getIdentity(); };
    EXPECT_THAT(failEachAllocation(
                    make, [](MsgDealerWorkerHandle& handle) { handle.setIdentity(longerIdentity); },
                    describe),
                ElementsAre(longIdentity));
    EXPECT_THAT(
        failEachAllocation(
            make,
            [](MsgDealerWorkerHandle& handle) { handle.setIdentity(longerIdentity.c_str(), 0); },
            describe),
        ElementsAre(longIdentity));
    EXPECT_THAT(
        failEachAllocation(
            make, [](const MsgDealerWorkerHandle& handle) { handle.getIdentity(); }, describe),
        ElementsAre(longIdentity));
}
