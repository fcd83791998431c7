// A program that uses the library as it is installed: one request, one answer.

#include <ostrel/IpcMsg.h>
#include <ostrel/MsgReplyServerChannel.h>
#include <ostrel/MsgRequestClientChannel.h>

#include <cstdio>
#include <cstring>
#include <exception>

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: exchange ENDPOINT\n");
        return 2;
    }
    try {
        ostrel::MsgReplyServerChannel server("server");
        ostrel::MsgRequestClientChannel client("client");
        server.setServerEndPoint(argv[1]);
        client.setServerEndPoint(argv[1]);

        char question[] = "question";
        char answer[] = "answer";
        client.ipcSend(1, question, sizeof question);
        ostrel::IpcMsg request;
        server.ipcReceive(&request, -1);
        server.ipcSend(2, answer, sizeof answer);
        ostrel::IpcMsg reply;
        client.ipcReceive(&reply, -1);

        const bool right = request.getMsgType() == 1 && reply.getMsgType() == 2 &&
                           std::strcmp(request.getMsgData(), question) == 0 &&
                           std::strcmp(reply.getMsgData(), answer) == 0;
        std::fprintf(stderr, "%s\n", right ? "exchanged" : "wrong");
        return right ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
