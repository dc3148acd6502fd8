#include "graphics/Seismic3DRenderer.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "foundation/Streamer3DGridReader.h"
#include "graphics/GPUCubeMemoryDataSource.h"
#include "graphics/GPUCubeMemoryLineHandler.h"
#include "graphics/GPUCubeMemoryManager.h"
#include "graphics/GPUCubeMemorySeams.h"
#include "graphics/cube_value_mapping.h"
#include "graphics/gl_start.h"
#include "graphics/texture_3d.h"
#include "geometry/tri_box_overlap.h"

namespace Tolmar {

namespace {

constexpr char const* kPath = "graphics\\seismic_3d_renderer.cpp";

// The shader's array of per-level brick counts holds this many levels.
constexpr int kMostLevels = 32;
// Selection enlarges each brick's box by this share of a brick on every
// side, so that a triangle lying on a face takes the neighbour too: its
// samples are filtered from both sides of the face.
constexpr double kSelectionMargin = 0.01;
// draw_brick's margin: a tenth keeps the outlines of neighbours apart.
constexpr double kOutlineMargin = 0.1;

// Corners of the unit cube centred on the origin: the bottom face (z -0.5)
// counter-clockwise, then the top face above it.
constexpr float kCorners[8][3] = {{-0.5f, -0.5f, -0.5f}, {0.5f, -0.5f, -0.5f}, {0.5f, 0.5f, -0.5f},
                                  {-0.5f, 0.5f, -0.5f},  {-0.5f, -0.5f, 0.5f}, {0.5f, -0.5f, 0.5f},
                                  {0.5f, 0.5f, 0.5f},    {-0.5f, 0.5f, 0.5f}};
constexpr unsigned char kEdges[24] = {0, 1, 1, 2, 2, 3, 3, 0, 4, 5, 5, 6, 6, 7, 7, 4, 0, 4, 1, 5, 2, 6, 3, 7};
// Faces wound counter-clockwise seen from outside.
constexpr unsigned char kFaces[6][4] = {{0, 3, 2, 1}, {4, 5, 6, 7}, {0, 1, 5, 4},
                                        {1, 2, 6, 5}, {2, 3, 7, 6}, {3, 0, 4, 7}};
// Outline colours by level modulo 6.
constexpr float kLevelColours[6][3] = {{1, 1, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 1, 1}, {1, 0, 1}};

} // namespace

Seismic3DRenderer::Seismic3DRenderer(GPUCubeMemoryManager* pool) : pool_(pool) {}

Seismic3DRenderer::~Seismic3DRenderer()
{
    shutdown();
    program.release();
}

GPUCubeMemoryManager& Seismic3DRenderer::pool() { return pool_ ? *pool_ : GPUCubeMemoryManager::getInstance(); }

void Seismic3DRenderer::set_3d_grid_reader(std::shared_ptr<Streamer3DGridReader> reader)
{
    if (line_handler) {
        pool().remove(line_handler);
        line_handler.reset();
    }
    grid_reader = std::move(reader);
    if (!grid_reader) return;
    GPUCubeMemoryManager& manager = pool();
    line_handler = manager.add(grid_reader, *this);
    manager.set_brick_selector(&Seismic3DRenderer::select_wanted_bricks);
}

void Seismic3DRenderer::start(bool alternative_shaders)
{
    reload_shaders(alternative_shaders);
    init_gl();
    init_cube();
}

void Seismic3DRenderer::shutdown()
{
    if (cube_vbo != 0) glDeleteBuffers(1, &cube_vbo);
    if (cube_ibo != 0) glDeleteBuffers(1, &cube_ibo);
    cube_vbo = cube_ibo = 0;
    if (line_handler) {
        pool().remove(line_handler);
        line_handler.reset();
    }
}

bool Seismic3DRenderer::reload_shaders(bool alternative)
{
    return alternative ? program.load_from_resources(212, 213, 0, "") : program.load_from_resources(210, 211, 0, "");
}

void Seismic3DRenderer::init_gl()
{
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    glPolygonOffset(-1.0f, -1.0f);
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
    glShadeModel(GL_FLAT);
    glCullFace(GL_BACK);
    glDisable(GL_CULL_FACE);
    CHECK_GL_ERROR(kPath);
}

void Seismic3DRenderer::init_cube()
{
    if (cube_vbo == 0) glGenBuffers(1, &cube_vbo);
    glBindBuffer(GL_ARRAY_BUFFER, cube_vbo);
    glBufferData(GL_ARRAY_BUFFER, sizeof kCorners, kCorners, GL_STATIC_DRAW);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    if (cube_ibo == 0) glGenBuffers(1, &cube_ibo);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, cube_ibo);
    glBufferData(GL_ELEMENT_ARRAY_BUFFER, sizeof kEdges, kEdges, GL_STATIC_DRAW);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    CHECK_GL_ERROR(kPath);
}

vec<double, 3> Seismic3DRenderer::valid_data_range() const
{
    return grid_reader ? valid_data_range(*grid_reader) : vec<double, 3>{{1.0, 1.0, 1.0}};
}

vec<double, 3> Seismic3DRenderer::valid_data_range(Streamer3DGridReader const& reader)
{
    vec<double, 3> range{{1.0, 1.0, 1.0}};
    if (reader.get_num_levels() == 0) return range;
    auto const& total = reader.get_total_size();
    auto const& counts = reader.get_level_counts()[0];
    double const core = static_cast<double>(reader.get_brick_size()) - 2.0 * reader.get_border();
    for (int a = 0; a < 3; ++a) range[a] = total[a] / (counts[a] * core);
    return range;
}

std::set<BrickKey> Seismic3DRenderer::bricks_for_full_resolution(RenderConfig const& config,
                                                                 Streamer3DGridReader const& reader)
{
    vec<double, 3> const range = valid_data_range(reader);
    std::vector<int> indices;
    std::vector<vec<float, 3>> vertices;
    for (RenderGeometry const& g : config.geometry) {
        int const offset = static_cast<int>(vertices.size());
        std::size_t const n = std::min(g.vertices.size(), g.cube_coords.size());
        // The walk passes over a triangle with an index out of range, as
        // render() drops it.
        for (int i : g.indices) indices.push_back(i >= 0 && static_cast<std::size_t>(i) < n ? i + offset : -1);
        for (std::size_t i = 0; i < n; ++i) {
            vec<double, 3> const c = g.cube_coords[i] * range;
            vertices.push_back(vec<float, 3>{{static_cast<float>(c[0]), static_cast<float>(c[1]),
                                              static_cast<float>(c[2])}});
        }
    }
    std::set<BrickKey> wanted;
    select_wanted_bricks(indices, vertices, std::numeric_limits<unsigned>::max(), reader, wanted);
    return wanted;
}

void Seismic3DRenderer::render()
{
    // The time of this frame, and the caller's matrix kept to be restored.
    prev_render_time = steady_tick_ms();
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    CHECK_GL_ERROR(kPath);

    // How much of the pool's normalised space the cube's samples fill.
    vec<double, 3> const range = valid_data_range();

    // One mesh from all geometry, cube coordinates scaled into the
    // pool's normalised space.
    cubespace_indices.clear();
    merged_positions.clear();
    merged_coords.clear();
    for (RenderGeometry const& g : render_config.geometry) {
        int const offset = static_cast<int>(merged_positions.size());
        std::size_t const n = std::min(g.vertices.size(), g.cube_coords.size());
        for (int i : g.indices)
            // An index past either array would read beyond it when drawn.
            cubespace_indices.push_back(i >= 0 && static_cast<std::size_t>(i) < n ? i + offset : -1);
        merged_positions.insert(merged_positions.end(), g.vertices.begin(), g.vertices.begin() + static_cast<long>(n));
        for (std::size_t i = 0; i < n; ++i) merged_coords.push_back(g.cube_coords[i] * range);
    }
    // A triangle with a bad index goes as a whole, so that the rest stay
    // aligned in threes.
    {
        std::size_t out = 0;
        for (std::size_t t = 0; t + 2 < cubespace_indices.size(); t += 3) {
            if (cubespace_indices[t] < 0 || cubespace_indices[t + 1] < 0 || cubespace_indices[t + 2] < 0) continue;
            for (std::size_t k = 0; k < 3; ++k) cubespace_indices[out++] = cubespace_indices[t + k];
        }
        cubespace_indices.resize(out);
    }

    // The frustum, kept for readers of get_frustum; selection goes by the geometry.
    float modelview[16], projection[16];
    glGetFloatv(GL_MODELVIEW_MATRIX, modelview);
    glGetFloatv(GL_PROJECTION_MATRIX, projection);
    extract_frustum_planes(frustum, modelview, projection);

    // The mesh's cube coordinates as the pool's selection wants them.
    cubespace_vertices.resize(merged_coords.size());
    for (std::size_t i = 0; i < merged_coords.size(); ++i)
        cubespace_vertices[i].set(merged_coords[i][0], merged_coords[i][1], merged_coords[i][2]);

    // The pool's round works on this frame's geometry, so the bricks it
    // uploads show in this very frame.
    if (grid_reader) pool().poke();

    // The tricubic program.
    CHECK_GL_ERROR(kPath);
    glUseProgram(program.program);
    CHECK_GL_ERROR(kPath);

    // Uniforms and the three textures. A program that never built draws the geometry untextured with
    // fixed-function state; so does a renderer without a cube.
    bool const textured = program.program != 0 && grid_reader && line_handler;
    if (textured) {
        set_uniforms(range);
        bind_textures();
    }

    // The mesh itself.
    glPolygonMode(GL_FRONT, GL_FILL);
    draw_geometry();
    CHECK_GL_ERROR(kPath);

    // The caller's state back as it was.
    glUseProgram(0);
    unbind_textures();
    glUseProgram(0);
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
}

void Seismic3DRenderer::set_uniforms(vec<double, 3> const& range)
{
    GLuint const p = program.program;
    auto loc = [p](char const* name) { return glGetUniformLocation(p, name); };
    GPUCubeMemoryManager& manager = pool();
    Streamer3DGridReader const& grid = *grid_reader;

    vec<unsigned, 3> const& poolSize = manager.gpu_mem_size();
    glUniform3f(loc("data_tex_size"), static_cast<float>(poolSize[0]), static_cast<float>(poolSize[1]),
                static_cast<float>(poolSize[2]));
    glUniform1f(loc("brick_size"), static_cast<float>(grid.get_brick_size()));
    glUniform1f(loc("border_size"), static_cast<float>(grid.get_border()));

    auto const& counts = grid.get_level_counts();
    int const levels = std::min(static_cast<int>(counts.size()), kMostLevels);
    std::vector<float> sizes;
    sizes.reserve(static_cast<std::size_t>(levels) * 3);
    for (int l = 0; l < levels; ++l)
        for (int a = 0; a < 3; ++a) sizes.push_back(static_cast<float>(counts[static_cast<std::size_t>(l)][a]));
    if (levels > 0) glUniform3fv(loc("layout_tex_size"), levels, sizes.data());

    glUniform3f(loc("valid_data_range"), static_cast<float>(range[0]), static_cast<float>(range[1]),
                static_cast<float>(range[2]));
    CubeValueMapping const mapping = cube_value_mapping(grid);
    glUniform1f(loc("value_scale"), static_cast<float>(mapping.scale));
    glUniform1f(loc("value_translate"), static_cast<float>(mapping.translate));

    // GL reads signed integer texels normalised to -1..1, so the range of
    // an 8- or 16-bit cube is brought to the same scale, and its undefined
    // samples, stored as the type's greatest value, read close to 1.
    float ampScale = 1.0f, undef = std::fabs(render_config.original_amp_range[1]) + 1.0f;
    if (grid.get_type() == Info3DGrid::INT8) {
        ampScale = 1.0f / 128.0f;
        undef = 0.99f;
    } else if (grid.get_type() == Info3DGrid::INT16) {
        ampScale = 1.0f / 32768.0f;
        undef = 0.99f;
    }
    glUniform2f(loc("amp_range"), render_config.effective_amp_range[0] * ampScale,
                render_config.effective_amp_range[1] * ampScale);
    glUniform1f(loc("undef_value"), undef);
    glUniform1f(loc("opacity"), render_config.opacity);
}

void Seismic3DRenderer::bind_textures()
{
    GLuint const p = program.program;
    // The colour table.
    CHECK_GL_ERROR(kPath);
    glActiveTexture(GL_TEXTURE2);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_TEXTURE_3D);
    glEnable(GL_TEXTURE_1D);
    glBindTexture(GL_TEXTURE_1D, col_tab_tex);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glUniform1i(glGetUniformLocation(p, "col_tab"), 2);
    CHECK_GL_ERROR(kPath);

    // The layout map: nearest, so that an entry is never blended with
    // its neighbour's slot.
    bind_texture_3d(GL_TEXTURE1, line_handler->data_source()->layout_tex());
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_R, GL_CLAMP_TO_EDGE);
    glUniform1i(glGetUniformLocation(p, "layout_map"), 1);
    CHECK_GL_ERROR(kPath);

    // The pool. The tricubic filter is built on linear fetches; nearest
    // turns it into a blocky preview.
    GLint const filter = render_config.linear_interpolation ? GL_LINEAR : GL_NEAREST;
    bind_texture_3d(GL_TEXTURE0, pool().data_tex());
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_MIN_FILTER, filter);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_MAG_FILTER, filter);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_R, GL_CLAMP_TO_EDGE);
    glUniform1i(glGetUniformLocation(p, "texture"), 0);
    CHECK_GL_ERROR(kPath);
}

void Seismic3DRenderer::unbind_textures()
{
    glActiveTexture(GL_TEXTURE2);
    glDisable(GL_TEXTURE_1D);
    glActiveTexture(GL_TEXTURE1);
    glDisable(GL_TEXTURE_3D);
    glActiveTexture(GL_TEXTURE0);
    glDisable(GL_TEXTURE_3D);
    glColor3f(1.0f, 1.0f, 1.0f);
    glActiveTexture(GL_TEXTURE2);
    glBindTexture(GL_TEXTURE_1D, 0);
    glActiveTexture(GL_TEXTURE1);
    glBindTexture(GL_TEXTURE_3D, 0);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_3D, 0);
}

void Seismic3DRenderer::draw_geometry()
{
    glBegin(GL_TRIANGLES);
    for (int i : cubespace_indices) {
        auto const k = static_cast<std::size_t>(i);
        glTexCoord3dv(merged_coords[k].v);
        glVertex3dv(merged_positions[k].v);
    }
    glEnd();
}

void Seismic3DRenderer::get_geometry_in_cubespace(std::vector<int>& indices, std::vector<vec<float, 3>>& vertices)
{
    indices = cubespace_indices;
    vertices = cubespace_vertices;
}

bool Seismic3DRenderer::is_loading_data() const
{
    return line_handler && line_handler->data_source() && line_handler->data_source()->loading();
}

void Seismic3DRenderer::draw_cube()
{
    glBegin(GL_LINES);
    for (unsigned char corner : kEdges) glVertex3fv(kCorners[corner]);
    glEnd();
}

void Seismic3DRenderer::draw_cube_solid()
{
    glBegin(GL_QUADS);
    for (auto const& face : kFaces)
        for (unsigned char corner : face) glVertex3fv(kCorners[corner]);
    glEnd();
}

void Seismic3DRenderer::draw_brick(BrickKey const& key)
{
    if (!grid_reader || !grid_reader->contains(key)) return;
    auto const& counts = grid_reader->get_level_counts()[0];
    vec<unsigned, 3> const p = grid_reader->id2pos(key);
    double const levelScale = std::ldexp(1.0, static_cast<int>(key.level));
    double centre[3], size[3];
    for (int a = 0; a < 3; ++a) {
        double const s = levelScale / counts[a];
        double const lo = (p[a] - kOutlineMargin) * s, hi = (p[a] + 1.0 + kOutlineMargin) * s;
        centre[a] = 0.5 * (lo + hi);
        size[a] = hi - lo;
    }
    glColor3fv(kLevelColours[key.level % 6]);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glTranslated(centre[0], centre[1], centre[2]);
    glScaled(size[0], size[1], size[2]);
    draw_cube();
    glPopMatrix();
}

void Seismic3DRenderer::draw_bricks(std::vector<std::vector<unsigned>> const& ids_per_level)
{
    for (std::size_t level = 0; level < ids_per_level.size(); ++level)
        for (unsigned id : ids_per_level[level]) draw_brick(BrickKey{static_cast<unsigned>(level), id});
}

void Seismic3DRenderer::select_wanted_bricks(std::vector<int> const& indices,
                                             std::vector<vec<float, 3>> const& vertices, unsigned limit,
                                             Streamer3DGridReader const& reader, std::set<BrickKey>& wanted)
{
    unsigned const levels = reader.get_num_levels();
    if (levels == 0) return;
    auto const& counts = reader.get_level_counts();
    // The root always: with no geometry at all it is what the pool shows.
    BrickKey const root{levels - 1, 0};
    wanted.insert(root);

    // The triangles' corners side by side, once, rather than through the
    // index list for every brick tested.
    std::vector<float> corners;
    corners.reserve(indices.size() * 3);
    for (std::size_t t = 0; t + 2 < indices.size(); t += 3) {
        bool ok = true;
        for (std::size_t k = 0; k < 3; ++k)
            ok = ok && indices[t + k] >= 0 && static_cast<std::size_t>(indices[t + k]) < vertices.size();
        if (!ok) continue;
        for (std::size_t k = 0; k < 3; ++k) {
            vec<float, 3> const& v = vertices[static_cast<std::size_t>(indices[t + k])];
            corners.insert(corners.end(), {v[0], v[1], v[2]});
        }
    }
    std::size_t const triangles = corners.size() / 9;

    // Level by level: every brick of a coarser level is decided before the
    // first of the next, so a limit reached within a level leaves all the
    // coarser data in place and only the finest level reached incomplete.
    std::vector<BrickKey> queue{root}, next;
    for (unsigned level = levels; level-- > 0;) {
        double s[3];
        for (int a = 0; a < 3; ++a) s[a] = std::ldexp(1.0, static_cast<int>(level)) / counts[0][a];
        next.clear();
        for (BrickKey const& key : queue) {
            vec<unsigned, 3> const p = reader.id2pos(key);
            float centre[3], half[3];
            for (int a = 0; a < 3; ++a) {
                double const lo = (p[a] - kSelectionMargin) * s[a], hi = (p[a] + 1.0 + kSelectionMargin) * s[a];
                centre[a] = static_cast<float>(0.5 * (lo + hi));
                half[a] = static_cast<float>(0.5 * (hi - lo));
            }
            bool hit = false;
            for (std::size_t t = 0; t < triangles && !hit; ++t) {
                float const* c = &corners[9 * t];
                hit = triBoxOverlap(centre, half, c, c + 3, c + 6) != 0;
            }
            if (!hit) continue; // and its whole subtree
            if (!reader.is_undef_brick(key)) {
                wanted.insert(key);
                if (wanted.size() >= limit) return;
            }
            // Below an undefined brick the walk goes on as below any other:
            // the file, not the walk, decides what its children hold.
            if (level == 0) continue;
            auto const& finer = counts[level - 1];
            for (unsigned dz = 0; dz < 2; ++dz)
                for (unsigned dy = 0; dy < 2; ++dy)
                    for (unsigned dx = 0; dx < 2; ++dx) {
                        unsigned const x = 2 * p[0] + dx, y = 2 * p[1] + dy, z = 2 * p[2] + dz;
                        if (x < finer[0] && y < finer[1] && z < finer[2])
                            next.push_back(BrickKey{level - 1, reader.pos2id(x, y, z, level - 1)});
                    }
        }
        queue.swap(next);
    }
}

} // namespace Tolmar
