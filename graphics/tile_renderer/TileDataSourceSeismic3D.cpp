#include "graphics/tile_renderer/TileDataSourceSeismic3D.h"

#include <algorithm>

#include "foundation/Streamer3DGridReader.h"
#include "foundation/log.h"
#include "foundation/slices.h"

namespace Tolmar {

namespace {

constexpr std::uint64_t kReadPauseMs = 50;

} // namespace

TileDataSourceSeismic3D::TileDataSourceSeismic3D(std::shared_ptr<Streamer3DGridReader> r, Clock c)
    : reader(std::move(r)), clock(std::move(c))
{
}

void TileDataSourceSeismic3D::restart()
{
    if (key.kind == 3) {
        Util::logc("TileDataSourceSeismic3D:: arb lines not supported");
        return;
    }
    make_tiles(tiles, texture_tiles, false);
}

bool TileDataSourceSeismic3D::get_tiles(std::map<int, TextureTile>& out, bool all)
{
    out.clear();
    std::uint64_t const now = clock();
    if (now - last_read_tick <= kReadPauseMs) return false;
    last_read_tick = now;
    for (std::size_t i = 0; i < texture_tiles.size(); ++i) {
        TextureTile& tile = texture_tiles[i];
        if (!tile.data.empty()) continue;
        if (read_data(i, tile)) out[static_cast<int>(i)] = tile;
        if (!all) break;
    }
    return !out.empty();
}

bool TileDataSourceSeismic3D::is_complete() const
{
    return std::all_of(texture_tiles.begin(), texture_tiles.end(), [](TextureTile const& t) { return !t.data.empty(); });
}

bool TileDataSourceSeismic3D::read_data(std::size_t index, TextureTile& tile)
{
    PlaneTiler::Tile const& t = tiles[index];
    vec<int, 2> const s = t.src_pos, d = t.data_size;
    auto line_at = [](vec<int, 3> const& r, int i) { return r[0] + i * r[2]; };
    auto time_at = [this](int i) { return timerng[0] + i * timerng[2]; };
    std::vector<float> values;
    vec<int, 2> size{};
    bool ok = false;
    switch (key.kind) {
    case 0:
        ok = iline(reader, key.position, line_at(crlrng, s[0]), line_at(crlrng, s[0] + d[0] - 1), time_at(s[1]),
                   time_at(s[1] + d[1] - 1), values, size);
        break;
    case 1:
        ok = crossline(reader, key.position, line_at(inlrng, s[0]), line_at(inlrng, s[0] + d[0] - 1), time_at(s[1]),
                       time_at(s[1] + d[1] - 1), values, size);
        break;
    case 2:
        ok = timeslice(reader, key.position, line_at(inlrng, s[0]), line_at(inlrng, s[0] + d[0] - 1),
                       line_at(crlrng, s[1]), line_at(crlrng, s[1] + d[1] - 1), values, size);
        break;
    default: break;
    }
    if (!ok) return false;
    tile.data.assign(static_cast<std::size_t>(tile.width) * tile.height, 0.0f);
    // Vertical slices come samples first (a trace after a trace); the
    // texture holds a row a sample. A time slice comes row by row already.
    bool const vertical = key.kind != 2;
    int const columns = std::min(vertical ? size[1] : size[0], tile.width - t.dst_pos[0]);
    int const rows = std::min(vertical ? size[0] : size[1], tile.height - t.dst_pos[1]);
    for (int row = 0; row < rows; ++row) {
        float* to = tile.data.data() + static_cast<std::size_t>(t.dst_pos[1] + row) * tile.width + t.dst_pos[0];
        for (int col = 0; col < columns; ++col)
            to[col] = vertical ? values[static_cast<std::size_t>(col) * size[0] + row]
                               : values[static_cast<std::size_t>(row) * size[0] + col];
    }
    return true;
}

} // namespace Tolmar
