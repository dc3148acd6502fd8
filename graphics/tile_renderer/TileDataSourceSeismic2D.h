#pragma once
// Tiles of a 2D line's section, read from its raster (traces as columns,
// samples as rows) on the GL thread, one tile a draw; each read asks for
// another draw, so the curtain fills in by itself. Each tile's triangles
// follow the line's kept vertices between the tile's first and last trace.

#include "platform/api.h"

#include <memory>
#include <vector>

#include "graphics/tile_renderer/PlaneTiler.h"
#include "graphics/tile_renderer/TileDataSourceInterface.h"
#include "host/IRasterDataset.h"
#include "platform/update_sink.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class TileDataSourceSeismic2D : public TileDataSourceInterface {
public:
    void setGraphicsUpdateWindow(platform::UpdateHandle handle) { window = handle; }
    // Trace positions in the view, relative to the line's origin.
    void set_x(std::vector<double> v) { x = std::move(v); }
    void set_y(std::vector<double> v) { y = std::move(v); }
    // The polyline's kept trace indices, ascending, first and last included.
    void set_indicesdp(std::vector<int> v) { indicesdp = std::move(v); }
    void set_ztop(double v) { ztop = v; }
    void set_zbot(double v) { zbot = v; }
    void set_zstep(double v) { zstep = v; }
    void set_texture_border_size(int v) { texture_border_size = v; }
    void set_tile_size(int v) { tile_size = v; }
    void set_ntraces(int v) { ntraces = v; }
    void set_nsamples(int v) { nsamples = v; }
    void set_raster_dataset(host::RasterDatasetPtr r) { raster_dataset = std::move(r); }
    void set_raster(int band) { raster = band; }

    // Cuts the section into tiles and makes each tile's triangles; the
    // tiles' data stay empty until read.
    void calc_tile_layout();
    // The first tile still empty is read into `out`, and a redraw is asked
    // for. `all` is not read: one tile a draw bounds the stall.
    bool get_tiles(std::map<int, TextureTile>& out, bool all) override;
    bool is_complete() const;

    // Triangles along the kept vertices from the tile's first trace to its
    // last, z from its top to its bottom: six vertices a gap between chain
    // points. False, with the reason logged, when the tile's ends cannot be
    // placed on the line; the tile then does not show.
    bool get_tile_geometry(PlaneTiler::Tile const& tile, std::vector<int>& indices,
                           std::vector<vec<float, 3>>& vertices, std::vector<vec<float, 2>>& tex_coords) const;
    // The tile's block of the raster into `data`, a zeroed texture of the
    // tile's size, at the tile's border offset. False when the read fails.
    bool readRasterTile(PlaneTiler::Tile const& tile, int band, std::vector<float>& data) const;

    std::vector<PlaneTiler::Tile> const& get_plane_tiles() const { return tiles; }

protected:
    void restart() override;

private:
    // The position of trace `index` on the kept polyline; false when it
    // lies outside it.
    bool place(int index, char const* which, vec<double, 2>& out) const;

    platform::UpdateHandle window = 0;
    std::vector<double> x, y;
    std::vector<int> indicesdp;
    double ztop = 0, zbot = 0, zstep = 1;
    int texture_border_size = 2, tile_size = 1024;
    int ntraces = 0, nsamples = 0;
    host::RasterDatasetPtr raster_dataset;
    int raster = 0;
    std::vector<PlaneTiler::Tile> tiles;
    std::vector<TextureTile> texture_tiles;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
