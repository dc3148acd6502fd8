#pragma once
// One open cube's share of the GPU brick pool: which of its bricks are
// resident and in which slot, and its layout map, the small RGBA8 3D texture
// that tells the cube shader, for each level-0 brick position, the slot and
// level of the best resident data there. Only level 0 of the layout goes to
// the GPU; the coarser levels are kept here, so that an eviction can put
// back what a brick covered.
//
// GL thread only, with a context current (see GPUCubeMemoryManager).

#include "platform/api.h"

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "foundation/StreamKeys.h"
#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class GPUCubeMemoryLineHandler;
class GPUCubeMemoryManager;
class Streamer3DGridReader;

// What a layout map shows over the level-0 bricks that a view wants.
struct BrickCoverage {
    // Per level, finest first: the distinct bricks shown there.
    std::vector<unsigned> bricks_per_level;
    // The view's level-0 bricks that hold data, and those of them that no
    // resident brick covers, which draw as undefined.
    unsigned positions = 0, holes = 0;

    // Every one of them shows its own level-0 brick.
    bool full_resolution() const
    {
        return holes == 0 && (bricks_per_level.empty() || bricks_per_level[0] == positions);
    }
};

class GPUCubeMemoryDataSource {
public:
    // Creates the layout map, all of it undefined.
    GPUCubeMemoryDataSource(GPUCubeMemoryManager* manager, std::shared_ptr<Streamer3DGridReader> reader);
    // As release().
    ~GPUCubeMemoryDataSource();
    GPUCubeMemoryDataSource(GPUCubeMemoryDataSource const&) = delete;
    GPUCubeMemoryDataSource& operator=(GPUCubeMemoryDataSource const&) = delete;

    // Merges the triangles of all line handlers, runs the pool's brick
    // selection on them into `wanted`, and sets `missing` to the wanted
    // bricks not resident; loading() tells whether there are any.
    void collect_wanted_bricks(std::set<BrickKey>& wanted, int& missing);
    // This cube's turn in a round: evicts up to 50 resident bricks that are
    // not wanted and have no resident child, requests missing wanted bricks
    // coarsest first (at most `budget` of them, and no more than the free
    // slots), uploads those already loaded, and updates the layout map.
    // `uploads` is set to the number of bricks uploaded.
    void stream(std::set<BrickKey>& wanted, int budget, int& uploads);
    // (Re)creates the layout texture and the per-level arrays.
    void create_layout();
    // Gives the brick's slot back; the root is never evicted. The area it
    // covered shows the parent if resident, else reads as undefined.
    void evict_brick(BrickKey const& key);
    bool has_resident_child(BrickKey const& key) const;
    // Writes the entry (slot, level) at the brick's positions at its own
    // level and every position it covers at the finer levels.
    void write_layout(BrickKey const& key, vec<unsigned, 3> const& slot, unsigned char level);
    // Zeroes the level-0 entries of positions the brick file has no data for.
    void clear_undefined_layout();
    // Sends level 0 of the layout to the layout texture.
    void upload_layout();
    // What the layout map shows at the level-0 bricks among `wanted`: the
    // level the shader reads at each, and so how much of a view is drawn at
    // full resolution.
    BrickCoverage coverage(std::set<BrickKey> const& wanted) const;

    // Deletes the layout texture and returns every slot to the pool; the data
    // source is empty afterwards. The manager calls it when the cube's last
    // line handler goes, so the slots come back even while a handler is
    // still held.
    void release();

    std::shared_ptr<Streamer3DGridReader> const& reader() const { return reader_; }
    std::set<std::shared_ptr<GPUCubeMemoryLineHandler>>& line_handlers() { return line_handlers_; }
    // GL name of the layout texture (GL_TEXTURE_3D, RGBA8, nearest).
    unsigned layout_tex() const { return layout_tex_; }
    // Per level, finest first: one packed entry (layout_entry.h) per brick position.
    std::vector<std::vector<std::uint32_t>> const& layout() const { return layout_; }
    // Bricks that count as loaded, with their slot; undefined ones at (0,0,0).
    std::map<BrickKey, vec<unsigned, 3>> const& resident() const { return resident_; }
    // True while wanted bricks are missing, as of the last round.
    bool loading() const { return loading_; }

private:
    friend class GPUCubeMemoryManager; // cuts the back pointer when it goes first

    GPUCubeMemoryManager* manager_;
    std::set<std::shared_ptr<GPUCubeMemoryLineHandler>> line_handlers_;
    std::shared_ptr<Streamer3DGridReader> reader_;
    unsigned layout_tex_ = ~0u;
    std::vector<std::vector<std::uint32_t>> layout_;
    std::map<BrickKey, vec<unsigned, 3>> resident_;
    bool loading_ = true;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
