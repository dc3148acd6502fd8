// Drawing a terrain: the shared tile mesh, the colour table, the shader
// program and one draw call per mesh tile.

#include "graphics/TilePyramidRenderer.h"

#include <GL/glew.h>

#include <cstdint>
#include <mutex>
#include <string>

#include "graphics/TileTexturePyramid.h"
#include "graphics/gl_start.h"
#include "graphics/mat44.h"

namespace Tolmar {

namespace {

constexpr char const* kSource = "graphics\\tilePyramidRenderer.cpp";
constexpr int kGrid = 129; // vertices a side of every mesh tile
constexpr float kStep = 0.0078125f; // 1 / 128

// The centre grid first, then the four seam strips of kGrid vertices each;
// indices likewise, each seam's after the grid's.
struct TileMesh {
    std::vector<float> vertices;
    std::vector<std::uint32_t> indices;
    std::size_t seam_first[4] = {};
    std::size_t seam_count = 0;
    std::size_t centre_count = 0;
};

TileMesh& tile_mesh()
{
    static TileMesh mesh;
    return mesh;
}

void use_unit(GLenum unit, GLenum target, GLuint texture)
{
    glActiveTexture(unit);
    glDisable(GL_TEXTURE_1D);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_TEXTURE_3D);
    glEnable(target);
    glBindTexture(target, texture);
}

} // namespace

void TilePyramidRenderer::build_tile_geometry()
{
    static std::once_flag once;
    std::call_once(once, [] {
        TileMesh& m = tile_mesh();
        auto vertex = [&m](float u, float v) {
            m.vertices.insert(m.vertices.end(), {u, v, 0.0f});
        };
        for (int row = 0; row < kGrid; ++row)
            for (int col = 0; col < kGrid; ++col) vertex(static_cast<float>(col) * kStep, static_cast<float>(row) * kStep);
        auto at = [](int col, int row) { return static_cast<std::uint32_t>(row * kGrid + col); };
        // The diagonal alternates, so that every second vertex of an edge,
        // the one a coarser neighbour shares, is a corner of both halves.
        for (int row = 1; row < kGrid; ++row)
            for (int col = 1; col < kGrid; ++col) {
                std::uint32_t const a = at(col - 1, row), b = at(col, row), c = at(col - 1, row - 1),
                                    d = at(col, row - 1);
                if ((row + col) % 2 == 0)
                    m.indices.insert(m.indices.end(), {c, b, a, c, d, b});
                else
                    m.indices.insert(m.indices.end(), {d, a, c, d, b, a});
            }
        m.centre_count = m.indices.size();
        for (int direction = 0; direction < 4; ++direction) {
            auto const first = static_cast<std::uint32_t>(m.vertices.size() / 3);
            for (int k = 0; k < kGrid; ++k) {
                float const t = static_cast<float>(k) * kStep;
                switch (direction) {
                case 0: vertex(0, t); break;
                case 1: vertex(t, 1); break;
                case 2: vertex(1, t); break;
                default: vertex(t, 0); break;
                }
            }
            m.seam_first[direction] = m.indices.size();
            for (std::uint32_t k = 0; k + 2 < static_cast<std::uint32_t>(kGrid); k += 2)
                m.indices.insert(m.indices.end(), {first + k, first + k + 1, first + k + 2});
        }
        m.seam_count = m.indices.size() - m.seam_first[3];
    });
}

void TilePyramidRenderer::upload_colour_table()
{
    if (color_table.empty() || !color_table_dirty) return;
    if (color_texture != ~0u) glDeleteTextures(1, &color_texture);
    glActiveTexture(GL_TEXTURE1);
    glDisable(GL_TEXTURE_3D);
    glDisable(GL_TEXTURE_2D);
    glEnable(GL_TEXTURE_1D);
    glGenTextures(1, &color_texture);
    glBindTexture(GL_TEXTURE_1D, color_texture);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexImage1D(GL_TEXTURE_1D, 0, GL_RGBA, static_cast<GLsizei>(color_table.size()), 0, GL_RGBA, GL_UNSIGNED_BYTE,
                 color_table.data());
    GLint const filter = interpolate_colors ? GL_LINEAR : GL_NEAREST;
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_MIN_FILTER, filter);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_MAG_FILTER, filter);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glDisable(GL_TEXTURE_1D);
    glActiveTexture(GL_TEXTURE0);
    color_table_dirty = false;
    CHECK_GL_ERROR(kSource);
}

void TilePyramidRenderer::build_program()
{
    program = std::make_shared<GLSLProgram>();
    std::string header = "#version 430 compatibility\n";
    header += height_pyramid ? "#define FLAT 0\n" : "#define FLAT 1\n";
    if (!drape_pyramid)
        header += "#define COLORMODE 2\n";
    else if (!drape_pyramid->reader().isSingleBand())
        header += "#define COLORMODE 0\n";
    else
        header += interpolate_drape ? "#define COLORMODE 1\n" : "#define COLORMODE 3\n";
    program->load_from_resources(226, 225, 227, header);
    CHECK_GL_ERROR(kSource);
}

void TilePyramidRenderer::draw(double const* orientation, vec<double, 3> const& eye)
{
    if (!render_area) return;
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    // The camera relative to the local origin, worked out in double: map
    // coordinates of millions would lose the terrain's place in float.
    double translate[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    for (int a = 0; a < 3; ++a) translate[12 + a] = local_origin[a] - eye[a];
    double relative[16];
    mat44_mult_mat44(orientation, translate, relative);
    glLoadMatrixd(relative);
    update_camera_frustum_variables();
    update_current_tiles();
    renderTiles();
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
}

void TilePyramidRenderer::renderTiles()
{
    upload_colour_table();
    glPushAttrib(GL_ALL_ATTRIB_BITS);
    glDisable(GL_BLEND);
    glDisable(GL_LIGHTING);
    for (auto* p : {height_pyramid.get(), drape_pyramid.get()}) {
        if (!p) continue;
        p->update_visible_tiles();
        p->request_missing_tiles();
        p->update_textures();
    }
    if (!program) build_program();
    build_tile_geometry();
    if (!mesh_buffers[0]) {
        TileMesh const& m = tile_mesh();
        glGenBuffers(2, mesh_buffers);
        glBindBuffer(GL_ARRAY_BUFFER, mesh_buffers[0]);
        glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(m.vertices.size() * sizeof(float)), m.vertices.data(),
                     GL_STATIC_DRAW);
        glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, mesh_buffers[1]);
        glBufferData(GL_ELEMENT_ARRAY_BUFFER, static_cast<GLsizeiptr>(m.indices.size() * sizeof(std::uint32_t)),
                     m.indices.data(), GL_STATIC_DRAW);
    }
    GLuint const p = program->program;
    if (p) {
        glUseProgram(p);
        glUniform1i(glGetUniformLocation(p, "ColTabTex"), 1);
        glUniform1f(glGetUniformLocation(p, "Undefined"), 999999.0f);
        glUniform1f(glGetUniformLocation(p, "Vertical_exagerration"), static_cast<float>(vertical_exaggeration));
        glUniform3f(glGetUniformLocation(p, "Scale"), 1, 1, static_cast<float>(z_scale));
        glUniform3f(glGetUniformLocation(p, "Translate"), 0, 0, static_cast<float>(z_offset));
        glUniform2f(glGetUniformLocation(p, "MapRange"), static_cast<float>(map_min), static_cast<float>(map_max));
        if (color_texture != ~0u) use_unit(GL_TEXTURE1, GL_TEXTURE_1D, color_texture);
        for (auto* pyramid : {height_pyramid.get(), drape_pyramid.get()})
            if (pyramid) pyramid->set_uniforms(*program);
        glBindBuffer(GL_ARRAY_BUFFER, mesh_buffers[0]);
        glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, mesh_buffers[1]);
        glEnableVertexAttribArray(0);
        glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, 0, nullptr);
        for (QuadTreeCoord const& t : current_tiles) draw_mesh_tile(t);
        glDisableVertexAttribArray(0);
        glBindBuffer(GL_ARRAY_BUFFER, 0);
        glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
        glUseProgram(0);
    }
    for (GLenum unit : {GL_TEXTURE5, GL_TEXTURE4, GL_TEXTURE3, GL_TEXTURE2, GL_TEXTURE1, GL_TEXTURE0}) {
        glActiveTexture(unit);
        glDisable(GL_TEXTURE_1D);
        glDisable(GL_TEXTURE_2D);
        glDisable(GL_TEXTURE_3D);
    }
    glPopAttrib();
    CHECK_GL_ERROR(kSource);
}

void TilePyramidRenderer::draw_mesh_tile(QuadTreeCoord const& t)
{
    TileMesh const& m = tile_mesh();
    GLuint const p = program->program;
    box<double, 2> const e = tile_extent(t);
    glUniform2f(glGetUniformLocation(p, "TileBLC"), static_cast<float>(e.lower[0]), static_cast<float>(e.lower[1]));
    glUniform2f(glGetUniformLocation(p, "TileTRC"), static_cast<float>(e.upper[0]), static_cast<float>(e.upper[1]));
    glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(m.centre_count), GL_UNSIGNED_INT, nullptr);
    // A coarser neighbour's edge runs straight past every second vertex of
    // ours: the seam strip fills the crack.
    for (int d = 0; d < 4; ++d) {
        QuadTreeCoord const n = t.neighbour(d);
        if (!n.valid() || !current_tiles.count(n.parent())) continue;
        glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(m.seam_count), GL_UNSIGNED_INT,
                       reinterpret_cast<void const*>(m.seam_first[d] * sizeof(std::uint32_t)));
    }
}

} // namespace Tolmar
