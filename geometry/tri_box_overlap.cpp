#include "geometry/tri_box_overlap.h"

#include <algorithm>
#include <cmath>

namespace Tolmar {

namespace {

template <typename T>
T dot3(T const* a, T const* b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

template <typename T>
int planeBox(T const* normal, T const* vert, T const* maxbox)
{
    // The box corners nearest to and farthest along the normal, relative to
    // the plane's point: the box misses the plane only if both lie on the
    // same side.
    T nearest[3], farthest[3];
    for (int q = 0; q < 3; ++q) {
        T const lo = -maxbox[q] - vert[q], hi = maxbox[q] - vert[q];
        nearest[q] = normal[q] > T(0) ? lo : hi;
        farthest[q] = normal[q] > T(0) ? hi : lo;
    }
    if (dot3(normal, nearest) > T(0)) return 0;
    return dot3(normal, farthest) >= T(0) ? 1 : 0;
}

// True when the projections of the three vertices on `axis` all lie beyond
// the box's projection radius on the same side: the axis separates them.
bool separates(double const* axis, double const (*v)[3], double const* half)
{
    double const p0 = dot3(axis, v[0]), p1 = dot3(axis, v[1]), p2 = dot3(axis, v[2]);
    double const radius =
        half[0] * std::fabs(axis[0]) + half[1] * std::fabs(axis[1]) + half[2] * std::fabs(axis[2]);
    return std::min({p0, p1, p2}) > radius || std::max({p0, p1, p2}) < -radius;
}

} // namespace

int planeBoxOverlap(const float normal[3], const float vert[3], const float maxbox[3])
{
    return planeBox(normal, vert, maxbox);
}

int triBoxOverlap(const float boxcenter[3], const float boxhalfsize[3], const float* v0, const float* v1,
                  const float* v2)
{
    // Worked in double: for a nearly flat sliver the plane normal is a small
    // difference of large products, and in float its direction is noise that
    // rejects boxes the sliver does cross. The box is moved to the origin so
    // that its projection on any axis is the symmetric interval +-radius.
    double v[3][3], half[3];
    float const* in[3] = {v0, v1, v2};
    for (int q = 0; q < 3; ++q) {
        half[q] = boxhalfsize[q];
        for (int k = 0; k < 3; ++k) v[k][q] = double(in[k][q]) - double(boxcenter[q]);
    }

    // The box's own axes first: the cheapest test and, for a triangle that
    // misses, the most likely to separate.
    for (int q = 0; q < 3; ++q) {
        double const lo = std::min({v[0][q], v[1][q], v[2][q]});
        double const hi = std::max({v[0][q], v[1][q], v[2][q]});
        if (lo > half[q] || hi < -half[q]) return 0;
    }

    // Box axis x triangle edge. An edge parallel to the box axis gives a zero
    // axis, which projects everything to 0 and never separates.
    double e[3][3];
    for (int j = 0; j < 3; ++j)
        for (int q = 0; q < 3; ++q) e[j][q] = v[(j + 1) % 3][q] - v[j][q];
    for (int j = 0; j < 3; ++j) {
        double const ax[3] = {0.0, -e[j][2], e[j][1]};
        double const ay[3] = {e[j][2], 0.0, -e[j][0]};
        double const az[3] = {-e[j][1], e[j][0], 0.0};
        if (separates(ax, v, half) || separates(ay, v, half) || separates(az, v, half)) return 0;
    }

    // The triangle's plane. A degenerate triangle has a zero normal, and the
    // plane test passes; for a segment or a point the axes above are already
    // the complete set.
    double const normal[3] = {e[0][1] * e[1][2] - e[0][2] * e[1][1], e[0][2] * e[1][0] - e[0][0] * e[1][2],
                              e[0][0] * e[1][1] - e[0][1] * e[1][0]};
    return planeBox(normal, v[0], half);
}

bool triangle_box_intersection(const vec<float, 3>& min, const vec<float, 3>& max, const vec<float, 3>& v0,
                               const vec<float, 3>& v1, const vec<float, 3>& v2)
{
    vec<float, 3> const centre = (min + max) * 0.5;
    vec<float, 3> const half = (max - min) * 0.5;
    return triBoxOverlap(centre.v, half.v, v0.v, v1.v, v2.v) != 0;
}

} // namespace Tolmar
