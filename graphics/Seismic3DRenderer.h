#pragma once
// Draws triangle geometry, in practice the frame meshes of a cube's slice,
// textured with the cube's amplitudes straight from the GPU brick pool. It
// does not draw bricks: the geometry goes down once, and the fragment shader
// turns each fragment's cube coordinate into a pool address through the
// cube's layout map and filters it tricubically. Its second duty is to say
// what is visible in cube coordinates, from which the pool works out which
// bricks it wants (select_wanted_bricks).
//
// GL thread only, with the context current for every call but the plain
// setters and getters. The pool asks for the geometry during render(), on
// the same thread, so the copies it gets need no lock.

#include "platform/api.h"

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

#include "foundation/StreamKeys.h"
#include "foundation/vec.h"
#include "graphics/CubeGeometrySource.h"
#include "graphics/FrustumPlanes.h"
#include "graphics/GLSLProgram.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class GPUCubeMemoryLineHandler;
class GPUCubeMemoryManager;
class Streamer3DGridReader;

// One mesh: three indices per triangle into the vertices; each vertex has a
// world position and a position in the cube, 0 to 1 on each axis over the
// cube's samples (x samples, y crosslines, z inlines). The centre of sample
// j of an axis of n samples lies at (j + 0.5) / n.
struct RenderGeometry {
    std::vector<int> indices;
    std::vector<vec<double, 3>> vertices;
    std::vector<vec<double, 3>> cube_coords;
};

// What one frame draws and how.
struct RenderConfig {
    std::vector<RenderGeometry> geometry;
    // World offset already subtracted from the vertices; kept for the owner.
    vec<double, 2> origin{{0.0, 0.0}};
    // Amplitude range of the cube as stored; its upper end sets the
    // undefined threshold of float and wide integer cubes.
    vec<float, 2> original_amp_range{{0.0f, 0.0f}};
    // Amplitudes at the two ends of the colour table.
    vec<float, 2> effective_amp_range{{0.0f, 1.0f}};
    // The owner's brick display switch; no drawing path reads it.
    bool show_bricks = false;
    // Pool filter: GL_LINEAR, or GL_NEAREST when false.
    bool linear_interpolation = true;
    // Alpha of the output. Blending state is the caller's.
    float opacity = 1.0f;
};

class Seismic3DRenderer : public CubeGeometrySource {
public:
    // `pool` null: the process-wide pool (GPUCubeMemoryManager::getInstance),
    // made at the first set_3d_grid_reader. A pool of its own serves tests
    // and programs that keep more than one context; it must outlive the
    // renderer.
    explicit Seismic3DRenderer(GPUCubeMemoryManager* pool = nullptr);
    // As shutdown().
    ~Seismic3DRenderer() override;
    Seismic3DRenderer(Seismic3DRenderer const&) = delete;
    Seismic3DRenderer& operator=(Seismic3DRenderer const&) = delete;

    // Enters the cube in the pool (a renderer of the same reader shares its
    // resident bricks) and puts select_wanted_bricks in place as the pool's
    // choice of bricks. A cube set before is let go first.
    void set_3d_grid_reader(std::shared_ptr<Streamer3DGridReader> reader);
    // reload_shaders, init_gl, init_cube, in that order.
    void start(bool alternative_shaders);
    // Deletes the cube buffers and gives the cube's handle back to the pool.
    // Safe to call more than once.
    void shutdown();
    // Builds the program from the stored texts 210 and 211, or 212 and 213
    // for the alternative; false when it does not link, and then a program
    // that never linked stays 0 and the geometry is drawn untextured.
    bool reload_shaders(bool alternative);
    // The fixed-function state the renderer expects: white colour, polygon
    // offset -1, depth test with GL_LEQUAL, flat shading, back culling chosen
    // but off.
    void init_gl();
    // Buffers of the unit cube: 8 corners and 12 edges as byte pairs.
    void init_cube();

    void set_render_config(RenderConfig const& config) { render_config = config; }
    RenderConfig const& get_render_config() const { return render_config; }
    // GL name of the 1D colour table; not owned.
    void setColTabTex(unsigned texture) { col_tab_tex = texture; }

    // Draws one frame of the current configuration, with the caller's
    // matrices, and lets the pool stream for this frame's geometry first, so
    // that bricks that arrive show in this very frame.
    void render();

    // The triangles of the last frame in pool-normalised cube space: cube
    // coordinates times valid_data_range().
    void get_geometry_in_cubespace(std::vector<int>& indices, std::vector<vec<float, 3>>& vertices) override;
    // True while the pool still misses bricks this renderer's cube wants, as
    // of its last round; false without a cube.
    bool is_loading_data() const;
    // The view frustum of the last frame, in the modelview's world.
    FrustumPlanes const& get_frustum() const { return frustum; }
    // Millisecond tick at the start of the last render().
    std::uint64_t get_prev_render_time() const { return prev_render_time; }

    // Per axis, the share of the level-0 brick grid that holds samples:
    // samples / (bricks * (brick size - 2 * border)). (1, 1, 1) without a cube.
    vec<double, 3> valid_data_range() const;
    static vec<double, 3> valid_data_range(Streamer3DGridReader const& reader);
    GLSLProgram const& get_program() const { return program; }
    std::shared_ptr<GPUCubeMemoryLineHandler> const& get_line_handler() const { return line_handler; }

    // Diagnostics, in immediate mode with the current matrices. The unit
    // cube centred on the origin, as 12 edges or 6 faces.
    void draw_cube();
    void draw_cube_solid();
    // The outline of one brick in pool-normalised cube space, enlarged by a
    // tenth of a brick on each side so that neighbours stay apart, coloured by
    // level. No frame calls it.
    void draw_brick(BrickKey const& key);
    // draw_brick over ids per level, finest level first.
    void draw_bricks(std::vector<std::vector<unsigned>> const& ids_per_level);

    // The pool's choice of bricks: a breadth-first walk from the root, level
    // by level, that takes each brick whose box (enlarged by a hundredth of a
    // brick) touches a triangle, until `limit` keys are taken. The root is
    // always wanted. Undefined bricks are descended into but not wanted.
    // Triangles are in pool-normalised cube space; those with an index out of
    // range are passed over.
    static void select_wanted_bricks(std::vector<int> const& indices, std::vector<vec<float, 3>> const& vertices,
                                     unsigned limit, Streamer3DGridReader const& reader, std::set<BrickKey>& wanted);

    // select_wanted_bricks without a limit on the geometry of `config`: the
    // bricks of every level that a pool must hold to show it all at level 0,
    // and so what it should be sized for.
    static std::set<BrickKey> bricks_for_full_resolution(RenderConfig const& config,
                                                         Streamer3DGridReader const& reader);

private:
    GPUCubeMemoryManager& pool();
    // Step 12 of a frame: the merged mesh as one run of triangles.
    void draw_geometry();
    void set_uniforms(vec<double, 3> const& valid_range);
    void bind_textures();
    void unbind_textures();

    std::shared_ptr<Streamer3DGridReader> grid_reader;
    RenderConfig render_config;
    std::vector<int> cubespace_indices;
    std::vector<vec<float, 3>> cubespace_vertices;
    FrustumPlanes frustum{};
    std::uint64_t prev_render_time = 0;
    GLSLProgram program;
    unsigned col_tab_tex = 0;
    unsigned cube_vbo = 0, cube_ibo = 0;
    std::shared_ptr<GPUCubeMemoryLineHandler> line_handler;

    GPUCubeMemoryManager* pool_;
    // The merged mesh of the last frame, kept to spare the allocations.
    std::vector<vec<double, 3>> merged_positions;
    std::vector<vec<double, 3>> merged_coords;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
