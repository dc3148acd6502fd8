// The raster tile reader: its pyramid tables and addressing, tile words
// against GDAL's own resampled reads, the request queue and cache, and what
// happens when the file changes under it.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <cpl_string.h>
#include <gdal_priv.h>

#include "foundation/StreamerManager2D.h"
#include "host/StreamerRasterReader.h"
#include "host/gdal_raster_dataset.h"
#include "host/gdal_spatial_reference.h"
#include "null_raster_dataset.h"
#include "platform/text_encoding.h"
#include "platform/update_sink.h"
#include "raster_test_files.h"

namespace {

using namespace std::chrono_literals;
using namespace Tolmar::host;
using Tolmar::box;
using Tolmar::Streamer2DBase;
using Tolmar::StreamerManager2D;
using Tolmar::vec;

constexpr int kTs = StreamerRasterReader::kTileSize;

struct TestClock {
    std::atomic<long long> ms{0};
    Streamer2DBase::Clock clock()
    {
        return [this] { return Streamer2DBase::TimePoint(std::chrono::milliseconds(ms.load())); };
    }
};

// A raster in memory whose pixel (x, y) of the level read is value(x, y);
// it notes the block offset of each read.
class FakeRaster final : public tolmar_test::NullRasterDataset {
public:
    FakeRaster(int w, int h) : w_(w), h_(h) {}
    int width() const override { return w_; }
    int height() const override { return h_; }
    box<double, 2> extent() const override
    {
        return box<double, 2>(vec<double, 2>{{500000, 6000000 - 10.0 * h_}}, vec<double, 2>{{500000 + 10.0 * w_, 6000000}});
    }
    bool statistics(int, BandStatistics& out, std::string*) override
    {
        out = stats;
        return true;
    }
    bool read(int, int, int, int x, int y, int bw, int bh, PixelBlock& out, std::string*) override
    {
        reads.push_back(vec<int, 2>{{x, y}});
        out.width = bw;
        out.height = bh;
        out.values.resize(static_cast<std::size_t>(bw * bh));
        out.valid.assign(out.values.size(), 1);
        for (int i = 0; i < bw * bh; ++i) out.values[static_cast<std::size_t>(i)] = value(x + i % bw, y + i / bw);
        return true;
    }

    BandStatistics stats{0, 1000, 0, 0};
    std::function<float(int, int)> value = [](int x, int) { return static_cast<float>(x); };
    std::vector<vec<int, 2>> reads;

private:
    int w_, h_;
};

// A reader driven turn by turn on the test's thread.
struct Driven {
    TestClock clock;
    StreamerRasterReader reader;

    explicit Driven(RasterSourceOpener opener) : reader(clock.clock(), std::move(opener)) {}
    explicit Driven(std::shared_ptr<FakeRaster> raster)
        : Driven([raster](RasterSourceConnectionInfo const&, std::string*) -> RasterDatasetPtr { return raster; })
    {
    }
    bool open(RasterSourceConnectionInfo const& info = {})
    {
        reader.start_datasource_open(info);
        turn();
        return reader.state() == StreamerRasterReader::Open;
    }
    void turn()
    {
        bool finished = false;
        reader.process(0, finished);
    }
    bool cached(TileKey key)
    {
        std::vector<RasterTile> tiles;
        reader.get_tiles_if_loaded({key}, tiles);
        return !tiles.empty();
    }
};

RasterSourceConnectionInfo file_source(std::string const& dir, std::string const& name,
                                       vec<int, 4> bands = vec<int, 4>{{0, -1, -1, -1}})
{
    RasterSourceConnectionInfo info;
    info.set_file_datasource(Tolmar::platform::from_utf8(dir), Tolmar::platform::from_utf8(name), nullptr, bands);
    return info;
}

std::vector<vec<int, 2>> pairs(std::initializer_list<std::pair<int, int>> list)
{
    std::vector<vec<int, 2>> out;
    for (auto const& p : list) out.push_back(vec<int, 2>{{p.first, p.second}});
    return out;
}

TEST(RasterTileReader, LevelTablesHalveDownToOneTile)
{
    struct Case {
        int w, h;
        std::vector<vec<int, 2>> dims, resolutions;
    };
    std::vector<Case> const cases{
        {1000, 300, pairs({{8, 3}, {4, 2}, {2, 1}, {1, 1}}), pairs({{1000, 300}, {500, 150}, {250, 75}, {125, 38}})},
        {128, 128, pairs({{1, 1}}), pairs({{128, 128}})},
        {7, 100, pairs({{1, 1}}), pairs({{7, 100}})},
        {129, 1, pairs({{2, 1}, {1, 1}}), pairs({{129, 1}, {65, 1}})},
        // A power of two of tiles: the last level is exactly one tile, no more.
        {1024, 128, pairs({{8, 1}, {4, 1}, {2, 1}, {1, 1}}), pairs({{1024, 128}, {512, 64}, {256, 32}, {128, 16}})},
    };
    for (auto const& c : cases) {
        Driven d(std::make_shared<FakeRaster>(c.w, c.h));
        ASSERT_TRUE(d.open()) << c.w << "x" << c.h;
        EXPECT_EQ(d.reader.get_tile_dims(), c.dims) << c.w << "x" << c.h;
        EXPECT_EQ(d.reader.get_pyramid_resolutions(), c.resolutions) << c.w << "x" << c.h;
    }
}

TEST(RasterTileReader, AddressingClampsAndTilesStickOutAtTheEdges)
{
    auto raster = std::make_shared<FakeRaster>(1000, 300); // 8 x 3 tiles, then 4 x 2, 2 x 1, 1 x 1
    Driven d(raster);
    ASSERT_TRUE(d.open());
    StreamerRasterReader const& r = d.reader;
    EXPECT_EQ(r.pos2id(0, 3, 1), 11);
    EXPECT_EQ(r.pos2id(0, -3, 99), 16); // clamped to (0, 2)
    EXPECT_EQ(r.pos2id(0, 100, -1), 7);
    int x = 0, y = 0;
    r.id2pos(0, 23, x, y);
    EXPECT_EQ(x, 7);
    EXPECT_EQ(y, 2);
    EXPECT_EQ(r.parent_tile(0, 23), r.pos2id(1, 3, 1));
    EXPECT_EQ(r.parent_tile(3, 0), -1) << "the last level has no parent";

    int children[4];
    r.children_tiles(1, r.pos2id(1, 3, 1), children); // (6..7, 2..3) on level 0, which has rows 0..2
    EXPECT_EQ(children[0], 22);
    EXPECT_EQ(children[1], 23);
    EXPECT_EQ(children[2], -1);
    EXPECT_EQ(children[3], -1);
    r.children_tiles(2, 1, children); // (2..3, 0..1) on level 1, all inside
    EXPECT_EQ((std::vector<int>(children, children + 4)), (std::vector<int>{2, 3, 6, 7}));
    r.children_tiles(3, 0, children);
    EXPECT_EQ((std::vector<int>(children, children + 4)), (std::vector<int>{0, 1, -1, -1}));
    r.children_tiles(0, 0, children);
    EXPECT_EQ(children[0], -1);

    vec<int, 2> offset;
    r.get_tile_pixel_offset(2, 1, offset);
    EXPECT_EQ(offset, (vec<int, 2>{{128, 0}}));

    // 10 m pixels: a level-0 tile is 1280 m a side.
    box<double, 2> const extent = r.get_extent();
    box<double, 2> const first = r.get_tile_extent(0, 0);
    EXPECT_DOUBLE_EQ(first.lower[0], 500000);
    EXPECT_DOUBLE_EQ(first.upper[0], 501280);
    EXPECT_DOUBLE_EQ(first.upper[1], 6000000);
    EXPECT_DOUBLE_EQ(first.lower[1], 6000000 - 1280);
    box<double, 2> const last = r.get_tile_extent(0, 23);
    EXPECT_DOUBLE_EQ(last.upper[0], 500000 + 8 * 1280.0);
    EXPECT_GT(last.upper[0], extent.upper[0]);
    EXPECT_LT(last.lower[1], extent.lower[1]);
    // On level 3 one tile of 125 x 38 pixels covers 1000 x 300.
    box<double, 2> const top = r.get_tile_extent(3, 0);
    EXPECT_NEAR(top.upper[0] - top.lower[0], 10000.0 * 128 / 125, 1e-6);
    EXPECT_NEAR(top.upper[1] - top.lower[1], 3000.0 * 128 / 38, 1e-6);
}

// ---- tile words against GDAL ------------------------------------------------

constexpr double kNoData = -9999;

bool is_nodata_pixel(int x, int y) { return (x * 7 + y * 3) % 11 == 0; }

tolmar_test::RasterSpec single_band_spec(std::string const& path)
{
    tolmar_test::RasterSpec spec;
    spec.path = path;
    spec.width = 512;
    spec.height = 384;
    spec.nodata = kNoData;
    spec.value = [](int, int x, int y) { return is_nodata_pixel(x, y) ? kNoData : x + 100.0 * y; };
    return spec;
}

void build_overviews(std::string const& path, char const* resampling)
{
    std::unique_ptr<GDALDataset> ds(GDALDataset::Open(path.c_str(), GDAL_OF_RASTER | GDAL_OF_UPDATE));
    ASSERT_TRUE(ds);
    int factors[] = {2, 4};
    ASSERT_EQ(ds->BuildOverviews(resampling, 2, factors, 0, nullptr, nullptr, nullptr, nullptr), CE_None);
}

// GDAL's own nearest-neighbour read of the window the tile covers, into a
// buffer of the tile's part inside its level: fewer pixels than the window.
std::vector<float> gdal_tile(std::string const& path, int band, StreamerRasterReader const& r, TileKey key, int& bw,
                             int& bh)
{
    std::unique_ptr<GDALDataset> ds(GDALDataset::Open(path.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY));
    EXPECT_TRUE(ds);
    if (!ds) return {};
    vec<int, 2> const level = r.get_pyramid_resolutions()[static_cast<std::size_t>(key.level)];
    vec<int, 2> offset;
    r.get_tile_pixel_offset(key.level, key.id, offset);
    bw = std::min(kTs, level[0] - offset[0]);
    bh = std::min(kTs, level[1] - offset[1]);
    int const sx = ds->GetRasterXSize() / level[0], sy = ds->GetRasterYSize() / level[1];
    EXPECT_EQ(sx * level[0], ds->GetRasterXSize()) << "the test's levels are whole fractions";
    GDALRasterIOExtraArg extra;
    INIT_RASTERIO_EXTRA_ARG(extra);
    extra.eResampleAlg = GRIORA_NearestNeighbour;
    std::vector<float> out(static_cast<std::size_t>(bw * bh));
    EXPECT_EQ(ds->GetRasterBand(band + 1)->RasterIO(GF_Read, offset[0] * sx, offset[1] * sy, bw * sx, bh * sy,
                                                     out.data(), bw, bh, GDT_Float32, 0, 0, &extra),
              CE_None);
    return out;
}

std::uint32_t expected_word(float v, RasterBandInfo const& band)
{
    if (v == static_cast<float>(kNoData)) return kUndefinedTileWord;
    double const t = std::clamp((v - band.min) / (band.max - band.min), 0.0, 1.0);
    return static_cast<std::uint32_t>(std::trunc(t * 4294967294.0));
}

void expect_single_band_tiles_match_gdal(std::string const& dir, std::string const& name, bool some_nodata)
{
    Driven d(&open_raster_source_gdal);
    ASSERT_TRUE(d.open(file_source(dir, name)));
    StreamerRasterReader& r = d.reader;
    ASSERT_EQ(r.num_levels(), 3); // 4 x 3, 2 x 2, 1 x 1 tiles
    ASSERT_EQ(r.get_raster_band_infos().size(), 1u);
    RasterBandInfo const band = r.get_raster_band_infos()[0];
    EXPECT_EQ(band.min, 1.0); // (0, 0) is NoData
    EXPECT_EQ(band.max, 511 + 38300.0);
    EXPECT_TRUE(r.has_nodata());
    EXPECT_EQ(r.nodata(), kNoData);

    // A whole tile, one reaching past the bottom and right of level 1, and
    // the one tile of level 2 (128 x 96 pixels).
    for (TileKey const key : {TileKey{1, 0}, TileKey{1, 3}, TileKey{2, 0}}) {
        SCOPED_TRACE(testing::Message() << name << " level " << key.level << " id " << key.id);
        RasterTile tile;
        tile.key = key;
        ASSERT_TRUE(r.read(tile));
        ASSERT_EQ(tile.data.size(), static_cast<std::size_t>(kTs * kTs));
        int bw = 0, bh = 0;
        std::vector<float> const peer = gdal_tile(dir + "/" + name, 0, r, key, bw, bh);
        int mismatches = 0, undefined = 0;
        std::uint32_t low = kUndefinedTileWord, high = 0;
        for (int y = 0; y < kTs; ++y)
            for (int x = 0; x < kTs; ++x) {
                std::uint32_t const want = x < bw && y < bh ? expected_word(peer[static_cast<std::size_t>(y * bw + x)], band)
                                                            : kUndefinedTileWord;
                std::uint32_t const got = tile.data[static_cast<std::size_t>(y * kTs + x)];
                // One scale factor in place of the quotient: a unit at most.
                bool const same = want == kUndefinedTileWord || got == kUndefinedTileWord
                                      ? got == want
                                      : (got > want ? got - want : want - got) <= 1;
                mismatches += !same;
                undefined += want == kUndefinedTileWord && x < bw && y < bh;
                if (got != kUndefinedTileWord) {
                    low = std::min(low, got);
                    high = std::max(high, got);
                }
            }
        EXPECT_EQ(mismatches, 0);
        if (some_nodata) {
            EXPECT_GT(undefined, 0) << "the window holds NoData pixels";
        }
        EXPECT_DOUBLE_EQ(tile.min, band.min + low / 4294967294.0 * (band.max - band.min));
        EXPECT_DOUBLE_EQ(tile.max, band.min + high / 4294967294.0 * (band.max - band.min));
    }
}

TEST(RasterTileReader, SingleBandWordsMatchGdalsResampledRead)
{
    std::string const dir = tolmar_test::fresh_dir("tile_words");
    tolmar_test::write_raster(single_band_spec(dir + "/plain.tif"));
    expect_single_band_tiles_match_gdal(dir, "plain.tif", true);

    // Overviews of averages differ from the full-resolution samples (and
    // average NoData away); a level read goes through them as GDAL's own
    // read does.
    std::filesystem::copy_file(dir + "/plain.tif", dir + "/overviews.tif");
    build_overviews(dir + "/overviews.tif", "AVERAGE");
    expect_single_band_tiles_match_gdal(dir, "overviews.tif", false);

    Driven plain(&open_raster_source_gdal), with(&open_raster_source_gdal);
    ASSERT_TRUE(plain.open(file_source(dir, "plain.tif")));
    ASSERT_TRUE(with.open(file_source(dir, "overviews.tif")));
    RasterTile a, b;
    a.key = b.key = TileKey{1, 0};
    ASSERT_TRUE(plain.reader.read(a));
    ASSERT_TRUE(with.reader.read(b));
    EXPECT_NE(a.data, b.data) << "the overviews were not used";
}

TEST(RasterTileReader, SeveralBandsFillTheByteOfTheirBandNumber)
{
    std::string const dir = tolmar_test::fresh_dir("tile_rgb");
    tolmar_test::RasterSpec spec;
    spec.path = dir + "/rgb.tif";
    spec.width = 300;
    spec.height = 200;
    spec.bands = 3;
    spec.pixel_type = "Byte";
    spec.value = [](int b, int x, int y) { return (x * (b + 1) + y * 3 + 50 * b) % 256; };
    tolmar_test::write_raster(spec);
    for (int overviews = 0; overviews < 2; ++overviews) {
        if (overviews) build_overviews(spec.path, "NEAREST");
        // Channels in another order than the bands: each band still goes to
        // the byte of its own number.
        Driven d(&open_raster_source_gdal);
        ASSERT_TRUE(d.open(file_source(dir, "rgb.tif", vec<int, 4>{{2, 1, 0, -1}})));
        ASSERT_FALSE(d.reader.isSingleBand());
        // Level 1 is 150 x 100: two tiles, the second 22 pixels wide.
        for (TileKey const key : {TileKey{1, 0}, TileKey{1, 1}}) {
            SCOPED_TRACE(testing::Message() << "overviews " << overviews << " id " << key.id);
            RasterTile tile;
            tile.key = key;
            ASSERT_TRUE(d.reader.read(tile));
            ASSERT_EQ(tile.data.size(), static_cast<std::size_t>(kTs * kTs));
            auto const* bytes = reinterpret_cast<unsigned char const*>(tile.data.data());
            int mismatches = 0, alpha = 0;
            for (int band = 0; band < 3; ++band) {
                int bw = 0, bh = 0;
                std::vector<float> const peer = gdal_tile(spec.path, band, d.reader, key, bw, bh);
                for (int y = 0; y < bh; ++y)
                    for (int x = 0; x < bw; ++x)
                        mismatches += bytes[(y * kTs + x) * 4 + band] != peer[static_cast<std::size_t>(y * bw + x)];
            }
            for (std::size_t i = 0; i < tile.data.size(); ++i) alpha += bytes[i * 4 + 3] == 0xFF;
            EXPECT_EQ(mismatches, 0);
            EXPECT_EQ(alpha, kTs * kTs) << "the byte of no band stays 0xFF";
        }
    }
}

TEST(RasterTileReader, ConstantBandAndOddValuesGiveDefinedWords)
{
    auto raster = std::make_shared<FakeRaster>(4, 1);
    raster->stats = BandStatistics{5, 5, 5, 0};
    float const inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    std::vector<float> const values{4, 5, 6, nan};
    raster->value = [&](int x, int) { return x < 4 ? values[static_cast<std::size_t>(x)] : 5.0f; };
    Driven d(raster);
    ASSERT_TRUE(d.open());
    RasterTile tile;
    tile.key = TileKey{0, 0};
    ASSERT_TRUE(d.reader.read(tile));
    EXPECT_EQ(tile.data[0], 0u);
    EXPECT_EQ(tile.data[1], 0u);
    EXPECT_EQ(tile.data[2], kMaxTileWord);
    EXPECT_EQ(tile.data[3], 0u) << "NaN counts as the minimum";
    EXPECT_EQ(tile.min, 5);
    EXPECT_EQ(tile.max, 5);

    // With a range, infinities clamp to its ends.
    raster->stats = BandStatistics{0, 10, 5, 1};
    Driven ranged(raster);
    ASSERT_TRUE(ranged.open());
    std::vector<float> const odd{-inf, inf, nan, 2.5f};
    raster->value = [&](int x, int) { return x < 4 ? odd[static_cast<std::size_t>(x)] : 0.0f; };
    ASSERT_TRUE(ranged.reader.read(tile));
    EXPECT_EQ(tile.data[0], 0u);
    EXPECT_EQ(tile.data[1], kMaxTileWord);
    EXPECT_EQ(tile.data[2], 0u);
    EXPECT_EQ(tile.data[3], 1073741823u);
}

// ---- the queue and the cache ------------------------------------------------

TEST(RasterTileReader, RequestsAreServedFirstElementFirstAndReplaced)
{
    auto raster = std::make_shared<FakeRaster>(1000, 300);
    Driven d(raster);
    ASSERT_TRUE(d.open());
    raster->reads.clear();
    d.reader.request_tiles({{0, 2}, {0, 0}, {0, 1}});
    d.reader.prefetch({0, 5});
    d.reader.prefetch({0, 0}); // already queued: moves to the front
    EXPECT_TRUE(d.reader.is_loading_data());
    for (int i = 0; i < 5; ++i) d.turn();
    EXPECT_EQ(raster->reads, pairs({{0, 0}, {640, 0}, {256, 0}, {128, 0}}));
    EXPECT_FALSE(d.reader.is_loading_data());
    EXPECT_EQ(d.reader.get_num_tiles_in_cache(), 4u);

    // A new list replaces the old; a cached tile in it costs no read.
    d.reader.request_tiles({{0, 9}, {0, 10}, {0, 2}});
    d.reader.request_tiles({{0, 2}, {1, 1}});
    d.turn();
    d.turn();
    EXPECT_EQ(raster->reads.size(), 5u);
    EXPECT_EQ(raster->reads.back(), (vec<int, 2>{{128, 0}}));
    EXPECT_TRUE(d.cached({1, 1}));
    d.reader.request_tiles({{0, 9}});
    d.reader.request_tiles({});
    EXPECT_FALSE(d.reader.is_loading_data());
    d.turn();
    EXPECT_EQ(raster->reads.size(), 5u);

    // A level outside the pyramid is cached as an empty tile, unread.
    d.reader.prefetch({7, 0});
    d.turn();
    std::vector<RasterTile> tiles;
    d.reader.get_tiles_if_loaded({{7, 0}}, tiles);
    ASSERT_EQ(tiles.size(), 1u);
    EXPECT_TRUE(tiles[0].data.empty());
    EXPECT_EQ(raster->reads.size(), 5u);
}

TEST(RasterTileReader, EvictionAndTheLeastRecentlyUsedLimit)
{
    auto raster = std::make_shared<FakeRaster>(1000, 300);
    Driven d(raster);
    ASSERT_TRUE(d.open());
    TileKey const a{0, 0}, b{0, 1}, c{0, 2}, e{0, 3};

    // An eviction takes effect at the next turn; the tile may come again.
    d.reader.prefetch(a);
    d.turn();
    d.reader.evict_tile(a);
    EXPECT_TRUE(d.cached(a));
    d.turn();
    EXPECT_FALSE(d.cached(a));
    d.reader.prefetch(a);
    d.turn();
    EXPECT_TRUE(d.cached(a));
    EXPECT_EQ(raster->reads.size(), 2u);

    // Asked for again before the turn drains the eviction: the turn erases
    // the copy and reads it once more.
    d.reader.evict_tile(a);
    d.reader.prefetch(a);
    d.turn();
    EXPECT_TRUE(d.cached(a));
    EXPECT_EQ(raster->reads.size(), 3u);

    // Trimmed to the limit at the start of a turn, least recently used
    // first; collecting a tile counts as a use.
    d.reader.set_max_cached_tiles(2);
    EXPECT_EQ(d.reader.get_max_cached_tiles(), 2u);
    d.reader.request_tiles({b, c});
    d.turn();
    d.turn();
    EXPECT_EQ(d.reader.get_num_tiles_in_cache(), 3u); // a, b, c: the trim comes before the read
    std::vector<RasterTile> tiles;
    d.reader.get_tiles_if_loaded({a, e}, tiles); // recent: a, c, b
    ASSERT_EQ(tiles.size(), 1u);
    EXPECT_EQ(tiles[0].key, a);
    d.reader.prefetch(e);
    d.turn();
    EXPECT_TRUE(d.cached(a));
    EXPECT_FALSE(d.cached(b));
    EXPECT_TRUE(d.cached(c));
    EXPECT_TRUE(d.cached(e));
}

TEST(RasterTileReader, UpdatesArePostedAfterReadsAndAFullBatch)
{
    std::atomic<int> posts{0};
    Tolmar::platform::UpdateHandle const handle =
        Tolmar::platform::register_update_sink([&](char const*, std::uintptr_t, std::intptr_t) { ++posts; });
    auto raster = std::make_shared<FakeRaster>(1000, 300);
    Driven d(raster);
    RasterSourceConnectionInfo info;
    info.window = handle;
    ASSERT_TRUE(d.open(info));
    d.reader.request_tiles({{0, 0}, {0, 1}, {0, 2}});
    for (int i = 0; i < 4; ++i) d.turn();
    EXPECT_EQ(posts, 3) << "one a tile read";

    std::vector<TileKey> const keys{{0, 0}, {0, 7}, {0, 1}, {0, 2}};
    std::vector<RasterTile> tiles;
    d.reader.get_first_n_tiles_if_loaded(keys, 2, tiles);
    ASSERT_EQ(tiles.size(), 2u);
    EXPECT_EQ(tiles[1].key, (TileKey{0, 1}));
    EXPECT_EQ(posts, 4) << "n found: more may be waiting";
    d.reader.get_first_n_tiles_if_loaded(keys, 4, tiles);
    EXPECT_EQ(tiles.size(), 3u);
    d.reader.get_tiles_if_loaded(keys, tiles);
    EXPECT_EQ(posts, 4);
    Tolmar::platform::unregister_update_sink(handle);
}

// ---- the file changes under the reader ---------------------------------------

TEST(RasterTileReader, ReopensAfterAPauseAndSeesTheReplacedFile)
{
    std::string const dir = tolmar_test::fresh_dir("tile_replace");
    tolmar_test::RasterSpec spec;
    spec.path = dir + "/r.tif";
    spec.width = 200;
    spec.height = 100;
    spec.value = [](int, int x, int) { return x; };
    tolmar_test::write_raster(spec);
    Driven d(&open_raster_source_gdal);
    ASSERT_TRUE(d.open(file_source(dir, "r.tif")));
    RasterTile before;
    before.key = {0, 0};
    ASSERT_TRUE(d.reader.read(before));

    // A draw: the raster is let go, and the reader opens it afresh after.
    d.reader.pause_reading();
    EXPECT_EQ(d.reader.state(), StreamerRasterReader::OpenRequested);
    d.turn();
    spec.value = [](int, int x, int) { return 199 - x; };
    tolmar_test::write_raster(spec);
    d.reader.resume_reading();
    d.reader.prefetch({0, 0});
    d.turn();
    EXPECT_FALSE(d.cached({0, 0})) << "read before the 2 s after the draw";
    d.clock.ms += 2000;
    d.turn();
    EXPECT_EQ(d.reader.state(), StreamerRasterReader::Open);
    std::vector<RasterTile> tiles;
    d.reader.get_tiles_if_loaded({{0, 0}}, tiles);
    ASSERT_EQ(tiles.size(), 1u);
    EXPECT_EQ(before.data[0], 0u);
    EXPECT_EQ(tiles[0].data[0], kMaxTileWord) << "the new file's values, over the band range as first opened";

    // Another size is another raster: the reader stops.
    d.reader.pause_reading();
    d.turn();
    spec.width = 300;
    tolmar_test::write_raster(spec);
    d.reader.resume_reading();
    d.clock.ms += 2000;
    d.reader.prefetch({0, 1});
    d.turn();
    EXPECT_EQ(d.reader.state(), StreamerRasterReader::Failed);
    EXPECT_EQ(d.reader.get_tile_dims().size(), 2u) << "the tables stay as first made";
    RasterTile never;
    EXPECT_FALSE(d.reader.get_tile({0, 1}, never));
    EXPECT_TRUE(d.reader.get_tile({0, 0}, never)) << "the cache still answers";
}

std::shared_ptr<StreamerRasterReader> open_on_disk(RasterSourceConnectionInfo const& info, TestClock& clock)
{
    auto reader = std::make_unique<StreamerRasterReader>(clock.clock(), &open_raster_source_gdal);
    reader->start_datasource_open(info);
    StreamerRasterReader* const r = reader.get();
    return StreamerManager2D::get_instance()->open_streamer(std::move(reader), [r] { return r->start_ok(); });
}

// Runs a call that waits, and fails the test rather than hang with it: past
// the limit the reader is asked to retire, which ends any wait.
bool get_tile_within(StreamerRasterReader& reader, TileKey key, RasterTile& tile, bool& answered)
{
    auto call = std::async(std::launch::async, [&] { return reader.get_tile(key, tile); });
    answered = call.wait_for(10s) == std::future_status::ready;
    if (!answered) reader.request_close();
    return call.get();
}

TEST(RasterTileReader, OnTheDiskThreadAGarbledFileFailsTheWaitInsteadOfHangingIt)
{
    std::string const dir = tolmar_test::fresh_dir("tile_garbage");
    tolmar_test::write_raster(single_band_spec(dir + "/g.tif"));
    TestClock clock;
    auto reader = open_on_disk(file_source(dir, "g.tif"), clock);
    ASSERT_TRUE(reader);
    bool answered = false;
    RasterTile tile;
    EXPECT_TRUE(get_tile_within(*reader, {0, 5}, tile, answered));
    ASSERT_TRUE(answered);
    EXPECT_EQ(tile.key, (TileKey{0, 5}));
    std::vector<RasterTile> tiles;
    reader->request_tiles({{1, 0}, {1, 1}});
    EXPECT_TRUE(reader->get_tiles({{1, 1}, {1, 0}}, tiles));
    EXPECT_EQ(tiles.size(), 2u);

    auto* manager = StreamerManager2D::get_instance();
    manager->arcmap_2d_about_to_draw();
    {
        std::ofstream garbage(dir + "/g.tif", std::ios::binary | std::ios::trunc);
        garbage << std::string(4096, 'x');
    }
    manager->arcmap_2d_after_draw();
    clock.ms += 2000;
    EXPECT_FALSE(get_tile_within(*reader, {0, 6}, tile, answered));
    EXPECT_TRUE(answered) << "get_tile did not return";
    EXPECT_EQ(reader->state(), StreamerRasterReader::Failed);
    EXPECT_FALSE(reader->get_tiles({{0, 7}}, tiles));
}

TEST(RasterTileReader, OpenRasterReaderUsesTheProcessOpener)
{
    std::string const dir = tolmar_test::fresh_dir("tile_open");
    tolmar_test::write_raster(single_band_spec(dir + "/r.tif"));
    set_raster_source_opener({});
    EXPECT_EQ(open_raster_reader(file_source(dir, "r.tif")), nullptr) << "no opener installed";
    ASSERT_TRUE(tolmar_install_raster_source_opener());
    EXPECT_EQ(open_raster_reader(file_source(dir, "missing.tif")), nullptr);
    auto reader = open_raster_reader(file_source(dir, "r.tif"));
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->num_levels(), 3);
    RasterTile tile;
    bool answered = false;
    EXPECT_TRUE(get_tile_within(*reader, {2, 0}, tile, answered));
    EXPECT_EQ(tile.data.size(), static_cast<std::size_t>(kTs * kTs));
}

TEST(RasterTileReader, GdalOpenerSourcesAndReprojection)
{
    std::string const dir = tolmar_test::fresh_dir("tile_sources");
    tolmar_test::RasterSpec spec;
    spec.path = dir + "/db.gpkg";
    spec.driver = "GPKG";
    spec.table = "heights";
    tolmar_test::write_raster(spec);
    RasterSourceConnectionInfo info;
    std::string why;
    info.set_gdb_datasource(Tolmar::platform::from_utf8(spec.path), L"heights", nullptr, vec<int, 4>{{0, -1, -1, -1}});
    RasterDatasetPtr const gpkg = open_raster_source_gdal(info, &why);
    ASSERT_TRUE(gpkg) << why;
    EXPECT_EQ(gpkg->width(), 40);

    info.set_sde_datasource(L"server", L"5151", L"db", L"u", L"p", L"SDE.DEFAULT", L"r", nullptr,
                            vec<int, 4>{{0, -1, -1, -1}});
    EXPECT_FALSE(open_raster_source_gdal(info, &why));
    EXPECT_EQ(why, "enterprise database rasters are not supported");

    // A file in UTM 31N seen in geographic coordinates: the extent in degrees.
    spec.path = dir + "/utm.tif";
    spec.driver = "GTiff";
    spec.table.clear();
    tolmar_test::write_raster(spec);
    info.set_file_datasource(Tolmar::platform::from_utf8(dir), L"utm.tif", spatial_reference_from_text("EPSG:4326"),
                             vec<int, 4>{{0, -1, -1, -1}});
    EXPECT_FALSE(info.spatial_reference.empty());
    EXPECT_EQ(info.kind, RasterSourceConnectionInfo::FILE);
    RasterDatasetPtr const geographic = open_raster_source_gdal(info, &why);
    ASSERT_TRUE(geographic) << why;
    EXPECT_NEAR(geographic->extent().lower[0], 3.0, 1.0);
    EXPECT_NEAR(geographic->extent().lower[1], 54.0, 1.0);
}

} // namespace
