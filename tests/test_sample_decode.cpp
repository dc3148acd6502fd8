// Format codes, and the bulk steps of bricking against their scalar rules.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

#include "foundation/rescale.h"
#include "foundation/sample_decode.h"

namespace {

using Tolmar::SampleCoding;

TEST(SampleDecode, FormatCodes)
{
    // Format 5 is IEEE by the standard, but only the IBM flag decides here.
    for (auto [format, ibm, want] : {std::tuple{1, true, SampleCoding::ibm32}, {1, false, SampleCoding::ieee32},
                                     {5, true, SampleCoding::ibm32}, {2, true, SampleCoding::int32},
                                     {3, false, SampleCoding::int16}, {8, false, SampleCoding::int8}}) {
        SampleCoding c;
        ASSERT_TRUE(Tolmar::sample_coding_for_format(format, ibm, c)) << format;
        EXPECT_EQ(c, want) << format;
    }
    SampleCoding c;
    for (int bad : {0, 4, 6, 7, 9, -1, 16}) EXPECT_FALSE(Tolmar::sample_coding_for_format(bad, false, c)) << bad;
}

// The decoders of every coding and byte order, against segyio's reading of
// the same files: SegyFromElsewhere.

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

    std::vector<float> want = v;
    for (int i = 0; i < 41; ++i)
        if (i != 3) want[i] = std::clamp(v[i], -5.0f, 6.0f);
    Tolmar::clamp_samples(v.data(), v.size(), -5.0f, 6.0f);
    v[3] = want[3] = 0; // NaN: left as it is, but unequal to itself
    EXPECT_EQ(v, want);
}

// The bulk rescale against the scalar rule, bit for bit: random amplitudes,
// the values whose mapping lands on or next to 0, -1 and 1 and the limits,
// values near the 1e-6 that stays untouched, zeros, NaN and infinities, for
// the limits of every storage kind.
TEST(SampleDecode, RescaleIsTheScalarRuleExactly)
{
    std::mt19937_64 rng(11);
    double const fmax = std::numeric_limits<float>::max();
    for (auto [low, high] : {std::pair{-126.0, 126.0}, std::pair{-32766.0, 32766.0}, std::pair{-fmax, fmax}})
        for (double m : {1.0, 1300.0, 7.5e-3, 3.3e5, 1e30}) {
            SCOPED_TRACE(testing::Message() << "limits " << high << ", m " << m);
            double const scale = Tolmar::rescale_factor(low, high, m);
            std::uniform_real_distribution<double> u(-1.2 * m, 1.2 * m);
            std::vector<float> v;
            for (int i = 0; i < 5000; ++i) v.push_back(static_cast<float>(u(rng)));
            for (double target : {0.0, 1.0, -1.0, 0.5, -0.5, 1e-40, -1e-40, low, high}) {
                float f = static_cast<float>((target - low) / scale - m);
                for (int step = 0; step < 4; ++step) {
                    v.push_back(f);
                    v.push_back(std::nextafter(f, -std::numeric_limits<float>::infinity()));
                    f = std::nextafter(f, std::numeric_limits<float>::infinity());
                }
            }
            for (float f : {0.0f, -0.0f, 1e-6f, -1e-6f, 9.999999e-7f, -9.999999e-7f, 1e-45f,
                            std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity()})
                v.push_back(f);
            std::vector<float> got = v;
            Tolmar::rescale_samples(got.data(), got.size(), m, scale, low, high);
            for (std::size_t i = 0; i < v.size(); ++i) {
                float const want = static_cast<float>(Tolmar::rescale_amplitude(v[i], m, scale, low, high));
                if (std::isnan(want)) EXPECT_TRUE(std::isnan(got[i])) << v[i];
                else ASSERT_EQ(std::bit_cast<std::uint32_t>(got[i]), std::bit_cast<std::uint32_t>(want)) << v[i];
            }
        }
}

// Truncation toward zero with saturation and NaN as 0, in the vector loops
// and their tails; sums taken in double.
TEST(SampleDecode, IntegerConversionsAndSums)
{
    std::vector<float> v;
    for (int i = 0; i < 37; ++i) v.push_back(static_cast<float>(i) * 1.75f - 31.3f);
    for (float f : {127.9f, 128.0f, -128.5f, -129.0f, 1e9f, -1e9f, -0.7f, 0.7f, 32767.5f, -32768.9f, 40000.0f,
                    std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                    -std::numeric_limits<float>::infinity()})
        v.push_back(f);
    std::vector<std::int8_t> b(v.size());
    std::vector<std::int16_t> w(v.size());
    Tolmar::samples_to_int8(v.data(), b.data(), v.size());
    Tolmar::samples_to_int16(v.data(), w.data(), v.size());
    for (std::size_t i = 0; i < v.size(); ++i) {
        double const t = std::isnan(v[i]) ? 0.0 : std::trunc(static_cast<double>(v[i]));
        EXPECT_EQ(b[i], std::clamp(t, -128.0, 127.0)) << v[i];
        EXPECT_EQ(w[i], std::clamp(t, -32768.0, 32767.0)) << v[i];
    }

    std::vector<double> sums(v.size(), 0.25);
    Tolmar::add_samples(v.data(), sums.data(), 37);
    for (std::size_t i = 0; i < 37; ++i) EXPECT_EQ(sums[i], 0.25 + static_cast<double>(v[i]));
    EXPECT_EQ(sums[37], 0.25) << "past n nothing is added";
}

} // namespace
