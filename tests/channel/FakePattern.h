#ifndef OSTREL_TESTS_CHANNEL_FAKEPATTERN_H
#define OSTREL_TESTS_CHANNEL_FAKEPATTERN_H

#include "ostrel/IpcMsg.h"
#include "ostrel/MsgPattern.h"
#include "ostrel/StringMsg.h"
#include "support/AllocFault.h"

#include <functional>
#include <string>
#include <vector>

namespace support {

/// A pattern that does what a test says and notes in `calls` what a channel asks of it.
class FakePattern : public ostrel::MsgPattern {
public:
    explicit FakePattern(std::vector<std::string>& calls) : MsgPattern("fake"), mCalls(calls) {}

    ~FakePattern() override
    {
        note("deleted");
    }

    int setProperty(ostrel::channel_prop_t prop, const std::string& value) override
    {
        note("setProperty(" + std::to_string(prop) + ", " + value + ")");
        return onSetProperty();
    }

    std::string getProperty(ostrel::channel_prop_t prop) override
    {
        note("getProperty(" + std::to_string(prop) + ")");
        return onGetProperty();
    }

    int send(ostrel::StringMsg* msg) override
    {
        note("send text");
        return onSendText(*msg);
    }

    int receive(ostrel::StringMsg* msg, long timeout) override
    {
        note("receive text " + std::to_string(timeout));
        return onReceiveText(*msg);
    }

    int send(ostrel::IpcMsg* msg) override
    {
        note("send binary");
        return onSendBinary(*msg);
    }

    int receive(ostrel::IpcMsg* msg, long timeout) override
    {
        note("receive binary " + std::to_string(timeout));
        return onReceiveBinary(*msg);
    }

    void connectEndpoint() override
    {
        note("connectEndpoint");
    }

    std::function<int()> onSetProperty = [] { return 0; };
    std::function<std::string()> onGetProperty = [] { return ""; };
    std::function<int(ostrel::StringMsg&)> onSendText = [](auto&) { return 0; };
    std::function<int(ostrel::StringMsg&)> onReceiveText = [](auto&) { return 0; };
    std::function<int(ostrel::IpcMsg&)> onSendBinary = [](auto&) { return 0; };
    std::function<int(ostrel::IpcMsg&)> onReceiveBinary = [](auto&) { return 0; };

private:
    void note(const std::string& call)
    {
        AllocFault::pause();
        mCalls.push_back(call);
        AllocFault::resume();
    }

    std::vector<std::string>& mCalls;
};

} // namespace support

#endif
