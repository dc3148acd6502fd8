#include "geometry/ray_intersections.h"

#include <cmath>

namespace Tolmar {

namespace {

template <typename T>
T dot(vec<T, 3> const& a, vec<T, 3> const& b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

template <typename T>
vec<T, 3> cross(vec<T, 3> const& a, vec<T, 3> const& b)
{
    vec<T, 3> r;
    r.set(a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]);
    return r;
}

vec<double, 3> toDouble(vec<float, 3> const& a)
{
    vec<double, 3> r;
    r.set(a[0], a[1], a[2]);
    return r;
}

vec<double, 3> fromArray(double const* a)
{
    vec<double, 3> r;
    r.set(a[0], a[1], a[2]);
    return r;
}

double clamp01(double x) { return x < 0.0 ? 0.0 : (x > 1.0 ? 1.0 : x); }

bool tooShort(vec<double, 3> const& side)
{
    return std::fabs(side[0]) < 1e-8 && std::fabs(side[1]) < 1e-8 && std::fabs(side[2]) < 1e-8;
}

} // namespace

void rayPointDistance(const vec<float, 3>& point, const vec<float, 3>& origin, const vec<float, 3>& direction,
                      float& distance, float& t)
{
    float const dd = dot(direction, direction);
    t = dd > 0.0f ? dot(point - origin, direction) / dd : 0.0f;
    distance = (point - (origin + direction * static_cast<double>(t))).length();
}

bool rayLineDistance(const vec<float, 3>& a, const vec<float, 3>& b, const vec<float, 3>& rayStart,
                     const vec<float, 3>& rayEnd, float& t, float& distance)
{
    // Double precision: picking rays are long and the segments short, and in
    // float the determinant below loses everything to cancellation.
    vec<double, 3> const p0 = toDouble(a), q0 = toDouble(rayStart);
    vec<double, 3> const p = toDouble(b) - p0;
    vec<double, 3> const q = toDouble(rayEnd) - q0;
    if (tooShort(p) || tooShort(q)) return false;

    vec<double, 3> const w = p0 - q0;
    double const pp = dot(p, p), pq = dot(p, q), qq = dot(q, q);
    double const pw = dot(p, w), qw = dot(q, w);
    double const det = pp * qq - pq * pq;
    if (std::fabs(det) < 1e-8) return false;

    double const sp = clamp01((pq * qw - qq * pw) / det);
    double const sq = clamp01((pp * qw - pq * pw) / det);
    t = static_cast<float>(sq);
    distance = static_cast<float>(((p0 + p * sp) - (q0 + q * sq)).length());
    return true;
}

bool rayTriangleIntersection(const vec<float, 3>& p0, const vec<float, 3>& p1, const vec<float, 3>& p2,
                             const vec<float, 3>& origin, const vec<float, 3>& direction, float& t)
{
    constexpr float eps = 1e-6f;
    vec<float, 3> const e1 = p1 - p0;
    vec<float, 3> const e2 = p2 - p0;
    vec<float, 3> const h = cross(direction, e2);
    float const a = dot(e1, h);
    if (a > -eps && a < eps) return false;
    float const f = 1.0f / a;
    vec<float, 3> const s = origin - p0;
    float const u = f * dot(s, h);
    if (u < 0.0f || u > 1.0f) return false;
    vec<float, 3> const q = cross(s, e1);
    float const v = f * dot(direction, q);
    if (v < 0.0f || u + v > 1.0f) return false;
    float const hit = f * dot(e2, q);
    if (hit <= eps) return false;
    t = hit;
    return true;
}

bool rayPlaneIntersection(double ox, double oy, double oz, double dx, double dy, double dz, double px, double py,
                          double pz, double nx, double ny, double nz, double& t)
{
    double const nd = nx * dx + ny * dy + nz * dz;
    if (std::fabs(nd) < 1e-6) return false;
    t = std::fabs(((ox - px) * nx + (oy - py) * ny + (oz - pz) * nz) / nd);
    return true;
}

bool rayRectangleIntersection(const double* origin, const double* direction, const double* corner,
                              const double* u, const double* v, double& t, double& s, double& w)
{
    vec<double, 3> const o = fromArray(origin), d = fromArray(direction), c = fromArray(corner);
    vec<double, 3> const uu = fromArray(u), vv = fromArray(v);
    vec<double, 3> const n = cross(vv, uu);
    double const nd = dot(n, d);
    if (std::fabs(nd) < 1e-6) return false;
    t = std::fabs(dot(o - c, n) / nd);
    vec<double, 3> const r = (o + d * t) - c;
    // A side of zero length makes n zero and is refused above, so the
    // divisions are safe.
    s = dot(r, uu) / dot(uu, uu);
    w = dot(r, vv) / dot(vv, vv);
    return s >= 0.0 && s <= 1.0 && w >= 0.0 && w <= 1.0;
}

double closestPoint(const vec<double, 3>& p1, const vec<double, 3>& d1, const vec<double, 3>& p2,
                    const vec<double, 3>& d2)
{
    vec<double, 3> const n = cross(d1, d2);
    double const nn = dot(n, n);
    // Relative test: the directions may be of any length.
    if (nn <= 1e-24 * dot(d1, d1) * dot(d2, d2)) return 0.0;
    // det(r, d2, n) is the triple product r . (d2 x n).
    return dot(p2 - p1, cross(d2, n)) / nn;
}

} // namespace Tolmar
