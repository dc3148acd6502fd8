#pragma once
// Draws the tiles of one plane (a cube slice, a 2D line) that a tile source
// delivers, a 2D texture a tile. Amplitudes are coloured on the GPU, from
// raw floats through a colour-table texture; or, where the context offers
// only GL 1.1, on the CPU before upload. Drawn into another context than the
// one it was made in (a print or an export), it uploads nothing there and
// draws with textures it makes and deletes on the spot.

#include "platform/api.h"

#include <map>
#include <memory>
#include <vector>

#include "foundation/vec.h"
#include "graphics/GLSLProgram.h"
#include "graphics/tile_renderer/TileDataSourceInterface.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

struct RenderConfigTile2D {
    vec<float, 2> amp_range{};  // amplitudes at the ends of the colour table
    vec<float, 2> data_range{}; // the whole range of the data; beyond it is undefined
};

class TileRenderer {
public:
    using TextureTile = TileDataSourceInterface::TextureTile;
    // The name colormap_tex holds while there is no colour texture.
    static constexpr unsigned kNoTexture = 1281;

    // Takes the current context as its own; builds its program unless `opengl11`.
    explicit TileRenderer(bool opengl11);
    ~TileRenderer();
    TileRenderer(TileRenderer const&) = delete;
    TileRenderer& operator=(TileRenderer const&) = delete;

    void set_data_source(std::shared_ptr<TileDataSourceInterface> source) { data_source = std::move(source); }
    void set_render_config(RenderConfigTile2D const& config) { render_config = config; }
    void set_color_table_data(std::vector<vec<unsigned char, 4>> const& table) { color_table = table; }

    // Takes what the source has ready and draws every tile seen so far. A
    // tile keeps its last content until the source delivers its key again.
    void draw();
    // Forgets the tiles and deletes the textures.
    void invalidate_data();

    bool is_opengl11() const { return opengl11; }
    std::map<int, TextureTile> const& get_tiles() const { return tiles; }
    std::size_t texture_count() const { return textures.size(); }
    GLSLProgram const& get_program() const { return program; }

private:
    void reload_shaders();
    void take_tiles(bool all, bool upload);
    void draw_amplitudes();
    void draw_amplitudes_opengl11();
    void oneshoot_draw_amplitudes_opengl11();
    void upload_texture(int key, TextureTile const& tile);
    void upload_colormap_texture();
    // RGBA bytes of a tile for the GL 1.1 paths.
    std::vector<vec<unsigned char, 4>> colour_on_cpu(TextureTile const& tile) const;
    static void draw_tile_immediate(TextureTile const& tile);

    bool opengl11;
    std::shared_ptr<TileDataSourceInterface> data_source;
    std::map<int, TextureTile> tiles;
    std::map<int, unsigned> textures;
    std::vector<vec<unsigned char, 4>> color_table;
    GLSLProgram program;
    unsigned colormap_tex = kNoTexture;
    RenderConfigTile2D render_config;
    void* glrc = nullptr;
};

class Streamer3DGridReader;
class StreamerIndexedSEGY3DReader;
class TileDataSourceSeismic3D;
class TileDataSourceIndexedSeismic3D;

// Makes renderers for the current context, and sources handed to them.
class TileRendererManager {
public:
    static TileRendererManager& getInstance();
    // The GL 1.1 path where GL_VERSION begins "1.1".
    std::shared_ptr<TileRenderer> create_tile_renderer();
    std::shared_ptr<TileDataSourceSeismic3D> create_data_source_seismic_3d(
        std::shared_ptr<TileRenderer> const& renderer, std::shared_ptr<Streamer3DGridReader> reader);
    std::shared_ptr<TileDataSourceIndexedSeismic3D> create_data_source_indexed_seismic_3d(
        std::shared_ptr<TileRenderer> const& renderer, std::shared_ptr<StreamerIndexedSEGY3DReader> reader);
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
