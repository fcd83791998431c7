#ifndef OSTREL_TRANSPORT_HEADER_H
#define OSTREL_TRANSPORT_HEADER_H

#include <arpa/inet.h>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ostrel::detail {

/// The header frame of a binary message: type, then subtype, each a signed 32-bit number with its
/// most significant byte first.
constexpr std::size_t headerSize = 8;

struct Header {
    std::uint32_t type;
    std::uint32_t subType;
};
static_assert(sizeof(Header) == headerSize, "the frame is the struct");

inline Header encodeHeader(int type, int subType)
{
    return {htonl(static_cast<std::uint32_t>(type)), htonl(static_cast<std::uint32_t>(subType))};
}

/// The type in the header at `bytes`. There is no counterpart for the subtype: receivers do not
/// read it.
inline int decodeType(const void* bytes)
{
    std::uint32_t type = 0;
    std::memcpy(&type, bytes, sizeof type);
    return static_cast<std::int32_t>(ntohl(type));
}

} // namespace ostrel::detail

#endif
