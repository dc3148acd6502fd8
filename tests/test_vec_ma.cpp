// Value types and numeric helpers.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <vector>

#include "foundation/Ma.h"
#include "foundation/vec.h"

namespace {

using Tolmar::vec;
namespace Ma = Tolmar::Ma;

TEST(Vec, OrderingServesAsMapKey)
{
    std::map<vec<unsigned, 3>, int> m;
    for (unsigned i = 0; i < 3; ++i)
        for (unsigned j = 0; j < 3; ++j) m[vec<unsigned, 3>{{j, i, 1u}}] = static_cast<int>(i * 3 + j);
    EXPECT_EQ(m.size(), 9u);
    EXPECT_EQ((m[vec<unsigned, 3>{{2u, 1u, 1u}}]), 5);
    vec<unsigned char, 4> const red{{255, 0, 0, 255}}, blue{{0, 0, 255, 255}};
    EXPECT_TRUE(red == red && red != blue && blue < red && !(red < red));
}

TEST(Ma, GridFromFraction)
{
    struct Row {
        double f;
        int start, stop, step, round, floor;
    };
    for (Row const& r : {Row{0.0, 100, 200, 10, 100, 100}, Row{1.0, 100, 200, 10, 200, 200},
                         Row{0.52, 100, 200, 10, 150, 150}, Row{0.56, 100, 200, 10, 160, 150},
                         Row{0.6, 100, 200, 10, 160, 160},
                         // A stop off the grid: fraction 1 gives the last grid value below it.
                         Row{1.0, 1, 10, 4, 9, 9}, Row{0.99, 1, 10, 4, 9, 9},
                         // Out of range fractions stay on the grid; falling ranges.
                         Row{-3.0, 1, 10, 4, 1, 1}, Row{7.0, 1, 10, 4, 9, 9}, Row{1.0, 50, 10, -10, 10, 10},
                         Row{0.5, 50, 10, -10, 30, 30}, Row{0.5, 7, 7, 0, 7, 7}}) {
        EXPECT_EQ(Ma::fromDoubleToInt(r.f, r.start, r.stop, r.step), r.round) << r.f << " " << r.start;
        EXPECT_EQ(Ma::fromDoubleToIntFloor(r.f, r.start, r.stop, r.step), r.floor) << r.f;
    }
}

TEST(Ma, PointsLinesAndTriangles)
{
    EXPECT_TRUE(Ma::pointsOnLine(0, 0, 0, 1, 1, 1, 5, 5, 5));
    EXPECT_FALSE(Ma::pointsOnLine(0, 0, 0, 1, 1, 1, 5, 5, 5.01));
    EXPECT_TRUE(Ma::pointsOnLine(500000, 6e6, 0, 500010, 6e6 + 10, 0, 500020, 6e6 + 20, 0));
    EXPECT_TRUE(Ma::samePoint(1, 2, 3, 1.05, 2, 3, 0.1));
    EXPECT_FALSE(Ma::samePoint(1, 2, 3, 1.2, 2, 3, 0.1));

    double x, y, t;
    ASSERT_TRUE(Ma::getCrossingPoint(&x, &y, 0, 0, 4, 4, 0, 4, 4, 0, &t));
    EXPECT_EQ((std::vector<double>{x, y, t}), (std::vector<double>{2.0, 2.0, 0.5}));
    EXPECT_FALSE(Ma::getCrossingPoint(&x, &y, 0, 0, 1, 1, 0, 4, 4, 0, &t)) << "ends before the crossing";
    EXPECT_FALSE(Ma::getCrossingPoint(&x, &y, 0, 0, 4, 0, 0, 1, 4, 1, &t)) << "parallel";

    double const pa[2] = {0, 0}, pb[2] = {10, 0}, pIn[2] = {3, 5}, pOut[2] = {12, -1};
    double foot[3];
    EXPECT_TRUE(Ma::projectPointToLine2D(foot, pIn, pa, pb));
    EXPECT_EQ(std::vector<double>(foot, foot + 2), (std::vector<double>{3.0, 0.0}));
    EXPECT_FALSE(Ma::projectPointToLine2D(foot, pOut, pa, pb));
    EXPECT_DOUBLE_EQ(foot[0], 12.0);
    double const qa[3] = {0, 0, 0}, qb[3] = {0, 0, 10}, q[3] = {1, 1, 4};
    EXPECT_TRUE(Ma::projectPointToLine3D(foot, q, qa, qb));
    EXPECT_DOUBLE_EQ(foot[2], 4.0);

    double w[3];
    Ma::barycentricalCoordinates(w, 1, 1, 0, 0, 4, 0, 0, 4);
    EXPECT_EQ(std::vector<double>(w, w + 3), (std::vector<double>{0.5, 0.25, 0.25}));
}

TEST(Ma, PowersAndChecksums)
{
    for (auto [in, out] : {std::pair{0u, 1u}, {1u, 1u}, {5u, 4u}, {7u, 8u}, {1000u, 1024u}, {0xFFFFFFFFu, 0x80000000u}})
        EXPECT_EQ(Ma::ClosestPowerOf2(in), out) << in;

    std::vector<unsigned char> a(1001), b(1001);
    for (int i = 0; i < 1001; ++i) a[i] = b[i] = static_cast<unsigned char>(i * 31);
    unsigned const sa = Ma::calculateChecksum(0, a.data(), 1001);
    EXPECT_EQ(sa, Ma::calculateChecksum(0, b.data(), 1001));
    for (int pos : {0, 500, 1000}) {
        b[pos] ^= 1;
        EXPECT_NE(sa, Ma::calculateChecksum(0, b.data(), 1001)) << pos;
        b[pos] ^= 1;
    }
    EXPECT_NE(sa, Ma::calculateChecksum(1, a.data(), 1001));
}

TEST(Ma, LineThroughBox)
{
    vec<double, 3> const p0{{-1.0, 0.5, 0.5}}, p1{{0.0, 0.5, 0.5}}, lo{{0.0, 0.0, 0.0}}, hi{{1.0, 1.0, 1.0}};
    Ma::Line3D line(p0, p1);
    EXPECT_DOUBLE_EQ(line.pointAtT(2.0)[0], 1.0);
    EXPECT_TRUE(line.intersectBox(lo, hi));
    auto const all = line.CrossingsBox3D(lo, hi, false);
    ASSERT_EQ(all.size(), 2u);
    EXPECT_DOUBLE_EQ(all[0][0], 0.0);
    EXPECT_DOUBLE_EQ(all[1][0], 1.0);
    EXPECT_EQ(line.CrossingsBox3D(lo, hi, true).size(), 1u) << "only the entry lies on the segment";
    vec<double, 3> const q0{{-1.0, 2.0, 0.5}}, q1{{0.0, 2.0, 0.5}};
    EXPECT_FALSE(Ma::Line3D(q0, q1).intersectBox(lo, hi));
    EXPECT_TRUE(Ma::Line3D(q0, q1).CrossingsBox3D(lo, hi, false).empty());
}

} // namespace
