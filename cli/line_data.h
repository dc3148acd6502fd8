#pragma once
// A 2D line as `tolmar line import` leaves it: its samples as a raster
// (traces as columns, samples as rows) and its navigation as a GeoPackage
// with the track ("track": one line string, the sample axis in its fields)
// and a point a trace ("shotpoints": trace, sp).

#include <memory>
#include <string>
#include <vector>

#include "graphics/SeismicLineRenderer.h"
#include "host/IRasterDataset.h"

namespace tolmar_cli {

struct LineData {
    std::string rasterPath, navigationPath;
    Tolmar::host::RasterDatasetPtr raster;
    Tolmar::host::SpatialReferencePtr spatialReference;
    std::vector<double> x, y;
    std::vector<int> shotpoints;
    int traces = 0, samples = 0;
    double zStart = 0, zStep = 1; // ms
    std::string name;

    double z_of_sample(double sample) const { return zStart + sample * zStep; }
    double sample_of_z(double z) const { return (z - zStart) / zStep; }
};

// Opens both files and checks that they belong together; fails with one line.
LineData load_line(std::string const& raster, std::string const& navigation);
// A layer drawing the line, its raster open and drawing on.
std::unique_ptr<Tolmar::SeismicLineRenderer> open_line_layer(LineData const& line);

} // namespace tolmar_cli
