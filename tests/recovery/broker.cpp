// recovery_broker LEDGER CLIENTS WORKERS: a broker and nothing else, until it is killed.

#include "ostrel/MsgDealerWorkerChannel.h"
#include "recovery/Program.h"

#include <unistd.h>

int main(int argc, char** argv)
{
    return recovery::runProgram(argc, argv, 3, [&](recovery::Ledger& /*ledger*/) {
        {
            // Starts the broker, and is then no worker of its own.
            ostrel::MsgDealerWorkerChannel channel("pool");
            channel.setServerEndPoint(argv[2]);
            channel.setWorkerEndPoint(argv[3]);
            ostrel::IpcMsg nothing;
            recovery::demand(channel.receive(&nothing, 0) == -1, "a request before clients");
        }
        for (;;) {
            pause();
        }
    });
}
