#include "foundation/ibm_float.h"

#include <cfloat>
#include <cstring>
#include <limits>

#include "foundation/byte_order.h"

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#define TOLMAR_HAVE_AVX2_KERNEL 1
#endif

namespace Tolmar {

namespace {

// value = fraction * 16^(e-64) / 2^24 = fraction * 2^(4e - 280). A 24-bit
// fraction times a power of two is exact in a double, so the only rounding is
// the final conversion to single, which the hardware does correctly.
inline double ibm_magnitude(std::uint32_t w)
{
    std::uint32_t const fraction = w & 0x00FFFFFFu;
    std::uint64_t const exponent = ((w >> 24) & 0x7Fu) * 4u + 743u; // 4e - 280 + 1023
    double scale;
    std::uint64_t const scaleBits = exponent << 52;
    std::memcpy(&scale, &scaleBits, 8);
    return static_cast<double>(fraction) * scale;
}

} // namespace

float ibm_bits_to_float(std::uint32_t w)
{
    double const m = ibm_magnitude(w);
    // Every IBM value above FLT_MAX is at least 2^128, so it rounds to infinity.
    float const f = m > static_cast<double>(FLT_MAX) ? std::numeric_limits<float>::infinity()
                                                      : static_cast<float>(m);
    return bits_float(float_bits(f) | (w & 0x80000000u));
}

float ibm_to_float(float ibm)
{
    // The word is taken from memory as bits; it never takes part in float arithmetic.
    std::uint32_t w;
    std::memcpy(&w, &ibm, 4);
    return ibm_bits_to_float(w);
}

namespace {

void ibm_scalar(unsigned char const* in, float* out, std::size_t n, bool littleEndian)
{
    for (std::size_t i = 0; i < n; ++i) out[i] = ibm_bits_to_float(load_u32(in + 4 * i, littleEndian));
}

#ifdef TOLMAR_HAVE_AVX2_KERNEL
__attribute__((target("avx2"))) void ibm_avx2(unsigned char const* in, float* out, std::size_t n,
                                              bool littleEndian)
{
    __m256i const swap = _mm256_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12,
                                          3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12);
    __m256i const fractionMask = _mm256_set1_epi32(0x00FFFFFF);
    __m256i const exponentMask = _mm256_set1_epi32(0x7F);
    __m256i const signMask = _mm256_set1_epi32(static_cast<int>(0x80000000u));
    __m256i const bias = _mm256_set1_epi32(743);
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        __m256i w = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(in + 4 * i));
        if (!littleEndian) w = _mm256_shuffle_epi8(w, swap);
        __m256i const fraction = _mm256_and_si256(w, fractionMask);
        __m256i const exponent = _mm256_add_epi32(
            _mm256_slli_epi32(_mm256_and_si256(_mm256_srli_epi32(w, 24), exponentMask), 2), bias);

        __m256d const f0 = _mm256_cvtepi32_pd(_mm256_castsi256_si128(fraction));
        __m256d const f1 = _mm256_cvtepi32_pd(_mm256_extracti128_si256(fraction, 1));
        __m256d const s0 = _mm256_castsi256_pd(
            _mm256_slli_epi64(_mm256_cvtepu32_epi64(_mm256_castsi256_si128(exponent)), 52));
        __m256d const s1 = _mm256_castsi256_pd(
            _mm256_slli_epi64(_mm256_cvtepu32_epi64(_mm256_extracti128_si256(exponent, 1)), 52));
        __m128 const r0 = _mm256_cvtpd_ps(_mm256_mul_pd(f0, s0));
        __m128 const r1 = _mm256_cvtpd_ps(_mm256_mul_pd(f1, s1));
        __m256 r = _mm256_insertf128_ps(_mm256_castps128_ps256(r0), r1, 1);
        r = _mm256_or_ps(r, _mm256_castsi256_ps(_mm256_and_si256(w, signMask)));
        _mm256_storeu_ps(out + i, r);
    }
    ibm_scalar(in + 4 * i, out + i, n - i, littleEndian);
}

bool cpu_has_avx2()
{
    static bool const has = __builtin_cpu_supports("avx2");
    return has;
}
#endif

} // namespace

void ibm_to_float(void const* words, float* out, std::size_t n, bool littleEndian)
{
    auto const* in = static_cast<unsigned char const*>(words);
#ifdef TOLMAR_HAVE_AVX2_KERNEL
    if (cpu_has_avx2()) {
        ibm_avx2(in, out, n, littleEndian);
        return;
    }
#endif
    ibm_scalar(in, out, n, littleEndian);
}

std::uint32_t float_to_ibm(float value)
{
    std::uint32_t const bits = float_bits(value);
    std::uint32_t const sign = bits & 0x80000000u;
    if (value != value) return sign | 0x7FFFFFFFu;
    double m = value < 0 ? -static_cast<double>(value) : static_cast<double>(value);
    if (m == 0.0) return sign;
    if (m == std::numeric_limits<double>::infinity()) return sign | 0x7FFFFFFFu;
    // Find e with 16^(e-65) <= m < 16^(e-64), then a 24-bit fraction.
    int e = 64;
    while (m >= 1.0) { m /= 16.0; ++e; }
    while (m < 1.0 / 16.0) { m *= 16.0; --e; }
    // m in [1/16, 1): fraction = m * 2^24, rounded to nearest even (exact scaling by 16).
    double const scaled = m * 16777216.0;
    double whole = static_cast<double>(static_cast<std::uint64_t>(scaled));
    double const rest = scaled - whole;
    if (rest > 0.5 || (rest == 0.5 && static_cast<std::uint64_t>(whole) % 2 == 1)) whole += 1.0;
    std::uint64_t fraction = static_cast<std::uint64_t>(whole);
    if (fraction == 0x1000000u) { fraction = 0x100000u; ++e; }
    if (e > 127) return sign | 0x7FFFFFFFu;
    if (e < 0) return sign;
    return sign | (static_cast<std::uint32_t>(e) << 24) | static_cast<std::uint32_t>(fraction);
}

} // namespace Tolmar
