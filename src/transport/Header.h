#ifndef OSTREL_TRANSPORT_HEADER_H
#define OSTREL_TRANSPORT_HEADER_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace ostrel::detail {

/// The header frame of a binary message: type, then subtype, each a signed 32-bit number with its
/// most significant byte first.
constexpr std::size_t headerSize = 8;

using Header = std::array<unsigned char, headerSize>;

constexpr Header encodeHeader(int type, int subType)
{
    const auto t = static_cast<std::uint32_t>(type);
    const auto s = static_cast<std::uint32_t>(subType);
    return {static_cast<unsigned char>(t >> 24U), static_cast<unsigned char>(t >> 16U),
            static_cast<unsigned char>(t >> 8U),  static_cast<unsigned char>(t),
            static_cast<unsigned char>(s >> 24U), static_cast<unsigned char>(s >> 16U),
            static_cast<unsigned char>(s >> 8U),  static_cast<unsigned char>(s)};
}

/// The type in the header at `bytes`. There is no counterpart for the subtype: receivers do not
/// read it.
inline int decodeType(const void* bytes)
{
    const auto* b = static_cast<const unsigned char*>(bytes);
    const std::uint32_t type =
        static_cast<std::uint32_t>(b[0]) << 24U | static_cast<std::uint32_t>(b[1]) << 16U |
        static_cast<std::uint32_t>(b[2]) << 8U | static_cast<std::uint32_t>(b[3]);
    return static_cast<std::int32_t>(type);
}

} // namespace ostrel::detail

#endif
