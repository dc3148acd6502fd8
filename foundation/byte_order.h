#pragma once
// Assembling words of a given byte order from unaligned bytes. Independent
// of the host's own order.

#include "platform/api.h"

#include <cstdint>
#include <cstring>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

inline std::uint16_t load_u16(void const* p, bool littleEndian)
{
    auto const* b = static_cast<unsigned char const*>(p);
    return littleEndian ? static_cast<std::uint16_t>(b[0] | (b[1] << 8))
                        : static_cast<std::uint16_t>((b[0] << 8) | b[1]);
}

inline std::uint32_t load_u32(void const* p, bool littleEndian)
{
    auto const* b = static_cast<unsigned char const*>(p);
    std::uint32_t const b0 = b[0], b1 = b[1], b2 = b[2], b3 = b[3];
    return littleEndian ? (b0 | (b1 << 8) | (b2 << 16) | (b3 << 24))
                        : ((b0 << 24) | (b1 << 16) | (b2 << 8) | b3);
}

inline std::int16_t load_i16(void const* p, bool littleEndian)
{
    return static_cast<std::int16_t>(load_u16(p, littleEndian));
}

inline std::int32_t load_i32(void const* p, bool littleEndian)
{
    return static_cast<std::int32_t>(load_u32(p, littleEndian));
}

inline void store_u16(void* p, std::uint16_t v, bool littleEndian)
{
    auto* b = static_cast<unsigned char*>(p);
    if (littleEndian) {
        b[0] = static_cast<unsigned char>(v);
        b[1] = static_cast<unsigned char>(v >> 8);
    } else {
        b[0] = static_cast<unsigned char>(v >> 8);
        b[1] = static_cast<unsigned char>(v);
    }
}

inline void store_u32(void* p, std::uint32_t v, bool littleEndian)
{
    auto* b = static_cast<unsigned char*>(p);
    for (int i = 0; i < 4; ++i) {
        int const shift = littleEndian ? 8 * i : 8 * (3 - i);
        b[i] = static_cast<unsigned char>(v >> shift);
    }
}

inline std::uint32_t float_bits(float f)
{
    std::uint32_t u;
    std::memcpy(&u, &f, 4);
    return u;
}

inline float bits_float(std::uint32_t u)
{
    float f;
    std::memcpy(&f, &u, 4);
    return f;
}

} // namespace Tolmar

TOLMAR_PUBLIC_END
