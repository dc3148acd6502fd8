#pragma once
// One entry of a cube's layout map: four bytes, in memory order x, y, z of
// the pool slot and the level of the brick found there, read by the cube
// shader as one RGBA8 texel. All zeros is the reserved slot (0,0,0), which
// holds the undefined brick. Slot coordinates and levels above 255 do not
// fit, and are cut to their low byte.

#include <cstdint>
#include <cstring>

#include "foundation/vec.h"

namespace Tolmar {

struct LayoutEntry {
    vec<unsigned, 3> slot{{0, 0, 0}};
    unsigned level = 0;

    bool operator==(LayoutEntry const& o) const { return slot == o.slot && level == o.level; }
};

inline std::uint32_t pack_layout_entry(vec<unsigned, 3> const& slot, unsigned char level)
{
    unsigned char const bytes[4] = {static_cast<unsigned char>(slot[0]), static_cast<unsigned char>(slot[1]),
                                    static_cast<unsigned char>(slot[2]), level};
    // Through memcpy so that the bytes keep their order on any host.
    std::uint32_t packed = 0;
    std::memcpy(&packed, bytes, sizeof packed);
    return packed;
}

inline LayoutEntry unpack_layout_entry(std::uint32_t packed)
{
    unsigned char bytes[4];
    std::memcpy(bytes, &packed, sizeof bytes);
    LayoutEntry e;
    e.slot = vec<unsigned, 3>{{bytes[0], bytes[1], bytes[2]}};
    e.level = bytes[3];
    return e;
}

} // namespace Tolmar
