#ifndef OSTREL_TESTS_TRANSPORT_KINDS_H
#define OSTREL_TESTS_TRANSPORT_KINDS_H

#include "Transport.h"

#include <gtest/gtest.h>

namespace transport {

// The kinds of message that the transport moves, each with one message as its example. What holds
// for all of them is tested with all of them.

constexpr const char* shortPart = "one";
constexpr const char* longPart = "two, which is too long to be kept inside of a string object";
const std::string headerBytes("\0\0\0\7\0\0\1\2", 8);

inline int receiveAs(const ostrel::ZMQWrapper& wrapper, void* socket, ostrel::StringMsg* msg,
                     long timeout)
{
    return wrapper.receive(socket, msg, timeout);
}

inline int receiveAs(const ostrel::ZMQWrapper& wrapper, void* socket, ostrel::IpcMsg* msg,
                     long timeout)
{
    ostrel::IpcMsg* given = msg;
    const int result = wrapper.receive(socket, given, timeout);
    EXPECT_EQ(given, msg) << "the pointer is the caller's";
    return result;
}

struct Text {
    using Msg = ostrel::StringMsg;

    static void prepare(ostrel::ZMQWrapper& /*wrapper*/) {}
    static Msg make()
    {
        return text({shortPart, longPart});
    }
    static std::vector<SentFrame> sent()
    {
        return {{shortPart, 3}, {longPart, 1}};
    }
    /// What is printed before every attempt, and for every frame that arrived.
    static constexpr const char* attempt = "";
    static Lines arrived()
    {
        return {"", ""};
    }
    /// The parts that `frames` frames become.
    static Frames parts(int frames)
    {
        const Frames all = {shortPart, longPart};
        return {all.begin(), all.begin() + frames};
    }
    static constexpr const char* growthPrefix = "Error : Ostrel::StringMsg::setNumParts() : ";

    /// A message with something in it to receive into, and what is in it before and after nothing
    /// came.
    static Msg old()
    {
        return text({"old", "parts"});
    }
    static void expectUntouched(Msg& msg)
    {
        EXPECT_EQ(partsOf(msg), Frames({"old", "parts"}));
    }
    /// Checks what `msg`, which was old(), holds after `frames` frames of a message.
    static void expectReceived(Msg& msg, int frames, bool /*complete*/)
    {
        EXPECT_EQ(partsOf(msg), parts(frames));
    }
    static constexpr int oldParts = 0; // They are discarded.
};

struct Binary {
    using Msg = ostrel::IpcMsg;

    static void prepare(ostrel::ZMQWrapper& /*wrapper*/) {}
    static Msg make()
    {
        return binary(7, 258, {shortPart, longPart});
    }
    static std::vector<SentFrame> sent()
    {
        return {{headerBytes, 3}, {shortPart, 3}, {longPart, 1}};
    }
    static constexpr const char* attempt = "ZMQWrapper::receive: about to receive the msg\n";
    static Lines arrived()
    {
        return {"get the msg hdr size 8\n", "get the msg size 3\n", "get the msg size 59\n"};
    }
    static Frames parts(int frames)
    {
        const Frames all = {shortPart, longPart};
        return {all.begin(), all.begin() + (frames < 2 ? 0 : frames - 1)};
    }
    static constexpr const char* growthPrefix = "Error : ostrel::IpcMsg::setNumParts() : ";

    static Msg old()
    {
        return binary(99, 98, {"old", "parts"});
    }
    static void expectUntouched(Msg& msg)
    {
        EXPECT_EQ(partsOf(msg), Frames({"old", "parts"}));
        EXPECT_EQ(msg.getMsgType(), 99);
        EXPECT_EQ(msg.getMsgSubType(), 98);
    }
    static void expectReceived(Msg& msg, const Frames& received, bool complete)
    {
        Frames expected = {"old", "parts"};
        expected.insert(expected.end(), received.begin(), received.end());
        EXPECT_EQ(partsOf(msg), expected);
        EXPECT_EQ(msg.getMsgType(), complete ? 7 : 99);
        EXPECT_EQ(msg.getMsgSubType(), 98) << "never received";
    }
    static void expectReceived(Msg& msg, int frames, bool complete)
    {
        expectReceived(msg, parts(frames), complete);
    }
    static constexpr int oldParts = 2;
};

/// Binary messages with identity framing on.
struct Identity : Binary {
    static void prepare(ostrel::ZMQWrapper& wrapper)
    {
        wrapper.enableIdentity();
    }
    static std::vector<SentFrame> sent()
    {
        return {{shortPart, 3}, {headerBytes, 3}, {longPart, 1}};
    }
    static Lines arrived()
    {
        return {"get the identity size 3\n", "get the msg hdr size 8\n", "get the msg size 59\n"};
    }
    static Frames parts(int frames)
    {
        const Frames all = {shortPart, longPart};
        return {all.begin(), all.begin() + (frames == 2 ? 1 : (frames + 1) / 2)};
    }
    static void expectReceived(Msg& msg, int frames, bool complete)
    {
        Binary::expectReceived(msg, parts(frames), complete);
    }
};

template <typename Kind> Frames wireOf()
{
    Frames frames;
    for (const SentFrame& frame : Kind::sent()) {
        frames.push_back(frame.bytes);
    }
    return frames;
}

/// What receiving prints up to the `frames`-th frame's arrival.
template <typename Kind> std::string printedFor(int frames)
{
    std::string printed;
    for (int i = 0; i < frames; ++i) {
        printed += Kind::attempt + Kind::arrived()[static_cast<std::size_t>(i)];
    }
    return printed;
}

using Kinds = testing::Types<Text, Binary, Identity>;

struct KindNames {
    template <typename Kind> static std::string GetName(int /*index*/)
    {
        return std::is_same_v<Kind, Text>     ? "Text"
               : std::is_same_v<Kind, Binary> ? "Binary"
                                              : "Identity";
    }
};

} // namespace transport

#endif
