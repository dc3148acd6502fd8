#pragma once
// Triangle against axis-aligned box by separating axes (Akenine-Moller): the
// box's three axes, the triangle's plane, and the nine cross products of a box
// axis with a triangle edge. Touching counts as overlapping: a triangle that
// meets the box only at a face, an edge or a corner overlaps it.

#include "platform/api.h"
#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// Whether the plane with the given normal through vert meets the box
// centred at the origin with half sizes maxbox. 1 on overlap, else 0.
int planeBoxOverlap(const float normal[3], const float vert[3], const float maxbox[3]);

// 1 when the triangle v0 v1 v2 overlaps the box, else 0. Degenerate
// triangles (a segment or a point) are handled: their plane test always
// passes and the remaining axes decide.
int triBoxOverlap(const float boxcenter[3], const float boxhalfsize[3], const float* v0, const float* v1,
                  const float* v2);

// triBoxOverlap on the box given by its lower and upper corner.
bool triangle_box_intersection(const vec<float, 3>& min, const vec<float, 3>& max, const vec<float, 3>& v0,
                               const vec<float, 3>& v1, const vec<float, 3>& v2);

} // namespace Tolmar

TOLMAR_PUBLIC_END
