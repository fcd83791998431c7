#include "ostrel/Logger.h"

#include "log/KeptSettings.h"
#include "support/SyslogSpy.h"

#include <chrono>
#include <condition_variable>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <syslog.h>
#include <thread>
#include <type_traits>
#include <vector>

using ostrel::Logger;
using support::KeptSettings;
using support::SyslogSpy;
using testing::ElementsAre;

namespace {

// Read before main(): what an application's own static objects find.
const std::string nameAtStart = Logger::app_name;
const int facilityAtStart = Logger::facility;

/// Holds the thread that writes the first line until another thread has written its own.
class Meeting {
public:
    static void duringLine()
    {
        std::unique_lock<std::mutex> lock(mutex);
        ++inside;
        changed.notify_all();
        if (inside == 1) {
            met = changed.wait_for(lock, limit, [] { return inside == 2; });
        }
    }

    static bool waitForTheFirst()
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, limit, [] { return inside == 1; });
    }

    inline static bool met = false;

private:
    static constexpr std::chrono::seconds limit{20};
    inline static std::mutex mutex;
    inline static std::condition_variable changed;
    inline static int inside = 0;
};

} // namespace

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
    const KeptSettings kept;
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

TEST(Logger, HasItsSettingsBeforeTheApplicationStarts)
{
    EXPECT_EQ(nameAtStart, "Ostrel");
    EXPECT_EQ(facilityAtStart, LOG_LOCAL1);
}

TEST(Logger, IsNeverAnObject)
{
    EXPECT_FALSE(std::is_default_constructible<Logger>::value);
}

TEST(Logger, TakesItsTextByValue)
{
    EXPECT_TRUE((std::is_same<decltype(&Logger::error), void (*)(std::string)>::value));
    EXPECT_TRUE((std::is_same<decltype(&Logger::info), void (*)(std::string)>::value));
}

TEST(Logger, TakesATextOfInformationNeverAsAFormat)
{
    SyslogSpy log;
    Logger::info("100 %s %d %n");
    Logger::info("");
    EXPECT_THAT(log.takeLines(), ElementsAre("100 %s %d %n", ""));
}

TEST(Logger, WritesALongTextWhole)
{
    SyslogSpy log;
    const std::string text(100000, 'x');
    Logger::error(text);
    EXPECT_THAT(log.takeLines(), ElementsAre(text));
}

TEST(Logger, WritesATextAndANameUpToTheirFirstZeroByte)
{
    const KeptSettings kept;
    SyslogSpy log;
    Logger::app_name = std::string("bill\0ing", 8);
    Logger::error(std::string("it\0broke", 8));
    EXPECT_THAT(log.takeCalls(),
                ElementsAre("openlog(\"bill\", 1, 136)", "syslog(3, \"%s\") = it", "closelog()"));
}

TEST(Logger, ClosesAnApplicationsOwnLogAndDoesNotOpenItAgain)
{
    SyslogSpy log;
    openlog("billing", LOG_CONS, LOG_USER);
    Logger::error("it broke");
    syslog(LOG_INFO, "%s", "ours");
    EXPECT_THAT(log.takeCalls(),
                ElementsAre("openlog(\"billing\", 2, 8)", "openlog(\"Ostrel\", 1, 136)",
                            "syslog(3, \"%s\") = it broke", "closelog()",
                            "syslog(6, \"%s\") = ours"));
}

TEST(Logger, LetsAThreadWriteWhileAnotherIsWriting)
{
    SyslogSpy log;
    log.duringLine = &Meeting::duringLine;
    std::thread first([] { Logger::error("first"); });
    const bool started = Meeting::waitForTheFirst();
    std::thread second([] { Logger::info("second"); });
    first.join();
    second.join();
    EXPECT_TRUE(started);
    EXPECT_TRUE(Meeting::met);
    const std::vector<std::string> calls = log.takeCalls();
    EXPECT_THAT(calls, ElementsAre("openlog(\"Ostrel\", 1, 136)", "syslog(3, \"%s\") = first",
                                   "openlog(\"Ostrel\", 1, 136)", "syslog(6, \"%s\") = second",
                                   "closelog()", "closelog()"));
}

TEST(Logger, WritesWholeLinesFromManyThreads)
{
    SyslogSpy log;
    const int threads = 4;
    const int lines = 200;
    std::vector<std::thread> writers;
    std::vector<std::string> expected;
    for (int thread = 0; thread < threads; ++thread) {
        // Longer than anything that is written at once by luck.
        const std::string text(1000, static_cast<char>('a' + thread));
        for (int line = 0; line < lines; ++line) {
            expected.push_back(text + std::to_string(line));
        }
        writers.emplace_back([text] {
            for (int line = 0; line < lines; ++line) {
                Logger::error(text + std::to_string(line));
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    EXPECT_THAT(log.takeLines(), testing::UnorderedElementsAreArray(expected));
}
