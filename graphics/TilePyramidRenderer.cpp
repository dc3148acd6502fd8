#include "graphics/TilePyramidRenderer.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>

#include "foundation/log.h"
#include "graphics/TileTexturePyramid.h"

namespace Tolmar {

namespace {

using Box3f = box<float, 3>;

vec<float, 3> corner(Box3f const& b, int i)
{
    return {{(i & 1) ? b.upper[0] : b.lower[0], (i & 2) ? b.upper[1] : b.lower[1],
             (i & 4) ? b.upper[2] : b.lower[2]}};
}

float plane_distance(vec<float, 4> const& plane, vec<float, 3> const& p)
{
    return plane[0] * p[0] + plane[1] * p[1] + plane[2] * p[2] + plane[3];
}

// The box's corner that lies furthest against the plane's normal.
vec<float, 3> deepest_corner(vec<float, 4> const& plane, Box3f const& b)
{
    vec<float, 3> p;
    for (int a = 0; a < 3; ++a) p[a] = plane[a] >= 0 ? b.lower[a] : b.upper[a];
    return p;
}

// The box of what is left of the box's twelve edges on the inner side of
// the plane; false when nothing is. Where the plane cuts the box this is
// the box of the cut solid, whose corners all lie on the edges.
bool clip_box(vec<float, 4> const& plane, Box3f& b)
{
    static constexpr int edges[12][2] = {{0, 1}, {2, 3}, {4, 5}, {6, 7}, {0, 2}, {1, 3},
                                         {4, 6}, {5, 7}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};
    bool any = false;
    Box3f out;
    auto take = [&](vec<float, 3> const& p) {
        if (!any) {
            out.lower = out.upper = p;
            any = true;
            return;
        }
        for (int a = 0; a < 3; ++a) {
            out.lower[a] = std::min(out.lower[a], p[a]);
            out.upper[a] = std::max(out.upper[a], p[a]);
        }
    };
    for (auto const& e : edges) {
        vec<float, 3> const p0 = corner(b, e[0]), p1 = corner(b, e[1]);
        float const d0 = plane_distance(plane, p0), d1 = plane_distance(plane, p1);
        if (d0 > 0 && d1 > 0) continue;
        if (d0 <= 0) take(p0);
        if (d1 <= 0) take(p1);
        if ((d0 <= 0) != (d1 <= 0)) {
            float const t = d0 / (d0 - d1);
            take(p0 + (p1 - p0) * t);
        }
    }
    if (any) b = out;
    return any;
}

} // namespace

void LodRaster::clear()
{
    properties.color_table.clear();
    properties.interpolate_colors = true;
    properties.interpolate_drape = true;
    properties.z_scale = 1;
    properties.z_offset = 0;
}

TilePyramidRenderer::TilePyramidRenderer(ReaderOpener readerOpener)
    : opener(readerOpener ? std::move(readerOpener) : ReaderOpener(host::open_raster_reader))
{
}

TilePyramidRenderer::~TilePyramidRenderer()
{
    height_pyramid.reset();
    drape_pyramid.reset();
    if (color_texture != ~0u) glDeleteTextures(1, &color_texture);
    if (mesh_buffers[0]) glDeleteBuffers(2, mesh_buffers);
    if (program) program->release();
}

void TilePyramidRenderer::setRenderArea(box<double, 2> const& area)
{
    local_origin = {{(area.lower[0] + area.upper[0]) * 0.5, (area.lower[1] + area.upper[1]) * 0.5, 0.0}};
    render_area = std::make_shared<box<double, 2>>(area.lower - local_origin.xy(), area.upper - local_origin.xy());
}

void TilePyramidRenderer::set_color_ramp(std::vector<vec<unsigned char, 4>> const& table, bool interpolate)
{
    color_table = table;
    interpolate_colors = interpolate;
    color_table_dirty = true;
}

void TilePyramidRenderer::set_z_range(double zmin, double zmax)
{
    z_min = map_min = zmin;
    z_max = map_max = zmax;
}

void TilePyramidRenderer::create_col_tab_data()
{
    color_table.assign(256, vec<unsigned char, 4>{});
    for (int i = 0; i < 256; ++i) {
        if (i < 128) {
            auto const c = static_cast<unsigned char>(i * 0.0078125 * 255);
            color_table[static_cast<std::size_t>(i)] = {{255, c, c, 255}};
        } else {
            auto const c = static_cast<unsigned char>((1 - (i - 128) * 0.0078125) * 255);
            color_table[static_cast<std::size_t>(i)] = {{c, c, 255, 255}};
        }
    }
    interpolate_colors = true;
    color_table_dirty = true;
}

bool TilePyramidRenderer::setData(LodRaster const& data)
{
    Util::logf("RasterRenderer::setData()\n");
    flat_z = 0;
    std::shared_ptr<host::StreamerRasterReader> heights, drape;
    if (data.height_source) heights = opener(*data.height_source);
    height_pyramid.reset();
    drape_pyramid.reset();
    if (!data.drape_source) {
        if (!heights) return false;
        setRenderArea(heights->get_extent());
    } else {
        drape = opener(*data.drape_source);
        if (!drape) return false;
        setRenderArea(drape->get_extent());
        drape_pyramid = std::make_shared<TileTexturePyramid>(*this, TileTexturePyramid::Drape, drape);
    }
    if (!drape || drape->isSingleBand()) {
        color_table = data.properties.color_table;
        interpolate_colors = data.properties.interpolate_colors;
        interpolate_drape = data.properties.interpolate_drape;
        if (color_table.empty()) {
            Util::logf("empty colormap creating default red-white-black)\n");
            create_col_tab_data();
        }
        color_table_dirty = true;
    }
    z_scale = data.properties.z_scale;
    z_offset = data.properties.z_offset;
    if (heights) {
        height_pyramid = std::make_shared<TileTexturePyramid>(*this, TileTexturePyramid::Height, heights);
        z_min = map_min = height_pyramid->z_min();
        z_max = map_max = height_pyramid->z_max();
    } else {
        // A plane at z_offset: raw height 0, which transformZ lifts there
        // as the shader does.
        flat_z = z_offset;
        z_min = z_max = 0;
    }
    if (drape && drape->isSingleBand()) {
        map_min = drape_pyramid->z_min();
        map_max = drape_pyramid->z_max();
    }
    Util::logf("RasterRenderer::setData() done\n");
    return true;
}

void TilePyramidRenderer::update_camera_frustum_variables()
{
    float modelview[16], projection[16];
    glGetFloatv(GL_MODELVIEW_MATRIX, modelview);
    glGetFloatv(GL_PROJECTION_MATRIX, projection);
    GLint viewport[4];
    glGetIntegerv(GL_VIEWPORT, viewport);
    set_camera(modelview, projection, {{viewport[2], viewport[3]}});
}

void TilePyramidRenderer::set_camera(float const* modelview, float const* projection, vec<int, 2> const& viewport)
{
    extract_frustum_planes(frustum, modelview, projection);
    camera_position = frustum.getCameraPos();
    near_plane_height = (frustum.getNearRightTop() - frustum.getNearRightBottom()).length();
    vec<float, 4> const& n = frustum[FrustumPlanes::Near];
    near_distance = std::abs(n[0] * camera_position[0] + n[1] * camera_position[1] + n[2] * camera_position[2] + n[3]);
    viewport_size = viewport;
}

float TilePyramidRenderer::computeScreenSpaceError(double distance, double world_error) const
{
    double const D = near_distance, H = near_plane_height, V = viewport_size[1];
    return static_cast<float>((D * world_error / (D + distance)) * V / H);
}

float TilePyramidRenderer::computeWorldSpaceError(double distance, double screen_error) const
{
    double const D = near_distance, H = near_plane_height, V = viewport_size[1];
    return static_cast<float>(H * screen_error / V / D * (D + distance));
}

box<double, 2> TilePyramidRenderer::tile_extent(QuadTreeCoord const& tile) const
{
    box<double, 2> const& area = *render_area;
    double const n = std::ldexp(1.0, tile.level);
    double const w = (area.upper[0] - area.lower[0]) / n, h = (area.upper[1] - area.lower[1]) / n;
    return {{{area.lower[0] + tile.col * w, area.lower[1] + tile.row * h}},
            {{area.lower[0] + (tile.col + 1) * w, area.lower[1] + (tile.row + 1) * h}}};
}

namespace {

box<double, 3> with_heights(box<double, 2> const& b, vec<double, 3> const& origin, double zmin, double zmax)
{
    return {{{b.lower[0] + origin[0], b.lower[1] + origin[1], zmin}},
            {{b.upper[0] + origin[0], b.upper[1] + origin[1], zmax}}};
}

} // namespace

bool TilePyramidRenderer::clip_to_frustum(box<double, 3> const& world_box, box<float, 3>& clipped) const
{
    double const za = transformZ(world_box.lower[2]), zb = transformZ(world_box.upper[2]);
    clipped.lower = {{static_cast<float>(world_box.lower[0] - local_origin[0]),
                      static_cast<float>(world_box.lower[1] - local_origin[1]), static_cast<float>(std::min(za, zb))}};
    clipped.upper = {{static_cast<float>(world_box.upper[0] - local_origin[0]),
                      static_cast<float>(world_box.upper[1] - local_origin[1]), static_cast<float>(std::max(za, zb))}};
    for (auto const& plane : frustum.planes)
        if (!clip_box(plane, clipped)) return false;
    return true;
}

float TilePyramidRenderer::depth_behind_near(box<float, 3> const& clipped) const
{
    vec<float, 4> const& n = frustum[FrustumPlanes::Near];
    return -plane_distance(n, deepest_corner(n, clipped));
}

bool TilePyramidRenderer::should_split(QuadTreeCoord const& tile) const
{
    box<double, 2> const e = tile_extent(tile);
    double const cell = (e.upper[0] - e.lower[0]) / 129.0;
    return should_split(with_heights(e, local_origin, z_min, z_max), cell * 0.25);
}

bool TilePyramidRenderer::should_split(box<double, 3> const& world_box, double world_error) const
{
    box<float, 3> clipped;
    if (!clip_to_frustum(world_box, clipped)) return false;
    double const d = depth_behind_near(clipped);
    return computeScreenSpaceError(d, world_error) > 1.0f;
}

bool TilePyramidRenderer::outside_frustum(QuadTreeCoord const& tile) const
{
    return outside_frustum(with_heights(tile_extent(tile), local_origin, z_min, z_max));
}

bool TilePyramidRenderer::outside_frustum(box<double, 3> const& world_box) const
{
    double const za = transformZ(world_box.lower[2]), zb = transformZ(world_box.upper[2]);
    box<float, 3> const b{{{static_cast<float>(world_box.lower[0] - local_origin[0]),
                            static_cast<float>(world_box.lower[1] - local_origin[1]),
                            static_cast<float>(std::min(za, zb))}},
                          {{static_cast<float>(world_box.upper[0] - local_origin[0]),
                            static_cast<float>(world_box.upper[1] - local_origin[1]),
                            static_cast<float>(std::max(za, zb))}}};
    for (auto const& plane : frustum.planes)
        if (plane_distance(plane, deepest_corner(plane, b)) > 0) return true;
    return false;
}

void TilePyramidRenderer::update_current_tiles()
{
    current_tiles.clear();
    if (!render_area) return;
    std::set<QuadTreeCoord> frontier, next, forced, to_split;
    QuadTreeCoord const root{0, 0, 0};
    frontier.insert(root);
    current_tiles.insert(root);
    while (current_tiles.size() < kMaxMeshTiles) {
        next.clear();
        for (QuadTreeCoord const& t : frontier) {
            if (!should_split(t)) continue;
            for (int d = 0; d < 4; ++d) {
                QuadTreeCoord const n = t.neighbour(d);
                if (n.valid() && !frontier.count(n) && !forced.count(n) && !outside_frustum(n)) {
                    addTile(n);
                    forced.insert(n);
                }
            }
            to_split.insert(t);
        }
        if (to_split.empty()) break;
        for (QuadTreeCoord const& t : to_split) {
            current_tiles.erase(t);
            for (int c = 0; c < 4; ++c) {
                QuadTreeCoord const child = t.child(c);
                if (outside_frustum(child)) continue;
                current_tiles.insert(child);
                next.insert(child);
            }
        }
        to_split.clear();
        std::swap(frontier, next);
    }
}

void TilePyramidRenderer::addTile(QuadTreeCoord const& q)
{
    if (current_tiles.count(q)) return;
    for (int c = 0; c < 4; ++c) {
        QuadTreeCoord const child = q.child(c);
        if (current_tiles.count(child) && !outside_frustum(child)) return;
    }
    QuadTreeCoord const p = q.parent();
    if (!p.valid()) return;
    addTile(p);
    for (int d = 0; d < 4; ++d) {
        QuadTreeCoord const n = p.neighbour(d);
        if (n.valid() && !outside_frustum(n)) addTile(n);
    }
    current_tiles.erase(p);
    for (int c = 0; c < 4; ++c) {
        QuadTreeCoord const child = p.child(c);
        if (!outside_frustum(child)) current_tiles.insert(child);
    }
}

void TilePyramidRenderer::updateWorldTiles()
{
    world_tiles.clear();
    for (QuadTreeCoord const& t : current_tiles) {
        box<double, 2> const e = tile_extent(t);
        box<float, 3> clipped;
        if (!clip_to_frustum(with_heights(e, local_origin, z_min, z_max), clipped)) continue;
        WorldTile w;
        w.extent = {e.lower + local_origin.xy(), e.upper + local_origin.xy()};
        w.pixel_size = computeWorldSpaceError(depth_behind_near(clipped), 1);
        world_tiles.push_back(w);
    }
}

void TilePyramidRenderer::get_bounds(double* out) const
{
    box<double, 2> const& area = *render_area;
    out[0] = area.lower[0] + local_origin[0];
    out[1] = area.upper[0] + local_origin[0];
    out[2] = area.lower[1] + local_origin[1];
    out[3] = area.upper[1] + local_origin[1];
    out[4] = transformZ(z_min);
    out[5] = transformZ(z_max);
}

bool TilePyramidRenderer::tiles_complete() const
{
    for (auto const* p : {height_pyramid.get(), drape_pyramid.get()})
        if (p && !p->to_request().empty()) return false;
    return true;
}

bool TilePyramidRenderer::is_loading_data() const
{
    for (auto const* p : {height_pyramid.get(), drape_pyramid.get()})
        if (p && p->reader().is_loading_data()) return true;
    return false;
}

int TilePyramidRenderer::uploads_last_frame() const
{
    int n = 0;
    for (auto const* p : {height_pyramid.get(), drape_pyramid.get()})
        if (p) n += p->uploads_last_frame();
    return n;
}

} // namespace Tolmar
