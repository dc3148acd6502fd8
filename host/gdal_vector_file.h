#pragma once
// Vector layers in files through OGR: a GeoPackage for ".gpkg", otherwise
// the driver GDAL picks for the name when reading.

#include "platform/api.h"

#include <string>
#include <vector>

#include "host/vector_layer.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

// Writes the layers as a new GeoPackage under a temporary name and renames
// it into place, so that an existing file is replaced only by a complete
// one. Lines are 3D line strings, surfaces 3D TINs. False with the reason.
bool write_vector_layers(std::string const& path, std::vector<VectorLayer> const& layers, std::string* why);
// Reads one layer (the first when `name` is empty) with its fields.
bool read_vector_layer(std::string const& path, std::string const& name, VectorLayer& out, std::string* why);

} // namespace Tolmar::host

// The same, by names a program finds with dlsym after loading the library on demand.
extern "C" bool tolmar_write_vector_layers(std::string const* path,
                                           std::vector<Tolmar::host::VectorLayer> const* layers, std::string* why);
extern "C" bool tolmar_read_vector_layer(std::string const* path, std::string const* name,
                                         Tolmar::host::VectorLayer* out, std::string* why);

TOLMAR_PUBLIC_END
