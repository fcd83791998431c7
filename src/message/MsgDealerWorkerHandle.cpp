#include "ostrel/MsgDealerWorkerHandle.h"

#include "log/Logged.h"
#include "message/Text.h"

#include <memory>

namespace ostrel {

MsgDealerWorkerHandle::MsgDealerWorkerHandle() = default;

MsgDealerWorkerHandle::~MsgDealerWorkerHandle() = default;

MsgHandle* MsgDealerWorkerHandle::clone() const
{
    return detail::logged("Error : Ostrel::MsgDealerWorkerHandle::clone() : ", [&] {
        auto copy = std::make_unique<MsgDealerWorkerHandle>();
        copy->setIdentity(mIdentity);
        return copy.release();
    });
}

void MsgDealerWorkerHandle::setIdentity(const std::string& identity)
{
    mIdentity = identity;
}

void MsgDealerWorkerHandle::setIdentity(const char* identity, int /*length*/)
{
    // The text ends at its first zero byte, whatever length says. Kept: applications rely on it.
    mIdentity = detail::requireText(identity);
}

std::string MsgDealerWorkerHandle::getIdentity() const
{
    return mIdentity;
}

} // namespace ostrel
