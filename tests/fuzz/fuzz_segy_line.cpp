// The 2D line reader on any bytes, as an import calls it: the track, the
// shot-point repair, and the line read into its buffer. Byte order and float
// kind come from the reel header's format code; the last byte chooses the
// lenient sample count, the storage kind and the SP step.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_input.h"
#include "segy/SEGYcoding.h"
#include "segy/SEGYreader2D.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    tolmar_fuzz::quiet();
    std::string const segy = tolmar_fuzz::as_file(data, size, ".sgy");
    Tolmar::SEGYCoding coding;
    std::string why;
    Tolmar::detect_segy_coding(segy, Tolmar::SEGYByteOrder::Detect, Tolmar::SEGYFloatKind::Detect, coding, why);
    unsigned const last = size > 0 ? data[size - 1] : 0u;

    Tolmar::SEGYreader2D reader;
    coding.apply(reader);
    reader.setTrustReelSampleCount(last & 1u);
    reader.setStorage((last & 2u) ? 8u : (last & 4u) ? 16u : 32u);
    reader.setFile(segy);
    Tolmar::SEGYreader::Type types[Tolmar::SEGYreader::SlotCount];
    int positions[Tolmar::SEGYreader::SlotCount];
    Tolmar::SEGYHeaderPositions().fill(types, positions);

    int spRange[9] = {};
    double ranges[13] = {};
    reader.readNavigation(types, positions, spRange, ranges);

    // Every shot point and every z, as a first look at a line takes it.
    int const step = 1 + static_cast<int>((last >> 4) % 3);
    int wanted[9] = {-2147483647, 2147483647, step};
    double window[13] = {0, 0, 0, 0, 0, 0, -1e9, 1e9, 0};
    std::vector<Tolmar::SEGYtrace> traces;
    if (reader.analyze(types, positions, wanted, window, traces) != 1) return 0;
    reader.read(types, positions, wanted, window, traces, false);
    return 0;
}
