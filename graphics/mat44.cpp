#include "graphics/mat44.h"

namespace Tolmar {

namespace {

template <typename T>
void mult(T const* a, T const* b, T* out)
{
    for (int c = 0; c < 4; ++c)
        for (int r = 0; r < 4; ++r) {
            T s = T(0);
            for (int k = 0; k < 4; ++k) s += a[r + 4 * k] * b[k + 4 * c];
            out[r + 4 * c] = s;
        }
}

vec<double, 3> cross(vec<double, 3> const& a, vec<double, 3> const& b)
{
    vec<double, 3> r;
    r.set(a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]);
    return r;
}

template <typename T>
void lookat(vec<double, 3> const& eye, vec<double, 3> const& target, vec<double, 3> const& up, T* out)
{
    vec<double, 3> const f = (target - eye).normalize();
    vec<double, 3> const s = cross(f, up).normalize();
    vec<double, 3> const u = cross(s, f);
    for (int c = 0; c < 3; ++c) {
        out[0 + 4 * c] = static_cast<T>(s[c]);
        out[1 + 4 * c] = static_cast<T>(u[c]);
        out[2 + 4 * c] = static_cast<T>(-f[c]);
        out[3 + 4 * c] = T(0);
    }
    out[12] = out[13] = out[14] = T(0);
    out[15] = T(1);
}

} // namespace

void mat44_invert(float const* in, float* out)
{
    auto a = [in](int r, int c) { return in[r + 4 * c]; };
    // 2x2 determinants of the two upper and the two lower rows; every
    // cofactor is a combination of three of them.
    float const s0 = a(0, 0) * a(1, 1) - a(1, 0) * a(0, 1);
    float const s1 = a(0, 0) * a(1, 2) - a(1, 0) * a(0, 2);
    float const s2 = a(0, 0) * a(1, 3) - a(1, 0) * a(0, 3);
    float const s3 = a(0, 1) * a(1, 2) - a(1, 1) * a(0, 2);
    float const s4 = a(0, 1) * a(1, 3) - a(1, 1) * a(0, 3);
    float const s5 = a(0, 2) * a(1, 3) - a(1, 2) * a(0, 3);
    float const c0 = a(2, 0) * a(3, 1) - a(3, 0) * a(2, 1);
    float const c1 = a(2, 0) * a(3, 2) - a(3, 0) * a(2, 2);
    float const c2 = a(2, 0) * a(3, 3) - a(3, 0) * a(2, 3);
    float const c3 = a(2, 1) * a(3, 2) - a(3, 1) * a(2, 2);
    float const c4 = a(2, 1) * a(3, 3) - a(3, 1) * a(2, 3);
    float const c5 = a(2, 2) * a(3, 3) - a(3, 2) * a(2, 3);

    float const det = s0 * c5 - s1 * c4 + s2 * c3 + s3 * c2 - s4 * c1 + s5 * c0;
    auto const inv = static_cast<float>(1.0 / det);

    auto o = [out](int r, int c) -> float& { return out[r + 4 * c]; };
    o(0, 0) = (a(1, 1) * c5 - a(1, 2) * c4 + a(1, 3) * c3) * inv;
    o(0, 1) = (-a(0, 1) * c5 + a(0, 2) * c4 - a(0, 3) * c3) * inv;
    o(0, 2) = (a(3, 1) * s5 - a(3, 2) * s4 + a(3, 3) * s3) * inv;
    o(0, 3) = (-a(2, 1) * s5 + a(2, 2) * s4 - a(2, 3) * s3) * inv;
    o(1, 0) = (-a(1, 0) * c5 + a(1, 2) * c2 - a(1, 3) * c1) * inv;
    o(1, 1) = (a(0, 0) * c5 - a(0, 2) * c2 + a(0, 3) * c1) * inv;
    o(1, 2) = (-a(3, 0) * s5 + a(3, 2) * s2 - a(3, 3) * s1) * inv;
    o(1, 3) = (a(2, 0) * s5 - a(2, 2) * s2 + a(2, 3) * s1) * inv;
    o(2, 0) = (a(1, 0) * c4 - a(1, 1) * c2 + a(1, 3) * c0) * inv;
    o(2, 1) = (-a(0, 0) * c4 + a(0, 1) * c2 - a(0, 3) * c0) * inv;
    o(2, 2) = (a(3, 0) * s4 - a(3, 1) * s2 + a(3, 3) * s0) * inv;
    o(2, 3) = (-a(2, 0) * s4 + a(2, 1) * s2 - a(2, 3) * s0) * inv;
    o(3, 0) = (-a(1, 0) * c3 + a(1, 1) * c1 - a(1, 2) * c0) * inv;
    o(3, 1) = (a(0, 0) * c3 - a(0, 1) * c1 + a(0, 2) * c0) * inv;
    o(3, 2) = (-a(3, 0) * s3 + a(3, 1) * s1 - a(3, 2) * s0) * inv;
    o(3, 3) = (a(2, 0) * s3 - a(2, 1) * s1 + a(2, 2) * s0) * inv;
}

void mat44_mult_mat44(float const* a, float const* b, float* out) { mult(a, b, out); }
void mat44_mult_mat44(double const* a, double const* b, double* out) { mult(a, b, out); }

void mat44_mult_vec3(vec<float, 3>& v, float const* m)
{
    vec<float, 3> r;
    for (int i = 0; i < 3; ++i) r[i] = m[i] * v[0] + m[i + 4] * v[1] + m[i + 8] * v[2] + m[i + 12];
    v = r;
}

void camera_lookat_orientation_matrix(vec<double, 3> const& eye, vec<double, 3> const& target,
                                      vec<double, 3> const& up, float* out)
{
    lookat(eye, target, up, out);
}

void camera_lookat_orientation_matrix(vec<double, 3> const& eye, vec<double, 3> const& target,
                                      vec<double, 3> const& up, double* out)
{
    lookat(eye, target, up, out);
}

} // namespace Tolmar
