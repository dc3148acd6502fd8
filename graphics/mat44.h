#pragma once
// 4x4 matrices as flat arrays of 16 values in OpenGL's column-major order:
// element (row r, column c) is at index r + 4*c, and vectors multiply from the
// right. The renderers hand these straight to glLoadMatrix and read them back
// with glGet, so no matrix class stands in between.

#include "platform/api.h"
#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// General inverse by cofactors. A singular matrix is not detected: its
// inverse comes out as infinities and NaNs.
void mat44_invert(float const* in, float* out);

// out = a * b. The arrays must not overlap.
void mat44_mult_mat44(float const* a, float const* b, float* out);
void mat44_mult_mat44(double const* a, double const* b, double* out);

// Transforms v in place as a point (w = 1): the translation column is added,
// the fourth row is ignored and there is no division by w.
void mat44_mult_vec3(vec<float, 3>& v, float const* m);

// The rotation part of a look-at camera matrix: rows s, u and -f, where f
// points from eye to target, s = f x up and u = s x f, all unit length. The
// translation column stays zero; out[15] is 1. Worked out in double whatever
// the output type, so that large map coordinates keep their direction.
void camera_lookat_orientation_matrix(vec<double, 3> const& eye, vec<double, 3> const& target,
                                      vec<double, 3> const& up, float* out);
void camera_lookat_orientation_matrix(vec<double, 3> const& eye, vec<double, 3> const& target,
                                      vec<double, 3> const& up, double* out);

} // namespace Tolmar

TOLMAR_PUBLIC_END
