#pragma once
// A raster dataset being written: blocks of floats go in, and the finished
// file appears under its name only when finish() succeeds. Made by
// create_raster_dataset (host/gdal_writable_raster.h).

#include "platform/api.h"

#include <optional>
#include <string>

#include "host/ISpatialReference.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

struct RasterCreation {
    // A .tif (GeoTIFF), .img (IMAGINE) or .gpkg (GeoPackage) file.
    std::string path;
    int width = 0, height = 0, bands = 1;
    // "Byte", "Int16", "UInt16", "Int32", "Float32" or "Float64".
    std::string pixel_type = "Float32";
    // The lower-left corner and the size of a cell, in map units.
    double xmin = 0, ymin = 0, cell_width = 1, cell_height = 1;
    SpatialReferencePtr spatial_reference; // null: unknown
    std::optional<double> nodata;
    bool replace = false; // whether an existing file of that name is replaced
};

class IWritableRaster {
public:
    // Without a successful finish() the partial file is removed.
    virtual ~IWritableRaster() = default;
    IWritableRaster(IWritableRaster const&) = delete;
    IWritableRaster& operator=(IWritableRaster const&) = delete;

    // Writes `width` x `height` values, row-major, at column `x`, row `y`
    // (row 0 at the top) of a band (from 0). False, with the reason, for a
    // block outside the raster or a failed write.
    virtual bool write(int band, int x, int y, int width, int height, float const* values,
                       std::string* why = nullptr) = 0;
    // Computes each band's statistics, closes the file and moves it under
    // its name. False, with the reason, and no file under the name.
    virtual bool finish(std::string* why = nullptr) = 0;

protected:
    IWritableRaster() = default;
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
