#ifndef OSTREL_BENCH_CONTENDER_WIRE_H
#define OSTREL_BENCH_CONTENDER_WIRE_H

#include "contender/Contender.h"

#include <array>
#include <cstdint>

namespace bench {

/// The header frame: type and subtype, most significant byte first (docs/wire.md).
using Header = std::array<char, 8>;

constexpr Header encodeHeader(int type)
{
    const auto bits = static_cast<std::uint32_t>(type);
    return {static_cast<char>(bits >> 24U),
            static_cast<char>(bits >> 16U),
            static_cast<char>(bits >> 8U),
            static_cast<char>(bits),
            0,
            0,
            0,
            0};
}

inline int decodeType(const void* header)
{
    const auto* bytes = static_cast<const unsigned char*>(header);
    std::uint32_t bits = 0;
    for (int i = 0; i < 4; ++i) {
        bits = bits << 8U | bytes[i];
    }
    return static_cast<std::int32_t>(bits);
}

} // namespace bench

#endif
