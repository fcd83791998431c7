#ifndef OSTREL_TESTS_PATTERN_OPENED_H
#define OSTREL_TESTS_PATTERN_OPENED_H

#include "ostrel/MsgPattern.h"

namespace support {

/// A pattern whose state can be looked at.
template <typename Pattern> class Opened : public Pattern {
public:
    using Pattern::Pattern;

    using Pattern::mChannelName;
    using Pattern::mpMsgQ;
    using Pattern::mProperties;
    using Pattern::mpSocket;
};

/// A pattern with nothing of its own: what remains is the base.
class BarePattern : public ostrel::MsgPattern {
public:
    using ostrel::MsgPattern::MsgPattern;

    int setProperty(ostrel::channel_prop_t /*prop*/, const std::string& /*value*/) override
    {
        return 0;
    }
    std::string getProperty(ostrel::channel_prop_t /*prop*/) override
    {
        return "";
    }
    int send(ostrel::StringMsg* /*msg*/) override
    {
        return 0;
    }
    int receive(ostrel::StringMsg* /*msg*/, long /*timeout*/) override
    {
        return 0;
    }
    int send(ostrel::IpcMsg* /*msg*/) override
    {
        return 0;
    }
    int receive(ostrel::IpcMsg* /*msg*/, long /*timeout*/) override
    {
        return 0;
    }
    void connectEndpoint() override {}
};

} // namespace support

#endif
