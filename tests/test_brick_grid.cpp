// Brick grid arithmetic, element sizes, histogram cuts and amplitude colouring.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <set>

#include "foundation/BrickGrid.h"
#include "foundation/Histogram.h"
#include "foundation/scale_and_color.h"

namespace {

using Tolmar::BrickGrid;
using Tolmar::BrickKey;
using Tolmar::vec;

vec<unsigned, 3> v3(unsigned a, unsigned b, unsigned c) { return vec<unsigned, 3>{{a, b, c}}; }

TEST(BrickGrid, LevelCountsCoverTheCube)
{
    EXPECT_EQ(BrickGrid(v3(32, 32, 32), 36, 2).num_levels(), 1u);
    BrickGrid g33(v3(33, 1, 1), 36, 2);
    EXPECT_EQ(g33.counts(0)[0], 2u);
    EXPECT_EQ(g33.num_levels(), 2u);
    BrickGrid g(v3(1000, 300, 300), 36, 2);
    // 32x10x10 -> 16x5x5 -> 8x3x3 -> 4x2x2 -> 2x1x1 -> 1x1x1
    ASSERT_EQ(g.num_levels(), 6u);
    EXPECT_TRUE(g.counts(0) == v3(32, 10, 10) && g.counts(2) == v3(8, 3, 3) && g.counts(4) == v3(2, 1, 1));
    EXPECT_EQ(g.bricks_in_level(0), 3200u);
    EXPECT_FALSE(BrickGrid(v3(10, 10, 0), 36, 2).valid());
    EXPECT_FALSE(BrickGrid(v3(10, 10, 10), 4, 2).valid());
}

// Round trips, parents and children agree for many shapes; the root is the
// one brick of the last level.
TEST(BrickGrid, ParentsChildrenAndRootAgree)
{
    std::mt19937 rng(3);
    for (int trial = 0; trial < 60; ++trial) {
        BrickGrid g(v3(1 + rng() % 700, 1 + rng() % 300, 1 + rng() % 90), 36, 2);
        ASSERT_TRUE(g.valid());
        unsigned const top = g.num_levels() - 1;
        EXPECT_EQ(g.bricks_in_level(top), 1u);
        EXPECT_TRUE(g.is_root(BrickKey{top, 0}));
        EXPECT_FALSE(g.is_root(BrickKey{0, 0}) && top > 0);
        BrickKey none;
        EXPECT_FALSE(g.get_parent(BrickKey{top, 0}, none));
        for (unsigned level = 0; level < g.num_levels(); ++level) {
            std::set<unsigned> parentIds;
            for (unsigned id = 0; id < g.bricks_in_level(level); ++id) {
                BrickKey const k{level, id};
                auto const pos = g.id2pos(k);
                ASSERT_EQ(g.pos2id(pos, level), id);
                if (level == top) continue;
                BrickKey parent;
                ASSERT_TRUE(g.get_parent(k, parent));
                parentIds.insert(parent.id);
                BrickKey children[2][2][2];
                ASSERT_TRUE(g.get_children(parent, children));
                int found = 0;
                for (auto& a : children)
                    for (auto& b : a)
                        for (auto& c : b) {
                            if (c.id == BrickGrid::kNoBrick) continue;
                            ASSERT_TRUE(g.contains(c));
                            BrickKey back;
                            ASSERT_TRUE(g.get_parent(c, back));
                            ASSERT_EQ(back, parent);
                            found += c == k;
                        }
                ASSERT_EQ(found, 1);
            }
            if (level != top) {
                ASSERT_EQ(parentIds.size(), g.bricks_in_level(level + 1)) << "every parent has a child";
            }
        }
        BrickKey children[2][2][2];
        EXPECT_FALSE(g.get_children(BrickKey{0, 0}, children));
    }
}

TEST(Histogram, CutsAndEffectiveRangesInvert)
{
    // 100 bins over [-50, 50]; counts shaped like a bell with empty tails.
    std::vector<unsigned long long> bins(100, 0);
    for (int i = 10; i < 90; ++i) bins[i] = static_cast<unsigned long long>(1000.0 * std::exp(-(i - 50) * (i - 50) / 200.0)) + 1;
    float lo, hi;
    Tolmar::Histogram::amplitudeScale(bins, -50.0f, 50.0f, 0.0f, 0.0f, lo, hi);
    EXPECT_FLOAT_EQ(lo, -40.0f) << "first non-empty bin";
    EXPECT_FLOAT_EQ(hi, 40.0f) << "end of the last non-empty bin";
    for (float cut : {0.5f, 2.0f, 10.0f, 33.0f}) {
        Tolmar::Histogram::amplitudeScale(bins, -50.0f, 50.0f, cut, cut, lo, hi);
        EXPECT_LT(lo, 0.0f);
        EXPECT_NEAR(lo, -hi, 1.0f) << "symmetric counts, symmetric range";
        float cl, ch;
        Tolmar::Histogram::effectiveAmplitude2PercentCut(bins, -50.0f, 50.0f, lo, hi, cl, ch);
        EXPECT_NEAR(cl, cut, 1e-3);
        EXPECT_NEAR(ch, cut, 1e-3);
    }
    std::vector<unsigned long long> uniform(10, 7);
    Tolmar::Histogram::amplitudeScale(uniform, 0.0f, 10.0f, 25.0f, 5.0f, lo, hi);
    EXPECT_FLOAT_EQ(lo, 2.5f);
    EXPECT_FLOAT_EQ(hi, 9.5f);
    float cl, ch;
    Tolmar::Histogram::effectiveAmplitude2PercentCut(uniform, 0.0f, 10.0f, -3.0f, 12.0f, cl, ch);
    EXPECT_EQ(cl, 0.0f);
    EXPECT_EQ(ch, 0.0f);
    Tolmar::Histogram::amplitudeScale({}, -1.0f, 1.0f, 1.0f, 1.0f, lo, hi);
    EXPECT_EQ(lo, -1.0f);
    EXPECT_EQ(hi, 1.0f);
}

TEST(ScaleAndColor, PositionsClampAndNaN)
{
    using C = vec<unsigned char, 4>;
    std::vector<C> table;
    for (unsigned char i = 0; i < 4; ++i) table.push_back(C{{i, 0, 0, 255}});
    std::vector<C> out;
    float const nan = std::numeric_limits<float>::quiet_NaN();
    Tolmar::scale_and_color_amplitudes(vec<float, 2>{{0.0f, 4.0f}}, table, {-9.0f, 0.0f, 0.99f, 1.0f, 3.99f, 4.0f, 50.0f, nan}, out);
    std::vector<int> idx;
    for (auto const& c : out) idx.push_back(c[0]);
    EXPECT_EQ(idx, (std::vector<int>{0, 0, 0, 1, 3, 3, 3, 0}));
    Tolmar::scale_and_color_amplitudes(vec<float, 2>{{2.0f, 2.0f}}, table, {1.0f, 2.0f}, out);
    EXPECT_EQ(out[0][0], 0);
    EXPECT_EQ(out[1][0], 3);
    Tolmar::scale_and_color_amplitudes(vec<float, 2>{{0.0f, 1.0f}}, {}, {0.5f}, out);
    EXPECT_TRUE(out.empty());
}

} // namespace
