#pragma once
// A terrain layer from files: a DEM drawn as terrain, coloured by a drape
// raster or by the heights through a colour ramp or a gdaldem colour file.
// `tolmar terrain` draws one offscreen, the viewer shows them beside cubes
// and lines.

#include <memory>
#include <string>
#include <vector>

#include "cli/cube_view.h"
#include "graphics/TilePyramidRenderer.h"
#include "host/IRasterDataset.h"
#include "host/raster_symbology.h"
#include "platform/update_sink.h"

namespace tolmar_cli {

struct TerrainRequest {
    std::string dem;
    std::string drape;   // empty: colour by height
    std::string colours; // a gdaldem colour file for a single-band colouring raster
    std::string ramp = "terrain";
    double exaggeration = 1;
    // The view's coordinate system, into which the rasters are reprojected;
    // empty: their own.
    std::string viewSrs;
    // Posted by the readers after each tile; 0: none.
    Tolmar::platform::UpdateHandle updates = 0;
};

// The colouring the options ask for: a colour file's, or the one the
// dataset suggests through the named ramp. Fails with one line.
Tolmar::host::RasterSymbology raster_symbology(Tolmar::host::IRasterDataset& ds, std::string const& path,
                                               std::string const& ramp, std::string const& colourFile);

// The layer, its readers open and streaming, on the context current now
// (it draws there). Fails with one line.
std::unique_ptr<Tolmar::TilePyramidRenderer> open_terrain(TerrainRequest const& r);

// A terrain drawn offscreen until every tile the view wants has arrived.
struct TerrainPicture {
    TerrainRequest request;
    std::string png;
    int width = 1024, height = 768;
    double azimuth = 0, elevation = 45;
    double maxSeconds = 300;
    std::vector<double> at; // a pixel to pick under, x and y from the top left; empty: none
    bool force = false;
};

struct TerrainReport {
    int meshTiles = 0, frames = 0, uploads = 0;
    double seconds = 0; // opening to the complete picture
    bool hit = false;   // whether the pick met the terrain, and where
    Tolmar::vec<double, 3> at{};
};

// Fails with one line.
TerrainReport draw_terrain(TerrainPicture const& p);

// A camera that sees all of the layer, looking in compass direction
// `azimuthDeg` (0 north, 90 east) from `elevationDeg` above the horizon.
Camera terrain_camera(Tolmar::TilePyramidRenderer const& layer, double azimuthDeg, double elevationDeg);

} // namespace tolmar_cli
