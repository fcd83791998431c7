#include "ostrel/Logger.h"
#include "support/SyslogSpy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

using ostrel::Logger;
using support::SyslogSpy;
using testing::ElementsAre;

TEST(Logger, WritesAnErrorAsOneLineOfItsOwnConnection)
{
    SyslogSpy log;
    Logger::error("it broke");
    EXPECT_THAT(log.takeCalls(), ElementsAre("openlog(\"Ostrel\", 1, 136)",
                                             "syslog(3, \"%s\") = it broke", "closelog()"));
}

TEST(Logger, WritesInformationAtItsOwnLevel)
{
    SyslogSpy log;
    Logger::info("all is well");
    EXPECT_THAT(log.takeCalls(), ElementsAre("openlog(\"Ostrel\", 1, 136)",
                                             "syslog(6, \"%s\") = all is well", "closelog()"));
}

TEST(Logger, StartsWithLocal1AndTheLibrarysName)
{
    EXPECT_EQ(Logger::facility, LOG_LOCAL1);
    EXPECT_EQ(Logger::app_name, "Ostrel");
}

TEST(Logger, TakesATextNeverAsAFormat)
{
    SyslogSpy log;
    Logger::error("100 %s %d %n");
    EXPECT_THAT(log.takeLines(), ElementsAre("100 %s %d %n"));
}

TEST(Logger, WritesAnEmptyLineForAnEmptyText)
{
    SyslogSpy log;
    Logger::error("");
    EXPECT_THAT(log.takeCalls(),
                ElementsAre("openlog(\"Ostrel\", 1, 136)", "syslog(3, \"%s\") = ", "closelog()"));
}

TEST(Logger, AppliesChangedSettingsFromTheNextLineOn)
{
    SyslogSpy log;
    Logger::error("one");
    Logger::facility = LOG_USER;
    Logger::app_name = "billing";
    Logger::error("two");
    Logger::info("three");
    EXPECT_THAT(log.takeCalls(),
                ElementsAre("openlog(\"Ostrel\", 1, 136)", "syslog(3, \"%s\") = one", "closelog()",
                            "openlog(\"billing\", 1, 8)", "syslog(3, \"%s\") = two", "closelog()",
                            "openlog(\"billing\", 1, 8)", "syslog(6, \"%s\") = three",
                            "closelog()"));
}
