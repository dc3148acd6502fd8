#pragma once
// Named colour ramps and the tables made from them.

#include "platform/api.h"

#include <string>
#include <vector>

#include "host/raster_symbology.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

// "grey", "red-white-black", "blue-white-red", "terrain" and "viridis".
std::vector<std::string> colour_ramp_names();
// False for a name not in that list.
bool named_colour_ramp(std::string const& name, ColourRamp& out);

// `count` colours evenly along the ramp, its ends included; empty for a
// ramp without stops.
std::vector<Colour> table_from_ramp(ColourRamp const& ramp, int count);

// The ramp's 256 colours, reversed when `invert`; false for a ramp without
// stops.
bool getColorRamp(ColourRamp const& ramp, bool invert, std::vector<Colour>& table);

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
