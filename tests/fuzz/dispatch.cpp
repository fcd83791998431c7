// A peer sends arbitrary messages, all at once, to a channel that dispatches them in its loop. The
// calls of callbacks, the answers that come back and the end of the loop are compared with what the
// model makes of the frames.
//
// The input: a byte that chooses the channel, one that chooses time-out and memory, then the
// messages (see Input). One that ends the loop is put behind them. FRAMING says whether identity
// framing is on. That is for a whole process, so this is two programs.
#include "fuzz/Check.h"
#include "fuzz/Input.h"
#include "fuzz/Line.h"
#include "fuzz/Model.h"
#include "fuzz/Sockets.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgDealerWorkerChannel.h"
#include "ostrel/MsgHandle.h"
#include "ostrel/MsgReplyServerChannel.h"
#include "ostrel/MsgSubscribeChannel.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using fuzz::Binary;
using fuzz::Client;
using fuzz::Frames;

constexpr bool framing = FRAMING;

/// More would only be the same again.
constexpr std::size_t mostMessages = 10;

/// What the callback of each type of message does. Other types have none.
enum Type : int {
    noHeader, // Messages without a header have this type. Answers.
    answers,
    answersAndEnds,
    nullCallback,
    throws, // A worker's loop would lose its working message then: there it answers.
    doesNotAnswer,
    answersInTwoParts,
    ends = std::numeric_limits<int>::min()
};

using Types = std::integer_sequence<int, noHeader, answers, answersAndEnds, throws, doesNotAnswer,
                                    answersInTwoParts, ends>;

constexpr bool isAnswered(int type)
{
    return type != doesNotAnswer && type != ends;
}

constexpr bool isLast(int type)
{
    return type == ends || type == answersAndEnds;
}

constexpr const char* leadingPart = "first";
constexpr const char* thrownText = "by the callback";
constexpr int loopArgument = 4711;

/// What a run of a loop comes to.
struct Run {
    std::vector<Frames> calls; // The type, the client and the data that each callback got.
    std::vector<Frames> answers;
    std::string thrown;
    std::vector<std::string> logged;
};

Frames call(int type, const Client& client, const std::string& data)
{
    return {std::to_string(type), client.value_or("no client"), data};
}

// The callbacks.

std::vector<Frames> calls;

void note(int type, const Client& client, const char* data, int size)
{
    fuzz::expect((data == nullptr) == (size == 0), "a callback gets bytes or size 0");
    calls.push_back(call(type, client, data == nullptr ? "" : std::string(data, data + size)));
}

template <typename Channel>
void answerInTwoParts(Channel& channel, const char* data, int size, const ostrel::MsgHandle* handle)
{
    ostrel::IpcMsg answer(answersInTwoParts, 0);
    answer.insertPart(0, data, size);
    answer.insertPart(0, leadingPart, 5);
    answer.setHandle(handle);
    channel.send(&answer);
}

template <int type> void handle(const char* data, int size, ostrel::MsgReplyServerChannel* channel)
{
    note(type, std::nullopt, data, size);
    if (type == throws) {
        throw std::runtime_error(thrownText);
    }
    if (isLast(type)) {
        channel->terminate();
    }
    if (type == answersInTwoParts) {
        answerInTwoParts(*channel, data, size, nullptr);
    } else if (isAnswered(type)) {
        channel->ipcSend(type, const_cast<char*>(data), size);
    }
}

template <int type> void handle(const char* data, int size, ostrel::MsgSubscribeChannel* channel)
{
    note(type, std::nullopt, data, size);
    if (type == throws) {
        throw std::runtime_error(thrownText);
    }
    if (isLast(type)) {
        channel->terminate();
    }
}

template <int type>
void handle(int arg, const char* data, int size, ostrel::MsgDealerWorkerChannel* channel,
            ostrel::MsgHandle* client)
{
    fuzz::expectEqual(arg, loopArgument, "the argument of the loop");
    note(type, fuzz::look(client), data, size);
    if (isLast(type)) {
        channel->terminate();
    }
    if (type == answersInTwoParts) {
        answerInTwoParts(*channel, data, size, client);
    } else if (isAnswered(type)) {
        channel->ipcSend(type, const_cast<char*>(data), size, client->clone());
    }
}

template <typename Channel, int... types>
void registerCallbacks(Channel& channel, std::integer_sequence<int, types...> /*types*/)
{
    (channel.registerCallBack(types, handle<types>), ...);
    channel.registerCallBack(nullCallback, nullptr);
}

// The model.

enum class Kind { reply, subscriber, worker };

class LoopModel {
public:
    explicit LoopModel(Kind kind) : mKind(kind) {}

    Run run(const std::vector<Frames>& messages)
    {
        for (auto next = messages.begin(); !mDone; ++next) {
            fuzz::expect(next != messages.end(), "the last message ends the loop");
            receive(*next);
        }
        return mRun;
    }

private:
    void receive(const Frames& sent)
    {
        if (mOwesAnswer) {
            refuse("receive() : Failed to get messagepart: ");
            return;
        }
        Frames arrived = sent;
        if (mKind == Kind::reply) {
            const std::optional<fuzz::Request> request = fuzz::throughRep(sent);
            if (!request) {
                return;
            }
            mEnvelope = request->envelope;
            arrived = request->body;
            mOwesAnswer = true;
        }
        int result = fuzz::receive(mWorking, arrived, framing);
        if (mKind == Kind::worker) {
            result = fuzz::takeClient(mWorking, result);
        }
        const bool known = mWorking.type == ends ||
                           (mWorking.type >= noHeader && mWorking.type <= answersInTwoParts);
        if (result > 0 && known && mWorking.type != nullCallback) {
            callBack(mWorking.type, mWorking.parts.front());
        }
    }

    void callBack(int type, const std::string& data)
    {
        mRun.calls.push_back(call(type, mWorking.client, data));
        mDone = isLast(type);
        if (type == throws && mKind != Kind::worker) {
            mRun.thrown = std::string("runtime_error: ") + thrownText;
            mDone = true;
        } else if (isAnswered(type) && mKind != Kind::subscriber) {
            answer(type, data);
        }
    }

    void answer(int type, const std::string& data)
    {
        mOwesAnswer = false;
        const std::string header = fuzz::header(type, 0);
        const bool inTwo = type == answersInTwoParts;
        Frames frames = mEnvelope;
        if (mKind == Kind::worker) {
            frames = {*mWorking.client, header};
            if (inTwo) {
                frames.emplace_back(leadingPart);
            }
        } else if (!framing) {
            frames.push_back(header);
            if (inTwo) {
                frames.emplace_back(leadingPart);
            }
        } else if (inTwo) {
            frames.emplace_back(leadingPart);
            frames.push_back(header);
        } else {
            // The only part leaves where the identity should be, and is the whole answer.
            refuse("send() : Failed to send messagepart : ");
        }
        frames.push_back(data);
        mRun.answers.push_back(frames);
    }

    /// The operation that ends in `text` is out of turn.
    void refuse(const std::string& text)
    {
        const std::string reason = "Operation cannot be accomplished in current state";
        mRun.thrown = "runtime_error: " + text.substr(text.find("Failed")) + reason;
        mRun.logged = {"Error : Ostrel::ZMQWrapper::" + text + reason};
        mDone = true;
    }

    const Kind mKind;
    Run mRun;
    Binary mWorking;
    Frames mEnvelope;
    bool mOwesAnswer = false;
    bool mDone = false;
};

// The loops.

struct Loop {
    Kind kind;
    fuzz::Line line;
    std::function<int(long)> receive;
};

std::vector<Loop> makeLoops()
{
    static ostrel::MsgReplyServerChannel reply("reply");
    static ostrel::MsgSubscribeChannel subscriber("subscriber");
    registerCallbacks(reply, Types());
    registerCallbacks(subscriber, Types());
    std::vector<Loop> loops = {
        {Kind::reply, fuzz::join(reply, ostrel::PROP_SERVER_ENDPOINT),
         [](long timeout) { return reply.ipcReceive(timeout); }},
        {Kind::subscriber, fuzz::join(subscriber, ostrel::PROP_PUBLISHER_ENDPOINT),
         [](long timeout) { return subscriber.ipcReceive(timeout); }},
    };
    if (framing) {
        static const auto worker = fuzz::makePoolWorker();
        registerCallbacks(*worker, Types());
        loops.push_back({Kind::worker, fuzz::join(*worker, ostrel::PROP_DEALER_WORKER_ENDPOINT),
                         [](long timeout) { return worker->ipcReceive(loopArgument, timeout); }});
    }
    return loops;
}

Frames endingMessage(Kind kind)
{
    Frames frames = {fuzz::header(ends, 0), "the end"};
    if (framing) {
        frames.insert(frames.begin(), "the ending client");
    }
    if (kind == Kind::reply) {
        frames.insert(frames.begin(), "");
    }
    return frames;
}

std::vector<Frames> takeAnswers(const Loop& loop)
{
    std::vector<Frames> answers;
    Frames answer;
    while (loop.kind != Kind::subscriber &&
           fuzz::takeMessage(loop.line.peer, answer) == fuzz::Taken::message) {
        answers.push_back(answer);
    }
    return answers;
}

/// The loop may have ended before it took all.
void clear(const Loop& loop)
{
    fuzz::drain(loop.line.own);
    takeAnswers(loop);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::vector<Loop> loops = makeLoops();
    fuzz::Input input(data, size);
    const Loop& loop = loops[input.byte() % loops.size()];
    const unsigned int how = input.byte();
    const long timeout = static_cast<long>(how % 4) - 1;
    const auto memory = (how & 4U) != 0 ? fuzz::Memory::zeroMQ : fuzz::Memory::exact;

    std::vector<Frames> messages;
    while (messages.size() < mostMessages && !input.atEnd()) {
        messages.push_back(input.message());
    }
    messages.push_back(endingMessage(loop.kind));
    for (const Frames& frames : messages) {
        fuzz::sendMessage(loop.line.peer, frames, memory);
    }
    const Run expected = LoopModel(loop.kind).run(messages);
    calls.clear();
    int result = 0;
    const std::string thrown = fuzz::thrownBy([&] { result = loop.receive(timeout); });
    fuzz::expectEqual(result, 0, "the result");
    fuzz::expectEqual(thrown, expected.thrown, "what is thrown");
    fuzz::expectEqual(calls, expected.calls, "the list of calls");
    fuzz::expectEqual(takeAnswers(loop), expected.answers, "the list of answers");
    fuzz::expectLogged(expected.logged);
    clear(loop);
    return 0;
}
