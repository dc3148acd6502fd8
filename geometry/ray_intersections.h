#pragma once
// Ray tests for picking: a ray against a point, a segment, a triangle, a plane
// and a parallelogram, and the closest approach of two lines. Coordinates are
// in the caller's space; directions need not be unit length, and parameters
// count in multiples of the direction.

#include "platform/api.h"
#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// t = ((point - origin) . direction) / |direction|^2, not clamped, so a point
// behind the origin gives a negative t; distance is from the point to
// origin + t * direction. A zero direction gives t = 0.
void rayPointDistance(const vec<float, 3>& point, const vec<float, 3>& origin,
                      const vec<float, 3>& direction, float& distance, float& t);

// Closest approach, worked in double, of the segment a-b and the segment
// rayStart-rayEnd. t is the parameter from rayStart (0) to rayEnd (1);
// distance is between the two closest points. Each parameter is clamped to
// 0..1 on its own, without solving again for the other, so past an end the
// distance may exceed the true least distance a little. False, with the
// outputs untouched, when either segment is shorter than 1e-8 on every axis
// or when the two are parallel (|(p.p)(q.q) - (p.q)^2| < 1e-8 for the side
// vectors p and q).
bool rayLineDistance(const vec<float, 3>& a, const vec<float, 3>& b, const vec<float, 3>& rayStart,
                     const vec<float, 3>& rayEnd, float& t, float& distance);

// Moller-Trumbore in single precision, both faces. Misses when the ray runs
// within 1e-6 of parallel to the plane or when the hit is at t <= 1e-6, so a
// triangle behind the origin is never hit. t is written on a hit only.
bool rayTriangleIntersection(const vec<float, 3>& p0, const vec<float, 3>& p1, const vec<float, 3>& p2,
                             const vec<float, 3>& origin, const vec<float, 3>& direction, float& t);

// The plane through (px, py, pz) with normal (nx, ny, nz). False when
// |n . d| < 1e-6. Otherwise t = |((o - p) . n) / (n . d)|: the magnitude is
// taken on purpose, so a plane behind the origin is reported at a positive t.
// t is written on success only.
bool rayPlaneIntersection(double ox, double oy, double oz, double dx, double dy, double dz,
                          double px, double py, double pz, double nx, double ny, double nz, double& t);

// The parallelogram corner + s*u + w*v (three doubles each). Same parallel
// test (against v x u, not normalised) and the same absolute t as
// rayPlaneIntersection. s and w are the hit point origin + t*direction,
// relative to corner, projected on u and v and divided by |u|^2 and |v|^2.
// True when both lie in 0..1. t, s and w are written whenever the ray is not
// parallel, also when the hit falls outside; on a parallel ray they are left
// untouched.
bool rayRectangleIntersection(const double* origin, const double* direction, const double* corner,
                              const double* u, const double* v, double& t, double& s, double& w);

// The parameter on the first line (p1 + t*d1) of its closest approach to the
// second (p2 + s*d2): t = det(p2 - p1, d2, d1 x d2) / |d1 x d2|^2. Parallel
// lines have no single closest point; they give 0.
double closestPoint(const vec<double, 3>& p1, const vec<double, 3>& d1, const vec<double, 3>& p2,
                    const vec<double, 3>& d2);

} // namespace Tolmar

TOLMAR_PUBLIC_END
