#pragma once
// Colour files in the format of `gdaldem color-relief`, which GIS users
// already keep for their rasters: a line per entry, a value and then red,
// green, blue and an optional alpha (0 to 255), separated by spaces, tabs,
// commas or colons. The value may be a number, a percentage of the band's
// range ("50%") or "nv" for NoData; a colour may be a name ("white").
// Blank lines and text after '#' are passed over.

#include "platform/api.h"

#include <string>
#include <string_view>
#include <vector>

#include "host/raster_symbology.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

struct ColourFileEntry {
    double value = 0;
    bool percent = false; // value is a percentage of the band's range
    Colour colour{{0, 0, 0, 255}};
};

struct ColourFile {
    std::vector<ColourFileEntry> entries; // in the file's order
    bool has_nodata = false;
    Colour nodata{{0, 0, 0, 0}};
};

// False, with "line N: ..." in `why`, for text that is not such a file, or
// one without any value entry.
bool parse_colour_file(std::string_view text, ColourFile& out, std::string* why = nullptr);
// The same from a file; the reason then begins with the path.
bool read_colour_file(std::string const& path, ColourFile& out, std::string* why = nullptr);

// A classified symbology of `band` that interpolates between the entries,
// as gdaldem does, with percentages taken over min..max; the NoData entry
// gives the NoData colour.
RasterSymbology symbology_from_colour_file(ColourFile const& file, int band, double min, double max);

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
