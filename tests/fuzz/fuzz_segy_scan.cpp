// The SEG-Y reader and the survey scan on any bytes, read as the tool reads
// them: byte order and float kind from the reel header's format code, the
// lenient readings on, a full scan; then the index the scan makes is written
// and the cube opened through it, as `tolmar import` and `slice` do.

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz_cube_reads.h"
#include "fuzz_input.h"
#include "segy/SEGYcoding.h"
#include "segy/SEGYreader3D.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    tolmar_fuzz::quiet();
    std::string const segy = tolmar_fuzz::as_file(data, size, ".sgy");
    Tolmar::SEGYCoding coding;
    std::string why;
    Tolmar::detect_segy_coding(segy, Tolmar::SEGYByteOrder::Detect, Tolmar::SEGYFloatKind::Detect, coding, why);
    // The last byte chooses the letter of the format or the lenient readings.
    bool const strict = size > 0 && (data[size - 1] & 1);

    Tolmar::SEGYreader3D reader;
    coding.apply(reader);
    reader.setTrustReelSampleCount(!strict);
    reader.setZeroScalerAsOne(!strict);
    reader.setFallbackGrid(!strict);
    reader.setSkipExtendedTextHeaders(!strict);
    reader.setFile(segy);
    reader.setStorage(32);
    reader.setInlRange(-2147483647, 2147483647, 1);
    reader.setCrlRange(-2147483647, 2147483647, 1);
    reader.setZRange(-1e9, 1e9, 1e-6);
    Tolmar::SEGYreader::Type types[Tolmar::SEGYreader::SlotCount];
    int positions[Tolmar::SEGYreader::SlotCount];
    Tolmar::SEGYHeaderPositions().fill(types, positions);
    if (reader.scan(types, positions, false, true) != 1) return 0;

    std::string const index = tolmar_fuzz::scratch_path(".idx");
    if (reader.write_index(index) == 1) {
        Tolmar::Seismic3DTraceReader cube(segy, index);
        tolmar_fuzz::read_cube(cube);
    }
    return 0;
}
