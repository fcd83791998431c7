#include "ostrel/MsgDealerClientPattern.h"

#include "log/Logged.h"
#include "log/Trace.h"
#include "ostrel/ZMQWrapper.h"
#include "pattern/Properties.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <zmq.h>

namespace ostrel {

using detail::logged;
using detail::trace;

namespace {

constexpr auto accepted = {PROP_DEALER_SERVER_ENDPOINT};

// Both receives log under the constructor's name. Kept: log filters rely on it.
constexpr auto receivePrefix =
    "Error : Ostrel::MsgDealerClientPattern::MsgDealerClientPattern() : ";

/// "IDENTITY_" and one rand() of a generator seeded with the second. Clients made within the same
/// second are named alike; kept: applications expect the format and the seeding.
std::string makeIdentity()
{
    std::srand(static_cast<unsigned int>(std::time(nullptr))); // NOLINT(cert-msc51-cpp)
    char identity[255];
    static_cast<void>(
        std::snprintf(identity, sizeof identity, "%s%llx", "IDENTITY_",
                      static_cast<unsigned long long>(std::rand()))); // NOLINT(cert-msc50-cpp)
    return identity;
}

int printResult(int result)
{
    trace("MsgDealerClientPattern:receive ret=", result);
    return result;
}

} // namespace

MsgDealerClientPattern::MsgDealerClientPattern(const std::string& name) : MsgPattern(name) {}

MsgDealerClientPattern::~MsgDealerClientPattern() = default;

int MsgDealerClientPattern::setProperty(channel_prop_t prop, const std::string& value)
{
    return logged("Error : Ostrel::MsgDealerClientPattern::setProperty() : ", [&] {
        return detail::keepEndpoint(mpSocket, accepted, isValidEndpt(value), mProperties, prop,
                                    value);
    });
}

std::string MsgDealerClientPattern::getProperty(channel_prop_t prop)
{
    return logged("Error : Ostrel::MsgDealerClientPattern::getProperty() : ", [&] {
        detail::requireQueryable(accepted, prop);
        return mProperties[prop];
    });
}

int MsgDealerClientPattern::send(StringMsg* msg)
{
    if (mpSocket == nullptr) {
        connectEndpoint();
    }
    return mpMsgQ->send(mpSocket, msg);
}

int MsgDealerClientPattern::receive(StringMsg* msg, long timeoutMs)
{
    return logged(receivePrefix, [&] {
        if (mpSocket == nullptr) {
            connectEndpoint();
        }
        return printResult(mpMsgQ->receive(mpSocket, msg, timeoutMs));
    });
}

int MsgDealerClientPattern::send(IpcMsg* msg)
{
    if (mpSocket == nullptr) {
        connectEndpoint();
    }
    trace("MsgDealerClientPattern::send");
    return mpMsgQ->send(mpSocket, msg);
}

int MsgDealerClientPattern::receive(IpcMsg* msg, long timeoutMs)
{
    return logged(receivePrefix, [&] {
        if (mpSocket == nullptr) {
            connectEndpoint();
        }
        return printResult(mpMsgQ->receive(mpSocket, msg, timeoutMs));
    });
}

void MsgDealerClientPattern::connectEndpoint()
{
    if (mpSocket != nullptr) {
        return;
    }
    logged("Error : Ostrel::MsgDealerClientPattern::connectEndpoint() : ", [&] {
        // Kept before it is named and connected: a pattern where that failed keeps its socket.
        mpSocket = mpMsgQ->createEndpt(ZMQ_DEALER);
        const std::string identity = makeIdentity();
        mpMsgQ->setOption(mpSocket, OPT_IDENTITY, identity);
        mpMsgQ->registerReceiver(mpSocket, mProperties[PROP_DEALER_SERVER_ENDPOINT]);
        std::printf("MsgDealerClientPattern::connectEndpoint IDENTITY = %s\n", identity.c_str());
    });
}

} // namespace ostrel
