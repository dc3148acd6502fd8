#include "graphics/cube_value_mapping.h"

#include <cfloat>
#include <cmath>

namespace Tolmar {

CubeValueMapping cube_value_mapping(Streamer3DGridBase const& grid)
{
    CubeValueMapping m;
    if (grid.get_type() != Info3DGrid::FLOAT) return m;
    double const low = grid.get_min_value(), high = grid.get_max_value();
    if (!std::isfinite(low) || !std::isfinite(high) || high < low) return m;
    // A range that spans all floats says nothing about the data.
    if (std::fabs(low) >= FLT_MAX || std::fabs(high) >= FLT_MAX) return m;
    m.translate = 0.5 * (low + high);
    if (high > low) m.scale = 2.0 / (high - low);
    return m;
}

} // namespace Tolmar
