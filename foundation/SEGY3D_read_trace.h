#pragma once
// Reads one trace of an indexed SEG-Y file into the cube's storage range.

#include "platform/api.h"

#include <cstddef>
#include <istream>
#include <vector>

#include "foundation/IndexedSEGYHeader.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// Reads the trace whose 240-byte header lies at `offset`: its samples are
// decoded by the record's format, float kind and byte order, clamped when the
// clamp flag is set (integer formats clamp to limits truncated to their
// type), and mapped by the rescaling rule when the rescale flag is set. The
// record's z window picks the samples: from the trace's first sample, one
// every zStep, (zStop - zStart) / zStep + 1 of them, as far as the trace
// reaches; a record without a window gives every sample. Answers false, with
// `out` empty, when the format is unknown or the trace cannot be read whole.
bool SEGY3D_read_trace(std::istream& stream, long long offset, IndexedSEGYHeader const& header,
                       std::vector<float>& out);

// The same for a trace already in memory: `trace` points at its 240-byte
// header, followed by all its samples.
bool SEGY3D_decode_trace(unsigned char const* trace, IndexedSEGYHeader const& header, std::vector<float>& out);

// How many samples the two functions above give for every trace of the
// record; 0 when its format is unknown.
std::size_t SEGY3D_trace_samples(IndexedSEGYHeader const& header);
// SEGY3D_decode_trace into `out`, which holds SEGY3D_trace_samples(header)
// floats.
bool SEGY3D_decode_trace(unsigned char const* trace, IndexedSEGYHeader const& header, float* out);

} // namespace Tolmar

TOLMAR_PUBLIC_END
