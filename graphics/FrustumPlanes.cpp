#include "graphics/FrustumPlanes.h"

#include <cmath>

#include "graphics/mat44.h"

namespace Tolmar {

namespace {

vec<float, 3> normal(vec<float, 4> const& p)
{
    vec<float, 3> n;
    n.set(p[0], p[1], p[2]);
    return n;
}

float dot(vec<float, 3> const& a, vec<float, 3> const& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

vec<float, 3> cross(vec<float, 3> const& a, vec<float, 3> const& b)
{
    vec<float, 3> r;
    r.set(a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]);
    return r;
}

vec<float, 3> corner(FrustumPlanes const& f, int a, int b, int r)
{
    vec<float, 3> p{};
    intersect_three_planes(f[a], f[b], f[r], p);
    return p;
}

} // namespace

vec<float, 3> FrustumPlanes::getFarLeftTop() const { return corner(*this, Far, Top, Left); }
vec<float, 3> FrustumPlanes::getFarLeftBottom() const { return corner(*this, Far, Bottom, Left); }
vec<float, 3> FrustumPlanes::getFarRightTop() const { return corner(*this, Far, Top, Right); }
vec<float, 3> FrustumPlanes::getFarRightBottom() const { return corner(*this, Far, Bottom, Right); }
vec<float, 3> FrustumPlanes::getNearLeftTop() const { return corner(*this, Near, Top, Left); }
vec<float, 3> FrustumPlanes::getNearLeftBottom() const { return corner(*this, Near, Bottom, Left); }
vec<float, 3> FrustumPlanes::getNearRightTop() const { return corner(*this, Near, Top, Right); }
vec<float, 3> FrustumPlanes::getNearRightBottom() const { return corner(*this, Near, Bottom, Right); }
vec<float, 3> FrustumPlanes::getCameraPos() const { return corner(*this, Left, Bottom, Right); }

void extract_frustum_planes(FrustumPlanes& out, float const* modelview, float const* projection)
{
    float c[16];
    mat44_mult_mat44(projection, modelview, c);
    auto row = [&c](int r) {
        vec<float, 4> v;
        v.set(c[r], c[r + 4], c[r + 8], c[r + 12]);
        return v;
    };
    vec<float, 4> const r0 = row(0), r1 = row(1), r2 = row(2), r3 = row(3);
    out[FrustumPlanes::Right] = r3 - r0;
    out[FrustumPlanes::Left] = r3 + r0;
    out[FrustumPlanes::Bottom] = r3 + r1;
    out[FrustumPlanes::Top] = r3 - r1;
    out[FrustumPlanes::Far] = r3 - r2;
    out[FrustumPlanes::Near] = r3 + r2;
    // The clip-space planes have their normals inwards; scale to unit normals
    // and turn them outwards in one step.
    for (vec<float, 4>& p : out.planes) {
        float const len = normal(p).length();
        for (int i = 0; i < 4; ++i) p[i] = -(p[i] / len);
    }
}

bool intersect_two_planes(vec<float, 4> const& a, vec<float, 4> const& b, vec<float, 3>& point,
                          vec<float, 3>& direction)
{
    vec<float, 3> const na = normal(a), nb = normal(b);
    float const la = na.length(), lb = nb.length();
    float const d = dot(na, nb);
    float const det = la * lb - d * d;
    if (std::fabs(det) < 1e-6f) return false;
    float const ca = (d * b[3] - lb * a[3]) / det;
    float const cb = (d * a[3] - la * b[3]) / det;
    direction = cross(na, nb);
    point = na * ca + nb * cb;
    return true;
}

bool intersect_three_planes(vec<float, 4> const& a, vec<float, 4> const& b, vec<float, 4> const& r,
                            vec<float, 3>& out)
{
    vec<float, 3> point, direction;
    if (!intersect_two_planes(a, b, point, direction)) return false;
    vec<float, 3> const nr = normal(r);
    float const den = dot(nr, direction);
    if (den == 0.0f) return false;
    out = point + direction * (-(dot(nr, point) + r[3]) / den);
    return true;
}

} // namespace Tolmar
