#include "geometry/fence_intersection.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "geometry/ray_intersections.h"

namespace Tolmar {

bool doesRayIntersectBoundingBoxOfFence(const double* origin, const double* direction,
                                        const std::vector<double>& x, const std::vector<double>& y,
                                        double zMin, double zMax)
{
    std::size_t const n = std::min(x.size(), y.size());
    if (n == 0) return false;

    // Plan frame: e along the line from the first to the last point, p across
    // it. A closed line has no such direction; any frame holds it, so take
    // the map axes.
    double ex = x[n - 1] - x[0], ey = y[n - 1] - y[0];
    double const len = std::sqrt(ex * ex + ey * ey);
    if (len > 0.0) {
        ex /= len;
        ey /= len;
    } else {
        ex = 1.0;
        ey = 0.0;
    }
    double const px = -ey, py = ex;

    // The extent along e is measured as well as across: a line that bends
    // back beyond its end points would otherwise stick out of the box and
    // lose hits.
    double eMin = DBL_MAX, eMax = -DBL_MAX, pMin = DBL_MAX, pMax = -DBL_MAX;
    for (std::size_t i = 0; i < n; ++i) {
        double const rx = x[i] - x[0], ry = y[i] - y[0];
        double const ae = rx * ex + ry * ey, ap = rx * px + ry * py;
        eMin = std::min(eMin, ae);
        eMax = std::max(eMax, ae);
        pMin = std::min(pMin, ap);
        pMax = std::max(pMax, ap);
    }

    // Rays through the fence's end points and top and bottom edges meet the
    // panels at exactly 0 or 1, where the rebuilt box may fall short by a
    // rounding error: grow it by a hair.
    double const z0 = std::min(zMin, zMax), z1 = std::max(zMin, zMax);
    double const pad = 1e-9 * std::max({eMax - eMin, pMax - pMin, z1 - z0, 1.0});
    eMin -= pad;
    eMax += pad;
    pMin -= pad;
    pMax += pad;

    auto at = [&](double a, double b, double z, double* out) {
        out[0] = x[0] + a * ex + b * px;
        out[1] = y[0] + a * ey + b * py;
        out[2] = z;
    };
    double const alongE[3] = {(eMax - eMin) * ex, (eMax - eMin) * ey, 0.0};
    double const alongP[3] = {(pMax - pMin) * px, (pMax - pMin) * py, 0.0};
    double const alongZ[3] = {0.0, 0.0, z1 - z0 + 2.0 * pad};

    // Each pair of opposite faces: the two corners and the two sides. A face
    // with a side of zero length (a straight fence, a flat one) has no normal
    // and is never hit; its neighbours cover it.
    struct Face {
        double a, b, z;
        double const* u;
        double const* v;
    };
    Face const faces[6] = {
        {eMin, pMin, z0 - pad, alongE, alongP}, {eMin, pMin, z1 + pad, alongE, alongP},
        {eMin, pMin, z0 - pad, alongE, alongZ}, {eMin, pMax, z0 - pad, alongE, alongZ},
        {eMin, pMin, z0 - pad, alongP, alongZ}, {eMax, pMin, z0 - pad, alongP, alongZ},
    };
    for (Face const& f : faces) {
        double corner[3];
        at(f.a, f.b, f.z, corner);
        double t, s, w;
        if (rayRectangleIntersection(origin, direction, corner, f.u, f.v, t, s, w)) return true;
    }
    return false;
}

bool rayFenceIntersection(const double* origin, const double* direction, const std::vector<double>& x,
                          const std::vector<double>& y, const std::vector<int>& traces, double zMin,
                          double zMax, double* t, double* trace)
{
    std::size_t const n = std::min(x.size(), y.size());
    if (n < 2 || traces.size() < n) return false;
    if (!doesRayIntersectBoundingBoxOfFence(origin, direction, x, y, zMin, zMax)) return false;

    double const height[3] = {0.0, 0.0, zMax - zMin};
    double best = DBL_MAX, bestAlong = 0.0;
    std::size_t bestSegment = n;
    for (std::size_t i = 0; i + 1 < n; ++i) {
        double const corner[3] = {x[i], y[i], zMin};
        double const side[3] = {x[i + 1] - x[i], y[i + 1] - y[i], 0.0};
        double ti, si, wi;
        if (rayRectangleIntersection(origin, direction, corner, side, height, ti, si, wi) && ti < best) {
            best = ti;
            bestAlong = si;
            bestSegment = i;
        }
    }
    if (bestSegment == n) return false;
    *t = best;
    *trace = (1.0 - bestAlong) * traces[bestSegment] + bestAlong * traces[bestSegment + 1];
    return true;
}

} // namespace Tolmar
