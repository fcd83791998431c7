#include "ostrel/IpcMsg.h"

#include "log/Logged.h"
#include "message/Bounds.h"
#include "message/OwnedHandle.h"
#include "message/PartBytes.h"

#include <cstddef>
#include <stdexcept>
#include <utility>

namespace ostrel {

using detail::logged;
using detail::require;

namespace {

void copyParts(const std::vector<DataPart>& source, std::vector<DataPart>& parts)
{
    parts.resize(source.size());
    for (std::size_t i = 0; i < source.size(); ++i) {
        parts[i] = source[i];
    }
}

DataPart& throwOutOfBounds()
{
    throw std::logic_error("StringMsg part index out of bounds");
}

/// Unlike std::swap(), which would copy.
void swapBytes(DataPart& one, DataPart& other)
{
    std::swap(one.mData, other.mData);
    std::swap(one.mSize, other.mSize);
}

/// Inserts a part that takes the bytes of `part`, unless that fails.
void insertTaken(std::vector<DataPart>& parts, unsigned int index, DataPart& part)
{
    if (index == parts.size()) {
        parts.emplace_back();
        swapBytes(parts.back(), part);
        return;
    }
    // Parts can only be copied, and a copy can fail: the new list is made aside, so that the
    // message stays as it was when it does.
    const auto position = parts.begin() + static_cast<std::ptrdiff_t>(index);
    std::vector<DataPart> grown;
    grown.reserve(parts.size() + 1);
    grown.insert(grown.end(), parts.begin(), position);
    grown.emplace_back();
    grown.insert(grown.end(), position, parts.end());
    swapBytes(grown[index], part);
    parts.swap(grown);
}

} // namespace

IpcMsg::IpcMsg() : IpcMsg(0, 0) {}

IpcMsg::IpcMsg(int type, int subType) : mMsgType(type), mMsgSubType(subType), mHandle(nullptr) {}

IpcMsg::IpcMsg(int type, char* data, int size, MsgHandle* handle)
    : mMsgType(type), mMsgSubType(0), mParts(1), mHandle(nullptr)
{
    mParts[0].mData = detail::copyBytes(data, size);
    mParts[0].mSize = size;
    mHandle = handle;
}

IpcMsg::IpcMsg(const IpcMsg& other)
    : mMsgType(other.mMsgType), mMsgSubType(other.mMsgSubType), mHandle(nullptr)
{
    logged("Error : ostrel::IpcMsg::IpcMsg() : ", [&] {
        copyParts(other.mParts, mParts);
        mHandle = detail::cloneOf(other.mHandle);
    });
}

// A message assigned to itself loses its bytes and its handle: there is no test for it.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment,cert-oop54-cpp)
IpcMsg& IpcMsg::operator=(const IpcMsg& other)
{
    return logged("Error : ostrel::IpcMsg::Opearator=() : ", [&]() -> IpcMsg& {
        mMsgType = other.mMsgType;
        mMsgSubType = other.mMsgSubType;
        copyParts(other.mParts, mParts);
        detail::dropHandle(mHandle);
        mHandle = detail::cloneOf(other.mHandle);
        return *this;
    });
}

IpcMsg::~IpcMsg()
{
    detail::dropHandle(mHandle);
}

int IpcMsg::getNumParts() const
{
    return static_cast<int>(mParts.size());
}

int IpcMsg::getMsgType() const
{
    return mMsgType;
}

void IpcMsg::setMsgType(int type)
{
    mMsgType = type;
}

int IpcMsg::getMsgSubType() const
{
    return mMsgSubType;
}

void IpcMsg::setMsgSubType(int value)
{
    // The type, not the subtype. Kept: applications rely on it.
    mMsgType = value;
}

char* IpcMsg::getMsgData()
{
    return mParts.empty() ? nullptr : mParts.front().mData;
}

int IpcMsg::getMsgSize()
{
    return mParts.empty() ? 0 : mParts.front().mSize;
}

MsgHandle* IpcMsg::getHandle() const
{
    return mHandle;
}

void IpcMsg::setHandle(const MsgHandle* handle)
{
    detail::dropHandle(mHandle);
    mHandle = detail::cloneOf(handle);
}

DataPart& IpcMsg::operator[](unsigned int index)
{
    if (index < mParts.size()) {
        return mParts[index];
    }
    // Prefix and text name the text message, with this class's lower-case library word. Kept: log
    // filters rely on both.
    return logged("Error : ostrel::StringMsg::operator []() : ", throwOutOfBounds);
}

int IpcMsg::insertPart(unsigned int index, DataPart part)
{
    require(index <= mParts.size(), "Invalid part number");
    DataPart copy(part);
    insertTaken(mParts, index, copy);
    return 0;
}

int IpcMsg::insertPart(unsigned int index, const char* data, int size)
{
    require(index <= mParts.size(), "Invalid part number");
    DataPart copy(detail::copyBytes(data, size), size);
    insertTaken(mParts, index, copy);
    return 0;
}

int IpcMsg::removePart(unsigned int index)
{
    require(index < mParts.size(), "Invalid part number");
    DataPart removed;
    swapBytes(removed, mParts[index]);
    std::size_t next = index + std::size_t(1);
    try {
        for (; next < mParts.size(); ++next) {
            mParts[next - 1] = mParts[next];
        }
    } catch (...) {
        // The copies that were made are moved back up, so that the message stays as it was.
        for (std::size_t place = next - 1; place > index; --place) {
            swapBytes(mParts[place], mParts[place - 1]);
        }
        swapBytes(mParts[index], removed);
        throw;
    }
    mParts.pop_back();
    return 0;
}

int IpcMsg::setNumParts(unsigned int numParts)
{
    logged("Error : ostrel::IpcMsg::setNumParts() : ", [&] { mParts.resize(numParts); });
    return 0;
}

} // namespace ostrel
