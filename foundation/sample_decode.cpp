#include "foundation/sample_decode.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#endif

#include "foundation/ibm_float.h"
#include "foundation/rescale.h"

namespace Tolmar {

std::size_t sample_bytes(SampleCoding coding)
{
    switch (coding) {
    case SampleCoding::int16: return 2;
    case SampleCoding::int8: return 1;
    default: return 4;
    }
}

bool sample_coding_for_format(int format, bool ibmFloat, SampleCoding& coding)
{
    switch (format) {
    case 1:
    case 5: coding = ibmFloat ? SampleCoding::ibm32 : SampleCoding::ieee32; return true;
    case 2: coding = SampleCoding::int32; return true;
    case 3: coding = SampleCoding::int16; return true;
    case 8: coding = SampleCoding::int8; return true;
    default: return false;
    }
}

// The simple loops below vectorise at -O3 with the baseline instruction set.
// (Load-time clones for AVX2 would need resolvers that the sanitizers cannot run.)
namespace {

void ieee32_to_float(unsigned char const* in, float* out, std::size_t n, bool swap)
{
    if (!swap) {
        std::memcpy(out, in, 4 * n);
        return;
    }
    for (std::size_t i = 0; i < n; ++i) {
        std::uint32_t u;
        std::memcpy(&u, in + 4 * i, 4);
        u = __builtin_bswap32(u);
        std::memcpy(out + i, &u, 4);
    }
}

void int32_to_float(unsigned char const* in, float* out, std::size_t n, bool swap)
{
    for (std::size_t i = 0; i < n; ++i) {
        std::uint32_t u;
        std::memcpy(&u, in + 4 * i, 4);
        if (swap) u = __builtin_bswap32(u);
        out[i] = static_cast<float>(static_cast<std::int32_t>(u));
    }
}

void int16_to_float(unsigned char const* in, float* out, std::size_t n, bool swap)
{
    for (std::size_t i = 0; i < n; ++i) {
        std::uint16_t u;
        std::memcpy(&u, in + 2 * i, 2);
        if (swap) u = __builtin_bswap16(u);
        out[i] = static_cast<float>(static_cast<std::int16_t>(u));
    }
}

void int8_to_float(unsigned char const* in, float* out, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<float>(static_cast<signed char>(in[i]));
}

constexpr bool kHostLittle = std::endian::native == std::endian::little;

} // namespace

void decode_samples(void const* inPtr, float* out, std::size_t n, SampleCoding coding, bool littleEndian)
{
    auto const* in = static_cast<unsigned char const*>(inPtr);
    bool const swap = littleEndian != kHostLittle;
    switch (coding) {
    case SampleCoding::ibm32: ibm_to_float(in, out, n, littleEndian); break;
    case SampleCoding::ieee32: ieee32_to_float(in, out, n, swap); break;
    case SampleCoding::int32: int32_to_float(in, out, n, swap); break;
    case SampleCoding::int16: int16_to_float(in, out, n, swap); break;
    case SampleCoding::int8: int8_to_float(in, out, n); break;
    }
}

#if defined(__x86_64__) && defined(__GNUC__)
// MINPS(a, b) is a < b ? a : b and MAXPS(a, b) is a > b ? a : b, exactly the
// scalar selects below, NaN handling included; the compiler will not use
// them for those selects by itself.
namespace {

__attribute__((target("avx2"))) void min_max_avx2(float const* v, std::size_t n, float& lo, float& hi)
{
    // Two accumulator pairs hide the latency of the min and max chains.
    __m256 l0 = _mm256_set1_ps(lo), h0 = _mm256_set1_ps(hi), l1 = l0, h1 = h0;
    std::size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        __m256 const a = _mm256_loadu_ps(v + i), b = _mm256_loadu_ps(v + i + 8);
        l0 = _mm256_min_ps(a, l0);
        h0 = _mm256_max_ps(a, h0);
        l1 = _mm256_min_ps(b, l1);
        h1 = _mm256_max_ps(b, h1);
    }
    float ls[16], hs[16];
    _mm256_storeu_ps(ls, l0);
    _mm256_storeu_ps(ls + 8, l1);
    _mm256_storeu_ps(hs, h0);
    _mm256_storeu_ps(hs + 8, h1);
    for (int k = 0; k < 16; ++k) {
        lo = ls[k] < lo ? ls[k] : lo;
        hi = hs[k] > hi ? hs[k] : hi;
    }
    for (; i < n; ++i) {
        lo = v[i] < lo ? v[i] : lo;
        hi = v[i] > hi ? v[i] : hi;
    }
}

__attribute__((target("avx2"))) void clamp_avx2(float* v, std::size_t n, float lo, float hi)
{
    __m256 const l = _mm256_set1_ps(lo), h = _mm256_set1_ps(hi);
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8)
        _mm256_storeu_ps(v + i, _mm256_min_ps(h, _mm256_max_ps(l, _mm256_loadu_ps(v + i))));
    for (; i < n; ++i) {
        float const x = v[i] < lo ? lo : v[i];
        v[i] = x > hi ? hi : x;
    }
}

// The scalar rule, eight lanes at a time. The mapping itself is computed in
// double as there; its clamps are then applied to the result rounded to
// float, which gives the same when the limits are floats: rounding keeps
// order, so a value beyond a limit rounds to at or beyond it, and one within
// stays within. Only the choice between -1 and 1 near zero needs the double
// (a positive value too small for a float rounds to 0, which would choose -1).
// Limits that are not floats, or that leave no room for that choice, take
// the double clamps.
__attribute__((target("avx2"))) void rescale_avx2(float* v, std::size_t n, double m, double scale, double low,
                                                  double high)
{
    bool const floatLimits = low <= -1.0 && high >= 1.0 && static_cast<double>(static_cast<float>(low)) == low &&
                             static_cast<double>(static_cast<float>(high)) == high;
    std::size_t i = 0;
    if (floatLimits) {
        // |v| < 1e-6 as floats: the largest float below 1e-6 and its negative are the bounds.
        float tiny = static_cast<float>(1e-6);
        if (static_cast<double>(tiny) >= 1e-6) tiny = std::nextafter(tiny, 0.0f);
        __m256d const vm = _mm256_set1_pd(m), vs = _mm256_set1_pd(scale), lo = _mm256_set1_pd(low),
                      zero = _mm256_setzero_pd();
        __m256 const flo = _mm256_set1_ps(static_cast<float>(low)), fhi = _mm256_set1_ps(static_cast<float>(high)),
                     one = _mm256_set1_ps(1.0f), minusOne = _mm256_set1_ps(-1.0f), tinyHi = _mm256_set1_ps(tiny),
                     tinyLo = _mm256_set1_ps(-tiny);
        for (; i + 8 <= n; i += 8) {
            __m256 const x = _mm256_loadu_ps(v + i);
            __m256d const a = _mm256_cvtps_pd(_mm256_castps256_ps128(x)), b = _mm256_cvtps_pd(_mm256_extractf128_ps(x, 1));
            __m256d const wa = _mm256_add_pd(_mm256_mul_pd(_mm256_add_pd(a, vm), vs), lo);
            __m256d const wb = _mm256_add_pd(_mm256_mul_pd(_mm256_add_pd(b, vm), vs), lo);
            // All-ones lanes convert to NaNs with their sign bit, which is what blendv reads.
            __m256 const notAbove = _mm256_set_m128(_mm256_cvtpd_ps(_mm256_cmp_pd(wb, zero, _CMP_LE_OQ)),
                                                    _mm256_cvtpd_ps(_mm256_cmp_pd(wa, zero, _CMP_LE_OQ)));
            __m256 w = _mm256_set_m128(_mm256_cvtpd_ps(wb), _mm256_cvtpd_ps(wa));
            w = _mm256_max_ps(flo, w); // w < low ? low : w
            __m256 const near = _mm256_and_ps(_mm256_cmp_ps(w, minusOne, _CMP_GT_OQ), _mm256_cmp_ps(w, one, _CMP_LT_OQ));
            w = _mm256_blendv_ps(w, _mm256_blendv_ps(one, minusOne, notAbove), near);
            w = _mm256_min_ps(fhi, w); // w > high ? high : w
            __m256 const keep = _mm256_and_ps(_mm256_cmp_ps(x, tinyLo, _CMP_GE_OQ), _mm256_cmp_ps(x, tinyHi, _CMP_LE_OQ));
            _mm256_storeu_ps(v + i, _mm256_blendv_ps(w, x, keep));
        }
    }
    for (; i < n; ++i) v[i] = static_cast<float>(rescale_amplitude(v[i], m, scale, low, high));
}

__attribute__((target("avx2"))) void add_avx2(float const* v, double* sums, std::size_t n)
{
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        __m256d const a = _mm256_cvtps_pd(_mm_loadu_ps(v + i)), b = _mm256_cvtps_pd(_mm_loadu_ps(v + i + 4));
        _mm256_storeu_pd(sums + i, _mm256_add_pd(_mm256_loadu_pd(sums + i), a));
        _mm256_storeu_pd(sums + i + 4, _mm256_add_pd(_mm256_loadu_pd(sums + i + 4), b));
    }
    for (; i < n; ++i) sums[i] += v[i];
}

// Eight floats, NaN made 0 and clamped to [lo, hi], truncated to int32.
__attribute__((target("avx2"))) inline __m256i truncated_avx2(float const* v, __m256 lo, __m256 hi)
{
    __m256 x = _mm256_loadu_ps(v);
    x = _mm256_and_ps(x, _mm256_cmp_ps(x, x, _CMP_ORD_Q));
    return _mm256_cvttps_epi32(_mm256_min_ps(_mm256_max_ps(x, lo), hi));
}

// Sixteen int32 (two registers, in order) to sixteen int16; they are in range already.
__attribute__((target("avx2"))) inline __m256i narrowed_avx2(__m256i a, __m256i b)
{
    return _mm256_permute4x64_epi64(_mm256_packs_epi32(a, b), 0xD8);
}

__attribute__((target("avx2"))) void int8_avx2(float const* v, std::int8_t* out, std::size_t n)
{
    __m256 const lo = _mm256_set1_ps(-128.0f), hi = _mm256_set1_ps(127.0f);
    std::size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        __m256i const w = narrowed_avx2(truncated_avx2(v + i, lo, hi), truncated_avx2(v + i + 8, lo, hi));
        __m128i const b = _mm_packs_epi16(_mm256_castsi256_si128(w), _mm256_extracti128_si256(w, 1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), b);
    }
    for (; i < n; ++i) samples_to_int8(v + i, out + i, 1);
}

__attribute__((target("avx2"))) void int16_avx2(float const* v, std::int16_t* out, std::size_t n)
{
    __m256 const lo = _mm256_set1_ps(-32768.0f), hi = _mm256_set1_ps(32767.0f);
    std::size_t i = 0;
    for (; i + 16 <= n; i += 16)
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i),
                            narrowed_avx2(truncated_avx2(v + i, lo, hi), truncated_avx2(v + i + 8, lo, hi)));
    for (; i < n; ++i) samples_to_int16(v + i, out + i, 1);
}

bool has_avx2()
{
    static bool const has = __builtin_cpu_supports("avx2");
    return has;
}

} // namespace
#define TOLMAR_MINMAX_AVX2 1
#endif

void decode_picked(unsigned char const* trace, SamplePick const& pick, SampleCoding coding, bool littleEndian,
                   std::vector<float>& out)
{
    auto const stride = static_cast<std::size_t>(pick.stride);
    std::size_t const span = pick.count == 0 ? 0 : (pick.count - 1) * stride + 1;
    out.resize(span);
    decode_samples(trace + static_cast<std::size_t>(pick.begin) * sample_bytes(coding), out.data(), span, coding,
                   littleEndian);
    if (stride > 1)
        for (std::size_t i = 0; i < pick.count; ++i) out[i] = out[i * stride];
    out.resize(pick.count);
}

void update_min_max(float const* values, std::size_t n, float& lo, float& hi)
{
#ifdef TOLMAR_MINMAX_AVX2
    if (has_avx2()) {
        min_max_avx2(values, n, lo, hi);
        return;
    }
#endif
    float l = lo, h = hi;
    // Selects, not std::min: a NaN never wins.
    for (std::size_t i = 0; i < n; ++i) {
        float const v = values[i];
        l = v < l ? v : l;
        h = v > h ? v : h;
    }
    lo = l;
    hi = h;
}

void clamp_samples(float* values, std::size_t n, float lo, float hi)
{
#ifdef TOLMAR_MINMAX_AVX2
    if (has_avx2()) {
        clamp_avx2(values, n, lo, hi);
        return;
    }
#endif
    for (std::size_t i = 0; i < n; ++i) {
        float v = values[i];
        v = v < lo ? lo : v;
        values[i] = v > hi ? hi : v;
    }
}

namespace {

template <class I>
void to_integers(float const* values, I* out, std::size_t n)
{
    float const lo = static_cast<float>(std::numeric_limits<I>::min());
    float const hi = static_cast<float>(std::numeric_limits<I>::max());
    for (std::size_t i = 0; i < n; ++i) {
        float const v = values[i];
        float const c = v < lo ? lo : v > hi ? hi : v;
        out[i] = static_cast<I>(v == v ? c : 0.0f);
    }
}

} // namespace

void add_samples(float const* values, double* sums, std::size_t n)
{
#ifdef TOLMAR_MINMAX_AVX2
    if (has_avx2()) {
        add_avx2(values, sums, n);
        return;
    }
#endif
    for (std::size_t i = 0; i < n; ++i) sums[i] += values[i];
}

void samples_to_int8(float const* values, std::int8_t* out, std::size_t n)
{
#ifdef TOLMAR_MINMAX_AVX2
    if (n >= 16 && has_avx2()) {
        int8_avx2(values, out, n);
        return;
    }
#endif
    to_integers(values, out, n);
}

void samples_to_int16(float const* values, std::int16_t* out, std::size_t n)
{
#ifdef TOLMAR_MINMAX_AVX2
    if (n >= 16 && has_avx2()) {
        int16_avx2(values, out, n);
        return;
    }
#endif
    to_integers(values, out, n);
}

void rescale_samples(float* values, std::size_t n, double m, double scale, double low, double high)
{
#ifdef TOLMAR_MINMAX_AVX2
    if (has_avx2()) {
        rescale_avx2(values, n, m, scale, low, high);
        return;
    }
#endif
    for (std::size_t i = 0; i < n; ++i)
        values[i] = static_cast<float>(rescale_amplitude(values[i], m, scale, low, high));
}

namespace {

template <typename I>
double truncated_limit(double v)
{
    if (!(v == v)) return 0.0;
    return std::clamp(std::trunc(v), static_cast<double>(std::numeric_limits<I>::min()),
                      static_cast<double>(std::numeric_limits<I>::max()));
}

} // namespace

void clamp_coded_samples(float* values, std::size_t n, SampleCoding coding, double lo, double hi)
{
    switch (coding) {
    case SampleCoding::int32: lo = truncated_limit<std::int32_t>(lo); hi = truncated_limit<std::int32_t>(hi); break;
    case SampleCoding::int16: lo = truncated_limit<std::int16_t>(lo); hi = truncated_limit<std::int16_t>(hi); break;
    case SampleCoding::int8: lo = truncated_limit<std::int8_t>(lo); hi = truncated_limit<std::int8_t>(hi); break;
    default: break;
    }
    clamp_samples(values, n, static_cast<float>(lo), static_cast<float>(hi));
}

} // namespace Tolmar
