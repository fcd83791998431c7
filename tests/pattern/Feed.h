#ifndef OSTREL_TESTS_PATTERN_FEED_H
#define OSTREL_TESTS_PATTERN_FEED_H

#include "support/Endpoint.h"
#include "support/RawSocket.h"

#include <algorithm>
#include <string>
#include <vector>
#include <zmq.h>

namespace watch {

/// A publisher that is told when subscriptions arrive, so that nothing it sends after that is lost.
class Feed {
public:
    Feed() : mSocket(ZMQ_XPUB)
    {
        mSocket.bind(mEndpoint.text());
    }

    const std::string& at() const
    {
        return mEndpoint.text();
    }

    /// Waits for `count` subscriptions; their filters, sorted: a subscriber does not send them in
    /// the order in which it took them.
    std::vector<std::string> awaitFilters(int count)
    {
        std::vector<std::string> filters;
        for (int i = 0; i < count; ++i) {
            const support::Frames came = mSocket.receive();
            const bool subscription = came.size() == 1 && !came[0].empty() && came[0][0] == 1;
            filters.push_back(subscription ? came[0].substr(1) : "no subscription");
        }
        std::sort(filters.begin(), filters.end());
        return filters;
    }

    void send(const support::Frames& frames)
    {
        mSocket.send(frames);
    }

private:
    support::IpcEndpoint mEndpoint;
    support::RawSocket mSocket;
};

} // namespace watch

#endif
