// Which mesh tiles a terrain draws for a camera: worked out by hand for a
// camera straight above, checked for structure (no overlap, neighbours at
// most one level apart, the tile limit) for grazing and close cameras.

#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "graphics/TilePyramidRenderer.h"
#include "graphics/mat44.h"

namespace {

using Tolmar::QuadTreeCoord;
using Tolmar::TilePyramidRenderer;
using Tolmar::vec;

constexpr double kX0 = 500000, kY0 = 6000000, kSize = 1000; // the render area, 1 km a side
constexpr int kWidth = 1024, kHeight = 768;

// A perspective camera with a 60 degree vertical field of view; eye and
// target relative to the area's centre.
void look(TilePyramidRenderer& r, vec<double, 3> eye, vec<double, 3> target, vec<double, 3> up = {{0, 1, 0}},
          double nearPlane = 1, double farPlane = 1e6, vec<int, 2> viewport = {{kWidth, kHeight}})
{
    float rotation[16];
    Tolmar::camera_lookat_orientation_matrix(eye, target, up, rotation);
    float translate[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    for (int a = 0; a < 3; ++a) translate[12 + a] = static_cast<float>(-eye[a]);
    float modelview[16];
    Tolmar::mat44_mult_mat44(rotation, translate, modelview);
    double const f = 1 / std::tan(M_PI / 6), aspect = double(kWidth) / kHeight;
    float projection[16] = {};
    projection[0] = static_cast<float>(f / aspect);
    projection[5] = static_cast<float>(f);
    projection[10] = static_cast<float>((farPlane + nearPlane) / (nearPlane - farPlane));
    projection[11] = -1;
    projection[14] = static_cast<float>(2 * farPlane * nearPlane / (nearPlane - farPlane));
    r.set_camera(modelview, projection, viewport);
}

struct Terrain : ::testing::Test {
    void SetUp() override
    {
        r.setRenderArea({{{kX0, kY0}}, {{kX0 + kSize, kY0 + kSize}}});
        r.set_vertical_exaggeration(1);
        r.set_z_range(0, 0);
    }
    std::set<QuadTreeCoord> select()
    {
        r.update_current_tiles();
        return r.get_current_tiles();
    }
    TilePyramidRenderer r;
};

bool overlaps(QuadTreeCoord a, QuadTreeCoord b)
{
    if (a.level > b.level) std::swap(a, b);
    int const shift = b.level - a.level;
    return (b.row >> shift) == a.row && (b.col >> shift) == a.col;
}

// Tiles never overlap, and tiles that share an edge are at most one level apart.
void expect_restricted_quadtree(std::set<QuadTreeCoord> const& tiles)
{
    for (auto a = tiles.begin(); a != tiles.end(); ++a)
        for (auto b = std::next(a); b != tiles.end(); ++b) {
            EXPECT_FALSE(overlaps(*a, *b)) << a->level << "," << a->col << "," << a->row << " / " << b->level << ","
                                           << b->col << "," << b->row;
            // Edge contact in the finest level's cells.
            int const level = std::max(a->level, b->level);
            auto span = [level](QuadTreeCoord const& q, int c) {
                int const s = 1 << (level - q.level);
                return std::pair{c * s, (c + 1) * s};
            };
            auto [ax0, ax1] = span(*a, a->col);
            auto [ay0, ay1] = span(*a, a->row);
            auto [bx0, bx1] = span(*b, b->col);
            auto [by0, by1] = span(*b, b->row);
            bool const sideBySide = (ax1 == bx0 || bx1 == ax0) && ay0 < by1 && by0 < ay1;
            bool const stacked = (ay1 == by0 || by1 == ay0) && ax0 < bx1 && bx0 < ax1;
            if (sideBySide || stacked) {
                EXPECT_LE(std::abs(a->level - b->level), 1);
            }
        }
}

TEST_F(Terrain, StraightDownSplitsWhereAQuarterCellCoversAPixel)
{
    // Straight above, every tile's depth is the height less the near
    // distance; a level-L tile splits while the height is below
    // 1000 / 2^L * 768 / (516 * 2 tan 30°) = 1288.9 / 2^L.
    auto const tileCount = [this](double height) {
        look(r, {{0, 0, height}}, {{0, 0, 0}});
        return select();
    };
    auto const high = tileCount(1300);
    ASSERT_EQ(high.size(), 1u);
    EXPECT_EQ(*high.begin(), (QuadTreeCoord{0, 0, 0}));

    auto const one = tileCount(1000);
    EXPECT_EQ(one.size(), 4u);
    for (auto const& t : one) EXPECT_EQ(t.level, 1);

    auto const two = tileCount(500);
    EXPECT_EQ(two.size(), 16u);
    for (auto const& t : two) EXPECT_EQ(t.level, 2);
    // No finer at 330 m, just above the third level's 322 m; the view's
    // footprint (190 m north and south of the centre) culls two rows.
    auto const culled = tileCount(330);
    EXPECT_EQ(culled.size(), 8u);
    for (auto const& t : culled) EXPECT_TRUE(t.level == 2 && (t.row == 1 || t.row == 2));
    expect_restricted_quadtree(tileCount(300));
}

TEST_F(Terrain, FarOrOutsideCamerasKeepTheRoot)
{
    look(r, {{0, 0, 1e7}}, {{0, 0, 0}});
    EXPECT_EQ(select(), (std::set<QuadTreeCoord>{{0, 0, 0}}));
    // Looking away from the area: the root stays, outside the view or not.
    look(r, {{0, -2000, 100}}, {{0, -5000, 100}});
    EXPECT_TRUE(r.outside_frustum(QuadTreeCoord{0, 0, 0}));
    EXPECT_EQ(select(), (std::set<QuadTreeCoord>{{0, 0, 0}}));
    r.updateWorldTiles();
    EXPECT_TRUE(r.get_world_tiles().empty());
}

TEST_F(Terrain, GrazingViewRefinesNearTheCamera)
{
    r.set_z_range(0, 50);
    look(r, {{0, -520, 20}}, {{0, 400, 0}}, {{0, 0, 1}});
    auto const tiles = select();
    EXPECT_GT(tiles.size(), 16u);
    EXPECT_LE(tiles.size(), 4 * TilePyramidRenderer::kMaxMeshTiles);
    expect_restricted_quadtree(tiles);
    // The finest tiles lie at the near edge, the coarsest at the far one.
    int nearLevel = 0, farLevel = 99;
    for (auto const& t : tiles) {
        auto const e = r.tile_extent(t);
        if (e.lower[1] <= -500 + 1e-6) nearLevel = std::max(nearLevel, t.level);
        if (e.upper[1] >= 500 - 1e-6) farLevel = std::min(farLevel, t.level);
    }
    EXPECT_GE(nearLevel, farLevel + 2) << tiles.size();
    // The world tiles: one screen pixel covers more ground far away.
    r.updateWorldTiles();
    float nearPixel = 1e30f, farPixel = 0;
    for (auto const& w : r.get_world_tiles()) {
        EXPECT_GT(w.pixel_size, 0);
        if (w.extent.lower[1] <= kY0 + 1e-3) nearPixel = std::min(nearPixel, w.pixel_size);
        if (w.extent.upper[1] >= kY0 + kSize - 1e-3) farPixel = std::max(farPixel, w.pixel_size);
    }
    EXPECT_LT(nearPixel, farPixel);
}

TEST_F(Terrain, AFineViewStopsAtTheTileLimit)
{
    // A quarter cell covers a pixel for tiles down to a 27th of the height
    // on a view of 16384 pixels: many more than the limit.
    look(r, {{0, 0, 300}}, {{0, 0, 0}}, {{0, 1, 0}}, 1, 1e6, {{16384, 16384}});
    auto const tiles = select();
    EXPECT_GE(tiles.size(), TilePyramidRenderer::kMaxMeshTiles);
    // The limit is looked at before each pass; one pass adds at most three
    // tiles for each one it splits.
    EXPECT_LT(tiles.size(), 4 * TilePyramidRenderer::kMaxMeshTiles);
    expect_restricted_quadtree(tiles);
}

TEST_F(Terrain, AddTileSplitsACoarserNeighbour)
{
    look(r, {{0, 0, 1000}}, {{0, 0, 0}});
    ASSERT_EQ(select().size(), 4u);
    // Asking for a level-3 tile in the bottom-left quadrant splits its
    // ancestors, and their neighbours as far as needed to keep the steps.
    r.addTile({1, 1, 3});
    auto const tiles = r.get_current_tiles();
    EXPECT_TRUE(tiles.count({1, 1, 3}));
    expect_restricted_quadtree(tiles);
    // Already there: nothing changes.
    r.addTile({1, 1, 3});
    EXPECT_EQ(r.get_current_tiles(), tiles);
}

TEST_F(Terrain, ScreenAndWorldErrorsAreInverse)
{
    look(r, {{0, 0, 500}}, {{0, 0, 0}});
    for (double d : {0.0, 10.0, 499.0})
        EXPECT_NEAR(r.computeWorldSpaceError(d, r.computeScreenSpaceError(d, 3.0)), 3.0, 1e-4);
    double bounds[6];
    r.set_z_range(-20, 80);
    r.set_vertical_exaggeration(2);
    r.get_bounds(bounds);
    EXPECT_DOUBLE_EQ(bounds[0], kX0);
    EXPECT_DOUBLE_EQ(bounds[3], kY0 + kSize);
    EXPECT_DOUBLE_EQ(bounds[4], -40);
    EXPECT_DOUBLE_EQ(bounds[5], 160);
}

} // namespace
