#include "faults/Table.h"

#include "support/ZmqSpy.h"

#include <regex>
#include <zmq.h>

namespace faults {

const Table& table()
{
    static const Table all = [] {
        Table rows;
        addMessages(rows);
        addTransport(rows);
        addPatterns(rows);
        addChannels(rows);
        return rows;
    }();
    return all;
}

Sink::~Sink()
{
    if (!endpoint.empty()) {
        const support::NotWatched notWatched;
        static Peer sink(ZMQ_DEALER);
        sink.connect(endpoint);
    }
}

std::string unique(const std::string& what)
{
    static int last = 0;
    return what + "-" + std::to_string(++last);
}

std::string plain(const std::string& text)
{
    static const std::regex number("-[0-9]+");
    return std::regex_replace(text, number, "");
}

} // namespace faults
