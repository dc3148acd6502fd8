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
