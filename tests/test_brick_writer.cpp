#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "debug_capture.h"
#include "foundation/Streamer3DGridReader.h"
#include "foundation/rescale.h"
#include "segy/WorkerTeam.h"
#include "segy_test_util.h"

using namespace tolmar_test;
using Tolmar::Brick;
using Tolmar::BrickKey;

namespace {

constexpr int kBrick = 36, kBorder = 2, kCore = kBrick - 2 * kBorder;

double element(Brick const& b, int type, std::size_t e)
{
    switch (type) {
    case 1: return reinterpret_cast<std::int8_t const*>(b.data.data())[e];
    case 3: return reinterpret_cast<std::int16_t const*>(b.data.data())[e];
    default: return reinterpret_cast<float const*>(b.data.data())[e];
    }
}

std::vector<Brick> allBricks(Tolmar::Streamer3DGridReader& cube, unsigned level)
{
    std::vector<BrickKey> keys;
    auto const& c = cube.get_level_counts()[level];
    for (unsigned id = 0; id < c[0] * c[1] * c[2]; ++id) keys.push_back(BrickKey{level, id});
    std::vector<Brick> out;
    EXPECT_TRUE(cube.get_bricks_blocking(keys, out));
    return out;
}

double maxAbs(Survey const& sv)
{
    double m = 0.0;
    for (auto [i, x] : sv.order())
        for (int j = 0; j < sv.samples; ++j) m = std::max(m, std::fabs(static_cast<double>(sv.amplitude(i, x, j))));
    return m;
}

// A sample mapped onto an integer storage kind, before truncation; m is maxAbs(sv).
float rescaled(Survey const& sv, unsigned storage, double m, int il, int xl, int k)
{
    double const lo = storage == 8 ? -126 : -32766, hi = -lo;
    return static_cast<float>(Tolmar::rescale_amplitude(sv.amplitude(il, xl, k), m, Tolmar::rescale_factor(lo, hi, m), lo, hi));
}

} // namespace

TEST(BrickWriter, LevelZeroHoldsEverySampleInEveryStorageKind)
{
    Survey const sv = linearSurvey();
    for (unsigned storage : {32u, 16u, 8u}) {
        SCOPED_TRACE(storage);
        DebugCapture log;
        Imported const im(sv, storage);
        auto cube = Tolmar::open_3dgrid_reader(im.bricks);
        ASSERT_TRUE(cube);
        EXPECT_NE(log.text().find("read_brick done"), std::string::npos);
        EXPECT_NE(log.text().find(" num_active_levels_hint = 3"), std::string::npos);
        int const type = storage == 8 ? 1 : storage == 16 ? 3 : 9;
        EXPECT_EQ(cube->info.type, type);

        double const m = maxAbs(sv);
        auto const stored = [&](int il, int xl, int k) {
            return storage == 32 ? sv.amplitude(il, xl, k) : std::trunc(rescaled(sv, storage, m, il, xl, k));
        };

        int checked = 0;
        for (Brick const& b : allBricks(*cube, 0)) {
            ASSERT_FALSE(b.data.empty());
            auto const pos = cube->id2pos(b);
            for (int i = 0; i < kBrick; ++i)
                for (int j = 0; j < kBrick; ++j)
                    for (int k = 0; k < kBrick; ++k) {
                        // Lines beyond the first and last repeat the edge as far as the
                        // extension of the pass reaches (2^(3 - 1) * border); samples clamp to the trace.
                        int const ri = static_cast<int>(pos[2]) * kCore - kBorder + i;
                        int const rj = static_cast<int>(pos[1]) * kCore - kBorder + j;
                        int const ii = std::clamp(ri, 0, sv.inlines - 1), jj = std::clamp(rj, 0, sv.crosslines - 1);
                        if (ri != ii && rj != jj) continue; // outer corners follow their own rules
                        int const kk = std::clamp(static_cast<int>(pos[0]) * kCore - kBorder + k, 0, sv.samples - 1);
                        bool const reached = std::abs(ri - ii) <= 4 * kBorder && std::abs(rj - jj) <= 4 * kBorder;
                        double const want = reached ? stored(100 + ii, 200 + 2 * jj, kk) : cube->get_undef_value();
                        ASSERT_EQ(element(b, type, static_cast<std::size_t>((i * kBrick + j) * kBrick + k)), want)
                            << "brick " << b.id << " at " << i << " " << j << " " << k;
                        ++checked;
                    }
        }
        EXPECT_GT(checked, 8 * kBrick * kBrick * kBrick * 3 / 4);
    }
}

TEST(BrickWriter, BricksOutsideTheOutlineAreUndefined)
{
    Survey sv;
    sv.inlines = 70;
    sv.crosslines = 70;
    sv.samples = 8;
    // A quarter of the survey has no traces: brick (0, 1, 1) has no trace in its window.
    sv.present = [](int il, int xl) { return il - 100 < 30 || (xl - 200) / 2 < 30; };
    DebugCapture log;
    Imported const im(sv, 16);
    auto cube = Tolmar::open_3dgrid_reader(im.bricks);
    ASSERT_TRUE(cube);
    EXPECT_NE(log.text().find(" num_active_levels_hint = 3"), std::string::npos);
    EXPECT_NE(log.text().find(" level_0_brick_step = 4"), std::string::npos);
    auto const& c = cube->get_level_counts()[0];
    ASSERT_EQ(c[1], 3u);
    for (unsigned y = 0; y < c[1]; ++y)
        for (unsigned z = 0; z < c[2]; ++z) {
            BrickKey const key{0, cube->pos2id(0, y, z, 0)};
            EXPECT_EQ(cube->is_undef_brick(key), y >= 1 && z >= 1) << y << " " << z;
        }
    EXPECT_FALSE(cube->is_undef_brick(BrickKey{1, cube->pos2id(0, 1, 0, 1)}));
    EXPECT_TRUE(cube->is_undef_brick(BrickKey{1, cube->pos2id(0, 1, 1, 1)}));
}

// A survey of two work units along the inlines, each read in two bands, two
// bricks wide along the crosslines, with traces missing here and there: every
// element whose traces all lie inside the survey holds the average of the
// mapped samples of the traces present under it, at every level of the pass.
TEST(BrickWriter, UnitsAndBandsAverageThePresentTraces)
{
    Survey sv;
    sv.inlines = 140;
    sv.crosslines = 40;
    sv.samples = 40;
    sv.amplitude = [](int il, int xl, int k) { return static_cast<float>(((il * 13 + xl * 7 + k * 5) % 181) - 90); };
    auto const present = [](int i, int j) { return (i * 7 + j * 3) % 23 != 0; }; // by line index
    sv.present = [present](int il, int xl) { return present(il - 100, (xl - 200) / 2); };
    DebugCapture log;
    Imported const im(sv, 8);
    auto cube = Tolmar::open_3dgrid_reader(im.bricks);
    ASSERT_TRUE(cube);
    ASSERT_NE(log.text().find(" num_active_levels_hint = 3"), std::string::npos);
    double const m = maxAbs(sv);

    int checked = 0;
    for (unsigned level = 0; level < 3; ++level) {
        int const s = 1 << level;
        for (Brick const& b : allBricks(*cube, level)) {
            auto const pos = cube->id2pos(b);
            for (int i = 0; i < kBrick; ++i)
                for (int j = 0; j < kBrick; ++j) {
                    int const i0 = (static_cast<int>(pos[2]) * kCore - kBorder + i) * s;
                    int const j0 = (static_cast<int>(pos[1]) * kCore - kBorder + j) * s;
                    if (i0 < 0 || j0 < 0 || i0 + s > sv.inlines || j0 + s > sv.crosslines) continue;
                    for (int k = 0; k < kBrick; ++k) {
                        double sum = 0;
                        int traces = 0;
                        for (int di = 0; di < s; ++di)
                            for (int dj = 0; dj < s; ++dj) {
                                if (!present(i0 + di, j0 + dj)) continue;
                                ++traces;
                                for (int q = 0; q < s; ++q) {
                                    int const kk = std::clamp((static_cast<int>(pos[0]) * kCore - kBorder + k) * s + q, 0,
                                                              sv.samples - 1);
                                    sum += rescaled(sv, 8, m, 100 + i0 + di, 200 + 2 * (j0 + dj), kk);
                                }
                            }
                        double const want = traces == 0 ? cube->get_undef_value() : std::trunc(sum / (traces * s));
                        ASSERT_FALSE(b.data.empty()) << "level " << level << " brick " << b.id;
                        ASSERT_EQ(element(b, 1, static_cast<std::size_t>((i * kBrick + j) * kBrick + k)), want)
                            << "level " << level << " brick " << b.id << " at " << i << " " << j << " " << k;
                        ++checked;
                    }
                }
        }
    }
    EXPECT_GT(checked, 10 * kBrick * kBrick * kBrick / 2);
    // Every level up to the root reads back, and the root is defined.
    for (unsigned level = 3; level < cube->get_num_levels(); ++level) EXPECT_FALSE(allBricks(*cube, level).empty());
    EXPECT_FALSE(cube->is_undef_brick(BrickKey{cube->get_num_levels() - 1, 0}));
}

TEST(BrickWriter, TeamRunsEveryTaskOnceARound)
{
    for (std::size_t threads : {1u, 3u}) {
        Tolmar::WorkerTeam team(threads);
        for (std::size_t n : {0u, 1u, 2u, 97u}) {
            std::vector<std::atomic<int>> runs(n);
            team.run(n, [&](std::size_t i) { runs[i].fetch_add(1); });
            for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(runs[i].load(), 1) << threads << " threads, task " << i << " of " << n;
        }
    }
}
