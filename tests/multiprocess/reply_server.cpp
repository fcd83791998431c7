// reply_server <endpoint> <manner>: answers requests until it is told to end.
//
//   each      receives each request into a message of its own, of any number of parts
//   reenter   enters the dispatch loop anew for each request
//   loop      stays in the dispatch loop
//   text      text messages; it does not end

#include "multiprocess/Traffic.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgReplyServerChannel.h"
#include "ostrel/StringMsg.h"

#include <cstdio>
#include <exception>
#include <string>
#include <utility>

using ostrel::IpcMsg;
using ostrel::MsgReplyServerChannel;
using ostrel::StringMsg;

namespace {

bool leaveAfterEach = false;
int lastType = 0;

template <int type> void answer(const char* data, int size, MsgReplyServerChannel* channel)
{
    lastType = type;
    const std::string bytes(data == nullptr ? "" : data, static_cast<std::size_t>(size));
    const traffic::Message answer = traffic::answerTo({type, {bytes}});
    std::string back = answer.parts[0];
    channel->ipcSend(answer.type, back.data(), static_cast<int>(back.size()));
    if (leaveAfterEach || type == traffic::quitType) {
        channel->terminate();
    }
}

template <std::size_t... indices>
void registerTypes(MsgReplyServerChannel& channel, std::index_sequence<indices...> /*all*/)
{
    (channel.registerCallBack(traffic::types[indices], answer<traffic::types[indices]>), ...);
}

void serveCallbacks(MsgReplyServerChannel& channel)
{
    registerTypes(channel, std::make_index_sequence<traffic::types.size()>());
    channel.registerCallBack(traffic::quitType, answer<traffic::quitType>);
    while (lastType != traffic::quitType) {
        channel.ipcReceive(-1);
    }
}

void serveEach(MsgReplyServerChannel& channel)
{
    while (lastType != traffic::quitType) {
        IpcMsg request;
        channel.ipcReceive(&request, -1);
        lastType = request.getMsgType();
        traffic::Message message{lastType, {}};
        for (int i = 0; i < request.getNumParts(); ++i) {
            const ostrel::DataPart& part = request[static_cast<unsigned int>(i)];
            message.parts.emplace_back(part.mData == nullptr ? "" : part.mData,
                                       static_cast<std::size_t>(part.mSize));
        }
        const traffic::Message answer = traffic::answerTo(message);
        IpcMsg reply(answer.type, 0);
        for (const std::string& part : answer.parts) {
            reply.insertPart(static_cast<unsigned int>(reply.getNumParts()), part.data(),
                             static_cast<int>(part.size()));
        }
        channel.send(&reply);
    }
}

void serveText(MsgReplyServerChannel& channel)
{
    for (;;) {
        StringMsg msg(0);
        std::string topic;
        channel.receive(topic, &msg, -1);
        for (int i = 0; i < msg.getNumParts(); ++i) {
            std::string& part = msg[static_cast<unsigned int>(i)];
            part = traffic::reversed(part);
        }
        channel.send(topic.c_str(), &msg);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        return 2;
    }
    const std::string manner = argv[2];
    try {
        MsgReplyServerChannel channel("server");
        channel.setServerEndPoint(argv[1]);
        leaveAfterEach = manner == "reenter";
        if (manner == "each") {
            serveEach(channel);
        } else if (manner == "text") {
            serveText(channel);
        } else {
            serveCallbacks(channel);
        }
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "reply_server: %s\n", failure.what());
        return 1;
    }
}
