#pragma once
// How the user symbolised a raster layer: the host's renderer objects as
// plain structs that the embedding program fills. For GDAL datasets and for
// the tool, default_symbology (raster_renderer_properties.h) fills them from
// what the dataset holds, and a colour file (colour_file.h) gives a
// classified one.

#include "platform/api.h"

#include <array>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

using Colour = vec<unsigned char, 4>;

// Colours at positions from 0 to 1, in rising order; the colours between
// them are interpolated.
struct ColourRamp {
    std::string name;
    std::vector<std::pair<double, Colour>> stops;
};

// One band stretched over a range through a colour ramp.
struct StretchRenderer {
    int band = 0;
    ColourRamp ramp;
    bool invert = false;
    // The user's own range; otherwise the stretch's, from the statistics.
    bool custom_statistics = false;
    double custom_min = 0, custom_max = 0;
    double stretch_min = 0, stretch_max = 0;
};

struct ColourClass {
    double min = 0, max = 0; // a single value when equal
    Colour colour{{0, 0, 0, 255}};
};

// Classes of one band by value, in rising order, each drawn in its colour,
// or with the colours interpolated between the classes' centres.
struct ClassifiedRenderer {
    int band = 0;
    std::vector<ColourClass> classes;
    bool interpolate = false;
};

// One colour for each value of one band (a palette), in rising order.
struct UniqueValueRenderer {
    int band = 0;
    std::vector<std::pair<double, Colour>> values;
};

// Red, green, blue and alpha from bands; a channel not used is -1.
struct RGBRenderer {
    vec<int, 4> bands{{0, 1, 2, -1}};
    std::array<bool, 4> use{{true, true, true, false}};
};

// The layer's display adjustments, in the host's percentages.
struct RasterDisplayProperties {
    int contrast = 0, brightness = 0, transparency = 0;
    Colour nodata_colour{{255, 255, 255, 0}};
};

struct RasterSymbology {
    std::variant<StretchRenderer, ClassifiedRenderer, UniqueValueRenderer, RGBRenderer> renderer;
    RasterDisplayProperties display;
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
