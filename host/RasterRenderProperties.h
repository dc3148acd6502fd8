#pragma once
// How a raster layer is to be drawn, as the renderers take it: a colour
// table of 1024 entries over the amplitude range, the bands that make the
// colour, and the display adjustments. Filled from a layer's symbology by
// extract_raster_renderer_properties (raster_renderer_properties.h).

#include "platform/api.h"

#include <string>
#include <vector>

#include "foundation/vec.h"
#include "host/WorkspaceType.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

struct RasterRenderProperties {
    std::vector<vec<unsigned char, 4>> color_table;
    // Colours between the table's entries are interpolated (a stretch).
    bool interpolate_colors = true;
    bool interpolate_drape = true;
    std::wstring dataset_name;
    std::wstring connection_properties;
    WorkspaceType workspace_type = WorkspaceType::FileSystem;
    // Red, green, blue, alpha band; or the single band and -1 three times.
    vec<int, 4> bands{{0, -1, -1, -1}};
    // The values at the table's ends; 0, 0 when unset (the data's range).
    vec<double, 2> custom_amplitude_range{{0, 0}};
    vec<unsigned char, 4> nodata_color{{255, 255, 255, 0}};
    // The host's percentages divided by 100.
    double contrast = 0, brightness = 0, transparency = 0;
    float z_scale = 1, z_offset = 0;
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
