#ifndef OSTREL_TESTS_HOSTS_TRAFFIC_H
#define OSTREL_TESTS_HOSTS_TRAFFIC_H

#include "hosts/CommandLoop.h"
#include "multiprocess/Traffic.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgChannel.h"
#include "pattern/Messages.h"

#include <sstream>
#include <stdexcept>
#include <string>

/// What the programs in different hosts send each other: numbered messages of any sizes.
namespace hosts {

constexpr int messageType = 7;
constexpr int markType = 8;

/// The message of a head such as "12 65536 0": the head itself, and a part of each size behind the
/// number. So a receiver knows from the head what all the rest must be.
inline traffic::Message messageOf(const std::string& head)
{
    traffic::Message message{messageType, {head}};
    std::istringstream words(head);
    unsigned int state = 0;
    words >> state;
    for (std::size_t size = 0; words >> size;) {
        std::string bytes(size, '\0');
        for (char& byte : bytes) {
            state = state * 1664525U + 1013904223U;
            byte = static_cast<char>(state >> 24U);
        }
        message.parts.push_back(bytes);
    }
    return message;
}

inline unsigned int numberOf(const std::string& head)
{
    return static_cast<unsigned int>(std::stoul(head));
}

inline traffic::Message unwrap(ostrel::IpcMsg& msg)
{
    return {msg.getMsgType(), support::partsOf(msg)};
}

inline bool areSame(const traffic::Message& one, const traffic::Message& other)
{
    return one.type == other.type && one.parts == other.parts;
}

/// Sends a message that must leave whole.
inline void send(CommandLoop& loop, ostrel::MsgChannel& channel, const traffic::Message& message)
{
    ostrel::IpcMsg msg = support::binaryOf(message.type, 0, message.parts);
    const int parts = loop.times().take([&] { return channel.send(&msg); });
    if (parts != static_cast<int>(message.parts.size())) {
        throw std::logic_error("the result of a send is " + std::to_string(parts));
    }
}

/// One receive. Only one that waits without limit may last.
inline int receive(CommandLoop& loop, ostrel::MsgChannel& channel, ostrel::IpcMsg& msg,
                   long timeout)
{
    const auto call = [&] { return channel.receive(&msg, timeout); };
    return timeout == -1 ? call() : loop.times().take(call);
}

/// The command "receive TIMEOUT"; what it brings is dropped.
inline std::string receive(CommandLoop& loop, ostrel::MsgChannel& channel,
                           const CommandLoop::Words& words)
{
    ostrel::IpcMsg msg;
    return std::to_string(receive(loop, channel, msg, std::stol(words.at(1))));
}

/// "FIRST COUNT SIZE..." from the second word on, as the head of each message.
inline std::vector<std::string> headsOf(const CommandLoop::Words& words)
{
    std::string sizes;
    for (std::size_t i = 3; i < words.size(); ++i) {
        sizes += ' ' + words[i];
    }
    std::vector<std::string> heads;
    const unsigned int first = numberOf(words.at(1));
    const unsigned int end = first + numberOf(words.at(2));
    for (unsigned int number = first; number < end; ++number) {
        heads.push_back(std::to_string(number) + sizes);
    }
    return heads;
}

} // namespace hosts

#endif
