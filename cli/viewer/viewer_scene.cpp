#include "cli/viewer/viewer_scene.h"

#include <GL/glew.h>

#include <algorithm>
#include <cstdio>
#include <cmath>
#include <filesystem>
#include <limits>

#include "cli/cli_support.h"
#include "cli/cube_source.h"
#include "cli/terrain_layer.h"
#include "foundation/Streamer3DGridReader.h"
#include "graphics/GPUCubeMemoryManager.h"
#include "graphics/Seismic3DRenderer.h"
#include "platform/text_encoding.h"

namespace tolmar_cli {

namespace {

using Tolmar::vec;
using V3 = vec<double, 3>;

constexpr double kMiB = 1024.0 * 1024.0;

// The middle line of start..stop by step.
double middle(double start, double stop, double step)
{
    return start + std::floor((stop - start) / step / 2) * step;
}

void union_bounds(double* into, double const* b)
{
    for (int k = 0; k < 6; k += 2) {
        double const lo = std::min(b[k], b[k + 1]), hi = std::max(b[k], b[k + 1]);
        into[k] = std::min(into[k], lo);
        into[k + 1] = std::max(into[k + 1], hi);
    }
}

} // namespace

Tolmar::vec<int, 3> CubeLayer::range(int direction) const { return slices_[direction]->get_dim(direction); }

int CubeLayer::position(int direction) const { return slices_[direction]->get_pos_round(direction); }

void CubeLayer::set_position(int direction, double value)
{
    vec<int, 3> const r = range(direction);
    vec<float, 3> sliders = slices_[direction]->get_crossplane_sliders();
    if (r[1] <= r[0] || r[2] <= 0) {
        sliders[direction] = 0;
    } else {
        double const line = std::clamp(std::round((value - r[0]) / r[2]), 0.0, std::floor((r[1] - r[0]) / r[2]));
        sliders[direction] = static_cast<float>(line * r[2] / (r[1] - r[0]));
    }
    slices_[direction]->set_crossplane_sliders(sliders);
}

void CubeLayer::step(int direction, int lines)
{
    set_position(direction, position(direction) + static_cast<double>(lines) * range(direction)[2]);
}

void CubeLayer::set_colour_table(std::string const& table)
{
    auto const colours = colour_table(table);
    for (auto& s : slices_) s->set_color_table_data(colours);
    colourTable = table;
}

void CubeLayer::set_colour_range(float from, float to)
{
    low = std::min(from, to);
    high = std::max(from, to);
    for (auto& s : slices_) s->set_effective_amplituderange(vec<float, 2>{{low, high}});
}

void CubeLayer::set_outline(bool on)
{
    outline = on;
    for (auto& s : slices_) s->set_display_slice_outline(on);
}

bool CubeLayer::loading() const
{
    if (!visible) return false;
    for (int d = 0; d < 3; ++d) {
        if (!shown[d]) continue;
        auto const& s = *slices_[d];
        if (s.is_done_loading_data() || (!s.uses_brick_path() && !s.tiles_complete())) return true;
    }
    return false;
}

void LineLayer::set_colour_table(std::string const& name)
{
    colours = colour_table(name);
    colourTable = name;
}

void LineLayer::set_colour_range(float from, float to)
{
    low = std::min(from, to);
    high = std::max(from, to);
    layer->set_effective_sample_range(low, high);
}

Scene::Scene(SceneOptions const& o, Tolmar::platform::UpdateHandle wake)
{
    if (!o.indexes.empty() && o.indexes.size() != o.cubes.size())
        fail("--index", "give one a cube, in order (an empty one for a brick file), or none");
    if (o.lines.size() != o.navigations.size()) fail("--navigation", "give one a line, in order");
    lines_.resize(o.lines.size());
    for (std::size_t i = 0; i < o.lines.size(); ++i) {
        LineLayer& l = lines_[i];
        l.data = load_line(o.lines[i], o.navigations[i]);
        l.layer = open_line_layer(l.data);
        l.layer->setGraphicsUpdateWindow(wake);
        Tolmar::vec<double, 2> whole{};
        l.layer->get_original_amplitude_range(whole);
        l.wholeRange.set(static_cast<float>(whole[0]), static_cast<float>(whole[1]));
        l.set_colour_table(o.colourTable);
        if (o.range.size() == 2)
            l.set_colour_range(o.range[0], o.range[1]);
        else
            l.set_colour_range(l.wholeRange[0], l.wholeRange[1]);
    }
    pool_ = first_pool();
    cubes_.resize(o.cubes.size());
    for (std::size_t i = 0; i < o.cubes.size(); ++i) {
        CubeLayer& cube = cubes_[i];
        ViewRequest r;
        r.cube = o.cubes[i];
        r.index = o.indexes.empty() ? std::string() : o.indexes[i];
        r.srs = o.srs;
        r.viewSrs = o.viewSrs;
        r.forceTiles = o.forceTiles;
        r.colourTable = o.colourTable;
        r.range = o.range;
        r.exaggeration = 1;
        cube.path = r.cube;
        cube.name = std::filesystem::path(r.cube).filename().string();
        cube.colourTable = o.colourTable;
        CubeArgs args;
        args.path = r.cube;
        args.index = r.index;
        auto const reader = open_cube(args);
        double const starts[3] = {static_cast<double>(reader->inlStart), static_cast<double>(reader->crlStart),
                                  reader->zStart};
        double const stops[3] = {static_cast<double>(reader->inlStop), static_cast<double>(reader->crlStop),
                                 reader->zStop};
        double const steps[3] = {static_cast<double>(reader->inlStep), static_cast<double>(reader->crlStep),
                                 reader->zStep};
        for (int d = 0; d < 3; ++d) {
            r.kind = static_cast<SliceKind>(d);
            r.position = middle(starts[d], stops[d], steps[d]);
            int width = 0, height = 0;
            cube.slices_[d] = open_layer(r, pool_.get(), width, height, cube.low, cube.high);
            r.range = {cube.low, cube.high}; // worked out once a cube
            cube.slices_[d]->setGraphicsUpdateWindow(wake);
        }
        cube.slices_[0]->get_histogram(cube.histogram);
        cube.wholeRange = cube.slices_[0]->get_original_amplitude_range();
    }

    // One exaggeration for all: the scene as deep as it is wide.
    double box[6];
    bounds(box);
    double const plan = std::max({box[1] - box[0], box[3] - box[2], 1e-9});
    natural_ = plan / std::max(box[5] - box[4], 1e-9);
    set_exaggeration(o.exaggeration > 0 ? o.exaggeration : natural_);

    // Terrains keep their own exaggeration: heights are not times.
    if (o.drapes.size() > o.terrains.size()) fail("--drape", "give at most one a terrain, in order");
    terrains_.resize(o.terrains.size());
    for (std::size_t i = 0; i < o.terrains.size(); ++i) {
        TerrainRequest r;
        r.dem = o.terrains[i];
        r.drape = i < o.drapes.size() ? o.drapes[i] : std::string();
        r.colours = o.terrainColours;
        r.exaggeration = o.terrainExaggeration;
        r.viewSrs = o.viewSrs;
        r.updates = wake;
        terrains_[i].path = r.dem;
        terrains_[i].name = std::filesystem::path(r.dem).filename().string();
        terrains_[i].exaggeration = r.exaggeration;
        terrains_[i].layer = open_terrain(r);
    }

    // The pool sized for the first slices at full resolution, as `tolmar
    // render` sizes it for one.
    if (!pool_) return;
    unsigned needed = 0;
    for (auto& cube : cubes_) {
        auto const grid = cube.slices_[0]->uses_brick_path() ? Tolmar::open_3dgrid_reader(cube.path) : nullptr;
        if (!grid) continue;
        for (auto& s : cube.slices_) {
            s->update_render_config();
            needed += static_cast<unsigned>(
                Tolmar::Seismic3DRenderer::bricks_for_full_resolution(s->get_render_config(), *grid).size());
        }
    }
    if (needed == 0) return;
    double const mib = o.gpuMemoryMiB > 0 ? o.gpuMemoryMiB : default_pool_mib(needed);
    auto sized = std::make_unique<Tolmar::GPUCubeMemoryManager>(static_cast<std::uint64_t>(mib * kMiB));
    for (auto& cube : cubes_)
        for (auto& s : cube.slices_) s->set_brick_pool(sized.get());
    pool_ = std::move(sized);
}

Scene::~Scene()
{
    cubes_.clear(); // the layers leave the pool before it goes
    for (auto& line : lines_) line.layer->shutdown_renderer_and_datasource();
    terrains_.clear();
}

void Scene::bounds(double out[6]) const
{
    double const inf = std::numeric_limits<double>::infinity();
    for (int k = 0; k < 6; ++k) out[k] = k % 2 ? -inf : inf;
    bool const any = std::any_of(cubes_.begin(), cubes_.end(), [](CubeLayer const& c) { return c.visible; }) ||
                     std::any_of(lines_.begin(), lines_.end(), [](LineLayer const& l) { return l.visible; }) ||
                     std::any_of(terrains_.begin(), terrains_.end(), [](TerrainLayer const& t) { return t.visible; });
    for (auto const& cube : cubes_) {
        if (any && !cube.visible) continue;
        double b[6];
        cube.slices_[0]->get_bounds(b);
        union_bounds(out, b);
    }
    for (auto const& line : lines_) {
        if (any && !line.visible) continue;
        double b[6];
        line.layer->getBounds(exaggeration_, b);
        union_bounds(out, b);
    }
    for (auto const& terrain : terrains_) {
        if (any && !terrain.visible) continue;
        double b[6];
        terrain.layer->get_bounds(b);
        union_bounds(out, b);
    }
    if (cubes_.empty() && lines_.empty() && terrains_.empty())
        for (int k = 0; k < 6; ++k) out[k] = 0;
}

void Scene::set_exaggeration(double e)
{
    exaggeration_ = e;
    for (auto& cube : cubes_)
        for (auto& s : cube.slices_) s->set_exaggeration_factor(e);
}

void Scene::axes(V3& along0, V3& along90)
{
    if (!cubes_.empty()) {
        lattice_axes(cubes_.front().slice(0), along0, along90);
        return;
    }
    if (lines_.empty() && !terrains_.empty()) {
        // Maps: azimuth 0 looks north, 90 east, as `tolmar terrain` has it.
        along0 = V3{{0, -1, 0}};
        along90 = V3{{-1, 0, 0}};
        return;
    }
    double first[3] = {0, 0, 0}, last[3] = {1, 0, 0};
    if (!lines_.empty()) {
        lines_.front().layer->get_corner(0, first);
        lines_.front().layer->get_corner(1, last);
    }
    V3 along{{last[0] - first[0], last[1] - first[1], 0}};
    along = along.length() > 0 ? along * (1 / along.length()) : V3{{1, 0, 0}};
    along90 = along;
    along0 = V3{{-along[1], along[0], 0}};
}

void Scene::draw(Camera const& camera, int width, int height)
{
    glEnable(GL_DEPTH_TEST);
    double orientation[16];
    load_camera(camera, width, height, orientation);
    for (auto& terrain : terrains_)
        if (terrain.visible) terrain.layer->draw(orientation, camera.eye);
    for (auto& line : lines_)
        if (line.visible) line.layer->draw(exaggeration_, orientation, camera.eye, line.colours);
    for (auto& cube : cubes_) {
        if (!cube.visible) continue;
        for (int d = 0; d < 3; ++d) {
            if (!cube.shown[d]) continue;
            apply_camera(camera, *cube.slices_[d], width, height);
            cube.slices_[d]->draw();
        }
    }
}

bool Scene::loading() const
{
    return std::any_of(cubes_.begin(), cubes_.end(), [](CubeLayer const& c) { return c.loading(); }) ||
           std::any_of(lines_.begin(), lines_.end(),
                       [](LineLayer const& l) { return l.visible && !l.layer->tiles_complete(); }) ||
           std::any_of(terrains_.begin(), terrains_.end(),
                       [](TerrainLayer const& t) { return t.visible && !t.layer->tiles_complete(); });
}

ScenePick Scene::pick(V3 const& origin, V3 const& direction)
{
    ScenePick best;
    double nearest = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < cubes_.size(); ++i) {
        if (!cubes_[i].visible) continue;
        for (int d = 0; d < 3; ++d) {
            if (!cubes_[i].shown[d]) continue;
            double distance = -1;
            cubes_[i].slices_[d]->get_ray_slice_distance(origin, direction, &distance, nullptr);
            if (distance >= 0 && distance < nearest) {
                nearest = distance;
                best = ScenePick{true, static_cast<int>(i), d, -1, -1, {}};
            }
        }
    }
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        if (!lines_[i].visible) continue;
        double distance = -1;
        lines_[i].layer->get_ray_slice_distance(origin, direction, exaggeration_, &distance, nullptr);
        if (distance >= 0 && distance < nearest) {
            nearest = distance;
            best = ScenePick{true, -1, -1, static_cast<int>(i), -1, {}};
        }
    }
    for (std::size_t i = 0; i < terrains_.size(); ++i) {
        if (!terrains_[i].visible) continue;
        double distance = -1;
        // The ray as far as the scene reaches.
        double box[6];
        bounds(box);
        double const reach = std::hypot(box[1] - box[0], box[3] - box[2], box[5] - box[4]) +
                             std::hypot(origin[0] - box[0], origin[1] - box[2], origin[2] - box[4]);
        if (terrains_[i].layer->intersect(origin, origin + direction * reach, distance) && distance < nearest) {
            nearest = distance;
            best = ScenePick{true, -1, -1, -1, static_cast<int>(i), {}};
            V3 const hit = origin + direction * distance;
            char text[160];
            std::snprintf(text, sizeof text, "%s: x %.2f y %.2f height %.2f", terrains_[i].name.c_str(), hit[0],
                          hit[1], hit[2] / terrains_[i].exaggeration);
            best.text = text;
        }
    }
    if (best.hit && best.line >= 0) {
        double distance = -1;
        std::wstring text;
        lines_[static_cast<std::size_t>(best.line)].layer->get_ray_slice_distance(origin, direction, exaggeration_,
                                                                                &distance, &text);
        best.text = Tolmar::platform::to_utf8(text);
    } else if (best.hit && best.cube >= 0) {
        // Only the nearest reads its amplitude, which may wait for a trace.
        double distance = -1;
        std::wstring text;
        cubes_[best.cube].slices_[best.direction]->get_ray_slice_distance(origin, direction, &distance, &text);
        best.text = Tolmar::platform::to_utf8(text);
    }
    return best;
}

double Scene::pool_mib() const { return pool_ ? static_cast<double>(pool_->pool_bytes()) / kMiB : 0; }

} // namespace tolmar_cli
