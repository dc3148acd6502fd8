#include "graphics/TileTexturePyramid.h"

#include <GL/glew.h>

#include <algorithm>
#include <string>

#include "graphics/GLSLProgram.h"
#include "graphics/TilePyramidRenderer.h"
#include "graphics/gl_start.h"
#include "platform/debug_stream.h"

namespace Tolmar {

namespace {

constexpr char const* kSource = "graphics\\tilePyramidRenderer.cpp";

} // namespace

TileTexturePyramid::TileTexturePyramid(TilePyramidRenderer& renderer, Kind kind,
                                       std::shared_ptr<host::StreamerRasterReader> reader)
    : renderer_(renderer), kind_(kind), reader_(std::move(reader))
{
    box<double, 2> const first = reader_->get_tile_extent(0, 0);
    small_tile_extent_ = {{first.upper[0] - first.lower[0], first.upper[1] - first.lower[1]}};
    cols_ = reader_->tiles_x(0);
    rows_ = reader_->tiles_y(0);
    double const xmin = first.lower[0], ymax = first.upper[1];
    bounding_box_ = {{{xmin, ymax - rows_ * small_tile_extent_[1]}}, {{xmin + cols_ * small_tile_extent_[0], ymax}}};
    lookup_data_.assign(static_cast<std::size_t>(rows_) * static_cast<std::size_t>(cols_) * 3, 0);
}

TileTexturePyramid::~TileTexturePyramid()
{
    for (unsigned* t : {&lookup_texture_, &array_texture_})
        if (*t != ~0u) glDeleteTextures(1, t);
}

double TileTexturePyramid::z_min() const
{
    auto const& bands = reader_->get_raster_band_infos();
    return bands.empty() ? 0 : bands[0].min;
}

double TileTexturePyramid::z_max() const
{
    auto const& bands = reader_->get_raster_band_infos();
    return bands.empty() ? 0 : bands[0].max;
}

void TileTexturePyramid::update_visible_tiles()
{
    visible_tiles_.clear();
    int level = reader_->num_levels() - 1;
    if (level < 0) return;
    double const zmin = z_min(), zmax = z_max();
    std::vector<host::TileKey> current{{level, 0}}, next;
    while (visible_tiles_.size() < kMaxVisibleTiles && level >= 0) {
        box<double, 2> const first = reader_->get_tile_extent(level, 0);
        double const texel = (first.upper[0] - first.lower[0]) / reader_->get_tile_size();
        next.clear();
        for (host::TileKey const& key : current) {
            visible_tiles_.insert(key);
            if (level == 0) continue;
            box<double, 2> const e = reader_->get_tile_extent(level, key.id);
            box<double, 3> const b{{{e.lower[0], e.lower[1], zmin}}, {{e.upper[0], e.upper[1], zmax}}};
            if (!renderer_.should_split(b, texel)) continue;
            int children[4];
            reader_->children_tiles(level, key.id, children);
            for (int child : children) {
                if (child < 0) continue;
                box<double, 2> const c = reader_->get_tile_extent(level - 1, child);
                if (!renderer_.outside_frustum(box<double, 3>{{{c.lower[0], c.lower[1], zmin}},
                                                              {{c.upper[0], c.upper[1], zmax}}}))
                    next.push_back({level - 1, child});
            }
        }
        if (next.empty()) break;
        std::swap(current, next);
        --level;
    }
}

void TileTexturePyramid::request_missing_tiles()
{
    to_request_.clear();
    for (auto k = visible_tiles_.rbegin(); k != visible_tiles_.rend(); ++k)
        if (!key_to_layer_.count(*k)) to_request_.push_back(*k);
    reader_->request_tiles(to_request_);
}

void TileTexturePyramid::update_textures()
{
    uploads_ = 0;
    if (!to_request_.empty()) {
        std::vector<host::RasterTile> tiles;
        reader_->get_first_n_tiles_if_loaded(to_request_, kUploadsPerFrame, tiles);
        for (auto const& tile : tiles) upload_tile(tile);
    }
    fill_lookup(kNoLayer, -1, 0, cols_, 0, rows_);
    // Coarse first: finer tiles overwrite the cells they cover.
    for (auto k = visible_tiles_.rbegin(); k != visible_tiles_.rend(); ++k) {
        auto const found = key_to_layer_.find(*k);
        if (found == key_to_layer_.end()) continue;
        int x = 0, y = 0;
        reader_->id2pos(k->level, k->id, x, y);
        fill_lookup(found->second, k->level, x << k->level, (x + 1) << k->level, y << k->level,
                    (y + 1) << k->level);
    }
    upload_lookup();
}

void TileTexturePyramid::create_array_texture()
{
    glDisable(GL_TEXTURE_1D);
    glDisable(GL_TEXTURE_2D);
    glEnable(GL_TEXTURE_3D);
    glGenTextures(1, &array_texture_);
    glBindTexture(GL_TEXTURE_3D, array_texture_);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_R, GL_CLAMP_TO_EDGE);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    int const size = reader_->get_tile_size();
    glTexImage3D(GL_TEXTURE_3D, 0, GL_RGBA8, size, size, kLayers, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    free_layers_.clear();
    for (int layer = 0; layer < kLayers; ++layer) free_layers_.insert(layer);
    layer_to_key_.clear();
    CHECK_GL_ERROR(kSource);
}

void TileTexturePyramid::upload_tile(host::RasterTile const& tile)
{
    if (tile.data.empty()) return;
    if (array_texture_ == ~0u) create_array_texture();
    if (free_layers_.empty()) clean_layers();
    if (free_layers_.empty()) {
        platform::debug_write("Texture space was cleaned, but there is still no available space to load texture\n");
        return;
    }
    int const layer = *free_layers_.begin();
    free_layers_.erase(free_layers_.begin());
    layer_to_key_[layer] = tile.key;
    key_to_layer_[tile.key] = layer;
    glActiveTexture(kind_ == Height ? GL_TEXTURE3 : GL_TEXTURE5);
    glBindTexture(GL_TEXTURE_3D, array_texture_);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    int const size = reader_->get_tile_size();
    glTexSubImage3D(GL_TEXTURE_3D, 0, 0, 0, layer, size, size, 1, GL_RGBA, GL_UNSIGNED_BYTE, tile.data.data());
    ++uploads_;
    CHECK_GL_ERROR(kSource);
}

void TileTexturePyramid::clean_layers()
{
    std::map<int, host::TileKey> keep;
    for (auto const& [layer, key] : layer_to_key_)
        if (visible_tiles_.count(key)) keep.emplace(layer, key);
    free_layers_.clear();
    layer_to_key_.clear();
    key_to_layer_.clear();
    for (int layer = 0; layer < kLayers; ++layer) {
        auto const found = keep.find(layer);
        if (found == keep.end()) {
            free_layers_.insert(layer);
            continue;
        }
        layer_to_key_[layer] = found->second;
        key_to_layer_[found->second] = layer;
    }
}

void TileTexturePyramid::fill_lookup(int layer, int level, int col0, int col1, int row0, int row1)
{
    col0 = std::clamp(col0, 0, cols_);
    col1 = std::clamp(col1, 0, cols_);
    row0 = std::clamp(row0, 0, rows_);
    row1 = std::clamp(row1, 0, rows_);
    auto const lo = static_cast<std::uint8_t>(layer & 0xFF), hi = static_cast<std::uint8_t>((layer >> 8) & 0xFF),
               lv = static_cast<std::uint8_t>(level & 0xFF);
    for (int row = row0; row < row1; ++row)
        for (int col = col0; col < col1; ++col) {
            std::uint8_t* cell = &lookup_data_[(static_cast<std::size_t>(row) * static_cast<std::size_t>(cols_) +
                                                static_cast<std::size_t>(col)) *
                                               3];
            cell[0] = lo;
            cell[1] = hi;
            cell[2] = lv;
        }
}

bool TileTexturePyramid::resident_tile(int col, int row, host::TileKey& key) const
{
    if (col < 0 || row < 0 || col >= cols_ || row >= rows_) return false;
    std::uint8_t const* cell =
        &lookup_data_[(static_cast<std::size_t>(row) * static_cast<std::size_t>(cols_) + static_cast<std::size_t>(col)) *
                      3];
    auto const found = layer_to_key_.find(cell[0] | (cell[1] << 8));
    if (found == layer_to_key_.end()) return false;
    key = found->second;
    return true;
}

void TileTexturePyramid::upload_lookup()
{
    GLenum const unit = kind_ == Height ? GL_TEXTURE2 : GL_TEXTURE4;
    glActiveTexture(unit);
    if (lookup_texture_ == ~0u) {
        glGenTextures(1, &lookup_texture_);
        glBindTexture(GL_TEXTURE_2D, lookup_texture_);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    }
    glBindTexture(GL_TEXTURE_2D, lookup_texture_);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGB8, cols_, rows_, 0, GL_RGB, GL_UNSIGNED_BYTE, lookup_data_.data());
    glActiveTexture(GL_TEXTURE0);
    CHECK_GL_ERROR(kSource);
}

void TileTexturePyramid::set_uniforms(GLSLProgram const& program) const
{
    GLuint const p = program.program;
    std::string const prefix = kind_ == Height ? "heightTexture" : "drapeTexture";
    auto loc = [&](char const* name) { return glGetUniformLocation(p, (prefix + name).c_str()); };
    int const size = reader_->get_tile_size();
    double const* origin = renderer_.localOrigo();
    glUniform3f(glGetUniformLocation(p, "TextureArrayDims"), static_cast<float>(size), static_cast<float>(size),
                static_cast<float>(kLayers));
    glUniform1i(loc("_TextureLookup"), kind_ == Height ? 2 : 4);
    glUniform2f(loc(".LookupDims"), static_cast<float>(cols_), static_cast<float>(rows_));
    glUniform2f(loc(".smallTileExtent"), static_cast<float>(small_tile_extent_[0]),
                static_cast<float>(small_tile_extent_[1]));
    glUniform2f(loc(".BB_min"), static_cast<float>(bounding_box_.lower[0] - origin[0]),
                static_cast<float>(bounding_box_.lower[1] - origin[1]));
    glUniform2f(loc(".BB_max"), static_cast<float>(bounding_box_.upper[0] - origin[0]),
                static_cast<float>(bounding_box_.upper[1] - origin[1]));
    glUniform2f(loc(".ZRange"), static_cast<float>(z_min()), static_cast<float>(z_max()));
    glUniform1i(loc("_TextureArray"), kind_ == Height ? 3 : 5);
    glActiveTexture(kind_ == Height ? GL_TEXTURE2 : GL_TEXTURE4);
    glDisable(GL_TEXTURE_1D);
    glDisable(GL_TEXTURE_3D);
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, lookup_texture_ == ~0u ? 0 : lookup_texture_);
    glActiveTexture(kind_ == Height ? GL_TEXTURE3 : GL_TEXTURE5);
    glDisable(GL_TEXTURE_1D);
    glDisable(GL_TEXTURE_2D);
    glEnable(GL_TEXTURE_3D);
    glBindTexture(GL_TEXTURE_3D, array_texture_ == ~0u ? 0 : array_texture_);
    glActiveTexture(GL_TEXTURE0);
}

} // namespace Tolmar
