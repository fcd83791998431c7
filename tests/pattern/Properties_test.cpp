// Which pattern has which property, one test per cell.

#include "ostrel/MsgReplyPattern.h"
#include "ostrel/MsgRequestPattern.h"
#include "pattern/Opened.h"
#include "support/AllocFault.h"
#include "support/Endpoint.h"
#include "support/Stdout.h"
#include "support/SyslogSpy.h"
#include "support/Thrown.h"
#include "support/ZmqSpy.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

using ostrel::channel_prop_t;
using ostrel::MsgPattern;
using support::AllocFault;
using support::IpcEndpoint;
using support::Opened;
using support::Stdout;
using support::SyslogSpy;
using support::thrownBy;
using support::ZmqSpy;
using testing::Combine;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::ValuesIn;

namespace {

struct Access {
    bool set;
    bool get;
};

/// One pattern class; `lazy` unless it connects as soon as its endpoint is set.
struct Column {
    const char* name;
    std::unique_ptr<MsgPattern> (*make)();
    bool lazy;
    std::map<channel_prop_t, Access> accepted; // What is missing is refused.
};

struct Row {
    const char* name;
    channel_prop_t prop;
    bool isEndpoint;
};

std::ostream& operator<<(std::ostream& stream, const Column& column)
{
    return stream << column.name;
}

std::ostream& operator<<(std::ostream& stream, const Row& row)
{
    return stream << row.name;
}

template <typename Pattern> std::unique_ptr<MsgPattern> makeOpened()
{
    return std::make_unique<Opened<Pattern>>("name");
}

const std::vector<Column> columns = {
    {"MsgRequestPattern",
     makeOpened<ostrel::MsgRequestPattern>,
     true,
     {{ostrel::PROP_SERVER_ENDPOINT, {true, true}}}},
    {"MsgReplyPattern",
     makeOpened<ostrel::MsgReplyPattern>,
     true,
     {{ostrel::PROP_SERVER_ENDPOINT, {true, true}}}},
};

const std::vector<Row> rows = {
    {"ServerEndpoint", ostrel::PROP_SERVER_ENDPOINT, true},
    {"PublisherEndpoint", ostrel::PROP_PUBLISHER_ENDPOINT, true},
    {"Subscribe", ostrel::PROP_SUBSCRIBE, false},
    {"Unsubscribe", ostrel::PROP_UNSUBSCRIBE, false},
    {"DealerServerEndpoint", ostrel::PROP_DEALER_SERVER_ENDPOINT, true},
    {"DealerWorkerEndpoint", ostrel::PROP_DEALER_WORKER_ENDPOINT, true},
    {"BelowTheFirst", static_cast<channel_prop_t>(-1), true},
    {"AboveTheLast", static_cast<channel_prop_t>(6), true},
};

class Property : public testing::TestWithParam<std::tuple<Column, Row>> {
protected:
    Property() : mColumn(std::get<0>(GetParam())), mRow(std::get<1>(GetParam())) {}

    Access access() const
    {
        const auto entry = mColumn.accepted.find(mRow.prop);
        return entry == mColumn.accepted.end() ? Access{false, false} : entry->second;
    }

    std::string line(const std::string& operation, const std::string& text) const
    {
        return std::string("Error : Ostrel::") + mColumn.name + "::" + operation + "() : " + text;
    }

    const Column mColumn;
    const Row mRow;
    const std::unique_ptr<MsgPattern> mPattern = mColumn.make();
    const IpcEndpoint mEndpoint;
    Stdout mOut;
    SyslogSpy mLog;
};

/// Only patterns that connect at the first transfer close all of their properties then.
class LazyProperty : public Property {};

std::vector<Column> lazyColumns()
{
    std::vector<Column> lazy;
    std::copy_if(columns.begin(), columns.end(), std::back_inserter(lazy),
                 [](const Column& column) { return column.lazy; });
    return lazy;
}

std::string cellName(const testing::TestParamInfo<std::tuple<Column, Row>>& info)
{
    return std::string(std::get<0>(info.param).name) + std::get<1>(info.param).name;
}

} // namespace

TEST_P(Property, IsSetOrRefusedWithTheValueInTheText)
{
    // The value tells the refusals apart, the property does not: with and without an asterisk.
    for (const std::string& value : {mEndpoint.text(), std::string("tcp://*:1"), std::string()}) {
        SCOPED_TRACE(value);
        const auto pattern = mColumn.make();
        const bool valid = !mRow.isEndpoint || pattern->isValidEndpt(value);
        if (access().set && valid) {
            if (mColumn.lazy || !value.empty()) { // Nothing can be connected to the empty text.
                EXPECT_EQ(pattern->setProperty(mRow.prop, value), 0);
                EXPECT_THAT(mLog.takeCalls(), IsEmpty());
            }
            continue;
        }
        const std::string text =
            (access().set ? "Invalid Endpoint : " : "Invalid property - cannot be set : ") + value;
        EXPECT_EQ(thrownBy([&] { pattern->setProperty(mRow.prop, value); }),
                  "std::logic_error: " + text);
        EXPECT_THAT(mLog.takeLines(), ElementsAre(line("setProperty", text)));
    }
    EXPECT_EQ(mOut.take(), "");
}

TEST_P(Property, ReadsAsTheEmptyTextOrCannotBeRead)
{
    if (access().get) {
        EXPECT_EQ(mPattern->getProperty(mRow.prop), "");
        EXPECT_THAT(mLog.takeCalls(), IsEmpty());
    } else {
        EXPECT_EQ(thrownBy([&] { mPattern->getProperty(mRow.prop); }),
                  "std::logic_error: Invalid property queried");
        EXPECT_THAT(mLog.takeLines(), ElementsAre(line("getProperty", "Invalid property queried")));
    }
    EXPECT_EQ(mOut.take(), "");
}

TEST_P(Property, ReadsAsTheLastValueThatWasAccepted)
{
    const std::string value = mEndpoint.text();
    EXPECT_EQ(thrownBy([&] { mPattern->setProperty(mRow.prop, value); }) == "nothing",
              access().set);
    EXPECT_EQ(thrownBy([&] { mPattern->setProperty(mRow.prop, "ipc://*"); }) == "nothing",
              access().set && !mRow.isEndpoint);
    std::string read;
    EXPECT_EQ(thrownBy([&] { read = mPattern->getProperty(mRow.prop); }) == "nothing",
              access().get);
    EXPECT_EQ(read, access().set && access().get ? value : "");
}

TEST_P(LazyProperty, IsRefusedSilentlyOnceTheSocketExistsWhateverItIs)
{
    for (const auto& entry : mColumn.accepted) {
        ASSERT_EQ(mPattern->setProperty(entry.first, mEndpoint.text()), 0);
    }
    mPattern->connectEndpoint();
    for (const std::string& value : {mEndpoint.text() + "x", std::string("tcp://*:1")}) {
        EXPECT_EQ(mPattern->setProperty(mRow.prop, value), -1) << value;
    }
    EXPECT_THAT(mLog.takeCalls(), IsEmpty());
    if (access().get) {
        EXPECT_EQ(mPattern->getProperty(mRow.prop), mEndpoint.text());
    } else {
        EXPECT_EQ(thrownBy([&] { mPattern->getProperty(mRow.prop); }),
                  "std::logic_error: Invalid property queried");
    }
    EXPECT_EQ(mOut.take(), "");
}

INSTANTIATE_TEST_SUITE_P(Table, Property, Combine(ValuesIn(columns), ValuesIn(rows)), cellName);
INSTANTIATE_TEST_SUITE_P(Table, LazyProperty, Combine(ValuesIn(lazyColumns()), ValuesIn(rows)),
                         cellName);

namespace {

/// The property that request and reply have, seen from inside.
template <typename Pattern> class EndpointProperty : public testing::Test {
protected:
    Opened<Pattern> mPattern{"name"};
    SyslogSpy mLog;
    ZmqSpy mZmq;
};

using Lazy = testing::Types<ostrel::MsgRequestPattern, ostrel::MsgReplyPattern>;

class LazyName {
public:
    template <typename Pattern> static std::string GetName(int /*index*/)
    {
        return std::is_same<Pattern, ostrel::MsgRequestPattern>::value ? "Request" : "Reply";
    }
};

} // namespace

TYPED_TEST_SUITE(EndpointProperty, Lazy, LazyName);

TYPED_TEST(EndpointProperty, MakesAnEntryWhenItIsRead)
{
    EXPECT_THAT(this->mPattern.mProperties, IsEmpty());
    EXPECT_EQ(this->mPattern.getProperty(ostrel::PROP_SERVER_ENDPOINT), "");
    EXPECT_THAT(this->mPattern.mProperties, ElementsAre(Pair(ostrel::PROP_SERVER_ENDPOINT, "")));
}

TYPED_TEST(EndpointProperty, MakesNoEntryWhenTheValueOrThePropertyIsRefused)
{
    EXPECT_ANY_THROW(this->mPattern.setProperty(ostrel::PROP_SERVER_ENDPOINT, "*"));
    EXPECT_ANY_THROW(this->mPattern.setProperty(ostrel::PROP_SUBSCRIBE, "topic"));
    EXPECT_ANY_THROW(this->mPattern.getProperty(ostrel::PROP_SUBSCRIBE));
    EXPECT_THAT(this->mPattern.mProperties, IsEmpty());
}

TYPED_TEST(EndpointProperty, IsReplacedWithoutAnyCallToZeroMQ)
{
    EXPECT_EQ(this->mPattern.setProperty(ostrel::PROP_SERVER_ENDPOINT, "ipc://a"), 0);
    EXPECT_EQ(this->mPattern.setProperty(ostrel::PROP_SERVER_ENDPOINT, "ipc://b"), 0);
    EXPECT_EQ(this->mPattern.getProperty(ostrel::PROP_SERVER_ENDPOINT), "ipc://b");
    EXPECT_THAT(this->mPattern.mProperties,
                ElementsAre(Pair(ostrel::PROP_SERVER_ENDPOINT, "ipc://b")));
    EXPECT_EQ(this->mPattern.mpSocket, nullptr);
    EXPECT_THAT(this->mZmq.takeCalls(), IsEmpty());
}

TYPED_TEST(EndpointProperty, IsACopyInBothDirections)
{
    std::string value = "ipc://one";
    this->mPattern.setProperty(ostrel::PROP_SERVER_ENDPOINT, value);
    value = "ipc://two";
    std::string read = this->mPattern.getProperty(ostrel::PROP_SERVER_ENDPOINT);
    EXPECT_EQ(read, "ipc://one");
    read = "ipc://three";
    EXPECT_EQ(this->mPattern.getProperty(ostrel::PROP_SERVER_ENDPOINT), "ipc://one");
}

TYPED_TEST(EndpointProperty, KeepsEveryByteOfAnyLength)
{
    const std::string value = std::string("ipc://\0\xff ", 9) + std::string(10000, 'e');
    EXPECT_EQ(this->mPattern.setProperty(ostrel::PROP_SERVER_ENDPOINT, value), 0);
    EXPECT_EQ(this->mPattern.getProperty(ostrel::PROP_SERVER_ENDPOINT), value);
}

TYPED_TEST(EndpointProperty, KeepsItsValueWhenThereIsNoMemory)
{
    const std::string prefix = std::is_same<TypeParam, ostrel::MsgRequestPattern>::value
                                   ? "Error : Ostrel::MsgRequestPattern::"
                                   : "Error : Ostrel::MsgReplyPattern::";
    const std::string value(100, 'n');
    for (const char* before : {"", "ipc://before"}) {
        Opened<TypeParam> pattern("name");
        if (*before != '\0') {
            pattern.setProperty(ostrel::PROP_SERVER_ENDPOINT, before);
        }
        bool happened = true;
        for (int nth = 1; happened; ++nth) {
            ASSERT_LT(nth, 100);
            SCOPED_TRACE(nth);
            std::string thrown;
            {
                const AllocFault fault(nth);
                thrown =
                    thrownBy([&] { pattern.setProperty(ostrel::PROP_SERVER_ENDPOINT, value); });
                happened = fault.happened();
            }
            if (happened) {
                EXPECT_EQ(thrown, "std::bad_alloc: std::bad_alloc");
                EXPECT_THAT(this->mLog.takeLines(),
                            ElementsAre(prefix + "setProperty() : std::bad_alloc"));
                EXPECT_EQ(pattern.getProperty(ostrel::PROP_SERVER_ENDPOINT), before);
            }
        }
        EXPECT_EQ(pattern.getProperty(ostrel::PROP_SERVER_ENDPOINT), value);
        EXPECT_THAT(this->mLog.takeCalls(), IsEmpty());

        std::string thrown;
        {
            const AllocFault fault(1);
            thrown = thrownBy([&] { pattern.getProperty(ostrel::PROP_SERVER_ENDPOINT); });
        }
        EXPECT_EQ(thrown, "std::bad_alloc: std::bad_alloc");
        EXPECT_THAT(this->mLog.takeLines(), ElementsAre(prefix + "getProperty() : std::bad_alloc"));
    }
}
