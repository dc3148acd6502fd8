#include "host/spatial_transform.h"

#include <algorithm>
#include <cmath>

namespace Tolmar {

namespace {

long project(SpatialReferencePtr const& from, SpatialReferencePtr const& to, std::vector<vec<double, 2>>& points)
{
    if (!from || !to) return 0; // an unknown system on either side
    return from->project(*to, points);
}

vec<double, 2> lerp(vec<double, 2> const& a, vec<double, 2> const& b, double t) { return a + (b - a) * t; }

// Distance of p from the infinite line through q0 and q1.
double deviation(vec<double, 2> const& p, vec<double, 2> const& q0, vec<double, 2> const& q1)
{
    vec<double, 2> const d = q1 - q0, v = p - q0;
    double const t = (v[0] * d[0] + v[1] * d[1]) / (d[0] * d[0] + d[1] * d[1]);
    return p.dist(q0 + d * t);
}

} // namespace

long spatial_transform(SpatialReferencePtr from, SpatialReferencePtr to, vec<double, 2>& point)
{
    std::vector<vec<double, 2>> one{point};
    long const status = project(from, to, one);
    if (status < 0) return status;
    if (one.size() == 1) point = one[0];
    return status;
}

long spatial_transform(SpatialReferencePtr from, SpatialReferencePtr to, std::vector<vec<double, 2>>& points)
{
    if (points.empty()) return 1;
    std::vector<vec<double, 2>> projected = points;
    long const status = project(from, to, projected);
    if (status < 0) return status;
    if (projected.size() != points.size()) return 1;
    points.swap(projected);
    return 0;
}

long spatial_transform_line(SpatialReferencePtr from, SpatialReferencePtr to, vec<double, 2> const& a,
                            vec<double, 2> const& b, std::vector<vec<double, 2>>& points,
                            std::vector<double>& params)
{
    params.resize(11);
    points.resize(11);
    for (int i = 0; i <= 10; ++i) {
        params[i] = i / 10.0;
        points[i] = lerp(a, b, params[i]);
    }
    return project(from, to, points);
}

long spatial_transform_calculate_subdivisions(SpatialReferencePtr from, SpatialReferencePtr to, double tolerance,
                                              vec<double, 2> const& a, vec<double, 2> const& b, int& count)
{
    std::vector<vec<double, 2>> previous{a, b};
    if (long const status = project(from, to, previous); status < 0) return status;
    double const length = previous[0].dist(previous[1]);
    for (int k = 1; k <= 6; ++k) {
        int const n = (1 << k) + 1;
        count = n;
        std::vector<vec<double, 2>> points(n);
        for (int i = 0; i < n; ++i) points[i] = lerp(a, b, static_cast<double>(i) / (n - 1));
        if (long const status = project(from, to, points); status < 0) return status;
        double greatest = 0;
        for (std::size_t s = 0; s + 1 < previous.size(); ++s)
            greatest = std::max(greatest, deviation(points[2 * s + 1], previous[s], previous[s + 1]));
        // A segment whose image has no length gives NaN here, which never
        // passes: such a search runs to the end.
        if (greatest / length < tolerance) break;
        previous.swap(points);
    }
    return 0;
}

} // namespace Tolmar
