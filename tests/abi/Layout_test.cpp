// Where the members lie. A program that was built against an earlier library has these numbers
// compiled in.

#include "ostrel/IpcMsg.h"
#include "ostrel/MsgDealerClientChannel.h"
#include "ostrel/MsgDealerClientPattern.h"
#include "ostrel/MsgDealerWorkerChannel.h"
#include "ostrel/MsgDealerWorkerHandle.h"
#include "ostrel/MsgDealerWorkerPattern.h"
#include "ostrel/MsgPublishChannel.h"
#include "ostrel/MsgPublishPattern.h"
#include "ostrel/MsgReplyPattern.h"
#include "ostrel/MsgReplyServerChannel.h"
#include "ostrel/MsgRequestClientChannel.h"
#include "ostrel/MsgRequestPattern.h"
#include "ostrel/MsgSubscribeChannel.h"
#include "ostrel/MsgSubscribePattern.h"
#include "ostrel/StringMsg.h"
#include "ostrel/ZMQWrapper.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

using namespace ostrel;

template <typename Member, typename Expected>
constexpr bool is = std::is_same<Member, Expected>::value;

TEST(Layout, OfADataPart)
{
    static_assert(is<decltype(DataPart::mData), char*>);
    static_assert(is<decltype(DataPart::mSize), int>);
    EXPECT_EQ(offsetof(DataPart, mData), 8U);
    EXPECT_EQ(offsetof(DataPart, mSize), 16U);
    EXPECT_EQ(sizeof(DataPart), 24U);
}

TEST(Layout, OfABinaryMessage)
{
    static_assert(is<decltype(IpcMsg::mMsgType), int>);
    static_assert(is<decltype(IpcMsg::mMsgSubType), int>);
    static_assert(is<decltype(IpcMsg::mParts), std::vector<DataPart>>);
    static_assert(is<decltype(IpcMsg::mHandle), MsgHandle*>);
    EXPECT_EQ(offsetof(IpcMsg, mMsgType), 8U);
    EXPECT_EQ(offsetof(IpcMsg, mMsgSubType), 12U);
    EXPECT_EQ(offsetof(IpcMsg, mParts), 16U);
    EXPECT_EQ(offsetof(IpcMsg, mHandle), 40U);
    EXPECT_EQ(sizeof(IpcMsg), 48U);
}

TEST(Layout, OfATextMessage)
{
    static_assert(!std::is_polymorphic<StringMsg>::value);
    static_assert(is<decltype(StringMsg::mParts), std::vector<std::string>>);
    static_assert(is<decltype(StringMsg::mHandle), MsgHandle*>);
    EXPECT_EQ(offsetof(StringMsg, mParts), 0U);
    EXPECT_EQ(offsetof(StringMsg, mHandle), 24U);
    EXPECT_EQ(sizeof(StringMsg), 32U);
}

TEST(Layout, OfAHandle)
{
    static_assert(std::is_abstract<MsgHandle>::value);
    static_assert(std::is_base_of<MsgHandle, MsgDealerWorkerHandle>::value);
    static_assert(is<decltype(MsgDealerWorkerHandle::mIdentity), std::string>);
    EXPECT_EQ(sizeof(MsgHandle), 8U);
    EXPECT_EQ(offsetof(MsgDealerWorkerHandle, mIdentity), 8U);
    EXPECT_EQ(sizeof(MsgDealerWorkerHandle), 40U);
}

TEST(Layout, OfTheTransport)
{
    static_assert(!std::is_polymorphic<ZMQWrapper>::value);
    static_assert(is<decltype(ZMQWrapper::mOptionMap), std::map<option_t, int>>);
    static_assert(is<decltype(ZMQWrapper::mContext), void*>);
    static_assert(is<decltype(ZMQWrapper::mIdentityEnabled), bool>);
    static_assert(is<decltype(ZMQWrapper::mIdentity), char[64]>);
    EXPECT_EQ(offsetof(ZMQWrapper, mOptionMap), 0U);
    EXPECT_EQ(offsetof(ZMQWrapper, mContext), 48U);
    EXPECT_EQ(offsetof(ZMQWrapper, mIdentityEnabled), 56U);
    EXPECT_EQ(offsetof(ZMQWrapper, mIdentity), 57U);
    EXPECT_EQ(sizeof(ZMQWrapper), 128U);
}

TEST(Layout, OfAPattern)
{
    static_assert(std::is_abstract<MsgPattern>::value);
    static_assert(is<decltype(MsgPattern::mChannelName), std::string>);
    static_assert(is<decltype(MsgPattern::mProperties), std::map<channel_prop_t, std::string>>);
    static_assert(is<decltype(MsgPattern::mpMsgQ), ZMQWrapper*>);
    static_assert(is<decltype(MsgPattern::mpSocket), void*>);
    EXPECT_EQ(offsetof(MsgPattern, mChannelName), 8U);
    EXPECT_EQ(offsetof(MsgPattern, mProperties), 40U);
    EXPECT_EQ(offsetof(MsgPattern, mpMsgQ), 88U);
    EXPECT_EQ(offsetof(MsgPattern, mpSocket), 96U);
    EXPECT_EQ(sizeof(MsgPattern), 104U);
}

TEST(Layout, OfTheRequestAndReplyPatternsIsTheirBases)
{
    static_assert(std::is_base_of<MsgPattern, MsgRequestPattern>::value);
    static_assert(std::is_base_of<MsgPattern, MsgReplyPattern>::value);
    EXPECT_EQ(sizeof(MsgRequestPattern), sizeof(MsgPattern));
    EXPECT_EQ(sizeof(MsgReplyPattern), sizeof(MsgPattern));
}

TEST(Layout, OfThePublishAndSubscribePatternsAddsTheFilters)
{
    static_assert(std::is_base_of<MsgPattern, MsgPublishPattern>::value);
    static_assert(std::is_base_of<MsgPattern, MsgSubscribePattern>::value);
    static_assert(is<decltype(MsgPublishPattern::mFilters), std::vector<std::string>>);
    static_assert(is<decltype(MsgSubscribePattern::mFilters), std::vector<std::string>>);
    EXPECT_EQ(offsetof(MsgPublishPattern, mFilters), 104U);
    EXPECT_EQ(offsetof(MsgSubscribePattern, mFilters), 104U);
    EXPECT_EQ(sizeof(MsgPublishPattern), 128U);
    EXPECT_EQ(sizeof(MsgSubscribePattern), 128U);
}

TEST(Layout, OfTheDealerPatternsIsTheirBases)
{
    static_assert(std::is_base_of<MsgPattern, MsgDealerClientPattern>::value);
    static_assert(std::is_base_of<MsgPattern, MsgDealerWorkerPattern>::value);
    static_assert(is<decltype(MsgDealerWorkerPattern::mProxyMutex), pthread_mutex_t>);
    static_assert(
        is<decltype(MsgDealerWorkerPattern::mProxyThreads), std::map<std::string, unsigned long>>);
    static_assert(is<decltype(&proxyThreadMain), void* (*)(void*)>);
    EXPECT_EQ(sizeof(MsgDealerClientPattern), sizeof(MsgPattern));
    EXPECT_EQ(sizeof(MsgDealerWorkerPattern), sizeof(MsgPattern));
}

TEST(Layout, OfAChannel)
{
    static_assert(std::is_abstract<MsgChannel>::value);
    static_assert(is<decltype(MsgChannel::mChannelName), std::string>);
    static_assert(is<decltype(MsgChannel::mChannelType), int>);
    static_assert(is<decltype(MsgChannel::pvthandle), MsgPattern*>);
    EXPECT_EQ(offsetof(MsgChannel, mChannelName), 8U);
    EXPECT_EQ(offsetof(MsgChannel, mChannelType), 40U);
    EXPECT_EQ(offsetof(MsgChannel, pvthandle), 48U);
    EXPECT_EQ(sizeof(MsgChannel), 56U);
}

TEST(Layout, OfTheRequestClientChannelIsItsBases)
{
    static_assert(std::is_base_of<MsgChannel, MsgRequestClientChannel>::value);
    EXPECT_EQ(sizeof(MsgRequestClientChannel), sizeof(MsgChannel));
}

TEST(Layout, OfTheReplyServerChannel)
{
    using CallBacks = std::map<int, void (*)(const char*, int, MsgReplyServerChannel*)>;
    static_assert(std::is_base_of<MsgChannel, MsgReplyServerChannel>::value);
    static_assert(is<decltype(MsgReplyServerChannel::mCallbacks), CallBacks>);
    static_assert(sizeof(MsgReplyServerChannel::mRunning) == sizeof(bool));
    EXPECT_EQ(offsetof(MsgReplyServerChannel, mCallbacks), 56U);
    EXPECT_EQ(offsetof(MsgReplyServerChannel, mRunning), 104U);
    EXPECT_EQ(sizeof(MsgReplyServerChannel), 112U);
}

TEST(Layout, OfThePublishAndSubscribeChannels)
{
    using CallBacks = std::map<int, void (*)(const char*, int, MsgSubscribeChannel*)>;
    static_assert(std::is_base_of<MsgChannel, MsgPublishChannel>::value);
    static_assert(std::is_base_of<MsgChannel, MsgSubscribeChannel>::value);
    static_assert(is<decltype(MsgSubscribeChannel::mCallbacks), CallBacks>);
    static_assert(sizeof(MsgSubscribeChannel::mRunning) == sizeof(bool));
    EXPECT_EQ(sizeof(MsgPublishChannel), sizeof(MsgChannel));
    EXPECT_EQ(offsetof(MsgSubscribeChannel, mCallbacks), 56U);
    EXPECT_EQ(offsetof(MsgSubscribeChannel, mRunning), 104U);
    EXPECT_EQ(sizeof(MsgSubscribeChannel), 112U);
}

TEST(Layout, OfTheDealerChannels)
{
    using CallBacks =
        std::map<int, void (*)(int, const char*, int, MsgDealerWorkerChannel*, MsgHandle*)>;
    static_assert(std::is_base_of<MsgChannel, MsgDealerClientChannel>::value);
    static_assert(std::is_base_of<MsgChannel, MsgDealerWorkerChannel>::value);
    static_assert(is<decltype(MsgDealerWorkerChannel::mCallbacks), CallBacks>);
    static_assert(sizeof(MsgDealerWorkerChannel::mRunning) == sizeof(bool));
    EXPECT_EQ(sizeof(MsgDealerClientChannel), sizeof(MsgChannel));
    EXPECT_EQ(offsetof(MsgDealerWorkerChannel, mCallbacks), 56U);
    EXPECT_EQ(offsetof(MsgDealerWorkerChannel, mRunning), 104U);
    EXPECT_EQ(sizeof(MsgDealerWorkerChannel), 112U);
}

TEST(Layout, OfTheEnumerations)
{
    static_assert(is<std::underlying_type<option_t>::type, int>);
    static_assert(is<std::underlying_type<channel_prop_t>::type, int>);
    EXPECT_EQ(OPT_SUBSCRIBE, 0);
    EXPECT_EQ(OPT_UNSUBSCRIBE, 1);
    EXPECT_EQ(OPT_IDENTITY, 2);
    EXPECT_EQ(PROP_SERVER_ENDPOINT, 0);
    EXPECT_EQ(PROP_PUBLISHER_ENDPOINT, 1);
    EXPECT_EQ(PROP_SUBSCRIBE, 2);
    EXPECT_EQ(PROP_UNSUBSCRIBE, 3);
    EXPECT_EQ(PROP_DEALER_SERVER_ENDPOINT, 4);
    EXPECT_EQ(PROP_DEALER_WORKER_ENDPOINT, 5);
}
