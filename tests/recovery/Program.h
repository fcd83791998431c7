#ifndef OSTREL_TESTS_RECOVERY_PROGRAM_H
#define OSTREL_TESTS_RECOVERY_PROGRAM_H

#include "ostrel/IpcMsg.h"
#include "ostrel/MsgChannel.h"
#include "pattern/Messages.h"
#include "recovery/Questions.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <thread>

/// What the programs of the recovery tests have in common. A program that sees something wrong says
/// so on standard error and ends with 1.
namespace recovery {

using Clock = std::chrono::steady_clock;

inline void demand(bool good, const std::string& what)
{
    if (!good) {
        throw std::runtime_error(what);
    }
}

inline void nap()
{
    std::this_thread::sleep_for(std::chrono::microseconds(200));
}

inline unsigned int numberOf(const char* text)
{
    return static_cast<unsigned int>(std::strtoul(text, nullptr, 10));
}

/// Runs a program that takes `count` arguments, the first of which is the ledger's file. What the
/// library prints goes nowhere.
template <typename Body> int runProgram(int argc, char** argv, int count, Body body)
{
    if (argc != count + 1) {
        std::fprintf(stderr, "%s: wrong number of arguments\n", argv[0]);
        return 2;
    }
    Ledger& ledger = mapLedger(std::atoi(argv[1]));
    try {
        demand(std::freopen("/dev/null", "w", stdout) != nullptr, "no /dev/null");
        body(ledger);
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s: %s\n", argv[0], failure.what());
        ledger.failed = true;
        return 1;
    }
}

inline Message messageOf(ostrel::IpcMsg& msg)
{
    return {msg.getMsgType(), support::partsOf(msg)};
}

inline void send(ostrel::MsgChannel& channel, const Message& message)
{
    ostrel::IpcMsg msg = support::binaryOf(message.type, 0, message.parts);
    demand(channel.send(&msg) == static_cast<int>(message.parts.size()), "cannot send");
}

/// A server's or a worker's work: notes the request, takes its time, and makes the answer.
inline Message serve(Ledger& ledger, unsigned int server, const Message& question)
{
    const std::optional<Tag> tag = checkedTagOf(question);
    if (!tag) {
        ++ledger.broken;
        return {0, {"broken"}};
    }
    Sending& sending = ledger.clients[tag->client].log[tag->sending];
    if (sending.taken.exchange(momentOf(ledger)) != 0) {
        ++ledger.twice;
    }
    sending.by = static_cast<std::uint8_t>(server);
    ++ledger.servers[server].taken;
    std::this_thread::sleep_for(std::chrono::milliseconds(tag->request % 4));
    while (ledger.keeper == server + 1) {
        nap();
    }
    return answerTo(question, server);
}

/// Notes that the send of an answer has returned.
inline void noteAnswered(Ledger& ledger, const Message& question)
{
    if (const std::optional<Tag> tag = tagOf(question)) {
        ledger.clients[tag->client].log[tag->sending].answered = momentOf(ledger);
    }
}

/// Checks that what came is the answer to a sending of `client` that had none yet, byte by byte,
/// and notes it. A request may be answered again when it was sent again; a sending may not.
inline Tag settle(Ledger& ledger, unsigned int client, const Message& answer)
{
    Client& own = ledger.clients[client];
    const std::optional<Tag> tag = tagOf(answer);
    demand(tag.has_value(), "an answer to nothing");
    demand(tag->client == client, "the answer to another client");
    Sending& sending = own.log[tag->sending];
    demand(tag->sending < own.sendings && sending.request == tag->request,
           "an answer to what was not asked");
    const unsigned int server = answererOf(answer);
    demand(server < maxServers && answer == answerTo(questionOf(*tag), server), "a wrong answer");
    demand(sending.arrived.exchange(momentOf(ledger)) == 0, "a second answer to one sending");
    ++ledger.servers[server].arrived;
    return *tag;
}

} // namespace recovery

#endif
