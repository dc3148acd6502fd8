// Ray, fence and triangle-box tests and bilinear resampling.

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "geometry/InterpolationArray.h"
#include "geometry/douglas_peucker.h"
#include "geometry/fence_intersection.h"
#include "geometry/ray_intersections.h"
#include "geometry/tri_box_overlap.h"

namespace {

using namespace Tolmar;

vec<float, 3> f3(float x, float y, float z)
{
    vec<float, 3> r;
    r.set(x, y, z);
    return r;
}

TEST(RayTests, PointAndSegment)
{
    float d, t;
    rayPointDistance(f3(1, 2, 0), f3(0, 0, 0), f3(2, 0, 0), d, t);
    EXPECT_FLOAT_EQ(t, 0.5f); // in multiples of the direction
    EXPECT_FLOAT_EQ(d, 2.0f);
    rayPointDistance(f3(-1, 1, 0), f3(0, 0, 0), f3(2, 0, 0), d, t);
    EXPECT_FLOAT_EQ(t, -0.5f); // behind the origin, not clamped

    // Skew segments one apart, crossing a quarter of the way along the ray.
    ASSERT_TRUE(rayLineDistance(f3(0, 0, 0), f3(2, 0, 0), f3(1, -1, 1), f3(1, 3, 1), t, d));
    EXPECT_FLOAT_EQ(t, 0.25f);
    EXPECT_FLOAT_EQ(d, 1.0f);
    // Past the segment's end the closest point is the end itself.
    ASSERT_TRUE(rayLineDistance(f3(0, 0, 0), f3(2, 0, 0), f3(3, -1, 0), f3(3, 1, 0), t, d));
    EXPECT_FLOAT_EQ(t, 0.5f);
    EXPECT_FLOAT_EQ(d, 1.0f);
    EXPECT_FALSE(rayLineDistance(f3(0, 0, 0), f3(2, 0, 0), f3(0, 1, 0), f3(5, 1, 0), t, d));
    EXPECT_FALSE(rayLineDistance(f3(1, 1, 1), f3(1, 1, 1), f3(0, 1, 0), f3(0, 1, 5), t, d));
}

TEST(RayTests, Triangle)
{
    vec<float, 3> const a = f3(0, 0, 0), b = f3(1, 0, 0), c = f3(0, 1, 0);
    float t = -7.0f;
    ASSERT_TRUE(rayTriangleIntersection(a, b, c, f3(0.25f, 0.25f, 1), f3(0, 0, -1), t));
    EXPECT_FLOAT_EQ(t, 1.0f);
    ASSERT_TRUE(rayTriangleIntersection(a, b, c, f3(0.25f, 0.25f, -2), f3(0, 0, 1), t)); // back face
    EXPECT_FLOAT_EQ(t, 2.0f);

    t = -7.0f;
    EXPECT_FALSE(rayTriangleIntersection(a, b, c, f3(0.25f, 0.25f, 1), f3(0, 0, 1), t)); // behind
    // Starting on the surface does not hit it again.
    EXPECT_FALSE(rayTriangleIntersection(a, b, c, f3(0.25f, 0.25f, 0), f3(0, 0, -1), t));
    EXPECT_FLOAT_EQ(t, -7.0f);

    // A grazing ray aimed at (0.25, 0.25, 0): dropping 5e-7 per unit it is
    // parallel within 1e-6 and misses; dropping 2e-6 it hits.
    EXPECT_FALSE(rayTriangleIntersection(a, b, c, f3(-0.75f, 0.25f, 5e-7f), f3(1, 0, -5e-7f), t));
    ASSERT_TRUE(rayTriangleIntersection(a, b, c, f3(-0.75f, 0.25f, 2e-6f), f3(1, 0, -2e-6f), t));
    EXPECT_NEAR(t, 1.0f, 1e-4f);
}

TEST(RayTests, PlaneAndRectangleReportBehindAtPositiveT)
{
    double t = 0;
    ASSERT_TRUE(rayPlaneIntersection(1, 2, 3, 0, 0, -2, 5, 5, 0, 0, 0, 1, t));
    EXPECT_DOUBLE_EQ(t, 1.5);
    ASSERT_TRUE(rayPlaneIntersection(1, 2, 3, 0, 0, 2, 5, 5, 0, 0, 0, 1, t));
    EXPECT_DOUBLE_EQ(t, 1.5);
    EXPECT_FALSE(rayPlaneIntersection(1, 2, 3, 1, 0, 1e-7, 5, 5, 0, 0, 0, 1, t));

    double const corner[3] = {0, 0, 0}, u[3] = {2, 0, 0}, v[3] = {0, 4, 0};
    double const down[3] = {0, 0, -1}, up[3] = {0, 0, 1};
    double const inside[3] = {1, 1, 5}, beside[3] = {3, 1, 5}, onEdge[3] = {2, 4, 5};
    double s = 0, w = 0;
    ASSERT_TRUE(rayRectangleIntersection(inside, down, corner, u, v, t, s, w));
    EXPECT_DOUBLE_EQ(t, 5.0);
    EXPECT_DOUBLE_EQ(s, 0.5);
    EXPECT_DOUBLE_EQ(w, 0.25);
    EXPECT_TRUE(rayRectangleIntersection(inside, up, corner, u, v, t, s, w));
    EXPECT_TRUE(rayRectangleIntersection(onEdge, down, corner, u, v, t, s, w));
    EXPECT_FALSE(rayRectangleIntersection(beside, down, corner, u, v, t, s, w));
    EXPECT_DOUBLE_EQ(s, 1.5); // written on a miss too
    EXPECT_DOUBLE_EQ(w, 0.25);
}

TEST(RayTests, ClosestPointOfTwoLines)
{
    // Parameters count in steps of the first direction; parallel lines give 0.
    vec<double, 3> const p1{{0, 0, 0}}, d1{{2, 0, 0}}, p2{{3, 0, 1}};
    EXPECT_DOUBLE_EQ(closestPoint(p1, d1, p2, vec<double, 3>{{0, 5, 0}}), 1.5);
    EXPECT_DOUBLE_EQ(closestPoint(p1, d1, p2, vec<double, 3>{{-4, 0, 0}}), 0.0);
}

// A U in plan, open to +y, from z 0 to 10, with trace numbers 1 to 4.
struct UFence : ::testing::Test {
    std::vector<double> x{0, 10, 10, 0}, y{0, 0, 10, 10};
    std::vector<int> traces{1, 2, 3, 4};
    double t = -1, trace = -1;
    bool hit(std::vector<double> const& o, std::vector<double> const& d)
    {
        return rayFenceIntersection(o.data(), d.data(), x, y, traces, 0, 10, &t, &trace);
    }
};

TEST_F(UFence, NearestSegmentGivesFractionalTrace)
{
    ASSERT_TRUE(hit({5, -5, 5}, {0, 1, 0}));
    EXPECT_DOUBLE_EQ(t, 5);
    EXPECT_DOUBLE_EQ(trace, 1.5);
    ASSERT_TRUE(hit({5, 15, 5}, {0, -0.5, 0}));
    EXPECT_DOUBLE_EQ(t, 10);
    EXPECT_DOUBLE_EQ(trace, 3.5);
    ASSERT_TRUE(hit({15, 2, 5}, {-1, 0, 0}));
    EXPECT_DOUBLE_EQ(trace, 2.2);
}

TEST_F(UFence, MissesAboveInsideAndWithOnePoint)
{
    EXPECT_FALSE(hit({5, -5, 11}, {0, 1, 0}));
    // Straight down inside the U: within the bounding box, parallel to every
    // panel.
    double const o[3] = {5, 5, 50}, d[3] = {0, 0, -1};
    EXPECT_TRUE(doesRayIntersectBoundingBoxOfFence(o, d, x, y, 0, 10));
    EXPECT_FALSE(hit({5, 5, 50}, {0, 0, -1}));
    x.resize(1);
    y.resize(1);
    EXPECT_FALSE(hit({0, -5, 5}, {0, 1, 0}));
    EXPECT_DOUBLE_EQ(t, -1);
    EXPECT_DOUBLE_EQ(trace, -1);
}

TEST_F(UFence, EndPointsTurnsAndRingsAreHit)
{
    // Grazing the far end of a diagonal fence: s is exactly 1 on the panel,
    // and the bounding box must not round it away.
    x = {0, 1};
    y = {0, 1};
    traces = {0, 10};
    ASSERT_TRUE(hit({-4, 1, 5}, {1, 0, 0}));
    EXPECT_DOUBLE_EQ(t, 5);
    EXPECT_DOUBLE_EQ(trace, 10);
    // Runs out to x = 20 and back to 10: the turn lies beyond the last point.
    x = {0, 20, 10};
    y = {0, 0, 0};
    traces = {0, 20, 30};
    ASSERT_TRUE(hit({15, -5, 5}, {0, 1, 0}));
    EXPECT_DOUBLE_EQ(trace, 15); // first panel, three quarters along
    // A closed ring has no direction from first to last point.
    x = {0, 10, 10, 0};
    y = {0, 0, 10, 0};
    traces = {1, 2, 3, 4};
    ASSERT_TRUE(hit({5, -5, 5}, {0, 1, 0}));
    EXPECT_DOUBLE_EQ(trace, 1.5);
}

int overlapsUnitBox(vec<float, 3> const& a, vec<float, 3> const& b, vec<float, 3> const& c)
{
    float const centre[3] = {0, 0, 0}, half[3] = {1, 1, 1};
    return triBoxOverlap(centre, half, a.v, b.v, c.v);
}

TEST(TriBoxOverlap, EachKindOfSeparatingAxis)
{
    EXPECT_EQ(overlapsUnitBox(f3(-0.1f, 0, 0), f3(0.1f, 0, 0), f3(0, 0.1f, 0)), 1);
    EXPECT_EQ(overlapsUnitBox(f3(-10, -10, 0), f3(10, -10, 0), f3(0, 10, 0)), 1); // no vertex inside
    EXPECT_EQ(overlapsUnitBox(f3(5, 0, 0), f3(6, 0, 0), f3(5, 1, 0)), 0);          // box axis
    // Cuts the corner region diagonally at x + y = 2.5: only the cross
    // product of z with the long edge separates.
    EXPECT_EQ(overlapsUnitBox(f3(2.5f, 0, 0), f3(0, 2.5f, 0), f3(2.5f, 2.5f, 0)), 0);
    // Planes x + y + z = 3.5 and 2.9 against the corner at (1, 1, 1).
    EXPECT_EQ(overlapsUnitBox(f3(3.5f, 0, 0), f3(0, 3.5f, 0), f3(0, 0, 3.5f)), 0);
    EXPECT_EQ(overlapsUnitBox(f3(2.9f, 0, 0), f3(0, 2.9f, 0), f3(0, 0, 2.9f)), 1);
}

TEST(TriBoxOverlap, TouchingAndDegenerate)
{
    EXPECT_EQ(overlapsUnitBox(f3(1, 1, -1), f3(1, 1, 1), f3(3, 3, 0)), 1); // along a box edge
    EXPECT_EQ(overlapsUnitBox(f3(1.001f, 1, -1), f3(1.001f, 1, 1), f3(3, 3, 0)), 0);
    EXPECT_EQ(overlapsUnitBox(f3(1, 1, 1), f3(3, 2, 1), f3(2, 3, 1)), 1); // at a corner
    // Segments and points have no plane; the other axes must decide.
    EXPECT_EQ(overlapsUnitBox(f3(-2, 0, 0), f3(-2, 0, 0), f3(2, 0, 0)), 1);
    EXPECT_EQ(overlapsUnitBox(f3(2.5f, 0, 0), f3(0, 2.5f, 0), f3(0, 2.5f, 0)), 0);
    EXPECT_EQ(overlapsUnitBox(f3(0.5f, 0.5f, 0.5f), f3(0.5f, 0.5f, 0.5f), f3(0.5f, 0.5f, 0.5f)), 1);
    EXPECT_EQ(overlapsUnitBox(f3(1.5f, 0, 0), f3(1.5f, 0, 0), f3(1.5f, 0, 0)), 0);
    // A sliver through the box, its third point the rounded midpoint of the
    // other two: its plane normal is mostly rounding noise.
    vec<float, 3> const a = f3(2.9f, 0, 2), b = f3(0.1f, -0.8f, -1.4f);
    EXPECT_EQ(overlapsUnitBox(a, b, (a + b) * 0.5), 1);

    // The same test on a box given by its corners, [0, 2] on each axis.
    vec<float, 3> const lo = f3(0, 0, 0), hi = f3(2, 2, 2);
    EXPECT_TRUE(triangle_box_intersection(lo, hi, f3(2, 0.5f, 0.5f), f3(3, 0.5f, 0.5f), f3(3, 1.5f, 0.5f)));
    EXPECT_FALSE(triangle_box_intersection(lo, hi, f3(2.01f, 0.5f, 0.5f), f3(3, 0.5f, 0.5f), f3(3, 1.5f, 0.5f)));
}

TEST(Interpolation, Bilinear)
{
    InterpolationArray from, to(3, 3);
    from.fromVector({0, 1, 2, 3}, 2, 2);
    interpolate(from, to);
    EXPECT_EQ(to.toVector(), (std::vector<float>{0, 0.5f, 1, 1, 1.5f, 2, 2, 2.5f, 3}));
    EXPECT_THROW(from.fromVector({1, 2, 3}, 2, 2), std::runtime_error);

    // Column + 10 * row, read row by row, is a plane: bilinear resampling
    // reproduces it, up to the last row and column.
    from.fromVector({0, 1, 2, 10, 11, 12}, 3, 2);
    EXPECT_FLOAT_EQ(from(0, 1), 10.0f);
    InterpolationArray big(5, 3);
    interpolate(from, big);
    for (int j = 0; j < 3; ++j)
        for (int i = 0; i < 5; ++i)
            EXPECT_NEAR(big(i, j), 0.5f * static_cast<float>(i) + 5.0f * static_cast<float>(j), 1e-5f);

    // Shrinking keeps the corners; a single row has no spacing and is refused.
    InterpolationArray small(2, 2), line(4, 1);
    interpolate(big, small);
    EXPECT_EQ(small.toVector(), (std::vector<float>{0, 2, 10, 12}));
    interpolate(from, line);
    EXPECT_EQ(line.toVector(), std::vector<float>(4, 0.0f));
}

} // namespace

TEST(DouglasPeucker, KeepsTheCornersFirstAndStopsAtTheTolerance)
{
    // An L of 11 points: along x to (5, 0), then up to (5, 5), the corner
    // bent outward by 0.01 at one point of the second leg.
    std::vector<double> x{0, 1, 2, 3, 4, 5, 5, 5, 5.01, 5, 5}, y{0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 5};
    std::vector<int> keep;
    Tolmar::douglasPeucker(x, y, 2, 0, 0, keep);
    EXPECT_EQ(keep, (std::vector<int>{0, 10}));
    Tolmar::douglasPeucker(x, y, 100, 0.1, 0, keep);
    // The corner; then the bend of 0.01, below the tolerance, which ends it.
    EXPECT_EQ(keep, (std::vector<int>{0, 5, 8, 10}));
    Tolmar::douglasPeucker(x, y, 100, 0, 0, keep);
    EXPECT_EQ(keep.size(), 11u); // with no tolerance every point goes in, and the search then ends
    Tolmar::douglasPeucker(x, y, 4, 0, 4, keep);
    EXPECT_EQ(keep, (std::vector<int>{0, 4, 8, 10})); // fixed points take the budget first
    Tolmar::douglasPeucker({1}, {2}, 5, 0, 0, keep);
    EXPECT_EQ(keep, (std::vector<int>{0}));
}
