#pragma once
// Reprojection of 2D points between two coordinate systems, and how finely a
// straight segment must be cut for its reprojected image to stay close to a
// polyline. The only door through which drawing code touches reprojection.
//
// Statuses: 0 done, 1 nothing done, negative a failure of the projection.
// A null reference is an unknown system, in which points are left as they are.

#include "platform/api.h"

#include <vector>

#include "foundation/vec.h"
#include "host/ISpatialReference.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

using host::SpatialReferencePtr;

long spatial_transform(SpatialReferencePtr from, SpatialReferencePtr to, vec<double, 2>& point);
// The points in one call, in order. An empty vector answers 1.
long spatial_transform(SpatialReferencePtr from, SpatialReferencePtr to, std::vector<vec<double, 2>>& points);
// The segment a-b at the 11 parameters 0, 0.1, ... 1 (in `params`), projected into `points`.
long spatial_transform_line(SpatialReferencePtr from, SpatialReferencePtr to, vec<double, 2> const& a,
                            vec<double, 2> const& b, std::vector<vec<double, 2>>& points,
                            std::vector<double>& params);
// How many evenly spaced points (3, 5, 9, 17, 33 or 65) on a-b reproduce its
// image within `tolerance`, a fraction of the image's length: each round
// doubles the points until the middles of the previous round's pieces stray
// less than that from them.
long spatial_transform_calculate_subdivisions(SpatialReferencePtr from, SpatialReferencePtr to, double tolerance,
                                              vec<double, 2> const& a, vec<double, 2> const& b, int& count);

} // namespace Tolmar

TOLMAR_PUBLIC_END
