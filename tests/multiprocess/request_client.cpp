// request_client <endpoint> <manner> <first> <count>: sends `count` requests, from number `first`
// on, and checks each answer. Prints "sent" after the first request, "all answered" at the end.
//
//   one    requests of one part, made from bytes
//   many   requests of several parts
//   text   text messages

#include "multiprocess/Traffic.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgRequestClientChannel.h"
#include "ostrel/StringMsg.h"

#include <cstdio>
#include <exception>
#include <string>

using ostrel::IpcMsg;
using ostrel::MsgRequestClientChannel;
using ostrel::StringMsg;

namespace {

void tell(const char* what)
{
    std::puts(what);
    std::fflush(stdout);
}

bool swapOne(MsgRequestClientChannel& channel, unsigned int number, bool first, bool onePart)
{
    const traffic::Message request = traffic::requestOf(number, onePart);
    int sent = 0;
    if (onePart) {
        std::string bytes = request.parts[0];
        sent = channel.ipcSend(request.type, bytes.data(), static_cast<int>(bytes.size()));
    } else {
        IpcMsg msg(request.type, 5);
        for (const std::string& part : request.parts) {
            msg.insertPart(static_cast<unsigned int>(msg.getNumParts()), part.data(),
                           static_cast<int>(part.size()));
        }
        sent = channel.send(&msg);
    }
    if (first) {
        tell("sent");
    }
    IpcMsg reply;
    const int received = channel.ipcReceive(&reply, -1);
    traffic::Message answer{reply.getMsgType(), {}};
    for (int i = 0; i < reply.getNumParts(); ++i) {
        const ostrel::DataPart& part = reply[static_cast<unsigned int>(i)];
        answer.parts.emplace_back(part.mData == nullptr ? "" : part.mData,
                                  static_cast<std::size_t>(part.mSize));
    }
    const traffic::Message expected = traffic::answerTo(request);
    const int parts = static_cast<int>(request.parts.size());
    return sent == parts && received == parts && answer.type == expected.type &&
           answer.parts == expected.parts;
}

bool swapText(MsgRequestClientChannel& channel, unsigned int number, bool first)
{
    const traffic::Parts parts = traffic::textOf(number);
    StringMsg request(0);
    for (const std::string& part : parts) {
        request.insertPart(static_cast<unsigned int>(request.getNumParts()), part);
    }
    const std::string topic = traffic::topicOf(number);
    const int sent = channel.send(topic.c_str(), &request);
    if (first) {
        tell("sent");
    }
    StringMsg reply(0);
    std::string replyTopic;
    const int received = channel.receive(replyTopic, &reply, -1);
    bool good = sent == static_cast<int>(parts.size()) && received == sent && replyTopic == topic;
    for (int i = 0; good && i < received; ++i) {
        const auto index = static_cast<unsigned int>(i);
        good = reply[index] == traffic::reversed(parts[index]) && request[index] == parts[index];
    }
    return good;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 5) {
        return 2;
    }
    const std::string manner = argv[2];
    const auto first = static_cast<unsigned int>(std::stoul(argv[3]));
    const auto end = first + static_cast<unsigned int>(std::stoul(argv[4]));
    try {
        MsgRequestClientChannel channel("client");
        channel.setServerEndPoint(argv[1]);
        for (unsigned int number = first; number < end; ++number) {
            const bool isFirst = number == first;
            const bool good = manner == "text" ? swapText(channel, number, isFirst)
                                               : swapOne(channel, number, isFirst, manner == "one");
            if (!good) {
                std::fprintf(stderr, "request_client: wrong answer to %u\n", number);
                return 1;
            }
        }
        tell("all answered");
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "request_client: %s\n", failure.what());
        return 1;
    }
}
