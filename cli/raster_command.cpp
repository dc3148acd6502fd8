// `tolmar raster info`: what a raster dataset holds, and how the library
// would draw it.

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>
#include <optional>
#include <sstream>

#include "cli/cli_support.h"
#include "cli/commands.h"
#include "cli/host_module.h"
#include "cli/json.h"
#include "cli/terrain_layer.h"
#include "host/colour_file.h"
#include "host/colour_ramp.h"
#include "host/raster_renderer_properties.h"
#include "platform/text_encoding.h"

namespace tolmar_cli {

namespace {

using namespace Tolmar::host;

struct RasterInfoArgs {
    std::string path;
    std::string ramp;
    std::string colour_file;
    bool json = false;
};

struct BandInfo {
    std::string name, type;
    std::optional<double> nodata;
    bool has_statistics = false;
    BandStatistics statistics;
};

char const* renderer_name(RasterSymbology const& s)
{
    char const* const names[] = {"stretch", "classified", "unique values", "rgb"};
    return names[s.renderer.index()];
}

char const* workspace_name(WorkspaceType type)
{
    switch (type) {
    case WorkspaceType::FileSystem: return "folder";
    case WorkspaceType::LocalDatabase: return "local database";
    case WorkspaceType::RemoteDatabase: return "remote database";
    }
    return "unknown";
}

std::string colour_text(Colour const& c)
{
    return std::to_string(c[0]) + " " + std::to_string(c[1]) + " " + std::to_string(c[2]) + " " +
           std::to_string(c[3]);
}

std::string colour_json(Colour const& c) { return json_array({double(c[0]), double(c[1]), double(c[2]), double(c[3])}); }

std::string number_text(double v)
{
    std::ostringstream s;
    s.precision(10);
    s << v;
    return s.str();
}

void run_raster_info(RasterInfoArgs const& a)
{
    RasterDatasetPtr const ds = open_raster(a.path);
    std::vector<BandInfo> bands;
    for (int b = 0; b < ds->band_count(); ++b) {
        BandInfo info{ds->band_name(b), ds->pixel_type(b), ds->nodata(b), false, {}};
        info.has_statistics = ds->statistics(b, info.statistics);
        bands.push_back(info);
    }
    RasterSymbology const symbology = raster_symbology(*ds, a.path, a.ramp, a.colour_file);
    RasterRenderProperties props;
    if (!extract_raster_renderer_properties(symbology, *ds, props))
        fail(a.path, "the symbology does not fit the raster");
    auto const e = ds->extent();
    auto const srs = ds->spatial_reference();
    std::string const connection = Tolmar::platform::to_utf8(ds->connection_properties());
    std::string const name = Tolmar::platform::to_utf8(ds->name());

    if (a.json) {
        std::vector<std::string> band_items;
        for (auto const& b : bands) {
            JsonObject o;
            o.add_text("name", b.name).add_text("type", b.type).add("nodata", b.nodata ? json_number(*b.nodata) : "null");
            if (b.has_statistics)
                o.add("min", b.statistics.min).add("max", b.statistics.max).add("mean", b.statistics.mean)
                    .add("stddev", b.statistics.stddev);
            band_items.push_back(o.str());
        }
        JsonObject render;
        render.add("bands", json_array({double(props.bands[0]), double(props.bands[1]), double(props.bands[2]),
                                        double(props.bands[3])}))
            .add("custom_amplitude_range",
                 json_array({props.custom_amplitude_range[0], props.custom_amplitude_range[1]}))
            .add("interpolate_colors", props.interpolate_colors ? "true" : "false")
            .add("nodata_color", colour_json(props.nodata_color))
            .add("color_table_size", static_cast<double>(props.color_table.size()));
        if (!props.color_table.empty())
            render.add("color_table_first", colour_json(props.color_table.front()))
                .add("color_table_last", colour_json(props.color_table.back()));
        std::cout << JsonObject()
                         .add_text("file", a.path)
                         .add("width", ds->width())
                         .add("height", ds->height())
                         .add("extent", json_array({e.lower[0], e.lower[1], e.upper[0], e.upper[1]}))
                         .add_text("spatial_reference", srs->name())
                         .add_text("spatial_reference_wkt", srs->wkt())
                         .add("warped_north_up", ds->warped_north_up() ? "true" : "false")
                         .add_text("workspace_type", workspace_name(ds->workspace_type()))
                         .add_text("connection_properties", connection)
                         .add_text("dataset_name", name)
                         .add("bands", json_array(band_items))
                         .add_text("renderer", renderer_name(symbology))
                         .add("render_properties", render.str())
                         .str()
                  << "\n";
        return;
    }
    std::cout << a.path << ": " << ds->width() << " x " << ds->height() << " pixels, " << bands.size()
              << (bands.size() == 1 ? " band" : " bands") << "\n"
              << "  extent: x " << number_text(e.lower[0]) << " to " << number_text(e.upper[0]) << ", y "
              << number_text(e.lower[1]) << " to " << number_text(e.upper[1]) << "\n"
              << "  coordinate system: " << srs->name() << "\n";
    if (ds->warped_north_up()) std::cout << "  grid rotated or south up: read north up over its envelope\n";
    std::cout << "  workspace: " << workspace_name(ds->workspace_type()) << " (" << connection << "), dataset "
              << name << "\n";
    for (std::size_t i = 0; i < bands.size(); ++i) {
        auto const& b = bands[i];
        std::cout << "  band " << i + 1 << " \"" << b.name << "\": " << b.type << ", NoData "
                  << (b.nodata ? number_text(*b.nodata) : "none");
        if (b.has_statistics)
            std::cout << ", min " << number_text(b.statistics.min) << ", max " << number_text(b.statistics.max)
                      << ", mean " << number_text(b.statistics.mean) << ", stddev "
                      << number_text(b.statistics.stddev);
        else
            std::cout << ", no valid pixel";
        std::cout << "\n";
    }
    std::cout << "  renderer: " << renderer_name(symbology) << ", bands";
    for (int k = 0; k < 4; ++k) std::cout << " " << props.bands[k];
    std::cout << "\n";
    if (!props.color_table.empty())
        std::cout << "  colour table: " << props.color_table.size() << " entries"
                  << (props.interpolate_colors ? ", interpolated" : "") << ", from "
                  << colour_text(props.color_table.front()) << " to " << colour_text(props.color_table.back())
                  << ", over " << number_text(props.custom_amplitude_range[0]) << " to "
                  << number_text(props.custom_amplitude_range[1]) << "\n";
    std::cout << "  NoData colour: " << colour_text(props.nodata_color) << "\n";
}

} // namespace

void add_raster_command(CLI::App& app)
{
    auto* raster = app.add_subcommand("raster", "Raster datasets (GeoTIFF, GeoPackage, any raster GDAL reads)");
    raster->require_subcommand(1);
    auto* info = raster->add_subcommand("info", "Show a raster's size, bands, extent, statistics and how it is drawn");
    static RasterInfoArgs a;
    info->add_option("FILE", a.path, "Raster file; a GeoPackage raster as FILE.gpkg:TABLE")->required();
    std::string ramps;
    for (auto const& n : colour_ramp_names()) ramps += (ramps.empty() ? "" : ", ") + n;
    info->add_option("--ramp", a.ramp, "Colour ramp of a single band: " + ramps + " (default grey)");
    info->add_option("--colour-file", a.colour_file,
                     "Colours by value, as for gdaldem color-relief: VALUE R G B [A] a line, nv for NoData, "
                     "percentages of the band's range");
    info->add_flag("--json", a.json, "Print one JSON object");
    info->callback([] { run_raster_info(a); });
}

} // namespace tolmar_cli
