#include "Exchange.h"

#include <functional>
#include <ostrel/MsgDealerClientChannel.h>
#include <ostrel/MsgDealerWorkerChannel.h>
#include <ostrel/MsgHandle.h>

namespace soak {

namespace {

using ostrel::MsgDealerClientChannel;
using ostrel::MsgDealerWorkerChannel;
using ostrel::MsgHandle;

/// How many requests a client has under way at once.
constexpr long window = 50;
static_assert(burst % window == 0);

std::string endpointOf(const Plan& plan, const char* name)
{
    return "ipc://" + plan.folder + "/" + name;
}

/// Starts the broker of this process, with a worker that goes at once: what stays is the broker.
void startBroker(const std::string& clients, const std::string& workers)
{
    MsgDealerWorkerChannel first("pool");
    first.setServerEndPoint(clients);
    first.setWorkerEndPoint(workers);
    ostrel::IpcMsg nothing;
    first.receive(&nothing, 0);
}

Figures runBroker(Mate& mate, const Plan& plan)
{
    startBroker(endpointOf(plan, "clients"), endpointOf(plan, "workers"));
    mate.gate(); // Now the others may join.
    const auto nothing = [](long /*from*/, long /*to*/, Figures& /*figures*/) {};
    return measured(mate, plan, nothing, nothing);
}

std::function<void(std::string_view data, const MsgHandle& client)> serve;

void callback(int /*arg*/, const char* data, int size, MsgDealerWorkerChannel* /*channel*/,
              MsgHandle* client)
{
    serve({data, static_cast<std::size_t>(size)}, *client);
}

void answer(MsgDealerWorkerChannel& channel, std::string bytes, const MsgHandle& client)
{
    // A send consumes the handle.
    require(channel.ipcSend(type, bytes.data(), static_cast<int>(bytes.size()), client.clone()) ==
                1,
            "a send has failed");
}

/// Receives one request and answers it with the same; gives what it was.
std::string echo(MsgDealerWorkerChannel& channel, Way way)
{
    if (way == Way::text) {
        std::string topic;
        ostrel::StringMsg msg;
        require(channel.receive(topic, &msg, -1) == 1, "no text of one part was received");
        require(channel.send(topic.c_str(), &msg) == 1, "a send has failed"); // It has the handle.
        return msg[0];
    }
    ostrel::IpcMsg msg;
    require(channel.receive(&msg, -1) == 1, "no message of one part was received");
    std::string bytes(msg.getMsgData(), static_cast<std::size_t>(msg.getMsgSize()));
    answer(channel, bytes, *msg.getHandle());
    return bytes;
}

/// A worker answers with what it was asked; that it was the right thing is seen by the client.
Figures runWorker(Mate& mate, const Plan& plan)
{
    mate.gate(); // The broker is there.
    // The name is taken at endpoints that nobody uses, so that the channel starts no broker here.
    startBroker(endpointOf(plan, "nobody"), endpointOf(plan, "nothing"));
    MsgDealerWorkerChannel channel("pool");
    channel.setWorkerEndPoint(endpointOf(plan, "workers"));
    channel.registerCallBack(type, callback);
    // The first request is about joining, and more of these may follow. They do not count.
    echo(channel, plan.way);
    const auto single = [&](long /*number*/) {
        while (echo(channel, plan.way) == joining) {
        }
    };
    const auto turn = [&](long /*number*/) {
        bool served = false;
        serve = [&](std::string_view data, const MsgHandle& client) {
            served = data != joining;
            answer(channel, std::string(data), client);
            channel.terminate();
        };
        while (!served) {
            channel.ipcReceive(0, -1);
        }
    };
    // What the loop gives from its second request on cannot be answered: nobody waits for that.
    const auto loop = [&](long first, HeldMeter& meter) {
        serve = [&, first](std::string_view data, const MsgHandle& /*client*/) {
            const bool last = meter.isLast();
            if (meter.count() == 1) {
                requirePayload(data, first, plan);
            }
            if (meter.count() % burst == 0) {
                mate.giveCredit();
            }
            if (last) {
                channel.terminate();
            }
        };
        channel.ipcReceive(0, -1);
    };
    return measuredByWay(mate, plan, single, turn, loop);
}

/// Until something comes back: what the broker deals out to the worker that has just gone is lost.
void join(MsgDealerClientChannel& channel, Way way)
{
    bool joined = false;
    while (!joined) {
        send(channel, way, joining);
        const auto end = std::chrono::steady_clock::now() + knock;
        while (!joined && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            joined = tryReceive(channel, way, 0).has_value();
        }
    }
}

Figures runClient(Mate& mate, const Plan& plan)
{
    mate.gate(); // The broker is there.
    MsgDealerClientChannel channel("client");
    channel.setServerEndPoint(endpointOf(plan, "clients"));
    join(channel, plan.way);
    const auto ask = [&](long from, long to, Figures& /*figures*/) {
        for (; from < to; from += window) {
            for (long number = from; number < from + window; ++number) {
                send(channel, plan.way, payloadOf(number, plan));
            }
            for (long number = from; number < from + window; ++number) {
                requirePayload(receiveData(channel, plan.way), number, plan);
            }
        }
    };
    const auto tell = steps([&](long number) {
        send(channel, plan.way, payloadOf(number, plan));
        if ((number + 1) % burst == 0) {
            awaitBurst(mate);
        }
    });
    return plan.way == Way::loop ? measured(mate, plan, ask, tell) : measured(mate, plan, ask, ask);
}

} // namespace

std::vector<Role> workerPool(const Plan& plan)
{
    return {{"broker", [plan](Mate& mate) { return runBroker(mate, plan); }},
            {"worker", [plan](Mate& mate) { return runWorker(mate, plan); }},
            {"client", [plan](Mate& mate) { return runClient(mate, plan); }}};
}

} // namespace soak
