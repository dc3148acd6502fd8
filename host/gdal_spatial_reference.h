#pragma once
// Coordinate systems on GDAL's OGRSpatialReference (PROJ underneath).

#include "platform/api.h"

#include <string>

#include "host/ISpatialReference.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

// From an EPSG code ("32631" or "EPSG:32631"), WKT, a PROJ string or any
// other definition GDAL takes; an empty text gives an unknown system. Null,
// with the reason in `why`, for a text that defines no system.
SpatialReferencePtr spatial_reference_from_text(std::string const& text, std::string* why = nullptr);
SpatialReferencePtr spatial_reference_from_epsg(int code, std::string* why = nullptr);

} // namespace Tolmar::host

// The same, by a name that a program finds with dlsym after loading the
// library on demand: `out` receives the reference; false with `why` filled.
extern "C" bool tolmar_spatial_reference_from_text(char const* text, Tolmar::host::SpatialReferencePtr* out,
                                                   std::string* why);

TOLMAR_PUBLIC_END
