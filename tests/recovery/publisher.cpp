// recovery_publisher LEDGER ENDPOINT NUMBER KIND SUBSCRIBERS: publishes lines until it is killed.
// KIND is "text" or "binary". It never gets far ahead of those of its subscribers that have joined:
// none of their queues overflows, so what a line's number says about losses is about the kill.

#include "ostrel/MsgPublishChannel.h"
#include "recovery/Lines.h"
#include "recovery/Program.h"

using namespace recovery;

namespace {

constexpr unsigned int burst = 50;

class Publisher {
public:
    Publisher(const std::string& endpoint, const std::string& kind) : mIsText(kind == "text")
    {
        demand(mChannel.setPublisherEndPoint(endpoint) == 0, "no endpoint");
    }

    void publish(unsigned int publisher, unsigned int line)
    {
        const Parts parts = lineOf(mIsText, publisher, line);
        publish(lineTopic, lineType, parts);
        if (line % 10 == 0) {
            publish(noiseTopic, noiseType, parts);
        }
    }

private:
    void publish(const char* topic, int type, const Parts& parts)
    {
        if (mIsText) {
            ostrel::StringMsg msg = support::textOf(parts);
            demand(mChannel.send(topic, &msg) > 0, "cannot publish");
        } else {
            send(mChannel, {type, parts});
        }
    }

    const bool mIsText;
    ostrel::MsgPublishChannel mChannel{"publisher"};
};

/// Whether a subscriber gets lines of this publisher already, but not all of them so far.
bool isBehind(const Subscriber& subscriber, unsigned int publisher, unsigned int line)
{
    const std::uint64_t last = subscriber.last;
    return last >= placeOf(publisher, 0) && last < placeOf(publisher, line);
}

} // namespace

int main(int argc, char** argv)
{
    return runProgram(argc, argv, 5, [&](Ledger& ledger) {
        const unsigned int number = numberOf(argv[3]);
        const unsigned int subscribers = numberOf(argv[5]);
        Publisher publisher(argv[2], argv[4]);
        for (unsigned int line = 0;; ++line) {
            // Counted first: a line that counts may never have left, none leaves uncounted.
            ++ledger.published[number];
            publisher.publish(number, line);
            if (line % burst != burst - 1) {
                continue;
            }
            for (unsigned int i = 0; i < subscribers; ++i) {
                while (isBehind(ledger.subscribers[i], number, line)) {
                    nap();
                }
            }
            // The queues are empty, which the socket learns only after a while.
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    });
}
