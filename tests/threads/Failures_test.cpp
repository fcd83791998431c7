// Failures on several threads at the same time: each thread gets its own, and what is written about
// them is mixed by lines, never within one.

#include "ostrel/Logger.h"
#include "support/Endpoint.h"
#include "support/SyslogSpy.h"
#include "support/Thrown.h"
#include "threads/Quiet.h"
#include "threads/Talk.h"
#include "threads/Together.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <vector>

using namespace threads;
using ostrel::Logger;
using support::IpcEndpoint;
using support::SyslogSpy;
using support::thrownBy;

namespace {

constexpr int failing = 6;
constexpr int rounds = 300;

/// A text that is no endpoint, with numbers in it that say whose it is; long, so that it takes a
/// while to be written.
std::string badText(int thread, int round)
{
    return "nowhere:" + std::to_string(thread) + ':' + std::to_string(round) + ':' +
           std::string(200, static_cast<char>('a' + thread));
}

struct Failing {
    const char* type;
    const char* text;
    std::vector<std::string> prefixes; ///< Of the lines, innermost first.
    void (*run)(const std::string& endpoint);
};

const Failing failures[] = {
    {"std::runtime_error: ",
     "Failed to bind ZeroMQ Socket : Invalid argument : End Point : ",
     {"Error : Ostrel::ZMQWrapper::registerSender() : ",
      "Error : Ostrel::MsgPublishPattern::setProperty() : "},
     [](const std::string& endpoint) {
         ostrel::MsgPublishChannel("name").setPublisherEndPoint(endpoint);
     }},
    {"std::runtime_error: ",
     "Failed to connect ZeroMQ Socket : Invalid argument : End Point : ",
     {"Error : Ostrel::ZMQWrapper::registerReceiver() : "},
     [](const std::string& endpoint) {
         ostrel::MsgRequestClientChannel channel("name");
         channel.setServerEndPoint(endpoint);
         channel.ipcSend(7, nullptr, 0);
     }},
    {"std::logic_error: ",
     "Invalid property - cannot be set : ",
     {"Error : Ostrel::MsgRequestPattern::setProperty() : "},
     [](const std::string& text) {
         ostrel::MsgRequestClientChannel("name").setProperty(ostrel::PROP_SUBSCRIBE, text);
     }},
};

const Failing& failureOf(int thread)
{
    return failures[static_cast<std::size_t>(thread) % std::size(failures)];
}

} // namespace

TEST(Failures, OnManyThreadsAreToldApart)
{
    const Quiet quiet;
    SyslogSpy log;
    Together all;
    std::vector<std::vector<std::string>> inOrder; // What each thread has written.
    for (int thread = 0; thread < failing; ++thread) {
        const Failing& mine = failureOf(thread);
        inOrder.emplace_back();
        for (int round = 0; round < rounds; ++round) {
            for (const std::string& prefix : mine.prefixes) {
                inOrder.back().push_back(prefix + mine.text + badText(thread, round));
            }
        }
        all.add([thread, &mine] {
            for (int round = 0; round < rounds; ++round) {
                const std::string text = badText(thread, round);
                EXPECT_EQ(thrownBy([&] { mine.run(text); }), mine.type + (mine.text + text));
            }
        });
    }
    // Others have nothing to complain about, and an application writes lines of its own.
    const IpcEndpoint endpoint;
    std::atomic<int> waiting(1);
    all.add([&] { serve(endpoint.text(), Kind::binary, rounds, waiting); });
    all.add([&] {
        ask(endpoint.text(), Kind::binary, 1, rounds);
        --waiting;
    });
    inOrder.emplace_back();
    for (int round = 0; round < rounds; ++round) {
        inOrder.back().push_back("note " + std::to_string(round));
    }
    all.add([notes = inOrder.back()] {
        for (const std::string& note : notes) {
            Logger::info(note);
        }
    });
    all.run();

    // Every line of every thread, whole and once, and those of a thread in their order.
    const std::vector<std::string> lines = log.takeLines();
    std::size_t expected = 0;
    for (const std::vector<std::string>& ofOne : inOrder) {
        expected += ofOne.size();
        auto from = lines.begin();
        for (const std::string& line : ofOne) {
            from = std::find(from, lines.end(), line);
            ASSERT_NE(from, lines.end()) << line;
            ++from;
        }
    }
    EXPECT_EQ(lines.size(), expected);
}

TEST(TraceLines, OfManyThreadsAreMixedByLinesOnly)
{
    constexpr int threads = 4;
    constexpr int looks = 200;
    Quiet quiet;
    Together all;
    for (int i = 0; i < threads; ++i) {
        all.add([] {
            ostrel::MsgReplyServerChannel server("server");
            const IpcEndpoint endpoint;
            server.setServerEndPoint(endpoint.text());
            for (int look = 0; look < looks; ++look) {
                ostrel::IpcMsg msg;
                EXPECT_EQ(server.ipcReceive(&msg, 0), -1);
                EXPECT_EQ(server.ipcReceive(&msg, 5000), 0);
                EXPECT_EQ(server.ipcReceive(&msg, -2), -1);
            }
        });
    }
    all.run();
    std::map<std::string, int> seen;
    std::istringstream printed(quiet.take());
    for (std::string line; std::getline(printed, line);) {
        ++seen[line];
    }
    constexpr int each = threads * looks;
    EXPECT_THAT(seen, testing::ElementsAre(
                          testing::Pair("ZMQWrapper::receive: about to receive the msg", 2 * each),
                          testing::Pair("in RequestReplayMsgPattern receive", 2 * each),
                          testing::Pair("in the receive ...", 2 * each),
                          testing::Pair("nothing to received", each),
                          testing::Pair("receive: invalid input", each),
                          testing::Pair("receive: timeout", each),
                          testing::Pair("try to connect to endpoint", threads)));
}
