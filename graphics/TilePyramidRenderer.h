#pragma once
// A terrain: a height raster, a drape raster or both, streamed as tile
// pyramids and drawn over a rectangular render area at a level of detail
// that follows the camera.
//
// Two quadtrees are at work. The mesh quadtree (QuadTreeCoord) covers the
// render area and is chosen afresh every frame from the tiles' size on the
// screen alone, at most about 400 tiles, each drawn with one shared 129 x 129
// vertex grid. The rasters' pyramids (TileTexturePyramid over a
// StreamerRasterReader) bring in the data; the vertex shader looks each
// vertex's height up in whatever raster tiles are resident, so the mesh may
// refine before the data arrive and a region always shows the finest data
// that has come.
//
// All work is on the GL thread. Map coordinates are large, so everything
// against the camera runs in single precision relative to localOrigo(): the
// modelview matrix in GL must be relative to it (draw() sees to that).

#include "platform/api.h"

#include <functional>
#include <memory>
#include <set>
#include <vector>

#include "foundation/box.h"
#include "foundation/vec.h"
#include "graphics/FrustumPlanes.h"
#include "graphics/GLSLProgram.h"
#include "graphics/QuadTreeCoord.h"
#include "host/RasterRenderProperties.h"
#include "host/RasterSourceConnectionInfo.h"
#include "host/StreamerRasterReader.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class TileTexturePyramid;

// What a terrain layer draws.
struct LodRaster {
    std::shared_ptr<host::RasterSourceConnectionInfo> height_source; // may be empty
    std::shared_ptr<host::RasterSourceConnectionInfo> drape_source;  // may be empty
    // Used: the colour table, interpolate_colors, interpolate_drape, z_scale, z_offset.
    host::RasterRenderProperties properties;
    // Empties the colour table and resets the flags and the z transform;
    // the sources stay.
    void clear();
};

// A mesh tile as the layer reports it: its extent in map coordinates and
// the map size of one screen pixel at its depth.
struct WorldTile {
    box<double, 2> extent;
    float pixel_size = 0;
};

class TilePyramidRenderer {
public:
    using ReaderOpener =
        std::function<std::shared_ptr<host::StreamerRasterReader>(host::RasterSourceConnectionInfo const&)>;
    static constexpr std::size_t kMaxMeshTiles = 400;

    // Readers come from `opener`; empty: host::open_raster_reader, on the
    // process's streaming thread.
    explicit TilePyramidRenderer(ReaderOpener opener = {});
    // Deletes its GL objects: the context it drew in must be current.
    ~TilePyramidRenderer();
    TilePyramidRenderer(TilePyramidRenderer const&) = delete;
    TilePyramidRenderer& operator=(TilePyramidRenderer const&) = delete;

    // Opens the readers. The drape, when there is one, sets the render
    // area, else the height raster. False when neither opens, or when a
    // drape is named and does not open; a height raster that does not open
    // leaves the terrain flat.
    bool setData(LodRaster const& data);
    void setRenderArea(box<double, 2> const& area);
    void set_vertical_exaggeration(double e) { vertical_exaggeration = e; }
    void set_color_ramp(std::vector<vec<unsigned char, 4>> const& table, bool interpolate);
    // The height range of the boxes when there is no height raster to give it.
    void set_z_range(double zmin, double zmax);
    // The values at the colour table's ends, in place of the colouring
    // raster's range.
    void set_map_range(double low, double high)
    {
        map_min = low;
        map_max = high;
    }

    // One frame, with the host's camera: orientation (column-major, as
    // glLoadMatrixd takes it) and the eye in map coordinates. Loads the
    // modelview relative to localOrigo(), chooses the tiles and draws them.
    void draw(double const* orientation, vec<double, 3> const& eye);

    // The steps of a frame, for a caller that loads its own matrices.
    // Reads the GL matrices and the viewport.
    void update_camera_frustum_variables();
    // The same from given matrices (column-major, modelview relative to
    // localOrigo()) and a viewport in pixels; needs no GL.
    void set_camera(float const* modelview, float const* projection, vec<int, 2> const& viewport);
    void update_current_tiles();
    void renderTiles();
    void updateWorldTiles();

    // Pixels on the screen of `world_error` at `distance` behind the near
    // plane, and back.
    float computeScreenSpaceError(double distance, double world_error) const;
    float computeWorldSpaceError(double distance, double screen_error) const;
    bool should_split(QuadTreeCoord const& tile) const;
    bool should_split(box<double, 3> const& world_box, double world_error) const;
    bool outside_frustum(QuadTreeCoord const& tile) const;
    bool outside_frustum(box<double, 3> const& world_box) const;
    // Makes sure `tile` is a leaf of current_tiles or already split,
    // splitting its ancestors and their neighbours as needed.
    void addTile(QuadTreeCoord const& tile);

    // xmin, xmax, ymin, ymax, zmin, zmax in map coordinates, heights
    // transformed.
    void get_bounds(double* out) const;
    double transformZ(double z) const { return (z * z_scale + z_offset) * vertical_exaggeration; }
    double const* localOrigo() const { return local_origin.v; }
    box<double, 2> tile_extent(QuadTreeCoord const& tile) const; // relative to localOrigo()

    // Where the ray from `start` to `end` (map coordinates, heights
    // transformed) first meets the terrain, as a distance from `start`.
    // May wait for a tile to come back into a reader's cache.
    bool intersect(vec<double, 3> const& start, vec<double, 3> const& end, double& distance) const;

    std::set<QuadTreeCoord> const& get_current_tiles() const { return current_tiles; }
    std::vector<WorldTile> const& get_world_tiles() const { return world_tiles; }
    // Every tile the last frame wanted was resident when it drew.
    bool tiles_complete() const;
    bool is_loading_data() const;
    // Raster tiles copied into textures by the last frame, all pyramids.
    int uploads_last_frame() const;
    TileTexturePyramid const* height() const { return height_pyramid.get(); }
    TileTexturePyramid const* drape() const { return drape_pyramid.get(); }

    // The shared mesh data, made once for all renderers: the centre grid
    // and the four seam strips, (u, v, 0) vertices and triangle indices.
    static void build_tile_geometry();

private:
    friend class TileTexturePyramid;
    void create_col_tab_data();
    bool clip_to_frustum(box<double, 3> const& world_box, box<float, 3>& clipped) const;
    float depth_behind_near(box<float, 3> const& clipped) const;
    void upload_colour_table();
    void build_program();
    void draw_mesh_tile(QuadTreeCoord const& tile);
    bool intersect_flat(vec<double, 3> const& start, vec<double, 3> const& end, double& distance) const;

    ReaderOpener opener;
    bool interpolate_colors = true;
    bool interpolate_drape = true;
    std::vector<vec<unsigned char, 4>> color_table;
    unsigned color_texture = ~0u;
    bool color_table_dirty = false;
    std::shared_ptr<box<double, 2>> render_area;
    std::set<QuadTreeCoord> current_tiles;
    std::vector<WorldTile> world_tiles;
    std::shared_ptr<GLSLProgram> program;
    vec<double, 3> local_origin{};
    double z_scale = 1, z_offset = 0, vertical_exaggeration = 1;
    double z_min = 0, z_max = 0;
    double map_min = 0, map_max = 1;
    double flat_z = 0;
    FrustumPlanes frustum{};
    vec<int, 2> viewport_size{{1, 1}};
    double near_plane_height = 1;
    double near_distance = 1;
    vec<float, 3> camera_position{};
    std::shared_ptr<TileTexturePyramid> height_pyramid;
    std::shared_ptr<TileTexturePyramid> drape_pyramid;
    unsigned mesh_buffers[2] = {0, 0}; // the shared mesh's vertices and indices
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
