#pragma once
// A tile source on a 3D cube: which slice, the cube's ranges and the world
// corners of the slice's frame (CubeSlice::get_frame). Setting the same
// slice again does nothing; another slice restarts the source.

#include "platform/api.h"

#include <cstdint>
#include <functional>
#include <vector>

#include "foundation/vec.h"
#include "graphics/tile_renderer/PlaneTiler.h"
#include "graphics/tile_renderer/TileDataSourceInterface.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class TileDataSourceSeismic3DInterface : public TileDataSourceInterface {
public:
    // 0 inline, 1 crossline, 2 time slice, 3 an arbitrary line through `points`.
    struct SliceKey {
        int kind = 0;
        int position = 0; // inline or crossline number, or time
        std::vector<vec<float, 2>> points;
    };
    // Milliseconds of a clock that never runs backwards; sources pace their work by it.
    using Clock = std::function<std::uint64_t()>;

    void set_inlrng(vec<int, 3> const& r) { inlrng = r; }
    void set_crlrng(vec<int, 3> const& r) { crlrng = r; }
    void set_timerng(vec<double, 3> const& r) { timerng = r; }
    void set_xframe(vec<double, 4> const& f) { xframe = f; }
    void set_yframe(vec<double, 4> const& f) { yframe = f; }
    void set_tframe(vec<double, 4> const& f) { tframe = f; }
    void set_slice_key(SliceKey const& key);
    SliceKey const& get_slice_key() const { return key; }
    // True once every tile of the slice holds all its data.
    virtual bool is_complete() const = 0;

protected:
    // The plane's size in samples for the key's kind: (crosslines, samples),
    // (inlines, samples) or (inlines, crosslines).
    vec<int, 2> plane_size() const;
    // Samples a trace holds over `timerng`.
    int sample_count() const;
    // Tiles of the plane, each with its corners in the world, and data
    // empty or, with `allocate`, zeros.
    void make_tiles(std::vector<PlaneTiler::Tile>& tiles, std::vector<TextureTile>& textures, bool allocate) const;

    SliceKey key;
    vec<int, 3> inlrng{};
    vec<int, 3> crlrng{};
    vec<double, 3> timerng{};
    vec<double, 4> xframe{}, yframe{}, tframe{};

private:
    bool hasKey = false; // the first key always starts the source
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
