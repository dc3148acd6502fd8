#include "cli/line_data.h"

#include <filesystem>

#include "cli/cli_support.h"
#include "cli/host_module.h"
#include "platform/text_encoding.h"

namespace tolmar_cli {

namespace {

using Tolmar::host::FieldValue;
using Tolmar::host::VectorFeature;

double number(VectorFeature const& f, char const* name, std::string const& file)
{
    FieldValue const* v = f.field(name);
    if (auto const* i = v ? std::get_if<long long>(v) : nullptr) return static_cast<double>(*i);
    if (auto const* d = v ? std::get_if<double>(v) : nullptr) return *d;
    fail(file, std::string("has no number \"") + name + "\" in its track: not written by tolmar line import");
}

} // namespace

LineData load_line(std::string const& rasterPath, std::string const& navigationPath)
{
    LineData line;
    line.rasterPath = rasterPath;
    line.navigationPath = navigationPath;
    line.name = std::filesystem::path(rasterPath).stem().string();
    line.raster = open_raster(rasterPath);
    line.traces = line.raster->width();
    line.samples = line.raster->height();
    auto const track = read_vector_layer(navigationPath, "track");
    if (track.features.size() != 1) fail(navigationPath, "holds no single track");
    VectorFeature const& t = track.features.front();
    line.zStart = number(t, "z_start_ms", navigationPath);
    line.zStep = number(t, "z_step_ms", navigationPath);
    line.spatialReference = track.spatial_reference;
    if (!(line.zStep > 0)) fail(navigationPath, "has a z step that is not above 0");
    auto const points = read_vector_layer(navigationPath, "shotpoints");
    if (static_cast<int>(points.features.size()) != line.traces)
        fail(navigationPath, "has " + std::to_string(points.features.size()) + " shot points, but " + rasterPath +
                                 " has " + std::to_string(line.traces) + " traces");
    line.x.resize(static_cast<std::size_t>(line.traces));
    line.y.resize(line.x.size());
    line.shotpoints.resize(line.x.size());
    for (auto const& p : points.features) {
        double const trace = number(p, "trace", navigationPath);
        if (trace < 0 || trace >= line.traces || p.points.empty())
            fail(navigationPath, "has a shot point of trace " + std::to_string(trace) + " outside the raster");
        std::size_t const i = static_cast<std::size_t>(trace);
        line.x[i] = p.points[0][0];
        line.y[i] = p.points[0][1];
        line.shotpoints[i] = static_cast<int>(number(p, "sp", navigationPath));
    }
    return line;
}

std::unique_ptr<Tolmar::SeismicLineRenderer> open_line_layer(LineData const& line)
{
    auto layer = std::make_unique<Tolmar::SeismicLineRenderer>();
    // Heights are negative times, as the cube layer draws them.
    if (layer->set_extent(line.x.data(), line.y.data(), line.shotpoints.data(), line.traces, line.samples,
                          -line.zStart, -line.z_of_sample(line.samples - 1), line.zStep) != 0)
        fail(line.rasterPath, "is no line to draw");
    layer->put_rastergdb(line.raster);
    if (!layer->openRaster()) fail(line.rasterPath, "cannot be read as a line's samples");
    layer->set_name(Tolmar::platform::from_utf8(line.name));
    layer->turn_on_draw();
    return layer;
}

} // namespace tolmar_cli
