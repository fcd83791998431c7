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
/// Errors: a failing operation writes the syslog line that stands with it and throws; the message
/// keeps the state it had reached. Besides the errors named with each these are failed allocations
/// and, where a handle is cloned, whatever its clone() throws; setHandle() passes that on without a
/// line of its own.
///
/// Threads: a message is used by one thread at a time.
///
/// @code
/// ostrel::StringMsg message(2);
/// message[0] = "north";
/// message[1] = "21.5";
/// message.insertPart(2, "C");
/// const int count = message.getNumParts(); // 3
/// std::printf("%d parts of %s", count, message[0].c_str());
/// @endcode
class StringMsg {
public:
    /// A message of empty parts, without a handle.
    ///
    /// @param numParts  How many parts.
    /// @throw std::bad_alloc when there is no memory.
    /// @par Logged
    /// "Error : Ostrel::StringMsg::StringMsg() : " + what().
    StringMsg(unsigned int numParts = 0);

    /// Copies the parts and clones the handle.
    ///
    /// @param other  The message to copy. It must have fewer than 65,536 parts: copying a longer
    ///     one never ends (kept: messages carry a handful of parts).
    /// @throw std::bad_alloc when there is no memory.
    /// @par Logged
    /// "Error : Ostrel::StringMsg::StringMsg() : " + what().
    StringMsg(const StringMsg& other);

    /// Copies the parts, drops the handle and clones the other's, in this order.
    ///
    /// Assigning a message to itself keeps its parts and loses its handle (kept: applications rely
    /// on it).
    ///
    /// @param other  The message to copy, with the same limit as for copying.
    /// @return This message.
    /// @throw std::bad_alloc when there is no memory.
    /// @par Logged
    /// "Error : Ostrel::StringMsg::Opearator=() : " + what() (kept: log filters know the spelling).
    StringMsg& operator=(const StringMsg& other);

    /// Deletes the handle and the parts.
    ~StringMsg();

    /// How many parts there are.
    ///
    /// @return The number of parts, 0 for none.
    int getNumParts() const;

    /// One part, to read and to write.
    ///
    /// @param index  Its position, from 0, below the number of parts.
    /// @return The part itself; valid until the parts change.
    /// @throw std::logic_error "StringMsg part index out of bounds" for another `index`.
    /// @par Logged
    /// "Error : Ostrel::StringMsg::operator []() : " + what().
    std::string& operator[](unsigned int index);

    /// Puts a copy of a text before a position.
    ///
    /// @param index  The position; the number of parts appends.
    /// @param part   The new part's bytes.
    /// @return 0.
    /// @throw std::logic_error "Invalid part number" for a larger `index`; nothing is changed.
    /// @throw std::bad_alloc when there is no memory.
    /// @par Logged
    /// "Error : Ostrel::StringMsg::insertPart() : " + what().
    int insertPart(unsigned int index, std::string part);

    /// Takes a part away; later parts move down by one.
    ///
    /// @param index  Its position, below the number of parts.
    /// @return 0.
    /// @throw std::logic_error "Invalid part number" for another `index`.
    /// @par Logged
    /// "Error : Ostrel::StringMsg::removePart() : " + what().
    int removePart(unsigned int index);

    /// Appends empty parts, or drops parts from the end, until there are as many as wanted.
    ///
    /// @param numParts  The number of parts wanted.
    /// @return 0.
    /// @throw std::bad_alloc when there is no memory.
    /// @throw std::length_error "vector::_M_default_append" for more parts than a list can have.
    /// @par Logged
    /// "Error : Ostrel::StringMsg::setNumParts() : " + what().
    int setNumParts(unsigned int numParts);

    /// The return address that the message carries.
    ///
    /// @return The message's own handle, or null. The message keeps it.
    MsgHandle* getHandle() const;

    /// Deletes the current handle; then, unless the new one is null, keeps a clone of it.
    ///
    /// Never pass what getHandle() gave: it is deleted before it would be cloned.
    ///
    /// @param handle  The return address, or null for none. The caller keeps its own.
    /// @throw std::exception whatever the handle's clone() throws. The message then has no handle,
    ///     and nothing is logged here.
    void setHandle(const MsgHandle* handle);

private:
    // Member order is ABI.
    std::vector<std::string> mParts;
    MsgHandle* mHandle;
};

} // namespace ostrel

#endif
