#ifndef OSTREL_MSGDEALERWORKERHANDLE_H
#define OSTREL_MSGDEALERWORKERHANDLE_H

#include "ostrel/MsgHandle.h"

#include <string>

namespace ostrel {

/// Names the client that sent a request through the broker, by its ZeroMQ routing identity.
class MsgDealerWorkerHandle : public MsgHandle {
public:
    /// A handle with the empty identity.
    MsgDealerWorkerHandle();

    // Slot order is ABI: append only.
    ~MsgDealerWorkerHandle() override;

    /// A new MsgDealerWorkerHandle with the same identity, owned by the caller.
    ///
    /// Throws what the allocation throws, after the syslog line
    /// "Error : Ostrel::MsgDealerWorkerHandle::clone() : " + what().
    MsgHandle* clone() const override;

    /// Keeps a copy of `identity`, every byte of it, zero bytes included.
    void setIdentity(const std::string& identity);

    /// Keeps the characters of `identity` up to its first zero byte.
    ///
    /// `length` is not used (kept: applications pass all sorts of values); give an identity with
    /// zero bytes as a std::string. A null `identity` throws std::logic_error
    /// "basic_string::_M_construct null not valid", unlogged, and leaves the identity as it was.
    void setIdentity(const char* identity, int length);

    /// A copy of the identity.
    std::string getIdentity() const;

private:
    std::string mIdentity;
};

} // namespace ostrel

#endif
