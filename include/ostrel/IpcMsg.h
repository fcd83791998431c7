#ifndef OSTREL_IPCMSG_H
#define OSTREL_IPCMSG_H

#include <vector>

namespace ostrel {

class MsgHandle;

/// One part of an IpcMsg: a heap buffer and its length, copied whole whenever the part is copied.
///
/// There are no move operations: a list of parts that grows, or that loses or gains a part in the
/// middle, copies the bytes of every part that changes its place.
///
/// Errors: copying throws std::bad_alloc when there is no memory, and std::logic_error
/// "DataPart without data" for a positive size without a buffer. A part logs nothing.
///
/// Threads: a part is used by one thread at a time.
class DataPart {
public:
    /// No buffer, size 0.
    DataPart();

    /// Adopts a buffer without copying it: the part will free() it.
    ///
    /// @param data  The bytes. Only memory from malloc(), or null, may be given.
    /// @param size  The number of bytes at `data`; kept as it is, also when it does not fit.
    DataPart(void* data, int size);

    /// Copies the bytes of another part into a buffer of its own.
    ///
    /// @param other  The part to copy. A size of 0 or less is kept as it is, with no buffer.
    /// @throw std::bad_alloc when there is no memory.
    /// @throw std::logic_error "DataPart without data" for a positive size without a buffer.
    DataPart(const DataPart& other);

    /// Frees the own buffer first, then copies as the copy constructor does.
    ///
    /// A part assigned to itself, or one whose copying failed, is left without bytes, with size 0
    /// (kept: a message never needs room for both).
    ///
    /// @param other  The part to copy.
    /// @return This part.
    /// @throw std::bad_alloc when there is no memory.
    /// @throw std::logic_error "DataPart without data" for a positive size without a buffer.
    DataPart& operator=(const DataPart& other);

    // Slot order is ABI: append only.
    /// Frees the buffer.
    virtual ~DataPart();

    // Member order is ABI.
    char* mData; ///< The bytes, from malloc(), owned by the part; null when it holds none.
    int mSize;   ///< The number of bytes at mData.
};

/// A typed binary message: a type and a subtype that the application chooses, an ordered list of
/// binary parts, and the return address it came with, if any.
///
/// Server channels dispatch on the type. Parts are never shared: copying a message copies all of
/// its bytes, so messages are meant to carry few parts.
///
/// Errors: whatever copies bytes throws as copying a DataPart does, and whatever clones a handle
/// throws what its clone() throws. Where nothing is said to be logged, nothing is.
///
/// Threads: a message is used by one thread at a time.
///
/// @code
/// char reading[] = "21.5";
/// ostrel::IpcMsg message(7, reading, 4, nullptr); // Type 7, one part with a copy of the 4 bytes.
/// message.insertPart(1, "C", 1);
/// const ostrel::DataPart& unit = message[1];
/// std::fwrite(unit.mData, 1, static_cast<std::size_t>(unit.mSize), stdout);
/// @endcode
class IpcMsg {
public:
    /// Type 0, subtype 0, no parts, no handle.
    IpcMsg();

    /// A message without parts and without a handle.
    ///
    /// @param type     The message type.
    /// @param subType  The message subtype. It travels with the message, but receivers do not read
    ///                 it (see ZMQWrapper).
    IpcMsg(int type, int subType);

    /// A message of one part that holds a copy of the given bytes; subtype 0.
    ///
    /// @param type    The message type.
    /// @param data    The bytes; the caller keeps its buffer. Null only where `size` is not
    ///                positive.
    /// @param size    The number of bytes. 0 or less gives a part without a buffer that keeps that
    ///                size.
    /// @param handle  The return address, or null. It is adopted, not cloned: it is deleted with
    ///                the message. When the constructor throws it stays the caller's.
    /// @throw std::logic_error "DataPart without data" for a null `data` with a positive `size`.
    /// @throw std::bad_alloc when there is no memory.
    IpcMsg(int type, char* data, int size, MsgHandle* handle);

    /// Copies type, subtype and parts, and clones the handle.
    ///
    /// @param other  The message to copy.
    /// @throw std::bad_alloc when there is no memory.
    /// @throw std::logic_error "DataPart without data" for a part with a positive size and no
    ///     buffer.
    /// @par Logged
    /// "Error : ostrel::IpcMsg::IpcMsg() : " + what() for every failure.
    IpcMsg(const IpcMsg& other);

    /// Copies type, subtype and parts, drops the handle and clones the other's, in this order.
    ///
    /// A failure leaves the message as far as it had come. A message assigned to itself loses its
    /// bytes and its handle.
    ///
    /// @param other  The message to copy.
    /// @return This message.
    /// @throw std::bad_alloc when there is no memory.
    /// @throw std::logic_error "DataPart without data" for a part with a positive size and no
    ///     buffer.
    /// @par Logged
    /// "Error : ostrel::IpcMsg::Opearator=() : " + what() for every failure (kept: log filters know
    /// the spelling).
    IpcMsg& operator=(const IpcMsg& other);

    // Slot order is ABI: append only.
    /// Deletes the handle and the parts.
    virtual ~IpcMsg();

    /// How many parts there are.
    ///
    /// @return The number of parts, 0 for none.
    int getNumParts() const;

    /// The message type, by which server channels find their callback.
    ///
    /// @return The type that was set or received.
    int getMsgType() const;

    /// Sets the message type.
    ///
    /// @param type  Any number: the library gives no type a meaning.
    void setMsgType(int type);

    /// The message subtype.
    ///
    /// @return What the two-int constructor, a copy or an assignment gave; else 0. Receiving never
    ///     changes it.
    int getMsgSubType() const;

    /// Sets the message *type*, not the subtype (kept: applications rely on it).
    ///
    /// A subtype is given only by the two-int constructor, by copying and by assignment.
    ///
    /// @param value  The new message type.
    void setMsgSubType(int value);

    /// The bytes of the first part, which is the only one of most messages.
    ///
    /// @return The buffer itself, or null when there are no parts or the first is empty. The
    ///     message keeps it; it is valid until the parts change.
    char* getMsgData();

    /// The size of the first part.
    ///
    /// @return The number of bytes at getMsgData(), or 0 when there are no parts.
    int getMsgSize();

    /// The return address that the message carries.
    ///
    /// @return The message's own handle, or null. The message keeps it.
    MsgHandle* getHandle() const;

    /// Deletes the current handle; then, unless the new one is null, keeps a clone of it.
    ///
    /// Never pass what getHandle() gave: it is deleted before it would be cloned.
    ///
    /// @param handle  The return address, or null for none. The caller keeps its own.
    /// @throw std::exception whatever the handle's clone() throws. The message then has no handle.
    void setHandle(const MsgHandle* handle);

    /// One part, to read and to write.
    ///
    /// @param index  Its position, from 0, below the number of parts.
    /// @return The part itself; valid until the parts change.
    /// @throw std::logic_error "StringMsg part index out of bounds" for another `index`.
    /// @par Logged
    /// "Error : ostrel::StringMsg::operator []() : " + what(). Line and text name the text message
    /// (kept: log filters rely on both).
    DataPart& operator[](unsigned int index);

    /// Puts a copy of a part before a position.
    ///
    /// A failed insertion leaves the message as it was.
    ///
    /// @param index  The position; the number of parts appends.
    /// @param part   The part to copy.
    /// @return 0.
    /// @throw std::logic_error "Invalid part number" for a larger `index`; "DataPart without data"
    ///     for a part with a positive size and no buffer.
    /// @throw std::bad_alloc when there is no memory.
    int insertPart(unsigned int index, DataPart part);

    /// Puts a new part with a copy of the given bytes before a position.
    ///
    /// A failed insertion leaves the message as it was.
    ///
    /// @param index  The position; the number of parts appends.
    /// @param data   The bytes; the caller keeps its buffer. Null only where `size` is not
    /// positive.
    /// @param size   The number of bytes; 0 or less gives a part without a buffer.
    /// @return 0.
    /// @throw std::logic_error "Invalid part number" for a larger `index`; "DataPart without data"
    ///     for a null `data` with a positive `size`.
    /// @throw std::bad_alloc when there is no memory.
    int insertPart(unsigned int index, const char* data, int size);

    /// Takes a part away; later parts move down by one.
    ///
    /// A failed removal leaves the message as it was.
    ///
    /// @param index  Its position, below the number of parts.
    /// @return 0.
    /// @throw std::logic_error "Invalid part number" for another `index`.
    /// @throw std::bad_alloc when there is no memory for the copies that move down.
    int removePart(unsigned int index);

    /// Appends empty parts, or destroys parts from the end, until there are as many as wanted.
    ///
    /// @param numParts  The number of parts wanted.
    /// @return 0.
    /// @throw std::bad_alloc when there is no memory.
    /// @throw std::length_error "vector::_M_default_append" for more parts than a list can have.
    /// @par Logged
    /// "Error : ostrel::IpcMsg::setNumParts() : " + what().
    int setNumParts(unsigned int numParts);

private:
    // Member order is ABI.
    int mMsgType;
    int mMsgSubType;
    std::vector<DataPart> mParts;
    MsgHandle* mHandle;
};

} // namespace ostrel

#endif
