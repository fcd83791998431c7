// Text messages on the wire.

#include "Transport.h"

#include "ostrel/MsgDealerWorkerHandle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ostrel::StringMsg;
using ostrel::ZMQWrapper;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::string_literals;
using namespace transport;

namespace {

class TextOver : public testing::TestWithParam<std::string> {};

INSTANTIATE_TEST_SUITE_P(Transports, TextOver, testing::Values("ipc", "tcp"),
                         [](const auto& current) { return current.param; });

std::string everyByte()
{
    std::string bytes;
    for (int i = 0; i < 256; ++i) {
        bytes += static_cast<char>(i);
    }
    return bytes;
}

Frames numbered(int count)
{
    Frames parts;
    for (int i = 0; i < count; ++i) {
        parts.push_back("part " + std::to_string(i));
    }
    return parts;
}

Outcome receiveText(Linked& link, StringMsg& msg, const std::vector<Fault>& faults = {})
{
    return observe([&] { return link.wrapper->receive(link.socket, &msg, 0); }, faults);
}

} // namespace

TEST_P(TextOver, GoesOutByteForByteOneFramePerPart)
{
    Linked link(GetParam());
    const Frames messages[] = {{"a", "", "bc"},      {""},
                               {"", "", ""},         {"ab\0cd"s},
                               {everyByte(), "\0"s}, {"a single frame"},
                               numbered(1000),       {std::string(1 << 20, 'x'), "end"}};
    for (const Frames& parts : messages) {
        StringMsg msg = text(parts);
        EXPECT_EQ(link.wrapper->send(link.socket, &msg), static_cast<int>(parts.size()));
        EXPECT_EQ(link.peer.receive(), parts);
        EXPECT_EQ(partsOf(msg), parts) << "the message stays as it was";
    }
}

TEST_P(TextOver, ComesInUpToTheFirstZeroByteOfEachFrame)
{
    Linked link(GetParam());
    struct Case {
        Frames frames;
        Frames parts;
    };
    const Case cases[] = {
        {{"a", "", "bc"}, {"a", "", "bc"}},
        {{""}, {""}},
        {{"ab\0cd"s}, {"ab"}},
        {{"\0ab"s}, {""}},
        {{"ab\0"s}, {"ab"}},
        {{"a\0b\0"s, "c"}, {"a", "c"}},
        {{everyByte().substr(1)}, {everyByte().substr(1)}},
        {numbered(1000), numbered(1000)},
        {{std::string(1 << 20, 'x')}, {std::string(1 << 20, 'x')}},
        {{std::string(1 << 20, 'x') + "\0y"s}, {std::string(1 << 20, 'x')}},
    };
    for (const Case& expected : cases) {
        link.deliver(expected.frames);
        StringMsg msg = text(numbered(10));
        const Outcome outcome = receiveText(link, msg);
        EXPECT_EQ(outcome.end, "returned " + std::to_string(expected.parts.size()));
        EXPECT_EQ(outcome.printed, "");
        EXPECT_THAT(outcome.lines, IsEmpty());
        EXPECT_EQ(partsOf(msg), expected.parts);
    }
}

TEST_P(TextOver, EndsWithItsFrameWhateverItsSize)
{
    Linked link(GetParam());
    // Around the sizes up to which ZeroMQ keeps a frame inside of its own structure.
    for (std::size_t size = 0; size <= 80; ++size) {
        link.deliver({std::string(size, 'x'), std::string(size, 'y')});
        StringMsg msg(0);
        EXPECT_EQ(link.wrapper->receive(link.socket, &msg, -1), 2);
        EXPECT_EQ(partsOf(msg), Frames({std::string(size, 'x'), std::string(size, 'y')}));
    }
}

TEST_P(TextOver, CrossesBetweenTwoSocketsOfTheLibrary)
{
    ZMQWrapper& wrapper = *ZMQWrapper::getInstance();
    const support::IpcEndpoint ipc;
    void* server = wrapper.createEndpt(ZMQ_REP);
    void* client = wrapper.createEndpt(ZMQ_REQ);
    wrapper.registerSender(server, GetParam() == "ipc" ? ipc.text() : "tcp://127.0.0.1:*");
    wrapper.registerReceiver(client, boundEndpointOf(server));

    StringMsg request = text({"a", "", "b\0c"s});
    EXPECT_TRUE(await(client, ZMQ_POLLOUT));
    EXPECT_EQ(wrapper.send(client, &request), 3);
    StringMsg received(0);
    EXPECT_EQ(wrapper.receive(server, &received, -1), 3);
    EXPECT_EQ(partsOf(received), Frames({"a", "", "b"}));
    StringMsg reply = text({"d"});
    EXPECT_EQ(wrapper.send(server, &reply), 1);
    EXPECT_EQ(wrapper.receive(client, &received, -1), 1);
    EXPECT_EQ(partsOf(received), Frames({"d"}));

    wrapper.deleteEndpt(client);
    wrapper.deleteEndpt(server);
}

TEST(TextSend, MarksEveryFrameButTheLast)
{
    for (const int count : {1, 2, 3, 1000}) {
        Linked link;
        std::vector<SentFrame> frames;
        for (const std::string& part : numbered(count)) {
            frames.push_back({part, static_cast<int>(frames.size()) < count - 1 ? 3 : 1});
        }
        StringMsg msg = text(numbered(count));
        const Outcome outcome = observe([&] { return link.wrapper->send(link.socket, &msg); });
        EXPECT_EQ(outcome.end, "returned " + std::to_string(count));
        EXPECT_EQ(outcome.calls, sendWalk(frames).calls);
    }
}

TEST(TextSend, MakesTheseCalls)
{
    Linked link;
    StringMsg msg = text({"a", "", "b\0c"s});
    const Outcome outcome = observe([&] { return link.wrapper->send(link.socket, &msg); });
    EXPECT_THAT(outcome.calls,
                ElementsAre("zmq_msg_init()", "zmq_msg_init_size(1)", R"(zmq_msg_send(s1, 3, "a"))",
                            "zmq_msg_close()", "zmq_msg_init()", "zmq_msg_init_size(0)",
                            R"(zmq_msg_send(s1, 3, ""))", "zmq_msg_close()", "zmq_msg_init()",
                            "zmq_msg_init_size(3)", R"(zmq_msg_send(s1, 1, "b\x00c"))",
                            "zmq_msg_close()"));
}

TEST(TextSend, HasNothingToSendOfAMessageWithoutParts)
{
    Linked link;
    StringMsg msg(0);
    const Outcome outcome = observe([&] { return link.wrapper->send(link.socket, &msg); });
    EXPECT_EQ(outcome.end, "returned -1");
    EXPECT_EQ(outcome.printed, "nothing to send - return\n");
    EXPECT_THAT(outcome.calls, IsEmpty());
    EXPECT_THAT(outcome.lines, IsEmpty());

    // Without a socket not even that is said.
    const Outcome noSocket = observe([&] { return link.wrapper->send(nullptr, &msg); });
    EXPECT_EQ(noSocket.end, "returned -1");
    EXPECT_EQ(noSocket.printed, "");
}

TEST(TextSend, HasNoUseForIdentityFraming)
{
    ZMQWrapper::getInstance()->enableIdentity();
    Linked link;
    for (const Frames& parts : {Frames({"one"}), Frames({"one", "two"})}) {
        StringMsg msg = text(parts);
        EXPECT_EQ(link.wrapper->send(link.socket, &msg), static_cast<int>(parts.size()));
        EXPECT_EQ(link.peer.receive(), parts);
        link.deliver(parts);
        StringMsg received(0);
        EXPECT_EQ(receiveText(link, received).printed, "");
        EXPECT_EQ(partsOf(received), parts);
    }
}

TEST(TextSend, NeedsNoDataForAnEmptyFrame)
{
    Linked link;
    StringMsg msg = text({""});
    const Outcome outcome =
        observe([&] { return link.wrapper->send(link.socket, &msg); }, {{"zmq_msg_data", 1, 1}});
    EXPECT_EQ(outcome.end, "returned 1");
    EXPECT_THAT(link.peer.receive(), ElementsAre(""));
}

TEST(TextReceive, MakesTheseCalls)
{
    Linked link;
    link.deliver({"a", "b"});
    StringMsg msg(0);
    EXPECT_THAT(receiveText(link, msg).calls,
                ElementsAre("zmq_msg_init()", "zmq_recvmsg(s1, 1)", "zmq_msg_close()",
                            "zmq_getsockopt(s1, 13)", "zmq_msg_init()", "zmq_recvmsg(s1, 1)",
                            "zmq_msg_close()", "zmq_getsockopt(s1, 13)"));
}

TEST(TextReceive, ReplacesTheParts)
{
    Linked link;
    StringMsg msg = text(numbered(10));
    link.deliver(numbered(4));
    EXPECT_EQ(receiveText(link, msg).end, "returned 4");
    EXPECT_EQ(partsOf(msg), numbered(4));
}

TEST(TextReceive, DiscardsTheOldPartsAlsoWhenNothingCame)
{
    Linked link;
    for (const long timeout : {0L, 5000L}) {
        StringMsg msg = text(numbered(10));
        observe([&] { return link.wrapper->receive(link.socket, &msg, timeout); });
        EXPECT_EQ(msg.getNumParts(), 0);
    }
}

TEST(TextReceive, LeavesTheHandleAlone)
{
    Linked link;
    const ostrel::MsgDealerWorkerHandle handle;
    StringMsg msg = text({"old"});
    msg.setHandle(&handle);
    const ostrel::MsgHandle* const own = msg.getHandle();
    link.deliver({"new"});
    EXPECT_EQ(receiveText(link, msg).end, "returned 1");
    EXPECT_EQ(msg.getHandle(), own);
    EXPECT_EQ(link.wrapper->send(link.socket, &msg), 1);
    EXPECT_EQ(msg.getHandle(), own);
    EXPECT_THAT(link.peer.receive(), ElementsAre("new"));
}

TEST(TextReceive, ThrowsWhenAFrameHasNoData)
{
    // An empty frame is a text too.
    for (const Frames& frames : {Frames({"one", "two", "three"}), Frames({"", "", ""})}) {
        for (int nth = 1; nth <= 3; ++nth) {
            Linked link;
            link.deliver(frames);
            StringMsg msg = text({"old"});
            const Outcome outcome = receiveText(link, msg, {{"zmq_msg_data", nth, 1}});
            EXPECT_EQ(outcome.end, noTextEnd);
            EXPECT_THAT(outcome.lines, ElementsAre(std::string(receivePrefix) + noText));
            EXPECT_EQ(countGood(outcome.calls, "zmq_recvmsg"), nth);
            EXPECT_EQ(countGood(outcome.calls, "zmq_msg_close"), nth);
            // The part was there already when its text turned out to be missing.
            Frames parts(frames.begin(), frames.begin() + nth - 1);
            parts.emplace_back("");
            EXPECT_EQ(partsOf(msg), parts);
            if (nth < 3) {
                EXPECT_EQ(readFrames(link.socket), Frames(frames.begin() + nth, frames.end()));
            }
            link.deliver({"next"});
            EXPECT_EQ(receiveText(link, msg).end, "returned 1");
        }
    }
}
