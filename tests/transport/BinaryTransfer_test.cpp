// Binary messages on the wire, with and without identity framing.

#include "Transport.h"

#include "ostrel/MsgDealerWorkerHandle.h"

#include <climits>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ostrel::IpcMsg;
using ostrel::StringMsg;
using ostrel::ZMQWrapper;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::string_literals;
using namespace transport;

namespace {

class BinaryOver : public testing::TestWithParam<std::string> {};

INSTANTIATE_TEST_SUITE_P(Transports, BinaryOver, testing::Values("ipc", "tcp"),
                         [](const auto& current) { return current.param; });

constexpr const char* attempt = "ZMQWrapper::receive: about to receive the msg\n";

const std::string typeSeven = "\0\0\0\7\0\0\1\2"s;

struct Header {
    int type;
    int subType;
    std::string bytes;
};

const Header headers[] = {
    {7, 258, typeSeven},
    {0, 0, "\0\0\0\0\0\0\0\0"s},
    {1, 2, "\0\0\0\1\0\0\0\2"s},
    {-1, -2, "\xff\xff\xff\xff\xff\xff\xff\xfe"},
    {INT_MIN, INT_MAX, "\x80\0\0\0\x7f\xff\xff\xff"s},
    {INT_MAX, INT_MIN, "\x7f\xff\xff\xff\x80\0\0\0"s},
    {0x01020304, 0x05060708, "\1\2\3\4\5\6\7\10"},
};

Frames numbered(int count)
{
    Frames parts;
    for (int i = 0; i < count; ++i) {
        parts.push_back("part " + std::to_string(i));
    }
    return parts;
}

/// A header in front of `parts`.
Frames framed(const std::string& header, Frames parts)
{
    parts.insert(parts.begin(), header);
    return parts;
}

void enableIdentity()
{
    ZMQWrapper::getInstance()->enableIdentity();
}

Outcome sendBinary(Linked& link, IpcMsg& msg, const std::vector<Fault>& faults = {})
{
    return observe([&] { return link.wrapper->send(link.socket, &msg); }, faults);
}

Outcome receiveBinary(Linked& link, IpcMsg& msg, const std::vector<Fault>& faults = {})
{
    IpcMsg* given = &msg;
    const Outcome outcome =
        observe([&] { return link.wrapper->receive(link.socket, given, 0); }, faults);
    EXPECT_EQ(given, &msg) << "the pointer is the caller's";
    return outcome;
}

/// Sends the text message "next", which continues whatever was left unfinished.
void sendNext(Linked& link)
{
    StringMsg next = text({"next"});
    EXPECT_EQ(link.wrapper->send(link.socket, &next), 1);
}

} // namespace

TEST_P(BinaryOver, GoesOutAsAHeaderAndAFramePerPart)
{
    Linked link(GetParam());
    for (const Header& header : headers) {
        for (const Frames& parts :
             {Frames({"abc", ""}), Frames({""}), Frames({"\0\1\0"s, "eight by", "\xff"}),
              numbered(1000), Frames({std::string(1 << 20, '\0')})}) {
            IpcMsg msg = binary(header.type, header.subType, parts);
            EXPECT_EQ(link.wrapper->send(link.socket, &msg), static_cast<int>(parts.size()));
            EXPECT_EQ(link.peer.receive(), framed(header.bytes, parts));
            EXPECT_EQ(partsOf(msg), parts) << "the message stays as it was";
            EXPECT_EQ(msg.getMsgType(), header.type);
            EXPECT_EQ(msg.getMsgSubType(), header.subType);
        }
    }
}

TEST_P(BinaryOver, ComesInWithItsTypeButWithoutItsSubtype)
{
    Linked link(GetParam());
    for (const Header& header : headers) {
        for (const Frames& parts :
             {Frames({"abc", ""}), Frames({""}), Frames({"\0\1\0"s, "eight by", "\xff"}),
              numbered(1000), Frames({std::string(1 << 20, '\0')})}) {
            link.deliver(framed(header.bytes, parts));
            IpcMsg msg(99, 98);
            const Outcome outcome = receiveBinary(link, msg);
            EXPECT_EQ(outcome.end, "returned " + std::to_string(parts.size()));
            EXPECT_THAT(outcome.lines, IsEmpty());
            EXPECT_EQ(partsOf(msg), parts);
            EXPECT_EQ(msg.getMsgType(), header.type);
            EXPECT_EQ(msg.getMsgSubType(), 98);
        }
    }
}

TEST_P(BinaryOver, GoesOutWithItsFirstPartInFrontWhenIdentityFramingIsOn)
{
    enableIdentity();
    Linked link(GetParam());
    struct Case {
        Frames parts;
        Frames frames;
    };
    const Case cases[] = {
        {{"peer", "abc", ""}, {"peer", typeSeven, "abc", ""}},
        {{"peer", "abc"}, {"peer", typeSeven, "abc"}},
        {{"", "abc"}, {"", typeSeven, "abc"}},
        {{"\0eight\0by"s, "\0"s}, {"\0eight\0by"s, typeSeven, "\0"s}},
    };
    for (const Case& expected : cases) {
        IpcMsg msg = binary(7, 258, expected.parts);
        EXPECT_EQ(link.wrapper->send(link.socket, &msg), static_cast<int>(expected.parts.size()));
        EXPECT_EQ(link.peer.receive(), expected.frames);
        EXPECT_EQ(partsOf(msg), expected.parts);
    }
}

TEST_P(BinaryOver, ComesInWithItsFirstFrameAsAPartWhenIdentityFramingIsOn)
{
    enableIdentity();
    Linked link(GetParam());
    link.deliver({"peer", typeSeven, "abc", ""});
    IpcMsg msg(99, 98);
    EXPECT_EQ(receiveBinary(link, msg).end, "returned 3");
    EXPECT_EQ(partsOf(msg), Frames({"peer", "abc", ""}));
    EXPECT_EQ(msg.getMsgType(), 7);
    EXPECT_EQ(msg.getMsgSubType(), 98);
}

TEST_P(BinaryOver, CrossesBetweenTwoSocketsOfTheLibrary)
{
    ZMQWrapper& wrapper = *ZMQWrapper::getInstance();
    const support::IpcEndpoint ipc;
    void* server = wrapper.createEndpt(ZMQ_REP);
    void* client = wrapper.createEndpt(ZMQ_REQ);
    wrapper.registerSender(server, GetParam() == "ipc" ? ipc.text() : "tcp://127.0.0.1:*");
    wrapper.registerReceiver(client, boundEndpointOf(server));

    IpcMsg request = binary(-5, 6, {"a", "", "b\0c"s});
    EXPECT_TRUE(await(client, ZMQ_POLLOUT));
    EXPECT_EQ(wrapper.send(client, &request), 3);
    IpcMsg received;
    IpcMsg* given = &received;
    EXPECT_EQ(wrapper.receive(server, given, -1), 3);
    EXPECT_EQ(partsOf(received), Frames({"a", "", "b\0c"s}));
    EXPECT_EQ(received.getMsgType(), -5);

    wrapper.deleteEndpt(client);
    wrapper.deleteEndpt(server);
}

TEST(BinarySend, MakesTheseCalls)
{
    Linked link;
    IpcMsg msg = binary(7, 258, {"abc", ""});
    const Outcome outcome = sendBinary(link, msg);
    EXPECT_EQ(outcome.end, "returned 2");
    EXPECT_THAT(outcome.calls,
                ElementsAre("zmq_msg_init()", "zmq_msg_init_size(8)",
                            R"(zmq_msg_send(s1, 3, "\x00\x00\x00\x07\x00\x00\x01\x02"))",
                            "zmq_msg_close()", "zmq_msg_init()", "zmq_msg_init_size(3)",
                            R"(zmq_msg_send(s1, 3, "abc"))", "zmq_msg_close()", "zmq_msg_init()",
                            "zmq_msg_init_size(0)", R"(zmq_msg_send(s1, 1, ""))",
                            "zmq_msg_close()"));
    EXPECT_EQ(outcome.printed, "");
}

TEST(BinarySend, MakesTheseCallsWithIdentityFraming)
{
    enableIdentity();
    Linked link;
    IpcMsg msg = binary(7, 258, {"peer", "abc"});
    const Outcome outcome = sendBinary(link, msg);
    EXPECT_EQ(outcome.end, "returned 2");
    EXPECT_THAT(outcome.calls,
                ElementsAre("zmq_msg_init()", "zmq_msg_init_size(4)",
                            R"(zmq_msg_send(s1, 3, "peer"))", "zmq_msg_close()", "zmq_msg_init()",
                            "zmq_msg_init_size(8)",
                            R"(zmq_msg_send(s1, 3, "\x00\x00\x00\x07\x00\x00\x01\x02"))",
                            "zmq_msg_close()", "zmq_msg_init()", "zmq_msg_init_size(3)",
                            R"(zmq_msg_send(s1, 1, "abc"))", "zmq_msg_close()"));
    EXPECT_EQ(outcome.printed, "");
}

TEST(BinarySend, MarksEveryFrameButTheLast)
{
    for (const int count : {1, 2, 1000}) {
        Linked link;
        std::vector<SentFrame> frames = {{typeSeven, 3}};
        for (const std::string& part : numbered(count)) {
            frames.push_back({part, static_cast<int>(frames.size()) < count ? 3 : 1});
        }
        IpcMsg msg = binary(7, 258, numbered(count));
        EXPECT_EQ(sendBinary(link, msg).calls, sendWalk(frames).calls);
    }
}

TEST(BinarySend, LeavesAHeaderWithoutPartsToBeContinued)
{
    Linked link;
    IpcMsg msg(7, 258);
    const Outcome outcome = sendBinary(link, msg);
    EXPECT_EQ(outcome.end, "returned 0");
    EXPECT_EQ(outcome.calls, sendWalk({{typeSeven, 3}}).calls);
    EXPECT_THAT(outcome.lines, IsEmpty());
    EXPECT_EQ(outcome.printed, "");
    IpcMsg another = binary(1, 2, {"abc"});
    EXPECT_EQ(sendBinary(link, another).end, "returned 1");
    EXPECT_THAT(link.peer.receive(), ElementsAre(typeSeven, headers[2].bytes, "abc"));
}

TEST(BinarySend, SendsALoneIdentityAsAMessageAndLeavesItsHeaderToBeContinued)
{
    enableIdentity();
    Linked link;
    IpcMsg msg = binary(7, 258, {"peer"});
    const Outcome outcome = sendBinary(link, msg);
    EXPECT_EQ(outcome.end, "returned 1");
    EXPECT_EQ(outcome.calls, sendWalk({{"peer", 1}, {typeSeven, 3}}).calls);
    EXPECT_THAT(outcome.lines, IsEmpty());
    EXPECT_THAT(link.peer.receive(), ElementsAre("peer"));
    sendNext(link);
    EXPECT_THAT(link.peer.receive(), ElementsAre(typeSeven, "next"));
}

TEST(BinarySend, ThrowsWithoutAnyPartForTheIdentity)
{
    enableIdentity();
    Linked link;
    IpcMsg msg(7, 258);
    const Outcome outcome = sendBinary(link, msg);
    EXPECT_EQ(outcome.end, "std::logic_error: StringMsg part index out of bounds");
    EXPECT_THAT(outcome.lines, ElementsAre("Error : ostrel::StringMsg::operator []() : "
                                           "StringMsg part index out of bounds",
                                           "Error : Ostrel::ZMQWrapper::send() : "
                                           "StringMsg part index out of bounds"));
    EXPECT_THAT(outcome.calls, ElementsAre("zmq_msg_init()", "zmq_msg_close()"));
    sendNext(link);
    EXPECT_THAT(link.peer.receive(), ElementsAre("next"));
}

TEST(BinarySend, RefusesAPartOfANegativeSize)
{
    struct Case {
        int size;
        const char* call;
    };
    const Case cases[] = {
        {-1, "zmq_msg_init_size(18446744073709551615)"},
        {-1000, "zmq_msg_init_size(18446744073709550616)"},
        {INT_MIN, "zmq_msg_init_size(18446744071562067968)"},
    };
    for (const Case& negative : cases) {
        for (unsigned int index = 0; index < 3; ++index) {
            for (const bool hasData : {false, true}) {
                SCOPED_TRACE(negative.size);
                Linked link;
                IpcMsg msg = binary(7, 258, {"abc", "def", "ghi"});
                char* const data = msg[index].mData;
                msg[index].mData = hasData ? data : nullptr;
                msg[index].mSize = negative.size;
                const Outcome outcome = sendBinary(link, msg);
                EXPECT_EQ(outcome.end,
                          "std::runtime_error: Failed to initialize ZeroMQ messagepart : ");
                EXPECT_THAT(outcome.lines,
                            ElementsAre("Error : Ostrel::ZMQWrapper::send() : "
                                        "Failed to initialize ZeroMQ messagepart : "));
                std::vector<SentFrame> good = {{typeSeven, 3}, {"abc", 3}, {"def", 3}};
                good.resize(index + 1);
                Lines calls = sendWalk(good).calls;
                calls.insert(calls.end(), {"zmq_msg_init()", negative.call, "zmq_msg_close()"});
                EXPECT_EQ(outcome.calls, calls);
                EXPECT_EQ(msg[index].mSize, negative.size);
                msg[index].mData = data;
                Frames left;
                for (const SentFrame& frame : good) {
                    left.push_back(frame.bytes);
                }
                left.emplace_back("next");
                sendNext(link);
                EXPECT_EQ(link.peer.receive(), left);
            }
        }
    }
}

TEST(BinarySend, RefusesAnIdentityOfANegativeSize)
{
    enableIdentity();
    Linked link;
    IpcMsg msg = binary(7, 258, {"peer", "abc"});
    msg[0].mSize = -1;
    const Outcome outcome = sendBinary(link, msg);
    EXPECT_EQ(outcome.end, "std::runtime_error: Failed to initialize ZeroMQ messagepart : ");
    sendNext(link);
    EXPECT_THAT(link.peer.receive(), ElementsAre("next"));
}

TEST(BinarySend, ThrowsInsteadOfReadingAPartWithoutBytes)
{
    Linked link;
    IpcMsg msg(7, 258);
    msg.setNumParts(1);
    msg[0].mSize = 5;
    const Outcome outcome = sendBinary(link, msg);
    EXPECT_THAT(outcome.end, testing::StartsWith("std::logic_error: "));
    EXPECT_THAT(outcome.lines, ElementsAre(lineFor(sendPrefix, outcome)));
    EXPECT_EQ(countGood(outcome.calls, "zmq_msg_init"), 2);
    EXPECT_EQ(countGood(outcome.calls, "zmq_msg_close"), 2);
    sendNext(link);
    EXPECT_THAT(link.peer.receive(), ElementsAre(typeSeven, "next"));
}

TEST(BinarySend, NeedsNoDataForAnEmptyFrame)
{
    Linked link;
    IpcMsg msg(7, 258);
    msg.setNumParts(1);
    EXPECT_EQ(sendBinary(link, msg, {{"zmq_msg_data", 2, 1}}).end, "returned 1");
    EXPECT_THAT(link.peer.receive(), ElementsAre(typeSeven, ""));
}

TEST(BinarySend, StartsIdentityFramingWithTheNextSend)
{
    Linked link;
    IpcMsg msg = binary(7, 258, {"peer", "abc"});
    EXPECT_EQ(link.wrapper->send(link.socket, &msg), 2);
    enableIdentity();
    EXPECT_EQ(link.wrapper->send(link.socket, &msg), 2);
    EXPECT_THAT(link.peer.receive(), ElementsAre(typeSeven, "peer", "abc"));
    EXPECT_THAT(link.peer.receive(), ElementsAre("peer", typeSeven, "abc"));
}

TEST(BinaryReceive, MakesTheseCalls)
{
    Linked link;
    link.deliver({typeSeven, "a"});
    IpcMsg msg;
    EXPECT_THAT(receiveBinary(link, msg).calls,
                ElementsAre("zmq_msg_init()", "zmq_recvmsg(s1, 1)", "zmq_msg_close()",
                            "zmq_getsockopt(s1, 13)", "zmq_msg_init()", "zmq_recvmsg(s1, 1)",
                            "zmq_msg_close()", "zmq_getsockopt(s1, 13)"));
}

namespace {

struct Arrival {
    Frames frames;
    Frames parts;
    int type;
    Lines printed; ///< For each frame.
};

void expectArrivals(const std::vector<Arrival>& arrivals)
{
    Linked link;
    for (const Arrival& expected : arrivals) {
        SCOPED_TRACE(expected.frames.size());
        link.deliver(expected.frames);
        IpcMsg msg(99, 98);
        const Outcome outcome = receiveBinary(link, msg);
        EXPECT_EQ(outcome.end, "returned " + std::to_string(expected.parts.size()));
        std::string printed;
        for (const std::string& line : expected.printed) {
            printed += attempt + line + "\n";
        }
        EXPECT_EQ(outcome.printed, printed);
        EXPECT_THAT(outcome.lines, IsEmpty());
        EXPECT_EQ(partsOf(msg), expected.parts);
        EXPECT_EQ(msg.getMsgType(), expected.type);
        EXPECT_EQ(msg.getMsgSubType(), 98);
    }
}

std::string messedUp(int size)
{
    return "ZMQWrapper::receive: something is messed up ... size=" + std::to_string(size);
}

constexpr const char* headerLine = "get the msg hdr size 8";

} // namespace

TEST(BinaryReceive, FindsTheHeaderAmongTheFirstFrames)
{
    expectArrivals({
        {{typeSeven, "abc", ""},
         {"abc", ""},
         7,
         {headerLine, "get the msg size 3", "get the msg size 0"}},
        {{typeSeven}, {}, 7, {headerLine}},
        {{"12345", typeSeven, "abc"}, {"abc"}, 7, {messedUp(5), headerLine, "get the msg size 3"}},
        {{"", "1234567", "123456789", typeSeven, "abc"},
         {"abc"},
         7,
         {messedUp(0), messedUp(7), messedUp(9), headerLine, "get the msg size 3"}},
        {{"12345", typeSeven}, {}, 7, {messedUp(5), headerLine}},
        {{"12345"}, {}, 0, {messedUp(5)}},
        {{""}, {}, 0, {messedUp(0)}},
        {{"12345", "abc", ""}, {}, 0, {messedUp(5), messedUp(3), messedUp(0)}},
        {{std::string(300, 'x')}, {}, 0, {messedUp(300)}},
        // Only the first frame of 8 bytes is a header.
        {{typeSeven, typeSeven, "12345"},
         {typeSeven, "12345"},
         7,
         {headerLine, "get the msg size 8", "get the msg size 5"}},
        {{"eight by"}, {}, 0x65696768, {headerLine}},
    });
}

TEST(BinaryReceive, TakesTheFirstFrameAsTheIdentityWhateverItIs)
{
    enableIdentity();
    const std::string identityLine = "get the identity size ";
    expectArrivals({
        {{"peer", typeSeven, "abc", ""},
         {"peer", "abc", ""},
         7,
         {identityLine + "4", headerLine, "get the msg size 3", "get the msg size 0"}},
        {{"", typeSeven, "abc"},
         {"", "abc"},
         7,
         {identityLine + "0", headerLine, "get the msg size 3"}},
        {{"eight by", typeSeven}, {"eight by"}, 7, {identityLine + "8", headerLine}},
        {{typeSeven, "abc"}, {typeSeven}, 0, {identityLine + "8", messedUp(3)}},
        {{"peer"}, {"peer"}, 0, {identityLine + "4"}},
        {{"peer", "12345", typeSeven, "abc"},
         {"peer", "abc"},
         7,
         {identityLine + "4", messedUp(5), headerLine, "get the msg size 3"}},
        {{"peer", "", "12345"}, {"peer"}, 0, {identityLine + "4", messedUp(0), messedUp(5)}},
        {{typeSeven, typeSeven, typeSeven},
         {typeSeven, typeSeven},
         7,
         {identityLine + "8", headerLine, "get the msg size 8"}},
    });
}

TEST(BinaryReceive, AppendsToThePartsThatAreThere)
{
    Linked link;
    IpcMsg msg = binary(1, 2, {"first", "second"});
    link.deliver({typeSeven, "a", "b", "c"});
    EXPECT_EQ(receiveBinary(link, msg).end, "returned 5");
    EXPECT_EQ(partsOf(msg), Frames({"first", "second", "a", "b", "c"}));
    link.deliver({headers[3].bytes});
    EXPECT_EQ(receiveBinary(link, msg).end, "returned 5");
    EXPECT_EQ(msg.getMsgType(), -1);
    EXPECT_EQ(msg.getMsgSubType(), 2);
    link.deliver({"no header"});
    EXPECT_EQ(receiveBinary(link, msg).end, "returned 5");
    EXPECT_EQ(msg.getMsgType(), 0);
    EXPECT_EQ(partsOf(msg), Frames({"first", "second", "a", "b", "c"}));
}

TEST(BinaryReceive, KeepsTheMessageWhenNothingCame)
{
    Linked link;
    for (const long timeout : {0L, 5000L}) {
        IpcMsg msg = binary(1, 2, {"first", "second"});
        IpcMsg* given = &msg;
        observe([&] { return link.wrapper->receive(link.socket, given, timeout); });
        EXPECT_EQ(partsOf(msg), Frames({"first", "second"}));
        EXPECT_EQ(msg.getMsgType(), 1);
    }
}

TEST(BinaryReceive, LeavesTheHandleAlone)
{
    Linked link;
    const ostrel::MsgDealerWorkerHandle handle;
    IpcMsg msg = binary(1, 2, {"old"});
    msg.setHandle(&handle);
    const ostrel::MsgHandle* const own = msg.getHandle();
    link.deliver({typeSeven, "new"});
    EXPECT_EQ(receiveBinary(link, msg).end, "returned 2");
    EXPECT_EQ(msg.getHandle(), own);
    EXPECT_EQ(sendBinary(link, msg).end, "returned 2");
    EXPECT_EQ(msg.getHandle(), own);
}

TEST(BinaryReceive, ThrowsWhenAFrameHasNoData)
{
    const Frames frames = {typeSeven, "abc", "def"};
    for (int nth = 1; nth <= 3; ++nth) {
        SCOPED_TRACE(nth);
        Linked link;
        link.deliver(frames);
        IpcMsg msg(99, 98);
        const Outcome outcome = receiveBinary(link, msg, {{"zmq_msg_data", nth, 1}});
        EXPECT_THAT(outcome.end, testing::StartsWith("std::logic_error: "));
        EXPECT_THAT(outcome.lines, ElementsAre(lineFor(receivePrefix, outcome)));
        EXPECT_EQ(countGood(outcome.calls, "zmq_recvmsg"), nth);
        EXPECT_EQ(countGood(outcome.calls, "zmq_msg_close"), nth);
        // The part was there already when its bytes turned out to be missing.
        Frames parts;
        if (nth > 1) {
            parts.assign(frames.begin() + 1, frames.begin() + nth - 1);
            parts.emplace_back("");
        }
        EXPECT_EQ(partsOf(msg), parts);
        EXPECT_EQ(msg.getMsgType(), 99);
        if (nth < 3) {
            EXPECT_EQ(readFrames(link.socket), Frames(frames.begin() + nth, frames.end()));
        }
        link.deliver(frames);
        IpcMsg next;
        EXPECT_EQ(receiveBinary(link, next).end, "returned 2");
    }
}

TEST(BinaryReceive, NeedsNoDataForAnEmptyFrame)
{
    Linked link;
    link.deliver({typeSeven, "", "abc"});
    IpcMsg msg;
    EXPECT_EQ(receiveBinary(link, msg, {{"zmq_msg_data", 2, 1}}).end, "returned 2");
    EXPECT_EQ(partsOf(msg), Frames({"", "abc"}));
    EXPECT_EQ(msg.getMsgType(), 7);
}

TEST(BinaryReceive, GivesPartsBytesOfTheirOwn)
{
    Linked link;
    link.deliver({typeSeven, "abc"});
    IpcMsg msg;
    EXPECT_EQ(receiveBinary(link, msg).end, "returned 1");
    char* const data = msg.getMsgData();
    link.deliver({typeSeven, "def"});
    IpcMsg other;
    EXPECT_EQ(receiveBinary(link, other).end, "returned 1");
    EXPECT_NE(other.getMsgData(), data);
    EXPECT_EQ(partsOf(msg), Frames({"abc"}));
    EXPECT_EQ(msg.getMsgSize(), 3);
}
