// A peer sends arbitrary frames to each kind of receiver; what is received is compared with what
// the model makes of these frames.
//
// The input: a byte that chooses the receiver, then for each message a byte that says how it is
// received, and its frames (see Input). FRAMING says whether identity framing is on. That is for a
// whole process, so this is two programs.
#include "fuzz/Check.h"
#include "fuzz/Input.h"
#include "fuzz/Line.h"
#include "fuzz/Model.h"
#include "fuzz/Sockets.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgDealerClientChannel.h"
#include "ostrel/MsgDealerWorkerChannel.h"
#include "ostrel/MsgDealerWorkerHandle.h"
#include "ostrel/MsgReplyServerChannel.h"
#include "ostrel/MsgRequestClientChannel.h"
#include "ostrel/MsgSubscribeChannel.h"
#include "ostrel/StringMsg.h"
#include "ostrel/ZMQWrapper.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using fuzz::Binary;
using fuzz::Frames;
using fuzz::Text;

constexpr bool framing = FRAMING;

/// More would only be the same again.
constexpr int mostMessages = 8;

/// Where a receive begins. `other` is whatever else a channel has that receives.
enum class Level { transport, pattern, channel, other };

/// How a message is received: one byte of the input.
struct How {
    explicit How(unsigned int choice)
        : binary((choice & 1U) != 0), level(static_cast<Level>(choice >> 1U & 3U)),
          timeout(static_cast<long>(choice >> 3U & 3U) - 1), intoUsed((choice & 32U) != 0),
          memory((choice & 64U) != 0 ? fuzz::Memory::zeroMQ : fuzz::Memory::exact)
    {
    }

    bool binary;
    Level level;
    long timeout;  // From -1 to 2.
    bool intoUsed; // Into a message that holds something already.
    fuzz::Memory memory;
};

ostrel::ZMQWrapper& transport()
{
    return *ostrel::ZMQWrapper::getInstance();
}

void use(ostrel::StringMsg& msg)
{
    msg.setNumParts(2);
    msg[0] = "old";
    ostrel::MsgDealerWorkerHandle handle;
    handle.setIdentity("old client");
    msg.setHandle(&handle);
}

void use(ostrel::IpcMsg& msg)
{
    msg.setMsgType(77);
    msg.insertPart(0, "old", 3);
    msg.insertPart(1, "", 0);
    ostrel::MsgDealerWorkerHandle handle;
    handle.setIdentity("old client");
    msg.setHandle(&handle);
}

/// The result of a receive that found nothing.
int nothing(long timeout)
{
    return timeout == 0 ? -1 : 0;
}

/// A receiver of the library and its peer; this one is the transport's own.
class Receiver {
public:
    explicit Receiver(fuzz::Line line, ostrel::MsgChannel* channel = nullptr)
        : mLine(line), mChannel(channel)
    {
    }
    virtual ~Receiver() = default;
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    void run(fuzz::Input& input)
    {
        int messages = 0;
        do {
            receiveNext(input);
        } while (++messages < mostMessages && !input.atEnd());
        Frames rest;
        fuzz::expect(fuzz::takeMessage(mLine.own, rest) != fuzz::Taken::message,
                     "something is left to receive");
    }

protected:
    // What is different for the others.

    /// Before each message.
    virtual void prepare() {}

    /// What of the frames gets to the library, if anything.
    virtual std::optional<Frames> through(const Frames& sent) const
    {
        return sent;
    }

    /// After each message that was received.
    virtual void settle(const Frames& /*sent*/) {}

    /// What the pattern makes of the transport's result; changes the message.
    virtual int expectFromPattern(Text& /*msg*/, int result) const
    {
        return result;
    }
    virtual int expectFromPattern(Binary& /*msg*/, int result) const
    {
        return result;
    }

    virtual int receiveOtherwise(std::string& topic, ostrel::StringMsg& msg, long timeout)
    {
        return mChannel->receive(topic, &msg, timeout);
    }
    virtual int receiveOtherwise(ostrel::IpcMsg& msg, long timeout)
    {
        return mChannel->receive(&msg, timeout);
    }

    const fuzz::Line mLine;

private:
    void receiveNext(fuzz::Input& input)
    {
        How how(input.byte());
        const Frames sent = input.message();
        prepare();
        fuzz::sendMessage(mLine.peer, sent, how.memory);
        const std::optional<Frames> arrived = through(sent);
        if (mChannel == nullptr) {
            how.level = Level::transport;
        }
        if (how.timeout == -1) {
            if (arrived) {
                fuzz::awaitMessage(mLine.own); // A fault must not make it wait for ever.
            } else {
                how.timeout = 0;
            }
        }
        how.binary ? receiveBinary(how, arrived) : receiveText(how, arrived);
        fuzz::expectLogged({});
        if (arrived) {
            settle(sent);
        }
    }

    void receiveText(const How& how, const std::optional<Frames>& arrived)
    {
        ostrel::StringMsg msg;
        if (how.intoUsed) {
            use(msg);
        }
        Text expected = fuzz::look(msg);
        std::string expectedTopic = "no topic yet";
        int expectedResult = nothing(how.timeout);
        expected.parts.clear();
        if (arrived) {
            expectedResult = fuzz::receive(expected, *arrived);
        }
        if (how.level != Level::transport) {
            expectedResult = expectFromPattern(expected, expectedResult);
        }
        if (how.level == Level::channel || how.level == Level::other) {
            expectedResult = fuzz::takeTopic(expectedTopic, expected, expectedResult);
        }
        std::string topic = "no topic yet";
        fuzz::expectEqual(receive(how, topic, msg), expectedResult, "the result");
        fuzz::expectEqual(topic, expectedTopic, "the topic");
        fuzz::expectSame(fuzz::look(msg), expected);
    }

    void receiveBinary(const How& how, const std::optional<Frames>& arrived)
    {
        ostrel::IpcMsg msg(0, 78);
        if (how.intoUsed) {
            use(msg);
        }
        Binary expected = fuzz::look(msg);
        int expectedResult = nothing(how.timeout);
        if (arrived) {
            expectedResult = fuzz::receive(expected, *arrived, framing);
        }
        if (how.level != Level::transport) {
            expectedResult = expectFromPattern(expected, expectedResult);
        }
        fuzz::expectEqual(receive(how, msg), expectedResult, "the result");
        fuzz::expectSame(fuzz::look(msg), expected);
    }

    int receive(const How& how, std::string& topic, ostrel::StringMsg& msg)
    {
        switch (how.level) {
        case Level::transport:
            return transport().receive(mLine.own, &msg, how.timeout);
        case Level::pattern:
            return mLine.pattern->receive(&msg, how.timeout);
        case Level::channel:
            return mChannel->receive(topic, &msg, how.timeout);
        case Level::other:
            break;
        }
        return receiveOtherwise(topic, msg, how.timeout);
    }

    int receive(const How& how, ostrel::IpcMsg& msg)
    {
        ostrel::IpcMsg* given = &msg;
        switch (how.level) {
        case Level::transport:
            return transport().receive(mLine.own, given, how.timeout);
        case Level::pattern:
            return mLine.pattern->receive(given, how.timeout);
        case Level::channel:
            return mChannel->receive(given, how.timeout);
        case Level::other:
            break;
        }
        return receiveOtherwise(msg, how.timeout);
    }

    ostrel::MsgChannel* mChannel;
};

class RequestReceiver : public Receiver {
public:
    explicit RequestReceiver(ostrel::MsgRequestClientChannel& channel)
        : Receiver(fuzz::join(channel, ostrel::PROP_SERVER_ENDPOINT), &channel), mChannel(channel)
    {
    }

protected:
    void prepare() override
    {
        if (!mAsked) {
            fuzz::sendMessage(mLine.own, {"a question"});
            fuzz::drain(mLine.peer);
            mAsked = true;
        }
    }

    std::optional<Frames> through(const Frames& sent) const override
    {
        return fuzz::throughReq(sent);
    }

    void settle(const Frames& /*sent*/) override
    {
        mAsked = false;
    }

    int receiveOtherwise(ostrel::IpcMsg& msg, long timeout) override
    {
        return mChannel.ipcReceive(&msg, timeout);
    }

private:
    ostrel::MsgRequestClientChannel& mChannel;
    bool mAsked = false;
};

class ReplyReceiver : public Receiver {
public:
    explicit ReplyReceiver(ostrel::MsgReplyServerChannel& channel)
        : Receiver(fuzz::join(channel, ostrel::PROP_SERVER_ENDPOINT), &channel), mChannel(channel)
    {
    }

protected:
    std::optional<Frames> through(const Frames& sent) const override
    {
        const std::optional<fuzz::Request> request = fuzz::throughRep(sent);
        return request ? std::optional<Frames>(request->body) : std::nullopt;
    }

    void settle(const Frames& sent) override
    {
        fuzz::sendMessage(mLine.own, {"an answer"});
        Frames expected = fuzz::throughRep(sent)->envelope;
        expected.emplace_back("an answer");
        Frames answer;
        fuzz::takeMessage(mLine.peer, answer);
        fuzz::expectEqual(answer, expected, "the answer");
    }

    int receiveOtherwise(ostrel::IpcMsg& msg, long timeout) override
    {
        return mChannel.ipcReceive(&msg, timeout);
    }

private:
    ostrel::MsgReplyServerChannel& mChannel;
};

class SubscribeReceiver : public Receiver {
public:
    /// `filters` are those of the channel.
    SubscribeReceiver(ostrel::MsgSubscribeChannel& channel, std::vector<std::string> filters)
        : Receiver(fuzz::join(channel, ostrel::PROP_PUBLISHER_ENDPOINT), &channel),
          mFilters(std::move(filters))
    {
    }

protected:
    std::optional<Frames> through(const Frames& sent) const override
    {
        const bool passes =
            std::any_of(mFilters.begin(), mFilters.end(), [&](const std::string& filter) {
                return sent.front().compare(0, filter.size(), filter) == 0;
            });
        return passes ? std::optional<Frames>(sent) : std::nullopt;
    }

private:
    const std::vector<std::string> mFilters;
};

class ClientReceiver : public Receiver {
public:
    explicit ClientReceiver(ostrel::MsgDealerClientChannel& channel)
        : Receiver(fuzz::join(channel, ostrel::PROP_DEALER_SERVER_ENDPOINT), &channel),
          mChannel(channel)
    {
    }

protected:
    int receiveOtherwise(std::string& topic, ostrel::StringMsg& msg, long timeout) override
    {
        ostrel::StringMsg question(1);
        const int result = mChannel.sendWaitResponse("ask", &question, topic, &msg, timeout);
        fuzz::drain(mLine.peer);
        return result;
    }

    int receiveOtherwise(ostrel::IpcMsg& msg, long timeout) override
    {
        ostrel::IpcMsg question;
        question.setNumParts(2); // One of them leaves first when identity framing is on.
        const int result = mChannel.sendWaitResponse(&question, &msg, timeout);
        fuzz::drain(mLine.peer);
        return result;
    }

private:
    ostrel::MsgDealerClientChannel& mChannel;
};

class WorkerReceiver : public Receiver {
public:
    explicit WorkerReceiver(ostrel::MsgDealerWorkerChannel& channel)
        : Receiver(fuzz::join(channel, ostrel::PROP_DEALER_WORKER_ENDPOINT), &channel)
    {
    }

protected:
    int expectFromPattern(Text& msg, int result) const override
    {
        return fuzz::takeClient(msg, result);
    }
    int expectFromPattern(Binary& msg, int result) const override
    {
        return fuzz::takeClient(msg, result);
    }
};

std::unique_ptr<Receiver> makeFiltered()
{
    static ostrel::MsgSubscribeChannel channel("filtered");
    const std::vector<std::string> filters = {"k", std::string("\0\0\0\7", 4)};
    for (const std::string& filter : filters) {
        channel.subscribe(filter);
    }
    return std::make_unique<SubscribeReceiver>(channel, filters);
}

using Receivers = std::vector<std::unique_ptr<Receiver>>;

// The channels are of the program, and closed at its end.
Receivers makeReceivers()
{
    static ostrel::MsgRequestClientChannel request("request");
    static ostrel::MsgReplyServerChannel reply("reply");
    static ostrel::MsgSubscribeChannel subscriber("subscriber");
    static ostrel::MsgDealerClientChannel client("client");
    Receivers receivers;
    receivers.push_back(std::make_unique<Receiver>(fuzz::joinTransport()));
    receivers.push_back(std::make_unique<RequestReceiver>(request));
    receivers.push_back(std::make_unique<ReplyReceiver>(reply));
    receivers.push_back(
        std::make_unique<SubscribeReceiver>(subscriber, std::vector<std::string>{""}));
    receivers.push_back(makeFiltered());
    receivers.push_back(std::make_unique<ClientReceiver>(client));
    if (framing) {
        static const auto worker = fuzz::makePoolWorker();
        receivers.push_back(std::make_unique<WorkerReceiver>(*worker));
    }
    return receivers;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Receivers receivers = makeReceivers();
    fuzz::Input input(data, size);
    receivers[input.byte() % receivers.size()]->run(input);
    return 0;
}
