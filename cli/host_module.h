#pragma once
// The part of the library that stands on GDAL, loaded only by the commands
// that need it, so that the SEG-Y commands start without GDAL's hundred
// libraries.

#include <string>

#include "host/IRasterDataset.h"
#include "host/ISpatialReference.h"

namespace tolmar_cli {

// A coordinate system from an EPSG code, WKT or a PROJ string; null for an
// empty text (unknown). Fails with one line naming `option` otherwise.
Tolmar::host::SpatialReferencePtr spatial_reference_option(std::string const& text, std::string const& option);

// A raster dataset by path; fails with one line naming the path otherwise.
Tolmar::host::RasterDatasetPtr open_raster(std::string const& path);

} // namespace tolmar_cli
