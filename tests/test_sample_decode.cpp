// The bulk decoders against hand-assembled bytes of every coding and byte order.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "foundation/byte_order.h"
#include "foundation/sample_decode.h"

namespace {

using Tolmar::SampleCoding;

TEST(SampleDecode, FormatCodes)
{
    SampleCoding c;
    ASSERT_TRUE(Tolmar::sample_coding_for_format(1, true, c));
    EXPECT_EQ(c, SampleCoding::ibm32);
    ASSERT_TRUE(Tolmar::sample_coding_for_format(1, false, c));
    EXPECT_EQ(c, SampleCoding::ieee32);
    // Format 5 is IEEE by the standard, but only the flag decides here.
    ASSERT_TRUE(Tolmar::sample_coding_for_format(5, true, c));
    EXPECT_EQ(c, SampleCoding::ibm32);
    ASSERT_TRUE(Tolmar::sample_coding_for_format(2, true, c));
    EXPECT_EQ(c, SampleCoding::int32);
    ASSERT_TRUE(Tolmar::sample_coding_for_format(3, false, c));
    EXPECT_EQ(c, SampleCoding::int16);
    ASSERT_TRUE(Tolmar::sample_coding_for_format(8, false, c));
    EXPECT_EQ(c, SampleCoding::int8);
    for (int bad : {0, 4, 6, 7, 9, -1, 16})
        EXPECT_FALSE(Tolmar::sample_coding_for_format(bad, false, c)) << bad;
}

// Enough values to cover the vector loops and their scalar tails.
template <typename F>
void forBothOrders(F&& f)
{
    for (bool little : {false, true}) f(little);
}

TEST(SampleDecode, IntegerAndIeeeCodings)
{
    constexpr int n = 67;
    forBothOrders([&](bool little) {
        std::vector<unsigned char> b32(4 * n), b16(2 * n), b8(n), bf(4 * n);
        std::vector<float> want32(n), want16(n), want8(n), wantF(n);
        for (int i = 0; i < n; ++i) {
            std::int32_t const v32 = (i % 2 ? -1 : 1) * (i * 104729 + (i == 5 ? 2000000000 : 0));
            std::int16_t const v16 = static_cast<std::int16_t>((i % 2 ? -1 : 1) * (i * 517 % 32768));
            std::int8_t const v8 = static_cast<std::int8_t>(i * 37 - 128);
            float const vf = (i % 3 ? -1.0f : 1.0f) * std::ldexp(1.0f + i / 128.0f, i - 30);
            Tolmar::store_u32(&b32[4 * i], static_cast<std::uint32_t>(v32), little);
            Tolmar::store_u16(&b16[2 * i], static_cast<std::uint16_t>(v16), little);
            b8[i] = static_cast<unsigned char>(v8);
            Tolmar::store_u32(&bf[4 * i], Tolmar::float_bits(vf), little);
            want32[i] = static_cast<float>(v32);
            want16[i] = v16;
            want8[i] = v8;
            wantF[i] = vf;
        }
        std::vector<float> out(n);
        Tolmar::decode_samples(b32.data(), out.data(), n, SampleCoding::int32, little);
        EXPECT_EQ(out, want32) << "int32 little=" << little;
        Tolmar::decode_samples(b16.data(), out.data(), n, SampleCoding::int16, little);
        EXPECT_EQ(out, want16) << "int16 little=" << little;
        Tolmar::decode_samples(b8.data(), out.data(), n, SampleCoding::int8, little);
        EXPECT_EQ(out, want8) << "int8 little=" << little;
        Tolmar::decode_samples(bf.data(), out.data(), n, SampleCoding::ieee32, little);
        EXPECT_EQ(out, wantF) << "ieee little=" << little;
        Tolmar::store_u32(&bf[0], 0x41100000u, little);
        Tolmar::decode_samples(bf.data(), out.data(), 1, SampleCoding::ibm32, little);
        EXPECT_EQ(out[0], 1.0f);
    });
}

TEST(SampleDecode, MinMaxPassesOverNaNAndClampBounds)
{
    std::vector<float> v(41);
    for (int i = 0; i < 41; ++i) v[i] = static_cast<float>(i - 20);
    v[3] = std::numeric_limits<float>::quiet_NaN();
    v[30] = -99.0f;
    v[40] = 77.0f;
    float lo = std::numeric_limits<float>::infinity(), hi = -lo;
    Tolmar::update_min_max(v.data(), v.size(), lo, hi);
    EXPECT_EQ(lo, -99.0f);
    EXPECT_EQ(hi, 77.0f);
    // Starting bounds already beyond the data stay.
    lo = -1000.0f;
    hi = 1000.0f;
    Tolmar::update_min_max(v.data(), v.size(), lo, hi);
    EXPECT_EQ(lo, -1000.0f);
    EXPECT_EQ(hi, 1000.0f);

    Tolmar::clamp_samples(v.data(), v.size(), -5.0f, 6.0f);
    for (int i = 0; i < 41; ++i)
        if (i != 3) {
            EXPECT_GE(v[i], -5.0f);
            EXPECT_LE(v[i], 6.0f);
        }
    EXPECT_EQ(v[30], -5.0f);
    EXPECT_EQ(v[40], 6.0f);
    EXPECT_EQ(v[22], 2.0f);
}

} // namespace
