#pragma once
// Bulk decoding of SEG-Y sample words into floats: the hot path of every
// reader.

#include "platform/api.h"

#include <cstddef>
#include <cstdint>
#include <vector>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

enum class SampleCoding { ibm32, ieee32, int32, int16, int8 };

// Bytes per sample of a coding.
std::size_t sample_bytes(SampleCoding coding);

// The coding of a SEG-Y format code: 1 and 5 are floats (IBM when ibmFloat,
// IEEE otherwise; the code alone never selects), 2 int32, 3 int16, 8 int8.
// Answers false for any other code.
bool sample_coding_for_format(int format, bool ibmFloat, SampleCoding& coding);

// Decodes n packed samples stored in the given byte order. `in` need not be
// aligned; out may not overlap it.
void decode_samples(void const* in, float* out, std::size_t n, SampleCoding coding, bool littleEndian);

// Every stride-th sample of a trace from index begin, count of them.
struct SamplePick {
    long long begin = 0;
    long long stride = 0;
    std::size_t count = 0;
};

// Decodes the picked samples of one trace's packed words into out (resized).
void decode_picked(unsigned char const* trace, SamplePick const& pick, SampleCoding coding, bool littleEndian,
                   std::vector<float>& out);

// Lowers lo and raises hi to the smallest and largest of the n values; NaNs
// are passed over.
void update_min_max(float const* values, std::size_t n, float& lo, float& hi);

// Clamps every value into [lo, hi].
void clamp_samples(float* values, std::size_t n, float lo, float hi);

// rescale_amplitude (foundation/rescale.h) of every value, rounded back to
// float: exactly what the scalar rule gives, a whole trace at a time.
void rescale_samples(float* values, std::size_t n, double m, double scale, double low, double high);

// sums[k] += values[k] for every k below n, in double.
void add_samples(float const* values, double* sums, std::size_t n);
// Each value truncated towards zero into the integer type, saturating
// beyond its range; NaN gives 0.
void samples_to_int8(float const* values, std::int8_t* out, std::size_t n);
void samples_to_int16(float const* values, std::int16_t* out, std::size_t n);

// The clamp of SEG-Y samples: integer codings clamp to limits first
// truncated to their own type (saturating), float codings to the limits as
// given.
void clamp_coded_samples(float* values, std::size_t n, SampleCoding coding, double lo, double hi);

} // namespace Tolmar

TOLMAR_PUBLIC_END
