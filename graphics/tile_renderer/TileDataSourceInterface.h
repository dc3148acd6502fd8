#pragma once
// Where the tile renderer gets its textures of amplitudes for one plane
// through the data: a slice of a cube, or a 2D line. Sources fill tiles on
// the GL thread, from bricks or from traces that a background reader delivers.

#include "platform/api.h"

#include <map>
#include <vector>

#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

struct FrustumPlanes;

class TileDataSourceInterface {
public:
    struct TextureTile {
        short width = 0, height = 0; // texture size
        // width * height amplitudes, row by row; empty until read.
        std::vector<float> data;
        vec<float, 2> spacing{}; // 1 / width, 1 / height
        std::vector<int> indices; // two triangles over the corners
        std::vector<vec<float, 3>> vertices;  // the four corners in the world
        std::vector<vec<float, 2>> tex_coords; // their texture coordinates
    };

    virtual ~TileDataSourceInterface() = default;
    virtual void set_frustum(FrustumPlanes const&) {}
    // Replaces `out` with the tiles, by index, that have new data since the
    // last call; `all` asks a source that paces its reads for everything
    // outstanding at once. True when `out` holds any tile.
    virtual bool get_tiles(std::map<int, TextureTile>& out, bool all) = 0;

protected:
    // Starts the plane afresh after its key changed.
    virtual void restart() = 0;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
