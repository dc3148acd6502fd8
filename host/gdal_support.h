#pragma once
// What the GDAL layer's sources share; internal, GDAL's headers included.

#include <cpl_error.h>

#include "host/ISpatialReference.h"

class OGRSpatialReference;

namespace Tolmar::host {

// GDAL's drivers, registered once per process.
void register_gdal();

// GDAL reports failures on stderr by default; callers get the reason in
// words instead (CPLGetLastErrorMsg). The handler stack is per thread.
class QuietErrors {
public:
    QuietErrors()
    {
        CPLPushErrorHandler(CPLQuietErrorHandler);
        CPLErrorReset();
    }
    ~QuietErrors() { CPLPopErrorHandler(); }
    QuietErrors(QuietErrors const&) = delete;
    QuietErrors& operator=(QuietErrors const&) = delete;
};

// GDAL's last error message in parentheses after a space, or nothing.
std::string last_gdal_error();

// A reference on a copy of GDAL's; unknown for null or an empty one.
SpatialReferencePtr spatial_reference_from_ogr(OGRSpatialReference const* srs);

} // namespace Tolmar::host
