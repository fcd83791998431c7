// recovery_broker LEDGER CLIENTS WORKERS: a broker and nothing else, until it is killed.

#include "ostrel/MsgDealerWorkerChannel.h"
#include "recovery/Program.h"

#include <unistd.h>
#include <zmq.h>

/// The channel that starts the broker stays unconnected: it is no worker, not even for a moment in
/// which a client is quick.
extern "C" int zmq_connect(void* /*socket*/, const char* /*endpoint*/)
{
    return 0;
}

int main(int argc, char** argv)
{
    return recovery::runProgram(argc, argv, 3, [&](recovery::Ledger& /*ledger*/) {
        {
            // Starts the broker.
            ostrel::MsgDealerWorkerChannel channel("pool");
            channel.setServerEndPoint(argv[2]);
            channel.setWorkerEndPoint(argv[3]);
            ostrel::IpcMsg nothing;
            recovery::demand(channel.receive(&nothing, 0) == -1, "a request without a connection");
        }
        for (;;) {
            pause();
        }
    });
}
