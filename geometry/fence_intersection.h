#pragma once
// Picking on a fence: a vertical curtain that follows a polyline in plan,
// from zMin to zMax, the shape of a 2D seismic section. x and y hold the
// polyline's points; origin and direction are three doubles each.

#include "platform/api.h"

#include <vector>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// Cheap reject before the per-segment test: true when the ray meets a face of
// a box that holds the whole fence. The box is aligned with the plan
// direction from the first to the last point and its perpendicular, spans
// zMin..zMax, and is grown by a relative 1e-9 so that rays through the
// fence's ends and edges are kept. Faces are tested with
// rayRectangleIntersection, so a box behind the origin counts as met.
bool doesRayIntersectBoundingBoxOfFence(const double* origin, const double* direction,
                                        const std::vector<double>& x, const std::vector<double>& y,
                                        double zMin, double zMax);

// The nearest hit of the ray on the fence. traces holds the trace number of
// each point. On a hit, *t is the ray parameter and *trace the fractional
// trace number there, interpolated along the segment hit. False, with the
// outputs untouched, on a miss, with fewer than two points, or when traces
// has fewer entries than there are points.
bool rayFenceIntersection(const double* origin, const double* direction, const std::vector<double>& x,
                          const std::vector<double>& y, const std::vector<int>& traces, double zMin,
                          double zMax, double* t, double* trace);

} // namespace Tolmar

TOLMAR_PUBLIC_END
