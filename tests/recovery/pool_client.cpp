// recovery_pool_client LEDGER ENDPOINT NUMBER: keeps requests under way at a broker, until it is
// told to stop. A request that is not answered in time is asked again over the same channel.

#include "ostrel/MsgDealerClientChannel.h"
#include "recovery/Program.h"
#include "support/RandSpy.h"

#include <map>
#include <set>

using namespace recovery;

namespace {

/// So many requests are under way at a time. What is sent again comes on top of it: all of it stays
/// below the 1,000 that a client can queue while there is no broker.
constexpr std::size_t window = 50;

class PoolClient {
public:
    PoolClient(Ledger& ledger, unsigned int number, const std::string& endpoint)
        : mLedger(ledger), mOwn(ledger.clients[number]), mNumber(number)
    {
        mChannel.setServerEndPoint(endpoint);
    }

    void work()
    {
        while (!mayStop() || !mWaiting.empty()) {
            const unsigned int hold = mLedger.hold;
            if (hold == 0) {
                while (mWaiting.size() < window && !mayStop()) {
                    ask(mOwn.requests++);
                }
                askAgain();
            }
            mOwn.held = hold;
            if (!takeAnswer()) {
                nap();
            }
        }
    }

    /// Asks until every worker that lives has answered once more. Nothing on the way overtakes: all
    /// answers that were still to come have arrived then. Nothing may be lost meanwhile.
    void drain()
    {
        std::set<unsigned int> missing;
        for (unsigned int i = 0; i < maxServers; ++i) {
            if (mLedger.servers[i].living) {
                missing.insert(i);
            }
        }
        while (!missing.empty()) {
            const unsigned int first = mOwn.sendings;
            for (std::size_t i = 0; i < missing.size(); ++i) {
                ask(mOwn.requests++);
            }
            while (!mWaiting.empty()) {
                if (!takeAnswer()) {
                    nap();
                }
            }
            for (unsigned int i = first; i < mOwn.sendings; ++i) {
                missing.erase(mOwn.log[i].by);
            }
        }
    }

private:
    struct Waiting {
        std::chrono::milliseconds patience;
        Clock::time_point end;
    };

    bool mayStop() const
    {
        return mLedger.stop || mOwn.sendings >= maxSendings / 2;
    }

    void ask(unsigned int request)
    {
        // Longer each time: a machine that is too slow for the first must get there too.
        Waiting& waiting =
            mWaiting.emplace(request, Waiting{std::chrono::milliseconds(250), {}}).first->second;
        waiting.patience *= 2;
        waiting.end = Clock::now() + waiting.patience;
        const unsigned int sending = noteSending(mLedger, mNumber, request);
        send(mChannel, questionOf({mNumber, sending, request}));
    }

    void askAgain()
    {
        const auto now = Clock::now();
        for (auto& [request, waiting] : mWaiting) {
            if (now > waiting.end) {
                ask(request);
            }
        }
    }

    bool takeAnswer()
    {
        ostrel::IpcMsg msg;
        if (mChannel.ipcReceive(&msg, 0) == -1) {
            return false;
        }
        const Tag tag = settle(mLedger, mNumber, messageOf(msg));
        if (mWaiting.erase(tag.request) == 1) {
            ++mOwn.settled;
        }
        return true;
    }

    Ledger& mLedger;
    Client& mOwn;
    const unsigned int mNumber;
    ostrel::MsgDealerClientChannel mChannel{"client"};
    std::map<unsigned int, Waiting> mWaiting; ///< Requests without an answer.
};

} // namespace

int main(int argc, char** argv)
{
    return runProgram(argc, argv, 3, [&](Ledger& ledger) {
        const unsigned int number = numberOf(argv[3]);
        // A client is named after the second in which it connects; each gets one of its own.
        support::RandSpy clock;
        clock.setTime(1700000000 + static_cast<std::time_t>(number));
        PoolClient client(ledger, number, argv[2]);
        client.work();
        while (ledger.drain != number + 1) {
            nap();
        }
        client.drain();
    });
}
