#pragma once
// The GPU side of one streamed raster of a terrain (its heights or its
// drape): the raster tiles that are resident, each a layer of one 3D
// texture of 512 layers, and a lookup texture that tells the shaders, for
// every level-0 tile cell of the raster, the layer and level of the finest
// tile resident there.
//
// Each frame the pyramid works out which raster tiles the view wants
// (coarse to fine by their size on the screen), hands the missing ones to
// the reader, copies at most three arrived tiles into free layers and
// rebuilds the lookup grid. Layers are reclaimed all at once, and only when
// the texture is full.

#include "platform/api.h"

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "foundation/box.h"
#include "foundation/vec.h"
#include "host/StreamerRasterReader.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class TilePyramidRenderer;
struct GLSLProgram;

class TileTexturePyramid {
public:
    enum Kind { Height = 0, Drape = 1 };
    static constexpr int kLayers = 512;
    static constexpr std::size_t kMaxVisibleTiles = 400;
    static constexpr std::size_t kUploadsPerFrame = 3;
    static constexpr int kNoLayer = 65535;

    TileTexturePyramid(TilePyramidRenderer& renderer, Kind kind, std::shared_ptr<host::StreamerRasterReader> reader);
    // Deletes its textures: the context must be current.
    ~TileTexturePyramid();
    TileTexturePyramid(TileTexturePyramid const&) = delete;
    TileTexturePyramid& operator=(TileTexturePyramid const&) = delete;

    void update_visible_tiles();
    void request_missing_tiles();
    void update_textures();
    void upload_tile(host::RasterTile const& tile);
    void clean_layers();
    // Cells col0..col1, row0..row1 (ends excluded, clamped to the grid).
    void fill_lookup(int layer, int level, int col0, int col1, int row0, int row1);
    void upload_lookup();
    void set_uniforms(GLSLProgram const& program) const;

    Kind kind() const { return kind_; }
    host::StreamerRasterReader& reader() const { return *reader_; }
    std::set<host::TileKey> const& visible_tiles() const { return visible_tiles_; }
    std::vector<host::TileKey> const& to_request() const { return to_request_; }
    std::map<host::TileKey, int> const& key_to_layer() const { return key_to_layer_; }
    std::map<int, host::TileKey> const& layer_to_key() const { return layer_to_key_; }
    std::vector<std::uint8_t> const& lookup_data() const { return lookup_data_; }
    int rows() const { return rows_; }
    int cols() const { return cols_; }
    vec<double, 2> small_tile_extent() const { return small_tile_extent_; }
    box<double, 2> const& bounding_box() const { return bounding_box_; }
    // The band-0 range of the raster: the z range of its tiles' boxes.
    double z_min() const;
    double z_max() const;
    int uploads_last_frame() const { return uploads_; }
    // The tile resident in the level-0 cell (col, row, row 0 at the top);
    // false where none is.
    bool resident_tile(int col, int row, host::TileKey& key) const;

private:
    void create_array_texture();

    TilePyramidRenderer& renderer_;
    Kind kind_;
    std::shared_ptr<host::StreamerRasterReader> reader_;
    std::set<host::TileKey> visible_tiles_;
    std::vector<host::TileKey> to_request_;
    vec<double, 2> small_tile_extent_{};
    box<double, 2> bounding_box_;
    unsigned lookup_texture_ = ~0u;
    unsigned array_texture_ = ~0u;
    std::set<int> free_layers_;
    std::map<int, host::TileKey> layer_to_key_;
    std::map<host::TileKey, int> key_to_layer_;
    int rows_ = 0, cols_ = 0;
    std::vector<std::uint8_t> lookup_data_; // rows x cols x 3, row 0 at the top
    int uploads_ = 0;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
