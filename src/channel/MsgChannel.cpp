#include "ostrel/MsgChannel.h"

#include "log/Trace.h"
#include "message/LeadingPart.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/StringMsg.h"

#include <cstring>
#include <utility>

namespace ostrel {

using detail::trace;

namespace {

/// The longest topic and the longest property value.
constexpr std::size_t maxTextLength = 255;

} // namespace

MsgChannel::MsgChannel(std::string name)
    : mChannelName(std::move(name)), mChannelType(0), pvthandle(nullptr)
{
}

MsgChannel::~MsgChannel()
{
    delete pvthandle;
}

int MsgChannel::setProperty(channel_prop_t prop, std::string value)
{
    if (value.size() > maxTextLength) {
        return -1;
    }
    return pvthandle->setProperty(prop, value);
}

std::string MsgChannel::getProperty(channel_prop_t prop)
{
    return pvthandle->getProperty(prop);
}

int MsgChannel::send(const char* topic, StringMsg* msg)
{
    if (topic == nullptr || std::strlen(topic) > maxTextLength || msg == nullptr) {
        trace("MsgChannel::send: problem with send ...");
        return -1;
    }
    return detail::sendWithLeadingPart(
        *msg, [&] { msg->insertPart(0, topic); }, [&] { return pvthandle->send(msg); });
}

int MsgChannel::receive(std::string& topic, StringMsg* msg, long timeout)
{
    if (msg == nullptr || timeout < -1) {
        trace("receive: invalid input");
        return -1;
    }
    const int result = pvthandle->receive(msg, timeout);
    if (msg->getNumParts() == 0) {
        return result;
    }
    const char* text = (*msg)[0].c_str(); // Up to its first zero byte.
    topic = text;
    msg->removePart(0);
    return msg->getNumParts();
}

int MsgChannel::sendWaitResponse(const char* topic, StringMsg* request, std::string& replyTopic,
                                 StringMsg* reply, long timeout)
{
    const int sent = send(topic, request);
    return sent > 0 ? receive(replyTopic, reply, timeout) : sent;
}

int MsgChannel::send(IpcMsg* msg)
{
    if (msg == nullptr) {
        trace("MsgChannel::send: problem with send ...");
        return -1;
    }
    // The only operation that looks: channels without a pattern exist, and applications try to
    // send on them.
    if (pvthandle == nullptr) {
        trace("MsgChannel::send: pvthandle is null ...");
        return -1;
    }
    return pvthandle->send(msg);
}

int MsgChannel::receive(IpcMsg* msg, long timeout)
{
    if (msg == nullptr || timeout < -1) {
        trace("receive: invalid input");
        return -1;
    }
    return pvthandle->receive(msg, timeout);
}

int MsgChannel::sendWaitResponse(IpcMsg* request, IpcMsg* reply, long timeout)
{
    const int sent = send(request);
    return sent > 0 ? receive(reply, timeout) : sent;
}

} // namespace ostrel
