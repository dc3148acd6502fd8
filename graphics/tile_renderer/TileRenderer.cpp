#include "graphics/tile_renderer/TileRenderer.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "foundation/log.h"
#include "foundation/scale_and_color.h"
#include "graphics/draw_state.h"
#include "graphics/current_context.h"
#include "graphics/gl_start.h"
#include "graphics/tile_renderer/TileDataSourceIndexedSeismic3D.h"
#include "graphics/tile_renderer/TileDataSourceSeismic3D.h"

namespace Tolmar {

namespace {

constexpr char const* kPath = "graphics/tile_renderer/TileRenderer.cpp";
constexpr int kBicubic = 2;

void check_tile(TileDataSourceInterface::TextureTile const& t)
{
    if (t.vertices.empty() || t.tex_coords.empty()) throw std::out_of_range("invalid vector<T> subscript");
}

} // namespace

TileRenderer::TileRenderer(bool gl11) : opengl11(gl11), glrc(current_gl_context())
{
    if (!opengl11) reload_shaders();
}

TileRenderer::~TileRenderer()
{
    invalidate_data();
    program.release();
}

void TileRenderer::reload_shaders() { program.load_from_resources(215, 214, 0, ""); }

void TileRenderer::take_tiles(bool all, bool upload)
{
    if (!data_source) return;
    std::map<int, TextureTile> delivered;
    data_source->get_tiles(delivered, all);
    for (auto& [key, tile] : delivered) {
        if (upload) upload_texture(key, tile);
        tiles[key] = std::move(tile);
    }
}

void TileRenderer::draw()
{
    void* const current = current_gl_context();
    if (current != glrc) {
        take_tiles(true, false);
        Util::logf("glrc_(%p) != glrc(%p)", current, glrc);
        oneshoot_draw_amplitudes_opengl11();
        Util::logc("oneshoot_draw_amplitudes_opengl11() done");
        return;
    }
    take_tiles(false, true);
    if (!opengl11) upload_colormap_texture();
    push_slice_draw_state();
    if (opengl11)
        draw_amplitudes_opengl11();
    else
        draw_amplitudes();
    glPopAttrib();
}

void TileRenderer::invalidate_data()
{
    tiles.clear();
    for (auto const& [key, name] : textures) {
        GLuint const texture = name;
        glDeleteTextures(1, &texture);
    }
    textures.clear();
    if (colormap_tex != kNoTexture) {
        GLuint const texture = colormap_tex;
        glDeleteTextures(1, &texture);
        colormap_tex = kNoTexture;
    }
}

std::vector<vec<unsigned char, 4>> TileRenderer::colour_on_cpu(TextureTile const& tile) const
{
    std::vector<vec<unsigned char, 4>> bytes;
    scale_and_color_amplitudes(render_config.amp_range, color_table, tile.data, bytes);
    // Beyond the data's range lies the undefined value: transparent.
    float const low = std::min(render_config.data_range[0], render_config.data_range[1]);
    float const high = std::max(render_config.data_range[0], render_config.data_range[1]);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        if (!(tile.data[i] >= low && tile.data[i] <= high)) bytes[i] = vec<unsigned char, 4>{{0, 0, 0, 0}};
    return bytes;
}

void TileRenderer::upload_texture(int key, TextureTile const& tile)
{
    CHECK_GL_ERROR(kPath);
    if (auto found = textures.find(key); found != textures.end()) {
        GLuint const old = found->second;
        glDeleteTextures(1, &old);
    }
    GLuint texture = 0;
    glGenTextures(1, &texture);
    textures[key] = texture;
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    bool const whole = tile.data.size() == static_cast<std::size_t>(tile.width) * tile.height;
    if (opengl11) {
        auto const bytes = colour_on_cpu(tile);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, tile.width, tile.height, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                     whole ? bytes.data() : nullptr);
    } else {
        // The shader interpolates by itself, between texel centres it reads exactly.
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_LUMINANCE32F_ARB, tile.width, tile.height, 0, GL_LUMINANCE, GL_FLOAT,
                     whole ? tile.data.data() : nullptr);
    }
    CHECK_GL_ERROR(kPath);
    glBindTexture(GL_TEXTURE_2D, 0);
    CHECK_GL_ERROR(kPath);
}

void TileRenderer::upload_colormap_texture()
{
    if (color_table.empty()) return;
    glDisable(GL_TEXTURE_2D);
    glEnable(GL_TEXTURE_1D);
    upload_colour_texture(colormap_tex, kNoTexture, color_table);
    glDisable(GL_TEXTURE_1D);
}

void TileRenderer::draw_amplitudes()
{
    GLuint const p = program.program;
    glEnable(GL_TEXTURE_2D);
    glColor4f(1, 1, 1, 1);
    float const maxDefined = std::max(std::fabs(render_config.data_range[0]), std::fabs(render_config.data_range[1])) + 1.0f;
    for (auto const& [key, tile] : tiles) {
        check_tile(tile);
        glUseProgram(p);
        glActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_2D, textures.count(key) ? textures.at(key) : 0);
        glEnable(GL_TEXTURE_2D);
        glUniform1i(glGetUniformLocation(p, "SeismicTex"), 0);
        glActiveTexture(GL_TEXTURE1);
        glBindTexture(GL_TEXTURE_1D, colormap_tex);
        glEnable(GL_TEXTURE_1D);
        glUniform1i(glGetUniformLocation(p, "ColTabTex"), 1);
        glUniform2f(glGetUniformLocation(p, "AmpRange"), render_config.amp_range[0], render_config.amp_range[1]);
        glUniform1f(glGetUniformLocation(p, "MaxDefinedAmplitude"), maxDefined);
        glUniform1f(glGetUniformLocation(p, "DepthBufferScale"), 1.0f);
        glUniform2f(glGetUniformLocation(p, "SeismicTCSpacing"), tile.spacing[0], tile.spacing[1]);
        glUniform1f(glGetUniformLocation(p, "Opacity"), 1.0f);
        glUniform1i(glGetUniformLocation(p, "InterpolationMetod"), kBicubic);
        glUniform2f(glGetUniformLocation(p, "SeismicTexSize"), tile.width, tile.height);

        glPushMatrix();
        glDisableClientState(GL_COLOR_ARRAY);
        glDisableClientState(GL_NORMAL_ARRAY);
        glEnableClientState(GL_VERTEX_ARRAY);
        glEnableClientState(GL_TEXTURE_COORD_ARRAY);
        glTexCoordPointer(2, GL_FLOAT, 0, tile.tex_coords.data());
        glVertexPointer(3, GL_FLOAT, 0, tile.vertices.data());
        glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(tile.indices.size()), GL_UNSIGNED_INT, tile.indices.data());
        glDisableClientState(GL_VERTEX_ARRAY);
        glDisableClientState(GL_TEXTURE_COORD_ARRAY);
        glPopMatrix();
    }
    glActiveTexture(GL_TEXTURE1);
    glBindTexture(GL_TEXTURE_1D, 0);
    glDisable(GL_TEXTURE_1D);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, 0);
    glDisable(GL_TEXTURE_2D);
    glUseProgram(0);
}

// Relative to the first vertex, so that floats keep their precision at
// map coordinates of millions.
void TileRenderer::draw_tile_immediate(TextureTile const& tile)
{
    glPushMatrix();
    vec<float, 3> const o = tile.vertices.front();
    glTranslatef(o[0], o[1], o[2]);
    glBegin(GL_TRIANGLES);
    for (int index : tile.indices) {
        glTexCoord2fv(tile.tex_coords.at(static_cast<std::size_t>(index)).v);
        vec<float, 3> const v = tile.vertices.at(static_cast<std::size_t>(index)) - o;
        glVertex3fv(v.v);
    }
    glEnd();
    glPopMatrix();
}

void TileRenderer::draw_amplitudes_opengl11()
{
    glEnable(GL_TEXTURE_2D);
    glColor4f(1, 1, 1, 1);
    for (auto const& [key, tile] : tiles) {
        check_tile(tile);
        glBindTexture(GL_TEXTURE_2D, textures.count(key) ? textures.at(key) : 0);
        draw_tile_immediate(tile);
    }
    glBindTexture(GL_TEXTURE_2D, 0);
    glDisable(GL_TEXTURE_2D);
    CHECK_GL_ERROR(kPath);
}

void TileRenderer::oneshoot_draw_amplitudes_opengl11()
{
    push_slice_draw_state();
    glUseProgram(0);
    glEnable(GL_TEXTURE_2D);
    glColor4f(1, 1, 1, 1);
    for (auto const& [key, tile] : tiles) {
        check_tile(tile);
        if (tile.data.size() != static_cast<std::size_t>(tile.width) * tile.height) continue;
        auto const bytes = colour_on_cpu(tile);
        GLuint texture = 0;
        glGenTextures(1, &texture);
        glBindTexture(GL_TEXTURE_2D, texture);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, tile.width, tile.height, 0, GL_RGBA, GL_UNSIGNED_BYTE, bytes.data());
        draw_tile_immediate(tile);
        glBindTexture(GL_TEXTURE_2D, 0);
        glDeleteTextures(1, &texture);
    }
    glDisable(GL_TEXTURE_2D);
    glPopAttrib();
    CHECK_GL_ERROR(kPath);
}

TileRendererManager& TileRendererManager::getInstance()
{
    static TileRendererManager manager;
    return manager;
}

std::shared_ptr<TileRenderer> TileRendererManager::create_tile_renderer()
{
    char const* version = reinterpret_cast<char const*>(glGetString(GL_VERSION));
    bool const gl11 = version && std::strncmp(version, "1.1", 3) == 0;
    return std::make_shared<TileRenderer>(gl11);
}

std::shared_ptr<TileDataSourceSeismic3D> TileRendererManager::create_data_source_seismic_3d(
    std::shared_ptr<TileRenderer> const& renderer, std::shared_ptr<Streamer3DGridReader> reader)
{
    auto source = std::make_shared<TileDataSourceSeismic3D>(std::move(reader));
    if (renderer) renderer->set_data_source(source);
    return source;
}

std::shared_ptr<TileDataSourceIndexedSeismic3D> TileRendererManager::create_data_source_indexed_seismic_3d(
    std::shared_ptr<TileRenderer> const& renderer, std::shared_ptr<StreamerIndexedSEGY3DReader> reader)
{
    auto source = std::make_shared<TileDataSourceIndexedSeismic3D>(std::move(reader));
    if (renderer) renderer->set_data_source(source);
    return source;
}

} // namespace Tolmar
