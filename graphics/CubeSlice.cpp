#include "graphics/CubeSlice.h"

#include <algorithm>
#include <cmath>

#include "foundation/Ma.h"
#include "foundation/log.h"
#include "host/spatial_transform.h"

namespace Tolmar {

namespace {

using V2 = vec<double, 2>;
using V3 = vec<double, 3>;

// A tenth of a thousandth of an edge: finer than a pixel on any screen.
constexpr double kSubdivisionTolerance = 0.0001;

V2 lerp(V2 const& a, V2 const& b, double t) { return a + (b - a) * t; }

// (n - 1) * position, split into the cell k (0 to n - 2) and the fraction in it.
void cell_of(double position, int n, int& k, double& t)
{
    double const s = (n - 1) * position;
    k = std::clamp(static_cast<int>(std::floor(s)), 0, std::max(n - 2, 0));
    t = std::clamp(s - k, 0.0, 1.0);
}

// Two rows of vertices, one at each end of z, for n points along a line.
void strip_triangles(int pairs, std::vector<int>& triangles)
{
    triangles.clear();
    for (int c = 2; c < 2 * pairs; c += 2) {
        triangles.insert(triangles.end(), {c - 2, c - 1, c});
        triangles.insert(triangles.end(), {c + 1, c, c - 1});
    }
}

} // namespace

long CubeSlice::init(vec<int, 3> const& inlineRange, vec<int, 3> const& crosslineRange, vec<int, 3> const& timeRange,
                     vec<double, 3> const& transformX, vec<double, 3> const& transformY,
                     host::SpatialReferencePtr cube, host::SpatialReferencePtr target)
{
    inline_range = inlineRange;
    crossline_range = crosslineRange;
    time_range = timeRange;
    transform_x = transformX;
    transform_y = transformY;
    cube_spatial_ref = cube ? std::move(cube) : host::unknown_spatial_reference();
    target_spatial_ref = target ? std::move(target) : host::unknown_spatial_reference();
    if (host::same_spatial_reference(cube_spatial_ref, target_spatial_ref)) Util::logc("same coordinate system");

    int const i0 = inline_range[0], i1 = inline_range[1], c0 = crossline_range[0], c1 = crossline_range[1];
    grid_points.clear();
    grid_params.clear();
    grid_triangles.clear();
    grid_outline.clear();
    n_inline_points = 3;
    n_crossline_points = 3;
    if (long const status = spatial_transform_calculate_subdivisions(cube_spatial_ref, target_spatial_ref,
                                                                     kSubdivisionTolerance, cube_coord(i0, c0),
                                                                     cube_coord(i1, c0), n_inline_points);
        status < 0)
        return status;
    if (long const status = spatial_transform_calculate_subdivisions(cube_spatial_ref, target_spatial_ref,
                                                                     kSubdivisionTolerance, cube_coord(i0, c0),
                                                                     cube_coord(i0, c1), n_crossline_points);
        status < 0)
        return status;

    int const n = n_inline_points, m = n_crossline_points;
    grid_points.reserve(static_cast<std::size_t>(n) * m);
    grid_params.reserve(static_cast<std::size_t>(n) * m);
    for (int j = 0; j < m; ++j) {
        double const v = static_cast<double>(j) / (m - 1);
        for (int i = 0; i < n; ++i) {
            double const u = static_cast<double>(i) / (n - 1);
            grid_points.push_back(cube_coord(i0 + u * (i1 - i0), c0 + v * (c1 - c0)));
            grid_params.push_back(V2{{u, v}});
        }
    }
    if (long const status = spatial_transform(cube_spatial_ref, target_spatial_ref, grid_points); status < 0) {
        grid_points.clear();
        grid_params.clear();
        return status;
    }

    for (int j = 0; j + 1 < m; ++j)
        for (int i = 0; i + 1 < n; ++i) {
            int const a = j * n + i, b = a + 1, c = a + n, d = c + 1;
            grid_triangles.insert(grid_triangles.end(), {a, b, c, d, c, b});
        }

    for (int i = 0; i < n; ++i) grid_outline.push_back(i);
    for (int j = 1; j < m; ++j) grid_outline.push_back(j * n + n - 1);
    for (int i = n - 2; i >= 0; --i) grid_outline.push_back((m - 1) * n + i);
    for (int j = m - 2; j >= 1; --j) grid_outline.push_back(j * n);

    auto axis = [this](int dir, V2 a, V2 b) {
        spatial_transform(cube_spatial_ref, target_spatial_ref, a);
        spatial_transform(cube_spatial_ref, target_spatial_ref, b);
        V2 const d = b - a;
        double const length = std::hypot(d[0], d[1]);
        length_in_dir[dir] = length;
        normal[dir] = length > 0 ? V3{{d[0] / length, d[1] / length, 0}} : V3{{0, 0, 0}};
    };
    switch (sliceDir_) {
    case 0: {
        int const mid = (c0 + c1) / 2;
        axis(0, cube_coord(i0, mid), cube_coord(i1, mid));
        break;
    }
    case 1: {
        int const mid = (i0 + i1) / 2;
        axis(1, cube_coord(mid, c0), cube_coord(mid, c1));
        break;
    }
    case 2:
        length_in_dir[2] = time_range[1] - time_range[0];
        normal[2] = V3{{0, 0, -1}};
        break;
    default: break;
    }
    return 0;
}

V2 CubeSlice::cube_coord(double inl, double crl) const
{
    return V2{{transform_x[0] * inl + transform_x[1] * crl + transform_x[2],
               transform_y[0] * inl + transform_y[1] * crl + transform_y[2]}};
}

V2 CubeSlice::lattice_of(double x, double y) const
{
    double const a = transform_x[0], b = transform_x[1], c = transform_x[2];
    double const d = transform_y[0], e = transform_y[1], f = transform_y[2];
    double const det = a * e - d * b;
    return V2{{((x - c) * e - (y - f) * b) / det, ((y - f) * a - (x - c) * d) / det}};
}

int CubeSlice::inlineCube(double x, double y) const
{
    int const first = inline_range[0], last = inline_range[1];
    double const span = last - first;
    double const fraction = span != 0 ? (lattice_of(x, y)[0] - first) / span : 0;
    return Ma::fromDoubleToInt(fraction, first, last, inline_range[2]);
}

int CubeSlice::crosslineCube(double x, double y) const
{
    int const first = crossline_range[0], last = crossline_range[1];
    double const span = last - first;
    double const fraction = span != 0 ? (lattice_of(x, y)[1] - first) / span : 0;
    return Ma::fromDoubleToInt(fraction, first, last, crossline_range[2]);
}

void CubeSlice::line_points(bool acrossInlines, double position, std::vector<V2>& points,
                            std::vector<double>& params) const
{
    points.clear();
    params.clear();
    if (grid_points.empty()) return;
    // Across the inlines: a point per row, between columns k and k + 1;
    // across the crosslines: a point per column, between rows k and k + 1.
    int const n = n_inline_points;
    int const cells = acrossInlines ? n : n_crossline_points, count = acrossInlines ? n_crossline_points : n;
    int const along = acrossInlines ? n : 1, across = acrossInlines ? 1 : n;
    int k = 0;
    double t = 0;
    cell_of(position, cells, k, t);
    for (int j = 0; j < count; ++j) {
        int const at = j * along + k * across;
        points.push_back(lerp(grid_points[at], grid_points[at + across], t));
        params.push_back(static_cast<double>(j) / (count - 1));
    }
}

void CubeSlice::current_line(std::vector<V2>& points, std::vector<double>& params) const
{
    line_points(sliceDir_ == 0, position_, points, params);
}

double CubeSlice::current_z() const { return (time_range[1] - time_range[0]) * position_ + time_range[0]; }

void CubeSlice::get_frame_mesh(std::vector<V3>& vertices, std::vector<V3>& cubeCoords,
                               std::vector<int>& triangles) const
{
    if (grid_points.empty()) return;
    vertices.clear();
    cubeCoords.clear();
    double const t0 = time_range[0], t1 = time_range[1], p = position_;
    if (sliceDir_ == 0 || sliceDir_ == 1) {
        std::vector<V2> line;
        std::vector<double> params;
        current_line(line, params);
        for (std::size_t i = 0; i < line.size(); ++i) {
            vertices.push_back(V3{{line[i][0], line[i][1], t0}});
            vertices.push_back(V3{{line[i][0], line[i][1], t1}});
            // (sample, crossline, inline): an inline runs along crosslines.
            if (sliceDir_ == 0) {
                cubeCoords.push_back(V3{{0, params[i], p}});
                cubeCoords.push_back(V3{{1, params[i], p}});
            } else {
                cubeCoords.push_back(V3{{0, p, params[i]}});
                cubeCoords.push_back(V3{{1, p, params[i]}});
            }
        }
        strip_triangles(static_cast<int>(line.size()), triangles);
        return;
    }
    double const z = current_z();
    for (std::size_t i = 0; i < grid_points.size(); ++i) {
        vertices.push_back(V3{{grid_points[i][0], grid_points[i][1], z}});
        cubeCoords.push_back(V3{{p, grid_params[i][1], grid_params[i][0]}});
    }
    triangles = grid_triangles;
}

void CubeSlice::get_outline(bool& vertical, std::vector<V2>& planLine, vec<double, 2>& zRange,
                            std::vector<V3>& ring) const
{
    vertical = sliceDir_ == 0 || sliceDir_ == 1;
    if (vertical) {
        std::vector<double> params;
        current_line(planLine, params);
        zRange = vec<double, 2>{{static_cast<double>(time_range[0]), static_cast<double>(time_range[1])}};
        return;
    }
    ring.clear();
    double const z = current_z();
    for (int index : grid_outline) ring.push_back(V3{{grid_points[index][0], grid_points[index][1], z}});
}

void CubeSlice::get_frame_outline_corners(vec<double, 4>& x, vec<double, 4>& y, vec<double, 4>& z) const
{
    if (grid_points.empty()) return;
    if (sliceDir_ == 2) {
        int const n = n_inline_points, lastRow = (n_crossline_points - 1) * n;
        int const corner[4] = {lastRow, lastRow + n - 1, n - 1, 0};
        double const at = current_z();
        for (int c = 0; c < 4; ++c) {
            x[c] = grid_points[corner[c]][0];
            y[c] = grid_points[corner[c]][1];
            z[c] = at;
        }
        return;
    }
    std::vector<V2> line;
    std::vector<double> params;
    current_line(line, params);
    V2 const first = line.front(), last = line.back();
    x.set(first[0], last[0], last[0], first[0]);
    y.set(first[1], last[1], last[1], first[1]);
    z.set(time_range[1], time_range[1], time_range[0], time_range[0]);
}

void CubeSlice::get_centroid(V3& centroid) const
{
    vec<double, 4> x{}, y{}, z{};
    get_frame_outline_corners(x, y, z);
    centroid.set((x[0] + x[1] + x[2] + x[3]) / 4, (y[0] + y[1] + y[2] + y[3]) / 4, (z[0] + z[1] + z[2] + z[3]) / 4);
}

double CubeSlice::get_width() const
{
    vec<double, 4> x{}, y{}, z{};
    get_frame_outline_corners(x, y, z);
    return std::hypot(x[1] - x[0], y[1] - y[0]);
}

double CubeSlice::get_height() const
{
    vec<double, 4> x{}, y{}, z{};
    get_frame_outline_corners(x, y, z);
    return std::fabs(z[0] - z[2]);
}

double CubeSlice::get_dist_per_step() const
{
    auto per_step = [](vec<int, 3> const& range, double length) {
        double const steps = static_cast<double>(range[1] - range[0]) / range[2];
        return steps > 0 ? length / steps : length;
    };
    switch (sliceDir_) {
    case 0: return per_step(inline_range, length_in_dir[0]);
    case 1: return per_step(crossline_range, length_in_dir[1]);
    case 2: return time_range[2];
    default: return 1.0;
    }
}

double CubeSlice::get_length_in_slice_dir() const
{
    return sliceDir_ >= 0 && sliceDir_ <= 2 ? length_in_dir[sliceDir_] : 1.0;
}

void CubeSlice::get_normal(V3& out) const
{
    if (sliceDir_ >= 0 && sliceDir_ <= 2) out = normal[sliceDir_];
}

bool CubeSlice::ray_intersect(V3 const& origin, V3 const& direction, V3 const& planeNormal, double verticalScale,
                              double& distance, int& inl, int& crl, V3& hit) const
{
    vec<double, 4> x{}, y{}, z{};
    get_frame_outline_corners(x, y, z);
    double const den = direction[0] * planeNormal[0] + direction[1] * planeNormal[1] + direction[2] * planeNormal[2];
    if (std::fabs(den) < 1e-6) return false;
    // View z runs the opposite way to time, and is exaggerated.
    double const t = std::fabs(((origin[0] - x[0]) * planeNormal[0] + (origin[1] - y[0]) * planeNormal[1] +
                                (origin[2] + z[0] * verticalScale) * planeNormal[2]) /
                               den);
    distance = t;
    V3 const at = origin + direction * t;
    double const time = -at[2] / verticalScale;
    V2 map{{at[0], at[1]}};
    if (spatial_transform(target_spatial_ref, cube_spatial_ref, map) < 0) return false;
    V2 const lattice = lattice_of(map[0], map[1]);
    auto inside = [](double value, double a, double b) {
        // A hit on the edge of the lattice may miss it by rounding.
        double const slack = 1e-9 * std::max(1.0, std::fabs(b - a));
        return value >= std::min(a, b) - slack && value <= std::max(a, b) + slack;
    };
    if (!inside(lattice[0], inline_range[0], inline_range[1]) ||
        !inside(lattice[1], crossline_range[0], crossline_range[1]) ||
        !inside(time, time_range[0], time_range[1]))
        return false;
    inl = inlineCube(map[0], map[1]);
    crl = crosslineCube(map[0], map[1]);
    hit = V3{{map[0], map[1], at[2]}};
    return true;
}

bool CubeSlice::save(host::IVariantStream* stream) const
{
    writeVariantStream(stream, host::Variant{std::int32_t{sliceDir_}}, "int sliceDir_");
    return true;
}

bool CubeSlice::load(host::IVariantStream* stream)
{
    host::Variant value{std::int32_t{0}};
    if (readVariantStream(stream, value, "int sliceDir_")) sliceDir_ = std::get<std::int32_t>(value);
    return true;
}

} // namespace Tolmar
