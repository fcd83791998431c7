#ifndef OSTREL_TESTS_PATTERN_REQUESTREPLY_H
#define OSTREL_TESTS_PATTERN_REQUESTREPLY_H

#include "ostrel/IpcMsg.h"
#include "ostrel/MsgReplyPattern.h"
#include "ostrel/MsgRequestPattern.h"
#include "ostrel/StringMsg.h"
#include "pattern/Opened.h"
#include "support/Endpoint.h"
#include "support/RawSocket.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>
#include <zmq.h>

/// What the tests of the two patterns share: where they differ, and peers for them.
namespace requestreply {

using support::Frames;

struct Request {
    using Pattern = support::Opened<ostrel::MsgRequestPattern>;
    static constexpr const char* name = "Request";
    static constexpr const char* socketType = "3";
    static constexpr const char* attach = "zmq_connect";
    static constexpr const char* attachText = "Failed to connect ZeroMQ Socket : ";
    static constexpr const char* attachPrefix = "Error : Ostrel::ZMQWrapper::registerReceiver() : ";
};

struct Reply {
    using Pattern = support::Opened<ostrel::MsgReplyPattern>;
    static constexpr const char* name = "Reply";
    static constexpr const char* socketType = "4";
    static constexpr const char* attach = "zmq_bind";
    static constexpr const char* attachText = "Failed to bind ZeroMQ Socket : ";
    static constexpr const char* attachPrefix = "Error : Ostrel::ZMQWrapper::registerSender() : ";
};

using Sides = testing::Types<Request, Reply>;

class SideName {
public:
    template <typename Side> static std::string GetName(int /*index*/)
    {
        return Side::name;
    }
};

/// The calls that create a socket, attached to `endpoint`.
template <typename Side> std::vector<std::string> connectCalls(const std::string& endpoint)
{
    return {std::string("zmq_socket(") + Side::socketType + ") = s1",
            "zmq_setsockopt(s1, 34, 1)",
            "zmq_setsockopt(s1, 36, 7200)",
            "zmq_setsockopt(s1, 37, 75)",
            "zmq_setsockopt(s1, 35, 9)",
            std::string(Side::attach) + "(s1, \"" + endpoint + "\")"};
}

/// The operations that connect a pattern.
struct Operation {
    const char* name;
    int (*run)(ostrel::MsgPattern& pattern);
    bool receives;
};

inline const std::vector<Operation>& operations()
{
    static const std::vector<Operation> all = {
        {"connectEndpoint",
         [](ostrel::MsgPattern& pattern) {
             pattern.connectEndpoint();
             return 0;
         },
         false},
        {"send text",
         [](ostrel::MsgPattern& pattern) {
             ostrel::StringMsg msg(1);
             return pattern.send(&msg);
         },
         false},
        {"send binary",
         [](ostrel::MsgPattern& pattern) {
             char data[] = "d";
             ostrel::IpcMsg msg(1, data, 1, nullptr);
             return pattern.send(&msg);
         },
         false},
        {"receive text",
         [](ostrel::MsgPattern& pattern) {
             ostrel::StringMsg msg(0);
             return pattern.receive(&msg, 0);
         },
         true},
        {"receive binary",
         [](ostrel::MsgPattern& pattern) {
             ostrel::IpcMsg msg;
             return pattern.receive(&msg, 0);
         },
         true},
    };
    return all;
}

/// A connected pattern and its peer without the library.
template <typename Side> class Exchange;

template <> class Exchange<Request> {
public:
    Exchange() : pattern("name"), peer(ZMQ_REP)
    {
        peer.bind(endpoint.text());
        pattern.setProperty(ostrel::PROP_SERVER_ENDPOINT, endpoint.text());
        pattern.connectEndpoint();
    }

    /// From here the pattern may send.
    void letSend() {}

    /// From here the pattern may receive, and `frames` are on their way.
    void letReceive(const Frames& frames)
    {
        ostrel::StringMsg msg(1);
        pattern.send(&msg);
        peer.receive();
        peer.send(frames);
    }

    support::IpcEndpoint endpoint;
    Request::Pattern pattern;
    support::RawSocket peer;
};

template <> class Exchange<Reply> {
public:
    Exchange() : pattern("name"), peer(ZMQ_REQ)
    {
        pattern.setProperty(ostrel::PROP_SERVER_ENDPOINT, endpoint.text());
        pattern.connectEndpoint();
        peer.connect(endpoint.text());
    }

    void letSend()
    {
        peer.send({"request"});
        ostrel::StringMsg msg(0);
        pattern.receive(&msg, -1);
    }

    void letReceive(const Frames& frames)
    {
        peer.send(frames);
    }

    support::IpcEndpoint endpoint;
    Reply::Pattern pattern;
    support::RawSocket peer;
};

} // namespace requestreply

#endif
