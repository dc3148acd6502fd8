// Files that an earlier build wrote, checked in under tests/data, read with
// the values they were written with: a format change cannot silently break
// the files users already have. Written by version 1 of both formats (the
// fuzz seed writer, tests/fuzz/make_seeds.cpp, and `tolmar import` of
// `tolmar synth --inlines 6 --crosslines 5 --samples 20 --format ieee`).

#include <gtest/gtest.h>

#include <cmath>

#include "foundation/CompressedIndex.h"
#include "segy/Seismic3DTraceReader.h"

namespace {

std::string data(char const* name) { return std::string(TOLMAR_TEST_DATA) + "/" + name; }

} // namespace

TEST(SavedFiles, BrickFileOfVersion1)
{
    Tolmar::Seismic3DTraceReader cube(data("v1_float.tmf"));
    ASSERT_TRUE(cube.valid()) << cube.error();
    EXPECT_EQ(cube.inlStart, 100);
    EXPECT_EQ(cube.inlStop, 105);
    EXPECT_EQ(cube.crlStart, 200);
    EXPECT_EQ(cube.crlStop, 208);
    EXPECT_EQ(cube.crlStep, 2);
    EXPECT_DOUBLE_EQ(cube.zStep, 4.0);
    EXPECT_DOUBLE_EQ(cube.xInl, 12.5);
    EXPECT_DOUBLE_EQ(cube.yCrl, 25.0);

    // Bricks of 8 with a border of 1 (cores of 6) along the 20 samples; the
    // element of local index e in level-0 brick `id` was written as
    // (7 e + id) mod 50, and brick 1 (samples 6 to 11) was left undefined.
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 5; ++j) {
            std::vector<float> trace;
            ASSERT_TRUE(cube.trace(100 + i, 200 + 2 * j, 0.0, 76.0, trace));
            ASSERT_EQ(trace.size(), 20u);
            for (int k = 0; k < 20; ++k) {
                int const id = k / 6, local = ((i + 1) * 8 + (j + 1)) * 8 + (k - 6 * id + 1);
                float const want = id == 1 ? cube.undef() : static_cast<float>((local * 7 + id) % 50);
                EXPECT_EQ(trace[static_cast<std::size_t>(k)], want) << i << " " << j << " " << k;
            }
        }
    float low = 0, high = 0;
    std::vector<unsigned long long> bins;
    ASSERT_TRUE(cube.getHistogram(low, high, bins));
    EXPECT_EQ(bins, std::vector<unsigned long long>(16, 5));
}

TEST(SavedFiles, IndexFileOfVersion1)
{
    Tolmar::CompressedIndex index;
    ASSERT_TRUE(index.read(data("v1_survey.idx")));
    EXPECT_EQ(index.description_problem(), "");
    Tolmar::IndexedSEGYHeader const& h = index.header;
    EXPECT_EQ(h.format, 5);
    EXPECT_EQ(h.nSamples, 20);
    EXPECT_FALSE(h.ibmFloat);
    EXPECT_EQ(h.inlStart, 1000);
    EXPECT_EQ(h.inlStop, 1005);
    EXPECT_EQ(h.crlStart, 2000);
    EXPECT_EQ(h.crlStop, 2008);
    EXPECT_EQ(h.crlStep, 2);
    EXPECT_DOUBLE_EQ(h.zStop, 76.0);
    EXPECT_EQ(index.num_traces(), 30);
    EXPECT_EQ(index.histogram(), std::vector<unsigned long long>(16, 3));
    // Inline-sorted traces of 240 + 20 * 4 bytes after the 3600-byte headers.
    long long offset = 0;
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 5; ++j) {
            ASSERT_TRUE(index.lookup(1000 + i, 2000 + 2 * j, offset));
            EXPECT_EQ(offset, 3600 + (i * 5 + j) * 320LL);
        }
    EXPECT_FALSE(index.lookup(1000, 2001));
}
