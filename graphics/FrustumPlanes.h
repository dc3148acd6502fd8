#pragma once
// The six planes of a camera's view volume, taken from the GL matrices, and
// the corners where they meet. A plane (a, b, c, d) has a unit normal (a, b, c)
// that points out of the volume: a point p is inside when
// a*p.x + b*p.y + c*p.z + d < 0 for all six.

#include "platform/api.h"
#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

struct FrustumPlanes {
    // Plane order; the corner accessors depend on it.
    enum Index { Right = 0, Left = 1, Bottom = 2, Top = 3, Far = 4, Near = 5 };

    vec<float, 4> planes[6];

    vec<float, 4>& operator[](int i) { return planes[i]; }
    vec<float, 4> const& operator[](int i) const { return planes[i]; }

    // Each corner is where three planes meet. Where they do not meet in one
    // point, the result stays (0, 0, 0).
    vec<float, 3> getFarLeftTop() const;
    vec<float, 3> getFarLeftBottom() const;
    vec<float, 3> getFarRightTop() const;
    vec<float, 3> getFarRightBottom() const;
    vec<float, 3> getNearLeftTop() const;
    vec<float, 3> getNearLeftBottom() const;
    vec<float, 3> getNearRightTop() const;
    vec<float, 3> getNearRightBottom() const;
    // The apex of the side planes. Only a perspective view has one: with an
    // orthographic projection left and right are parallel and the result
    // stays (0, 0, 0).
    vec<float, 3> getCameraPos() const;
};

// Fills `out` from the matrices GL reports for GL_MODELVIEW_MATRIX and
// GL_PROJECTION_MATRIX (column-major), in world coordinates of the modelview.
void extract_frustum_planes(FrustumPlanes& out, float const* modelview, float const* projection);

// The line where two planes meet: a point on it and its direction (the cross
// product of the normals, not normalised). False, with the outputs untouched,
// when the planes are parallel or nearly so.
bool intersect_two_planes(vec<float, 4> const& a, vec<float, 4> const& b, vec<float, 3>& point,
                          vec<float, 3>& direction);

// The point where the line of a and b meets r. False, with `out` untouched,
// when a and b are parallel or the line runs parallel to r.
bool intersect_three_planes(vec<float, 4> const& a, vec<float, 4> const& b, vec<float, 4> const& r,
                            vec<float, 3>& out);

} // namespace Tolmar

TOLMAR_PUBLIC_END
