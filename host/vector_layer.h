#pragma once
// Vector layers as plain data, for the layers the tools write (a line's
// track and shot points, picked horizons, textured curtains) and read back:
// no GDAL needed to fill or read them.

#include "platform/api.h"

#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "foundation/vec.h"
#include "host/ISpatialReference.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

using FieldValue = std::variant<long long, double, std::string>;

struct VectorFeature {
    // One point for a point layer, the vertices of a line, or three a
    // triangle of a triangulated surface; x, y and z.
    std::vector<vec<double, 3>> points;
    std::vector<std::pair<std::string, FieldValue>> fields;

    // The named field, or null.
    FieldValue const* field(std::string const& name) const
    {
        for (auto const& f : fields)
            if (f.first == name) return &f.second;
        return nullptr;
    }
};

enum class GeometryKind { Point, Line, Surface };

struct VectorLayer {
    std::string name;
    GeometryKind kind = GeometryKind::Line;
    SpatialReferencePtr spatial_reference; // null: unknown
    std::vector<VectorFeature> features;   // every feature has the same fields, in the same order
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
