// recovery_subscriber LEDGER ENDPOINT NUMBER KIND: takes lines over one channel until it is told to
// stop, and checks each: its bytes, and that it follows the one before, be it another publisher's.

#include "ostrel/MsgSubscribeChannel.h"
#include "recovery/Lines.h"
#include "recovery/Program.h"

using namespace recovery;

namespace {

class Subscription {
public:
    Subscription(const std::string& endpoint, const std::string& kind) : mIsText(kind == "text")
    {
        demand(mChannel.subscribe(mIsText ? lineTopic : support::headerOf(lineType, 0)) == 0,
               "no filter");
        demand(mChannel.setPublisherEndPoint(endpoint) == 0, "no endpoint");
    }

    /// Whether a line came.
    bool take(Parts& parts)
    {
        return mIsText ? takeText(parts) : takeBinary(parts);
    }

    bool isText() const
    {
        return mIsText;
    }

private:
    bool takeText(Parts& parts)
    {
        std::string topic;
        ostrel::StringMsg msg;
        if (mChannel.receive(topic, &msg, 0) == -1) {
            return false;
        }
        demand(topic == lineTopic, "another topic");
        parts = support::partsOf(msg);
        return true;
    }

    bool takeBinary(Parts& parts)
    {
        ostrel::IpcMsg msg;
        if (mChannel.receive(&msg, 0) == -1) {
            return false;
        }
        demand(msg.getMsgType() == lineType, "another type");
        parts = support::partsOf(msg);
        return true;
    }

    const bool mIsText;
    ostrel::MsgSubscribeChannel mChannel{"subscriber"};
};

void check(Subscriber& own, bool isText, const Parts& parts)
{
    unsigned int publisher = 0;
    unsigned int line = 0;
    const bool tagged =
        !parts.empty() && std::sscanf(parts[0].c_str(), "%u %u", &publisher, &line) == 2;
    demand(tagged && publisher < maxEpochs && parts == lineOf(isText, publisher, line),
           "a torn line");
    const std::uint64_t last = own.last;
    if (last < placeOf(publisher, 0)) {
        own.first[publisher] = line + 1;
    } else {
        demand(placeOf(publisher, line) == last + 1, "not the next line");
    }
    ++own.received[publisher];
    own.last = placeOf(publisher, line);
}

} // namespace

int main(int argc, char** argv)
{
    return runProgram(argc, argv, 4, [&](Ledger& ledger) {
        Subscriber& own = ledger.subscribers[numberOf(argv[3])];
        Subscription subscription(argv[2], argv[4]);
        Parts parts;
        while (!ledger.stop) {
            if (subscription.take(parts)) {
                check(own, subscription.isText(), parts);
            } else {
                nap();
            }
        }
    });
}
