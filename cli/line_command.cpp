// `tolmar line`: a 2D SEG-Y line imported as a raster and a navigation
// file, drawn as a curtain offscreen, and a horizon picked on it from seeds.

#include <CLI/CLI.hpp>

#include <GL/glew.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <thread>

#include "cli/cli_support.h"
#include "cli/commands.h"
#include "cli/cube_view.h"
#include "cli/host_module.h"
#include "cli/json.h"
#include "cli/line_commands.h"
#include "cli/line_data.h"
#include "cli/line_pick.h"
#include "cli/png_image.h"
#include "cli/synthetic_line.h"
#include "graphics/headless_gl.h"
#include "graphics/mat44.h"
#include "platform/text_encoding.h"
#include "segy/SEGYreader2D.h"

namespace tolmar_cli {

namespace {

using Tolmar::vec;
using V3 = vec<double, 3>;

// ---- import ---------------------------------------------------------------

} // namespace

LineImportReport import_line(LineImportRequest& a)
{
    refuse_existing(a.raster, a.force);
    refuse_existing(a.navigation, a.force);
    auto const srs = spatial_reference_option(a.srs, "--srs");
    a.encoding.detect(a.segy);
    Tolmar::SEGYreader2D reader;
    reader.setFile(a.segy);
    a.encoding.apply(reader);
    reader.setTrustReelSampleCount(true);
    reader.setZeroScalerAsOne(true);
    Tolmar::SEGYreader::Type types[Tolmar::SEGYreader::SlotCount];
    int positions[Tolmar::SEGYreader::SlotCount];
    a.positions.fill(types, positions);
    positions[Tolmar::SEGYreader::SlotShotPoint] = a.spByte;

    double const t0 = now_seconds();
    int spRange[9] = {INT_MIN / 2, INT_MAX / 2, 1, 0, 0, 0, 0, 0, 0};
    double ranges[13] = {};
    if (reader.readNavigation(types, positions, spRange, ranges) != 1 || reader.navigation().empty())
        fail(a.segy, "holds no traces to read");
    if (a.spRange.size() == 3) std::copy(a.spRange.begin(), a.spRange.end(), spRange);
    ranges[6] = a.zRange.size() == 2 ? a.zRange[0] : -DBL_MAX;
    ranges[7] = a.zRange.size() == 2 ? a.zRange[1] : DBL_MAX;
    ranges[8] = 0; // the file's interval
    std::vector<Tolmar::SEGYtrace> repairs;
    if (reader.analyze(types, positions, spRange, ranges, repairs) != 1) fail(a.segy, "cannot be read as a 2D line");
    reader.clear();
    if (reader.read(types, positions, spRange, ranges, repairs, false) != 1)
        fail(a.segy, "cannot be read as a 2D line");
    int const traces = reader.nTracesUsed(), samples = reader.nSamplesUsed();
    auto const& amplitudes = reader.amplitudes();
    auto const& navigation = reader.navigation();
    if (traces < 1 || samples < 1 || amplitudes.size() < static_cast<std::size_t>(traces) * samples ||
        navigation.size() < static_cast<std::size_t>(traces))
        fail(a.segy, "left no traces in the shot point range and z window");
    double const readSeconds = seconds_since(t0);

    // Samples as rows: the trace-major buffer turned a block of traces at a time.
    Tolmar::host::RasterCreation creation;
    creation.path = a.raster;
    creation.width = traces;
    creation.height = samples;
    creation.nodata = FLT_MAX;
    creation.replace = a.force;
    auto raster = create_raster(creation);
    // Whole rows a few at a time, so that the file's strips are written
    // once each, in order.
    constexpr int kRows = 16;
    std::vector<float> block;
    std::string why;
    for (int first = 0; first < samples; first += kRows) {
        int const n = std::min(kRows, samples - first);
        block.resize(static_cast<std::size_t>(n) * traces);
        for (int t = 0; t < traces; ++t) {
            float const* from = amplitudes.data() + static_cast<std::size_t>(t) * samples + first;
            for (int r = 0; r < n; ++r) block[static_cast<std::size_t>(r) * traces + t] = from[r];
        }
        if (!raster->write(0, 0, first, traces, n, block.data(), &why)) fail(a.raster, why);
    }
    if (!raster->finish(&why)) fail(a.raster, why);

    using namespace Tolmar::host;
    VectorLayer track{"track", GeometryKind::Line, srs, {}};
    VectorLayer points{"shotpoints", GeometryKind::Point, srs, {}};
    VectorFeature line;
    int inserted = 0;
    for (auto const& r : repairs) inserted += r.insert() ? 1 : 0;
    for (int t = 0; t < traces; ++t) {
        auto const& [xy, sp] = navigation[static_cast<std::size_t>(t)];
        V3 const p{{xy.first, xy.second, 0}};
        line.points.push_back(p);
        points.features.push_back(VectorFeature{{p}, {{"trace", FieldValue(static_cast<long long>(t))},
                                                      {"sp", FieldValue(static_cast<long long>(sp))}}});
    }
    double const zStart = reader.zStart(), zStep = ranges[8];
    line.fields = {{"name", FieldValue(std::filesystem::path(a.segy).stem().string())},
                   {"traces", FieldValue(static_cast<long long>(traces))},
                   {"samples", FieldValue(static_cast<long long>(samples))},
                   {"sp_first", FieldValue(static_cast<long long>(navigation.front().second))},
                   {"sp_last", FieldValue(static_cast<long long>(navigation[static_cast<std::size_t>(traces - 1)].second))},
                   {"z_start_ms", FieldValue(zStart)},
                   {"z_step_ms", FieldValue(zStep)}};
    track.features.push_back(std::move(line));
    write_vector_layers(a.navigation, {track, points});
    LineImportReport report;
    report.traces = traces;
    report.samples = samples;
    report.inserted = inserted;
    report.spFirst = navigation.front().second;
    report.spLast = navigation[static_cast<std::size_t>(traces - 1)].second;
    report.zStart = zStart;
    report.zStep = zStep;
    report.low = static_cast<float>(ranges[9]);
    report.high = static_cast<float>(ranges[10]);
    report.readSeconds = readSeconds;
    report.seconds = seconds_since(t0);
    return report;
}

namespace {

struct LineImportArgs {
    LineImportRequest request;
    bool json = false;
};

void run_line_import(LineImportArgs& args)
{
    LineImportRequest& a = args.request;
    LineImportReport const r = import_line(a);
    if (args.json) {
        std::cout << JsonObject()
                         .add("traces", r.traces)
                         .add("samples", r.samples)
                         .add("shot_points", json_array({static_cast<double>(r.spFirst), static_cast<double>(r.spLast)}))
                         .add("inserted", r.inserted)
                         .add("z", json_array({r.zStart, r.zStart + (r.samples - 1) * r.zStep, r.zStep}))
                         .add("amplitude", json_array({r.low, r.high}))
                         .add("read_seconds", r.readSeconds)
                         .add("seconds", r.seconds)
                         .str()
                  << "\n";
        return;
    }
    std::cout << a.segy << ": " << r.traces << " traces (shot points " << r.spFirst << ".." << r.spLast << ", "
              << r.inserted << " inserted), " << r.samples << " samples from " << r.zStart << " ms by " << r.zStep
              << " ms\nWrote " << a.raster << " and " << a.navigation << " in " << r.seconds << " s\n";
}

// ---- render ---------------------------------------------------------------

// The camera square on to the line's chord, or circling it.
Camera line_camera(LineRenderRequest const& a, Tolmar::SeismicLineRenderer& layer, double exaggeration, int width,
                   int height)
{
    double first[3], last[3], bottom[3];
    layer.get_corner(0, first);
    layer.get_corner(1, last);
    layer.get_corner(3, bottom);
    double bounds[6];
    layer.getBounds(exaggeration, bounds);
    V3 const centre{{(bounds[0] + bounds[1]) / 2, (bounds[2] + bounds[3]) / 2, (bounds[4] + bounds[5]) / 2}};
    double const radius = 0.5 * V3{{bounds[1] - bounds[0], bounds[3] - bounds[2], bounds[5] - bounds[4]}}.length();
    V3 along{{last[0] - first[0], last[1] - first[1], 0}};
    along = along.length() > 0 ? along * (1 / along.length()) : V3{{1, 0, 0}};
    V3 const across{{-along[1], along[0], 0}};
    if (a.camera.size() == 2) return orbit_view(centre, radius, across, along, a.camera[0], a.camera[1],
                                                framing_distance(radius));
    // Front view: the chord across the picture, the first trace on the left.
    Camera c = orbit_view(centre, radius, across, along, 180, 0, framing_distance(radius));
    c.perspective = false;
    c.halfHeight = std::max(std::fabs(bounds[5] - bounds[4]) / 2, 1e-9);
    c.halfWidth = c.halfHeight * width / height;
    double const chord = V3{{last[0] - first[0], last[1] - first[1], 0}}.length() / 2;
    if (chord * height > c.halfHeight * width) {
        c.halfWidth = chord;
        c.halfHeight = chord * height / width;
    }
    return c;
}

} // namespace

LineRenderReport render_line(LineRenderRequest const& a)
{
    refuse_existing(a.png, a.force);
    LineData const line = load_line(a.raster, a.navigation);
    int const width = a.size[0], height = a.size[1];
    std::string error;
    auto gl = Tolmar::platform::HeadlessGL::create(width, height, error);
    if (!gl) fail(a.raster, "cannot draw offscreen: " + error);
    RgbaImage image(width, height, 0, 0, 0, 0);
    int frames = 0;
    bool complete = true;
    double const t0 = now_seconds();
    {
        auto layer = open_line_layer(line);
        if (a.range.first != a.range.second) layer->set_effective_sample_range(a.range.first, a.range.second);
        if (!a.seeds.empty()) {
            // The layer's own picking tool draws the horizon with the curtain.
            layer->startDigitizing();
            Tolmar::LineInterpreter* tool = layer->interpreter();
            tool->addHorizon("TEST", Tolmar::SnapPeak, 20);
            tool->setActiveHorizon("TEST");
            for (std::size_t i = 0; i + 1 < a.seeds.size(); i += 2)
                tool->mouseClick(a.seeds[i], line.sample_of_z(a.seeds[i + 1]));
        }
        double bounds[6];
        layer->getBounds(1, bounds);
        double const plan = std::max(bounds[1] - bounds[0], bounds[3] - bounds[2]);
        double const exaggeration =
            a.exaggeration > 0 ? a.exaggeration : plan / std::max(std::fabs(bounds[5] - bounds[4]), 1e-9);
        Camera const camera = line_camera(a, *layer, exaggeration, width, height);
        auto const colours = colour_table(a.colourTable);
        for (;;) {
            gl->bind();
            glClearColor(0, 0, 0, 0);
            glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
            double orientation[16];
            load_camera(camera, width, height, orientation);
            layer->draw(exaggeration, orientation, camera.eye, colours);
            ++frames;
            if (layer->tiles_complete()) break;
            if (seconds_since(t0) > a.maxSeconds) {
                complete = false;
                break;
            }
        }
        glFinish();
        image.rgba = gl->read_pixels();
        layer->shutdown_renderer_and_datasource();
    }
    if (!write_png(a.png, image, error)) fail(a.png, error);
    return LineRenderReport{width, height, line.traces, line.samples, frames, complete, seconds_since(t0)};
}

namespace {

struct LineRenderArgs {
    LineRenderRequest request;
    bool json = false;
};

void run_line_render(LineRenderArgs& args)
{
    LineRenderRequest const& a = args.request;
    LineRenderReport const r = render_line(a);
    if (args.json) {
        std::cout << JsonObject()
                         .add("width", r.width)
                         .add("height", r.height)
                         .add("traces", r.traces)
                         .add("samples", r.samples)
                         .add("frames", r.frames)
                         .add("complete", r.complete ? "true" : "false")
                         .add("seconds", r.seconds)
                         .str()
                  << "\n";
        return;
    }
    std::cout << "Wrote " << a.png << " (" << r.width << " x " << r.height << ") of " << r.traces << " traces in "
              << r.frames << " frames\n";
}

// ---- pick -----------------------------------------------------------------

} // namespace

LinePickReport pick_line(LinePickRequest const& a)
{
    refuse_existing(a.out, a.force);
    LineData const line = load_line(a.raster, a.navigation);
    if (a.seeds.size() < 4 || a.seeds.size() % 2) fail("--seed", "give two seeds or more, each TRACE TIME");
    HorizonPicker picker(line, a.name, a.mode == "peak" ? Tolmar::SnapPeak : Tolmar::SnapTrough, a.window, a.out);
    for (std::size_t i = 0; i < a.seeds.size(); i += 2) {
        double const trace = a.seeds[i], time = a.seeds[i + 1];
        if (trace < 0 || trace > line.traces - 1)
            fail("--seed", "trace " + json_number(trace) + " lies outside 0.." + std::to_string(line.traces - 1));
        picker.click(trace, line.sample_of_z(time));
    }
    auto const& h = picker.horizon();
    int const first = static_cast<int>(h.picks.front()[0]), last = static_cast<int>(h.picks.back()[0]);
    if (!picker.saved()) fail(a.out, "no horizon to write: the seeds run backwards");
    LinePickReport report;
    report.firstTrace = first;
    report.lastTrace = last;
    for (int t = first; t <= last; ++t) report.times.push_back(line.z_of_sample(h.samples[static_cast<std::size_t>(t)]));
    return report;
}

namespace {

struct LinePickArgs {
    LinePickRequest request;
    bool json = false;
};

void run_line_pick(LinePickArgs& args)
{
    LinePickRequest const& a = args.request;
    LinePickReport const r = pick_line(a);
    if (args.json) {
        std::vector<std::string> times;
        for (double t : r.times) times.push_back(json_number(t));
        std::cout << JsonObject()
                         .add("first_trace", r.firstTrace)
                         .add("last_trace", r.lastTrace)
                         .add("times", json_array(times))
                         .str()
                  << "\n";
        return;
    }
    std::cout << "Tracked " << a.name << " over traces " << r.firstTrace << ".." << r.lastTrace << "; wrote " << a.out
              << "\n";
}

} // namespace

namespace {

// Collects the meshes as features of a surface layer, vertices in map
// coordinates, images named relative to the GeoPackage.
class CurtainLayer : public Tolmar::host::ITexturedMeshWriter {
public:
    CurtainLayer(Tolmar::host::SpatialReferencePtr srs, std::filesystem::path base) : base_(std::move(base))
    {
        layer.name = "curtain";
        layer.kind = Tolmar::host::GeometryKind::Surface;
        layer.spatial_reference = std::move(srs);
    }
    bool add(V3 const& origin, std::vector<int> const& indices, std::vector<vec<float, 3>> const& vertices,
             std::vector<vec<float, 2>> const& tex, std::wstring const& image) override
    {
        using Tolmar::host::FieldValue;
        Tolmar::host::VectorFeature f;
        std::string uv;
        for (int i : indices) {
            auto const k = static_cast<std::size_t>(i);
            if (k >= vertices.size() || k >= tex.size()) return false;
            f.points.push_back(V3{{origin[0] + vertices[k][0], origin[1] + vertices[k][1], origin[2] + vertices[k][2]}});
            uv += (uv.empty() ? "" : " ") + json_number(tex[k][0]) + " " + json_number(tex[k][1]);
        }
        std::string const relative =
            std::filesystem::path(Tolmar::platform::to_utf8(image)).lexically_relative(base_).string();
        f.fields = {{"texture", FieldValue(relative)}, {"uv", FieldValue(uv)}};
        layer.features.push_back(std::move(f));
        return true;
    }
    Tolmar::host::VectorLayer layer;

private:
    std::filesystem::path base_;
};

} // namespace

LineExportReport export_line(LineExportRequest const& a)
{
    refuse_existing(a.out, a.force);
    LineData const line = load_line(a.raster, a.navigation);
    namespace fs = std::filesystem;
    fs::path const out(a.out);
    fs::path const folder = out.parent_path() / (out.stem().string() + "_textures");
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec) fail(folder.string(), "cannot create the folder (" + ec.message() + ")");
    auto layer = open_line_layer(line);
    if (a.range.first != a.range.second) layer->set_effective_sample_range(a.range.first, a.range.second);
    CurtainLayer curtain(line.spatialReference, out.parent_path());
    if (layer->multipatch(curtain, Tolmar::platform::from_utf8((folder / "tile").string()), colour_table(a.colourTable)) != 0)
        fail(a.out, "cannot write the curtain's textures into " + folder.string());
    write_vector_layers(a.out, {curtain.layer});
    return LineExportReport{static_cast<int>(curtain.layer.features.size()), folder.string()};
}

void add_line_command(CLI::App& app)
{
    auto* line = app.add_subcommand("line", "2D seismic lines: make, import, draw, pick horizons");
    line->require_subcommand(1);

    auto* synth = line->add_subcommand("synth", "Write a synthetic 2D line with a dipping reflector");
    static LineSynthOptions s;
    static std::string synthPath;
    static bool synthForce = false;
    synth->add_option("OUT", synthPath, "SEG-Y file to write")->required();
    synth->add_option("--traces", s.traces, "Shot points along the line, the missing ones counted")
        ->capture_default_str()
        ->check(CLI::Range(2, 10000000));
    synth->add_option("--samples", s.samples, "Samples a trace")->capture_default_str()->check(CLI::Range(1, 32767));
    synth->add_option("--sp-start", s.spStart, "The first shot point")->capture_default_str();
    synth->add_option("--sp-step", s.spStep, "Shot point step; below 0 they fall")->capture_default_str();
    synth->add_option("--repeat-every", s.repeatEvery, "Write every n-th shot point twice")->capture_default_str();
    synth->add_option("--gap-every", s.gapEvery, "Leave out three shot points after every n-th")
        ->capture_default_str();
    synth->add_option("--format", s.format, "Sample format")->capture_default_str()->check(
        CLI::IsMember({"ibm", "ieee", "int16"}));
    synth->add_option("--scaler", s.scaler, "Coordinate scaler")->capture_default_str();
    synth->add_flag("--force", synthForce, "Overwrite an existing file");
    synth->callback([] {
        refuse_existing(synthPath, synthForce);
        std::string error;
        if (!write_synthetic_line(synthPath, s, error)) fail(synthPath, error);
        std::cout << "Wrote " << synthPath << ": " << line_trace_count(s) << " traces of " << line_shot_count(s)
                  << " shot points, " << s.samples << " samples\n";
    });

    auto* imp = line->add_subcommand("import", "Read a 2D SEG-Y line, one trace a shot point, into a raster and "
                                               "a navigation GeoPackage");
    static LineImportArgs i;
    imp->add_option("SEGY", i.request.segy, "The line's SEG-Y file")->required();
    imp->add_option("--raster", i.request.raster, "The raster to write (.tif): traces as columns, samples as rows")
        ->required();
    imp->add_option("--navigation", i.request.navigation, "The GeoPackage to write: the track and a point a trace")
        ->required();
    imp->add_option("--sp-byte", i.request.spByte, "Byte position of the shot point")->capture_default_str()->check(
        CLI::Range(1, 237));
    imp->add_option("--sp-range", i.request.spRange, "Shot points to take: START STOP STEP")->expected(3);
    imp->add_option("--z-range", i.request.zRange, "Times to take, ms: MIN MAX")->expected(2);
    imp->add_option("--srs", i.request.srs, "The line's coordinate system, written into the navigation");
    i.request.positions.add_options(*imp);
    i.request.encoding.add_options(*imp);
    imp->add_flag("--force", i.request.force, "Overwrite existing files");
    imp->add_flag("--json", i.json, "Print one JSON object");
    imp->callback([] { run_line_import(i); });

    auto* render = line->add_subcommand("render", "Draw a line's curtain offscreen to a PNG");
    static LineRenderArgs r;
    render->add_option("RASTER", r.request.raster, "The line's raster (from line import)")->required();
    render->add_option("--navigation", r.request.navigation, "The line's navigation GeoPackage")->required();
    render->add_option("--png", r.request.png, "PNG to write")->required();
    render->add_option("--size", r.request.size, "Picture width and height")->expected(2)->check(CLI::Range(1, 16384));
    render->add_option("--camera", r.request.camera, "Azimuth and elevation in degrees (default: square on to the line)")
        ->expected(2);
    render->add_option("--range", r.request.range, "Amplitudes at the colour table's ends");
    render->add_option("--colour-table", r.request.colourTable, "A named colour table or a file");
    render->add_option("--exaggeration", r.request.exaggeration, "View units a millisecond (default: as deep as long)")
        ->check(CLI::PositiveNumber);
    render->add_option("--seed", r.request.seeds, "Draw the horizon tracked between these: a trace and a time in ms")
        ->expected(2)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    render->add_option("--timeout", r.request.maxSeconds, "Seconds to wait for the tiles")->check(CLI::PositiveNumber);
    render->add_flag("--force", r.request.force, "Overwrite an existing PNG");
    render->add_flag("--json", r.json, "Print one JSON object");
    render->callback([] { run_line_render(r); });

    auto* exp = line->add_subcommand("export", "Write a line's curtain as textured surfaces in a GeoPackage");
    static LineExportRequest e;
    exp->add_option("RASTER", e.raster, "The line's raster (from line import)")->required();
    exp->add_option("--navigation", e.navigation, "The line's navigation GeoPackage")->required();
    exp->add_option("--out", e.out, "The GeoPackage to write; the TGA textures go to a folder beside it")->required();
    exp->add_option("--range", e.range, "Amplitudes at the colour table's ends");
    exp->add_option("--colour-table", e.colourTable, "A named colour table or a file");
    exp->add_flag("--force", e.force, "Overwrite an existing file");
    exp->callback([] {
        LineExportReport const written = export_line(e);
        std::cout << "Wrote " << e.out << ": " << written.meshes << " textured surfaces, their images in " << written.textures
                  << "\n";
    });

    auto* pick = line->add_subcommand("pick", "Track a horizon between seeds and write it as a line feature");
    static LinePickArgs p;
    pick->add_option("RASTER", p.request.raster, "The line's raster (from line import)")->required();
    pick->add_option("--navigation", p.request.navigation, "The line's navigation GeoPackage")->required();
    pick->add_option("--seed", p.request.seeds, "A trace (from 0) and a time in ms; give two or more")
        ->expected(2)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->required();
    pick->add_option("--out", p.request.out, "The GeoPackage to write the horizon to")->required();
    pick->add_option("--name", p.request.name, "The horizon's name")->capture_default_str();
    pick->add_option("--mode", p.request.mode, "Snap to peaks or troughs")->capture_default_str()->check(
        CLI::IsMember({"peak", "trough"}));
    pick->add_option("--window", p.request.window, "Samples searched each way")->capture_default_str()->check(
        CLI::Range(1, 1000));
    pick->add_flag("--force", p.request.force, "Overwrite an existing file");
    pick->add_flag("--json", p.json, "Print one JSON object");
    pick->callback([] { run_line_pick(p); });
}

} // namespace tolmar_cli
