#include "ostrel/MsgPattern.h"

#include "log/Logged.h"
#include "message/Bounds.h"
#include "ostrel/ZMQWrapper.h"

#include <stdexcept>

namespace ostrel {

MsgPattern::MsgPattern(const std::string& name)
    : mChannelName(name), mpMsgQ(nullptr), mpSocket(nullptr)
{
    detail::logged("Error : Ostrel::MsgPattern::MsgPattern() : ", [&] {
        // The transport comes before the look at the name: it exists even when the pattern does
        // not.
        mpMsgQ = ZMQWrapper::getInstance();
        if (mpMsgQ == nullptr) {
            throw std::runtime_error("Failed to instantiate ZMQWrapper Object");
        }
        detail::require(!name.empty(), "Invalid Channel name specified");
    });
}

MsgPattern::~MsgPattern()
{
    if (mpMsgQ != nullptr && mpSocket != nullptr) {
        mpMsgQ->deleteEndpt(mpSocket);
    }
}

bool MsgPattern::isValidEndpt(const std::string& endpoint) const
{
    return endpoint.find('*') == std::string::npos;
}

} // namespace ostrel
