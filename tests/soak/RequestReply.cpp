#include "Exchange.h"

#include <functional>
#include <ostrel/MsgReplyServerChannel.h>
#include <ostrel/MsgRequestClientChannel.h>

namespace soak {

namespace {

using ostrel::MsgReplyServerChannel;
using ostrel::MsgRequestClientChannel;

std::string endpointOf(const Plan& plan)
{
    return "ipc://" + plan.folder + "/requests";
}

std::function<void(std::string_view data)> serve;

void callback(const char* data, int size, MsgReplyServerChannel* /*channel*/)
{
    serve({data, static_cast<std::size_t>(size)});
}

Figures runServer(Mate& mate, const Plan& plan)
{
    MsgReplyServerChannel channel("server");
    channel.setServerEndPoint(endpointOf(plan));
    channel.registerCallBack(type, callback);
    const auto answer = [&](long number) { send(channel, plan.way, payloadOf(number, plan)); };
    const auto single = [&](long number) {
        requirePayload(receive(channel, plan.way), number, plan);
        answer(number);
    };
    const auto turn = [&](long number) {
        serve = [&, number](std::string_view data) {
            requirePayload(data, number, plan);
            answer(number);
            channel.terminate();
        };
        channel.ipcReceive(-1);
    };
    const auto loop = [&](long first, HeldMeter& meter) {
        serve = [&, first](std::string_view data) {
            const bool last = meter.isLast();
            requirePayload(data, first, plan); // A callback sees the loop's first request for ever.
            answer(first + meter.count() - 1);
            if (last) {
                channel.terminate();
            }
        };
        channel.ipcReceive(-1);
    };
    return measuredByWay(mate, plan, single, turn, loop);
}

Figures runClient(Mate& mate, const Plan& plan)
{
    MsgRequestClientChannel channel("client");
    channel.setServerEndPoint(endpointOf(plan));
    return measuredSteps(mate, plan, [&](long number) {
        send(channel, plan.way, payloadOf(number, plan));
        requirePayload(receive(channel, plan.way), number, plan);
    });
}

} // namespace

std::vector<Role> requestReply(const Plan& plan)
{
    return {{"server", [plan](Mate& mate) { return runServer(mate, plan); }},
            {"client", [plan](Mate& mate) { return runClient(mate, plan); }}};
}

} // namespace soak
