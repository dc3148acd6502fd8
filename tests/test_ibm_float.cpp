// IBM hexadecimal floats against a reference built from the format's
// definition with integer arithmetic only.

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "foundation/byte_order.h"
#include "foundation/ibm_float.h"

namespace {

using Tolmar::float_bits;

// value = (-1)^s * F * 2^-24 * 16^(E-64). Normalise F to a 24-bit IEEE
// significand, then round half to even where the value falls below the
// normal range; past the largest single the value overflows to infinity.
std::uint32_t referenceIeeeBits(std::uint32_t ibm)
{
    std::uint32_t const sign = ibm & 0x80000000u;
    std::uint32_t const F = ibm & 0x00FFFFFFu;
    int const E = static_cast<int>((ibm >> 24) & 0x7F);
    if (F == 0) return sign;
    int msb = 23;
    while (!(F & (1u << msb))) --msb;
    int const k = 4 * (E - 64) - 24;          // value = F * 2^k
    int const exponent = msb + k;             // value = 1.xxx * 2^exponent
    if (exponent > 127) return sign | 0x7F800000u;
    if (exponent >= -126) {
        std::uint32_t const significand = F << (23 - msb);
        return sign | (static_cast<std::uint32_t>(exponent + 127) << 23) | (significand & 0x007FFFFFu);
    }
    // Subnormal: the value in units of 2^-149 is F * 2^(k+149).
    int const shift = -(k + 149);
    if (shift <= 0) return sign | (F << -shift); // cannot happen for subnormals, kept for clarity
    if (shift > 25) return sign;                 // below half the smallest subnormal
    std::uint64_t const whole = F >> shift;
    std::uint64_t const rest = F & ((1ull << shift) - 1);
    std::uint64_t const half = 1ull << (shift - 1);
    std::uint64_t rounded = whole;
    if (rest > half || (rest == half && (whole & 1))) ++rounded;
    return sign | static_cast<std::uint32_t>(rounded); // 2^23 here is the smallest normal, as it must be
}

// Known words, which also check the reference.
TEST(IbmFloat, SpecialWords)
{
    for (auto [word, value] : {std::pair{0x41100000u, 1.0f}, {0xC276A000u, -118.625f}, {0x3F100000u, 1.0f / 256.0f},
                               {0x42010000u, 1.0f} /* unnormalised fraction */, {0x7FFFFFFFu, INFINITY}}) {
        EXPECT_EQ(Tolmar::ibm_bits_to_float(word), value) << std::hex << word;
        EXPECT_EQ(float_bits(value), referenceIeeeBits(word)) << std::hex << word;
    }
    EXPECT_EQ(float_bits(Tolmar::ibm_bits_to_float(0x80000000u)), float_bits(-0.0f));
}

TEST(IbmFloat, ScalarTakesTheWordAsBits)
{
    // Words that look like NaNs or subnormals as IEEE must arrive untouched.
    for (std::uint32_t w : {0x7FC00001u, 0x7F800001u, 0xFFFFFFFFu, 0x00000001u, 0x41100000u}) {
        float const asFloat = Tolmar::bits_float(w);
        EXPECT_EQ(float_bits(Tolmar::ibm_to_float(asFloat)), referenceIeeeBits(w)) << std::hex << w;
    }
}

// Every sign and exponent with the fractions that matter: zero, single bits,
// ties of rounding to subnormals (3 << b), all-ones runs of every length and
// random ones; scalar, and bulk in both byte orders so the vector path meets
// the exponents where results leave the normal range.
TEST(IbmFloat, EveryExponentAndSign)
{
    std::mt19937 rng(1234);
    std::vector<std::uint32_t> fractions = {0, 0xFFFFFE};
    for (std::uint32_t b = 0; b < 24; ++b)
        for (std::uint32_t f : {1u << b, (1u << b) | 1u, (2u << b) - 1u, 3u << b}) fractions.push_back(f & 0xFFFFFF);
    for (int i = 0; i < 2000; ++i) fractions.push_back(rng() & 0xFFFFFF);
    std::size_t const n = fractions.size();
    std::vector<unsigned char> be(4 * n), le(4 * n);
    std::vector<float> outBe(n), outLe(n);
    for (std::uint32_t top = 0; top < 256; ++top) {
        for (std::size_t i = 0; i < n; ++i) {
            Tolmar::store_u32(&be[4 * i], top << 24 | fractions[i], false);
            Tolmar::store_u32(&le[4 * i], top << 24 | fractions[i], true);
        }
        Tolmar::ibm_to_float(be.data(), outBe.data(), n, false);
        Tolmar::ibm_to_float(le.data(), outLe.data(), n, true);
        for (std::size_t i = 0; i < n; ++i) {
            std::uint32_t const w = top << 24 | fractions[i], want = referenceIeeeBits(w);
            ASSERT_EQ(float_bits(Tolmar::ibm_bits_to_float(w)), want) << std::hex << w;
            ASSERT_EQ(float_bits(outBe[i]), want) << std::hex << w;
            ASSERT_EQ(float_bits(outLe[i]), want) << std::hex << w;
        }
    }
}

TEST(IbmFloat, UnalignedBulkInputAndOddLengths)
{
    std::vector<unsigned char> buf(4 * 37 + 1);
    std::vector<std::uint32_t> words(37);
    std::mt19937 rng(7);
    for (int i = 0; i < 37; ++i) {
        words[i] = rng();
        Tolmar::store_u32(&buf[1 + 4 * i], words[i], false);
    }
    for (std::size_t n : {0u, 1u, 7u, 8u, 9u, 37u}) {
        std::vector<float> out(n + 1, 42.0f);
        Tolmar::ibm_to_float(&buf[1], out.data(), n, false);
        for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(float_bits(out[i]), referenceIeeeBits(words[i]));
        EXPECT_EQ(out[n], 42.0f) << "wrote past the end";
    }
}

TEST(IbmFloat, FromFloatRoundTripsAndRounds)
{
    // Values with at most 21 significant bits survive IBM's hex normalisation exactly.
    std::mt19937 rng(99);
    for (int i = 0; i < 100000; ++i) {
        float const v = std::ldexp(static_cast<float>(rng() & 0x1FFFFF), static_cast<int>(rng() % 200) - 120) *
                        ((rng() & 1) ? -1.0f : 1.0f);
        ASSERT_EQ(Tolmar::ibm_bits_to_float(Tolmar::float_to_ibm(v)), v) << v;
    }
    EXPECT_EQ(Tolmar::float_to_ibm(1.0f), 0x41100000u);
    EXPECT_EQ(Tolmar::float_to_ibm(-118.625f), 0xC276A000u);
    EXPECT_EQ(Tolmar::float_to_ibm(0.0f), 0u);
    EXPECT_EQ(Tolmar::float_to_ibm(-0.0f), 0x80000000u);
    EXPECT_EQ(Tolmar::float_to_ibm(INFINITY), 0x7FFFFFFFu);
    // 1 + 2^-23 needs 24 bits after the leading one: IBM keeps 21, and the
    // tie-free value rounds to the nearest word.
    float const justAbove = std::nextafter(1.0f, 2.0f);
    EXPECT_EQ(Tolmar::float_to_ibm(justAbove), 0x41100000u);
    // The subnormal singles are within IBM's range and convert exactly back.
    float const tiny = std::numeric_limits<float>::denorm_min();
    EXPECT_EQ(Tolmar::ibm_bits_to_float(Tolmar::float_to_ibm(tiny)), tiny);
    EXPECT_EQ(Tolmar::ibm_bits_to_float(Tolmar::float_to_ibm(FLT_MAX)), FLT_MAX);
}

} // namespace
