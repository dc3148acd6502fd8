#pragma once
// IBM System/360 single-precision hexadecimal floats: sign bit, 7-bit
// excess-64 base-16 exponent, 24-bit fraction.

#include "platform/api.h"

#include <cstddef>
#include <cstdint>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// The argument's 32 bits are an IBM word already in host byte order; the
// result is the IEEE single of the same value, correctly rounded where the
// value lies in the subnormal range. Values beyond the largest IEEE single
// (IBM reaches about 7.2e75) become infinities of their sign; a zero
// fraction gives a zero of the word's sign.
float ibm_to_float(float ibm);

// The same conversion on a word held as an integer.
float ibm_bits_to_float(std::uint32_t word);

// Bulk conversion of n IBM words stored in the given byte order (big-endian
// in standard SEG-Y). `words` need not be aligned; out may not overlap it.
void ibm_to_float(void const* words, float* out, std::size_t n, bool littleEndian);

// The IBM word nearest to an IEEE single (ties to even); magnitudes below the
// smallest IBM normal flush to zero, infinities and NaNs saturate to the
// largest IBM magnitude of their sign.
std::uint32_t float_to_ibm(float value);

} // namespace Tolmar

TOLMAR_PUBLIC_END
