// The SEG-Y reader and the survey scan on any bytes, read as the tool reads
// them: byte order and float kind from the reel header's format code, the
// lenient readings on, a full scan; then the index the scan makes is written
// and the cube opened through it, as `tolmar import` and `slice` do.

#include <cstddef>
#include <cstdint>
#include <string>

#include "foundation/sample_decode.h"
#include "fuzz_cube_reads.h"
#include "fuzz_input.h"
#include "segy/SEGYreader3D.h"

namespace {

bool readable(int format)
{
    Tolmar::SampleCoding coding;
    return Tolmar::sample_coding_for_format(format, true, coding);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    tolmar_fuzz::quiet();
    std::string const segy = tolmar_fuzz::as_file(data, size, ".sgy");
    bool little = false;
    int format = 1;
    if (size >= 3226) {
        int const big = data[3224] << 8 | data[3225], small = data[3225] << 8 | data[3224];
        little = !readable(big) && readable(small);
        format = little ? small : big;
    }
    // The last byte chooses the letter of the format or the lenient readings.
    bool const strict = size > 0 && (data[size - 1] & 1);

    Tolmar::SEGYreader3D reader;
    reader.setLittleEndian(little);
    reader.setIbmFloat(format == 1);
    reader.setTrustReelSampleCount(!strict);
    reader.setZeroScalerAsOne(!strict);
    reader.setFallbackGrid(!strict);
    reader.setSkipExtendedTextHeaders(!strict);
    reader.setFile(segy);
    reader.setStorage(32);
    reader.setInlRange(-2147483647, 2147483647, 1);
    reader.setCrlRange(-2147483647, 2147483647, 1);
    reader.setZRange(-1e9, 1e9, 1e-6);
    using R = Tolmar::SEGYreader;
    int const positions[R::SlotCount] = {17, 189, 193, 71, 181, 185, 109, 69, 41};
    R::Type const types[R::SlotCount] = {R::Integer32, R::Integer32, R::Integer32, R::Integer16, R::Integer32,
                                         R::Integer32, R::Integer16, R::Integer16, R::Integer32};
    if (reader.scan(types, positions, false, true) != 1) return 0;

    std::string const index = tolmar_fuzz::scratch_path(".idx");
    if (reader.write_index(index) == 1) {
        Tolmar::Seismic3DTraceReader cube(segy, index);
        tolmar_fuzz::read_cube(cube);
    }
    return 0;
}
