#ifndef OSTREL_MSGHANDLE_H
#define OSTREL_MSGHANDLE_H

namespace ostrel {

/// The return address of a received message: what a reply needs to find its way back.
///
/// A message (IpcMsg, StringMsg) owns at most one handle and copies it with clone(). Handles live
/// inside one process; what crosses the wire is the identity that a concrete handle carries.
///
/// Threads: a handle belongs to one message, and a message to one thread at a time.
class MsgHandle {
public:
    // Slot order is ABI: append only.
    /// Messages delete their handles through it.
    virtual ~MsgHandle();

    /// A new copy of this handle.
    ///
    /// @return The copy, made with `new`, owned by the caller. Never null.
    /// @throw std::exception what the concrete handle says.
    virtual MsgHandle* clone() const = 0;
};

} // namespace ostrel

#endif
