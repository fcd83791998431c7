#include "message/PartBytes.h"
#include "ostrel/IpcMsg.h"

namespace ostrel {

DataPart::DataPart() : mData(nullptr), mSize(0) {}

DataPart::DataPart(void* data, int size) : mData(static_cast<char*>(data)), mSize(size) {}

DataPart::DataPart(const DataPart& other)
    : mData(detail::copyBytes(other.mData, other.mSize)), mSize(other.mSize)
{
}

// A part assigned to itself loses its bytes: there is no test for it.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment,cert-oop54-cpp)
DataPart& DataPart::operator=(const DataPart& other)
{
    // The own bytes go first, as they always have: a message never needs room for both.
    detail::releaseBytes(mData, mSize);
    mData = nullptr;
    mSize = 0;
    mData = detail::copyBytes(other.mData, other.mSize);
    mSize = other.mSize;
    return *this;
}

DataPart::~DataPart()
{
    detail::releaseBytes(mData, mSize);
}

} // namespace ostrel
