// The texts of ZeroMQ's that docs/errors.md explains, each provoked as it says there.

#include "ostrel/IpcMsg.h"
#include "ostrel/MsgDealerClientChannel.h"
#include "ostrel/MsgDealerWorkerChannel.h"
#include "ostrel/MsgPublishChannel.h"
#include "ostrel/MsgReplyServerChannel.h"
#include "ostrel/MsgRequestClientChannel.h"
#include "ostrel/ZMQWrapper.h"
#include "support/Endpoint.h"
#include "support/SyslogSpy.h"
#include "support/ZmqSpy.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>
#include <zmq.h>

namespace {

/// A text of ZeroMQ's, as the page has it; tests/docs/check_errors.py looks for these.
std::string ZeroMQ(const char* text)
{
    return text;
}

/// The text of the std::runtime_error that `call` throws.
std::string failureOf(const std::function<void()>& call)
{
    try {
        call();
    } catch (const std::runtime_error& failure) {
        return failure.what();
    }
    return "nothing thrown";
}

std::string failureOfBinding(const std::string& endpoint)
{
    ostrel::MsgPublishChannel channel("a");
    return failureOf([&] { channel.setPublisherEndPoint(endpoint); });
}

std::string failureOfConnecting(const std::string& endpoint)
{
    ostrel::MsgDealerClientChannel channel("a");
    channel.setServerEndPoint(endpoint);
    return failureOf([&] { channel.ipcSend(1, nullptr, 0); });
}

std::string boundTo(const std::string& endpoint, const std::string& text)
{
    return "Failed to bind ZeroMQ Socket : " + text + " : End Point : " + endpoint;
}

std::string connectedTo(const std::string& endpoint, const std::string& text)
{
    return "Failed to connect ZeroMQ Socket : " + text + " : End Point : " + endpoint;
}

void expectBindingToFail(const std::string& endpoint, const std::string& text)
{
    EXPECT_EQ(boundTo(endpoint, text), failureOfBinding(endpoint));
}

} // namespace

// The page shows these two lines.
TEST(ZmqTexts, AFailureLeavesALineOfEachLayer)
{
    const std::string endpoint = support::freeTcpEndpoint();
    ostrel::MsgPublishChannel first("a");
    first.setPublisherEndPoint(endpoint);
    support::SyslogSpy syslog;
    const std::string text = failureOfBinding(endpoint);
    EXPECT_EQ(
        std::vector<std::string>({"Error : Ostrel::ZMQWrapper::registerSender() : " + text,
                                  "Error : Ostrel::MsgPublishPattern::setProperty() : " + text}),
        syslog.takeLines());
}

TEST(ZmqTexts, ASecondTcpBindGetsAddressAlreadyInUse)
{
    const std::string endpoint = support::freeTcpEndpoint();
    ostrel::MsgPublishChannel first("a");
    first.setPublisherEndPoint(endpoint);
    expectBindingToFail(endpoint, ZeroMQ("Address already in use"));
}

TEST(ZmqTexts, BindingAnAddressOfAnotherMachineGetsCannotAssign)
{
    expectBindingToFail("tcp://203.0.113.7:5555", ZeroMQ("Cannot assign requested address"));
}

// The library never ends its context, so nobody gets to see this one.
TEST(ZmqTexts, AnEndedContextWouldGetContextWasTerminated)
{
    const support::IpcEndpoint endpoint;
    support::ZmqSpy zmq;
    ostrel::MsgReplyServerChannel server("a");
    server.setServerEndPoint(endpoint.text());
    zmq.fail("zmq_recvmsg", 1, ETERM);
    ostrel::IpcMsg msg;
    EXPECT_EQ("Failed to get messagepart: " + ZeroMQ("Context was terminated"),
              failureOf([&] { server.ipcReceive(&msg, 0); }));
}

TEST(ZmqTexts, AnIpcPathOfMoreThan107CharactersGetsFileNameTooLong)
{
    const std::string fits = "ipc:///" + std::string(106, 'a');
    EXPECT_NE(connectedTo(fits, ZeroMQ("File name too long")), failureOfConnecting(fits));
    const std::string tooLong = fits + 'a';
    expectBindingToFail(tooLong, ZeroMQ("File name too long"));
    EXPECT_EQ(connectedTo(tooLong, ZeroMQ("File name too long")), failureOfConnecting(tooLong));
}

TEST(ZmqTexts, ASignalDuringAReceiveGetsInterruptedSystemCall)
{
    struct sigaction action = {};
    action.sa_handler = [](int /*signal*/) {};
    sigaction(SIGUSR1, &action, nullptr);
    const support::IpcEndpoint endpoint;
    ostrel::MsgReplyServerChannel server("a");
    server.setServerEndPoint(endpoint.text());
    const pthread_t receiver = pthread_self();
    std::atomic<bool> ended(false);
    // Again and again, as one that comes before the receive waits is not noticed by it.
    std::thread signaller([&] {
        while (!ended) {
            pthread_kill(receiver, SIGUSR1);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    ostrel::IpcMsg msg;
    EXPECT_EQ("Failed to get messagepart: " + ZeroMQ("Interrupted system call"),
              failureOf([&] { server.ipcReceive(&msg, -1); }));
    ended = true;
    signaller.join();
}

TEST(ZmqTexts, AChannelFromBeforeAForkGetsInterruptedSystemCallInTheChild)
{
    const support::IpcEndpoint endpoint;
    ostrel::MsgDealerClientChannel client("a");
    client.setServerEndPoint(endpoint.text());
    client.ipcSend(1, nullptr, 0);
    const std::string expected =
        "Failed to send messagepart : " + ZeroMQ("Interrupted system call");
    const pid_t child = fork();
    if (child == 0) {
        const std::string failure = failureOf([&] {
            // ZeroMQ looks only now and then whether it is still in the same process.
            for (int attempts = 0; attempts < 900; ++attempts) {
                client.ipcSend(1, nullptr, 0);
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
        _exit(failure == expected ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
}

TEST(ZmqTexts, AnEndpointThatWasNotSetOrIsNoneGetsInvalidArgument)
{
    ostrel::MsgRequestClientChannel client("a"); // Never told where to connect.
    EXPECT_EQ(connectedTo("", ZeroMQ("Invalid argument")),
              failureOf([&] { client.ipcSend(1, nullptr, 0); }));
    for (const char* endpoint :
         {"nonsense", "tcp://", "tcp://127.0.0.1", "tcp://127.0.0.1:port", "ipc://"}) {
        expectBindingToFail(endpoint, ZeroMQ("Invalid argument"));
        EXPECT_EQ(connectedTo(endpoint, ZeroMQ("Invalid argument")), failureOfConnecting(endpoint));
    }
}

TEST(ZmqTexts, AnOptionThatTheSocketLacksGetsInvalidArgument)
{
    ostrel::ZMQWrapper& transport = *ostrel::ZMQWrapper::getInstance();
    void* socket = transport.createEndpt(ZMQ_REQ);
    const std::string expected =
        "Failed to set ZeroMQ Socket Option : " + ZeroMQ("Invalid argument");
    EXPECT_EQ(expected, failureOf([&] { transport.setOption(socket, ostrel::OPT_SUBSCRIBE, ""); }));
    for (const std::size_t length : {0U, 256U}) {
        const std::string identity(length, 'a');
        EXPECT_EQ(expected,
                  failureOf([&] { transport.setOption(socket, ostrel::OPT_IDENTITY, identity); }));
    }
    transport.deleteEndpt(socket);
}

TEST(ZmqTexts, BindingANameGetsNoSuchDevice)
{
    expectBindingToFail("tcp://localhost:5555", ZeroMQ("No such device"));
    expectBindingToFail("tcp://no_such_interface:5555", ZeroMQ("No such device"));
}

TEST(ZmqTexts, BindingInAFolderThatIsMissingGetsNoSuchFile)
{
    expectBindingToFail("ipc:///no/such/folder/x", ZeroMQ("No such file or directory"));
}

TEST(ZmqTexts, AnOperationOutOfTurnGetsCurrentState)
{
    const support::IpcEndpoint endpoint;
    ostrel::MsgReplyServerChannel server("a");
    server.setServerEndPoint(endpoint.text());
    ostrel::MsgRequestClientChannel client("a");
    client.setServerEndPoint(endpoint.text());
    ostrel::IpcMsg msg;
    const std::string text = ZeroMQ("Operation cannot be accomplished in current state");
    EXPECT_EQ("Failed to send messagepart : " + text,
              failureOf([&] { server.ipcSend(1, nullptr, 0); }));
    EXPECT_EQ("Failed to get messagepart: " + text,
              failureOf([&] { client.ipcReceive(&msg, -1); }));
}

TEST(ZmqTexts, BindingWhereOneMayNotWriteGetsPermissionDenied)
{
    const support::IpcEndpoint endpoint;
    const std::string file = endpoint.text().substr(std::string("ipc://").size());
    const auto folder = std::filesystem::path(file).parent_path();
    namespace fs = std::filesystem;
    fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
    const uid_t user = geteuid();
    if (user == 0) {
        ASSERT_EQ(0, seteuid(65534)); // Nothing is denied to root.
    }
    expectBindingToFail(endpoint.text(), ZeroMQ("Permission denied"));
    ASSERT_EQ(0, seteuid(user));
    fs::permissions(folder, fs::perms::owner_all);
}

TEST(ZmqTexts, ATransportThatZeroMQLacksGetsProtocolNotSupported)
{
    const std::string endpoint = "http://127.0.0.1:5555";
    expectBindingToFail(endpoint, ZeroMQ("Protocol not supported"));
    EXPECT_EQ(connectedTo(endpoint, ZeroMQ("Protocol not supported")),
              failureOfConnecting(endpoint));
}

TEST(ZmqTexts, AFullQueueGetsResourceTemporarilyUnavailable)
{
    const support::IpcEndpoint endpoint;
    ostrel::MsgDealerClientChannel client("a"); // Nobody is there to take anything.
    client.setServerEndPoint(endpoint.text());
    int sent = 0;
    EXPECT_EQ("Failed to send messagepart : " + ZeroMQ("Resource temporarily unavailable"),
              failureOf([&] {
                  for (; sent < 100000; ++sent) {
                      client.ipcSend(1, nullptr, 0);
                  }
              }));
    EXPECT_EQ(1000, sent);
}

TEST(ZmqTexts, AChannelThatCouldNotConnectGetsResourceTemporarilyUnavailable)
{
    ostrel::MsgRequestClientChannel request("a");
    ostrel::MsgDealerClientChannel dealer("a");
    ostrel::MsgDealerWorkerChannel worker("a");
    worker.setServerEndPoint("nonsense");
    const std::string text =
        "Failed to send messagepart : " + ZeroMQ("Resource temporarily unavailable");
    const auto expectUnusable = [&](const std::function<void()>& send) {
        EXPECT_NE(text, failureOf(send)); // Connects.
        EXPECT_EQ(text, failureOf(send));
    };
    char data[] = "x";
    expectUnusable([&] { request.ipcSend(1, data, 1); });
    expectUnusable([&] { dealer.ipcSend(1, data, 1); });
    expectUnusable([&] { worker.ipcSend(1, data, 1, nullptr); });
}

TEST(ZmqTexts, NoSocketGetsSocketOperationOnNonSocket)
{
    const ostrel::ZMQWrapper& transport = *ostrel::ZMQWrapper::getInstance();
    EXPECT_EQ(connectedTo("tcp://127.0.0.1:5555", ZeroMQ("Socket operation on non-socket")),
              failureOf([&] { transport.registerReceiver(nullptr, "tcp://127.0.0.1:5555"); }));
}

TEST(ZmqTexts, ATransportForOtherSocketsGetsNotCompatible)
{
    const std::string text = ZeroMQ("The protocol is not compatible with the socket type");
    expectBindingToFail("udp://127.0.0.1:5555", text);
    EXPECT_EQ(connectedTo("udp://127.0.0.1:5555", text),
              failureOfConnecting("udp://127.0.0.1:5555"));
}

TEST(ZmqTexts, AProcessWithoutFreeDescriptorsGetsTooManyOpenFiles)
{
    ostrel::MsgPublishChannel channel("a"); // The context is there from here on.
    channel.setPublisherEndPoint(support::freeTcpEndpoint());
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = 3;
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ("Failed to create ZeroMQ Socket : " + ZeroMQ("Too many open files"),
              failureOfConnecting("tcp://127.0.0.1:5555"));
}

TEST(ZmqTexts, AProcessWithoutFreeDescriptorsGetsNoContext)
{
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = 3;
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ("Failed to create ZeroMQ Context",
              failureOf([] { const ostrel::MsgRequestClientChannel channel("a"); }));
}
