#pragma once
// The part of the library that stands on GDAL, loaded only by the commands
// that need it, so that the SEG-Y commands start without GDAL's hundred
// libraries.

#include <memory>
#include <string>
#include <vector>

#include "host/IRasterDataset.h"
#include "host/ISpatialReference.h"
#include "host/IWritableRaster.h"
#include "host/vector_layer.h"

namespace tolmar_cli {

// A coordinate system from an EPSG code, WKT or a PROJ string; null for an
// empty text (unknown). Fails with one line naming `option` otherwise.
Tolmar::host::SpatialReferencePtr spatial_reference_option(std::string const& text, std::string const& option);

// Lets the library's streaming readers open rasters through GDAL.
void install_raster_source_opener();
// A raster by path; fails with one line.
Tolmar::host::RasterDatasetPtr open_raster(std::string const& path);
// A raster being written; fails with one line.
std::unique_ptr<Tolmar::host::IWritableRaster> create_raster(Tolmar::host::RasterCreation const& creation);
// Vector layers as a new GeoPackage, and one layer read back; fail with one line.
void write_vector_layers(std::string const& path, std::vector<Tolmar::host::VectorLayer> const& layers);
Tolmar::host::VectorLayer read_vector_layer(std::string const& path, std::string const& name);

} // namespace tolmar_cli
