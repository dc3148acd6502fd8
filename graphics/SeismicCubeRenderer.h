#pragma once
// What a cube layer holds: it opens a brick file or an indexed SEG-Y file,
// draws the current slice of the cube with its outline, on the brick path
// (the volume renderer over the GPU brick pool) or on the tile path (the
// tile renderer; for an indexed SEG-Y file, or a GL 1.1 context), answers
// picks and makes images of slices.
//
// Use: init_datasource, setGraphicsUpdateWindow, the spatial references,
// then set_camera_transformation and draw each frame, with slider and colour
// changes between; shutdown_datasource (or the destructor) ends it. All on
// the drawing thread with the GL context current.

#include "platform/api.h"

#include <memory>
#include <string>
#include <vector>

#include "foundation/vec.h"
#include "graphics/CubeSlice.h"
#include "graphics/Seismic3DRenderer.h"
#include "host/ISpatialReference.h"
#include "platform/update_sink.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class GPUCubeMemoryManager;
class Streamer3DGridReader;
class StreamerIndexedSEGY3DReader;
class TileRenderer;
class TileDataSourceSeismic3DInterface;

class SeismicCubeRenderer {
public:
    using ColourTable = std::vector<vec<unsigned char, 4>>;

    SeismicCubeRenderer();
    ~SeismicCubeRenderer();
    SeismicCubeRenderer(SeismicCubeRenderer const&) = delete;
    SeismicCubeRenderer& operator=(SeismicCubeRenderer const&) = delete;

    // Opens the brick file, or the SEG-Y file with its index when `indexed`.
    // False when the reader cannot be had; once called, later calls change
    // nothing until shutdown_datasource and answer whether a reader is open.
    bool init_datasource(bool indexed, std::string const& segy, std::string const& index,
                         std::string const& brick_file);
    void shutdown_datasource();
    // Readers post here when data arrive, so that the program redraws.
    void setGraphicsUpdateWindow(platform::UpdateHandle handle);

    // The host's camera, column-major, and its position in map coordinates:
    // the view matrix is assembled in double, relative to the slice.
    void set_camera_transformation(double const* matrix, vec<double, 3> const& position);
    void draw();

    void set_color_table_data(ColourTable table);
    ColourTable const& get_color_table_data() const { return color_table_data; }
    // 256 entries from red through white to black.
    static ColourTable create_default_col_tab_data();

    void set_cube_spatial_ref(host::SpatialReferencePtr ref);
    void set_target_spatial_ref(host::SpatialReferencePtr ref);
    void set_showbricks(bool show) { render_config.show_bricks = show; }
    void set_display_slice_outline(bool on) { display_slice_outline = on; }
    void set_exaggeration_factor(double e) { exaggeration = e; }
    double get_exaggeration_factor() const { return exaggeration; }
    vec<float, 2> get_original_amplitude_range() const { return original_amplitude_range; }
    void set_effective_amplituderange(vec<float, 2> const& r) { effective_amplitude_range = r; }
    vec<float, 2> get_effective_amplituderange() const { return effective_amplitude_range; }
    void set_crossplane_sliders(vec<float, 3> const& s) { crossplane_sliders = s; }
    vec<float, 3> get_crossplane_sliders() const { return crossplane_sliders; }
    void set_arbitrary_points(std::vector<vec<float, 2>> const& p) { arbitrary_points = p; }
    std::vector<vec<float, 2>> const& get_arbitrary_points() const { return arbitrary_points; }
    void set_cube_name(std::wstring name) { cube_name = std::move(name); }
    CubeSlice& cube_slice() { return slice; }
    // Turns the slice to another direction (0 inline, 1 crossline, 2 time).
    void set_slice_direction(int direction);
    bool is_indexed() const { return indexed; }
    // The brick path is in use (a brick file on a context beyond GL 1.1).
    bool uses_brick_path() const;
    // Forces the tile path on a brick file, as on a GL 1.1 context.
    void set_force_tile_path(bool on) { force_tiles = on; }
    // The brick pool of the brick path. Null (the default) is the
    // process-wide pool. Given after init_datasource, the volume renderer
    // moves to the new pool.
    void set_brick_pool(GPUCubeMemoryManager* pool);
    // The brick path's mesh of the current slice, relative to its origin.
    void update_render_config();
    RenderConfig const& get_render_config() const { return render_config; }
    // The volume renderer of the brick path; null on the tile paths.
    Seismic3DRenderer const* volume_renderer() const { return cube_renderer.get(); }
    // The tile path's slice holds all its data (false before a draw).
    bool tiles_complete() const;

    // True while data are still coming (the name is the layer's, kept as it
    // has always been): the index reader has requests, or the brick pool is
    // loading. False without a volume renderer on a brick file.
    bool is_done_loading_data() const;
    // x min, x max, y min, y max of the lattice's corners, then the first and
    // last time as view z (-time * exaggeration).
    void get_bounds(double* out) const;
    void get_histogram(std::vector<unsigned long long>& out) const;
    // The slider of a direction (0.5 for another), the line or time it
    // stands on, and the direction's range.
    double get_pos(int direction) const;
    int get_pos_round(int direction) const;
    vec<int, 3> get_dim(int direction) const;

    // An image of any slice, coloured by the effective range, enlarged by
    // `scale` in both directions.
    bool getSliceAsTexture(double position, int direction, int scale, short& width, short& height,
                           ColourTable& out);
    // One amplitude; an indexed file waits for its trace.
    bool get_amplitude(int inl, int crl, float time, float& value);
    // Where a ray from the eye meets the current slice: the distance along
    // it, or -1; `text`, when given, gets the pick text of the hit.
    void get_ray_slice_distance(vec<double, 3> const& origin, vec<double, 3> const& direction, double* distance,
                                std::wstring* text);
    vec<double, 3> get_last_pick() const { return last_pick; }

private:
    void create_col_tab();
    void generate_cube_outline();
    void start_volume_renderer();
    void draw_slice_outline() const;
    bool tile_path() const;
    vec<int, 3> time_range_int() const;

    bool initialised = false;
    ColourTable color_table_data;
    vec<float, 2> original_amplitude_range{}, effective_amplitude_range{};
    vec<int, 3> inline_range{}, crossline_range{};
    vec<double, 3> time_range{};
    double transform[6] = {0, 0, 0, 0, 0, 0};
    double exaggeration = 5.0;
    unsigned col_tab_tex = 0;
    double camera[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    vec<double, 3> camera_pos{};
    host::SpatialReferencePtr cube_spatial_ref, target_spatial_ref;
    bool indexed = false;
    bool force_tiles = false;
    GPUCubeMemoryManager* brick_pool = nullptr;
    RenderConfig render_config;
    std::unique_ptr<Seismic3DRenderer> cube_renderer;
    std::shared_ptr<Streamer3DGridReader> brick_reader;
    std::shared_ptr<StreamerIndexedSEGY3DReader> indexed_reader;
    std::shared_ptr<TileRenderer> tile_renderer;
    std::shared_ptr<TileDataSourceSeismic3DInterface> tile_source;
    vec<double, 3> last_pick{};
    bool display_slice_outline = false;
    CubeSlice slice;
    vec<float, 3> crossplane_sliders{{0.5f, 0.5f, 0.5f}};
    std::vector<vec<float, 2>> arbitrary_points;
    std::wstring cube_name;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
