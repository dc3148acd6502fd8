#include "graphics/tile_renderer/TileDataSourceIndexedSeismic3D.h"

#include <algorithm>

#include "foundation/StreamerIndexedSEGY3DReader.h"
#include "foundation/log.h"

namespace Tolmar {

namespace {

constexpr std::uint64_t kPublishPauseMs = 100;

// Drops from `pending` the keys that came in `arrived`.
template <class Key, class Arrived, class KeyOf>
void take_arrived(std::vector<Key>& pending, Arrived const& arrived, KeyOf key_of)
{
    if (arrived.empty()) return;
    std::set<Key> got;
    for (auto const& a : arrived) got.insert(key_of(a));
    std::erase_if(pending, [&got](Key const& k) { return got.count(k) != 0; });
}

bool holds(PlaneTiler::Tile const& t, int axis, int at)
{
    return at >= t.src_pos[axis] && at < t.src_pos[axis] + t.data_size[axis];
}

} // namespace

TileDataSourceIndexedSeismic3D::TileDataSourceIndexedSeismic3D(std::shared_ptr<StreamerIndexedSEGY3DReader> r,
                                                               Clock c)
    : reader(std::move(r)), clock(std::move(c))
{
}

void TileDataSourceIndexedSeismic3D::restart()
{
    if (key.kind == 3) {
        Util::logc("TileDataSourceIndexedSeismic3D:: time and arb lines not supported");
        return;
    }
    make_tiles(tiles, texture_tiles, true);
    trace_keys.clear();
    sample_keys.clear();
    switch (key.kind) {
    case 0:
        for (int c = crlrng[0]; crlrng[2] > 0 && c <= crlrng[1]; c += crlrng[2])
            trace_keys.push_back(TraceKey{key.position, c});
        break;
    case 1:
        for (int i = inlrng[0]; inlrng[2] > 0 && i <= inlrng[1]; i += inlrng[2])
            trace_keys.push_back(TraceKey{i, key.position});
        break;
    default: {
        int const k = timerng[2] != 0 ? static_cast<int>((key.position - timerng[0]) / timerng[2]) : 0;
        if (k < 0 || k >= sample_count()) break; // a time outside the traces: nothing to gather
        int const inlStep = inlrng[2] * lod_step, crlStep = crlrng[2] * lod_step;
        for (int c = crlrng[0]; crlStep > 0 && c <= crlrng[1]; c += crlStep)
            for (int i = inlrng[0]; inlStep > 0 && i <= inlrng[1]; i += inlStep)
                sample_keys.push_back(SampleKey{i, c, k});
        break;
    }
    }
    // Keys the index lacks are never delivered; they are not waited for.
    pending_traces.clear();
    pending_samples.clear();
    if (reader) {
        for (TraceKey const& t : trace_keys)
            if (reader->trace_exist(t.inl, t.crl)) pending_traces.push_back(t);
        for (SampleKey const& s : sample_keys)
            if (reader->trace_exist(s.inl, s.crl)) pending_samples.push_back(s);
        reader->request_traces(trace_keys);
        reader->request_samples(sample_keys);
    }
    received = 0;
    dirty_tiles.clear();
}

bool TileDataSourceIndexedSeismic3D::get_tiles(std::map<int, TextureTile>& out, bool)
{
    out.clear();
    if (!reader) return false;
    std::vector<Trace> traces;
    if (!pending_traces.empty()) {
        reader->get_traces_nonblocking(pending_traces, traces);
        for (Trace const& t : traces) fill_trace(t);
        take_arrived(pending_traces, traces, [](Trace const& t) { return TraceKey{t.inl, t.crl}; });
    }
    std::vector<std::pair<SampleKey, float>> samples;
    if (!pending_samples.empty()) {
        reader->get_samples_nonblocking(pending_samples, samples);
        fill_samples(samples);
        take_arrived(pending_samples, samples, [](auto const& s) { return s.first; });
    }
    received += static_cast<int>(traces.size() + samples.size());
    std::uint64_t const now = clock();
    if (received == 0 || now - last_update_tick <= kPublishPauseMs) return false;
    received = 0;
    last_update_tick = now;
    for (int index : dirty_tiles) out[index] = texture_tiles[static_cast<std::size_t>(index)];
    dirty_tiles.clear();
    return !out.empty();
}

void TileDataSourceIndexedSeismic3D::fill_trace(Trace const& trace)
{
    if (trace.samples.empty() || key.kind > 1) return;
    vec<int, 3> const& r = key.kind == 0 ? crlrng : inlrng;
    int const line = key.kind == 0 ? trace.crl : trace.inl;
    if (r[2] <= 0 || (line - r[0]) % r[2] != 0) return;
    int const column = (line - r[0]) / r[2];
    int const last = static_cast<int>(trace.samples.size()) - 1;
    for (std::size_t i = 0; i < tiles.size(); ++i) {
        PlaneTiler::Tile const& t = tiles[i];
        if (!holds(t, 0, column)) continue;
        dirty_tiles.insert(static_cast<int>(i));
        TextureTile& tile = texture_tiles[i];
        int const x = column - t.src_pos[0] + t.dst_pos[0];
        for (int row = 0; row < t.data_size[1]; ++row)
            tile.data[static_cast<std::size_t>(t.dst_pos[1] + row) * tile.width + x] =
                trace.samples[static_cast<std::size_t>(std::clamp(t.src_pos[1] + row, 0, last))];
    }
}

void TileDataSourceIndexedSeismic3D::fill_samples(std::vector<std::pair<SampleKey, float>> const& samples)
{
    if (inlrng[2] <= 0 || crlrng[2] <= 0) return;
    for (auto const& [k, value] : samples) {
        int const column = (k.inl - inlrng[0]) / inlrng[2], row = (k.crl - crlrng[0]) / crlrng[2];
        for (std::size_t i = 0; i < tiles.size(); ++i) {
            PlaneTiler::Tile const& t = tiles[i];
            if (!holds(t, 0, column) || !holds(t, 1, row)) continue;
            dirty_tiles.insert(static_cast<int>(i));
            TextureTile& tile = texture_tiles[i];
            int const x0 = column - t.src_pos[0] + t.dst_pos[0], y0 = row - t.src_pos[1] + t.dst_pos[1];
            for (int y = y0; y < std::min(y0 + lod_step, static_cast<int>(tile.height)); ++y)
                for (int x = x0; x < std::min(x0 + lod_step, static_cast<int>(tile.width)); ++x)
                    tile.data[static_cast<std::size_t>(y) * tile.width + x] = value;
        }
    }
}

} // namespace Tolmar
