// recovery_server LEDGER ENDPOINT NUMBER: a reply server that answers until it is killed.

#include "ostrel/MsgReplyServerChannel.h"
#include "recovery/Program.h"

int main(int argc, char** argv)
{
    return recovery::runProgram(argc, argv, 3, [&](recovery::Ledger& ledger) {
        const unsigned int number = recovery::numberOf(argv[3]);
        ostrel::MsgReplyServerChannel channel("server");
        channel.setServerEndPoint(argv[2]);
        for (;;) {
            ostrel::IpcMsg msg;
            channel.ipcReceive(&msg, -1);
            const recovery::Message question = recovery::messageOf(msg);
            recovery::send(channel, recovery::serve(ledger, number, question));
            recovery::noteAnswered(ledger, question);
        }
    });
}
