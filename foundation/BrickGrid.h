#pragma once
// The arithmetic of a multi-resolution brick cube. A cube of total_size
// (samples, crosslines, inlines) is cut into bricks whose cores are
// brick_size - 2 * border along each axis; neighbours overlap by 2 * border.
// Level 0 covers the cube; each higher level halves the brick counts,
// rounding up, until the root level has one brick. Ids run samples fastest:
// id = (z * count_y + y) * count_x + x.

#include "platform/api.h"

#include <vector>

#include "foundation/StreamKeys.h"
#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class BrickGrid {
public:
    BrickGrid() = default;
    // brick_size must exceed 2 * border; each total size at least 1.
    BrickGrid(vec<unsigned, 3> const& totalSize, unsigned brickSize, unsigned border);

    bool valid() const { return !counts_.empty(); }
    vec<unsigned, 3> const& total_size() const { return totalSize_; }
    unsigned brick_size() const { return brickSize_; }
    unsigned border() const { return border_; }
    unsigned core() const { return brickSize_ - 2 * border_; }
    unsigned num_levels() const { return static_cast<unsigned>(counts_.size()); }
    // Brick counts of every level, finest first.
    std::vector<vec<unsigned, 3>> const& level_counts() const { return counts_; }
    vec<unsigned, 3> const& counts(unsigned level) const { return counts_[level]; }
    unsigned long long bricks_in_level(unsigned level) const;
    // True when the key names a brick of the grid.
    bool contains(BrickKey const& key) const;

    vec<unsigned, 3> id2pos(BrickKey const& key) const;
    unsigned pos2id(vec<unsigned, 3> const& pos, unsigned level) const;
    unsigned pos2id(unsigned x, unsigned y, unsigned z, unsigned level) const;
    // The brick of the next coarser level that covers this one; false at the root.
    bool get_parent(BrickKey const& key, BrickKey& parent) const;
    bool is_root(BrickKey const& key) const;
    // children[dx][dy][dz]: the bricks of the next finer level at 2 * pos +
    // (dx, dy, dz). Children beyond the finer level's counts get the id
    // kNoBrick. False at level 0.
    bool get_children(BrickKey const& key, BrickKey (*children)[2][2]) const;

    static constexpr unsigned kNoBrick = 0xFFFFFFFFu;

private:
    vec<unsigned, 3> totalSize_{{0, 0, 0}};
    unsigned brickSize_ = 0;
    unsigned border_ = 0;
    std::vector<vec<unsigned, 3>> counts_;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
