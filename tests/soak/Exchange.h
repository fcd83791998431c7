#ifndef OSTREL_TESTS_SOAK_EXCHANGE_H
#define OSTREL_TESTS_SOAK_EXCHANGE_H

#include "Crew.h"
#include "Figures.h"
#include "HeldMeter.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <optional>
#include <ostrel/IpcMsg.h>
#include <ostrel/MsgChannel.h>
#include <ostrel/StringMsg.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

/// What the exchanges of all patterns share.
namespace soak {

/// How the receiving side takes its messages.
enum class Way {
    single, ///< One by one, each into a message of its own.
    turns,  ///< In the channel's loop, which ends in every callback and is entered again.
    loop,   ///< In the channel's loop, which holds on to every message until it ends.
    text    ///< One by one, as text messages.
};

/// The size of one exchange. All numbers of messages are multiples of a burst.
struct Plan {
    Way way;
    std::size_t payload; ///< Bytes of each message.
    long warmUp;         ///< Messages before the first reading, one by one.
    long messages;       ///< Messages between the readings.
    long loop;           ///< Messages of one loop, a divisor of the above; read by Way::loop.
    std::string folder;  ///< For endpoints.
};

/// Where nothing comes back, a burst is sent and waited for. It stays below the 500 messages by
/// which ZeroMQ reports a queue as read, out of the 1,000 that this has room for.
constexpr long burst = 250;

/// How long a joining side waits for a sign before it knocks again.
constexpr auto knock = std::chrono::milliseconds(50);

inline const std::string joining = "joining";
constexpr int type = 7;

/// The `number`th message; every one is different. No zero bytes: texts would end there.
inline std::string payloadOf(long number, const Plan& plan)
{
    std::string bytes = std::to_string(number) + ' ';
    bytes.resize(std::max(plan.payload, bytes.size()), '.');
    return bytes;
}

inline void require(bool fine, const std::string& otherwise)
{
    if (!fine) {
        throw std::runtime_error(otherwise);
    }
}

inline void requirePayload(std::string_view bytes, long number, const Plan& plan)
{
    require(bytes == payloadOf(number, plan), "\"" + std::string(bytes.substr(0, 20)) +
                                                  "...\" came instead of message " +
                                                  std::to_string(number));
}

template <typename Channel> void send(Channel& channel, Way way, std::string bytes)
{
    int sent = 0;
    if (way == Way::text) {
        ostrel::StringMsg msg(1);
        msg[0] = bytes;
        sent = channel.send("soak", &msg);
    } else {
        sent = channel.ipcSend(type, bytes.data(), static_cast<int>(bytes.size()));
    }
    require(sent == 1, "a send has failed");
}

/// What `timeout` of a receive brings: -1 waits, 0 looks.
inline std::optional<std::string> tryReceive(ostrel::MsgChannel& channel, Way way, long timeout)
{
    int parts = 0;
    std::string bytes;
    if (way == Way::text) {
        std::string topic;
        ostrel::StringMsg msg;
        parts = channel.receive(topic, &msg, timeout);
        bytes = parts == 1 ? msg[0] : "";
    } else {
        ostrel::IpcMsg msg;
        parts = channel.receive(&msg, timeout);
        bytes.assign(msg.getMsgData(), static_cast<std::size_t>(msg.getMsgSize()));
    }
    if (parts == -1 && timeout == 0) {
        return std::nullopt;
    }
    require(parts == 1, "no message of one part was received");
    return bytes;
}

inline std::string receive(ostrel::MsgChannel& channel, Way way)
{
    return tryReceive(channel, way, -1).value();
}

/// The next message that is not about joining: more of that than was waited for may come.
inline std::string receiveData(ostrel::MsgChannel& channel, Way way)
{
    std::string bytes = receive(channel, way);
    while (bytes == joining) {
        bytes = receive(channel, way);
    }
    return bytes;
}

/// A sender's wait for its receiver. A publisher and a dealer client look for reports of what has
/// left their queue at most once a millisecond; hence the nap.
inline void awaitBurst(Mate& mate)
{
    require(mate.awaitCredit(std::chrono::seconds(60)), "a message was lost");
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

/// The course of every process: `warmUp(from, to, figures)` moves the messages of these numbers,
/// then `run(from, to, figures)` does. Between the two, and afterwards, nothing moves, and memory
/// is looked at. The channels have to be joined by then, or to be destroyed only after that.
template <typename WarmUp, typename Run>
Figures measured(Mate& mate, const Plan& plan, WarmUp warmUp, Run run)
{
    Figures figures = {};
    mate.gate();
    warmUp(0, plan.warmUp, figures);
    mate.gate();
    figures.before = settledReading();
    const auto start = std::chrono::steady_clock::now();
    mate.gate();
    run(plan.warmUp, plan.warmUp + plan.messages, figures);
    mate.gate();
    figures.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    figures.after = settledReading();
    figures.peak = heapPeak();
    mate.gate();
    return figures;
}

template <typename Step> auto steps(Step step)
{
    return [step](long from, long to, Figures& /*figures*/) {
        for (long number = from; number < to; ++number) {
            step(number);
        }
    };
}

/// The same for a process that does one thing for each message.
template <typename Step> Figures measuredSteps(Mate& mate, const Plan& plan, Step step)
{
    return measured(mate, plan, steps(step), steps(step));
}

/// The same for a process that serves in loops: one by one until it is warm, then in loops, each
/// entered by `enter(first, meter)` with the number of its first message.
template <typename Step, typename Enter>
Figures measuredLoops(Mate& mate, const Plan& plan, Step step, Enter enter)
{
    return measured(mate, plan, steps(step), [&](long from, long to, Figures& figures) {
        HeldMeter meter;
        for (long first = from; first < to; first += plan.loop) {
            meter.begin(plan.loop, figures.before.heap.bytes);
            enter(first, meter);
        }
        figures.holds = true;
        figures.held = meter.held();
    });
}

/// The same for a process that serves as the plan says: one by one, in turns, or in loops.
template <typename Single, typename Turn, typename Enter>
Figures measuredByWay(Mate& mate, const Plan& plan, Single single, Turn turn, Enter loop)
{
    switch (plan.way) {
    case Way::turns:
        return measuredSteps(mate, plan, turn);
    case Way::loop:
        return measuredLoops(mate, plan, single, loop);
    default:
        return measuredSteps(mate, plan, single);
    }
}

/// The processes of one exchange of a pattern.
std::vector<Role> requestReply(const Plan& plan);
std::vector<Role> publishSubscribe(const Plan& plan);
std::vector<Role> workerPool(const Plan& plan);

} // namespace soak

#endif
