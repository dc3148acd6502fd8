// The plane tilers and the seismic tile sources: tiles cover a plane with
// their borders and no gaps, and the amplitudes the sources put in them are
// the slice's, from bricks at once or from an indexed SEG-Y file as its
// traces arrive.

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "debug_capture.h"
#include "foundation/Streamer3DGridReader.h"
#include "foundation/StreamerIndexedSEGY3DReader.h"
#include "foundation/StreamerManager.h"
#include "foundation/slices.h"
#include "graphics/tile_renderer/PlaneTiler.h"
#include "graphics/tile_renderer/Tile.h"
#include "graphics/tile_renderer/TileDataSourceIndexedSeismic3D.h"
#include "graphics/tile_renderer/TileDataSourceSeismic3D.h"
#include "platform/update_sink.h"
#include "segy_test_util.h"
#include "tool_run.h"
#include "wait_for.h"

namespace {

using Tolmar::PlaneTiler;
using Tolmar::vec;
using Tiles = std::map<int, Tolmar::TileDataSourceInterface::TextureTile>;
using Key = Tolmar::TileDataSourceSeismic3DInterface::SliceKey;

TEST(PlaneTiler, TilesCoverThePlaneWithBordersAndPowersOfTwo)
{
    std::vector<PlaneTiler::Tile> tiles;
    PlaneTiler::split_in_tiles(vec<int, 2>{{507, 100}}, 2, 512, true, tiles);
    EXPECT_EQ(tiles.size(), 1u);
    EXPECT_EQ(tiles[0].tex_size[1], 128); // 100 samples and the border, rounded up
    PlaneTiler::split_in_tiles(vec<int, 2>{{508, 100}}, 2, 512, true, tiles);
    EXPECT_EQ(tiles.size(), 2u);

    for (vec<int, 2> size : {vec<int, 2>{{1300, 700}}, vec<int, 2>{{3, 1014}}, vec<int, 2>{{520, 6}}}) {
        PlaneTiler::split_in_tiles(size, 2, 512, true, tiles);
        std::vector<int> covered(static_cast<std::size_t>(size[0]) * size[1], 0);
        for (PlaneTiler::Tile const& t : tiles) {
            for (int a = 0; a < 2; ++a) {
                EXPECT_EQ(t.tex_size[a] & (t.tex_size[a] - 1), 0) << "a power of two";
                EXPECT_GE(t.tex_size[a], t.data_size[a] + t.dst_pos[a]);
                EXPECT_EQ(t.dst_pos[a], t.index[a] == 0 ? 2 : 0);
            }
            // The interior: the stride after the border, within the data.
            for (int y = t.index[1] * 507; y < std::min((t.index[1] + 1) * 507, size[1]); ++y)
                for (int x = t.index[0] * 507; x < std::min((t.index[0] + 1) * 507, size[0]); ++x) {
                    ASSERT_GE(x, t.src_pos[0]);
                    ASSERT_LT(x, t.src_pos[0] + t.data_size[0]);
                    ++covered[static_cast<std::size_t>(y) * size[0] + x];
                }
            // Each side keeps its border of neighbours where the plane has them.
            if (t.index[0] > 0) {
                EXPECT_EQ(t.src_pos[0], t.index[0] * 507 - 2);
            }
        }
        for (int c : covered) ASSERT_EQ(c, 1);
        EXPECT_FLOAT_EQ(tiles[0].tc_min[0], 2.5f / static_cast<float>(tiles[0].tex_size[0]));
        EXPECT_FLOAT_EQ(tiles.back().unit_max[0], 1.0f);
    }

    // A tile's rectangle on a vertical frame and on a time slice's frame.
    vec<double, 4> const x{{0, 10, 10, 0}}, y{{0, 0, 0, 0}}, z{{100, 100, 0, 0}};
    vec<float, 2> const unit[2] = {vec<float, 2>{{0.5f, 0}}, vec<float, 2>{{1, 0.5f}}};
    vec<double, 3> out[4];
    PlaneTiler::inl_crl_frame(unit, x, y, z, out);
    EXPECT_EQ(out[0][0], 5);
    EXPECT_EQ(out[0][2], 50);
    EXPECT_EQ(out[2][2], 0);
    vec<double, 4> const tx{{0, 10, 10, 0}}, ty{{10, 10, 0, 0}}, tz{{7, 7, 7, 7}};
    PlaneTiler::time_frame(unit, tx, ty, tz, out);
    EXPECT_EQ(out[0][0], 5);
    EXPECT_EQ(out[0][1], 5);
    EXPECT_EQ(out[3][1], 0);
    EXPECT_EQ(out[3][2], 7);
}

TEST(Tile, SplitSharesTwiceTheBorderAndOneSample)
{
    std::vector<Tolmar::Tile> tiles;
    Tolmar::Tile::split(100, 60, 128, 2, tiles);
    ASSERT_EQ(tiles.size(), 1u);
    EXPECT_EQ(tiles[0].x1, 99);
    Tolmar::Tile::split(300, 10, 128, 2, tiles);
    ASSERT_EQ(tiles.size(), 3u);
    EXPECT_EQ(tiles[1].x0, 123);
    EXPECT_EQ(tiles[0].x1 - tiles[1].x0 + 1, 5);
    EXPECT_EQ(tiles[2].x1, 299);
    EXPECT_DOUBLE_EQ(tiles[0].u_left, 2.5 / 128);
    EXPECT_DOUBLE_EQ(tiles[0].x_left_interior_of_tile(300), 2.0 / 299);
}

// One survey as a brick file and as an indexed SEG-Y file: 520 inlines,
// crosslines 2000..2010 by 2, 530 samples of 4 ms. Its inlines, crosslines
// and time slices each take more than one tile.
class TileSources : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        dir = new tolmar_test::ScratchDir;
        std::string const segy = dir->path("s.sgy");
        using tolmar_test::tolmar;
        ASSERT_EQ(tolmar("synth --inlines 520 --crosslines 6 --samples 530 --format ieee " + segy).status, 0);
        ASSERT_EQ(tolmar("import " + segy + " --index " + dir->path("s.idx") + " --bricks " + dir->dir() + " --name cube").status, 0);
    }
    static void TearDownTestSuite() { delete dir; }

    template <class Source>
    static void set_up(Source& s, Key const& key)
    {
        s.set_inlrng(vec<int, 3>{{1000, 1519, 1}});
        s.set_crlrng(vec<int, 3>{{2000, 2010, 2}});
        s.set_timerng(vec<double, 3>{{0, 2116, 4}});
        s.set_slice_key(key);
    }

    // Every tile's data holds the slice where the tile takes it from.
    template <class Source>
    static void expect_slice(Source const& source, Tiles const& tiles, Key const& key)
    {
        auto grid = Tolmar::StreamerManager::get_instance().open_3dgrid_reader(dir->path("cube.tmf"));
        std::vector<float> slice;
        vec<int, 2> size{};
        bool const vertical = key.kind != 2;
        ASSERT_TRUE(key.kind == 0   ? Tolmar::iline(grid, key.position, slice, size)
                    : key.kind == 1 ? Tolmar::crossline(grid, key.position, slice, size)
                                    : Tolmar::timeslice(grid, key.position, slice, size));
        auto const& plane = source.get_plane_tiles();
        ASSERT_EQ(tiles.size(), plane.size());
        for (auto const& [index, tile] : tiles) {
            PlaneTiler::Tile const& t = plane[static_cast<std::size_t>(index)];
            ASSERT_EQ(tile.data.size(), static_cast<std::size_t>(tile.width) * tile.height);
            for (int r = 0; r < t.data_size[1]; ++r)
                for (int c = 0; c < t.data_size[0]; ++c) {
                    int const px = t.src_pos[0] + c, py = t.src_pos[1] + r;
                    float const expected = vertical ? slice[static_cast<std::size_t>(px) * size[0] + py]
                                                    : slice[static_cast<std::size_t>(py) * size[0] + px];
                    ASSERT_EQ(tile.data[static_cast<std::size_t>(t.dst_pos[1] + r) * tile.width + t.dst_pos[0] + c],
                              expected)
                        << "tile " << index << " at " << px << ", " << py;
                }
        }
    }

    static tolmar_test::ScratchDir* dir;
};
tolmar_test::ScratchDir* TileSources::dir = nullptr;

TEST_F(TileSources, BrickSourceReadsOneTileEachFiftyMilliseconds)
{
    auto grid = Tolmar::StreamerManager::get_instance().open_3dgrid_reader(dir->path("cube.tmf"));
    ASSERT_TRUE(grid);
    std::uint64_t now = 1000;
    Tolmar::TileDataSourceSeismic3D source(grid, [&now] { return now; });
    for (Key const& key : {Key{0, 1200, {}}, Key{1, 2004, {}}, Key{2, 400, {}}}) {
        set_up(source, key);
        Tiles got, all;
        now += 51;
        ASSERT_TRUE(source.get_tiles(got, false));
        EXPECT_EQ(got.size(), 1u);
        all.insert(got.begin(), got.end());
        EXPECT_FALSE(source.get_tiles(got, true)) << "within 50 ms";
        EXPECT_TRUE(got.empty());
        now += 51;
        source.get_tiles(got, true);
        all.insert(got.begin(), got.end());
        EXPECT_GT(all.size(), 1u);
        EXPECT_TRUE(source.is_complete());
        expect_slice(source, all, key);
    }
    // The same key again is no restart; an arbitrary line is refused and
    // the former slice stays.
    set_up(source, Key{2, 400, {}});
    EXPECT_TRUE(source.is_complete());
    tolmar_test::DebugCapture log;
    set_up(source, Key{3, 0, {vec<float, 2>{{0, 0}}, vec<float, 2>{{1, 1}}}});
    EXPECT_NE(log.text().find("TileDataSourceSeismic3D:: arb lines not supported"), std::string::npos);
    EXPECT_TRUE(source.is_complete());
}

TEST_F(TileSources, IndexedSourceFillsTilesAsTracesArriveAndPosts)
{
    std::atomic<int> posts{0};
    auto const sink = Tolmar::platform::register_update_sink([&posts](char const*, std::uintptr_t, std::intptr_t) { ++posts; });
    for (Key const& key : {Key{2, 400, {}}, Key{1, 2004, {}}, Key{0, 1200, {}}}) {
        std::string why;
        auto reader = Tolmar::open_indexed_segy3d_reader(dir->path("s.sgy"), dir->path("s.idx"), &why);
        ASSERT_TRUE(reader) << why;
        reader->set_update_sink(sink);
        std::uint64_t now = 0;
        Tolmar::TileDataSourceIndexedSeismic3D source(reader, [&now] { return now; });
        set_up(source, key);
        Tiles all, got;
        ASSERT_TRUE(tolmar_test::waitFor([&] {
            now += 101;
            source.get_tiles(got, false);
            for (auto& [i, t] : got) all[i] = t;
            return source.is_complete();
        }));
        now += 101;
        source.get_tiles(got, false); // the last tiles touched
        for (auto& [i, t] : got) all[i] = t;
        expect_slice(source, all, key);
    }
    EXPECT_GT(posts.load(), 0);
    Tolmar::platform::unregister_update_sink(sink);
}

} // namespace
