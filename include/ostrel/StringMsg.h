#ifndef OSTREL_STRINGMSG_H
#define OSTREL_STRINGMSG_H

#include <string>
#include <vector>

namespace ostrel {

class MsgHandle;

/// A text message: an ordered list of parts, and the return address it came with, if any.
///
/// Part 0 is the first. A part may be empty and may hold any bytes, but see ZMQWrapper: a received
/// part ends at its first zero byte.
///
/// Errors: an operation with a prefix below adds one syslog line, that prefix followed by what(),
/// and throws; the message keeps the state it had reached. Besides the errors named below these are
/// failed allocations and, where a handle is cloned, whatever its clone() throws; setHandle()
/// passes that on without a line of its own.
///
/// Threads: a message is used by one thread at a time.
class StringMsg {
public:
    /// A message of `numParts` empty parts, without a handle.
    /// Prefix of a failure: "Error : Ostrel::StringMsg::StringMsg() : ".
    StringMsg(unsigned int numParts = 0);

    /// Copies the parts and clones the handle.
    ///
    /// The source must have fewer than 65,536 parts: copying a longer one never ends (kept:
    /// messages carry a handful of parts). Prefix: "Error : Ostrel::StringMsg::StringMsg() : ".
    StringMsg(const StringMsg& other);

    /// Copies the parts, drops the handle and clones the other's; the same limit as copying.
    ///
    /// Assigning a message to itself keeps its parts and loses its handle.
    /// Prefix: "Error : Ostrel::StringMsg::Opearator=() : ".
    StringMsg& operator=(const StringMsg& other);

    /// Deletes the handle and the parts.
    ~StringMsg();

    /// The number of parts.
    int getNumParts() const;

    /// The part at `index`, to read and to write; valid until the parts change.
    ///
    /// `index` must be below the count, else std::logic_error
    /// "StringMsg part index out of bounds".
    /// Prefix: "Error : Ostrel::StringMsg::operator []() : ".
    std::string& operator[](unsigned int index);

    /// Puts a copy of `part` before position `index`; the count as `index` appends. Returns 0.
    ///
    /// A larger `index` throws std::logic_error "Invalid part number" and changes nothing.
    /// Prefix: "Error : Ostrel::StringMsg::insertPart() : ".
    int insertPart(unsigned int index, std::string part);

    /// Takes the part at `index` away; later parts move down by one. Returns 0.
    ///
    /// `index` must be below the count, else std::logic_error "Invalid part number".
    /// Prefix: "Error : Ostrel::StringMsg::removePart() : ".
    int removePart(unsigned int index);

    /// Appends empty parts, or drops parts from the end, until there are `numParts`. Returns 0.
    /// Prefix: "Error : Ostrel::StringMsg::setNumParts() : ".
    int setNumParts(unsigned int numParts);

    /// The message's own handle, or null. The message keeps it.
    MsgHandle* getHandle() const;

    /// Deletes the current handle; then, unless `handle` is null, keeps a clone of it.
    ///
    /// The caller keeps its own. Never pass what getHandle() gave: it is deleted before it would
    /// be cloned.
    void setHandle(const MsgHandle* handle);

private:
    // Member order is ABI.
    std::vector<std::string> mParts;
    MsgHandle* mHandle;
};

} // namespace ostrel

#endif
