// Column-major 4x4 products and inverse, the look-at rotation, and the view
// frustum's planes and corners for perspective and orthographic cameras.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "graphics/FrustumPlanes.h"
#include "graphics/mat44.h"

namespace {

using Tolmar::FrustumPlanes;
using Tolmar::vec;

template <int N>
vec<float, N> v(auto... x)
{
    vec<float, N> r;
    r.set(x...);
    return r;
}

template <int N>
void expect_near(vec<float, N> const& got, vec<float, N> const& want, float tol = 1e-4f)
{
    for (int i = 0; i < N; ++i) EXPECT_NEAR(got[i], want[i], tol) << "element " << i;
}

void set(float* m, std::initializer_list<float> values) { std::copy(values.begin(), values.end(), m); }

// As glFrustum and glOrtho make them, and a translation after a scale.
void frustum(float l, float r, float b, float t, float n, float f, float* m)
{
    set(m, {2 * n / (r - l), 0, 0, 0, 0, 2 * n / (t - b), 0, 0, (r + l) / (r - l), (t + b) / (t - b),
            -(f + n) / (f - n), -1, 0, 0, -2 * f * n / (f - n), 0});
}
void ortho(float l, float r, float b, float t, float n, float f, float* m)
{
    set(m, {2 / (r - l), 0, 0, 0, 0, 2 / (t - b), 0, 0, 0, 0, -2 / (f - n), 0, -(r + l) / (r - l), -(t + b) / (t - b),
            -(f + n) / (f - n), 1});
}
void translate_scale(float x, float y, float z, float sx, float sy, float sz, float* m)
{
    set(m, {sx, 0, 0, 0, 0, sy, 0, 0, 0, 0, sz, 0, x, y, z, 1});
}

TEST(Mat44, ProductInverseAndPoint)
{
    // translate(1, 2, 3) * scale(2, 4, 8) scales first; the other order scales the translation too.
    float t[16], s[16], ts[16], st[16], inv[16];
    translate_scale(1, 2, 3, 1, 1, 1, t);
    translate_scale(0, 0, 0, 2, 4, 8, s);
    Tolmar::mat44_mult_mat44(t, s, ts);
    Tolmar::mat44_mult_mat44(s, t, st);
    float const wantTS[16] = {2, 0, 0, 0, 0, 4, 0, 0, 0, 0, 8, 0, 1, 2, 3, 1};
    EXPECT_TRUE(std::equal(ts, ts + 16, wantTS));
    EXPECT_EQ(st[12], 2.0f);
    EXPECT_EQ(st[14], 24.0f);

    Tolmar::mat44_invert(ts, inv);
    float const want[16] = {0.5f, 0, 0, 0, 0, 0.25f, 0, 0, 0, 0, 0.125f, 0, -0.5f, -0.5f, -0.375f, 1};
    for (int i = 0; i < 16; ++i) EXPECT_FLOAT_EQ(inv[i], want[i]) << i;
    float const g[16] = {2, 1, 0, 3, -1, 4, 2, 0, 0.5f, 0, 3, 1, 7, -2, 1, 5};
    float identity[16];
    Tolmar::mat44_invert(g, inv);
    Tolmar::mat44_mult_mat44(g, inv, identity);
    for (int i = 0; i < 16; ++i) EXPECT_NEAR(identity[i], i % 5 == 0 ? 1.0f : 0.0f, 1e-5f) << i;
    float const singular[16] = {1, 2, 3, 4, 2, 4, 6, 8, 0, 1, 0, 0, 0, 0, 1, 0};
    Tolmar::mat44_invert(singular, inv);
    EXPECT_FALSE(std::isfinite(inv[0]));

    // A projective fourth row that must neither add nor divide.
    ts[3] = 5;
    ts[7] = 6;
    ts[11] = 7;
    ts[15] = 9;
    vec<float, 3> p = v<3>(1, 1, 1);
    Tolmar::mat44_mult_vec3(p, ts);
    EXPECT_EQ(p, v<3>(3, 6, 11));
}

TEST(Mat44, LookAtRotation)
{
    // Far from the origin, as map coordinates are: only the direction counts.
    vec<double, 3> eye, target, up;
    eye.set(5.0e6, 7.0e6, 100.0);
    target.set(5.0e6 + 3.0, 7.0e6, 100.0);
    up.set(0.0, 0.0, 1.0);
    double m[16];
    Tolmar::camera_lookat_orientation_matrix(eye, target, up, m);
    // f = +x, s = f x up = -y, u = s x f = +z; rows s, u, -f.
    double const want[16] = {0, 0, -1, 0, -1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1};
    EXPECT_TRUE(std::equal(m, m + 16, want));

    float mf[16];
    target.set(5.0e6 + 1.0, 7.0e6 + 1.0, 100.0);
    up.set(0.0, 0.0, 5.0);
    Tolmar::camera_lookat_orientation_matrix(eye, target, up, mf);
    vec<float, 3> ahead = v<3>(1, 1, 0), above = v<3>(0, 0, 2);
    Tolmar::mat44_mult_vec3(ahead, mf);
    Tolmar::mat44_mult_vec3(above, mf);
    expect_near(ahead, v<3>(0, 0, -std::sqrt(2.0f)), 1e-6f);
    expect_near(above, v<3>(0, 2, 0), 1e-6f);
}

TEST(Frustum, PerspectivePlanesAndCorners)
{
    // An off-centre frustum seen from a camera at (5, 0, 0): asymmetric sides
    // tell every plane and corner apart.
    float projection[16], modelview[16];
    float const l = -1, r = 2, b = -0.5f, t = 1, n = 1, f = 10;
    frustum(l, r, b, t, n, f, projection);
    translate_scale(-5, 0, 0, 1, 1, 1, modelview);
    FrustumPlanes planes;
    Tolmar::extract_frustum_planes(planes, modelview, projection);

    float const s = 1 / std::sqrt(2.0f);
    expect_near(planes[FrustumPlanes::Left], v<4>(-s, 0, s, 5 * s)); // x - 5 = z, outward to -x
    expect_near(planes[FrustumPlanes::Far], v<4>(0, 0, -1, -10));
    expect_near(planes[FrustumPlanes::Near], v<4>(0, 0, 1, 1));
    for (float d : {n, f}) { // the near corners, then the far ones, d times those at distance 1
        bool const near = d == n;
        float const tol = near ? 1e-4f : 1e-3f;
        expect_near(near ? planes.getNearLeftTop() : planes.getFarLeftTop(), v<3>(5 + l * d, t * d, -d), tol);
        expect_near(near ? planes.getNearLeftBottom() : planes.getFarLeftBottom(), v<3>(5 + l * d, b * d, -d), tol);
        expect_near(near ? planes.getNearRightTop() : planes.getFarRightTop(), v<3>(5 + r * d, t * d, -d), tol);
        expect_near(near ? planes.getNearRightBottom() : planes.getFarRightBottom(), v<3>(5 + r * d, b * d, -d), tol);
    }
    expect_near(planes.getCameraPos(), v<3>(5, 0, 0));
}

TEST(Frustum, ParallelPlanesLeaveResultsUnwritten)
{
    float projection[16], modelview[16];
    ortho(-2, 2, -1, 1, 1, 10, projection);
    translate_scale(0, 0, 0, 1, 1, 1, modelview);
    FrustumPlanes planes;
    Tolmar::extract_frustum_planes(planes, modelview, projection);
    expect_near(planes[FrustumPlanes::Right], v<4>(1, 0, 0, -2));
    expect_near(planes[FrustumPlanes::Top], v<4>(0, 1, 0, -1));
    expect_near(planes.getFarLeftTop(), v<3>(-2, 1, -10));
    EXPECT_EQ(planes.getCameraPos(), v<3>(0, 0, 0)); // left and right never meet

    vec<float, 3> point = v<3>(7, 7, 7), direction = point, out = point;
    EXPECT_FALSE(Tolmar::intersect_two_planes(v<4>(1, 0, 0, -1), v<4>(-1, 0, 0, -1), point, direction));
    EXPECT_FALSE(Tolmar::intersect_two_planes(v<4>(1, 0, 0, 0), v<4>(1, 0.0001f, 0, 0), point, direction));
    EXPECT_EQ(point, v<3>(7, 7, 7));
    EXPECT_EQ(direction, v<3>(7, 7, 7));
    // x = 1 and y = 2 meet in a line along z, which x = 5 never meets and z = 3 does at (1, 2, 3).
    EXPECT_FALSE(Tolmar::intersect_three_planes(v<4>(1, 0, 0, -1), v<4>(0, 1, 0, -2), v<4>(1, 0, 0, -5), out));
    EXPECT_EQ(out, v<3>(7, 7, 7));
    EXPECT_TRUE(Tolmar::intersect_three_planes(v<4>(1, 0, 0, -1), v<4>(0, 1, 0, -2), v<4>(0, 0, -1, 3), out));
    expect_near(out, v<3>(1, 2, 3));
}

} // namespace
