#include "ostrel/IpcMsg.h"

#include "log/Logged.h"
#include "message/Bounds.h"
#include "message/OwnedHandle.h"
#include "message/PartBytes.h"

#include <cstddef>
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
    if (index >= mParts.size()) {
        // Prefix and text name the text message, with this class's lower-case library word. Kept:
        // log filters rely on both.
        logged("Error : ostrel::StringMsg::operator []() : ",
               [] { detail::throwLogicError("StringMsg part index out of bounds"); });
    }
    return mParts[index];
}

int IpcMsg::insertPart(unsigned int index, DataPart part)
{
    require(index <= mParts.size(), "Invalid part number");
    if (index == mParts.size()) {
        mParts.push_back(part);
        return 0;
    }
    // Parts can only be copied, and a copy can fail: the new list is made aside, so that the
    // message stays as it was when it does.
    const auto position = mParts.begin() + static_cast<std::ptrdiff_t>(index);
    std::vector<DataPart> grown;
    grown.reserve(mParts.size() + 1);
    grown.insert(grown.end(), mParts.begin(), position);
    grown.push_back(part);
    grown.insert(grown.end(), position, mParts.end());
    mParts.swap(grown);
    return 0;
}

int IpcMsg::insertPart(unsigned int index, const char* data, int size)
{
    require(index <= mParts.size(), "Invalid part number");
    return insertPart(index, DataPart(detail::copyBytes(data, size), size));
}

int IpcMsg::removePart(unsigned int index)
{
    require(index < mParts.size(), "Invalid part number");
    // Every later part moves down by a copy. The copies are made aside first, so that the message
    // stays as it was when one of them fails.
    const auto position = mParts.begin() + static_cast<std::ptrdiff_t>(index);
    std::vector<DataPart> later(position + 1, mParts.end());
    for (std::size_t i = 0; i < later.size(); ++i) {
        std::swap(mParts[index + i].mData, later[i].mData);
        std::swap(mParts[index + i].mSize, later[i].mSize);
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
