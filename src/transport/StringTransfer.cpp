// The transport's text messages: one frame per part, nothing else.

#include "log/Logged.h"
#include "log/Trace.h"
#include "message/Text.h"
#include "ostrel/StringMsg.h"
#include "ostrel/ZMQWrapper.h"
#include "transport/Transfer.h"

#include <cstring>
#include <string>

namespace ostrel {

using detail::Arrival;
using detail::Frame;
using detail::logged;
using detail::trace;

int ZMQWrapper::send(void* socket, StringMsg* msg) const
{
    return logged("Error : Ostrel::ZMQWrapper::send() : ", [&] {
        if (socket == nullptr || msg == nullptr) {
            return -1;
        }
        if (msg->getNumParts() == 0) {
            trace("nothing to send - return");
            return -1;
        }
        for (int i = 0; i < msg->getNumParts(); ++i) {
            const bool last = i == msg->getNumParts() - 1;
            Frame frame;
            const std::string& part = (*msg)[static_cast<unsigned int>(i)];
            detail::sendFrame(frame, socket, part.data(), part.size(),
                              last ? detail::lastFrame : detail::moreFrames);
        }
        return msg->getNumParts();
    });
}

int ZMQWrapper::receive(void* socket, StringMsg* msg, long timeout) const
{
    return logged("Error : Ostrel::ZMQWrapper::receive() : ", [&] {
        if (msg == nullptr || timeout < -1 || socket == nullptr) {
            trace("invalid input");
            return -1;
        }
        msg->setNumParts(0);
        const Arrival arrival = detail::receiveFrames(
            socket, timeout, [] {},
            [&](Frame& frame) {
                const auto index = static_cast<unsigned int>(msg->getNumParts());
                msg->setNumParts(index + 1);
                // A text ends at its first zero byte, and at the end of its frame.
                const char* text = detail::requireText(static_cast<const char*>(frame.data()));
                (*msg)[index].assign(text, strnlen(text, frame.size()));
            });
        return detail::receiveResult(arrival, msg->getNumParts());
    });
}

} // namespace ostrel
