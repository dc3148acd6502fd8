#pragma once
// A coordinate system as the host knows it. Cubes and lines hold their
// geometry in their own system and the view may use another; the spatial
// transforms (spatial_transform.h) move points between them. References are
// shared, immutable handles: copying one copies the handle.
//
// The implementation on GDAL and PROJ comes from host/gdal_spatial_reference.h;
// this header needs neither, so the drawing code that takes references does
// not load GDAL for programs that never make one.

#include "platform/api.h"

#include <memory>
#include <string>
#include <vector>

#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

class ISpatialReference;
using SpatialReferencePtr = std::shared_ptr<ISpatialReference const>;

class ISpatialReference {
public:
    virtual ~ISpatialReference() = default;
    ISpatialReference(ISpatialReference const&) = delete;
    ISpatialReference& operator=(ISpatialReference const&) = delete;

    // An unknown system: points in it are taken as they are.
    virtual bool is_unknown() const = 0;
    // A short name ("WGS 84 / UTM zone 31N"), "Unknown" for an unknown system.
    virtual std::string name() const = 0;
    // The definition as WKT; empty for an unknown system.
    virtual std::string wkt() const = 0;
    // Equality as the host decides it: the same definition, whatever the
    // object or the way it was written. Two unknown systems are the same.
    virtual bool is_same(ISpatialReference const& other) const = 0;
    // Reprojects the points in place to `to`, x then y (easting and
    // northing, or longitude and latitude) whatever the axis order of the
    // definition. Answers 0 when done and a negative status when the
    // transformation cannot be made or a point cannot be projected; the
    // points are then unchanged. A call with an unknown system on either
    // side leaves the points as they are and answers 0.
    virtual long project(ISpatialReference const& to, std::vector<vec<double, 2>>& points) const = 0;

protected:
    ISpatialReference() = default;
};

// A new unknown system, which needs no host library.
SpatialReferencePtr unknown_spatial_reference();

// Whether two references, either of them null (taken as unknown), name the
// same system.
bool same_spatial_reference(SpatialReferencePtr const& a, SpatialReferencePtr const& b);

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
