// worker_pool_test_client ENDPOINT SECOND COUNT GO: asks COUNT questions, one after the other, and
// checks every answer. SECOND is what the clock shows while the client is named, "now" for the true
// time. After the first answer it waits for the end of the open file GO.

#include "ostrel/IpcMsg.h"
#include "ostrel/MsgDealerClientChannel.h"
#include "support/RandSpy.h"

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <unistd.h>

namespace {

void demand(bool good, const std::string& what)
{
    if (!good) {
        std::fprintf(stderr, "client %d: %s\n", getpid(), what.c_str());
        std::exit(1);
    }
}

} // namespace

int main(int argc, char** argv)
{
    demand(argc == 5, "four arguments");
    const std::string second = argv[2];
    const int count = std::atoi(argv[3]);
    const int go = std::atoi(argv[4]);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    std::optional<support::RandSpy> clock;
    if (second != "now") {
        clock.emplace();
        clock->setTime(std::atol(second.c_str()));
    }

    ostrel::MsgDealerClientChannel channel("client");
    demand(channel.setServerEndPoint(argv[1]) == 0, "no endpoint");
    for (int i = 0; i < count; ++i) {
        const int type = 1 + i % 3;
        std::string question = "question " + std::to_string(i) + " of " + std::to_string(getpid());
        demand(channel.ipcSend(type, question.data(), static_cast<int>(question.size())) == 1,
               "cannot ask");
        ostrel::IpcMsg msg;
        demand(channel.ipcReceive(&msg, -1) == 1, "not one part");
        const std::string answer(msg.getMsgData(), static_cast<std::size_t>(msg.getMsgSize()));
        const std::size_t colon = answer.find(": ");
        demand(msg.getMsgType() == 10 * type && colon != std::string::npos &&
                   answer.substr(colon + 2) == question,
               "to '" + question + "' the answer is '" + answer + "'");
        std::printf("answered by %s.\n", answer.substr(0, colon).c_str());
        char byte = 0;
        while (i == 0 && read(go, &byte, 1) > 0) {
        }
    }
    ostrel::IpcMsg msg;
    demand(channel.ipcReceive(&msg, 0) == -1, "one answer too many");
    std::puts("done");
    return 0;
}
