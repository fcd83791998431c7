// recovery_worker LEDGER WORKERS UNUSED NUMBER: a worker of another process's broker, that answers
// until it is killed. UNUSED is what two endpoints that nobody uses begin with.

#include "ostrel/MsgDealerWorkerChannel.h"
#include "ostrel/MsgHandle.h"
#include "recovery/Program.h"

using namespace recovery;

namespace {

/// The first channel of a name starts a broker; this one's is for nobody.
void takeName(const std::string& unused)
{
    ostrel::MsgDealerWorkerChannel channel("pool");
    channel.setServerEndPoint(unused + ".clients");
    channel.setWorkerEndPoint(unused + ".workers");
    ostrel::IpcMsg nothing;
    channel.receive(&nothing, 0);
}

} // namespace

int main(int argc, char** argv)
{
    return runProgram(argc, argv, 4, [&](Ledger& ledger) {
        const unsigned int number = numberOf(argv[4]);
        takeName(argv[3]);
        ostrel::MsgDealerWorkerChannel channel("pool");
        channel.setWorkerEndPoint(argv[2]);
        for (;;) {
            ostrel::IpcMsg msg;
            channel.receive(&msg, -1);
            const Message question = messageOf(msg);
            const Message answer = serve(ledger, number, question);
            ostrel::IpcMsg reply = support::binaryOf(answer.type, 0, answer.parts);
            reply.setHandle(msg.getHandle());
            demand(channel.send(&reply) > 0, "cannot answer");
            noteAnswered(ledger, question);
        }
    });
}
