// The line's tiles follow its track: each tile's triangles run along the
// kept vertices between the tile's first and last trace, interpolated where
// an end falls between two kept vertices.

#include <gtest/gtest.h>

#include "graphics/tile_renderer/TileDataSourceSeismic2D.h"

namespace {

using Tolmar::PlaneTiler;
using Tolmar::TileDataSourceSeismic2D;
using Tolmar::vec;

// Ten traces along x, turning up y after trace 4.
TileDataSourceSeismic2D bent_line(std::vector<int> kept)
{
    TileDataSourceSeismic2D s;
    std::vector<double> x, y;
    for (int i = 0; i < 10; ++i) {
        x.push_back(i <= 4 ? i * 10.0 : 40.0);
        y.push_back(i <= 4 ? 0.0 : (i - 4) * 10.0);
    }
    s.set_x(x);
    s.set_y(y);
    s.set_indicesdp(std::move(kept));
    s.set_ztop(-100);
    s.set_zbot(-500);
    s.set_ntraces(10);
    s.set_nsamples(5);
    return s;
}

PlaneTiler::Tile whole_tile()
{
    std::vector<PlaneTiler::Tile> tiles;
    PlaneTiler::split_in_tiles(vec<int, 2>{{10, 5}}, 2, 1024, true, tiles);
    return tiles.at(0);
}

TEST(LineTiles, TwoGapsAroundABendAndTheTextureAdvancingByChainPoint)
{
    auto const s = bent_line({0, 4, 9});
    PlaneTiler::Tile const t = whole_tile();
    std::vector<int> indices;
    std::vector<vec<float, 3>> v;
    std::vector<vec<float, 2>> tc;
    ASSERT_TRUE(s.get_tile_geometry(t, indices, v, tc));
    ASSERT_EQ(v.size(), 12u);
    ASSERT_EQ(indices.size(), 12u);
    // First gap: trace 0 to the bend, top to bottom.
    EXPECT_EQ(v[0], (vec<float, 3>{{0, 0, -100}}));
    EXPECT_EQ(v[1], (vec<float, 3>{{0, 0, -500}}));
    EXPECT_EQ(v[2], (vec<float, 3>{{40, 0, -500}}));
    EXPECT_EQ(v[4], (vec<float, 3>{{40, 0, -100}}));
    // Second gap: the bend to the last trace.
    EXPECT_EQ(v[8], (vec<float, 3>{{40, 50, -500}}));
    // With three chain points the texture spans the first gap and stands
    // still over the last.
    EXPECT_FLOAT_EQ(tc[0][0], t.tc_min[0]);
    EXPECT_FLOAT_EQ(tc[2][0], t.tc_max[0]);
    EXPECT_FLOAT_EQ(tc[6][0], t.tc_max[0]);
    EXPECT_FLOAT_EQ(tc[8][0], t.tc_max[0]);
    EXPECT_FLOAT_EQ(tc[0][1], t.tc_min[1]);
    EXPECT_FLOAT_EQ(tc[1][1], t.tc_max[1]);
}

TEST(LineTiles, AStraightTileSpansItsTextureAndEndsBetweenKeptVerticesInterpolate)
{
    auto const s = bent_line({0, 9}); // the bend thinned away: a straight chord
    std::vector<int> indices;
    std::vector<vec<float, 3>> v;
    std::vector<vec<float, 2>> tc;
    ASSERT_TRUE(s.get_tile_geometry(whole_tile(), indices, v, tc));
    ASSERT_EQ(v.size(), 6u);
    EXPECT_EQ(v[2], (vec<float, 3>{{40, 50, -500}}));
    EXPECT_FLOAT_EQ(tc[0][0], whole_tile().tc_min[0]);
    EXPECT_FLOAT_EQ(tc[2][0], whole_tile().tc_max[0]);

    // Tiles three traces and samples apart: the second of the top row runs
    // from trace 3 (between kept 0 and 4) to trace 6 (between 4 and 9),
    // around the bend, and down three of the four sample steps.
    std::vector<PlaneTiler::Tile> tiles;
    PlaneTiler::split_in_tiles(vec<int, 2>{{10, 5}}, 2, 8, true, tiles);
    auto const bent = bent_line({0, 4, 9});
    ASSERT_TRUE(bent.get_tile_geometry(tiles.at(1), indices, v, tc));
    ASSERT_EQ(v.size(), 12u);
    EXPECT_EQ(v[0], (vec<float, 3>{{30, 0, -100}}));
    EXPECT_EQ(v[2], (vec<float, 3>{{40, 0, -400}}));
    EXPECT_EQ(v[8], (vec<float, 3>{{40, 20, -400}}));

    // An end outside the kept vertices drops the tile.
    auto const broken = bent_line({2, 9});
    EXPECT_FALSE(broken.get_tile_geometry(whole_tile(), indices, v, tc));
    EXPECT_TRUE(v.empty());
}

TEST(LineTiles, WithEveryTraceAVertexEachSampleStaysOverItsTraceRoundABend)
{
    // The line layer keeps every trace: then the texture, which advances by
    // vertex, lies within a trace of where each trace's samples belong.
    auto const s = bent_line({0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    PlaneTiler::Tile const t = whole_tile();
    std::vector<int> indices;
    std::vector<vec<float, 3>> v;
    std::vector<vec<float, 2>> tc;
    ASSERT_TRUE(s.get_tile_geometry(t, indices, v, tc));
    ASSERT_EQ(v.size(), 9u * 6u);
    float const span = t.tc_max[0] - t.tc_min[0];
    for (std::size_t gap = 0; gap < 9; ++gap) {
        // The gap's left edge stands at trace `gap`, on the track.
        EXPECT_EQ(v[gap * 6][0], gap <= 4 ? gap * 10.0f : 40.0f);
        EXPECT_EQ(v[gap * 6][1], gap <= 4 ? 0.0f : (gap - 4) * 10.0f);
        float const exact = t.tc_min[0] + span * static_cast<float>(gap) / 9;
        EXPECT_NEAR(tc[gap * 6][0], exact, span / 9 + 1e-6f) << gap;
    }
}

} // namespace
