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
    virtual ~MsgHandle();

    /// A new copy of this handle, made with `new` and owned by the caller.
    virtual MsgHandle* clone() const = 0;
};

} // namespace ostrel

#endif
