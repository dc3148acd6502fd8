#include "graphics/tile_renderer/TileDataSourceSeismic3DInterface.h"

#include "foundation/log.h"

namespace Tolmar {

namespace {

// A border of two samples lets a bicubic fetch stay inside its tile.
constexpr int kBorder = 2;
constexpr int kTileSize = 512;

int lines_in(vec<int, 3> const& r) { return r[2] != 0 ? (r[1] - r[0]) / r[2] + 1 : 1; }

} // namespace

void TileDataSourceSeismic3DInterface::set_slice_key(SliceKey const& k)
{
    if (hasKey && k.kind == key.kind && (k.kind == 3 ? k.points == key.points : k.position == key.position))
        return;
    key = k;
    hasKey = true;
    restart();
}

int TileDataSourceSeismic3DInterface::sample_count() const
{
    return timerng[2] != 0 ? static_cast<int>((timerng[1] - timerng[0]) / timerng[2] + 1.5) : 1;
}

vec<int, 2> TileDataSourceSeismic3DInterface::plane_size() const
{
    int const inlines = lines_in(inlrng), crosslines = lines_in(crlrng), samples = sample_count();
    switch (key.kind) {
    case 0: return vec<int, 2>{{crosslines, samples}};
    case 1: return vec<int, 2>{{inlines, samples}};
    default: return vec<int, 2>{{inlines, crosslines}};
    }
}

void TileDataSourceSeismic3DInterface::make_tiles(std::vector<PlaneTiler::Tile>& tiles,
                                                  std::vector<TextureTile>& textures, bool allocate) const
{
    vec<int, 2> const size = plane_size();
    Util::logf("  texture_size = %d %d", size[0], size[1]);
    PlaneTiler::split_in_tiles(size, kBorder, kTileSize, true, tiles);
    textures.assign(tiles.size(), TextureTile{});
    for (std::size_t i = 0; i < tiles.size(); ++i) {
        PlaneTiler::Tile const& t = tiles[i];
        TextureTile& tt = textures[i];
        tt.width = static_cast<short>(t.tex_size[0]);
        tt.height = static_cast<short>(t.tex_size[1]);
        tt.spacing.set(1.0f / static_cast<float>(tt.width), 1.0f / static_cast<float>(tt.height));
        if (allocate) tt.data.assign(static_cast<std::size_t>(tt.width) * tt.height, 0.0f);
        vec<float, 2> const unit[2] = {t.unit_min, t.unit_max};
        vec<double, 3> corners[4];
        if (key.kind == 2)
            PlaneTiler::time_frame(unit, xframe, yframe, tframe, corners);
        else
            PlaneTiler::inl_crl_frame(unit, xframe, yframe, tframe, corners);
        for (auto const& c : corners)
            tt.vertices.push_back(
                vec<float, 3>{{static_cast<float>(c[0]), static_cast<float>(c[1]), static_cast<float>(c[2])}});
        tt.tex_coords = {vec<float, 2>{{t.tc_min[0], t.tc_max[1]}}, vec<float, 2>{{t.tc_max[0], t.tc_max[1]}},
                         vec<float, 2>{{t.tc_max[0], t.tc_min[1]}}, vec<float, 2>{{t.tc_min[0], t.tc_min[1]}}};
        tt.indices = {0, 1, 3, 1, 2, 3};
    }
}

} // namespace Tolmar
