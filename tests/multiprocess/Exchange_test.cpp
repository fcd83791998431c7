// Requests and replies between processes: the library on both sides, or ZeroMQ alone on one.

#include "multiprocess/Traffic.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgReplyServerChannel.h"
#include "ostrel/MsgRequestClientChannel.h"
#include "ostrel/StringMsg.h"
#include "pattern/Messages.h"
#include "support/Endpoint.h"
#include "support/Process.h"
#include "support/RawSocket.h"
#include "support/Stdout.h"
#include "support/Thrown.h"

#include <chrono>
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>
#include <zmq.h>

using ostrel::IpcMsg;
using ostrel::MsgRequestClientChannel;
using support::binaryOf;
using support::Frames;
using support::headerOf;
using support::partsOf;
using support::Process;
using support::RawSocket;
using support::Stdout;
using testing::EndsWith;

namespace {

constexpr unsigned int requests = 300;

class Exchange : public testing::TestWithParam<std::string> {
protected:
    Exchange() : mEndpoint(GetParam() == "ipc" ? mPath.text() : support::freeTcpEndpoint()) {}

    std::unique_ptr<Process> server(const std::string& manner) const
    {
        return std::make_unique<Process>(std::vector<std::string>{
            support::programFolder() + "/reply_server", mEndpoint, manner});
    }

    std::unique_ptr<Process> client(const std::string& manner, unsigned int first = 0,
                                    unsigned int count = requests) const
    {
        return std::make_unique<Process>(
            std::vector<std::string>{support::programFolder() + "/request_client", mEndpoint,
                                     manner, std::to_string(first), std::to_string(count)});
    }

    /// Tells a server to end and waits until it has. Its answer may get lost: the end of a channel
    /// drops what is still queued.
    int quit(Process& server) const
    {
        RawSocket raw(ZMQ_REQ);
        raw.connect(mEndpoint);
        raw.send({headerOf(traffic::quitType, 0), "quit"});
        return server.wait();
    }

    support::IpcEndpoint mPath;
    const std::string mEndpoint;
    Stdout mOut; // Of the channels in this process.
};

/// Retries until `program` has printed `line`.
bool prints(const Process& program, const std::string& line)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (program.output().find(line + "\n") == std::string::npos) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

/// One request and its answer over a channel of this process.
void expectAnswer(MsgRequestClientChannel& channel, unsigned int number)
{
    const traffic::Message request = traffic::requestOf(number, true);
    const traffic::Message answer = traffic::answerTo(request);
    std::string bytes = request.parts[0];
    EXPECT_EQ(channel.ipcSend(request.type, bytes.data(), static_cast<int>(bytes.size())), 1);
    IpcMsg reply;
    EXPECT_EQ(channel.ipcReceive(&reply, -1), 1);
    EXPECT_EQ(reply.getMsgType(), answer.type);
    EXPECT_EQ(partsOf(reply), answer.parts);
}

std::string nameOf(const testing::TestParamInfo<std::string>& info)
{
    return info.param;
}

} // namespace

TEST_P(Exchange, SwapsRequestsOfOnePartWithAServerThatEntersItsLoopForEach)
{
    const auto serving = server("reenter");
    const auto asking = client("one");
    EXPECT_EQ(asking->wait(), 0);
    EXPECT_THAT(asking->output(), EndsWith("all answered\n"));
    EXPECT_EQ(quit(*serving), 0);
}

TEST_P(Exchange, SwapsRequestsOfManyPartsWithAServerThatReceivesEach)
{
    const auto serving = server("each");
    const auto asking = client("many");
    EXPECT_EQ(asking->wait(), 0);
    EXPECT_THAT(asking->output(), EndsWith("all answered\n"));
    EXPECT_EQ(quit(*serving), 0);
}

TEST_P(Exchange, SwapsText)
{
    const auto serving = server("text");
    const auto asking = client("text");
    EXPECT_EQ(asking->wait(), 0);
    EXPECT_THAT(asking->output(), EndsWith("all answered\n"));
}

TEST_P(Exchange, ServesSeveralClientsAtOnce)
{
    const auto serving = server("reenter");
    std::vector<std::unique_ptr<Process>> clients;
    for (unsigned int i = 0; i < 4; ++i) {
        clients.push_back(client("one", i * 1000, 100));
    }
    for (const auto& asking : clients) {
        EXPECT_EQ(asking->wait(), 0);
        EXPECT_THAT(asking->output(), EndsWith("all answered\n"));
    }
    EXPECT_EQ(quit(*serving), 0);
}

TEST_P(Exchange, ServesAPeerWithoutTheLibrary)
{
    const auto serving = server("each");
    RawSocket raw(ZMQ_REQ);
    raw.connect(mEndpoint);
    for (unsigned int number = 0; number < requests; ++number) {
        const traffic::Message request = traffic::requestOf(number, false);
        Frames frames = {headerOf(request.type, static_cast<int>(number))};
        frames.insert(frames.end(), request.parts.begin(), request.parts.end());
        raw.send(frames);
        const traffic::Message answer = traffic::answerTo(request);
        Frames expected = {headerOf(answer.type, 0)};
        expected.insert(expected.end(), answer.parts.begin(), answer.parts.end());
        ASSERT_TRUE(raw.receive() == expected) << number;
    }
    EXPECT_EQ(quit(*serving), 0);
}

TEST_P(Exchange, AsksAPeerWithoutTheLibrary)
{
    RawSocket raw(ZMQ_REP);
    raw.bind(mEndpoint);
    const auto asking = client("many");
    for (unsigned int number = 0; number < requests; ++number) {
        const traffic::Message request = traffic::requestOf(number, false);
        Frames expected = {headerOf(request.type, 5)};
        expected.insert(expected.end(), request.parts.begin(), request.parts.end());
        ASSERT_TRUE(raw.receive() == expected) << number;
        const traffic::Message answer = traffic::answerTo(request);
        Frames frames = {headerOf(answer.type, 0)};
        frames.insert(frames.end(), answer.parts.begin(), answer.parts.end());
        raw.send(frames);
    }
    EXPECT_EQ(asking->wait(), 0);
    EXPECT_THAT(asking->output(), EndsWith("all answered\n"));
}

TEST_P(Exchange, SwapsTextWithPeersWithoutTheLibrary)
{
    {
        const auto serving = server("text");
        RawSocket raw(ZMQ_REQ);
        raw.connect(mEndpoint);
        raw.send({"topic", "abc", "", "de"});
        EXPECT_EQ(raw.receive(), Frames({"topic", "cba", "", "ed"}));
    }
    const support::IpcEndpoint other;
    RawSocket raw(ZMQ_REP);
    raw.bind(other.text());
    Process asking({support::programFolder() + "/request_client", other.text(), "text", "3", "1"});
    EXPECT_EQ(raw.receive(), Frames({"ttt", "text 30", "text 31", "text 32", ""}));
    raw.send({"ttt", "03 txet", "13 txet", "23 txet", ""});
    EXPECT_EQ(asking.wait(), 0);
}

TEST_P(Exchange, AnswersARequestThatWasSentBeforeTheServerStarted)
{
    const auto asking = client("one", 0, 50);
    ASSERT_TRUE(prints(*asking, "sent"));
    const auto serving = server("reenter");
    EXPECT_EQ(asking->wait(), 0);
    EXPECT_THAT(asking->output(), EndsWith("all answered\n"));
    EXPECT_EQ(quit(*serving), 0);
}

TEST_P(Exchange, NoticesAWrongAnswer)
{
    // The client of these tests is worth its word.
    RawSocket raw(ZMQ_REP);
    raw.bind(mEndpoint);
    const auto asking = client("one");
    raw.receive();
    raw.send({headerOf(1, 0), "wrong"});
    EXPECT_EQ(asking->wait(), 1);
}

TEST_P(Exchange, KeepsTheFirstBytesInALoopThatGoesOn)
{
    const auto serving = server("loop");
    RawSocket raw(ZMQ_REQ);
    raw.connect(mEndpoint);
    raw.send({headerOf(7, 0), "abc"});
    EXPECT_EQ(raw.receive(), Frames({headerOf(8, 0), "cba"}));
    for (int i = 0; i < 100; ++i) {
        raw.send({headerOf(127, 0), "other", std::to_string(i)});
        EXPECT_EQ(raw.receive(), Frames({headerOf(128, 0), "cba"}));
    }
    EXPECT_EQ(quit(*serving), 0);
}

TEST_P(Exchange, GoesOnWithANewClientChannelAfterTheServerWasKilled)
{
    auto serving = server("reenter");
    auto channel = std::make_unique<MsgRequestClientChannel>("client");
    channel->setServerEndPoint(mEndpoint);
    for (unsigned int number = 0; number < 20; ++number) {
        expectAnswer(*channel, number);
    }
    // It must not answer any more.
    serving->kill(SIGSTOP);
    char data[] = "unanswered";
    EXPECT_EQ(channel->ipcSend(7, data, 10), 1);
    serving->kill(SIGKILL);
    EXPECT_EQ(serving->wait(), 128 + SIGKILL);

    serving = server("reenter");
    EXPECT_EQ(support::thrownBy([&] { channel->ipcSend(7, data, 10); }),
              "std::runtime_error: Failed to send messagepart : "
              "Operation cannot be accomplished in current state")
        << "the channel still waits";
    channel = std::make_unique<MsgRequestClientChannel>("client");
    channel->setServerEndPoint(mEndpoint);
    for (unsigned int number = 0; number < 20; ++number) {
        expectAnswer(*channel, number);
    }
    EXPECT_EQ(quit(*serving), 0);
}

TEST_P(Exchange, GoesOnServingAfterAClientWasKilled)
{
    const auto serving = server("reenter");
    {
        const auto asking = client("one", 0, 1);
        EXPECT_EQ(asking->wait(), 0) << "the server is there";
    }
    serving->kill(SIGSTOP);
    const auto killed = client("one");
    ASSERT_TRUE(prints(*killed, "sent"));
    killed->kill(SIGKILL);
    EXPECT_EQ(killed->wait(), 128 + SIGKILL);
    serving->kill(SIGCONT);
    const auto asking = client("one");
    EXPECT_EQ(asking->wait(), 0);
    EXPECT_THAT(asking->output(), EndsWith("all answered\n"));
    EXPECT_EQ(quit(*serving), 0);
}

TEST_P(Exchange, ServesAnotherProcessFromThisOne)
{
    ostrel::MsgReplyServerChannel channel("server");
    channel.setServerEndPoint(mEndpoint);
    const auto asking = client("many");
    for (unsigned int number = 0; number < requests; ++number) {
        IpcMsg request;
        const traffic::Message expected = traffic::requestOf(number, false);
        ASSERT_EQ(channel.ipcReceive(&request, -1), static_cast<int>(expected.parts.size()));
        ASSERT_EQ(request.getMsgType(), expected.type);
        ASSERT_TRUE(partsOf(request) == expected.parts);
        const traffic::Message answer = traffic::answerTo(expected);
        IpcMsg reply = binaryOf(answer.type, 0, answer.parts);
        ASSERT_EQ(channel.send(&reply), static_cast<int>(answer.parts.size()));
    }
    EXPECT_EQ(asking->wait(), 0);
}

INSTANTIATE_TEST_SUITE_P(Over, Exchange, testing::Values("ipc", "tcp"), nameOf);
