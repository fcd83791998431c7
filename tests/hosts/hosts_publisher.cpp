// hosts_publisher LINE ENDPOINT: publishes what the test tells it to.
//
//   publish FIRST COUNT SIZE...   so many messages, numbered from FIRST on, as fast as it can
//   mark                          a message that only says that the way is open; its number

#include "hosts/CommandLoop.h"
#include "hosts/Traffic.h"
#include "ostrel/MsgPublishChannel.h"

using hosts::CommandLoop;
using Words = CommandLoop::Words;

namespace {

int run(CommandLoop& loop, const Words& arguments)
{
    ostrel::MsgPublishChannel channel("publisher");
    channel.setPublisherEndPoint(arguments.at(0));
    loop.on("publish", [&](const Words& words) {
        const std::vector<std::string> heads = hosts::headsOf(words);
        for (const std::string& head : heads) {
            hosts::send(loop, channel, hosts::messageOf(head));
        }
        return std::to_string(heads.size()) + " published";
    });
    int marks = 0;
    loop.on("mark", [&](const Words&) {
        const std::string number = std::to_string(++marks);
        hosts::send(loop, channel, {hosts::markType, {number}});
        return number;
    });
    return loop.run();
}

} // namespace

int main(int argc, char** argv)
{
    return hosts::runProgram(argc, argv, run);
}
