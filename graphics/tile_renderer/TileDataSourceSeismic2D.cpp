#include "graphics/tile_renderer/TileDataSourceSeismic2D.h"

#include <algorithm>

#include "foundation/log.h"

namespace Tolmar {

void TileDataSourceSeismic2D::calc_tile_layout()
{
    PlaneTiler::split_in_tiles(vec<int, 2>{{ntraces, nsamples}}, texture_border_size, tile_size, true, tiles);
    texture_tiles.assign(tiles.size(), TextureTile{});
    for (std::size_t i = 0; i < tiles.size(); ++i) {
        TextureTile& tt = texture_tiles[i];
        tt.width = static_cast<short>(tiles[i].tex_size[0]);
        tt.height = static_cast<short>(tiles[i].tex_size[1]);
        tt.spacing.set(1.0f / static_cast<float>(tt.width), 1.0f / static_cast<float>(tt.height));
        if (!get_tile_geometry(tiles[i], tt.indices, tt.vertices, tt.tex_coords)) {
            tt.indices.clear();
            tt.vertices.clear();
            tt.tex_coords.clear();
        }
    }
}

void TileDataSourceSeismic2D::restart() { calc_tile_layout(); }

bool TileDataSourceSeismic2D::place(int index, char const* which, vec<double, 2>& out) const
{
    auto const high = std::lower_bound(indicesdp.begin(), indicesdp.end(), index);
    if (high != indicesdp.end() && *high == index) {
        out.set(x[static_cast<std::size_t>(index)], y[static_cast<std::size_t>(index)]);
        return true;
    }
    if (high == indicesdp.begin() || high == indicesdp.end()) {
        Util::logf("%s: !find_bound\n", which);
        return false;
    }
    int const hi = *high, lo = *(high - 1);
    if (index <= lo || index >= hi) {
        Util::logf("%s: (from_index <= low_index) || (from_index >= high_index): %d, %d, %d\n", which, index, lo, hi);
        return false;
    }
    double const t = static_cast<double>(index - lo) / (hi - lo);
    std::size_t const a = static_cast<std::size_t>(lo), b = static_cast<std::size_t>(hi);
    out.set(x[a] + (x[b] - x[a]) * t, y[a] + (y[b] - y[a]) * t);
    return true;
}

bool TileDataSourceSeismic2D::get_tile_geometry(PlaneTiler::Tile const& tile, std::vector<int>& indices,
                                                std::vector<vec<float, 3>>& vertices,
                                                std::vector<vec<float, 2>>& tex_coords) const
{
    indices.clear();
    vertices.clear();
    tex_coords.clear();
    if (x.size() < static_cast<std::size_t>(ntraces) || y.size() < x.size() || ntraces < 1) return false;
    int const f = static_cast<int>(static_cast<float>(ntraces - 1) * tile.unit_min[0]);
    int const l = static_cast<int>(static_cast<float>(ntraces - 1) * tile.unit_max[0]);
    std::vector<vec<double, 2>> chain(1);
    if (!place(f, "first", chain[0])) return false;
    for (int i : indicesdp)
        if (i > f && i < l)
            chain.push_back(vec<double, 2>{{x[static_cast<std::size_t>(i)], y[static_cast<std::size_t>(i)]}});
    vec<double, 2> last{};
    if (!place(l, "last", last)) return false;
    chain.push_back(last);
    std::size_t const n = chain.size();
    if (n < 2) return false;

    double const z0 = ztop + tile.unit_min[1] * (zbot - ztop), z1 = ztop + tile.unit_max[1] * (zbot - ztop);
    float const umin = tile.tc_min[0], uspan = tile.tc_max[0] - tile.tc_min[0];
    for (std::size_t k = 0; k + 1 < n; ++k) {
        // The texture advances by chain point, not by trace or distance, and
        // stands still over the last gap. A chain of two points (a tile
        // between two kept traces) has no divisor: it spans the texture.
        double u0 = 0, u1 = 1;
        if (n > 2) {
            u0 = static_cast<double>(k) / static_cast<double>(n - 2);
            u1 = std::min(1.0, static_cast<double>(k + 1) / static_cast<double>(n - 2));
        }
        float const a = umin + uspan * static_cast<float>(u0), b = umin + uspan * static_cast<float>(u1);
        auto const& p = chain[k];
        auto const& q = chain[k + 1];
        auto v = [&vertices](vec<double, 2> const& at, double z) {
            vertices.push_back(vec<float, 3>{{static_cast<float>(at[0]), static_cast<float>(at[1]), static_cast<float>(z)}});
        };
        for (auto const& [at, z] : {std::pair{p, z0}, std::pair{p, z1}, std::pair{q, z1}, std::pair{q, z1}, std::pair{q, z0}, std::pair{p, z0}})
            v(at, z);
        for (auto const& tc : {vec<float, 2>{{a, tile.tc_min[1]}}, vec<float, 2>{{a, tile.tc_max[1]}},
                               vec<float, 2>{{b, tile.tc_max[1]}}, vec<float, 2>{{b, tile.tc_max[1]}},
                               vec<float, 2>{{b, tile.tc_min[1]}}, vec<float, 2>{{a, tile.tc_min[1]}}})
            tex_coords.push_back(tc);
    }
    for (std::size_t i = 0; i < vertices.size(); ++i) indices.push_back(static_cast<int>(i));
    return true;
}

bool TileDataSourceSeismic2D::readRasterTile(PlaneTiler::Tile const& tile, int band, std::vector<float>& data) const
{
    int const width = tile.tex_size[0], height = tile.tex_size[1];
    data.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0.0f);
    if (!raster_dataset) return false;
    host::PixelBlock block;
    std::string why;
    if (!raster_dataset->read(band, raster_dataset->width(), raster_dataset->height(), tile.src_pos[0],
                              tile.src_pos[1], tile.data_size[0], tile.data_size[1], block, &why)) {
        Util::logf("TileDataSourceSeismic2D::readRasterTile: %s\n", why.c_str());
        return false;
    }
    int const columns = std::min(block.width, width - tile.dst_pos[0]);
    int const rows = std::min(block.height, height - tile.dst_pos[1]);
    for (int row = 0; row < rows; ++row)
        std::copy_n(block.values.begin() + static_cast<long>(row) * block.width, columns,
                    data.begin() + static_cast<long>(tile.dst_pos[1] + row) * width + tile.dst_pos[0]);
    return true;
}

bool TileDataSourceSeismic2D::get_tiles(std::map<int, TextureTile>& out, bool)
{
    out.clear();
    for (std::size_t i = 0; i < texture_tiles.size(); ++i) {
        TextureTile& tt = texture_tiles[i];
        if (!tt.data.empty()) continue;
        readRasterTile(tiles[i], raster, tt.data);
        out[static_cast<int>(i)] = tt;
        platform::post_update(window);
        return true;
    }
    return false;
}

bool TileDataSourceSeismic2D::is_complete() const
{
    return std::all_of(texture_tiles.begin(), texture_tiles.end(), [](TextureTile const& t) { return !t.data.empty(); });
}

} // namespace Tolmar
