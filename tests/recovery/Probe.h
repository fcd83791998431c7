#ifndef OSTREL_TESTS_RECOVERY_PROBE_H
#define OSTREL_TESTS_RECOVERY_PROBE_H

#include "pattern/Messages.h"
#include "recovery/Questions.h"
#include "support/RawSocket.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <zmq.h>

namespace recovery {

/// A client of a broker that the test has in hand.
class Probe {
public:
    /// Its sendings are those of the ledger's client `number`.
    Probe(Ledger& ledger, unsigned int number) : mLedger(ledger), mNumber(number)
    {
        mSocket.setOption(ZMQ_ROUTING_ID, "probe " + std::to_string(number));
    }

    void connect(const std::string& endpoint)
    {
        mSocket.connect(endpoint);
    }

    /// Stays away for good when the connection is lost, until it is told to connect again.
    void stayAway()
    {
        mSocket.setOption(ZMQ_RECONNECT_IVL, -1);
    }

    /// Sends a request and returns the number of the sending.
    unsigned int ask()
    {
        const unsigned int sending = noteSending(mLedger, mNumber, 0);
        const Message question = questionOf({mNumber, sending, 0});
        support::Frames frames = question.parts;
        frames.insert(frames.begin(), support::headerOf(question.type, 0));
        mSocket.send(frames);
        return sending;
    }

    /// Takes the next answer and returns the number of its sending; nothing when none comes in
    /// time.
    std::optional<unsigned int> take(int milliseconds)
    {
        const support::Frames frames = mSocket.receive(milliseconds);
        if (frames.empty()) {
            return std::nullopt;
        }
        const Message answer = {0, {frames.begin() + 1, frames.end()}};
        const std::optional<Tag> tag = tagOf(answer);
        const unsigned int server = answererOf(answer);
        if (!tag || tag->client != mNumber || server == maxServers) {
            ADD_FAILURE() << "no answer to the probe";
            return std::nullopt;
        }
        ++mLedger.servers[server].arrived;
        mLedger.clients[mNumber].log[tag->sending].arrived = momentOf(mLedger);
        return tag->sending;
    }

private:
    Ledger& mLedger;
    const unsigned int mNumber;
    support::RawSocket mSocket{ZMQ_DEALER};
};

} // namespace recovery

#endif
