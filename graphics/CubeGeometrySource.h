#pragma once
// What the GPU brick pool asks of a renderer of a cube: the triangles it
// draws, in the cube's normalised space, from which the pool works out the
// bricks it wants. Seismic3DRenderer answers with the geometry of its last
// frame. The pool asks during a streaming round, on the GL thread that also
// draws, so the answer needs no lock.

#include "platform/api.h"

#include <vector>

#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class CubeGeometrySource {
public:
    virtual ~CubeGeometrySource() = default;

    // Replaces both vectors: three indices into `vertices` per triangle; a
    // vertex's coordinates are 0 to 1 over the extent of the brick grid.
    virtual void get_geometry_in_cubespace(std::vector<int>& indices, std::vector<vec<float, 3>>& vertices) = 0;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
