#ifndef OSTREL_TESTS_THREADS_TALK_H
#define OSTREL_TESTS_THREADS_TALK_H

#include "ostrel/IpcMsg.h"
#include "ostrel/MsgChannel.h"
#include "ostrel/MsgPublishChannel.h"
#include "ostrel/MsgReplyServerChannel.h"
#include "ostrel/MsgRequestClientChannel.h"
#include "ostrel/MsgSubscribeChannel.h"
#include "ostrel/StringMsg.h"
#include "threads/Together.h"

#include <atomic>
#include <gtest/gtest.h>
#include <string>

/// What channels say to each other on several threads: everything that arrives can be told from
/// everything else, and is checked where it arrives.
namespace threads {

enum class Kind { binary, text };

struct Message {
    int type; ///< 0 for texts.
    std::string bytes;
};

inline bool operator==(const Message& a, const Message& b)
{
    return a.type == b.type && a.bytes == b.bytes;
}

inline std::ostream& operator<<(std::ostream& out, const Message& message)
{
    return out << message.type << " \"" << message.bytes << '"';
}

/// The `number`th word of a speaker.
inline Message wordOf(Kind kind, int speaker, int number)
{
    return {kind == Kind::text ? 0 : 1000 * speaker + number,
            std::to_string(speaker) + " says " + std::to_string(number)};
}

inline Message answerTo(const Message& question)
{
    return {question.type == 0 ? 0 : -question.type, "re: " + question.bytes};
}

/// For every channel that has an ipcSend() of this form.
template <typename Channel> void say(Channel& channel, Kind kind, const Message& message)
{
    std::string bytes = message.bytes;
    if (kind == Kind::text) {
        ostrel::StringMsg msg(1);
        msg[0] = bytes;
        EXPECT_EQ(channel.send("talk", &msg), 1);
    } else {
        EXPECT_EQ(channel.ipcSend(message.type, bytes.data(), static_cast<int>(bytes.size())), 1);
    }
}

/// Waits for the next message, of one part.
inline Message hear(ostrel::MsgChannel& channel, Kind kind)
{
    if (kind == Kind::text) {
        std::string topic;
        ostrel::StringMsg msg;
        EXPECT_EQ(channel.receive(topic, &msg, -1), 1);
        EXPECT_EQ(topic, "talk");
        return {0, msg.getNumParts() == 1 ? msg[0] : "no text of one part"};
    }
    ostrel::IpcMsg msg;
    EXPECT_EQ(channel.receive(&msg, -1), 1);
    return {msg.getMsgType(),
            std::string(msg.getMsgData(), static_cast<std::size_t>(msg.getMsgSize()))};
}

// Bodies of threads. Each makes its own channel, uses it, and destroys it.

inline void ask(const std::string& endpoint, Kind kind, int client, int count)
{
    ostrel::MsgRequestClientChannel channel("client");
    channel.setServerEndPoint(endpoint);
    for (int number = 0; number < count; ++number) {
        const Message question = wordOf(kind, client, number);
        say(channel, kind, question);
        ASSERT_EQ(hear(channel, kind), answerTo(question));
    }
}

/// The server of `count` questions. It stays until `left` is 0, which it was when nobody waits for
/// an answer any more: what a channel has not sent when it is destroyed is lost.
inline void serve(const std::string& endpoint, Kind kind, int count, const std::atomic<int>& left)
{
    ostrel::MsgReplyServerChannel channel("server");
    channel.setServerEndPoint(endpoint);
    for (int i = 0; i < count; ++i) {
        say(channel, kind, answerTo(hear(channel, kind)));
    }
    EXPECT_TRUE(await([&] { return left == 0; }, hangLimit));
}

inline const std::string joining = "are you there?";

/// The publisher of `count` words, few enough for ZeroMQ's queues, after `listeners` have joined.
/// It stays until all of them have left.
inline void publish(const std::string& endpoint, Kind kind, int speaker, int count,
                    std::atomic<int>& joined, int listeners, const std::atomic<int>& left)
{
    ostrel::MsgPublishChannel channel("speaker");
    channel.setPublisherEndPoint(endpoint);
    while (joined < listeners) {
        say(channel, kind, {0, joining});
        await([&] { return joined == listeners; }, std::chrono::milliseconds(20));
    }
    for (int number = 0; number < count; ++number) {
        say(channel, kind, wordOf(kind, speaker, number));
    }
    EXPECT_TRUE(await([&] { return left == listeners; }, hangLimit));
}

/// Hears every word of a speaker, in order.
inline void listen(const std::string& endpoint, Kind kind, int speaker, int count,
                   std::atomic<int>& joined, std::atomic<int>& left)
{
    ostrel::MsgSubscribeChannel channel("listener");
    channel.setPublisherEndPoint(endpoint);
    EXPECT_EQ(hear(channel, kind).bytes, joining);
    ++joined;
    for (int number = 0; number < count; ++number) {
        Message heard = hear(channel, kind);
        while (heard.bytes == joining) { // While the others were joining.
            heard = hear(channel, kind);
        }
        ASSERT_EQ(heard, wordOf(kind, speaker, number));
    }
    ++left;
}

} // namespace threads

#endif
