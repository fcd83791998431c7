// Clients with names of all sorts send arbitrary frames through a real broker to a worker, which
// answers each of them. What the worker receives, and which client gets the answer, is compared
// with what the model makes of name and frames.
//
// The input, for each message: a byte that chooses client, kind and memory, then its frames (see
// Input).
#include "fuzz/Check.h"
#include "fuzz/Input.h"
#include "fuzz/Line.h"
#include "fuzz/Model.h"
#include "fuzz/Sockets.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgDealerWorkerChannel.h"
#include "ostrel/MsgHandle.h"
#include "ostrel/StringMsg.h"

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>
#include <zmq.h>

namespace {

using fuzz::Frames;

constexpr const char* clientEndpoint = "inproc://clients";
constexpr const char* workerEndpoint = "inproc://workers";

/// More would only be the same again.
constexpr int mostMessages = 4;

/// What the clients call themselves; one of them leaves it to the broker. The first 60 bytes of a
/// long name, and what is in front of a zero byte, are names of other clients.
const std::vector<std::string> names = {"",
                                        "a",
                                        std::string("a\0b", 3),
                                        std::string(60, 'c'),
                                        std::string(65, 'c'),
                                        std::string(64, 'd'),
                                        std::string(255, 'e'),
                                        "%s%n\xff"};

/// A bare socket in the place of a client.
struct Client {
    void* socket;
    std::string name; // As the broker knows it.
};

ostrel::MsgDealerWorkerChannel& worker()
{
    static ostrel::MsgDealerWorkerChannel channel("pool");
    return channel;
}

/// Starts the broker, and returns the worker's socket. libFuzzer's clock ticks by signals; one that
/// reached the broker's thread would end it.
void* startBroker()
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    worker().setServerEndPoint(clientEndpoint);
    void* socket = fuzz::open(worker(), ostrel::PROP_DEALER_WORKER_ENDPOINT, workerEndpoint);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return socket;
}

void* workerSocket()
{
    static void* const socket = startBroker();
    return socket;
}

Client makeClient(const std::string& name)
{
    void* socket = fuzz::makeSocket(ZMQ_DEALER);
    if (!name.empty()) {
        fuzz::setName(socket, name);
    }
    fuzz::connect(socket, clientEndpoint);
    fuzz::sendMessage(socket, {"here I am"});
    fuzz::awaitMessage(workerSocket());
    Frames frames;
    fuzz::takeMessage(workerSocket(), frames);
    fuzz::expect(name.empty() || frames.front() == name, "the broker knows the client by its name");
    return {socket, frames.front()};
}

std::vector<Client> makeClients()
{
    std::vector<Client> clients;
    for (const std::string& name : names) {
        clients.push_back(makeClient(name));
    }
    return clients;
}

const std::vector<Client>& clients()
{
    static const std::vector<Client> made = makeClients();
    return made;
}

/// Expects `answer` at the client of that name, if there is one.
void expectAnswer(const std::string& name, const Frames& answer)
{
    for (const Client& client : clients()) {
        if (client.name == name) {
            Frames frames;
            fuzz::awaitMessage(client.socket);
            fuzz::takeMessage(client.socket, frames);
            fuzz::expectEqual(frames, answer, "the answer");
        }
    }
}

void exchangeText(const Frames& arriving)
{
    fuzz::Text expected;
    std::string expectedTopic;
    const int result = fuzz::takeTopic(
        expectedTopic, expected, fuzz::takeClient(expected, fuzz::receive(expected, arriving)));
    ostrel::StringMsg msg;
    std::string topic;
    fuzz::expectEqual(worker().receive(topic, &msg, 0), result, "the result");
    fuzz::expectEqual(topic, expectedTopic, "the topic");
    fuzz::expectSame(fuzz::look(msg), expected);

    fuzz::expectEqual(worker().send("re", &msg), result, "the result of the answer");
    fuzz::expectSame(fuzz::look(msg), expected); // As it was.
    Frames answer = expected.parts;
    answer.insert(answer.begin(), "re");
    expectAnswer(*expected.client, answer);
}

void exchangeBinary(const Frames& arriving)
{
    fuzz::Binary expected;
    const int result = fuzz::takeClient(expected, fuzz::receive(expected, arriving, true));
    ostrel::IpcMsg msg;
    fuzz::expectEqual(worker().receive(&msg, 0), result, "the result");
    fuzz::expectSame(fuzz::look(msg), expected);

    fuzz::expectEqual(worker().ipcSend(msg.getMsgType(), msg.getMsgData(), msg.getMsgSize(),
                                       msg.getHandle()->clone()),
                      1, "the result of the answer");
    const std::string data = expected.parts.empty() ? "" : expected.parts.front();
    expectAnswer(*expected.client, {fuzz::header(expected.type, 0), data});
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Input input(data, size);
    int messages = 0;
    do {
        const unsigned int how = input.byte();
        const Client& client = clients()[how % clients().size()];
        Frames frames = input.message();
        fuzz::sendMessage(client.socket, frames,
                          (how & 32U) != 0 ? fuzz::Memory::zeroMQ : fuzz::Memory::exact);
        fuzz::awaitMessage(workerSocket());
        frames.insert(frames.begin(), client.name);
        (how & 16U) != 0 ? exchangeText(frames) : exchangeBinary(frames);
        fuzz::expectLogged({});
    } while (++messages < mostMessages && !input.atEnd());
    for (const Client& client : clients()) {
        Frames frames;
        fuzz::expect(fuzz::takeMessage(client.socket, frames) == fuzz::Taken::nothing,
                     "a client gets only answers that are its own");
    }
    return 0;
}
