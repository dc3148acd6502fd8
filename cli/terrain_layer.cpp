#include "cli/terrain_layer.h"

#include <algorithm>
#include <cmath>

#include "cli/cli_support.h"
#include "cli/host_module.h"
#include "host/colour_file.h"
#include "host/raster_renderer_properties.h"

namespace tolmar_cli {

using namespace Tolmar::host;

RasterSymbology raster_symbology(IRasterDataset& ds, std::string const& path, std::string const& ramp,
                                 std::string const& colourFile)
{
    std::string why;
    RasterSymbology s;
    if (!colourFile.empty()) {
        ColourFile file;
        if (!read_colour_file(colourFile, file, &why)) fail_with_reason(colourFile, why);
        BandStatistics stats;
        bool const percent =
            std::any_of(file.entries.begin(), file.entries.end(), [](auto const& e) { return e.percent; });
        if (percent && !ds.statistics(0, stats, &why)) fail(path, "percentages of the colour file need " + why);
        return symbology_from_colour_file(file, 0, stats.min, stats.max);
    }
    if (!default_symbology(ds, ramp, s, &why)) fail(path, why);
    return s;
}

namespace {

// The record the readers open the dataset again by, every time they resume.
std::shared_ptr<RasterSourceConnectionInfo> source_of(IRasterDataset const& ds, Tolmar::vec<int, 4> const& bands,
                                                     SpatialReferencePtr const& view,
                                                     Tolmar::platform::UpdateHandle updates)
{
    auto info = std::make_shared<RasterSourceConnectionInfo>();
    info->set_connection_props_datasource(ds.workspace_type(), ds.connection_properties(), ds.name(), view, bands);
    info->window = updates;
    return info;
}

} // namespace

std::unique_ptr<Tolmar::TilePyramidRenderer> open_terrain(TerrainRequest const& r)
{
    install_raster_source_opener();
    SpatialReferencePtr const view = spatial_reference_option(r.viewSrs, "--view-srs");
    RasterDatasetPtr const dem = open_raster(r.dem);
    if (dem->band_count() < 1) fail(r.dem, "holds no band of heights");
    RasterDatasetPtr const drape = r.drape.empty() ? nullptr : open_raster(r.drape);
    // A single-band drape is coloured like heights; several bands are its own colours.
    IRasterDataset& colouring = drape ? *drape : *dem;
    std::string const& colouringPath = drape ? r.drape : r.dem;
    RasterSymbology const symbology = raster_symbology(colouring, colouringPath, r.ramp, r.colours);
    Tolmar::LodRaster lod;
    if (!extract_raster_renderer_properties(symbology, colouring, lod.properties))
        fail(colouringPath, "the colours do not fit the raster");
    // The host's tables wrap their last entry round to the first colour;
    // on a terrain that would put a spot of the lowest colour on every
    // summit, so the top of the range keeps the ramp's last colour.
    auto& table = lod.properties.color_table;
    if (table.size() > 1) table.back() = table[table.size() - 2];
    lod.height_source = source_of(*dem, {{0, -1, -1, -1}}, view, r.updates);
    if (drape) lod.drape_source = source_of(*drape, lod.properties.bands, view, r.updates);

    auto layer = std::make_unique<Tolmar::TilePyramidRenderer>();
    if (!layer->setData(lod)) fail(drape ? r.drape : r.dem, "cannot be opened for streaming");
    if (!layer->height()) fail(r.dem, "cannot be opened for streaming");
    layer->set_vertical_exaggeration(r.exaggeration);
    auto const& range = lod.properties.custom_amplitude_range;
    if (range[0] != range[1]) layer->set_map_range(range[0], range[1]);
    return layer;
}

Camera terrain_camera(Tolmar::TilePyramidRenderer const& layer, double azimuthDeg, double elevationDeg)
{
    using V3 = Tolmar::vec<double, 3>;
    double b[6];
    layer.get_bounds(b);
    V3 const centre{{(b[0] + b[1]) / 2, (b[2] + b[3]) / 2, (b[4] + b[5]) / 2}};
    double const radius = 0.5 * std::sqrt((b[1] - b[0]) * (b[1] - b[0]) + (b[3] - b[2]) * (b[3] - b[2]) +
                                          (b[5] - b[4]) * (b[5] - b[4]));
    // South and west of the centre: azimuth 0 looks north, 90 east.
    return orbit_view(centre, radius, V3{{0, -1, 0}}, V3{{-1, 0, 0}}, azimuthDeg, elevationDeg,
                      framing_distance(radius));
}

} // namespace tolmar_cli
