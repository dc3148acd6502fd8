#pragma once
// Raster datasets written through GDAL.

#include "platform/api.h"

#include <memory>
#include <string>

#include "host/IWritableRaster.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

// A new dataset, written to a temporary name beside `creation.path` until
// finished. Null, with the reason, for a bad size, pixel type or format, or
// an existing file that is not to be replaced.
std::unique_ptr<IWritableRaster> create_raster_dataset(RasterCreation const& creation, std::string* why = nullptr);

} // namespace Tolmar::host

// create_raster_dataset by a name that a program finds with dlsym after
// loading the library on demand; false with `why` filled.
extern "C" bool tolmar_create_raster_dataset(Tolmar::host::RasterCreation const* creation,
                                             std::unique_ptr<Tolmar::host::IWritableRaster>* out, std::string* why);

TOLMAR_PUBLIC_END
