// How an operation reports that it failed.

#include "log/KeptSettings.h"
#include "message/Failing.h"
#include "message/Messages.h"
#include "ostrel/Logger.h"
#include "support/AllocFault.h"
#include "support/SyslogSpy.h"

#include <exception>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <syslog.h>

using ostrel::IpcMsg;
using ostrel::Logger;
using ostrel::StringMsg;
using support::AllocFault;
using support::KeptSettings;
using support::messageOf;
using support::SyslogSpy;
using support::testHandle;
using support::thrownBy;
using testing::ElementsAre;

namespace {

/// An operation that fails, and what it then throws and writes.
struct Failing {
    std::string prefix;
    std::string type;
    std::string text;
    std::function<void()> operation;
};

/// Thrown without an allocation of its own.
class Refused : public std::exception {
public:
    const char* what() const noexcept override
    {
        return "refused";
    }
};

} // namespace

TEST(Failure, IsWrittenWithTheSettingsOfThatMoment)
{
    const KeptSettings kept;
    SyslogSpy log;
    StringMsg msg;
    Logger::facility = LOG_USER;
    EXPECT_EQ(thrownBy([&] { msg.removePart(0); }), "std::logic_error: Invalid part number");
    Logger::app_name = "billing";
    EXPECT_EQ(thrownBy([&] { msg.removePart(0); }), "std::logic_error: Invalid part number");
    const std::string line =
        "syslog(3, \"%s\") = Error : Ostrel::StringMsg::removePart() : Invalid part number";
    EXPECT_THAT(log.takeCalls(), ElementsAre("openlog(\"Ostrel\", 1, 8)", line, "closelog()",
                                             "openlog(\"billing\", 1, 8)", line, "closelog()"));
}

TEST(Failure, IsWrittenBeforeItReachesTheCaller)
{
    SyslogSpy log;
    StringMsg msg;
    std::vector<std::string> linesAtCatch;
    try {
        msg.removePart(0);
    } catch (const std::logic_error&) {
        linesAtCatch = log.takeLines();
    }
    EXPECT_THAT(linesAtCatch,
                ElementsAre("Error : Ostrel::StringMsg::removePart() : Invalid part number"));
}

TEST(Failure, ArrivesEvenWhenThereIsNoMemoryForItsLine)
{
    SyslogSpy log;
    StringMsg text;
    IpcMsg binary;
    const StringMsg source = messageOf<StringMsg>({}, "sender");
    testHandle(source)->onClone = [] { throw Refused(); };
    const Failing cases[] = {
        {"Error : Ostrel::StringMsg::operator []() : ", "std::logic_error",
         "StringMsg part index out of bounds", [&] { text[0]; }},
        {"Error : ostrel::StringMsg::operator []() : ", "std::logic_error",
         "StringMsg part index out of bounds", [&] { binary[0]; }},
        {"Error : Ostrel::StringMsg::insertPart() : ", "std::logic_error", "Invalid part number",
         [&] { text.insertPart(1, ""); }},
        {"Error : Ostrel::StringMsg::Opearator=() : ", "(anonymous namespace)::Refused", "refused",
         [&] { text = source; }},
    };
    for (const Failing& is : cases) {
        SCOPED_TRACE(is.prefix + is.text);
        const std::string failure = is.type + ": " + is.text;
        int givenUp = 0;
        bool happened = true;
        for (int nth = 1; happened; ++nth) {
            SCOPED_TRACE("allocation " + std::to_string(nth));
            std::string thrown;
            {
                const AllocFault fault(nth);
                thrown = thrownBy(is.operation);
                happened = fault.happened();
            }
            const std::vector<std::string> calls = log.takeCalls();
            if (happened && calls.empty()) {
                ++givenUp;
                EXPECT_EQ(thrown, failure);
                continue;
            }
            // No memory for the failure itself makes that the failure.
            const bool replaced = happened && thrown == support::outOfMemory;
            EXPECT_EQ(thrown, replaced ? support::outOfMemory : failure);
            EXPECT_THAT(calls, ElementsAre("openlog(\"Ostrel\", 1, 136)",
                                           "syslog(3, \"%s\") = " + is.prefix +
                                               (replaced ? "std::bad_alloc" : is.text),
                                           "closelog()"));
        }
        EXPECT_GE(givenUp, 1);
    }
}
