#ifndef OSTREL_MSGDEALERWORKERHANDLE_H
#define OSTREL_MSGDEALERWORKERHANDLE_H

#include "ostrel/MsgHandle.h"

#include <string>

namespace ostrel {

/// Names the client that sent a request through the broker, by its ZeroMQ routing identity.
///
/// Errors: an operation throws std::bad_alloc when there is no memory for the identity; only
/// clone() logs that.
///
/// Threads: a handle belongs to one message, and a message to one thread at a time.
class MsgDealerWorkerHandle : public MsgHandle {
public:
    /// A handle with the empty identity.
    MsgDealerWorkerHandle();

    // Slot order is ABI: append only.
    /// Releases the identity.
    ~MsgDealerWorkerHandle() override;

    /// A new handle with the same identity.
    ///
    /// @return A MsgDealerWorkerHandle, made with `new`, owned by the caller.
    /// @throw std::bad_alloc when there is no memory.
    /// @par Logged
    /// "Error : Ostrel::MsgDealerWorkerHandle::clone() : " + what().
    MsgHandle* clone() const override;

    /// Keeps a copy of an identity, every byte of it.
    ///
    /// @param identity  The routing identity, zero bytes included.
    void setIdentity(const std::string& identity);

    /// Keeps the characters of an identity up to its first zero byte.
    ///
    /// Give an identity with zero bytes as a std::string.
    ///
    /// @param identity  A text that ends with a zero byte.
    /// @param length    Not used (kept: applications pass all sorts of values).
    /// @throw std::logic_error "basic_string::_M_construct null not valid" for a null `identity`;
    ///     the identity stays as it was.
    void setIdentity(const char* identity, int length);

    /// The identity that was set.
    ///
    /// @return A copy of it; empty when none was set.
    std::string getIdentity() const;

private:
    std::string mIdentity;
};

} // namespace ostrel

#endif
