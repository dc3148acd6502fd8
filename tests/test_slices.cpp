// Slices and traces cut from a brick cube agree with the values written.

#include <gtest/gtest.h>

#include <cfloat>

#include "foundation/Streamer3DGridReader.h"
#include "foundation/slices.h"
#include "segy_test_util.h"

namespace {

using Tolmar::vec;

// 70 samples x 50 crosslines x 40 inlines; inlines 100..139 by 1, crosslines
// 200..298 by 2, z 10..286 ms by 4. The level-0 brick (1, 0, 0) is undefined.
constexpr unsigned kNs = 70, kNc = 50, kNi = 40, kBs = 36, kBorder = 2, kCore = 32;

float value(int k, int j, int i) { return static_cast<float>(k + 100 * j + 10000 * i); }

std::string writeCube(tolmar_test::ScratchDir const& dir)
{
    Tolmar::SEGYCubeInfo info;
    info.name = "cube";
    info.inlineRange = vec<int, 3>{{100, 139, 1}};
    info.crosslineRange = vec<int, 3>{{200, 298, 2}};
    info.zStart = 10.0;
    info.zStop = 286.0;
    info.zStep = 4.0;
    auto const fill = [](Tolmar::Streamer3DGridLowLevelWriter const& w, Tolmar::Brick& b) {
        auto const p = w.id2pos(b);
        if (p == vec<unsigned, 3>{{1, 0, 0}}) return b.data.clear();
        auto* f = reinterpret_cast<float*>(b.data.data());
        for (unsigned i = 0; i < kBs; ++i)
            for (unsigned j = 0; j < kBs; ++j)
                for (unsigned k = 0; k < kBs; ++k) {
                    int const gi = int(p[2] * kCore + i) - int(kBorder), gj = int(p[1] * kCore + j) - int(kBorder),
                              gk = int(p[0] * kCore + k) - int(kBorder);
                    bool const inside = gi >= 0 && gj >= 0 && gk >= 0 && gi < int(kNi) && gj < int(kNc) && gk < int(kNs);
                    f[(i * kBs + j) * kBs + k] = inside ? value(gk, gj, gi) : FLT_MAX;
                }
    };
    return tolmar_test::writeBricks(dir.path("cube.tmf"), vec<unsigned, 3>{{kNs, kNc, kNi}}, Tolmar::Info3DGrid::FLOAT,
                                    0.0, 400000.0, fill, info);
}

// The expected value at cube indices, FLT_MAX inside the undefined brick.
float expected(int k, int j, int i)
{
    bool const undefinedBrick = k / 32 == 1 && j / 32 == 0 && i / 32 == 0;
    return undefinedBrick ? FLT_MAX : value(k, j, i);
}

TEST(Slices, LinesTimeslicesAndTracesMatchTheCube)
{
    tolmar_test::ScratchDir dir;
    auto r = Tolmar::open_3dgrid_reader(writeCube(dir));
    ASSERT_TRUE(r);
    std::vector<float> out;
    vec<int, 2> size;

    ASSERT_TRUE(Tolmar::iline(r, 103, out, size));
    EXPECT_EQ(size[0], int(kNs));
    EXPECT_EQ(size[1], int(kNc));
    for (int j = 0; j < int(kNc); ++j)
        for (int k = 0; k < int(kNs); ++k) ASSERT_EQ(out[j * size[0] + k], expected(k, j, 3)) << k << " " << j;

    ASSERT_TRUE(Tolmar::crossline(r, 262, out, size)); // crossline index 31: the last of the first brick
    EXPECT_EQ(size[0], int(kNs));
    EXPECT_EQ(size[1], int(kNi));
    for (int i = 0; i < int(kNi); ++i)
        for (int k = 0; k < int(kNs); ++k) ASSERT_EQ(out[i * size[0] + k], expected(k, 31, i));

    ASSERT_TRUE(Tolmar::timeslice(r, 10.0 + 4 * 33, out, size)); // sample 33, inside the undefined brick's column
    EXPECT_EQ(size[0], int(kNi));
    EXPECT_EQ(size[1], int(kNc));
    for (int j = 0; j < int(kNc); ++j)
        for (int i = 0; i < int(kNi); ++i) ASSERT_EQ(out[j * size[0] + i], expected(33, j, i));

    // Windows: clipped to the cube, either order of the ends.
    ASSERT_TRUE(Tolmar::iline(r, 139, 296, 240, 6.0, 30.0, out, size));
    EXPECT_EQ(size[0], 6) << "z 6 is before the first sample: samples 0..5";
    EXPECT_EQ(size[1], 29) << "crosslines 240..296";
    EXPECT_EQ(out[0], expected(0, 20, 39));
    EXPECT_EQ(out[28 * 6 + 5], expected(5, 48, 39));
    ASSERT_TRUE(Tolmar::timeslice(r, 50.0, 120, 125, 200, 204, out, size));
    EXPECT_EQ(size[0], 6);
    EXPECT_EQ(size[1], 3);
    EXPECT_EQ(out[2 * 6 + 5], expected(10, 2, 25));
    ASSERT_TRUE(Tolmar::crossline(r, 200, 139, 130, 280.0, 400.0, out, size));
    EXPECT_EQ(size[0], 2);
    EXPECT_EQ(size[1], 10);

    ASSERT_TRUE(Tolmar::trace(r, 117, 250, 14.0, 150.0, out));
    ASSERT_EQ(out.size(), 35u);
    for (int k = 0; k < 35; ++k) EXPECT_EQ(out[k], expected(k + 1, 25, 17));

    // Outside the cube, or without a reader.
    EXPECT_FALSE(Tolmar::iline(r, 99, out, size));
    EXPECT_FALSE(Tolmar::crossline(r, 300, out, size));
    EXPECT_FALSE(Tolmar::timeslice(r, 290.0, out, size));
    EXPECT_FALSE(Tolmar::trace(r, 140, 200, 10.0, 20.0, out));
    EXPECT_FALSE(Tolmar::trace(nullptr, 100, 200, 10.0, 20.0, out));
}

} // namespace
