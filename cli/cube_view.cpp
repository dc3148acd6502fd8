#include "cli/cube_view.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/cli_support.h"
#include "cli/cube_source.h"
#include "cli/host_module.h"
#include "graphics/GPUCubeMemoryManager.h"
#include "graphics/mat44.h"
#include "platform/text_encoding.h"
#include "segy/Seismic3DTraceReader.h"

namespace tolmar_cli {

namespace {

using Tolmar::vec;
using V3 = vec<double, 3>;
using Table = Tolmar::SeismicCubeRenderer::ColourTable;

constexpr double kPi = 3.14159265358979323846;
constexpr double kFieldOfViewDeg = 30.0;

V3 unit(V3 v)
{
    double const n = v.length();
    return n > 0 ? v * (1 / n) : V3{{1, 0, 0}};
}

V3 cross(V3 const& a, V3 const& b)
{
    return V3{{a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]}};
}

Table ramp(vec<unsigned char, 4> a, vec<unsigned char, 4> mid, vec<unsigned char, 4> b)
{
    Table t(256);
    for (int i = 0; i < 256; ++i) {
        double const f = i / 255.0;
        auto const& from = f < 0.5 ? a : mid;
        auto const& to = f < 0.5 ? mid : b;
        double const g = f < 0.5 ? f * 2 : (f - 0.5) * 2;
        for (int c = 0; c < 4; ++c) t[i][c] = static_cast<unsigned char>(std::lround(from[c] + (to[c] - from[c]) * g));
    }
    return t;
}

// A file of lines "R G B [A]", 0 to 255, the lowest amplitude's first; '#' starts a comment.
Table table_from_file(std::string const& path)
{
    std::ifstream in(path);
    if (!in) fail(path, "no such colour table (give grey, red-white-black, blue-white-red or a file)");
    Table t;
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        line = line.substr(0, line.find('#'));
        std::istringstream words(line);
        std::vector<int> v;
        for (int x; words >> x;) v.push_back(x);
        if (v.empty() && (words.eof() || line.find_first_not_of(" \t\r") == std::string::npos)) continue;
        if (!words.eof() || v.size() < 3 || v.size() > 4 ||
            std::any_of(v.begin(), v.end(), [](int x) { return x < 0 || x > 255; }))
            fail(path, "line " + std::to_string(number) + " is not R G B [A] from 0 to 255");
        t.push_back(vec<unsigned char, 4>{{static_cast<unsigned char>(v[0]), static_cast<unsigned char>(v[1]),
                                           static_cast<unsigned char>(v[2]),
                                           static_cast<unsigned char>(v.size() == 4 ? v[3] : 255)}});
    }
    if (t.size() < 2 || t.size() > 4096) fail(path, "holds " + std::to_string(t.size()) + " colours, not 2 to 4096");
    return t;
}

constexpr double kMiB = 1024.0 * 1024.0;
constexpr double kMostDefaultPoolMiB = 4096;

} // namespace

double pool_mib_for(double bricks)
{
    return std::ceil((bricks + 1) * static_cast<double>(Tolmar::GPUCubeMemoryManager::cell_bytes()) / kMiB);
}

double default_pool_mib(unsigned needed)
{
    return std::min(pool_mib_for(needed + std::max(needed / 4.0, 8.0)), kMostDefaultPoolMiB);
}

std::unique_ptr<Tolmar::GPUCubeMemoryManager> first_pool()
{
    char const* version = reinterpret_cast<char const*>(glGetString(GL_VERSION));
    if (version && std::string(version).rfind("1.1", 0) == 0) return nullptr;
    return std::make_unique<Tolmar::GPUCubeMemoryManager>(static_cast<std::uint64_t>(kMiB));
}

Table colour_table(std::string const& name)
{
    if (name.empty() || name == "red-white-black") return Tolmar::SeismicCubeRenderer::create_default_col_tab_data();
    if (name == "grey") return ramp({{0, 0, 0, 255}}, {{128, 128, 128, 255}}, {{255, 255, 255, 255}});
    if (name == "blue-white-red") return ramp({{0, 0, 255, 255}}, {{255, 255, 255, 255}}, {{255, 0, 0, 255}});
    return table_from_file(name);
}

std::vector<std::string> colour_table_names() { return {"red-white-black", "grey", "blue-white-red"}; }

std::unique_ptr<Tolmar::SeismicCubeRenderer> open_layer(ViewRequest const& r, Tolmar::GPUCubeMemoryManager* pool,
                                                        int& sampleWidth, int& sampleHeight, float& low, float& high)
{
    CubeArgs args;
    args.path = r.cube;
    args.index = r.index;
    auto const cube = open_cube(args);
    std::string const what = describe_slice(r.kind, r.position);
    if (r.kind == SliceKind::Time) {
        if (!(r.position >= cube->zStart && r.position <= cube->zStop))
            fail(r.cube, what + " ms lies outside z " + std::to_string(cube->zStart) + ".." +
                             std::to_string(cube->zStop));
        sampleWidth = cube->ninl();
        sampleHeight = cube->ncrl();
    } else {
        bool const isInline = r.kind == SliceKind::Inline;
        int const start = isInline ? cube->inlStart : cube->crlStart, stop = isInline ? cube->inlStop : cube->crlStop,
                  step = isInline ? cube->inlStep : cube->crlStep;
        if (line_index(r.position, start, stop, step) < 0)
            fail(r.cube, "there is no " + what + " (" + std::to_string(start) + ".." + std::to_string(stop) +
                             " step " + std::to_string(step) + ")");
        sampleWidth = isInline ? cube->ncrl() : cube->ninl();
        sampleHeight = cube->nt();
    }
    if (r.range.size() == 2) {
        low = r.range[0];
        high = r.range[1];
    } else {
        effective_range(args, 1.0f, 1.0f, low, high);
    }

    auto layer = std::make_unique<Tolmar::SeismicCubeRenderer>();
    layer->set_force_tile_path(r.forceTiles);
    layer->set_brick_pool(pool);
    bool const indexed = !r.index.empty();
    if (!layer->init_datasource(indexed, r.cube, r.index, indexed ? std::string() : r.cube))
        fail(r.cube, "cannot be opened for drawing");
    layer->set_cube_name(Tolmar::platform::from_utf8(std::filesystem::path(r.cube).filename().string()));
    layer->set_cube_spatial_ref(spatial_reference_option(r.srs, "--srs"));
    layer->set_target_spatial_ref(spatial_reference_option(r.viewSrs, "--view-srs"));
    int const direction = static_cast<int>(r.kind);
    layer->set_slice_direction(direction);
    vec<int, 3> const dim = layer->get_dim(direction);
    vec<float, 3> sliders{{0.5f, 0.5f, 0.5f}};
    sliders[direction] = dim[1] > dim[0] ? static_cast<float>((r.position - dim[0]) / (dim[1] - dim[0])) : 0.0f;
    layer->set_crossplane_sliders(sliders);
    layer->set_effective_amplituderange(vec<float, 2>{{low, high}});
    layer->set_color_table_data(colour_table(r.colourTable));
    layer->set_display_slice_outline(r.outline);
    double bounds[6];
    layer->set_exaggeration_factor(1);
    layer->get_bounds(bounds);
    double const plan = std::max({bounds[1] - bounds[0], bounds[3] - bounds[2], 1e-9});
    double const depth = std::max(std::fabs(bounds[5] - bounds[4]), 1e-9);
    layer->set_exaggeration_factor(r.exaggeration > 0 ? r.exaggeration : plan / depth);
    return layer;
}

Camera frame_camera(ViewRequest const& r, Tolmar::SeismicCubeRenderer& layer)
{
    Tolmar::CubeSlice& slice = layer.cube_slice();
    slice.updateFrame(layer.get_pos(slice.get_slice_dir()));
    double const e = layer.get_exaggeration_factor();
    vec<double, 4> x{}, y{}, z{};
    slice.get_frame_outline_corners(x, y, z);
    auto corner = [&](int k) { return V3{{x[k], y[k], -z[k] * e}}; };
    Camera c;
    V3 const U{{0, 0, 1}};
    if (r.camera.size() != 2) {
        V3 const centre = (corner(0) + corner(1) + corner(2) + corner(3)) * 0.25;
        if (r.kind == SliceKind::Time) {
            // Looking down, inlines across and crosslines down the picture.
            V3 const along = corner(2) - corner(3), down = corner(0) - corner(3);
            c.forward = V3{{0, 0, -1}};
            c.up = unit(down) * -1.0;
            c.halfWidth = along.length() / 2;
            c.halfHeight = down.length() / 2;
            c.mirrored = true;
        } else {
            // Square on, the slice's first line on the left, shallow times at the top.
            V3 const chord = corner(1) - corner(0);
            V3 const d = unit(V3{{chord[0], chord[1], 0}});
            c.forward = cross(U, d);
            c.up = U;
            c.halfWidth = V3{{chord[0], chord[1], 0}}.length() / 2;
            c.halfHeight = std::fabs(corner(0)[2] - corner(2)[2]) / 2;
        }
        double const reach = 4 * std::max({c.halfWidth, c.halfHeight, 1e-9});
        c.eye = centre - c.forward * reach;
        c.nearPlane = reach / 8;
        c.farPlane = reach * 2;
    } else {
        double bounds[6];
        layer.get_bounds(bounds);
        V3 const centre{{(bounds[0] + bounds[1]) / 2, (bounds[2] + bounds[3]) / 2, (bounds[4] + bounds[5]) / 2}};
        double const radius = 0.5 * V3{{bounds[1] - bounds[0], bounds[3] - bounds[2], bounds[5] - bounds[4]}}.length();
        V3 I{}, C{};
        lattice_axes(layer, I, C);
        return orbit_view(centre, radius, I, C, r.camera[0], r.camera[1], framing_distance(radius));
    }
    c.forward = unit(c.forward);
    c.right = unit(cross(c.forward, c.up));
    c.up = cross(c.right, c.forward);
    return c;
}

double half_fov_tan() { return std::tan(0.5 * kFieldOfViewDeg * kPi / 180); }

double framing_distance(double radius) { return radius / std::sin(0.5 * kFieldOfViewDeg * kPi / 180); }

void lattice_axes(Tolmar::SeismicCubeRenderer& layer, V3& inlineAxis, V3& crosslineAxis)
{
    Tolmar::CubeSlice& slice = layer.cube_slice();
    slice.updateFrame(layer.get_pos(slice.get_slice_dir()));
    auto const& g = slice.points();
    std::size_t const n = static_cast<std::size_t>(slice.inline_points()), m = slice.crossline_points();
    inlineAxis = unit(V3{{g[n - 1][0] - g[0][0], g[n - 1][1] - g[0][1], 0}});
    crosslineAxis = unit(V3{{g[(m - 1) * n][0] - g[0][0], g[(m - 1) * n][1] - g[0][1], 0}});
}

Camera orbit_view(V3 const& centre, double radius, V3 const& along0, V3 const& along90, double azimuthDeg,
                  double elevationDeg, double distance)
{
    V3 const U{{0, 0, 1}};
    double const az = azimuthDeg * kPi / 180, el = elevationDeg * kPi / 180;
    V3 const toEye =
        along90 * (std::sin(az) * std::cos(el)) + along0 * (std::cos(az) * std::cos(el)) + U * std::sin(el);
    Camera c;
    c.eye = centre + toEye * distance;
    c.forward = unit(toEye * -1.0);
    // The eye's direction turned up by a right angle: perpendicular to the
    // view at every elevation, straight overhead included.
    c.up = along90 * (-std::sin(el) * std::sin(az)) + U * std::cos(el) + along0 * (-std::sin(el) * std::cos(az));
    c.perspective = true;
    c.halfFovTan = half_fov_tan();
    c.nearPlane = 0.05 * std::min(radius, distance);
    c.farPlane = distance + 2 * radius;
    c.right = unit(cross(c.forward, c.up));
    c.up = cross(c.right, c.forward);
    return c;
}

void load_camera(Camera const& c, int width, int height, double* orientation)
{
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    if (c.perspective) {
        double const aspect = static_cast<double>(width) / height, top = c.nearPlane * c.halfFovTan;
        glFrustum(-top * aspect, top * aspect, -top, top, c.nearPlane, c.farPlane);
    } else {
        double const w = c.mirrored ? -c.halfWidth : c.halfWidth;
        glOrtho(-w, w, -c.halfHeight, c.halfHeight, c.nearPlane, c.farPlane);
    }
    Tolmar::camera_lookat_orientation_matrix(c.eye, c.eye + c.forward, c.up, orientation);
    glMatrixMode(GL_MODELVIEW);
    glLoadMatrixd(orientation);
    glTranslated(-c.eye[0], -c.eye[1], -c.eye[2]);
}

void apply_camera(Camera const& c, Tolmar::SeismicCubeRenderer& layer, int width, int height)
{
    double orientation[16];
    load_camera(c, width, height, orientation);
    layer.set_camera_transformation(orientation, c.eye);
}

void pixel_ray(Camera const& c, int width, int height, double px, double py, V3& origin, V3& direction)
{
    double const nx = (px + 0.5) / width * 2 - 1, ny = 1 - (py + 0.5) / height * 2;
    if (c.perspective) {
        double const aspect = static_cast<double>(width) / height;
        origin = c.eye;
        direction = unit(c.forward + c.right * (nx * c.halfFovTan * aspect) + c.up * (ny * c.halfFovTan));
    } else {
        origin = c.eye + c.right * (nx * c.halfWidth * (c.mirrored ? -1 : 1)) + c.up * (ny * c.halfHeight);
        direction = c.forward;
    }
}

} // namespace tolmar_cli
