#include "Exchange.h"

#include <functional>
#include <ostrel/MsgPublishChannel.h>
#include <ostrel/MsgSubscribeChannel.h>

namespace soak {

namespace {

using ostrel::MsgPublishChannel;
using ostrel::MsgSubscribeChannel;

std::string endpointOf(const Plan& plan)
{
    return "ipc://" + plan.folder + "/news";
}

std::function<void(std::string_view data)> hear;

void callback(const char* data, int size, MsgSubscribeChannel* /*channel*/)
{
    hear({data, static_cast<std::size_t>(size)});
}

void creditBurst(Mate& mate, long number)
{
    if ((number + 1) % burst == 0) {
        mate.giveCredit();
    }
}

Figures runSubscriber(Mate& mate, const Plan& plan)
{
    MsgSubscribeChannel channel("subscriber");
    channel.registerCallBack(type, callback);
    channel.setPublisherEndPoint(endpointOf(plan));
    require(receive(channel, plan.way) == joining, "the first message is another one");
    mate.giveCredit();
    const auto single = [&](long number) {
        requirePayload(receiveData(channel, plan.way), number, plan);
        creditBurst(mate, number);
    };
    const auto turn = [&](long number) {
        bool heard = false;
        hear = [&, number](std::string_view data) {
            if (data != joining) {
                requirePayload(data, number, plan);
                heard = true;
            }
            channel.terminate();
        };
        while (!heard) {
            channel.ipcReceive(-1);
        }
        creditBurst(mate, number);
    };
    const auto loop = [&](long first, HeldMeter& meter) {
        hear = [&, first](std::string_view data) {
            const bool last = meter.isLast();
            requirePayload(data, first, plan); // A callback sees the loop's first message for ever.
            creditBurst(mate, first + meter.count() - 1);
            if (last) {
                channel.terminate();
            }
        };
        channel.ipcReceive(-1);
    };
    return measuredByWay(mate, plan, single, turn, loop);
}

Figures runPublisher(Mate& mate, const Plan& plan)
{
    MsgPublishChannel channel("publisher");
    channel.setPublisherEndPoint(endpointOf(plan));
    // What is published before the subscriber has joined, nobody gets.
    do {
        send(channel, plan.way, joining);
    } while (!mate.awaitCredit(knock));
    return measuredSteps(mate, plan, [&](long number) {
        send(channel, plan.way, payloadOf(number, plan));
        if ((number + 1) % burst == 0) {
            awaitBurst(mate);
        }
    });
}

} // namespace

std::vector<Role> publishSubscribe(const Plan& plan)
{
    return {{"publisher", [plan](Mate& mate) { return runPublisher(mate, plan); }},
            {"subscriber", [plan](Mate& mate) { return runSubscriber(mate, plan); }}};
}

} // namespace soak
