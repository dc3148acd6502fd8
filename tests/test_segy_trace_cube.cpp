// Traces and the geometry a cube derives from them.

#include <gtest/gtest.h>

#include <cfloat>
#include <utility>
#include <vector>

#include "segy/SEGYcube.h"
#include "segy/SEGYtrace.h"

namespace {

using Tolmar::SEGYcube;
using Tolmar::SEGYtrace;

SEGYtrace makeTrace(int il, int xl, double x, double y, double z = 0.0, int n = 3,
                    std::initializer_list<float> samples = {})
{
    SEGYtrace t(1, 0, il, xl, static_cast<float>(x), static_cast<float>(y), z, n);
    for (float s : samples) t.addSample(s);
    return t;
}

// x0, xInl, xCrl, y0, yInl, yCrl.
std::vector<double> trans(SEGYcube const& c)
{
    std::vector<double> t(6);
    c.trans(&t[0], &t[1], &t[2], &t[3], &t[4], &t[5]);
    return t;
}

TEST(SEGYtrace, SamplesAndExtremes)
{
    SEGYtrace t(7, 11, 100, 200, 1.5f, 2.5f, 8.0, 4);
    EXPECT_EQ(t.sMax(), 0.0f);
    t.addSample(-3.0f);
    t.addSample(5.0f);
    EXPECT_EQ(t.sample(1), 5.0f);
    EXPECT_EQ(t.sample(2), 0.0f) << "past the end";
    EXPECT_EQ(t.sMin(), -3.0f);
    EXPECT_EQ(t.sMax(), 5.0f);
    // Only negative samples: the largest is searched from the smallest positive normal float.
    SEGYtrace neg = makeTrace(1, 1, 0, 0, 0, 2, {-4.0f, -2.0f});
    EXPECT_EQ(neg.sMax(), FLT_MIN);
}

// An inline-sorted grid on a rotated survey: steps, transformation, corners.
TEST(SEGYcube, LearnsGridFromInlineSortedTraces)
{
    auto X = [](int il, int xl) { return 1000.0 + 20.0 * il - 5.0 * xl; };
    auto Y = [](int il, int xl) { return 500.0 + 4.0 * il + 12.0 * xl; };
    SEGYcube c(4000, 0);
    for (int il = 10; il <= 16; il += 2)
        for (int xl = 100; xl <= 130; xl += 5) c.addTrace(makeTrace(il, xl, X(il, xl), Y(il, xl), 20.0, 11, {1.0f}));
    EXPECT_EQ(c.inlineStep(), 2);
    EXPECT_EQ(c.crlineStep(), 5);
    // Traces are kept until both steps are known: the first inline and one more.
    EXPECT_EQ(c.nTraces(), 8u);
    c.setBbox();
    auto const t = trans(c);
    double const want[6] = {0, 20.0, -5.0, 0, 4.0, 12.0};
    for (int i : {1, 2, 4, 5}) EXPECT_NEAR(t[i], want[i], 1e-3) << i;
    EXPECT_NEAR(t[0] + t[1] * 13 + t[2] * 117, X(13, 117), 1e-2);
    double bx[4], by[4];
    c.bbox(bx, by);
    EXPECT_DOUBLE_EQ(bx[1], X(10, 130));
    EXPECT_DOUBLE_EQ(by[2], Y(16, 100));
    EXPECT_DOUBLE_EQ(bx[3], X(16, 130));
    EXPECT_DOUBLE_EQ(c.zStop(), 60.0);
}

TEST(SEGYcube, FallingInlinesKeepTheSignOfTheSlope)
{
    SEGYcube c(4000, 0);
    for (int il = 50; il >= 44; il -= 3)
        for (int xl = 1; xl <= 3; ++xl) c.addTrace(makeTrace(il, xl, 10.0 * il, 3.0 * xl));
    EXPECT_EQ(c.inlineStep(), -3) << "negative until setBbox";
    c.setBbox();
    EXPECT_EQ(c.inlineStep(), 3);
    auto const t = trans(c);
    EXPECT_DOUBLE_EQ(t[1], 10.0);
    EXPECT_DOUBLE_EQ(t[5], 3.0);
    EXPECT_DOUBLE_EQ(t[0], 0.0);
    EXPECT_EQ(std::pair(c.inlineStart(), c.inlineStop()), std::pair(44, 50));
}

TEST(SEGYcube, RepeatedInlineKeepsStoring)
{
    SEGYcube c(4000, 0);
    c.addTrace(makeTrace(5, 1, 0, 0));
    c.addTrace(makeTrace(5, 1, 0, 0));
    c.addTrace(makeTrace(5, 2, 0, 1));
    EXPECT_EQ(c.inlineStep(), 0);
    EXPECT_EQ(c.crlineStep(), 1);
    EXPECT_EQ(c.nTraces(), 3u);
    c.addTrace(makeTrace(6, 1, 1, 0));
    EXPECT_EQ(c.inlineStep(), 1);
    c.addTrace(makeTrace(6, 2, 1, 1));
    EXPECT_EQ(c.nTraces(), 4u) << "both steps known: no more storing";
    c.deleteAllTraces();
    EXPECT_EQ(c.nTraces(), 0u);
    c.addTrace(makeTrace(7, 1, 2, 0)); // ranges go on without stored traces
    EXPECT_EQ(c.inlineStop(), 7);
}

TEST(SEGYcube, SingleTraceAndMissingCorners)
{
    SEGYcube one(4000, 0);
    one.addTrace(makeTrace(3, 4, 30.0, 40.0));
    one.setBbox();
    EXPECT_EQ(std::pair(one.inlineStep(), one.crlineStep()), std::pair(0, 0));
    EXPECT_DOUBLE_EQ(trans(one)[0], 30.0);
    EXPECT_DOUBLE_EQ(trans(one)[3], 40.0);

    // A triangle of traces: corner 3 (last inline, last crossline) is never
    // seen and is computed; corner 1 is seen and keeps its measured place.
    SEGYcube c(4000, 0);
    c.addTrace(makeTrace(1, 1, 0.0, 0.0));
    c.addTrace(makeTrace(1, 2, 0.0, 1.0));
    c.addTrace(makeTrace(1, 3, 0.0, 2.05)); // measured, a little off the grid
    c.addTrace(makeTrace(2, 1, 1.0, 0.0));
    c.addTrace(makeTrace(3, 1, 2.0, 0.0));
    c.setBbox();
    double bx[4], by[4];
    c.bbox(bx, by);
    EXPECT_EQ(std::pair(c.cornerInline(3), c.cornerCrossline(3)), std::pair(3, 3));
    EXPECT_DOUBLE_EQ(bx[3], 2.0);
    EXPECT_DOUBLE_EQ(by[3], 2.0);
    EXPECT_NEAR(by[1], 2.05, 1e-6);
}

TEST(SEGYcube, AmplitudeRangeFollowsTheTraceRules)
{
    SEGYcube c(4000, 0);
    c.addTrace(makeTrace(1, 1, 0, 0, 0, 2, {-5.0f, -1.0f}));
    EXPECT_DOUBLE_EQ(c.sMin(), -5.0);
    EXPECT_DOUBLE_EQ(c.sMax(), FLT_MIN) << "only negative samples";
    c.addTrace(makeTrace(1, 2, 0, 0, 0, 2, {}));
    EXPECT_DOUBLE_EQ(c.sMin(), -5.0);
    EXPECT_DOUBLE_EQ(c.sMax(), FLT_MIN) << "an empty trace offers 0 to both";
    c.addTrace(makeTrace(1, 3, 0, 0, 0, 2, {2.0f, 9.0f}));
    EXPECT_DOUBLE_EQ(c.sMax(), 9.0);
}

} // namespace
