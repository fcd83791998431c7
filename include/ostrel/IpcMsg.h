#ifndef OSTREL_IPCMSG_H
#define OSTREL_IPCMSG_H

#include <vector>

namespace ostrel {

class MsgHandle;

/// One part of an IpcMsg: a heap buffer and its length, copied whole whenever the part is copied.
///
/// There are no move operations: a list of parts that grows, or that loses or gains a part in the
/// middle, copies the bytes of every part that changes its place.
class DataPart {
public:
    /// No buffer, size 0.
    DataPart();

    /// Adopts `data` without copying it: the part will free() it. Only memory from malloc(), or
    /// null, may be given.
    DataPart(void* data, int size);

    /// Copies the bytes of `other` into a buffer of its own; a size of 0 or less is kept as it is,
    /// with no buffer.
    ///
    /// Throws std::bad_alloc when there is no memory, std::logic_error "DataPart without data" for
    /// a positive size without a buffer.
    DataPart(const DataPart& other);

    /// Frees the own buffer first, then copies as the copy constructor does. A part assigned to
    /// itself, or one whose copying failed, is left without bytes.
    DataPart& operator=(const DataPart& other);

    // Slot order is ABI: append only.
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
/// Threads: a message is used by one thread at a time.
class IpcMsg {
public:
    /// Type 0, subtype 0, no parts, no handle.
    IpcMsg();

    /// The given type and subtype, no parts, no handle.
    IpcMsg(int type, int subType);

    /// A message of one part that holds a copy of the `size` bytes at `data`; subtype 0.
    ///
    /// A `size` of 0 or less gives a part without a buffer that keeps that size. `handle` (null
    /// allowed) is adopted, not cloned: it is deleted with the message. When the copy fails the
    /// handle stays the caller's. A null `data` with a positive `size` throws std::logic_error
    /// "DataPart without data".
    IpcMsg(int type, char* data, int size, MsgHandle* handle);

    /// Copies type, subtype and parts, and clones the handle.
    /// A failure writes the syslog line "Error : ostrel::IpcMsg::IpcMsg() : " + what().
    IpcMsg(const IpcMsg& other);

    /// Copies type, subtype and parts, drops the handle and clones the other's. A message assigned
    /// to itself loses its bytes and its handle.
    /// A failure writes the syslog line "Error : ostrel::IpcMsg::Opearator=() : " + what().
    IpcMsg& operator=(const IpcMsg& other);

    // Slot order is ABI: append only.
    /// Deletes the handle and the parts.
    virtual ~IpcMsg();

    /// The number of parts.
    int getNumParts() const;

    /// The message type.
    int getMsgType() const;

    /// Sets the message type.
    void setMsgType(int type);

    /// The message subtype.
    int getMsgSubType() const;

    /// Sets the message *type* to `value` (kept: applications rely on it). A subtype is given only
    /// by the two-int constructor, by copying and by assignment.
    void setMsgSubType(int value);

    /// The first part's bytes, or null when there are no parts. The message keeps them.
    char* getMsgData();

    /// The first part's size, or 0 when there are no parts.
    int getMsgSize();

    /// The message's own handle, or null. The message keeps it.
    MsgHandle* getHandle() const;

    /// Deletes the current handle; then, unless `handle` is null, keeps a clone of it.
    ///
    /// The caller keeps its own. Never pass what getHandle() gave: it is deleted before it would
    /// be cloned.
    void setHandle(const MsgHandle* handle);

    /// The part at `index`, to read and to write; valid until the parts change.
    ///
    /// `index` must be below the count, else std::logic_error "StringMsg part index out of bounds"
    /// after the syslog line "Error : ostrel::StringMsg::operator []() : " + what() (kept: both
    /// name the text message).
    DataPart& operator[](unsigned int index);

    /// Puts a copy of `part` before position `index`; the count as `index` appends. Returns 0.
    ///
    /// A larger `index` throws std::logic_error "Invalid part number", unlogged. A failed insertion
    /// leaves the message as it was.
    int insertPart(unsigned int index, DataPart part);

    /// Puts a new part with a copy of the `size` bytes at `data` before position `index`; otherwise
    /// as above. The caller keeps its buffer.
    int insertPart(unsigned int index, const char* data, int size);

    /// Takes the part at `index` away; later parts move down by one. Returns 0.
    ///
    /// `index` must be below the count, else std::logic_error "Invalid part number", unlogged. A
    /// failed removal leaves the message as it was.
    int removePart(unsigned int index);

    /// Appends empty parts, or destroys parts from the end, until there are `numParts`. Returns 0.
    ///
    /// A failed allocation is thrown after the syslog line
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
