#include "geometry/douglas_peucker.h"

#include <algorithm>
#include <cmath>

namespace Tolmar {

namespace {

// Squared distance from point p to the segment a-b, the line parameter held to 0..1.
double segment_distance_sqr(double px, double py, double ax, double ay, double bx, double by)
{
    double const dx = bx - ax, dy = by - ay, len = dx * dx + dy * dy;
    double const t = len > 0 ? std::clamp(((px - ax) * dx + (py - ay) * dy) / len, 0.0, 1.0) : 0.0;
    double const ex = ax + t * dx - px, ey = ay + t * dy - py;
    return ex * ex + ey * ey;
}

} // namespace

void douglasPeucker(const std::vector<double>& x, const std::vector<double>& y, int maxPoints, double tolerance,
                    int step, std::vector<int>& keep)
{
    keep.clear();
    int const n = static_cast<int>(std::min(x.size(), y.size()));
    if (n == 0) return;
    keep.push_back(0);
    if (n == 1) return;
    if (step > 0 && step < n) {
        for (int i = step; i < n - 1; i += step) {
            keep.push_back(i);
            --maxPoints;
        }
    }
    keep.push_back(n - 1);
    for (int round = 0; round < maxPoints - 2; ++round) {
        double best = -1;
        int winner = -1;
        std::size_t place = 0;
        for (std::size_t k = 0; k + 1 < keep.size(); ++k) {
            std::size_t const a = static_cast<std::size_t>(keep[k]), b = static_cast<std::size_t>(keep[k + 1]);
            for (std::size_t i = a + 1; i < b; ++i) {
                double const d = segment_distance_sqr(x[i], y[i], x[a], y[a], x[b], y[b]);
                if (d > best) {
                    best = d;
                    winner = static_cast<int>(i);
                    place = k + 1;
                }
            }
        }
        if (winner < 0) return; // every span is a single step: nothing left to add
        keep.insert(keep.begin() + static_cast<long>(place), winner);
        if (std::sqrt(best) < tolerance) return;
    }
}

} // namespace Tolmar
