// recovery_client LEDGER ENDPOINT NUMBER: asks one request after the other, until it is told to
// stop. A request that is not answered in time is asked again over a new channel: the old one still
// waits, and refuses to send.

#include "ostrel/MsgRequestClientChannel.h"
#include "recovery/Program.h"

#include <memory>

using namespace recovery;

namespace {

std::unique_ptr<ostrel::MsgRequestClientChannel> newChannel(const std::string& endpoint)
{
    auto channel = std::make_unique<ostrel::MsgRequestClientChannel>("client");
    channel->setServerEndPoint(endpoint);
    return channel;
}

bool receiveWithin(std::chrono::milliseconds patience, ostrel::MsgRequestClientChannel& channel,
                   ostrel::IpcMsg& answer)
{
    const auto end = Clock::now() + patience;
    while (channel.ipcReceive(&answer, 0) == -1) {
        if (Clock::now() > end) {
            return false;
        }
        nap();
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    return runProgram(argc, argv, 3, [&](Ledger& ledger) {
        const unsigned int number = numberOf(argv[3]);
        Client& own = ledger.clients[number];
        auto channel = newChannel(argv[2]);
        while (!ledger.stop && own.sendings < maxSendings / 2) {
            const unsigned int request = own.requests++;
            // Longer each time: a machine that is too slow for the first must get there too.
            for (std::chrono::milliseconds patience(100);; patience *= 2) {
                const unsigned int sending = noteSending(ledger, number, request);
                send(*channel, questionOf({number, sending, request}));
                ostrel::IpcMsg answer;
                if (receiveWithin(patience, *channel, answer)) {
                    demand(settle(ledger, number, messageOf(answer)).sending == sending,
                           "the answer to an earlier sending");
                    break;
                }
                channel = newChannel(argv[2]);
            }
            ++own.settled;
        }
    });
}
