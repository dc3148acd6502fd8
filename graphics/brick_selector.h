#pragma once
// How the GPU brick pool decides which bricks of a cube it wants: a choice
// made from the triangles on screen, so the renderer owns the walk while
// the pool owns memory. The pool holds the choice as a function, so that a
// program (or a test) can put its own in place.

#include "platform/api.h"

#include <functional>
#include <set>
#include <vector>

#include "foundation/StreamKeys.h"
#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class Streamer3DGridReader;

// Fills `wanted` (given empty) with the bricks that the triangles in cube
// space need, coarse levels complete before finer ones, stopping once it
// holds `limit` keys.
using BrickSelector =
    std::function<void(std::vector<int> const& indices, std::vector<vec<float, 3>> const& vertices, unsigned limit,
                       Streamer3DGridReader const& reader, std::set<BrickKey>& wanted)>;

// Wants the root alone, whatever the triangles: what any selection gives for
// no geometry, and all that can be shown before a renderer supplies its walk.
void select_root_brick(std::vector<int> const& indices, std::vector<vec<float, 3>> const& vertices, unsigned limit,
                       Streamer3DGridReader const& reader, std::set<BrickKey>& wanted);

} // namespace Tolmar

TOLMAR_PUBLIC_END
