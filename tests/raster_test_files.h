#pragma once
// Rasters that the tests write with GDAL: GeoTIFFs and GeoPackage tables of
// a few bands, with NoData, palettes, stored statistics and any geotransform.

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "foundation/vec.h"

namespace tolmar_test {

struct RasterSpec {
    std::string path;
    int width = 40, height = 30, bands = 1;
    std::string pixel_type = "Float32";
    // Upper-left corner, pixel size, rotation terms: GDAL's geotransform.
    std::array<double, 6> geotransform{{500000, 10, 0, 6000000, 0, -10}};
    std::string srs = "EPSG:32631"; // empty: none
    std::optional<double> nodata;
    std::function<double(int band, int x, int y)> value = [](int, int x, int y) { return x + 100.0 * y; };
    std::vector<Tolmar::vec<unsigned char, 4>> palette;
    std::vector<std::string> band_names;
    // min, max, mean, stddev stored in the file for band 1
    std::optional<std::array<double, 4>> statistics;
    bool alpha_last = false; // the last band is an alpha band
    std::string driver = "GTiff";
    std::string table;       // GeoPackage raster table; appended to an existing file
};

// Writes the raster; a gtest failure when GDAL refuses.
void write_raster(RasterSpec const& spec);

// A fresh empty folder under the test temporary directory.
std::string fresh_dir(std::string const& name);

} // namespace tolmar_test
