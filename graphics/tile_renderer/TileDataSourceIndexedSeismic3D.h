#pragma once
// Tiles of a slice gathered from an indexed SEG-Y file, without a brick
// file. A slice touches many traces (a time slice every one), so the source
// asks the background reader for them all at once and fills the tiles as
// they arrive, never waiting; tiles with new data are handed out at most
// every 100 ms, which keeps uploads to about ten a second however many
// traces come in. The reader posts its update sink as it delivers.

#include "platform/api.h"

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

#include "foundation/StreamKeys.h"
#include "graphics/GPUCubeMemorySeams.h"
#include "graphics/tile_renderer/TileDataSourceSeismic3DInterface.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class StreamerIndexedSEGY3DReader;

class TileDataSourceIndexedSeismic3D : public TileDataSourceSeismic3DInterface {
public:
    explicit TileDataSourceIndexedSeismic3D(std::shared_ptr<StreamerIndexedSEGY3DReader> reader,
                                            Clock clock = steady_tick_ms);

    // Takes what the reader has delivered into the tiles; once some has come
    // and 100 ms have passed since the last hand-out, `out` gets every tile
    // touched since. `all` is not read.
    bool get_tiles(std::map<int, TextureTile>& out, bool all) override;

    std::vector<PlaneTiler::Tile> const& get_plane_tiles() const { return tiles; }
    // True when every trace or sample asked for has been taken into the
    // tiles; a trace that cannot be read keeps it false.
    bool is_complete() const override { return pending_traces.empty() && pending_samples.empty(); }

protected:
    void restart() override;

private:
    void fill_trace(Trace const& trace);
    void fill_samples(std::vector<std::pair<SampleKey, float>> const& samples);

    std::shared_ptr<StreamerIndexedSEGY3DReader> reader;
    std::vector<PlaneTiler::Tile> tiles;
    std::vector<TextureTile> texture_tiles;
    std::vector<TraceKey> trace_keys;
    std::vector<SampleKey> sample_keys;
    // Those of the keys not delivered yet: the reader answers a key as long
    // as it holds the trace, and each is taken once.
    std::vector<TraceKey> pending_traces;
    std::vector<SampleKey> pending_samples;
    int lod_step = 1;
    int received = 0;
    std::set<int> dirty_tiles;
    std::uint64_t last_update_tick = 0;
    Clock clock;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
