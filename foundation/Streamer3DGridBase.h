#pragma once
// What the writer and the reader of a brick file (".tmf", docs/formats.md)
// share: the brick grid, the element type and its undefined value, the value
// range, the survey description and the amplitude histogram, together with
// the file's layout and the encoding of one brick.
//
// A level-l brick at position p covers, along each axis, the level-0
// elements 2^l * (p * core - border) up to 2^l * ((p + 1) * core + border),
// exclusive: its element e stands for the 2^l level-0 elements from
// 2^l * (p * core - border + e). Positions and totals run (samples,
// crosslines, inlines).

#include "platform/api.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/BrickGrid.h"
#include "foundation/Info3DGrid.h"
#include "foundation/SEGYCubeInfo.h"
#include "foundation/StreamKeys.h"
#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class Streamer3DGridBase {
public:
    // The survey the cube was made from; its histogram member is not kept in
    // the file, the cube's histogram travels beside it (get_histogram).
    SEGYCubeInfo info;

    virtual ~Streamer3DGridBase() = default;

    vec<unsigned, 3> id2pos(BrickKey const& key) const { return grid_.id2pos(key); }
    unsigned pos2id(vec<unsigned, 3> const& pos, unsigned level) const { return grid_.pos2id(pos, level); }
    unsigned pos2id(unsigned x, unsigned y, unsigned z, unsigned level) const { return grid_.pos2id(x, y, z, level); }
    bool get_parent(BrickKey const& key, BrickKey& parent) const { return grid_.get_parent(key, parent); }
    // children[dx][dy][dz]; those past the finer level's counts get BrickGrid::kNoBrick.
    bool get_children(BrickKey const& key, BrickKey (*children)[2][2]) const
    {
        return grid_.get_children(key, children);
    }
    bool is_root(BrickKey const& key) const { return grid_.is_root(key); }
    bool contains(BrickKey const& key) const { return grid_.contains(key); }

    std::vector<unsigned long long> get_histogram() const { return histogram_; }
    // The value that marks an element no trace reaches.
    double get_undef_value() const { return undef_; }
    // Sizes the brick's data to a whole brick of undefined values.
    void fill_brick_data_with_undef_values(Brick& brick) const;

    Info3DGrid::eDataType get_type() const { return type_; }
    unsigned get_brick_size() const { return grid_.brick_size(); }
    unsigned get_border() const { return grid_.border(); }
    unsigned get_num_levels() const { return grid_.num_levels(); }
    // Brick counts per level, finest first.
    std::vector<vec<unsigned, 3>> const& get_level_counts() const { return grid_.level_counts(); }
    vec<unsigned, 3> const& get_total_size() const { return grid_.total_size(); }
    double get_min_value() const { return min_; }
    double get_max_value() const { return max_; }
    BrickGrid const& grid() const { return grid_; }
    // Bytes of one brick's data.
    std::size_t brick_bytes() const { return brickBytes_; }

    // Why a brick of brickSize with this border cannot cut a cube of
    // totalSize, in words that name the field, or empty.
    static std::string grid_problem(vec<unsigned, 3> const& totalSize, unsigned brickSize, unsigned border);
    // Why the survey cannot describe a cube of totalSize (line ranges, z,
    // the map transform, slice sizes), or empty.
    static std::string description_problem(SEGYCubeInfo const& cube, vec<unsigned, 3> const& totalSize);

    // INT8 127, INT16 32767, FLOAT the largest float; every other type its largest value.
    static double default_undef_value(Info3DGrid::eDataType type);
    // The element types a brick file holds: all but BIT1 and the 64-bit
    // integers, whose values a double cannot carry exactly.
    static bool is_supported_type(Info3DGrid::eDataType type);

protected:
    // ---- the file's layout (docs/formats.md, "Brick file") ----
    static constexpr char kMagic[8] = {'T', 'O', 'L', 'M', 'A', 'R', 'B', 'K'};
    static constexpr std::uint32_t kVersion = 1;
    static constexpr std::size_t kFixedHeaderBytes = 204; // the header without its level counts and name
    static constexpr std::size_t kPreambleBytes = 16;      // magic, version, header length
    static constexpr std::size_t kEntryBytes = 24;
    static constexpr std::size_t kSumBytes = 8;
    static constexpr std::uint64_t kUndefOffset = ~std::uint64_t(0);
    static constexpr std::uint32_t kMaxNameBytes = 1u << 16;
    static constexpr unsigned kMaxBrickSize = 512; // keeps a stored brick's size within 32 bits
    static constexpr char const* kAxisNames[3] = {"samples", "crosslines", "inlines"};

    enum Encoding : std::uint8_t {
        kRaw = 0,
        // zstd over the differences along the samples, their bytes regrouped by position
        kZstdDeltaPlanes = 1,
    };

    // One brick's row of the offset table.
    struct TableEntry {
        std::uint64_t offset = kUndefOffset;
        std::uint32_t size = 0;
        std::uint8_t encoding = kRaw;
        std::uint64_t checksum = 0;
        bool undefined() const { return offset == kUndefOffset; }
    };

    // Sets up the grid and the values; false when the grid would be empty.
    bool set_up(vec<unsigned, 3> const& totalSize, Info3DGrid::eDataType type, unsigned brickSize, unsigned border,
                double minValue, double maxValue, double undefValue);
    // Index into the offset table: level 0 first, ids in order within a level.
    std::size_t table_index(BrickKey const& key) const
    {
        return static_cast<std::size_t>(levelStart_[key.level] + key.id);
    }
    std::uint64_t total_bricks() const { return levelStart_.empty() ? 0 : levelStart_.back(); }
    unsigned element_bytes() const { return static_cast<unsigned>(Info3DGrid::bytes_per_element(type_)); }
    // The header's length, without its checksum.
    std::size_t header_bytes() const { return kFixedHeaderBytes + 12 * grid_.num_levels() + info.name.size(); }
    // Where brick data may start: after the header, the table and their checksums.
    std::uint64_t data_start() const { return header_bytes() + kSumBytes + total_bricks() * kEntryBytes + kSumBytes; }

    // The header section, checksum included.
    std::vector<unsigned char> encode_header(std::uint64_t histogramOffset, std::uint64_t histogramBins) const;
    // Reads a header section (checksum already verified); sets up this
    // object. On failure answers false and says why.
    bool decode_header(unsigned char const* p, std::size_t n, std::uint64_t& histogramOffset,
                       std::uint64_t& histogramBins, std::string& why);
    static void encode_entry(TableEntry const& e, unsigned char* p);
    static TableEntry decode_entry(unsigned char const* p);

    // Compresses a whole brick's data where that saves bytes, else stores
    // the bytes as they are; answers how many of `stored`'s first bytes it
    // filled. `stored` grows to the compressor's bound when shorter and is
    // never shrunk, so a buffer kept from brick to brick is allocated once
    // and nothing is copied. Safe from many threads at once.
    std::size_t encode_brick(std::vector<char> const& data, std::vector<char>& stored, std::uint8_t& encoding) const;
    // False when the stored bytes do not decode to exactly one brick.
    bool decode_brick(char const* stored, std::size_t size, std::uint8_t encoding, std::vector<char>& data) const;

    BrickGrid grid_;
    Info3DGrid::eDataType type_ = Info3DGrid::FLOAT;
    double undef_ = default_undef_value(Info3DGrid::FLOAT);
    double min_ = 0.0, max_ = 0.0;
    std::vector<unsigned long long> histogram_;
    std::vector<std::uint64_t> levelStart_; // first table index of each level, then the total
    std::size_t brickBytes_ = 0;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
