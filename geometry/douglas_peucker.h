#pragma once
// Thinning a polyline to the points that carry its shape, greedily: the
// point farthest from the thinned line goes in next, until the budget is
// spent or the farthest is nearer than the tolerance.

#include "platform/api.h"

#include <vector>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// `keep` receives the indices kept, first and last included: with `step`
// above 0 (and below the point count) every step-th index as well, each
// taking one point of `maxPoints`; then up to maxPoints - 2 of the farthest
// points, each inserted in order, stopping after the first that lies nearer
// than `tolerance` to the line it splits. Fewer than two points keep what
// there is.
void douglasPeucker(const std::vector<double>& x, const std::vector<double>& y, int maxPoints, double tolerance,
                    int step, std::vector<int>& keep);

} // namespace Tolmar

TOLMAR_PUBLIC_END
