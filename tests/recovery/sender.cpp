// recovery_sender LEDGER ENDPOINT NUMBER KIND: sends a request, then big ones of many parts, as
// many as it is allowed to, until it is killed. KIND is "request" for a client of a reply server,
// "dealer" for one of a broker.

#include "ostrel/MsgDealerClientChannel.h"
#include "ostrel/MsgRequestClientChannel.h"
#include "recovery/Program.h"
#include "support/RandSpy.h"

#include <linux/sockios.h>
#include <memory>
#include <sys/ioctl.h>

using namespace recovery;

namespace {

constexpr int muchQueued = 1 << 16;

/// Whether the system has taken bytes from one of this process's sockets that did not get through
/// to the other side yet.
bool isStuck()
{
    for (int fd = 3; fd < 64; ++fd) {
        int queued = 0;
        if (ioctl(fd, SIOCOUTQ, &queued) == 0 && queued >= muchQueued) {
            return true;
        }
    }
    return false;
}

std::unique_ptr<ostrel::MsgChannel> connect(const std::string& kind, const std::string& endpoint)
{
    if (kind == "request") {
        auto channel = std::make_unique<ostrel::MsgRequestClientChannel>("sender");
        channel->setServerEndPoint(endpoint);
        return channel;
    }
    auto channel = std::make_unique<ostrel::MsgDealerClientChannel>("sender");
    channel->setServerEndPoint(endpoint);
    return channel;
}

} // namespace

int main(int argc, char** argv)
{
    return runProgram(argc, argv, 4, [&](Ledger& ledger) {
        const unsigned int number = numberOf(argv[3]);
        Client& own = ledger.clients[number];
        support::RandSpy clock;
        clock.setTime(1700000000 + static_cast<std::time_t>(number));
        const auto channel = connect(argv[4], argv[2]);
        for (unsigned int request = 0;; ++request) {
            while (own.sendings == own.allowed) {
                nap();
            }
            const unsigned int sending = noteSending(ledger, number, request);
            const Tag tag = {number, sending, request};
            send(*channel, request == 0 ? questionOf(tag) : bigQuestionOf(tag));
            for (ostrel::IpcMsg answer; channel->receive(&answer, 0) == -1;) {
                if (isStuck()) {
                    ++own.stuck;
                }
                nap();
            }
            ++own.settled;
        }
    });
}
