#pragma once
// Tiles of a slice read from a brick file, on the GL thread. A slice is a
// short read there, so each tile is read whole when its turn comes: one
// tile every 50 ms, so that a slice grows on screen without holding up a
// frame for long.

#include "platform/api.h"

#include <cstdint>
#include <memory>
#include <vector>

#include "graphics/GPUCubeMemorySeams.h"
#include "graphics/tile_renderer/TileDataSourceSeismic3DInterface.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class Streamer3DGridReader;

class TileDataSourceSeismic3D : public TileDataSourceSeismic3DInterface {
public:
    explicit TileDataSourceSeismic3D(std::shared_ptr<Streamer3DGridReader> reader, Clock clock = steady_tick_ms);

    // More than 50 ms after the last read: reads the next tile still empty
    // (all of them with `all`) into `out`. A read that fails leaves its tile
    // empty, to be tried again in a later round.
    bool get_tiles(std::map<int, TextureTile>& out, bool all) override;

    std::vector<PlaneTiler::Tile> const& get_plane_tiles() const { return tiles; }
    // True once every tile of the slice holds data.
    bool is_complete() const override;

protected:
    void restart() override;

private:
    bool read_data(std::size_t index, TextureTile& tile);

    std::shared_ptr<Streamer3DGridReader> reader;
    std::vector<PlaneTiler::Tile> tiles;
    std::vector<TextureTile> texture_tiles; // one a tile
    std::uint64_t last_read_tick = 0;
    Clock clock;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
