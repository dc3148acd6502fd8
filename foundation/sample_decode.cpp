#include "foundation/sample_decode.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "foundation/ibm_float.h"

// The simple loops below vectorise well; clones for AVX2 are chosen at load time.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define TOLMAR_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define TOLMAR_CLONES
#endif

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

namespace {

TOLMAR_CLONES void ieee32_to_float(unsigned char const* in, float* out, std::size_t n, bool swap)
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

TOLMAR_CLONES void int32_to_float(unsigned char const* in, float* out, std::size_t n, bool swap)
{
    for (std::size_t i = 0; i < n; ++i) {
        std::uint32_t u;
        std::memcpy(&u, in + 4 * i, 4);
        if (swap) u = __builtin_bswap32(u);
        out[i] = static_cast<float>(static_cast<std::int32_t>(u));
    }
}

TOLMAR_CLONES void int16_to_float(unsigned char const* in, float* out, std::size_t n, bool swap)
{
    for (std::size_t i = 0; i < n; ++i) {
        std::uint16_t u;
        std::memcpy(&u, in + 2 * i, 2);
        if (swap) u = __builtin_bswap16(u);
        out[i] = static_cast<float>(static_cast<std::int16_t>(u));
    }
}

TOLMAR_CLONES void int8_to_float(unsigned char const* in, float* out, std::size_t n)
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

TOLMAR_CLONES void update_min_max(float const* values, std::size_t n, float& lo, float& hi)
{
    float l = lo, h = hi;
    // Written as selects, not std::min, so NaNs never win and the loop vectorises.
    for (std::size_t i = 0; i < n; ++i) {
        float const v = values[i];
        l = v < l ? v : l;
        h = v > h ? v : h;
    }
    lo = l;
    hi = h;
}

TOLMAR_CLONES void clamp_samples(float* values, std::size_t n, float lo, float hi)
{
    for (std::size_t i = 0; i < n; ++i) {
        float v = values[i];
        v = v < lo ? lo : v;
        values[i] = v > hi ? hi : v;
    }
}

} // namespace Tolmar
